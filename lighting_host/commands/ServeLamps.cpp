#include "lighting_host/commands/ServeLamps.h"

#include "lighting_host/text/MonotonicClock.h"

#include <chrono>
#include <ostream>

#include <boost/asio/post.hpp>
#include <fmt/format.h>

namespace lighting_host
{
LampVisitor::LampVisitor(const BrokerAddress& address, LiveHouse& house,
                         boost::asio::io_context& context, std::function<void()> wake,
                         std::ostream& err)
    : m_house(house), m_wake(std::move(wake)),
      m_lamps(
          address, house.Run().GetSession(),
          [&context](std::function<void()> work) { boost::asio::post(context, std::move(work)); },
          [this](const std::string& line) { return HandIn(line); },
          [&err](const std::string& what)
          { err << fmt::format("lighting-host: zigbee2mqtt: {}\n", what) << std::flush; })
{
}

bool LampVisitor::HandIn(const std::string& line)
{
    const bool isTaken = m_house.HandIn(*this, line, ++m_number, MonotonicNs());
    m_wake();
    return isTaken;
}

std::unique_ptr<LampVisitor> MakeLamps(const ServeOptions& options, LiveHouse& house,
                                       boost::asio::io_context& context, std::function<void()> wake,
                                       std::ostream& err)
{
    if (HouseLamps::DriversIn(house.Run().GetSession()).empty())
        return nullptr;
    return std::make_unique<LampVisitor>(
        CompleteLampBroker(options.lampBroker, options.broker.address), house, context,
        std::move(wake), err);
}
} // namespace lighting_host

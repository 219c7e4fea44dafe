#pragma once

#include "lighting_host/broker/HouseLamps.h"
#include "lighting_host/commands/Serve.h"
#include "lighting_host/switchboard/LiveHouse.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>

namespace lighting_host
{
// The lamps of a live house that stand behind Zigbee2MQTTs: one more visitor of it, named
// "zigbee2mqtt".
//
// Lives on the house's thread.
class LampVisitor : public HouseVisitor
{
public:
    // All must outlive this. `wake` is called when the house may want to be worked on earlier than
    // it said.
    LampVisitor(const BrokerAddress& address, LiveHouse& house, boost::asio::io_context& context,
                std::function<void()> wake, std::ostream& err);

    HouseLamps& Lamps() { return m_lamps; }

    // HouseVisitor.
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string&) override {}

private:
    bool HandIn(const std::string& line);

    const std::string m_name = "zigbee2mqtt";
    LiveHouse& m_house;
    const std::function<void()> m_wake;
    unsigned long m_number = 0;
    HouseLamps m_lamps;
};

// Null when the house has no such lamps. Throws std::runtime_error, in words, when nothing says
// where their broker is.
std::unique_ptr<LampVisitor> MakeLamps(const ServeOptions& options, LiveHouse& house,
                                       boost::asio::io_context& context, std::function<void()> wake,
                                       std::ostream& err);
} // namespace lighting_host

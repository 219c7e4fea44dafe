#include "simulated_devices/TtyBus.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <pty.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/serial_port.hpp>
#include <boost/asio/write.hpp>

namespace simulated
{
namespace asio = boost::asio;

namespace
{
constexpr std::size_t READ_SIZE = 512;

// One end of the terminal, as a line for the stations at that end.
template <class Stream>
class End : public BusLine
{
public:
    explicit End(asio::io_context& io) : stream(io) {}

    void Attach(BusStation& station) override { m_stations.push_back(&station); }
    void Detach(BusStation& station) override
    {
        m_stations.erase(std::remove(m_stations.begin(), m_stations.end(), &station),
                         m_stations.end());
    }
    void Transmit(const BusStation&, Octets octets) override
    {
        m_outgoing.push_back(std::move(octets));
        if (m_outgoing.size() == 1)
            WriteFirst();
    }

    void ReadOn()
    {
        stream.async_read_some(asio::buffer(m_incoming),
                               [this](const boost::system::error_code& error, std::size_t length)
                               {
                                   if (error)
                                       return;
                                   Deliver(length);
                                   ReadOn();
                               });
    }

    Stream stream;

private:
    void WriteFirst()
    {
        asio::async_write(stream, asio::buffer(m_outgoing.front()),
                          [this](const boost::system::error_code& error, std::size_t)
                          {
                              m_outgoing.pop_front();
                              if (!error && !m_outgoing.empty())
                                  WriteFirst();
                          });
    }

    void Deliver(std::size_t length)
    {
        const Octets octets(m_incoming.begin(),
                            m_incoming.begin() + static_cast<std::ptrdiff_t>(length));
        const std::vector<BusStation*> stations = m_stations;
        for (BusStation* station : stations)
            station->OnLine(octets);
    }

    std::vector<BusStation*> m_stations;
    std::array<std::uint8_t, READ_SIZE> m_incoming{};
    // A deque: the octets of the first stay where they are while more are added.
    std::deque<Octets> m_outgoing;
};

// The two descriptors of a pseudo-terminal that passes octets on as they are.
struct PseudoTerminal
{
    PseudoTerminal()
    {
        termios raw{};
        cfmakeraw(&raw);
        if (openpty(&master, &slave, nullptr, &raw, nullptr) != 0)
            throw std::system_error(errno, std::generic_category(), "no pseudo-terminal");
    }
    int master = -1;
    int slave = -1;
};
} // namespace

struct TtyBus::Terminal
{
    Terminal() : gatewayEnd(io), deviceEnd(io)
    {
        const PseudoTerminal opened;
        deviceEnd.stream.assign(opened.master);
        gatewayEnd.stream.assign(opened.slave);
        gatewayEnd.stream.set_option(
            asio::serial_port_base::baud_rate(SimulatedLine::DEFAULT_BAUD));
        gatewayEnd.stream.set_option(asio::serial_port_base::character_size(8));
        gatewayEnd.ReadOn();
        deviceEnd.ReadOn();
    }

    asio::io_context io;
    End<asio::serial_port> gatewayEnd;
    End<asio::posix::stream_descriptor> deviceEnd;
};

TtyBus::TtyBus() : m_terminal(std::make_unique<Terminal>()) {}

TtyBus::~TtyBus() = default;

BusLine& TtyBus::GatewayEnd()
{
    return m_terminal->gatewayEnd;
}

BusLine& TtyBus::DeviceEnd()
{
    return m_terminal->deviceEnd;
}

bool TtyBus::Poll(std::chrono::milliseconds longest)
{
    m_terminal->io.restart();
    return m_terminal->io.run_one_for(longest) > 0;
}
} // namespace simulated

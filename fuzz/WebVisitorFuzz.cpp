// Any octets on a connection to a live house: HTTP in pieces, or messages on a WebSocket. Whatever
// comes, the next visitor is served.
//
// An input that begins with "W" is messages, one a line, behind a handshake that is right; one that
// begins with "F" is what follows such a handshake as it is. Any other is a connection's octets, of
// which each 0x1E begins another piece.

#include "fuzz/Fuzzing.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "lighting_host/web/HousePicture.h"
#include "lighting_host/web/LiveServer.h"
#include "lighting_host/web/WebServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <log4cplus/loglevel.h>

namespace
{
using namespace fuzzing;
using namespace lighting_host;

constexpr std::size_t MOST_PIECES = 40;
constexpr char PIECE = '\x1e';
constexpr char HOUSE[] = R"(<house>
<driver name="p" type="puck" id="101"><config><NUM_BUTTONS>2</NUM_BUTTONS></config>
<device simulated="true"/></driver>
<driver name="g" type="gen3_keypad" id="102"><device simulated="true"/></driver>
<driver name="z" type="zigbee_light" id="103"><device simulated="true" watts="9"/></driver>
<driver name="w" type="wired_dimmer" id="104"><device simulated="true" watts="40"/></driver>
<load_group id="2"><member>w</member></load_group>
</house>)";
constexpr char HANDSHAKE[] =
    "GET /protocol HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";

const HouseFile& House()
{
    static const HouseFile house = ParseHouseFile(HOUSE, ".");
    Require(house.errors.empty());
    return house;
}

LiveHouse::Options HouseOptions()
{
    LiveHouse::Options options;
    options.run.session.logLevel = log4cplus::WARN_LOG_LEVEL;
    options.paused = true;
    options.makeView = [](HouseRun& run)
    {
        return std::make_unique<HousePicture>(run);
    };
    return options;
}

WebServerOptions ServerOptions()
{
    WebServerOptions options;
    options.listens = false;
    options.gatherMs = 0;
    return options;
}

// A house that stands, its server, and connections to it.
class Served
{
public:
    Served()
        : m_server({}, [] {}), m_house(House(), HouseOptions(), &m_server),
          m_web(std::make_unique<WebServer>(m_context, ServerOptions(), m_server))
    {
        m_server.Attach(m_house);
        m_server.Attach(*m_web);
        m_house.Start(0);
    }

    int Connect()
    {
        int ends[2] = {-1, -1};
        Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
        m_web->Serve(ends[0]);
        return ends[1];
    }

    // Sends what there is room for, lets the house and the server work, and gives what came back.
    std::string Say(int end, const std::string& text)
    {
        // What was cut off takes nothing.
        (void)send(end, text.data(), text.size(), MSG_NOSIGNAL);
        std::string heard;
        for (int turns = 0; turns < 8; ++turns)
        {
            m_context.restart();
            m_context.poll();
            m_house.Work(0);
            m_server.SendChanges(0);
            char buffer[65536];
            const ssize_t got = recv(end, buffer, sizeof buffer, 0);
            if (got > 0)
                heard.append(buffer, static_cast<std::size_t>(got));
        }
        return heard;
    }

private:
    boost::asio::io_context m_context{1};
    LiveServer m_server;
    LiveHouse m_house;
    // Goes first: its visitors know the house.
    std::unique_ptr<WebServer> m_web;
};

// A text message of a client, masked with zeros.
std::string Frame(const std::string& text)
{
    std::string frame = "\x81";
    if (text.size() < 126)
        frame += static_cast<char>(0x80 | text.size());
    else
    {
        frame += '\xfe';
        frame += static_cast<char>(text.size() >> 8);
        frame += static_cast<char>(text.size() & 0xff);
    }
    return frame + std::string(4, '\0') + text;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Quick quick;
    const std::string input = Text(data, size);
    Served served;
    const int end = served.Connect();
    const bool messages = input.compare(0, 1, "W") == 0;
    const bool frames = input.compare(0, 1, "F") == 0;
    if (messages || frames)
        Require(served.Say(end, HANDSHAKE).compare(0, 12, "HTTP/1.1 101") == 0);
    const std::string rest = messages || frames ? input.substr(1) : input;
    for (const std::string& piece : Split(rest, messages ? '\n' : PIECE, MOST_PIECES))
        served.Say(end, messages ? Frame(piece) : piece);
    const int other = served.Connect();
    const std::string health =
        served.Say(other, "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n");
    Require(health.compare(0, 12, "HTTP/1.1 200") == 0);
    close(end);
    close(other);
    return 0;
}

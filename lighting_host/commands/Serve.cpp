#include "lighting_host/commands/Serve.h"

#include "embedded_host/LocalTime.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "lighting_host/web/HousePicture.h"
#include "lighting_host/web/LiveServer.h"
#include "lighting_host/web/WebServer.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <sys/stat.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::chrono::milliseconds CHANGES_INTERVAL{50};
// The time that visitors have to hear that the program ends.
constexpr std::chrono::milliseconds FAREWELL{500};

std::int64_t MonotonicNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Lets a house live on an event loop: wakes it when something is due, and its pages now and then.
class ServeLoop
{
public:
    ServeLoop(boost::asio::io_context& context, LiveHouse& house, LiveServer& server,
              std::int64_t forMs)
        : m_context(context), m_house(house), m_server(server), m_forMs(forMs), m_timer(context),
          m_changes(context), m_end(context), m_signals(context, SIGINT, SIGTERM, SIGHUP)
    {
    }

    // Runs until a signal or the end of its time; says why it ended.
    std::string Run(WebServer& web)
    {
        m_signals.async_wait(
            [this, &web](const boost::system::error_code& error, int number)
            {
                if (!error)
                    End(web, strsignal(number));
            });
        m_onTimeUp = [this, &web]
        {
            End(web, "its time was up");
        };
        Work();
        SendChanges();
        m_context.run();
        return m_why;
    }

    // Something was handed in: the house may want to be worked on earlier than it said.
    void Wake() { Work(); }

private:
    void Work()
    {
        if (!m_why.empty())
            return;
        const std::int64_t now = MonotonicNs();
        const std::int64_t next = m_house.Work(now);
        if (m_forMs > 0 && m_house.Run().NowMs() >= m_forMs)
            return m_onTimeUp();
        if (next < 0)
        {
            m_timer.cancel();
            return;
        }
        m_timer.expires_at(std::chrono::steady_clock::time_point(std::chrono::nanoseconds(next)));
        m_timer.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (!error)
                    Work();
            });
    }

    void SendChanges()
    {
        m_changes.expires_after(CHANGES_INTERVAL);
        m_changes.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (error || !m_why.empty())
                    return;
                if (m_server.HasPages())
                    m_server.SendChanges(MonotonicNs());
                SendChanges();
            });
    }

    // Visitors are told first, and have a moment to hear it.
    void End(WebServer& web, const std::string& why)
    {
        if (!m_why.empty())
            return;
        m_why = why;
        m_timer.cancel();
        m_changes.cancel();
        m_signals.cancel();
        web.Close("the program ends: " + why);
        m_end.expires_after(FAREWELL);
        m_end.async_wait([this](const boost::system::error_code&) { m_context.stop(); });
    }

    boost::asio::io_context& m_context;
    LiveHouse& m_house;
    LiveServer& m_server;
    const std::int64_t m_forMs;
    boost::asio::steady_timer m_timer;
    boost::asio::steady_timer m_changes;
    boost::asio::steady_timer m_end;
    boost::asio::signal_set m_signals;
    std::function<void()> m_onTimeUp;
    std::string m_why;
};

// As it stands in a URL.
std::string AddressText(const std::string& address)
{
    return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

const char* NameOf(embedded_host::Draw draw)
{
    switch (draw)
    {
    case embedded_host::Draw::Low:
        return "low";
    case embedded_host::Draw::High:
        return "high";
    default:
        return "random";
    }
}

// The token in a file that nobody else can read; throws std::runtime_error otherwise.
std::string ReadToken(const std::string& path)
{
    struct stat about = {};
    if (stat(path.c_str(), &about) != 0)
        throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
    if ((about.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error(fmt::format("{}: others can read the token; chmod 600 it", path));
    std::ifstream file(path);
    std::string token;
    std::getline(file, token);
    while (!token.empty() && std::isspace(static_cast<unsigned char>(token.back())) != 0)
        token.pop_back();
    const bool isPlain =
        std::all_of(token.begin(), token.end(),
                    [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("-._~", c); });
    if (token.size() < 16 || !isPlain)
        throw std::runtime_error(fmt::format(
            "{}: the first line is no token: 16 or more letters, digits or -._~", path));
    return token;
}

RecordHead MakeHead(const std::string& housePath, const ServeOptions& options)
{
    std::ifstream file(housePath, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    RecordHead head;
    head.program = LIGHTING_VERSION;
    head.housePath = housePath;
    head.houseText = text.str();
    head.clock = RecordClock::Paced;
    head.seed = options.session.seed;
    head.draw = NameOf(options.session.draw);
    head.start = embedded_host::FormatLocalTime(options.session.startLocalSeconds);
    head.zone = options.session.zone;
    head.logLevel = options.session.logLevel;
    head.people = true;
    head.faults = NameOf(options.faults);
    return head;
}

// The house on its loop, once everything is known to be right.
int ServeHouse(const std::string& housePath, const HouseFile& file, const ServeOptions& options,
               std::ostream& out, std::ostream& err)
{
    std::unique_ptr<FlightRecorder> recorder;
    if (!options.record.empty())
        recorder = std::make_unique<FlightRecorder>(options.record, MakeHead(housePath, options));

    boost::asio::io_context context(1);
    std::function<void()> wake;
    LiveServer::Options serverOptions;
    serverOptions.name = std::filesystem::path(housePath).stem().string();
    serverOptions.program = LIGHTING_VERSION;
    serverOptions.token = options.web.token;
    serverOptions.faultLevel = NameOf(options.faults);
    serverOptions.seed = options.session.seed;
    serverOptions.start = embedded_host::FormatLocalTime(options.session.startLocalSeconds);
    serverOptions.pageFolder = options.pageFolder;
    LiveServer server(serverOptions, [&wake] { wake(); });

    LiveHouse::Options houseOptions;
    houseOptions.run.session = options.session;
    houseOptions.run.faults = options.faults;
    houseOptions.speed = options.speed;
    houseOptions.paused = options.paused;
    houseOptions.recorder = recorder.get();
    houseOptions.makeListener = [](HouseRun& run)
    {
        return std::make_unique<HousePicture>(run);
    };
    LiveHouse house(file, houseOptions, &server);
    server.Attach(house);

    WebServer web(context, options.web, server);
    server.Attach(web);
    ServeLoop loop(context, house, server, options.forMs);
    wake = [&loop]
    {
        loop.Wake();
    };
    house.Start(MonotonicNs());
    err << fmt::format("lighting-host: {} is live at http://{}:{}/ (seed {}; Ctrl-C ends it)\n",
                       serverOptions.name, AddressText(options.web.address), web.Port(),
                       options.session.seed)
        << std::flush;
    const std::string why = loop.Run(web);
    house.Stop(why);
    err << fmt::format("lighting-host: ended: {}\n", why) << std::flush;
    out.flush();
    if (recorder && !recorder->Failure().empty())
    {
        err << fmt::format("lighting-host: {}: could not be written to its end: {}\n",
                           options.record, recorder->Failure());
        return 2;
    }
    return 0;
}
} // namespace

bool ParseListen(const std::string& text, WebServerOptions& options)
{
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    std::string address = colon == std::string::npos ? options.address : text.substr(0, colon);
    if (address.size() > 2 && address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    if (address.empty() || port.empty() || port.size() > 5 ||
        port.find_first_not_of("0123456789") != std::string::npos || std::stoul(port) > UINT16_MAX)
        return false;
    options.address = address;
    options.port = static_cast<std::uint16_t>(std::stoul(port));
    return true;
}

int RunServe(const std::string& housePath, ServeOptions options, std::ostream& out,
             std::ostream& err)
{
    HouseFile file;
    if (!LoadHouse(housePath, file, err))
        return 1;
    try
    {
        if (!options.tokenFile.empty())
            options.web.token = ReadToken(options.tokenFile);
        options.web.openPaths = {"/token", "/token.js", "/style.css", "/icon.svg"};
        return ServeHouse(housePath, file, options, out, err);
    }
    catch (const std::exception& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return 2;
    }
}
} // namespace lighting_host

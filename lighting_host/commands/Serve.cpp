#include "lighting_host/commands/Serve.h"

#include "embedded_host/FileStateStore.h"
#include "embedded_host/LocalTime.h"
#include "lighting_host/broker/LiveHouseOnBroker.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/RecordedOptions.h"
#include "lighting_host/commands/SaveWatch.h"
#include "lighting_host/commands/ServeBroker.h"
#include "lighting_host/commands/ServeLamps.h"
#include "lighting_host/commands/ServiceManager.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "lighting_host/switchboard/Relive.h"
#include "lighting_host/text/MonotonicClock.h"
#include "lighting_host/text/Version.h"
#include "lighting_host/web/HousePicture.h"
#include "lighting_host/web/LiveServer.h"
#include "lighting_host/web/WebServer.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <sys/stat.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::chrono::milliseconds CHANGES_INTERVAL{50};
// The time that visitors have to hear that the program ends.
constexpr std::chrono::milliseconds VISITORS_FAREWELL{500};
constexpr std::chrono::milliseconds LEAVING_INTERVAL{5};
constexpr std::int64_t LONGEST_SLEEP_NS = 250000000;

// Lets a house live on an event loop: wakes it when something is due, and its pages now and then.
class ServeLoop
{
public:
    ServeLoop(boost::asio::io_context& context, LiveHouse& house, LiveServer& server,
              ServiceManager& manager, std::int64_t forMs, const std::ostream& out)
        : m_context(context), m_house(house), m_server(server), m_manager(manager), m_forMs(forMs),
          m_out(out), m_timer(context), m_changes(context), m_end(context), m_signals(context)
    {
    }

    ~ServeLoop()
    {
        // The descriptor is not this loop's to close.
        if (m_signals.is_open())
            m_signals.release();
    }
    ServeLoop(const ServeLoop&) = delete;
    ServeLoop& operator=(const ServeLoop&) = delete;

    // Runs until a signal or the end of its time; says why it ended.
    std::string Run(WebServer& web)
    {
        if (StopSignals::Descriptor() >= 0)
        {
            m_signals.assign(StopSignals::Descriptor());
            m_signals.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                                 [this](const boost::system::error_code& error)
                                 {
                                     if (!error)
                                         End(strsignal(StopSignals::Received()));
                                 });
        }
        m_web = &web;
        Work();
        SendChanges();
        m_context.run();
        return m_why;
    }

    // Something was handed in: the house may want to be worked on earlier than it said.
    void Wake() { Work(); }

    // Null for none; must outlive the loop.
    void SetBroker(LiveHouseOnBroker* onBroker) { m_onBroker = onBroker; }
    void SetLamps(HouseLamps* lamps) { m_lamps = lamps; }

private:
    void Work()
    {
        if (!m_why.empty())
            return;
        const std::int64_t now = MonotonicNs();
        m_manager.TellAlive(now);
        const std::int64_t next = m_house.Work(now);
        if (!m_out.good())
            return End("nobody hears what is told any more");
        if (m_forMs > 0 && !m_house.GetPast() && m_house.Run().NowMs() >= m_forMs)
            return End("its time was up");
        // A paused house waits for a visitor; what is recorded is not kept waiting longer.
        const std::int64_t latest = now + LONGEST_SLEEP_NS;
        const std::int64_t wake = next < 0 ? latest : std::min(next, latest);
        m_timer.expires_at(std::chrono::steady_clock::time_point(std::chrono::nanoseconds(wake)));
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
                if (m_onBroker)
                    m_onBroker->Work(MonotonicNs());
                if (m_lamps)
                    m_lamps->Work(MonotonicNs());
                SendChanges();
            });
    }

    // Visitors are told first, and have a moment to hear it.
    void End(const std::string& why)
    {
        if (!m_why.empty())
            return;
        m_why = why;
        m_manager.TellStopping();
        m_timer.cancel();
        m_changes.cancel();
        m_web->Close("the program ends: " + why);
        m_farewellEnds = std::chrono::steady_clock::now() + VISITORS_FAREWELL;
        AwaitLeaving();
    }

    void AwaitLeaving()
    {
        if (m_web->GetCounts().connections == 0 ||
            std::chrono::steady_clock::now() >= m_farewellEnds)
            return m_context.stop();
        m_end.expires_after(LEAVING_INTERVAL);
        m_end.async_wait([this](const boost::system::error_code&) { AwaitLeaving(); });
    }

    boost::asio::io_context& m_context;
    LiveHouse& m_house;
    LiveServer& m_server;
    ServiceManager& m_manager;
    const std::int64_t m_forMs;
    const std::ostream& m_out;
    boost::asio::steady_timer m_timer;
    boost::asio::steady_timer m_changes;
    boost::asio::steady_timer m_end;
    boost::asio::posix::stream_descriptor m_signals;
    WebServer* m_web = nullptr;
    LiveHouseOnBroker* m_onBroker = nullptr;
    HouseLamps* m_lamps = nullptr;
    std::chrono::steady_clock::time_point m_farewellEnds;
    std::string m_why;
};

struct CutAtEnd
{
    std::unique_ptr<WebServer>& web;
    std::unique_ptr<LiveHouseOnBroker>& onBroker;
    std::unique_ptr<LampVisitor>& lamps;
    ~CutAtEnd()
    {
        lamps.reset();
        onBroker.reset();
        web.reset();
    }
};

// As it stands in a URL.
std::string AddressText(const std::string& address)
{
    return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

// What the drivers begin with, as it was saved, takes the place of what the house file says: a
// house that goes back to its start begins with that again. Returns the texts by driver.
std::map<std::string, std::string> TakeStates(HouseFile& file, const std::string& path)
{
    std::map<std::string, std::string> states;
    if (path.empty())
        return states;
    embedded_host::FileStateStore store(path);
    for (HouseFileDriver& driver : file.drivers)
    {
        const auto text = store.Load(driver.name, driver.type);
        const auto document = text ? nx::CreateXmlDocument(*text) : nullptr;
        if (!document)
            continue;
        driver.state = document->GetRoot();
        states[driver.name] = *text;
    }
    store.Close();
    return states;
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
    head.program = ProgramVersion();
    head.housePath = housePath;
    head.houseText = text.str();
    head.clock = RecordClock::Paced;
    head.seed = options.session.seed;
    head.draw = NameOf(options.session.draw);
    head.start = embedded_host::FormatLocalTime(options.session.startLocalSeconds);
    head.zone = options.session.zone;
    head.logLevel = options.session.logLevel;
    head.people = !options.bare;
    head.faults = NameOf(options.faults);
    if (!options.session.statePath.empty())
        head.persistMs = options.session.persistIntervalMs;
    return head;
}

// What a visitor without the token needs to show it.
const std::vector<std::string> OPEN_PATHS = {"/token", "/token.js", "/style.css", "/icon.svg"};

LiveServer::Options ServerOptionsOf(const std::string& housePath, const ServeOptions& options,
                                    std::ostream& err)
{
    LiveServer::Options server;
    server.name = std::filesystem::path(housePath).stem().string();
    server.program = ProgramVersion();
    server.token = options.web.token;
    server.faultLevel = NameOf(options.faults);
    server.seed = options.session.seed;
    server.startLocalSeconds = options.session.startLocalSeconds;
    server.zone = options.session.zone;
    server.pageFolder = options.pageFolder;
    server.tell = [&err](const std::string& text)
    {
        err << fmt::format("lighting-host: {}\n", text) << std::flush;
    };
    return server;
}

LiveHouse::Options HouseOptionsOf(const ServeOptions& options, const SessionOptions& session,
                                  FlightRecorder* recorder, bool timeIsReal)
{
    LiveHouse::Options house;
    house.run.session = session;
    house.run.faults = options.faults;
    house.run.people = !options.bare;
    house.run.linesMoveTime = options.bare;
    house.speed = options.speed;
    house.paused = options.paused;
    house.timeIsReal = timeIsReal;
    house.recorder = recorder;
    house.recordOutputs = recorder && options.recordOutputs;
    house.makeView = [](HouseRun& run)
    {
        return std::make_unique<HousePicture>(run);
    };
    return house;
}

// The record's file; null when none is asked for. `file` gets the states that drivers begin with.
std::unique_ptr<FlightRecorder> BeginRecord(const std::string& housePath, HouseFile& file,
                                            const ServeOptions& options, std::ostream& err)
{
    RecordHead head = MakeHead(housePath, options);
    head.states = TakeStates(file, options.session.statePath);
    if (options.record.empty())
        return nullptr;
    // Told at once, for somebody may make room; the house goes on without it.
    const auto onFailure = [&err, path = options.record]
    {
        err << fmt::format("lighting-host: {}: cannot be written any more: {}\n", path,
                           std::strerror(errno))
            << std::flush;
    };
    return std::make_unique<FlightRecorder>(options.record, head, onFailure);
}

// One without an end is complete when a signal ends it.
int StatusOfEnd(const ServeOptions& options)
{
    const int signal = StopSignals::Received();
    return signal == 0 || options.forMs == 0 ? 0 : StatusOfSignal(signal);
}

// Where the page is for somebody on another machine, as far as that is known.
std::string PageUrl(const WebServerOptions& options, std::uint16_t port)
{
    const bool isAny = options.address == "0.0.0.0" || options.address == "::";
    const std::string host =
        isAny && !options.hosts.empty() ? options.hosts.front() : AddressText(options.address);
    return fmt::format("http://{}:{}/", host, port);
}

// The house on a broker; null when it is to be on none.
std::unique_ptr<LiveHouseOnBroker> MakeOnBroker(const ServeOptions& options, const HouseFile& file,
                                                const std::string& name, std::uint16_t port,
                                                boost::asio::io_context& context,
                                                std::function<void()> wake, std::ostream& err)
{
    if (options.broker.address.host.empty())
        return nullptr;
    DiscoveryFacts facts;
    facts.version = ProgramVersion();
    facts.pageUrl = PageUrl(options.web, port);
    const auto post = [&context](std::function<void()> work)
    {
        boost::asio::post(context, std::move(work));
    };
    const auto complain = [&err](const std::string& what)
    {
        err << fmt::format("lighting-host: mqtt: {}\n", what) << std::flush;
    };
    return std::make_unique<LiveHouseOnBroker>(options.broker, file, name, facts, post,
                                               std::move(wake), complain);
}

// Runs the loop with who speaks to the house over brokers, either of which may be null; says why it
// ended.
std::string RunLoop(ServeLoop& loop, LiveHouse& house, WebServer& web, LiveHouseOnBroker* onBroker,
                    LampVisitor* lamps)
{
    if (onBroker)
        onBroker->Start(house);
    loop.SetBroker(onBroker);
    if (lamps)
    {
        lamps->Lamps().Start(MonotonicNs());
        loop.SetLamps(&lamps->Lamps());
    }
    const std::string why = loop.Run(web);
    if (onBroker)
        onBroker->Stop();
    if (lamps)
        lamps->Lamps().Stop();
    return why;
}

void TellLive(const std::string& name, const ServeOptions& options, std::uint16_t port,
              std::ostream& err)
{
    err << fmt::format("lighting-host: {} is live at http://{}:{}/ (seed {}; Ctrl-C ends it)\n",
                       name, AddressText(options.web.address), port, options.session.seed)
        << std::flush;
}

// Whether the record is whole; true without one.
bool IsRecorded(const FlightRecorder* recorder, const std::string& path, std::ostream& err)
{
    if (!recorder || recorder->Failure().empty())
        return true;
    err << fmt::format("lighting-host: {}: could not be written to its end: {}\n", path,
                       recorder->Failure());
    return false;
}

// The house on its loop, once everything is known to be right.
int ServeHouse(const std::string& housePath, HouseFile& file, const ServeOptions& options,
               const Reliving* reliving, std::ostream& out, std::ostream& err)
{
    SaveWatch saves(options.session);
    boost::asio::io_context context(1);
    std::function<void()> wake;
    LiveServer server(ServerOptionsOf(housePath, options, err), [&wake] { wake(); });
    // First of all that can fail, so that nothing is left behind when it does.
    auto web = std::make_unique<WebServer>(context, options.web, server);
    server.Attach(*web);
    // The house of a record begins with the states that the record has.
    const auto recorder = reliving ? nullptr : BeginRecord(housePath, file, options, err);
    const std::string name = std::filesystem::path(housePath).stem().string();
    std::unique_ptr<LiveHouseOnBroker> onBroker = MakeOnBroker(
        options, file, name, web->Port(), context, [&wake] { wake(); }, err);
    std::unique_ptr<ConsoleReport> report;
    LiveHouse::Options houseOptions =
        HouseOptionsOf(options, saves.Options(), recorder.get(),
                       !reliving && !RealLampsNeedRealTime(file, std::string()).empty());
    std::unique_ptr<LampVisitor> lamps;
    houseOptions.onPresent = [&report, &out, &options, &onBroker, &lamps](HouseRun* run)
    {
        if (lamps)
            lamps->Lamps().OnPresent(run);
        if (onBroker)
            onBroker->OnPresent(run);
        report.reset();
        if (run)
            report = std::make_unique<ConsoleReport>(out, options.verbosity, options.style,
                                                     run->GetSession(), run->GetListeners(), [] {});
    };
    LiveHouse house(file, houseOptions, &server);
    server.Attach(house);
    ServiceManager manager;
    ServeLoop loop(context, house, server, manager, options.forMs, out);
    // Visitors leave before the house goes, whatever ends it.
    const CutAtEnd cut{web, onBroker, lamps};
    wake = [&loop]
    {
        loop.Wake();
    };
    // Nobody is at the other end of the house of a record.
    if (!reliving)
        lamps = MakeLamps(
            options, house, context, [&wake] { wake(); }, err);
    house.Start(MonotonicNs());
    if (reliving)
        Relive(house, reliving->record.inputs, reliving->toMs, reliving->breaks, MonotonicNs());
    TellLive(name, options, web->Port(), err);
    manager.TellReady(fmt::format("live at port {}", web->Port()));
    const std::string why = RunLoop(loop, house, *web, onBroker.get(), lamps.get());
    web.reset();
    saves.Restart();
    house.Stop(why);
    err << fmt::format("lighting-host: ended: {}\n", why) << std::flush;
    out.flush();
    const bool isComplete = IsRecorded(recorder.get(), options.record, err) && out.good();
    return isComplete && !saves.Failed() ? StatusOfEnd(options) : STATUS_CANNOT;
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

bool ParseSpeed(const std::string& text, ServeOptions& options)
{
    if (text == "pause")
    {
        options.paused = true;
        return true;
    }
    double speed = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, speed);
    if (read.ec != std::errc() || read.ptr != end || !(speed > 0) || speed > LiveHouse::MOST_SPEED)
        return false;
    options.speed = speed;
    return true;
}

int RunServe(const std::string& housePath, ServeOptions options, std::ostream& out,
             std::ostream& err)
{
    HouseFile file;
    if (!LoadHouse(housePath, file, err))
        return 1;
    if (options.speed != 1 || options.paused)
    {
        const std::string wrong = RealLampsNeedRealTime(file, "not with another --speed than 1");
        if (!wrong.empty())
        {
            err << wrong << '\n';
            return 1;
        }
    }
    TellDoubts(housePath, err);
    // Each line is seen when it happens, also in a file or a pipe.
    out << std::unitbuf;
    try
    {
        if (!options.tokenFile.empty())
            options.web.token = ReadToken(options.tokenFile);
        const std::string wrong = CompleteBrokerOptions(
            options.broker, file, std::filesystem::path(housePath).stem().string());
        if (!wrong.empty())
            throw std::runtime_error(wrong);
        options.web.openPaths = OPEN_PATHS;
        return ServeHouse(housePath, file, options, nullptr, out, err);
    }
    catch (const std::exception& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return STATUS_CANNOT;
    }
}

int RunServe(const Reliving& reliving, const ReplayOptions& replay, ServeOptions options,
             std::ostream& out, std::ostream& err)
{
    const HouseRun::Options run = RunOptionsOf(reliving.record);
    options.session = run.session;
    options.faults = run.faults;
    options.bare = !run.people;
    options.paused = true;
    options.record.clear();
    HouseFile file = HouseOf(reliving.record, replay);
    out << std::unitbuf;
    try
    {
        if (!options.tokenFile.empty())
            options.web.token = ReadToken(options.tokenFile);
        options.web.openPaths = OPEN_PATHS;
        return ServeHouse(reliving.record.head.housePath, file, options, &reliving, out, err);
    }
    catch (const std::exception& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return STATUS_CANNOT;
    }
}
} // namespace lighting_host

#include "lighting_host/broker/HouseLamps.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/SaveWatch.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/RunTables.h"
#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Duration.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// In virtual time, a house without an end is run for a day, up to its last second: at midnight the
// totals of the day would be gone.
constexpr std::int64_t DEFAULT_VIRTUAL_MS = (24 * 3600 - 1) * 1000;
// How much virtual time passes between two looks at the terminal, and how often it is written to.
constexpr std::int64_t STRIDE_MS = 60 * 1000;
constexpr std::chrono::milliseconds SHOW_INTERVAL(200);
// In real time, how often progress is shown.
constexpr std::int64_t PROGRESS_STEP_MS = 1000;
// In real time, how often lamps elsewhere are looked after.
constexpr std::chrono::milliseconds LAMP_INTERVAL(50);
// On purpose not that of an attribute: who hands in what lamps say.
const std::string LAMP_VISITOR = "zigbee2mqtt";

// Shows in time what happens: writes on to whoever reads, and on a terminal a line of progress,
// which makes way for what is told.
class Progress
{
public:
    Progress(std::ostream& out, std::ostream& err, bool terminal)
        : m_out(out), m_err(err), m_terminal(terminal)
    {
    }

    bool OnTerminal() const { return m_terminal; }

    // How far a run is; `allMs` is 0 for one without an end.
    void Show(std::int64_t allMs, const embedded_host::Clock& clock)
    {
        const auto now = std::chrono::steady_clock::now();
        if (now - m_last < SHOW_INTERVAL)
            return;
        m_last = now;
        // First: both may go to the same terminal.
        m_out.flush();
        if (!m_terminal)
            return;
        m_err << "\r\x1b[K";
        if (allMs > 0)
            m_err << fmt::format("{:3}%  ", clock.Now().count() * 100 / allMs);
        m_err << DateAndTime(clock.LocalSeconds()) << std::flush;
        m_shown = true;
    }

    void Clear()
    {
        if (m_shown)
            m_err << "\r\x1b[K" << std::flush;
        m_shown = false;
    }

private:
    std::ostream& m_out;
    std::ostream& m_err;
    bool m_terminal;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_last;
};

void RunVirtual(embedded_host::House& house, std::int64_t forMs, Progress& progress,
                const std::ostream& out)
{
    const embedded_host::Clock& clock = house.GetClock();
    while (clock.Now().count() < forMs && out.good() && StopSignals::Received() == 0)
    {
        house.Advance(std::chrono::milliseconds(std::min(STRIDE_MS, forMs - clock.Now().count())));
        progress.Show(forMs, clock);
    }
}

// Wakes when something is due, when the time is up or when somebody asks for the end.
class RealTimeRun
{
public:
    RealTimeRun(embedded_host::House& house, std::int64_t forMs, Progress& progress,
                const std::ostream& out)
        : m_house(house), m_forMs(forMs), m_progress(progress), m_out(out), m_timer(m_context),
          m_lampTimer(m_context), m_signals(m_context)
    {
        if (StopSignals::Descriptor() < 0)
            return;
        m_signals.assign(StopSignals::Descriptor());
        m_signals.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                             [this](const boost::system::error_code&) { m_context.stop(); });
    }

    ~RealTimeRun()
    {
        // The descriptor is not this run's to close.
        if (m_signals.is_open())
            m_signals.release();
    }
    RealTimeRun(const RealTimeRun&) = delete;
    RealTimeRun& operator=(const RealTimeRun&) = delete;

    void Run()
    {
        Work();
        WorkOnLamps();
        m_context.run();
    }

    // The lamps of the house that stand behind Zigbee2MQTTs; before Run.
    void AddLamps(const BrokerAddress& address, HouseRun& run, std::ostream& err)
    {
        m_lamps = std::make_unique<HouseLamps>(
            address, run.GetSession(),
            [this](std::function<void()> work) { boost::asio::post(m_context, std::move(work)); },
            [this, &run](const std::string& line) { return HandIn(run, line); },
            [&err](const std::string& what)
            { err << fmt::format("lighting-host: zigbee2mqtt: {}\n", what) << std::flush; });
        m_lamps->Start(MonotonicNs());
    }

private:
    bool HandIn(HouseRun& run, const std::string& line)
    {
        bool isTaken = true;
        if (IsHouseAction(line))
            run.Do(LAMP_VISITOR, line, PrepareHouseAction(run, line));
        else
            isTaken = run.HandIn(LAMP_VISITOR, line, ++m_lines);
        Work();
        return isTaken;
    }

    void WorkOnLamps()
    {
        if (!m_lamps)
            return;
        m_lamps->Work(MonotonicNs());
        m_lampTimer.expires_after(LAMP_INTERVAL);
        m_lampTimer.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (!error)
                    WorkOnLamps();
            });
    }

    void Work()
    {
        m_house.Advance({});
        const embedded_host::Clock& clock = m_house.GetClock();
        const std::int64_t now = clock.Now().count();
        m_progress.Show(m_forMs, clock);
        const bool timeIsUp = m_forMs > 0 && now >= m_forMs;
        if (timeIsUp || !m_out.good())
        {
            m_context.stop();
            return;
        }
        m_timer.expires_after(
            std::chrono::milliseconds(std::max<std::int64_t>(NextWakeMs(now) - now, 1)));
        m_timer.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (!error)
                    Work();
            });
    }

    std::int64_t NextWakeMs(std::int64_t now) const
    {
        std::int64_t wake = now + (m_progress.OnTerminal() ? PROGRESS_STEP_MS : STRIDE_MS);
        if (const auto due = m_house.NextWake())
            wake = std::min<std::int64_t>(wake, due->count());
        return m_forMs > 0 ? std::min(wake, m_forMs) : wake;
    }

    embedded_host::House& m_house;
    std::int64_t m_forMs;
    Progress& m_progress;
    const std::ostream& m_out;
    boost::asio::io_context m_context;
    boost::asio::steady_timer m_timer;
    boost::asio::steady_timer m_lampTimer;
    boost::asio::posix::stream_descriptor m_signals;
    unsigned long m_lines = 0;
    // Null for none.
    std::unique_ptr<HouseLamps> m_lamps;
};

// The status of a run that could do all that it had to: a run without an end is complete when a
// signal ends it.
int StatusOfEnd(const RunOptions& options)
{
    const bool endless = options.session.realTime && options.forMs == 0;
    const int signal = StopSignals::Received();
    return signal == 0 || endless ? 0 : StatusOfSignal(signal);
}

void WriteTables(std::ostream& out, const HouseFile& file, const Session& session,
                 const Simulation& simulation, const ConsoleReport& report,
                 const RunOptions& options)
{
    const RunTables tables(out, file, session, simulation.Statistics(), options.columns,
                           options.style);
    const bool hasRooms = tables.WriteRooms();
    if (!hasRooms || options.verbosity == Verbosity::Verbose)
        tables.WriteDrivers();
    tables.WriteScenes(simulation.GetController());
    tables.WriteEnergy();
    tables.WriteWrites(simulation.Writes());
    if (hasRooms || options.faults != FaultLevel::None)
        tables.WriteFaults(simulation.Faults());
    if (options.verbosity == Verbosity::Normal)
        tables.WriteRecords(report.Repeated());
    out << fmt::format("\n{} driver{}, faults: {}, seed {}\n", file.drivers.size(),
                       file.drivers.size() == 1 ? "" : "s", NameOf(options.faults),
                       options.session.seed);
}
} // namespace

int RunHouse(const std::string& housePath, const RunOptions& options, std::ostream& out,
             std::ostream& err)
{
    HouseFile file;
    if (!LoadHouse(housePath, file, err))
        return 1;
    TellDoubts(housePath, err);
    std::optional<BrokerAddress> lampBroker;
    const std::string lamps = RealLampsNeedRealTime(file, "not with --virtual");
    if (!lamps.empty() && !options.session.realTime)
    {
        err << lamps << '\n';
        return 1;
    }
    if (!lamps.empty())
        lampBroker = CompleteLampBroker(options.lampBroker, BrokerAddress());
    Progress progress(out, err, options.terminal);
    SaveWatch saves(options.session);
    HouseRun::Options runOptions;
    runOptions.session = saves.Options();
    runOptions.faults = options.faults;
    runOptions.numbered = false;
    HouseRun run(file, runOptions, {});
    Session& session = run.GetSession();
    ConsoleReport report(out, options.verbosity, options.style, session, run.GetListeners(),
                         [&progress] { progress.Clear(); });
    // In real time each line is seen when it happens, also in a file or a pipe.
    if (options.session.realTime)
        out << std::unitbuf;
    ForgetStart(file);
    run.Start();
    if (options.session.realTime)
    {
        RealTimeRun realTime(session.House(), options.forMs, progress, out);
        if (lampBroker)
            realTime.AddLamps(*lampBroker, run, err);
        realTime.Run();
    }
    else
        RunVirtual(session.House(), options.forMs > 0 ? options.forMs : DEFAULT_VIRTUAL_MS,
                   progress, out);
    progress.Clear();
    out << std::nounitbuf;
    WriteTables(out, file, session, *run.GetSimulation(), report, options);
    saves.Restart();
    run.Stop();
    out.flush();
    return out.good() && !saves.Failed() ? StatusOfEnd(options) : STATUS_CANNOT;
}
} // namespace lighting_host

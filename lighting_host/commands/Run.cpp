#include "lighting_host/commands/Commands.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/simulation/RunTables.h"
#include "lighting_host/simulation/Simulation.h"
#include "lighting_host/text/Duration.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ostream>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
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
constexpr std::chrono::milliseconds PROGRESS_INTERVAL(200);

// One line of progress on the terminal, which makes way for what is told.
class Progress
{
public:
    Progress(std::ostream& err, bool terminal) : m_err(err), m_terminal(terminal) {}

    void Show(std::int64_t doneMs, std::int64_t allMs, const std::string& when)
    {
        const auto now = std::chrono::steady_clock::now();
        if (!m_terminal || now - m_last < PROGRESS_INTERVAL)
            return;
        m_last = now;
        m_err << fmt::format("\r\x1b[K{:3}%  {}", doneMs * 100 / std::max<std::int64_t>(allMs, 1),
                             when)
              << std::flush;
        m_shown = true;
    }

    void Clear()
    {
        if (m_shown)
            m_err << "\r\x1b[K" << std::flush;
        m_shown = false;
    }

private:
    std::ostream& m_err;
    bool m_terminal;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_last;
};

volatile std::sig_atomic_t g_stop = 0;

void OnSignal(int)
{
    g_stop = 1;
}

void RunVirtual(embedded_host::House& house, std::int64_t forMs, Progress& progress)
{
    g_stop = 0;
    std::signal(SIGINT, &OnSignal);
    std::signal(SIGTERM, &OnSignal);
    const embedded_host::Clock& clock = house.GetClock();
    while (clock.NowMs() < forMs && !g_stop)
    {
        house.Advance(std::min(STRIDE_MS, forMs - clock.NowMs()));
        progress.Show(clock.NowMs(), forMs, FormatLocalTime(clock.LocalSeconds(), 0));
    }
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

// Wakes when something is due, when the time is up or when somebody asks for the end.
class RealTimeRun
{
public:
    RealTimeRun(embedded_host::House& house, std::int64_t forMs)
        : m_house(house), m_forMs(forMs), m_timer(m_context), m_signals(m_context, SIGINT, SIGTERM)
    {
        m_signals.async_wait(
            [this](const boost::system::error_code& error, int)
            {
                if (!error)
                    m_context.stop();
            });
    }

    void Run()
    {
        Work();
        m_context.run();
    }

private:
    void Work()
    {
        m_house.Advance(0);
        const std::int64_t now = m_house.GetClock().NowMs();
        if (m_forMs > 0 && now >= m_forMs)
        {
            m_context.stop();
            return;
        }
        std::int64_t wake = m_house.NextWakeMs();
        if (wake < 0)
            wake = m_forMs > 0 ? m_forMs : now + STRIDE_MS;
        if (m_forMs > 0)
            wake = std::min(wake, m_forMs);
        m_timer.expires_after(std::chrono::milliseconds(std::max<std::int64_t>(wake - now, 1)));
        m_timer.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (!error)
                    Work();
            });
    }

    embedded_host::House& m_house;
    std::int64_t m_forMs;
    boost::asio::io_context m_context;
    boost::asio::steady_timer m_timer;
    boost::asio::signal_set m_signals;
};

void WriteTables(std::ostream& out, const HouseFile& file, const Session& session,
                 const Simulation& simulation, const RunOptions& options)
{
    const RunTables tables(out, file, session, simulation.Statistics());
    const bool hasRooms = tables.WriteRooms();
    if (!hasRooms || options.verbosity == Verbosity::Verbose)
        tables.WriteDrivers();
    tables.WriteScenes(simulation.GetController());
    tables.WriteEnergy();
    if (hasRooms || options.faults != FaultLevel::None)
        tables.WriteFaults(simulation.Faults());
    const std::string seed =
        options.session.realTime ? std::string() : fmt::format(", seed {}", options.session.seed);
    if (hasRooms || options.faults != FaultLevel::None)
        out << fmt::format("\n{} driver{}, faults: {}{}\n", file.drivers.size(),
                           file.drivers.size() == 1 ? "" : "s", NameOf(options.faults), seed);
}
} // namespace

int RunHouse(const std::string& housePath, const RunOptions& options, std::ostream& out,
             std::ostream& err)
{
    HouseFile file;
    if (!LoadHouse(housePath, file, err))
        return 1;
    Progress progress(err, options.terminal);
    Listeners listeners;
    Session session(file, options.session, listeners);
    Simulation simulation(file, session, listeners, options.faults, options.session.seed);
    ConsoleReport report(out, options.verbosity, session, listeners,
                         [&progress] { progress.Clear(); });
    session.Start();
    simulation.Start();
    if (options.session.realTime)
        RealTimeRun(session.House(), options.forMs).Run();
    else
        RunVirtual(session.House(), options.forMs > 0 ? options.forMs : DEFAULT_VIRTUAL_MS,
                   progress);
    progress.Clear();
    WriteTables(out, file, session, simulation, options);
    session.Stop();
    out.flush();
    return 0;
}
} // namespace lighting_host

// Lets a house live for many days with everything going wrong that can, and then holds both ends of
// every wire against each other. scripts/soak builds and runs it.
//
//     house_soak HOUSE [--days N] [--seed S] [--spoil WHAT]
//
// What goes to standard output repeats with the seed, byte for byte; progress and memory go to
// standard error. Ends with 0 when all agrees and memory has not grown, else with 1.

#include "device_wire/AttachedDevice.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/house/StateKeeper.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/simulation/Simulation.h"
#include "tests/soak/Audit.h"
#include "tests/support/Sanitizer.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <streambuf>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <log4cplus/loglevel.h>
#if LIGHTING_ADDRESS_SANITIZER
// Of the sanitizer's run time; GCC brings no header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace
{
using namespace std::chrono_literals;
using namespace lighting_host;

constexpr std::int64_t MINUTE_MS = 60 * 1000;
constexpr std::int64_t HOUR_MS = 60 * MINUTE_MS;
constexpr std::int64_t DAY_MS = 24 * HOUR_MS;
// 2026-01-01T00:00:00.
constexpr std::int64_t START_SECONDS = 1767225600;
constexpr std::int64_t SAVE_EVERY_MS = 10 * MINUTE_MS;
// Between two restarts: of one driver, and of every tenth all of them.
constexpr int SHORTEST_LIFE_MS = 10 * 60 * 1000;
constexpr int LONGEST_LIFE_MS = 4 * 3600 * 1000;
constexpr int WHOLE_HOUSE_OF = 10;
// Without faults, before both ends are compared: two resyncs of every driver, and on to a quiet
// hour.
constexpr std::int64_t SETTLE_MS = 13 * HOUR_MS;
// Fewer tell nothing about memory.
constexpr std::size_t FEWEST_DAYS = 6;
// What a spoilt memory keeps of each day.
constexpr std::size_t LEAK = 4096;
// To the byte under the sanitizers; 0 without them, where the heap counts what it keeps in reserve.
std::size_t BytesInUse()
{
#if LIGHTING_ADDRESS_SANITIZER
    return __sanitizer_get_current_allocated_bytes();
#else
    return 0;
#endif
}

// Swallows a text and keeps what tells it from any other: its length and a hash (FNV-1a).
class Digest : public std::streambuf
{
public:
    std::string Text() const { return fmt::format("{} bytes, digest {:016x}", m_length, m_hash); }

protected:
    int_type overflow(int_type c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof()))
            Take(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize length) override
    {
        std::for_each(text, text + length, [this](char c) { Take(c); });
        return length;
    }

private:
    void Take(char c)
    {
        ++m_length;
        m_hash = (m_hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }

    std::uint64_t m_length = 0;
    std::uint64_t m_hash = 0xCBF29CE484222325;
};

// A folder for the state file; goes away with it.
class Folder
{
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "soak-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no folder could be made");
        m_path = name;
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string StateFile() const { return (m_path / "state").string(); }

private:
    std::filesystem::path m_path;
};

constexpr const char* SPOIL_MEMORY = "memory";

// The least and the most memory that was in use at the full hours of a day.
struct InUse
{
    std::size_t least = SIZE_MAX;
    std::size_t most = 0;
};

struct Options
{
    std::string house;
    unsigned days = 30;
    std::uint64_t seed = 1;
    std::string spoil;
};

SessionOptions ForSession(const Options& options, const Folder& folder)
{
    SessionOptions session;
    session.seed = options.seed;
    session.startLocalSeconds = START_SECONDS;
    session.statePath = folder.StateFile();
    session.persistIntervalMs = SAVE_EVERY_MS;
    session.logLevel = log4cplus::WARN_LOG_LEVEL;
    session.complain = [](const std::string& what)
    {
        throw std::runtime_error(what);
    };
    return session;
}

// The house, everything that goes wrong in it, and the books.
class Soak
{
public:
    Soak(const HouseFile& file, const Options& options)
        : m_options(options), m_told(&m_digest),
          m_session(file, ForSession(options, m_folder), m_listeners),
          m_simulation(file, m_session, m_listeners, FaultLevel::Heavy, options.seed),
          m_report(m_told, Verbosity::Verbose, Style(false), m_session, m_listeners, [] {}),
          m_audit(file, m_session, m_simulation),
          m_random(~options.seed, embedded_host::Draw::Random)
    {
        m_listeners.Add(m_audit);
        m_session.Keeper()->onSaved = [this](const std::vector<nx::DriverHost*>& drivers)
        {
            m_audit.NoteSave(drivers);
        };
    }

    ~Soak()
    {
        m_session.Stop();
        m_listeners.Remove(m_audit);
    }

    // True when all is well.
    bool Run()
    {
        m_session.Start();
        m_simulation.Start();
        for (unsigned day = 1; day <= m_options.days; ++day)
        {
            m_memory.emplace_back();
            for (std::int64_t hour = 1; hour <= DAY_MS / HOUR_MS; ++hour)
            {
                LiveUntil((day - 1) * DAY_MS + hour * HOUR_MS);
                const std::size_t bytes = BytesInUse();
                m_memory.back().least = std::min(m_memory.back().least, bytes);
                m_memory.back().most = std::max(m_memory.back().most, bytes);
            }
            if (m_options.spoil == SPOIL_MEMORY)
                m_leaked.emplace_back(LEAK, ' ');
            Progress(day);
            std::cout << fmt::format("day {}: {}\n", day, m_digest.Text());
        }
        std::cout << fmt::format(
            "restarts: {} of a driver, {} of the house, {} of these by a crash\n", m_driverRestarts,
            m_houseRestarts, m_crashes);
        TellFaults();
        m_simulation.Faults().Stop();
        m_session.House().Advance(std::chrono::milliseconds(SETTLE_MS));
        return Judge();
    }

private:
    void LiveUntil(std::int64_t ms)
    {
        embedded_host::House& house = m_session.House();
        const embedded_host::Clock& clock = house.GetClock();
        while (clock.Now().count() < ms)
        {
            if (m_nextRestartMs < 0)
                m_nextRestartMs =
                    clock.Now().count() + m_random.Between(SHORTEST_LIFE_MS, LONGEST_LIFE_MS);
            house.Advance(std::chrono::milliseconds(std::min(ms, m_nextRestartMs)) - clock.Now());
            if (clock.Now().count() < m_nextRestartMs)
                continue;
            m_nextRestartMs = -1;
            if (m_random.Between(1, WHOLE_HOUSE_OF) == 1)
                RestartHouse(m_random.Between(0, 1) == 1);
            else
                RestartOne();
        }
    }

    void RestartOne()
    {
        const auto& drivers = m_session.House().Drivers();
        const int chosen = m_random.Between(0, static_cast<int>(drivers.size()) - 1);
        nx::DriverHost& driver = *drivers[static_cast<std::size_t>(chosen)];
        ++m_driverRestarts;
        m_audit.BeforeRestart(driver);
        driver.Restart();
        m_audit.AfterRestart(driver, false);
        m_simulation.OnDriverStarted(driver);
    }

    void RestartHouse(bool crash)
    {
        const auto& drivers = m_session.House().Drivers();
        ++m_houseRestarts;
        m_crashes += crash ? 1 : 0;
        for (const auto& driver : drivers)
            m_audit.BeforeRestart(*driver);
        m_session.RestartDrivers(!crash);
        for (const auto& driver : drivers)
            m_audit.AfterRestart(*driver, true);
        for (const auto& driver : drivers)
            m_simulation.OnDriverStarted(*driver);
    }

    void TellFaults() const
    {
        HouseFaults::Counts sum;
        RunStatistics::Counts done;
        const auto& devices = m_session.Devices();
        for (std::size_t i = 0; i < devices.size(); ++i)
        {
            const HouseFaults::Counts& counts = m_simulation.Faults().Of(i);
            sum.messages += counts.messages;
            sum.lost += counts.lost;
            sum.late += counts.late;
            sum.twice += counts.twice;
            sum.powerFailures += counts.powerFailures;
            const RunStatistics::Counts statistics =
                m_simulation.Statistics().Of(devices[i]->Driver());
            done.repairs += statistics.repairs;
            done.retries += statistics.retries;
        }
        std::cout << fmt::format("messages: {}, of these {} lost, {} late, {} twice; {} power "
                                 "failures; {} repairs, {} retries\n",
                                 sum.messages, sum.lost, sum.late, sum.twice, sum.powerFailures,
                                 done.repairs, done.retries);
    }

    bool Judge()
    {
        if (!m_options.spoil.empty() && m_options.spoil != SPOIL_MEMORY &&
            !soak::Spoil(m_session, m_options.spoil))
            throw std::runtime_error("there is nothing to spoil: " + m_options.spoil);
        m_session.House().Advance(1ms);
        const std::vector<std::string> wrong = m_audit.Check();
        for (const std::string& what : wrong)
            std::cout << "wrong: " << what << '\n';
        std::cout << fmt::format("compared: {} facts, {} wrong\n", m_audit.Compared(),
                                 wrong.size());
        std::cout << fmt::format("energy: {:.3f} kWh counted, {:.3f} kWh lost by faults\n",
                                 static_cast<double>(m_audit.Counted()) / 100000,
                                 static_cast<double>(m_audit.Lost()) / 100000);
        std::cout << "output: " << m_digest.Text() << '\n';
        return JudgeMemory() && wrong.empty();
    }

    // How much is in use goes up and down with the messages under way and the questions that nobody
    // has answered yet. What grows for good lifts even the least of the last days above the most of
    // the first.
    bool JudgeMemory() const
    {
        if (m_memory.size() < FEWEST_DAYS || BytesInUse() == 0)
        {
            std::cout << "memory: not judged\n";
            return true;
        }
        std::size_t least = SIZE_MAX;
        for (std::size_t day = m_memory.size() - m_memory.size() / 3; day < m_memory.size(); ++day)
            least = std::min(least, m_memory[day].least);
        const InUse& first = m_memory.front();
        std::cerr << fmt::format(
            "memory in use: {} to {} bytes on the first day, {} at least on the "
            "last {} days\n",
            first.least, first.most, least, m_memory.size() / 3);
        const bool grown = least > first.most;
        std::cout << "memory: " << (grown ? "HAS GROWN" : "has not grown") << '\n';
        return !grown;
    }

    void Progress(unsigned day) const
    {
        std::cerr << fmt::format("day {} of {}: {} restarts, {} to {} bytes in use\n", day,
                                 m_options.days, m_driverRestarts + m_houseRestarts,
                                 m_memory.back().least, m_memory.back().most);
    }

    const Options m_options;
    Folder m_folder;
    Digest m_digest;
    std::ostream m_told;
    Listeners m_listeners;
    Session m_session;
    Simulation m_simulation;
    ConsoleReport m_report;
    soak::Audit m_audit;
    embedded_host::Random m_random;
    std::int64_t m_nextRestartMs = -1;
    unsigned m_driverRestarts = 0;
    unsigned m_houseRestarts = 0;
    unsigned m_crashes = 0;
    std::vector<InUse> m_memory;
    std::vector<std::string> m_leaked;
};
} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Lets a house live for days with heavy faults and restarts, then compares both "
                 "ends of every wire.",
                 "house_soak");
    Options options;
    app.add_option("HOUSE", options.house, "The house file")->required();
    app.add_option("--days", options.days, "How many days")->check(CLI::Range(0, 10000));
    app.add_option("--seed", options.seed, "Makes every fault and restart repeat")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--spoil", options.spoil,
                   "Spoil a device at the end, which must be found: element, group, light, colour, "
                   "setting or meter; or the memory of each day");
    CLI11_PARSE(app, argc, argv);
    try
    {
        HouseFile file;
        if (!LoadHouse(options.house, file, std::cerr))
            return 2;
        Soak soak(file, options);
        const bool good = soak.Run();
        std::cout << (good ? "soak: passed" : "soak: FAILED") << '\n';
        return good ? 0 : 1;
    }
    catch (const std::exception& error)
    {
        std::cerr << "house_soak: " << error.what() << '\n';
        return 2;
    }
}

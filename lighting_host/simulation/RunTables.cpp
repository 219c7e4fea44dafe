#include "lighting_host/simulation/RunTables.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Controller.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/simulation/RunStatistics.h"
#include "lighting_host/text/Duration.h"

#include <algorithm>
#include <cstdint>
#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t NAME_WIDTH = 12;
constexpr std::size_t DATE_WIDTH = 19;
constexpr std::int64_t MS_PER_SECOND = 1000;

// "12 d 03:45", days left out when there are none.
std::string Minutes(int minutes)
{
    constexpr int MINUTES_PER_DAY = 24 * 60;
    const std::string time =
        fmt::format("{:02}:{:02}", minutes % MINUTES_PER_DAY / 60, minutes % 60);
    return minutes < MINUTES_PER_DAY ? time
                                     : fmt::format("{} d {}", minutes / MINUTES_PER_DAY, time);
}

std::string KilowattHours(double hundredthsOfAWattHour)
{
    return fmt::format("{:.3f} kWh", hundredthsOfAWattHour / 100000);
}

// The names of the rooms or types of a house, in the order in which they come first.
template <class Drivers, class NameOf>
std::vector<std::string> Names(const Drivers& drivers, const NameOf& nameOf)
{
    std::vector<std::string> names;
    for (const auto& driver : drivers)
    {
        if (std::find(names.begin(), names.end(), nameOf(*driver)) == names.end())
            names.push_back(nameOf(*driver));
    }
    return names;
}

std::size_t WidestOf(const std::vector<std::string>& names)
{
    std::size_t width = NAME_WIDTH;
    for (const std::string& name : names)
        width = std::max(width, name.size());
    return width;
}

std::size_t WidestDriver(const Session& session)
{
    return WidestOf(Names(session.House().Drivers(),
                          [](const nx::DriverHost& driver) { return driver.Config().name; }));
}
} // namespace

RunTables::RunTables(std::ostream& out, const HouseFile& file, const Session& session,
                     const RunStatistics& statistics)
    : m_out(out), m_file(file), m_session(session), m_statistics(statistics)
{
}

void RunTables::WriteDrivers() const
{
    const std::size_t width = WidestDriver(m_session);
    m_out << fmt::format("\n{:<{}}  {:<14}  {:>6}  {:>7}  {}\n", "driver", width, "type", "events",
                         "sent", "state");
    for (const auto& driver : m_session.House().Drivers())
    {
        const embedded_host::DriverConfig& config = driver->Config();
        const RunStatistics::Counts counts = m_statistics.Of(*driver);
        const DriverAdapter* adapter = m_session.AdapterOf(*driver);
        std::string state;
        if (adapter)
        {
            for (const auto& fact : adapter->Summary())
                state +=
                    fmt::format("{}{}: {}", state.empty() ? "" : "; ", fact.first, fact.second);
        }
        else
            state = driver->Driver() ? "runs" : "does not run";
        m_out << fmt::format("{:<{}}  {:<14}  {:>6}  {:>7}  {}\n", config.name, width, config.type,
                             counts.events, counts.sent, state);
    }
}

bool RunTables::HasRooms() const
{
    return std::any_of(m_file.drivers.begin(), m_file.drivers.end(),
                       [](const HouseFileDriver& driver) { return !driver.room.empty(); });
}

bool RunTables::WriteRooms() const
{
    if (!HasRooms())
        return false;
    const auto& drivers = m_session.House().Drivers();
    const auto roomOf = [this](const nx::DriverHost& driver)
    {
        const std::string& room = m_session.RoomOf(driver);
        return room.empty() ? std::string("(no room)") : room;
    };
    std::vector<std::string> rooms = Names(drivers, roomOf);
    const std::size_t width = WidestOf(rooms);
    rooms.emplace_back("all");
    m_out << fmt::format("\n{:<{}}  {:>7}  {:>9}  {:>6}  {:>8}\n", "room", width, "drivers",
                         "people do", "events", "messages");
    for (const std::string& room : rooms)
    {
        RunStatistics::Counts sum;
        unsigned count = 0;
        for (const auto& driver : drivers)
        {
            if (&room != &rooms.back() && roomOf(*driver) != room)
                continue;
            const RunStatistics::Counts counts = m_statistics.Of(*driver);
            ++count;
            sum.acts += counts.acts;
            sum.events += counts.events;
            sum.sent += counts.sent;
        }
        m_out << fmt::format("{:<{}}  {:>7}  {:>9}  {:>6}  {:>8}\n", room, width, count, sum.acts,
                             sum.events, sum.sent);
    }
    return true;
}

void RunTables::WriteScenes(const Controller& controller) const
{
    const embedded_host::Clock& clock = m_session.House().GetClock();
    const auto write = [&](const std::string& name, std::size_t width, std::size_t loads,
                           const Controller::Count& count)
    {
        std::string last = "never";
        // Whole seconds of the wall, rounded down.
        const std::int64_t ago = (clock.NowMs() - count.lastMs + MS_PER_SECOND - 1) / MS_PER_SECOND;
        if (count.times > 0)
            last = FormatLocalTime(clock.LocalSeconds() - ago, 0).substr(0, DATE_WIDTH);
        m_out << fmt::format("{:<{}}  {:>5}  {:>5}  {}\n", name, width, loads, count.times, last);
    };
    const char* const head = "\n{:<{}}  {:>5}  {:>5}  {}\n";
    std::vector<std::string> names;
    for (const HouseFileScene& scene : m_file.scenes)
        names.push_back(scene.name);
    if (!names.empty())
        m_out << fmt::format(head, "scene", WidestOf(names), "steps", "times", "last");
    for (std::size_t i = 0; i < names.size(); ++i)
        write(names[i], WidestOf(names), m_file.scenes[i].loads.size(),
              controller.SceneCounts()[i]);
    names.clear();
    for (const HouseFileGroup& group : m_file.groups)
    {
        if (!group.acts.empty())
            names.push_back(group.name.empty() ? std::to_string(group.id) : group.name);
    }
    if (!names.empty())
        m_out << fmt::format(head, "load group", WidestOf(names), "loads", "times", "last");
    std::size_t named = 0;
    for (std::size_t i = 0; i < m_file.groups.size(); ++i)
    {
        if (!m_file.groups[i].acts.empty())
            write(names[named++], WidestOf(names), m_file.groups[i].members.size(),
                  controller.GroupCounts()[i]);
    }
}

void RunTables::WriteEnergy() const
{
    const char* const row = "{:<{}}  {:<14}  {:>12}  {:>12}  {:>8}  {:>12}  {:>12}\n";
    const std::size_t width = WidestDriver(m_session);
    std::int64_t hundredths = 0;
    bool any = false;
    for (const auto& driver : m_session.House().Drivers())
    {
        const DriverAdapter* adapter = m_session.AdapterOf(*driver);
        const auto figures = adapter ? adapter->EnergyOfLoad() : std::nullopt;
        if (!figures)
            continue;
        if (!any)
            m_out << '\n'
                  << fmt::format(row, "load", width, "type", "on", "off", "now", "used",
                                 "used today");
        any = true;
        hundredths += std::int64_t{figures->wattHours} * 100 + figures->hundredths;
        m_out << fmt::format(row, driver->Config().name, width, driver->Config().type,
                             Minutes(figures->minutesOn), Minutes(figures->minutesOff),
                             fmt::format("{} W", figures->powerWatts),
                             KilowattHours(figures->wattHours * 100.0 + figures->hundredths),
                             KilowattHours(figures->wattHoursToday * 100.0));
    }
    if (any)
        m_out << fmt::format(row, "all", width, "", "", "", "",
                             KilowattHours(static_cast<double>(hundredths)), "");
}

void RunTables::WriteFaults(const HouseFaults& faults) const
{
    const auto& devices = m_session.Devices();
    if (devices.empty())
        return;
    const char* const row = "{:<14}  {:>8}  {:>6}  {:>6}  {:>6}  {:>8}  {:>7}  {:>7}  {:>8}\n";
    std::vector<std::string> types =
        Names(m_session.House().Drivers(),
              [](const nx::DriverHost& driver) { return driver.Config().type; });
    types.emplace_back("all");
    m_out << '\n'
          << fmt::format(row, "links", "messages", "lost", "late", "twice", "no power", "repairs",
                         "retries", "warnings");
    for (const std::string& type : types)
    {
        HouseFaults::Counts link;
        RunStatistics::Counts done;
        for (std::size_t i = 0; i < devices.size(); ++i)
        {
            const nx::DriverHost& driver = devices[i]->Driver();
            if (&type != &types.back() && driver.Config().type != type)
                continue;
            const HouseFaults::Counts& counts = faults.Of(i);
            link.messages += counts.messages;
            link.lost += counts.lost;
            link.late += counts.late;
            link.twice += counts.twice;
            link.powerFailures += counts.powerFailures;
            const RunStatistics::Counts statistics = m_statistics.Of(driver);
            done.repairs += statistics.repairs;
            done.retries += statistics.retries;
            done.warnings += statistics.warnings;
        }
        m_out << fmt::format(row, type, link.messages, link.lost, link.late, link.twice,
                             link.powerFailures, done.repairs, done.retries, done.warnings);
    }
}
} // namespace lighting_host

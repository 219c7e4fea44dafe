#include "lighting_host/simulation/RunTables.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/Controller.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/simulation/RunStatistics.h"
#include "lighting_host/simulation/WriteCounts.h"
#include "lighting_host/text/Duration.h"
#include "lighting_host/text/TextTable.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t TYPE_WIDTH = 14;

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

constexpr TextTable::Align RIGHT = TextTable::Align::Right;
constexpr TextTable::Align LEFT = TextTable::Align::Left;

std::string Number(unsigned long number)
{
    return std::to_string(number);
}
} // namespace

RunTables::RunTables(std::ostream& out, const HouseFile& file, const Session& session,
                     const RunStatistics& statistics, std::size_t columns, const Style& style)
    : m_out(out), m_file(file), m_session(session), m_statistics(statistics), m_columns(columns),
      m_style(style)
{
}

void RunTables::WriteDrivers() const
{
    TextTable table({{"driver", LEFT, MIN_NAME_WIDTH},
                     {"type", LEFT, TYPE_WIDTH},
                     {"events", RIGHT, 6},
                     {"sent", RIGHT, 7},
                     {"state"}});
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
        if (state.empty())
            state = driver->Driver() ? "runs" : "does not run";
        table.Add({config.name, config.type, Number(counts.events), Number(counts.sent), state});
    }
    table.Write(m_out, m_columns, m_style);
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
    rooms.emplace_back("all");
    TextTable table({{"room", LEFT, MIN_NAME_WIDTH},
                     {"drivers", RIGHT, 7},
                     {"people do", RIGHT, 9},
                     {"events", RIGHT, 6},
                     {"messages", RIGHT, 8}});
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
        table.Add({room, Number(count), Number(sum.acts), Number(sum.events), Number(sum.sent)});
    }
    table.Write(m_out, m_columns, m_style);
    return true;
}

void RunTables::WriteScenes(const Controller& controller) const
{
    const embedded_host::Clock& clock = m_session.House().GetClock();
    const auto add = [&clock](TextTable& table, const std::string& name, std::size_t loads,
                              const Controller::Count& count)
    {
        std::string last = "never";
        // Whole seconds of the wall, rounded down.
        const std::chrono::milliseconds ago(clock.Now().count() - count.lastMs);
        const auto seconds = std::chrono::ceil<std::chrono::seconds>(ago);
        if (count.times > 0)
            last = DateAndTime(clock.LocalSeconds() - seconds.count());
        table.Add({name, Number(loads), Number(count.times), last});
    };
    TextTable scenes(
        {{"scene", LEFT, MIN_NAME_WIDTH}, {"steps", RIGHT}, {"times", RIGHT}, {"last"}});
    for (std::size_t i = 0; i < m_file.scenes.size(); ++i)
        add(scenes, m_file.scenes[i].name, m_file.scenes[i].loads.size(),
            controller.SceneCounts()[i]);
    TextTable groups(
        {{"load group", LEFT, MIN_NAME_WIDTH}, {"loads", RIGHT}, {"times", RIGHT}, {"last"}});
    for (std::size_t i = 0; i < m_file.groups.size(); ++i)
    {
        const HouseFileGroup& group = m_file.groups[i];
        if (!group.acts.empty())
            add(groups, group.name.empty() ? std::to_string(group.id) : group.name,
                group.members.size(), controller.GroupCounts()[i]);
    }
    for (const TextTable* table : {&scenes, &groups})
    {
        if (!table->IsEmpty())
            table->Write(m_out, m_columns, m_style);
    }
}

void RunTables::WriteEnergy() const
{
    TextTable table({{"load", LEFT, MIN_NAME_WIDTH},
                     {"type", LEFT, TYPE_WIDTH},
                     {"on", RIGHT, 12},
                     {"off", RIGHT, 12},
                     {"now", RIGHT, 8},
                     {"used", RIGHT, 12},
                     {"used today", RIGHT, 12}});
    std::int64_t hundredths = 0;
    for (const auto& driver : m_session.House().Drivers())
    {
        const DriverAdapter* adapter = m_session.AdapterOf(*driver);
        const auto figures = adapter ? adapter->EnergyOfLoad() : std::nullopt;
        if (!figures)
            continue;
        hundredths += std::int64_t{figures->wattHours} * 100 + figures->hundredths;
        table.Add({driver->Config().name, driver->Config().type, Minutes(figures->minutesOn),
                   Minutes(figures->minutesOff), fmt::format("{} W", figures->powerWatts),
                   KilowattHours(figures->wattHours * 100.0 + figures->hundredths),
                   KilowattHours(figures->wattHoursToday * 100.0)});
    }
    if (table.IsEmpty())
        return;
    table.Add({"all", "", "", "", "", KilowattHours(static_cast<double>(hundredths)), ""});
    table.Write(m_out, m_columns, m_style);
}

void RunTables::WriteWrites(const WriteCounts& counts) const
{
    TextTable table({{"written", LEFT, MIN_NAME_WIDTH},
                     {"type", LEFT, TYPE_WIDTH},
                     {"messages", RIGHT, 8},
                     {"writes", RIGHT, 7},
                     {"fewest", RIGHT, 7}});
    WriteCounts::Count all{};
    for (const WriteCounts::Count& count : counts.Counts())
    {
        const embedded_host::DriverConfig& config = count.driver->Config();
        table.Add({config.name, config.type, Number(count.messages), Number(count.writes),
                   Number(count.fewest)});
        all.messages += count.messages;
        all.writes += count.writes;
        all.fewest += count.fewest;
    }
    if (table.IsEmpty())
        return;
    table.Add({"all", "", Number(all.messages), Number(all.writes), Number(all.fewest)});
    table.Write(m_out, m_columns, m_style);
}

void RunTables::WriteRecords(const std::vector<RepeatedRecord>& records) const
{
    TextTable table({{"said again", LEFT, MIN_NAME_WIDTH}, {"times", RIGHT}, {"what"}});
    for (const RepeatedRecord& record : records)
        table.Add({record.driver, Number(record.times), record.text});
    if (!table.IsEmpty())
        table.Write(m_out, m_columns, m_style);
}

void RunTables::WriteFaults(const HouseFaults& faults) const
{
    const auto& devices = m_session.Devices();
    if (devices.empty())
        return;
    TextTable table({{"links", LEFT, TYPE_WIDTH},
                     {"messages", RIGHT, 8},
                     {"lost", RIGHT, 6},
                     {"late", RIGHT, 6},
                     {"twice", RIGHT, 6},
                     {"no power", RIGHT, 8},
                     {"repairs", RIGHT, 7},
                     {"retries", RIGHT, 7},
                     {"warnings", RIGHT, 8}});
    std::vector<std::string> types =
        Names(m_session.House().Drivers(),
              [](const nx::DriverHost& driver) { return driver.Config().type; });
    types.emplace_back("all");
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
        table.Add({type, Number(link.messages), Number(link.lost), Number(link.late),
                   Number(link.twice), Number(link.powerFailures), Number(done.repairs),
                   Number(done.retries), Number(done.warnings)});
    }
    table.Write(m_out, m_columns, m_style);
}
} // namespace lighting_host

#pragma once

#include "lighting_host/text/Style.h"

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace lighting_host
{
class Controller;
class HouseFaults;
class WriteCounts;
struct HouseFile;
struct RepeatedRecord;
class Session;
class RunStatistics;

// What stands at the end of a run. Each writes one table with a blank line before it, or nothing
// when it would be empty; none of them says anything that does not repeat with the seed.
class RunTables
{
public:
    // All must outlive the tables.
    // In so many columns of the terminal; 0 for as many as it takes.
    RunTables(std::ostream& out, const HouseFile& file, const Session& session,
              const RunStatistics& statistics, std::size_t columns, const Style& style);

    // Each driver's final state.
    void WriteDrivers() const;

    // What happened in each room; nothing, and false, for a house without rooms.
    bool WriteRooms() const;

    // How often each scene was recalled and each load group moved.
    void WriteScenes(const Controller& controller) const;

    // What each load has used; nothing when no driver counts it.
    void WriteEnergy() const;

    // How many messages each light and dimmer was sent, and how few of those that write would have
    // done; nothing for a house without any.
    void WriteWrites(const WriteCounts& counts) const;

    // What drivers said more than once, and how often.
    void WriteRecords(const std::vector<RepeatedRecord>& records) const;

    // What went wrong on the links to each type of driver, and what was done about it.
    void WriteFaults(const HouseFaults& faults) const;

private:
    bool HasRooms() const;

    std::ostream& m_out;
    const HouseFile& m_file;
    const Session& m_session;
    const RunStatistics& m_statistics;
    const std::size_t m_columns;
    const Style m_style;
};
} // namespace lighting_host

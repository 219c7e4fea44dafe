#pragma once

#include "embedded_host/LocalTime.h"

#include <cstdint>
#include <string>

namespace lighting_host
{
// Where the wall clock of a house leaves the time since its start, as daylight saving begins and
// ends.
class WallShifts
{
public:
    // The zone's name, empty for a wall that knows no daylight saving, and the local time at the
    // start. Throws LocalTimeError for a zone that there is not.
    WallShifts(const std::string& zone, std::int64_t startLocalSeconds);

    // The changes from the start to that time, as a JSON list of [t_ms, minutes]: from there on the
    // wall is so many minutes ahead of start + t_ms.
    std::string UpTo(std::int64_t timeMs) const;

private:
    std::int64_t ShiftAt(std::int64_t seconds) const;

    const bool m_hasZone;
    const embedded_host::TimeZone m_zone;
    const std::int64_t m_startLocal;
    const std::int64_t m_startUtc;
};
} // namespace lighting_host

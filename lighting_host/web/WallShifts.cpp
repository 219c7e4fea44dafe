#include "lighting_host/web/WallShifts.h"

#include <algorithm>
#include <chrono>
#include <ratio>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t MS_PER_SECOND = std::milli::den;
constexpr std::int64_t SECONDS_PER_MINUTE = std::chrono::seconds(std::chrono::minutes(1)).count();
// No zone changes its clocks twice within a week.
constexpr std::int64_t STRIDE_SECONDS = 7 * embedded_host::SECONDS_PER_DAY;
} // namespace

WallShifts::WallShifts(const std::string& zone, std::int64_t startLocalSeconds)
    : m_hasZone(!zone.empty()), m_zone(zone.empty() ? "UTC" : zone),
      m_startLocal(startLocalSeconds), m_startUtc(m_zone.ToUtc(startLocalSeconds))
{
}

std::int64_t WallShifts::ShiftAt(std::int64_t seconds) const
{
    return m_zone.ToLocal(m_startUtc + seconds) - (m_startLocal + seconds);
}

std::string WallShifts::UpTo(std::int64_t timeMs) const
{
    std::string text = "[";
    const std::int64_t end = timeMs / MS_PER_SECOND;
    std::int64_t shift = 0;
    for (std::int64_t at = 0; m_hasZone && at < end; at += STRIDE_SECONDS)
    {
        std::int64_t before = at;
        std::int64_t after = std::min(at + STRIDE_SECONDS, end);
        if (ShiftAt(after) == shift)
            continue;
        while (after - before > 1)
        {
            const std::int64_t middle = before + (after - before) / 2;
            (ShiftAt(middle) == shift ? before : after) = middle;
        }
        shift = ShiftAt(after);
        text += fmt::format("{}[{},{}]", text.size() > 1 ? "," : "", after * MS_PER_SECOND,
                            shift / SECONDS_PER_MINUTE);
    }
    return text + "]";
}
} // namespace lighting_host

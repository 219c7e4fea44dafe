#include "lighting_host/text/Duration.h"

#include "embedded_host/LocalTime.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr double LONGEST_MS = 100.0 * 366 * 24 * 3600 * 1000;

struct Unit
{
    const char* name;
    double milliseconds;
};
constexpr Unit UNITS[] = {
    {"ms", 1}, {"s", 1e3}, {"m", 60e3}, {"h", 3600e3}, {"d", 24 * 3600e3},
};
constexpr double MS_PER_BARE_NUMBER = 1e3;

const Unit* FindUnit(const std::string& name)
{
    for (const Unit& unit : UNITS)
    {
        if (name == unit.name)
            return &unit;
    }
    return nullptr;
}
} // namespace

bool ParseDuration(const std::string& text, std::int64_t& milliseconds)
{
    constexpr const char* NUMBER = "0123456789.";
    if (text.empty() || text.find_first_not_of("0123456789.msdh") != std::string::npos)
        return false;
    double total = 0;
    // Of the part before, so that "30m1h" and "1h1h" are slips.
    double smallest = HUGE_VAL;
    for (std::size_t at = 0; at < text.size();)
    {
        char* end = nullptr;
        const double number = std::strtod(text.c_str() + at, &end);
        const auto unitAt = static_cast<std::size_t>(end - text.c_str());
        const std::size_t next = std::min(text.find_first_of(NUMBER, unitAt), text.size());
        const bool bare = at == 0 && unitAt == text.size();
        const Unit* const unit = FindUnit(text.substr(unitAt, next - unitAt));
        if (unitAt == at || (!unit && !bare) || (unit && unit->milliseconds >= smallest))
            return false;
        smallest = unit ? unit->milliseconds : 0;
        total += number * (unit ? unit->milliseconds : MS_PER_BARE_NUMBER);
        at = next;
    }
    if (total > LONGEST_MS)
        return false;
    milliseconds = std::llround(total);
    return true;
}

std::string FormatDuration(std::int64_t milliseconds)
{
    const std::int64_t seconds = milliseconds / 1000;
    const std::string days = seconds >= 86400 ? fmt::format("{}d", seconds / 86400) : std::string();
    return days + fmt::format("{:02}h{:02}m{:02}.{:03}s", seconds / 3600 % 24, seconds / 60 % 60,
                              seconds % 60, milliseconds % 1000);
}

std::string DateAndTime(std::int64_t localSeconds)
{
    std::string text = embedded_host::FormatLocalTime(localSeconds);
    text.replace(text.find('T'), 1, " ");
    return text;
}

std::string TimeOfDay(std::int64_t localSeconds)
{
    const std::string text = embedded_host::FormatLocalTime(localSeconds);
    return text.substr(text.find('T') + 1);
}
} // namespace lighting_host

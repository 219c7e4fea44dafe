#include "lighting_host/text/Duration.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

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
    {"ms", 1}, {"s", 1e3}, {"", 1e3}, {"m", 60e3}, {"h", 3600e3}, {"d", 24 * 3600e3},
};
} // namespace

bool ParseDuration(const std::string& text, std::int64_t& milliseconds)
{
    if (text.empty() || text.find_first_not_of("0123456789.msdh") != std::string::npos)
        return false;
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str())
        return false;
    for (const Unit& unit : UNITS)
    {
        if (std::string(end) != unit.name)
            continue;
        const double total = number * unit.milliseconds;
        if (total > LONGEST_MS)
            return false;
        milliseconds = std::llround(total);
        return true;
    }
    return false;
}

std::string FormatLocalTime(std::int64_t localSeconds, int milliseconds)
{
    const std::time_t seconds = localSeconds;
    std::tm time{};
    gmtime_r(&seconds, &time);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", time.tm_year + 1900,
                       time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec,
                       milliseconds);
}
} // namespace lighting_host

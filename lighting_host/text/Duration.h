#pragma once

#include <cstdint>
#include <string>

namespace lighting_host
{
// Reads a length of time: numbers with the units d, h, m, s, ms, each at most once and the larger
// ones first ("90s", "1h30m", "1.5h"); a number alone is seconds. False for anything else, for less
// than 0 and for more than 100 years, and `milliseconds` then stays.
bool ParseDuration(const std::string& text, std::int64_t& milliseconds);

// A length of time from 0 on as ParseDuration reads it, days first: "1d03h14m07.250s".
std::string FormatDuration(std::int64_t milliseconds);

// The date and the time of day of local seconds for a person, "2026-01-01 00:00:00", and the time
// of day alone, "00:00:00".
std::string DateAndTime(std::int64_t localSeconds);
std::string TimeOfDay(std::int64_t localSeconds);
} // namespace lighting_host

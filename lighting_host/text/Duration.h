#pragma once

#include <cstdint>
#include <string>

namespace lighting_host
{
// Reads a length of time: a number with one of the units ms, s, m, h, d ("90s", "24h", "1.5h"); a
// bare number is seconds. False for anything else, for less than 0 and for more than 100 years.
bool ParseDuration(const std::string& text, std::int64_t& milliseconds);

// "2026-01-01 00:00:00.000", from local seconds and milliseconds.
std::string FormatLocalTime(std::int64_t localSeconds, int milliseconds);
} // namespace lighting_host

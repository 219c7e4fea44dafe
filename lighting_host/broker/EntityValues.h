#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace lighting_host
{
class Session;

// How values of a house are written for a broker's users.

// A lamp that is that bright, in percent.
std::string LightState(int level);

// An LED that shows that color of six hexadecimal digits.
std::string LedState(const std::string& color);

// Hundredths of a watt-hour, in kWh.
std::string KilowattHours(std::int64_t hundredths);

// The channels of a color of six hexadecimal digits; black for any other text.
std::array<int, 3> ReadColor(const std::string& color);

// A channel as it is when the brightest of its color, which is `from`, becomes `to`; that of a
// black color becomes `to`.
int ScaleChannel(int channel, int from, int to);

// How bright the brightest lamp of these drivers' devices is at this moment, in percent; 0 without
// lamps.
int LampLevelOf(const Session& session, const std::vector<std::string>& drivers);
} // namespace lighting_host

#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
struct EnergyFigures;

// How values of a house are written for a broker's users.

inline constexpr const char* WORD_ON = "ON";
inline constexpr const char* WORD_OFF = "OFF";
// Of a light, in percent; and of a channel of an LED's color.
inline constexpr int BRIGHTEST_PERCENT = 100;
inline constexpr int FULL_COLOR = 255;

// A lamp that is that bright, in percent.
std::string LightState(int level);

// An LED that shows that color of six hexadecimal digits.
std::string LedState(const std::string& color);

// What a load has used, in hundredths of a watt-hour; and such hundredths in kWh.
std::int64_t HundredthsOf(const EnergyFigures& energy);
std::string KilowattHours(std::int64_t hundredths);

// The channels of a color of six hexadecimal digits; black for any other text.
std::array<int, 3> ReadColor(const std::string& color);

// A channel as it is when the brightest of its color, which is `from`, becomes `to`; that of a
// black color becomes `to`.
int ScaleChannel(int channel, int from, int to);

// How bright the lamp of a device is at this moment, in percent; 0 without a lamp. May be null.
int LampLevelOf(const device_wire::AttachedDevice* device);
} // namespace lighting_host

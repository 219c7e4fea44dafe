#include "lighting_host/broker/EntityValues.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/types/DriverAdapter.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>
#include <cstdlib>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t HUNDREDTHS_A_WH = 100;
constexpr std::int64_t HUNDREDTHS_A_KWH = 1000 * HUNDREDTHS_A_WH;
} // namespace

std::string LightState(int level)
{
    if (level <= 0)
        return R"({"state":"OFF"})";
    return fmt::format(R"({{"state":"ON","brightness":{},"color_mode":"brightness"}})", level);
}

std::string LedState(const std::string& color)
{
    const std::array<int, 3> channels = ReadColor(color);
    const int brightest = *std::max_element(channels.begin(), channels.end());
    if (brightest == 0)
        return R"({"state":"OFF"})";
    return fmt::format(
        R"({{"state":"ON","brightness":{},"color_mode":"rgb","color":{{"r":{},"g":{},"b":{}}}}})",
        brightest, ScaleChannel(channels[0], brightest, FULL_COLOR),
        ScaleChannel(channels[1], brightest, FULL_COLOR),
        ScaleChannel(channels[2], brightest, FULL_COLOR));
}

std::int64_t HundredthsOf(const EnergyFigures& energy)
{
    return energy.wattHours * HUNDREDTHS_A_WH + energy.hundredths;
}

std::string KilowattHours(std::int64_t hundredths)
{
    return fmt::format("{}.{:05}", hundredths / HUNDREDTHS_A_KWH, hundredths % HUNDREDTHS_A_KWH);
}

std::array<int, 3> ReadColor(const std::string& color)
{
    constexpr std::size_t DIGITS = 2;
    constexpr int HEX = 16;
    std::array<int, 3> channels = {};
    if (color.size() != channels.size() * DIGITS ||
        color.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return channels;
    for (std::size_t i = 0; i < channels.size(); ++i)
        channels[i] =
            static_cast<int>(std::strtol(color.substr(i * DIGITS, DIGITS).c_str(), nullptr, HEX));
    return channels;
}

int ScaleChannel(int channel, int from, int to)
{
    return from == 0 ? to : (channel * to + from / 2) / from;
}

int LampLevelOf(const device_wire::AttachedDevice* device)
{
    if (!device || !device->Device())
        return 0;
    const simulated::LampLevel lamp = device->Device()->PresentLevel();
    return static_cast<int>((lamp.level * BRIGHTEST_PERCENT + lamp.full / 2) / lamp.full);
}
} // namespace lighting_host

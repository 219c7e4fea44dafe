#pragma once

#include <cstdint>
#include <vector>

namespace wire
{
// A ZCL frame as it crosses the air between a driver and its light.
struct ZclFrame
{
    std::uint16_t cluster = 0;
    std::uint8_t endpoint = 1;
    std::vector<std::uint8_t> bytes;
};
} // namespace wire

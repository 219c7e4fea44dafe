#pragma once

#include <cstdint>
#include <vector>

namespace wire
{
// A message on the RS-485 bus, to or from one device.
struct BusFrame
{
    std::uint32_t device = 0;
    std::uint16_t opcode = 0;
    std::vector<std::uint8_t> payload;
};
} // namespace wire

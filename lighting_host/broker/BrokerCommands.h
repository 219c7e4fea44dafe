#pragma once

#include "lighting_host/broker/HouseModel.h"

#include <cstdint>
#include <string>

namespace lighting_host
{
class DriverAdapter;

// A command of a broker's user, as one line of the host protocol.
struct BrokerCommand
{
    std::string line;
    // For a light or a group: where it goes, in percent, and how long that takes.
    bool fades = false;
    int level = 0;
    std::int64_t timeMs = 0;
};

// How a light stands when a command comes: its level, and that at which it last was on.
struct LightMemory
{
    int level = 0;
    int lastLit = 100;
};

// What that payload means for that entity of that driver. `adapter` is the driver's, null for the
// house's own entities. Throws InputError for what has no meaning; nothing is changed in any case.
BrokerCommand ReadBrokerCommand(const DeviceModel& device, const Entity& entity,
                                const DriverAdapter* adapter, const LightMemory& memory,
                                const std::string& payload);
} // namespace lighting_host

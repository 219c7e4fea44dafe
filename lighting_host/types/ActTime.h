#pragma once

#include "lighting_host/types/DeviceElement.h"
#include "simulated_devices/SimulatedDevice.h"

#include <chrono>
#include <functional>
#include <string>

namespace lighting_host
{
// When an <act> of a house file happens, and what a run tells of it: the attributes "at", "every"
// and "says", which every act has.
class ActTime
{
public:
    // Reads them. Throws DeviceError.
    explicit ActTime(DeviceElement& act);

    // Has `act` done at that time, and then again each time that "every" has passed. What "says"
    // says is told just before.
    void Plan(simulated::DeviceEnvironment& world, const std::function<void()>& act) const;

private:
    std::chrono::milliseconds m_at{};
    // 0 for once.
    std::chrono::milliseconds m_every;
    std::string m_says;
};
} // namespace lighting_host

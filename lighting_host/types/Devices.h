#pragma once

#include "simulated_devices/SimulatedDevice.h"

#include <memory>
#include <string>

namespace lighting_host
{
struct HouseFileDriver;

// Makes the simulated device for a driver in that environment, as the driver's <device> element
// says: its kind, its settings, its faults and what people do to it. Throws DeviceError when the
// element cannot be understood, or no kind of device is meant.
std::unique_ptr<simulated::SimulatedDevice> MakeDevice(const HouseFileDriver& driver,
                                                       simulated::DeviceEnvironment& environment);

// What is wrong with the driver's <device> element, in words; empty when nothing is. `child` then
// becomes which of the elements inside it is wrong, from 0, or -1 for <device> itself.
std::string CheckDevice(const HouseFileDriver& driver, int* child = nullptr);

// What the lamp of a simulated light draws at full level, from the "watts" of its <device>; 0 when
// it does not say, or for any other driver.
constexpr unsigned MOST_LAMP_WATTS = 10000;
unsigned LampWatts(const HouseFileDriver& driver);
} // namespace lighting_host

#pragma once

#include "simulated_devices/SimulatedDevice.h"

#include <memory>
#include <string>

namespace lighting_host
{
struct HouseFileDriver;

// Makes the simulated device for a driver in that world, as the driver's <device> element says: its
// settings, its faults and what people do to it. Null when there is none for the driver's type.
// Throws DeviceError when the element cannot be understood.
std::unique_ptr<simulated::SimulatedDevice> MakeDevice(const HouseFileDriver& driver,
                                                       simulated::DeviceEnvironment& world);

// What is wrong with the driver's <device> element, in words; empty when nothing is.
std::string CheckDevice(const HouseFileDriver& driver);

// What the lamp of a simulated light draws at full level, from the "watts" of its <device>; 0 when
// it does not say, or for any other driver.
constexpr unsigned MOST_LAMP_WATTS = 10000;
unsigned LampWatts(const HouseFileDriver& driver);

// The makers of each type of driver's device.
std::unique_ptr<simulated::SimulatedDevice> MakePuckModule(const HouseFileDriver& driver,
                                                           simulated::DeviceEnvironment& world);
std::unique_ptr<simulated::SimulatedDevice> MakeKeypadDevice(const HouseFileDriver& driver,
                                                             simulated::DeviceEnvironment& world);
std::unique_ptr<simulated::SimulatedDevice>
MakeZigbeeLightDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world);
std::unique_ptr<simulated::SimulatedDevice>
MakeWiredDimmerDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world);
std::unique_ptr<simulated::SimulatedDevice> MakeMeteringPlug(const HouseFileDriver& driver,
                                                             simulated::DeviceEnvironment& world);
} // namespace lighting_host

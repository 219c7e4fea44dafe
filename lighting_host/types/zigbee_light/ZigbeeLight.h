#pragma once

#include "lighting_host/types/DriverType.h"

namespace lighting_host
{
// What the row of the type is made of; see DriverType.
MadeDriver MakeZigbeeLight(IInstanceManager& instances, LoadFacts& facts);
TypeTables ZigbeeLightTables();
std::unique_ptr<simulated::SimulatedDevice>
MakeZigbeeLightDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& environment);
std::unique_ptr<TypePicture> MakeZigbeeLightPicture(const HouseFileDriver& driver);
} // namespace lighting_host

#pragma once

#include "lighting_host/types/DriverType.h"

namespace lighting_host
{
// What the row of the type is made of; see DriverType.
MadeDriver MakeWiredDimmer(IInstanceManager& instances, LoadFacts& facts);
TypeTables WiredDimmerTables();
std::unique_ptr<simulated::SimulatedDevice>
MakeWiredDimmerDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& environment);
std::unique_ptr<TypePicture> MakeWiredDimmerPicture(const HouseFileDriver& driver);
} // namespace lighting_host

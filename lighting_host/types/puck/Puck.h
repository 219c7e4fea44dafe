#pragma once

#include "lighting_host/types/DriverType.h"

namespace lighting_host
{
// What the row of the type is made of; see DriverType.
MadeDriver MakePuck(IInstanceManager& instances, LoadFacts& facts);
TypeTables PuckTables();
std::unique_ptr<simulated::SimulatedDevice>
MakePuckModule(const HouseFileDriver& driver, simulated::DeviceEnvironment& environment);
std::unique_ptr<TypePicture> MakePuckPicture(const HouseFileDriver& driver);
} // namespace lighting_host

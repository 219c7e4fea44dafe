#pragma once

#include "lighting_host/types/DriverType.h"

namespace lighting_host
{
// What the row of the type is made of; see DriverType.
MadeDriver MakeEnergySwitch(IInstanceManager& instances, LoadFacts& facts);
TypeTables EnergySwitchTables();
std::unique_ptr<simulated::SimulatedDevice>
MakeMeteringPlug(const HouseFileDriver& driver, simulated::DeviceEnvironment& environment);
std::unique_ptr<TypePicture> MakeEnergySwitchPicture(const HouseFileDriver& driver);
} // namespace lighting_host

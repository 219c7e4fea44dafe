#pragma once

#include "lighting_host/types/DriverType.h"

namespace lighting_host
{
// What the row of the type is made of; see DriverType.
MadeDriver MakeGen3Keypad(IInstanceManager& instances, LoadFacts& facts);
TypeTables Gen3KeypadTables();
std::unique_ptr<simulated::SimulatedDevice>
MakeKeypadDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& environment);
std::unique_ptr<TypePicture> MakeGen3KeypadPicture(const HouseFileDriver& driver);
} // namespace lighting_host

#pragma once

class IInstanceManager;
class NxBaseDriver;

namespace lighting_host
{
struct LoadFacts;

// Make the driver of each type of the program's own, with its adapter (see DriverAdapter). `facts`
// must outlive the driver.
NxBaseDriver* MakePuck(IInstanceManager& instances, LoadFacts& facts);
NxBaseDriver* MakeGen3Keypad(IInstanceManager& instances, LoadFacts& facts);
NxBaseDriver* MakeZigbeeLight(IInstanceManager& instances, LoadFacts& facts);
NxBaseDriver* MakeWiredDimmer(IInstanceManager& instances, LoadFacts& facts);
NxBaseDriver* MakeEnergySwitch(IInstanceManager& instances, LoadFacts& facts);
} // namespace lighting_host

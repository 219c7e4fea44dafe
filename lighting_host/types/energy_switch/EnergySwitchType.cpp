// The row of the type energy_switch.

#include "drivers/energy_switch/EnergySwitchSettings.h"
#include "lighting_host/types/energy_switch/EnergySwitch.h"

namespace lighting_host
{
DriverType EnergySwitchType()
{
    DriverType type{};
    type.name = "energy_switch";
    type.words = "metering plug";
    type.make = &MakeEnergySwitch;
    type.tables = EnergySwitchTables();
    type.picture = &MakeEnergySwitchPicture;
    type.schema = &energy_switch::Settings;
    type.device.name = "metering_plug";
    type.device.make = &MakeMeteringPlug;
    return type;
}
} // namespace lighting_host

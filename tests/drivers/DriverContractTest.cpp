// What every driver must do, of our own five.

#include "drivers/energy_switch/EnergySwitchDriver.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/puck/PuckDriver.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "test_kit/Conformance.h"

using namespace test_kit;

namespace
{
DriverUnderTest PuckWithButtons()
{
    DriverUnderTest driver = ForDriver<PuckDriver>();
    driver.capabilities = {{"load_present", "true"}};
    driver.config = "<config><NUM_BUTTONS>4</NUM_BUTTONS></config>";
    return driver;
}
} // namespace

HOLD_DRIVER_TO_ITS_CONTRACT(EnergySwitch, ForDriver<EnergySwitchDriver>());
HOLD_DRIVER_TO_ITS_CONTRACT(Gen3Keypad, ForDriver<Gen3KeypadDriver>());
HOLD_DRIVER_TO_ITS_CONTRACT(Puck, ForDriver<PuckDriver>());
HOLD_DRIVER_TO_ITS_CONTRACT(PuckWithButtons, PuckWithButtons());
HOLD_DRIVER_TO_ITS_CONTRACT(WiredDimmer, ForDriver<WiredDimmerDriver>());
HOLD_DRIVER_TO_ITS_CONTRACT(ZigbeeLight, ForDriver<ZigbeeLightDriver>());

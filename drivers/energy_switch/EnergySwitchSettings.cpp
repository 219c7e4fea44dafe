#include "drivers/energy_switch/EnergySwitchSettings.h"

namespace energy_switch
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {},
        drivers::EnergyState(),
    };
    return schema;
}
} // namespace energy_switch

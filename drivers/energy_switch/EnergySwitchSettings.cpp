#include "drivers/energy_switch/EnergySwitchSettings.h"

namespace energy_switch
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {},
        drivers::Joined(drivers::EnergyState(),
                        {{"", "METER_READING", StateElement::Number, 0, UINT32_MAX}}),
    };
    return schema;
}
} // namespace energy_switch

#include "drivers/zigbee_light/ZigbeeLightSettings.h"

namespace zigbee_light
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {ENDPOINT, STALL_DELAY_S},
        drivers::Joined(drivers::SceneMapState(), drivers::EnergyState()),
    };
    return schema;
}
} // namespace zigbee_light

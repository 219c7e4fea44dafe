#include "drivers/wired_dimmer/WiredDimmerSettings.h"

namespace wired_dimmer
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {SYNC_TIMER_MS},
        drivers::Joined(drivers::SceneMapState(), drivers::EnergyState()),
    };
    return schema;
}
} // namespace wired_dimmer

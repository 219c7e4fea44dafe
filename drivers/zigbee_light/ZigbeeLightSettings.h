#pragma once

#include "drivers/DriverSettings.h"

namespace zigbee_light
{
inline constexpr drivers::Setting ENDPOINT = {
    "endpoint", "endpoint number", 1, 240, 1, "the endpoint of the light that every frame goes to",
};
inline constexpr drivers::Setting STALL_DELAY_S = {
    "stall_delay_s",
    "seconds",
    0,
    3600,
    5,
    "the pause before each request of the synchronisation that starts when the light comes back; 0 "
    "is no pause and no watchdog",
};

// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace zigbee_light

#pragma once

#include "drivers/DriverSettings.h"

namespace wired_dimmer
{
inline constexpr drivers::Setting SYNC_TIMER_MS = {
    "sync_timer_ms",
    "milliseconds",
    0,
    3600000,
    5000,
    "how long the device must have been silent before its report of the elements that it holds "
    "counts as complete; 0 is at the next chance",
};

// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace wired_dimmer

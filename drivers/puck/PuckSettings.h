#pragma once

#include "drivers/DriverSettings.h"

namespace puck
{
inline constexpr drivers::Setting NUM_BUTTONS = {
    "NUM_BUTTONS",
    "buttons",
    0,
    6,
    0,
    "how many buttons the snap-on keypad has; more than 6 count as 6",
};

// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace puck

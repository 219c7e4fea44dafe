#pragma once

#include "drivers/DriverSettings.h"

namespace gen3_keypad
{
inline constexpr drivers::Setting USE_TIME_LIMIT = {
    "USE_TIME_LIMIT",
    "seconds",
    1,
    3600,
    10,
    "how long a use of a button may wait for the keypad, from the moment at which it is asked for; "
    "any other value is a warning and the default holds",
};

// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace gen3_keypad

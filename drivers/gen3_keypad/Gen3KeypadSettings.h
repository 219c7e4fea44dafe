#pragma once

#include "drivers/DriverSettings.h"

namespace gen3_keypad
{
// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace gen3_keypad

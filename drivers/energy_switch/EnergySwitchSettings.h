#pragma once

#include "drivers/DriverSettings.h"

namespace energy_switch
{
// What the configuration and the state of this type may hold.
const drivers::Schema& Settings();
} // namespace energy_switch

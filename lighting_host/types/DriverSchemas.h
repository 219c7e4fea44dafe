#pragma once

#include "drivers/DriverSettings.h"

#include <string>

namespace lighting_host
{
// What configuration and state of a type may hold; null for a type that is not the program's own,
// of which it knows nothing.
const drivers::Schema* SchemaOf(const std::string& type);
} // namespace lighting_host

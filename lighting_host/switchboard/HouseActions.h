#pragma once

#include <functional>
#include <string>

namespace lighting_host
{
class HouseRun;

// What a visitor can do to a house that is no input of a driver: a person at a device, the
// controller's scenes, groups and levels, power, faults. All are lines with a member "house".

// Whether a line is one of these. False for text that is no JSON.
bool IsHouseAction(const std::string& line);

// Looks at all of such a line, then gives what is to be done; nothing has been changed. Throws
// InputError. The action may be called once, on that run.
std::function<void()> PrepareHouseAction(HouseRun& run, const std::string& line);
} // namespace lighting_host

#pragma once

#include "lighting_host/text/Json.h"

#include <string>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
// What a simulated device itself can be asked, for a page: all as JSON, null for what it has not.
// Only reads; called between two calls into the house.

// What is stored in a light or dimmer, the member `holds`.
Json HeldBy(const device_wire::AttachedDevice& device);

// Where the lamp is going to, the member `ramp`, and how bright it is in percent.
Json RampOf(const device_wire::AttachedDevice& device);
Json LevelOf(const device_wire::AttachedDevice& device);

// What the LED beside a button of a puck or keypad shows, six hexadecimal digits; `actuator` is the
// keypad's number of the LED. Null where the device shows none.
Json PuckLedOf(const device_wire::AttachedDevice& device, int button);
Json KeypadLedOf(const device_wire::AttachedDevice& device, int actuator);

// Half of a blink of that LED of a keypad, in milliseconds; 0 when it is steady.
int BlinkMsOf(const device_wire::AttachedDevice& device, int actuator);
} // namespace lighting_host

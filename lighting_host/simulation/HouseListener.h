#pragma once

#include "embedded_host/Output.h"

#include <string>

namespace wire
{
struct BusFrame;
struct MibMessage;
struct ZclFrame;
} // namespace wire

namespace lighting_host
{
// Hears what happens in a house that lives by itself: the effects of its drivers, and what people,
// the controller and the power do besides. Each override is optional; the others do nothing.
//
// Everything is called on the house's thread, as it happens, while the driver, device or controller
// is still inside the call that caused it. A listener must not call into the house or a device and
// must not throw; what it wants to do there it does in a device timer.
class HouseListener
{
public:
    virtual ~HouseListener() = default;

    // Called for each effect of each driver.
    virtual void OnOutput(const embedded_host::Output&) {}

    // Called when a person did something at a device, as the device itself tells it ("presses
    // contact 0").
    virtual void OnPerson(const nx::DriverHost&, const std::string&) {}

    // Called before that, when the house file has words of its own for it ("Ada comes home").
    virtual void OnAct(const nx::DriverHost&, const std::string&) {}

    // Called when the controller reacts to a use of a button of this driver, before it does what
    // the words say ("recalls \"Dinner\" (7 loads)").
    virtual void OnControllerAct(const nx::DriverHost&, const std::string&) {}

    // Called when a device has lost its power, just before it starts anew.
    virtual void OnPowerFailure(const nx::DriverHost&) {}

    // Called for each message of the driver's device that reaches the driver, before the driver
    // gets it.
    virtual void OnBus(const nx::DriverHost&, const wire::BusFrame&) {}
    virtual void OnMib(const nx::DriverHost&, const wire::MibMessage&) {}
    virtual void OnZcl(const nx::DriverHost&, const wire::ZclFrame&) {}
};
} // namespace lighting_host

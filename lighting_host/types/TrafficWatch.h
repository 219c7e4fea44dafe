#pragma once

#include "embedded_host/Output.h"

namespace wire
{
struct BusFrame;
}

namespace lighting_host
{
// Tells what a message from a driver to its device means for the statistics: one watch for each
// driver, of the kind of its device. Lives on the house's thread.
class TrafficWatch
{
public:
    enum class Meaning
    {
        // Nothing in particular.
        Message,
        // An unsolicited write after the driver found a difference. A first write is none.
        Repair,
        // A message sent again because no answer came.
        Retry,
    };

    virtual ~TrafficWatch() = default;

    // Called for each effect by which the driver sends something to its device, inside the house's
    // sink. `asked`: the controller is just telling the driver something, so nothing is a repair.
    virtual Meaning OnSent(const embedded_host::Effect& effect, bool asked) = 0;

    // Called for each message from the bus that reaches the driver, before the driver gets it.
    // Default: ignored.
    virtual void OnBus(const wire::BusFrame&) {}
};
} // namespace lighting_host

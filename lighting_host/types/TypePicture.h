#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/text/Json.h"

#include <cstdint>
#include <functional>
#include <optional>

class NxBaseDriver;

namespace simulated
{
class SimulatedDevice;
}

namespace wire
{
struct BusFrame;
struct MibMessage;
struct ZclFrame;
} // namespace wire

namespace lighting_host
{
// The color of an LED that is off.
constexpr const char* DARK = "000000";

// What a page shows of one driver and its device that only the driver's type knows: both sides'
// tables, the queue between them, a repair under way. One for each driver of a type that has
// pictures (see DriverType), from the driver's start on.
//
// What happens is told to it as it happens; what is there now it looks up when it is asked. Keeps a
// bounded part of what it is told. Lives on the house's thread.
class TypePicture
{
public:
    // When a timer was started and when it is due, in milliseconds of the house's clock.
    struct TimerTimes
    {
        std::int64_t startedMs = 0;
        std::int64_t dueMs = 0;
    };

    // What is at the two ends of the wire.
    struct Sides
    {
        // Of the picture's type.
        const NxBaseDriver& driver;
        // Of the type's own kind of device, or a real lamp of the type; null when there is none.
        const simulated::SimulatedDevice* device = nullptr;
        // Whether the device has power.
        bool powered = true;
        std::int64_t nowMs = 0;
        // The times of a timer that runs; nothing for any other id. May be empty.
        std::function<std::optional<TimerTimes>(unsigned id)> timer;
    };

    virtual ~TypePicture() = default;

    // Called for each effect of the driver, while the driver is still inside the call that caused
    // it; `seq` is the effect's number. Default: ignored.
    virtual void OnOutput(const embedded_host::Output& output, std::uint64_t seq)
    {
        (void)output;
        (void)seq;
    }

    // Called for each message of the device that reaches the driver, before the driver gets it.
    // Default: ignored.
    virtual void OnBus(std::int64_t nowMs, const wire::BusFrame& frame)
    {
        (void)nowMs;
        (void)frame;
    }
    virtual void OnMib(std::int64_t nowMs, const wire::MibMessage& message)
    {
        (void)nowMs;
        (void)message;
    }
    virtual void OnZcl(std::int64_t nowMs, const wire::ZclFrame& frame)
    {
        (void)nowMs;
        (void)frame;
    }

    // Adds what the type knows to the members of the driver's picture; docs/live_protocol.md lists
    // them.
    virtual void Describe(const Sides& sides, Json& members) const = 0;
};
} // namespace lighting_host

#pragma once

#include <cstdint>
#include <string>

namespace lighting_host
{
// Tells the service manager that started this program how it stands (sd_notify). Does nothing where
// there is none. Used from one thread.
class ServiceManager
{
public:
    // Takes from the environment whether there is one, and how often it wants a sign of life.
    ServiceManager();

    // The house lives; `status` is shown by the service manager.
    void TellReady(const std::string& status);

    // A sign of life from the house's own loop, so that a loop that hangs is noticed. `nowNs` is
    // the monotonic clock; only so many are sent as are wanted. Call it at least every half of the
    // interval: the house's loop wakes four times a second.
    void TellAlive(std::int64_t nowNs);

    // The end has begun: states are saved and visitors told.
    void TellStopping();

private:
    // Between two signs of life, in nanoseconds; 0 when none is wanted.
    std::int64_t m_intervalNs = 0;
    std::int64_t m_nextNs = 0;
};
} // namespace lighting_host

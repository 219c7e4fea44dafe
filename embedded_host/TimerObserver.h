#pragma once

#include <cstdint>

namespace embedded_host
{
// Told what becomes of every timer of a house, the drivers' and the devices', for a record of it:
// see House::ObserveTimers. Called on the house's thread, inside the operation; must not start or
// stop timers and must not throw. Ids of device timers have DEVICE_BIT.
class TimerObserver
{
public:
    static constexpr unsigned DEVICE_BIT = 0x80000000u;

    virtual ~TimerObserver() = default;

    // A timer was started at `nowMs`; it is due first at `dueMs`.
    virtual void OnTimerAdded(unsigned id, std::int64_t dueMs, std::int64_t nowMs) = 0;

    // A timer was stopped before it was due, by its id or with all others of its owner.
    virtual void OnTimerKilled(unsigned id, std::int64_t nowMs) = 0;

    // A timer is due now and is about to fire; `again` when it goes on running.
    virtual void OnTimerFires(unsigned id, bool again, std::int64_t nowMs) = 0;
};
} // namespace embedded_host

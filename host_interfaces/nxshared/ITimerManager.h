#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/Ids.h"

#include <cstdint>

// The host's timers, as one driver sees them.
//
// Not a clock: NxTime tells the time. All calls and all expiries happen on the driver's thread.
// Invariants: ids count up from 1 and are not reused within a run. Timers that are due together
// fire in the order in which they were started. A timer of 0 ms never fires inside the call that
// started it.
class NX_HOST_API ITimerManager
{
public:
    // The id under which IInstanceManager::GetInterface gives out this interface.
    static constexpr const char* INTERFACE_ID = "{6AF43241-ECD9-4DFF-9F14-3E7194FFE2D4}";

    // Unit flags of the three-argument AddTimer (wire values of the host, do not change).
    static constexpr unsigned UNIT_MILLISECONDS = 1;
    static constexpr unsigned UNIT_SECONDS = 2;
    static constexpr unsigned REPEAT = 16;

    virtual ~ITimerManager() = default;

    // Starts a timer of `amount` units and returns its id, never 0.
    // `unitFlags` is one unit, with REPEAT added for a timer that fires again and again until it is
    // killed. An unknown unit is taken as milliseconds. A repeating timer of 0 is taken as 1 ms.
    // `callback` must outlive the timer.
    virtual ID::Timer AddTimer(std::uint64_t amount, unsigned unitFlags,
                               ITimerManagerCallback* callback) = 0;

    // Starts a timer of `intervalMs` milliseconds that fires `count` times, 0 meaning for ever.
    // `reserved` is 0. Returns the id, never 0.
    virtual ID::Timer AddTimer(unsigned long intervalMs, int reserved, unsigned count,
                               ITimerManagerCallback* callback) = 0;

    // Stops the timer and sets `timer` to 0. An id that is 0, unknown or has fired is only zeroed.
    virtual void KillTimer(ID::Timer& timer) = 0;

    // Stops every timer whose callback is this object. None running: nothing happens.
    virtual void RemoveAllTimers(ITimerManagerCallback* callback) = 0;
};

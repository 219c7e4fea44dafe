#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/Ids.h"

#include <ctime>

// A client of the host's timers.
//
// Lives on the driver's thread, like everything that the host calls. Must outlive its timers: an
// object kills them, or removes all of them at once, before it goes (see ITimerManager).
class NX_HOST_API ITimerManagerCallback
{
public:
    virtual ~ITimerManagerCallback() = default;

    // Called when a timer of this object is due.
    // `timer` is the id that AddTimer returned; `time` is the time since that timer was started, in
    // nanoseconds. May re-enter the timer manager: starting, killing (also this very timer) and
    // destroying this object are all allowed here. Never comes for a killed timer.
    virtual void OnTimerExpired(ID::Timer timer, time_t time) = 0;
};

#pragma once

#include "nxshared/HostApi.h"

#include <cstdint>

// A moment of the controller's local time. A plain value.
class NX_HOST_API NxTime
{
public:
    // The moment 1970-01-01T00:00:00 local time.
    NxTime() = default;

    // Now, on the clock of the host on whose behalf the caller runs.
    static NxTime GetCurrentTime();

    // The local calendar day, counted from 1970-01-01, so that any two days differ.
    int GetDay() const;

    // 0 to 23.
    int GetHour() const;

    // 0 to 59.
    int GetMinute() const;

    // The second of the minute, 0 to 59.
    int GetSecond() const;

    // A moment from local seconds since 1970-01-01T00:00:00 local time.
    static NxTime FromLocalSeconds(std::int64_t seconds);

private:
    std::int64_t m_localSeconds = 0;
};

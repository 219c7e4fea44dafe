#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

// Internal: not installed, not for drivers.

// The sum of two counts. One that would leave the range of an int stays at the end of that range,
// so that a total that only grows is never seen to fall.
inline int SaturatingSum(int a, int b)
{
    const std::int64_t sum = std::int64_t{a} + b;
    return static_cast<int>(std::clamp<std::int64_t>(sum, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

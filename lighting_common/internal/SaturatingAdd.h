#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

// Adds to a total. One that would leave the range of an int stays at the end of that range, so that
// a total that only grows is never seen to fall.
inline void SaturatingAdd(int& total, int more)
{
    const std::int64_t sum = std::int64_t{total} + more;
    total = static_cast<int>(std::clamp<std::int64_t>(sum, std::numeric_limits<int>::min(),
                                                      std::numeric_limits<int>::max()));
}

#pragma once

#include <chrono>
#include <cstdint>

namespace lighting_host
{
// Nanoseconds of a clock that nobody sets: only differences mean anything.
inline std::int64_t MonotonicNs()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}
} // namespace lighting_host

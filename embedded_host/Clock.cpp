#include "embedded_host/Clock.h"

#include <algorithm>
#include <ctime>

namespace embedded_host
{
std::int64_t VirtualClock::LocalSeconds() const
{
    return m_startLocalSeconds + m_nowMs / 1000;
}

void VirtualClock::MoveTo(std::int64_t ms)
{
    m_nowMs = std::max(m_nowMs, ms);
}

RealClock::RealClock() : m_start(std::chrono::steady_clock::now()) {}

std::int64_t RealClock::NowNs() const
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() -
                                                                m_start)
        .count();
}

std::int64_t RealClock::LocalSeconds() const
{
    const std::time_t now = std::time(nullptr) + static_cast<std::time_t>(m_step);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<std::int64_t>(now) + local.tm_gmtoff;
}
} // namespace embedded_host

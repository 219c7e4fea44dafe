#include "embedded_host/Clock.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace embedded_host
{
namespace
{
std::int64_t MonotonicNs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}
} // namespace

std::int64_t VirtualClock::LocalSeconds() const
{
    return m_startLocalSeconds + m_nowMs / 1000;
}

void VirtualClock::MoveTo(std::int64_t ms)
{
    m_nowMs = std::max(m_nowMs, std::min(ms, LATEST_MS));
}

RealClock::RealClock(Source source)
    : m_source(source ? source : &MonotonicNs), m_startNs(m_source())
{
}

std::int64_t RealClock::LocalSeconds() const
{
    const std::time_t now = std::time(nullptr) + static_cast<std::time_t>(m_step);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<std::int64_t>(now) + local.tm_gmtoff;
}
} // namespace embedded_host

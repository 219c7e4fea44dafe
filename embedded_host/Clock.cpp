#include "embedded_host/Clock.h"

#include "embedded_host/LocalTime.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

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

VirtualClock::VirtualClock(std::int64_t startLocalSeconds, std::shared_ptr<const TimeZone> zone)
    : m_zone(std::move(zone)),
      m_startSeconds(m_zone ? m_zone->ToUtc(startLocalSeconds) : startLocalSeconds)
{
}

std::int64_t VirtualClock::LocalSeconds() const
{
    const std::int64_t seconds = m_startSeconds + m_nowMs / 1000;
    return m_zone ? m_zone->ToLocal(seconds) : seconds;
}

void VirtualClock::MoveTo(std::int64_t ms)
{
    m_nowMs = std::max(m_nowMs, std::min(ms, LATEST_MS));
}

RealClock::RealClock(std::shared_ptr<const TimeZone> zone, Source source)
    : m_zone(std::move(zone)), m_source(source ? source : &MonotonicNs), m_startNs(m_source())
{
}

std::int64_t RealClock::LocalSeconds() const
{
    const std::time_t now = std::time(nullptr) + static_cast<std::time_t>(m_step);
    if (m_zone)
        return m_zone->ToLocal(now);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<std::int64_t>(now) + local.tm_gmtoff;
}
} // namespace embedded_host

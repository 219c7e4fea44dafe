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
std::chrono::nanoseconds Monotonic()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}
} // namespace

VirtualClock::VirtualClock(std::int64_t startLocalSeconds, std::shared_ptr<const TimeZone> zone)
    : m_zone(std::move(zone)),
      m_startSeconds(m_zone ? m_zone->ToUtc(startLocalSeconds) : startLocalSeconds)
{
}

std::int64_t VirtualClock::LocalSeconds() const
{
    const std::int64_t seconds = m_startSeconds + m_now / std::chrono::seconds(1);
    return m_zone ? m_zone->ToLocal(seconds) : seconds;
}

void VirtualClock::MoveTo(std::chrono::milliseconds time)
{
    m_now = std::max(m_now, std::min(time, LATEST));
}

RealClock::RealClock(std::shared_ptr<const TimeZone> zone, Source source)
    : m_zone(std::move(zone)), m_source(source ? source : &Monotonic), m_start(m_source())
{
}

std::int64_t RealClock::LocalSeconds() const
{
    const std::time_t now = std::time(nullptr) + m_step.count();
    if (m_zone)
        return m_zone->ToLocal(now);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<std::int64_t>(now) + local.tm_gmtoff;
}
} // namespace embedded_host

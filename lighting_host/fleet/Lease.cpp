#include "lighting_host/fleet/Lease.h"

namespace lighting_host
{
Lease::Request Lease::Send(std::int64_t nowMs, std::uint64_t expected)
{
    m_outstanding = ++m_lastNumber;
    m_sentMs = nowMs;
    return {m_outstanding, expected};
}

void Lease::Lose()
{
    m_token = 0;
    m_revision = 0;
    m_outstanding = 0;
}

bool Lease::Owns(std::int64_t nowMs)
{
    if (m_token != 0 && nowMs >= m_stopsAtMs)
        Lose();
    return m_token != 0;
}

std::optional<Lease::Request> Lease::Claim(std::int64_t nowMs, std::uint64_t expected)
{
    if (Owns(nowMs))
        return std::nullopt;
    if (m_outstanding != 0 && nowMs < m_sentMs + m_times.stopMs)
        return std::nullopt;
    return Send(nowMs, expected);
}

std::optional<Lease::Request> Lease::Renew(std::int64_t nowMs)
{
    if (!Owns(nowMs) || m_outstanding != 0 || nowMs < m_sentMs + m_times.renewMs)
        return std::nullopt;
    return Send(nowMs, m_revision);
}

void Lease::OnAnswer(std::uint64_t number, const BucketAnswer& answer, std::int64_t nowMs)
{
    const bool owned = Owns(nowMs);
    if (number == 0 || number != m_outstanding)
        return;
    m_outstanding = 0;
    if (answer.outcome == BucketAnswer::Outcome::Unknown)
        return;
    if (answer.outcome == BucketAnswer::Outcome::Refused)
        return Lose();
    // An answer to a claim that took this long leaves no time to own anything.
    if (nowMs >= m_sentMs + m_times.stopMs)
        return;
    if (!owned)
        m_token = answer.revision;
    m_revision = answer.revision;
    m_stopsAtMs = m_sentMs + m_times.stopMs;
}

std::uint64_t Lease::GiveUp()
{
    const std::uint64_t revision = m_outstanding == 0 ? m_revision : 0;
    Lose();
    return revision;
}
} // namespace lighting_host

#include "lighting_host/switchboard/Milestones.h"

#include <algorithm>

namespace lighting_host
{
void Milestones::Note(std::int64_t timeMs, std::uint64_t seq, const OutputDigest& digest)
{
    if (timeMs % m_intervalMs != 0)
        return;
    m_all.push_back({timeMs, seq, digest});
    // What is kept of single outputs would fill the memory in the course of weeks.
    m_all.back().digest.Cut();
    if (m_all.size() < MOST)
        return;
    m_intervalMs *= 2;
    m_all.erase(std::remove_if(m_all.begin(), m_all.end(),
                               [this](const Milestone& one)
                               { return one.timeMs % m_intervalMs != 0; }),
                m_all.end());
}

std::optional<Milestones::Milestone> Milestones::Before(std::int64_t toMs, std::uint64_t toSeq,
                                                        std::uint64_t lines) const
{
    auto one = std::find_if(m_all.rbegin(), m_all.rend(),
                            [toMs](const Milestone& each) { return each.timeMs <= toMs; });
    if (one == m_all.rend())
        return std::nullopt;
    const std::uint64_t last = toSeq != 0 ? std::min(toSeq, one->seq) : one->seq;
    one = std::find_if(one, m_all.rend(),
                       [last, lines](const Milestone& each) { return each.seq + lines <= last; });
    if (one == m_all.rend())
        return std::nullopt;
    return *one;
}

Milestones::Milestone Milestones::After(std::int64_t ms) const
{
    return *std::find_if(m_all.begin(), m_all.end(),
                         [ms](const Milestone& each) { return each.timeMs > ms; });
}

void Milestones::DropAfter(std::int64_t ms)
{
    while (!m_all.empty() && m_all.back().timeMs > ms)
        m_all.pop_back();
}
} // namespace lighting_host

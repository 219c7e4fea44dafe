#include "lighting_host/broker/SparseComplaints.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t MINUTE_NS = 60 * 1000000000LL;
} // namespace

void SparseComplaints::Tell(const std::string& what, std::int64_t nowNs)
{
    if (nowNs - m_beginNs >= MINUTE_NS)
    {
        if (m_count > MOST_A_MINUTE)
            m_sink(fmt::format("{} more were not told", m_count - MOST_A_MINUTE));
        m_count = 0;
        m_beginNs = nowNs;
    }
    if (++m_count <= MOST_A_MINUTE)
        m_sink(what);
}
} // namespace lighting_host

#include "lighting_host/switchboard/OutputRing.h"

#include <utility>

namespace lighting_host
{
void OutputRing::Add(Line line)
{
    m_last = line.seq;
    m_bytes += line.text.size();
    m_lines.push_back(std::move(line));
    // The last line stays, however long it is.
    while (m_lines.size() > 1 && (m_lines.size() > m_mostLines || m_bytes > m_mostBytes))
    {
        m_bytes -= m_lines.front().text.size();
        m_lines.pop_front();
    }
}

void OutputRing::ResetTo(std::uint64_t seq)
{
    if (seq < First() || seq > m_last)
    {
        m_lines.clear();
        m_bytes = 0;
    }
    while (!m_lines.empty() && m_lines.back().seq > seq)
    {
        m_bytes -= m_lines.back().text.size();
        m_lines.pop_back();
    }
    m_last = seq;
}
} // namespace lighting_host

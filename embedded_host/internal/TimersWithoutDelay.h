#pragma once

#include <cstdint>

namespace embedded_host
{
// Notices a driver whose timers of 0 ms start each other for ever, which would stop the house.
// Counts those started at one moment. Above the limit the driver counts as faulty until it is made
// anew.
class TimersWithoutDelay
{
public:
    static constexpr unsigned MAX_AT_ONE_MOMENT = 100000;

    // One is started at this time of the house. True when it is the first one too many.
    bool StartAt(std::int64_t nowMs)
    {
        m_count = nowMs == m_momentMs ? m_count + 1 : 1;
        m_momentMs = nowMs;
        if (m_tooMany || m_count <= MAX_AT_ONE_MOMENT)
            return false;
        m_tooMany = true;
        return true;
    }

    bool TooMany() const { return m_tooMany; }

private:
    std::int64_t m_momentMs = -1;
    unsigned m_count = 0;
    bool m_tooMany = false;
};
} // namespace embedded_host

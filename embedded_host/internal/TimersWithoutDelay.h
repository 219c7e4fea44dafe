#pragma once

#include <cstdint>

namespace embedded_host
{
// Notices timers of 0 ms that start each other for ever, which would stop the house: a driver may
// start so many of them at one moment, and more are too many until it is made anew.
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

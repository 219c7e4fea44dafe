#pragma once

#include "nxshared/ITimerManager.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace test_support
{
// Timers of one shot that run out when the test says so. Ids count up from 1 and are never used
// twice. A derived class hears what is asked of it.
class HandTimers : public ITimerManager
{
public:
    struct Timer
    {
        ID::Timer id;
        std::uint64_t amount;
        // A unit of ITimerManager, with its flags.
        unsigned unit;
        // Whether it was started by interval and count.
        bool byInterval;
        ITimerManagerCallback* callback;
    };

    ID::Timer AddTimer(std::uint64_t amount, unsigned unitFlags,
                       ITimerManagerCallback* callback) override
    {
        return Start({++m_last, amount, unitFlags, false, callback});
    }
    ID::Timer AddTimer(unsigned long intervalMs, int reserved, unsigned count,
                       ITimerManagerCallback* callback) override
    {
        EXPECT_EQ(reserved, 0);
        EXPECT_EQ(count, 1u);
        return Start({++m_last, intervalMs, UNIT_MILLISECONDS, true, callback});
    }
    void KillTimer(ID::Timer& timer) override
    {
        if (Remove(timer))
            OnKilled(timer);
        timer = 0;
    }
    void RemoveAllTimers(ITimerManagerCallback* callback) override
    {
        OnAllRemoved();
        const auto ours = [callback](const Timer& timer)
        {
            return timer.callback == callback;
        };
        m_running.erase(std::remove_if(m_running.begin(), m_running.end(), ours), m_running.end());
    }

    // The timer with that id runs out.
    void Expire(ID::Timer id)
    {
        const auto found = Find(id);
        if (found == m_running.end())
        {
            ADD_FAILURE() << "timer " << id << " does not run";
            return;
        }
        const Timer due = *found;
        m_running.erase(found);
        due.callback->OnTimerExpired(due.id, static_cast<time_t>(due.amount) * NS_PER_MS);
    }

    // The timers that were started and neither stopped nor run out, in the order of their start.
    const std::vector<Timer>& Running() const { return m_running; }

    // The id that was given out last, 0 before the first.
    ID::Timer Last() const { return m_last; }

protected:
    virtual void OnStarted(const Timer&) {}
    virtual void OnKilled(ID::Timer) {}
    virtual void OnAllRemoved() {}

private:
    static constexpr time_t NS_PER_MS = 1000000;

    ID::Timer Start(const Timer& timer)
    {
        m_running.push_back(timer);
        OnStarted(timer);
        return timer.id;
    }

    std::vector<Timer>::iterator Find(ID::Timer id)
    {
        const auto same = [id](const Timer& timer)
        {
            return timer.id == id;
        };
        return std::find_if(m_running.begin(), m_running.end(), same);
    }

    bool Remove(ID::Timer id)
    {
        const auto found = Find(id);
        if (found == m_running.end())
            return false;
        m_running.erase(found);
        return true;
    }

    ID::Timer m_last = 0;
    std::vector<Timer> m_running;
};
} // namespace test_support

// The wheel against a simple model of it, on random histories.

#include "embedded_host/internal/TimerWheel.h"
#include "nxshared/ITimerManagerCallback.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace
{
using embedded_host::TimerWheel;

constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::size_t OWNERS = 3;
constexpr std::size_t DEVICES = 2;
constexpr std::size_t CALLBACKS = 2;

class Nobody : public ITimerManagerCallback
{
    void OnTimerExpired(ID::Timer, time_t) override {}
};

Nobody callbacks[CALLBACKS];

struct Fired
{
    unsigned id;
    std::int64_t ms;
    std::int64_t startedNs;
    std::size_t owner;

    bool operator==(const Fired& other) const
    {
        return id == other.id && ms == other.ms && startedNs == other.startedNs &&
               owner == other.owner;
    }
};

void showValue(const Fired& fired, std::ostream& out)
{
    out << fired.id << "@" << fired.ms << " of " << fired.owner;
}

// What both the wheel and the model can do.
class Timers
{
public:
    virtual ~Timers() = default;
    virtual unsigned Add(std::size_t owner, std::uint64_t delayMs, std::uint32_t count,
                         std::size_t callback) = 0;
    virtual bool Kill(std::size_t owner, unsigned id) = 0;
    virtual void KillAll(std::size_t owner, const ITimerManagerCallback* callback) = 0;
    virtual void Advance(std::int64_t ms) = 0;

    std::vector<Fired> fired;
    std::int64_t nowMs = 0;

protected:
    // What is done inside callbacks: some start, some re-arm, some kill.
    void React(const Fired& due)
    {
        fired.push_back(due);
        const unsigned number = due.id & ~TimerWheel::DEVICE;
        // Timers that are started here start none in turn without end.
        if (number % 5 == 1 && fired.size() < 400)
            Add(due.owner, number * 7 % 300, 1, 0);
        if (number % 11 == 3 && fired.size() < 400)
            Add(due.owner, 0, 1, 1);
        if (number % 3 == 2)
            Kill(due.owner, due.id + 1);
        if (number % 13 == 4)
            Kill(due.owner, due.id);
        if (number % 17 == 6)
            KillAll(due.owner, &callbacks[0]);
    }
};

class Wheel : public Timers, private TimerWheel::Sink
{
public:
    unsigned Add(std::size_t owner, std::uint64_t delayMs, std::uint32_t count,
                 std::size_t callback) override
    {
        return m_wheel.Add(m_owners[owner], nowMs * NS_PER_MS, delayMs, count,
                           &callbacks[callback]);
    }
    bool Kill(std::size_t owner, unsigned id) override { return m_wheel.Kill(m_owners[owner], id); }
    void KillAll(std::size_t owner, const ITimerManagerCallback* callback) override
    {
        m_wheel.KillAll(m_owners[owner], callback);
    }
    void Advance(std::int64_t ms) override
    {
        const std::int64_t until = nowMs + ms;
        m_wheel.Advance(until, *this);
        nowMs = until;
    }
    std::size_t Count() const { return m_wheel.Count(); }
    std::int64_t NextWakeMs() const { return m_wheel.NextWakeMs(); }

private:
    void OnTimerDue(const TimerWheel::Due& due) override
    {
        nowMs = due.dueMs;
        React({due.id, due.dueMs, due.startedNs, *static_cast<std::size_t*>(due.context)});
    }

    std::size_t m_numbers[OWNERS] = {0, 1, 2};
    TimerWheel m_wheel;
    TimerWheel::Owner m_owners[OWNERS] = {{TimerWheel::DRIVER, &m_numbers[0]},
                                          {TimerWheel::DRIVER, &m_numbers[1]},
                                          {TimerWheel::DEVICE, &m_numbers[2]}};
};

class Model : public Timers
{
public:
    unsigned Add(std::size_t owner, std::uint64_t delayMs, std::uint32_t count,
                 std::size_t callback) override
    {
        if (count != 1 && delayMs == 0)
            delayMs = 1;
        const unsigned id = owner == DEVICES ? TimerWheel::DEVICE | ++m_lastDevice : ++m_lastDriver;
        const std::int64_t due = nowMs + static_cast<std::int64_t>(delayMs);
        m_due[{due, id}] = {owner, delayMs, count, &callbacks[callback], nowMs * NS_PER_MS};
        return id;
    }
    bool Kill(std::size_t owner, unsigned id) override
    {
        for (auto at = m_due.begin(); at != m_due.end(); ++at)
        {
            if (at->first.second != id || at->second.owner != owner)
                continue;
            m_due.erase(at);
            return true;
        }
        return false;
    }
    void KillAll(std::size_t owner, const ITimerManagerCallback* callback) override
    {
        for (auto at = m_due.begin(); at != m_due.end();)
        {
            const bool dies =
                at->second.owner == owner && (!callback || at->second.callback == callback);
            at = dies ? m_due.erase(at) : std::next(at);
        }
    }
    void Advance(std::int64_t ms) override
    {
        const std::int64_t until = nowMs + ms;
        while (!m_due.empty() && m_due.begin()->first.first <= until)
        {
            const auto [due, id] = m_due.begin()->first;
            Timer timer = m_due.begin()->second;
            m_due.erase(m_due.begin());
            const Fired fires{id, due, timer.startedNs, timer.owner};
            if (timer.count != 1)
            {
                timer.count -= timer.count == TimerWheel::FOREVER ? 0 : 1;
                m_due[{due + static_cast<std::int64_t>(timer.delayMs), id}] = timer;
            }
            nowMs = due;
            React(fires);
        }
        nowMs = until;
    }
    std::size_t Count() const { return m_due.size(); }
    std::int64_t NextDueMs() const { return m_due.empty() ? -1 : m_due.begin()->first.first; }

private:
    struct Timer
    {
        std::size_t owner;
        std::uint64_t delayMs;
        std::uint32_t count;
        const ITimerManagerCallback* callback;
        std::int64_t startedNs;
    };
    // By due time, then id: device ids are the greater ones.
    std::map<std::pair<std::int64_t, unsigned>, Timer> m_due;
    unsigned m_lastDriver = 0;
    unsigned m_lastDevice = 0;
};

// A time of any size that matters to a wheel of 1024 slots a level.
rc::Gen<std::int64_t> AnyTime()
{
    return rc::gen::oneOf(rc::gen::inRange<std::int64_t>(0, 4),
                          rc::gen::inRange<std::int64_t>(0, 2400),
                          rc::gen::inRange<std::int64_t>((1 << 20) - 1200, (1 << 20) + 1200),
                          rc::gen::inRange<std::int64_t>((1 << 30) - 1200, (1 << 30) + 1200),
                          rc::gen::inRange<std::int64_t>(0, std::int64_t{1} << 34));
}

void AddToBoth(Wheel& wheel, Model& model)
{
    const auto owner = *rc::gen::inRange<std::size_t>(0, OWNERS);
    const auto callback = *rc::gen::inRange<std::size_t>(0, CALLBACKS);
    auto delay = static_cast<std::uint64_t>(*AnyTime());
    auto count = *rc::gen::inRange<std::uint32_t>(0, 4);
    // What fires for ever fires seldom, or an advance of months would take that long.
    if (count == TimerWheel::FOREVER)
        delay += 1 << 26;
    RC_ASSERT(wheel.Add(owner, delay, count, callback) == model.Add(owner, delay, count, callback));
}

void KillInBoth(Wheel& wheel, Model& model)
{
    const auto owner = *rc::gen::inRange<std::size_t>(0, OWNERS);
    unsigned id = *rc::gen::inRange<unsigned>(0, 60);
    if (*rc::gen::inRange(0, 3) == 0)
        id |= TimerWheel::DEVICE;
    RC_ASSERT(wheel.Kill(owner, id) == model.Kill(owner, id));
}

void DoToBoth(Wheel& wheel, Model& model)
{
    const int choice = *rc::gen::inRange(0, 20);
    if (choice < 11)
        AddToBoth(wheel, model);
    else if (choice < 14)
        KillInBoth(wheel, model);
    else if (choice == 14)
    {
        const auto owner = *rc::gen::inRange<std::size_t>(0, OWNERS);
        const auto callback = *rc::gen::element<ITimerManagerCallback*>(nullptr, &callbacks[1]);
        wheel.KillAll(owner, callback);
        model.KillAll(owner, callback);
    }
    else
    {
        const std::int64_t ms = *AnyTime();
        wheel.Advance(ms);
        model.Advance(ms);
    }
}

TEST(TimerWheelProperty, AnyHistory_FiresExactlyAsASortedMapWould)
{
    const bool held = rc::check(
        [&]
        {
            Wheel wheel;
            Model model;
            const int steps = *rc::gen::inRange(1, 80);
            for (int step = 0; step < steps; ++step)
            {
                DoToBoth(wheel, model);
                RC_ASSERT(wheel.fired == model.fired);
                RC_ASSERT(wheel.Count() == model.Count());
                const std::int64_t wake = wheel.NextWakeMs();
                RC_ASSERT((wake < 0) == (model.Count() == 0));
                RC_ASSERT(wake <= model.NextDueMs());
                RC_ASSERT(wake < 0 || wake >= model.nowMs);
            }
        });
    EXPECT_TRUE(held);
}
} // namespace

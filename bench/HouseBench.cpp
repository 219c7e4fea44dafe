// The example house: how much of its life fits into a second, and its timers alone, replayed to
// ours and to schedulers that one would use instead.

#include "bench/Bench.h"
#include "bench/HouseTrace.h"
#include "embedded_host/internal/TimerWheel.h"

#include <chrono>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#include <boost/function.hpp>
#if BENCH_WITH_EV
// Names that the other library takes as macros; neither is used here.
#undef EV_TIMEOUT
#undef EV_READ
#undef EV_WRITE
#undef EV_SIGNAL
#include <ev.h>
#endif

namespace
{
using embedded_host::TimerWheel;
using house_trace::Operation;

constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::int64_t NS_PER_SECOND = 1000000000;
constexpr unsigned TRACE_HOURS = 24;
constexpr unsigned RUN_HOURS = 6;

const std::string HOUSE = LIGHTING_EXAMPLES "/house/house.xml";

const std::vector<Operation>& Trace()
{
    static const std::vector<Operation> trace = house_trace::Record(HOUSE, TRACE_HOURS);
    return trace;
}

// The trace from one firing to the next. What happens between two firings happened in the callback
// of the first, and does so again.
class Replay
{
public:
    // A scheduler has Add(id, dueMs, again), Kill(id) and AdvanceTo(ms), and calls Fired(id).
    template <class Scheduler>
    void Run(Scheduler& scheduler)
    {
        m_next = 0;
        while (m_next < m_trace.size())
        {
            const Operation& operation = m_trace[m_next];
            if (operation.kind == Operation::Add || operation.kind == Operation::Kill)
                Between(scheduler);
            else
            {
                const std::size_t before = m_next;
                scheduler.AdvanceTo(operation.nowMs);
                if (m_next == before)
                    throw std::logic_error("a timer that fired in the house did not fire");
            }
        }
    }

    template <class Scheduler>
    void Fired(Scheduler& scheduler, unsigned id)
    {
        if (m_next >= m_trace.size() || m_trace[m_next].id != id)
            throw std::logic_error("a timer fired in another order than in the house");
        ++m_next;
        Between(scheduler);
    }

private:
    template <class Scheduler>
    void Between(Scheduler& scheduler)
    {
        for (; m_next < m_trace.size(); ++m_next)
        {
            const Operation& operation = m_trace[m_next];
            if (operation.kind == Operation::Add)
                scheduler.Add(operation);
            else if (operation.kind == Operation::Kill)
                scheduler.Kill(operation.id);
            else
                break;
        }
    }

    const std::vector<Operation>& m_trace = Trace();
    std::size_t m_next = 0;
};

class Wheel : private TimerWheel::Sink
{
public:
    explicit Wheel(Replay& replay) : m_replay(replay) {}

    void Add(const Operation& operation)
    {
        const bool device = (operation.id & TimerWheel::DEVICE) != 0;
        m_wheel.Add(device ? m_devices : m_drivers, operation.nowMs * NS_PER_MS,
                    static_cast<std::uint64_t>(operation.dueMs - operation.nowMs), operation.count,
                    nullptr);
    }
    void Kill(unsigned id)
    {
        m_wheel.Kill((id & TimerWheel::DEVICE) != 0 ? m_devices : m_drivers, id);
    }
    void AdvanceTo(std::int64_t ms) { m_wheel.Advance(ms, *this); }

private:
    void OnTimerDue(const TimerWheel::Due& due) override { m_replay.Fired(*this, due.id); }

    Replay& m_replay;
    TimerWheel m_wheel;
    TimerWheel::Owner m_drivers{TimerWheel::DRIVER, nullptr};
    TimerWheel::Owner m_devices{TimerWheel::DEVICE, nullptr};
};

// By time and then, as in the house, by kind and id; and by id, since that is what is killed.
class Multimap
{
public:
    explicit Multimap(Replay& replay) : m_replay(replay) {}

    void Add(const Operation& operation)
    {
        const unsigned id = operation.id;
        m_entries[id] = m_timers.emplace(std::make_pair(operation.dueMs, id),
                                         Timer{operation.dueMs - operation.nowMs, operation.count,
                                               [this, id]
                                               {
                                                   m_replay.Fired(*this, id);
                                               }});
    }
    void Kill(unsigned id)
    {
        const auto entry = m_entries.find(id);
        if (entry == m_entries.end())
            return;
        m_timers.erase(entry->second);
        m_entries.erase(entry);
    }
    void AdvanceTo(std::int64_t ms)
    {
        while (!m_timers.empty() && m_timers.begin()->first.first <= ms)
        {
            const auto first = m_timers.begin();
            const unsigned id = first->first.second;
            Timer timer = std::move(first->second);
            const std::int64_t due = first->first.first;
            m_timers.erase(first);
            const boost::function<void()> call = timer.call;
            const bool again = timer.left != 1;
            timer.left -= timer.left > 1 ? 1 : 0;
            if (again)
                m_entries[id] =
                    m_timers.emplace(std::make_pair(due + timer.interval, id), std::move(timer));
            else
                m_entries.erase(id);
            call();
        }
    }

private:
    struct Timer
    {
        std::int64_t interval;
        std::uint32_t left;
        boost::function<void()> call;
    };
    using Timers = std::multimap<std::pair<std::int64_t, unsigned>, Timer>;

    Replay& m_replay;
    Timers m_timers;
    std::unordered_map<unsigned, Timers::iterator> m_entries;
};

#if BENCH_WITH_EV
// What libev takes for the time while it replays; -1 for the real one.
std::int64_t g_virtualNs = -1;

class Libev
{
public:
    explicit Libev(Replay& replay) : m_replay(replay), m_loop(Begin()) {}
    ~Libev()
    {
        for (auto& entry : m_timers)
            ev_timer_stop(m_loop, &entry.second.timer);
        ev_loop_destroy(m_loop);
        g_virtualNs = -1;
    }
    Libev(const Libev&) = delete;
    Libev& operator=(const Libev&) = delete;

    void Add(const Operation& operation)
    {
        Entry& entry = m_timers[operation.id];
        entry.owner = this;
        entry.id = operation.id;
        const double interval = static_cast<double>(operation.dueMs - operation.nowMs) / 1000;
        const double due = static_cast<double>(operation.dueMs) / 1000 + Rank(operation.id);
        const double now = static_cast<double>(g_virtualNs - NS_PER_SECOND) / NS_PER_SECOND;
        ev_timer_init(&entry.timer, &Libev::OnTimer, due - now,
                      operation.count != 1 ? interval : 0.);
        entry.left = operation.count;
        entry.timer.data = &entry;
        ev_timer_start(m_loop, &entry.timer);
    }
    void Kill(unsigned id)
    {
        const auto entry = m_timers.find(id);
        if (entry == m_timers.end())
            return;
        ev_timer_stop(m_loop, &entry->second.timer);
        m_timers.erase(entry);
    }
    void AdvanceTo(std::int64_t ms)
    {
        g_virtualNs = NS_PER_SECOND + ms * NS_PER_MS + NS_PER_MS / 2;
        ev_run(m_loop, EVRUN_NOWAIT);
    }

private:
    struct Entry
    {
        ev_timer timer;
        Libev* owner;
        unsigned id;
        std::uint32_t left;
    };

    static struct ev_loop* Begin()
    {
        g_virtualNs = NS_PER_SECOND;
        return ev_loop_new(0);
    }

    // A part of a millisecond, so that those of one millisecond come in the order of the house.
    static double Rank(unsigned id)
    {
        constexpr double STEP = 1e-10;
        constexpr double DEVICES = 2e-4;
        const bool device = (id & TimerWheel::DEVICE) != 0;
        return (id & ~TimerWheel::DEVICE) * STEP + (device ? DEVICES : 0);
    }

    static void OnTimer(struct ev_loop*, ev_timer* timer, int)
    {
        Entry& entry = *static_cast<Entry*>(timer->data);
        const unsigned id = entry.id;
        Libev& owner = *entry.owner;
        if (entry.left == 1)
            owner.Kill(id);
        else if (entry.left > 1)
            --entry.left;
        owner.m_replay.Fired(owner, id);
    }

    Replay& m_replay;
    struct ev_loop* m_loop;
    std::unordered_map<unsigned, Entry> m_timers;
};
#endif

template <class Scheduler>
void ReplayDay(benchmark::State& state)
{
    Replay replay;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        Scheduler scheduler(replay);
        replay.Run(scheduler);
    }
    state.counters["operations"] = static_cast<double>(Trace().size());
}

void Hours(benchmark::State& state)
{
    for (auto _ : state)
        house_trace::RunQuietly(HOUSE, RUN_HOURS, nullptr);
    state.counters["hours_a_second"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * RUN_HOURS, benchmark::Counter::kIsRate);
}

BENCHMARK_TEMPLATE(ReplayDay, Wheel)->Name("replay/ours");
BENCHMARK_TEMPLATE(ReplayDay, Multimap)->Name("replay/multimap");
#if BENCH_WITH_EV
BENCHMARK_TEMPLATE(ReplayDay, Libev)->Name("replay/libev");
#endif
BENCHMARK(Hours)->Name("house/hours")->Unit(benchmark::kMillisecond);
} // namespace

#if BENCH_WITH_EV
// libev asks for the time here; so does everybody else, who gets the real one.
extern "C" int clock_gettime(clockid_t clock, struct timespec* time) noexcept
{
    if (g_virtualNs < 0)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    time->tv_sec = g_virtualNs / NS_PER_SECOND;
    time->tv_nsec = g_virtualNs % NS_PER_SECOND;
    return 0;
}
#endif

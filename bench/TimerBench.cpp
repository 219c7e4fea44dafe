// Timers: re-arming one of 100,000, and adding and expiring on a virtual clock, against event
// libraries and the schedulers that a user would write.

#include "bench/Bench.h"
#include "embedded_host/internal/TimerWheel.h"
#include "nxshared/ITimerManagerCallback.h"

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <vector>

#define BOOST_ASIO_DISABLE_EPOLL
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/function.hpp>
#if BENCH_WITH_EVENT
#include <event2/event.h>
#endif
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

constexpr std::size_t OUTSTANDING = 100000;
constexpr std::size_t TIMERS_EACH = 4;
constexpr std::int64_t NS_PER_MS = 1000000;

class Ignore : public TimerWheel::Sink
{
public:
    void OnTimerDue(const TimerWheel::Due& due) override { benchmark::DoNotOptimize(due.id); }
};

// Delays of a house: hold timers, steps, retries, minutes.
std::vector<unsigned> Delays()
{
    std::vector<unsigned> delays(4096);
    std::mt19937 random(1);
    for (unsigned& delay : delays)
        delay = 250 + random() % 60000;
    return delays;
}

void RearmOurs(benchmark::State& state)
{
    TimerWheel wheel;
    // Every driver has its timers.
    std::deque<TimerWheel::Owner> owners;
    const auto delays = Delays();
    std::vector<unsigned> ids;
    for (std::size_t i = 0; i < OUTSTANDING; ++i)
    {
        if (i % TIMERS_EACH == 0)
            owners.emplace_back(TimerWheel::DRIVER, nullptr);
        ids.push_back(wheel.Add(owners.back(), 0, delays[i % delays.size()], 1, nullptr));
    }
    std::size_t i = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        const std::size_t which = i * 7919 % OUTSTANDING;
        TimerWheel::Owner& owner = owners[which / TIMERS_EACH];
        wheel.Kill(owner, ids[which]);
        ids[which] = wheel.Add(owner, 0, delays[i % delays.size()], 1, nullptr);
        ++i;
    }
}

#if BENCH_WITH_EVENT
void RearmLibevent(benchmark::State& state)
{
    event_base* base = event_base_new();
    const auto delays = Delays();
    std::vector<event*> events;
    const auto time = [](unsigned ms)
    {
        return timeval{ms / 1000, (ms % 1000) * 1000};
    };
    for (std::size_t i = 0; i < OUTSTANDING; ++i)
    {
        events.push_back(evtimer_new(
            base, [](evutil_socket_t, short, void*) {}, nullptr));
        const timeval delay = time(delays[i % delays.size()]);
        evtimer_add(events.back(), &delay);
    }
    std::size_t i = 0;
    for (auto _ : state)
    {
        const timeval delay = time(delays[i % delays.size()]);
        evtimer_add(events[i * 7919 % OUTSTANDING], &delay);
        ++i;
    }
    for (event* timer : events)
        event_free(timer);
    event_base_free(base);
}
BENCHMARK(RearmLibevent)->Name("rearm/libevent");
#endif

#if BENCH_WITH_EV
void RearmLibev(benchmark::State& state)
{
    struct ev_loop* loop = ev_loop_new(0);
    const auto delays = Delays();
    std::vector<ev_timer> timers(OUTSTANDING);
    for (std::size_t i = 0; i < OUTSTANDING; ++i)
    {
        ev_timer_init(
            &timers[i], [](struct ev_loop*, ev_timer*, int) {}, delays[i % delays.size()] / 1000.0,
            0.);
        ev_timer_start(loop, &timers[i]);
    }
    std::size_t i = 0;
    for (auto _ : state)
    {
        ev_timer& timer = timers[i * 7919 % OUTSTANDING];
        ev_timer_stop(loop, &timer);
        ev_timer_set(&timer, delays[i % delays.size()] / 1000.0, 0.);
        ev_timer_start(loop, &timer);
        ++i;
    }
    for (ev_timer& timer : timers)
        ev_timer_stop(loop, &timer);
    ev_loop_destroy(loop);
}
BENCHMARK(RearmLibev)->Name("rearm/libev");
#endif

void ExpireOurs(benchmark::State& state)
{
    TimerWheel wheel;
    TimerWheel::Owner owner(TimerWheel::DRIVER, nullptr);
    Ignore ignore;
    const auto delays = Delays();
    std::int64_t now = 0;
    std::size_t i = 0;
    for (; i < 1000; ++i)
        wheel.Add(owner, 0, delays[i % delays.size()], 1, nullptr);
    for (auto _ : state)
    {
        wheel.Add(owner, now * NS_PER_MS, delays[i % delays.size()], 1, nullptr);
        // On average as many expire as are added.
        if (++i % 16 == 0)
        {
            now += 480;
            wheel.Advance(now, ignore);
        }
    }
}

// A clock that stands until it is moved, for Boost.Asio.
struct MovedClock
{
    using duration = std::chrono::milliseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<MovedClock>;
    static constexpr bool is_steady = false;
    static time_point now() noexcept { return time_point(duration(nowMs)); }
    static std::int64_t nowMs;
};
std::int64_t MovedClock::nowMs = 0;

struct MovedWait
{
    static MovedClock::duration to_wait_duration(const MovedClock::duration&)
    {
        return MovedClock::duration(0);
    }
    static MovedClock::duration to_wait_duration(const MovedClock::time_point&)
    {
        return MovedClock::duration(0);
    }
};

void ExpireAsio(benchmark::State& state)
{
    using Timer = boost::asio::basic_waitable_timer<MovedClock, MovedWait>;
    boost::asio::io_context context;
    MovedClock::nowMs = 0;
    const auto delays = Delays();
    std::vector<std::unique_ptr<Timer>> pool;
    std::vector<Timer*> idle;
    std::size_t i = 0;
    const auto add = [&]
    {
        if (idle.empty())
        {
            pool.push_back(std::make_unique<Timer>(context));
            idle.push_back(pool.back().get());
        }
        Timer* timer = idle.back();
        idle.pop_back();
        timer->expires_at(MovedClock::now() + std::chrono::milliseconds(delays[i % delays.size()]));
        timer->async_wait([&idle, timer](const boost::system::error_code&)
                          { idle.push_back(timer); });
    };
    for (; i < 1000; ++i)
        add();
    for (auto _ : state)
    {
        add();
        if (++i % 16 == 0)
        {
            MovedClock::nowMs += 480;
            context.restart();
            context.poll();
        }
    }
    for (const auto& timer : pool)
        timer->cancel();
    context.restart();
    context.poll();
}

void ExpireMultimap(benchmark::State& state)
{
    std::multimap<std::int64_t, boost::function<void()>> timers;
    const auto delays = Delays();
    std::int64_t now = 0;
    std::size_t i = 0;
    std::size_t fired = 0;
    for (; i < 1000; ++i)
        timers.emplace(delays[i % delays.size()], [&fired] { ++fired; });
    for (auto _ : state)
    {
        timers.emplace(now + delays[i % delays.size()], [&fired] { ++fired; });
        if (++i % 16 == 0)
        {
            now += 480;
            while (!timers.empty() && timers.begin()->first <= now)
            {
                timers.begin()->second();
                timers.erase(timers.begin());
            }
        }
    }
    benchmark::DoNotOptimize(fired);
}

BENCHMARK(RearmOurs)->Name("rearm/ours");
BENCHMARK(ExpireOurs)->Name("expire/ours");
BENCHMARK(ExpireAsio)->Name("expire/asio");
BENCHMARK(ExpireMultimap)->Name("expire/multimap");
} // namespace

#include "embedded_host/internal/TimerWheel.h"

#include "AllocationCount.h"
#include "nxshared/ITimerManagerCallback.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using embedded_host::TimerWheel;
using Strings = std::vector<std::string>;

constexpr std::int64_t NS_IN_MS = 1000000;

class NoCallback : public ITimerManagerCallback
{
    void OnTimerExpired(ID::Timer, time_t) override {}
};

// A wheel at a time that tests move on, one driver's and all devices' timers, and what has fired
// since somebody looked, as "id@ms" (devices' ids as "device n").
class TimerWheelTest : public testing::Test, private TimerWheel::Sink
{
protected:
    ~TimerWheelTest() override
    {
        EXPECT_TRUE(m_fired.empty()) << "fired and never looked at: " << m_fired.front();
    }

    unsigned Start(std::uint64_t delayMs, std::uint32_t count = 1,
                   ITimerManagerCallback* callback = nullptr)
    {
        return wheel.Add(driver, nowMs * NS_IN_MS, delayMs, count, callback);
    }

    unsigned StartDevice(std::uint64_t delayMs)
    {
        return wheel.Add(devices, nowMs * NS_IN_MS, delayMs, 1, nullptr);
    }

    bool Kill(unsigned id) { return wheel.Kill(driver, id); }

    // What the timer with this id does when it fires.
    void When(unsigned id, std::function<void()> action) { m_actions[id] = std::move(action); }

    // Moves the time on and gives what has fired.
    Strings Advance(std::int64_t ms)
    {
        AdvanceTo(nowMs + ms);
        return Fired();
    }

    void AdvanceTo(std::int64_t ms)
    {
        wheel.Advance(ms, *this);
        nowMs = std::max(nowMs, ms);
    }

    Strings Fired() { return std::exchange(m_fired, {}); }

    int context = 0;
    int otherContext = 0;
    TimerWheel wheel;
    TimerWheel::Owner driver{TimerWheel::DRIVER, &context};
    TimerWheel::Owner otherDriver{TimerWheel::DRIVER, &otherContext};
    TimerWheel::Owner devices{TimerWheel::DEVICE, nullptr};
    std::int64_t nowMs = 0;
    TimerWheel::Due lastDue{};

private:
    void OnTimerDue(const TimerWheel::Due& due) override
    {
        lastDue = due;
        nowMs = due.dueMs;
        const bool device = (due.id & TimerWheel::DEVICE) != 0;
        m_fired.push_back((device ? "device " : "") + std::to_string(due.id & ~TimerWheel::DEVICE) +
                          "@" + std::to_string(due.dueMs));
        const auto action = m_actions.find(due.id);
        if (action != m_actions.end())
            action->second();
    }

    std::map<unsigned, std::function<void()>> m_actions;
    Strings m_fired;
};

// Writes down what it is told.
class Scribe : public embedded_host::TimerObserver
{
public:
    void OnTimerAdded(unsigned id, std::int64_t dueMs, std::int64_t nowMs) override
    {
        Note(nowMs, "add", id, " due " + std::to_string(dueMs));
    }
    void OnTimerKilled(unsigned id, std::int64_t nowMs) override { Note(nowMs, "kill", id, ""); }
    void OnTimerFires(unsigned id, bool again, std::int64_t nowMs) override
    {
        Note(nowMs, "fire", id, again ? " again" : "");
    }

    Strings lines;

private:
    void Note(std::int64_t nowMs, const std::string& what, unsigned id, const std::string& more)
    {
        lines.push_back(std::to_string(nowMs) + " " + what + " " + std::to_string(id) + more);
    }
};

TEST_F(TimerWheelTest, Observer_IsToldOfEveryTimerOnce)
{
    Scribe scribe;
    wheel.Observe(&scribe);
    Start(5, 2);
    const unsigned killed = Start(7);
    Start(9);
    EXPECT_TRUE(Kill(killed));
    EXPECT_FALSE(Kill(killed));
    Advance(5);
    wheel.KillAll(driver, nullptr);
    wheel.Observe(nullptr);
    Start(1);
    Advance(1);
    EXPECT_EQ(scribe.lines, (Strings{"0 add 1 due 5", "0 add 2 due 7", "0 add 3 due 9", "0 kill 2",
                                     "5 fire 1 again", "5 kill 3", "5 kill 1"}));
}

TEST_F(TimerWheelTest, Ids_CountUpFromOneForEachKind)
{
    EXPECT_EQ(1u, Start(5));
    EXPECT_EQ(2u, Start(5));
    EXPECT_EQ(TimerWheel::DEVICE | 1u, StartDevice(5));
    EXPECT_EQ(3u, Start(5));
    EXPECT_EQ(TimerWheel::DEVICE | 2u, StartDevice(5));
}

TEST_F(TimerWheelTest, IdsOfKilledAndFiredTimers_AreNotGivenAgain)
{
    const unsigned killed = Start(5);
    EXPECT_TRUE(Kill(killed));
    EXPECT_EQ(2u, Start(1));
    EXPECT_EQ((Strings{"2@1"}), Advance(1));
    EXPECT_EQ(3u, Start(1));
}

TEST(TimerWheelIds, AfterTheLast_BeginAgainAndStayInTheirKind)
{
    int context = 0;
    TimerWheel wheel(0x7FFFFFFE);
    TimerWheel::Owner driver(TimerWheel::DRIVER, &context);
    TimerWheel::Owner devices(TimerWheel::DEVICE, nullptr);
    EXPECT_EQ(0x7FFFFFFFu, wheel.Add(driver, 0, 5, 1, nullptr));
    EXPECT_EQ(1u, wheel.Add(driver, 0, 5, 1, nullptr));
    EXPECT_EQ(0xFFFFFFFFu, wheel.Add(devices, 0, 5, 1, nullptr));
    EXPECT_EQ(TimerWheel::DEVICE | 1u, wheel.Add(devices, 0, 5, 1, nullptr));
}

TEST_F(TimerWheelTest, DueTogether_FireInOrderOfId)
{
    Start(10);
    Start(10);
    Start(10);
    EXPECT_EQ((Strings{"1@10", "2@10", "3@10"}), Advance(10));
}

TEST_F(TimerWheelTest, DueApart_FireInOrderOfTime)
{
    Start(30);
    Start(10);
    Start(20);
    EXPECT_EQ((Strings{"2@10", "3@20", "1@30"}), Advance(100));
}

TEST_F(TimerWheelTest, StartedAtDifferentTimesForOneMillisecond_FireInOrderOfId)
{
    Start(1000);
    Advance(300);
    Start(700);
    Advance(695);
    Start(5);
    EXPECT_EQ((Strings{"1@1000", "2@1000", "3@1000"}), Advance(5));
}

TEST_F(TimerWheelTest, DriversAndDevicesDueTogether_DriversFireFirst)
{
    StartDevice(10);
    Start(10);
    StartDevice(10);
    Start(10);
    EXPECT_EQ((Strings{"1@10", "2@10", "device 1@10", "device 2@10"}), Advance(10));
}

TEST_F(TimerWheelTest, DriverTimerOfZeroStartedByDevice_FiresBeforeTheNextDevice)
{
    const unsigned device = StartDevice(10);
    StartDevice(10);
    When(device, [&] { Start(0); });
    EXPECT_EQ((Strings{"device 1@10", "1@10", "device 2@10"}), Advance(10));
}

TEST_F(TimerWheelTest, DeviceDueEarlier_FiresBeforeDriver)
{
    Start(10);
    StartDevice(9);
    EXPECT_EQ((Strings{"device 1@9", "1@10"}), Advance(10));
}

TEST_F(TimerWheelTest, ZeroDelay_FiresOnlyWhenTheTimeIsAdvanced)
{
    Start(0);
    EXPECT_EQ(Strings(), Fired());
    EXPECT_EQ((Strings{"1@0"}), Advance(0));
    EXPECT_EQ(Strings(), Advance(0));
}

TEST_F(TimerWheelTest, ZeroDelayStartedInACallback_FiresInTheSameAdvanceAfterIt)
{
    const unsigned first = Start(5);
    Start(5);
    When(first,
         [&]
         {
             Start(0);
             EXPECT_EQ((Strings{"1@5"}), Fired());
         });
    EXPECT_EQ((Strings{"2@5", "3@5"}), Advance(5));
}

TEST_F(TimerWheelTest, StartedInACallback_FiresInTheSameAdvanceWhenDueByThen)
{
    const unsigned first = Start(5);
    When(first,
         [&]
         {
             Start(5);
             Start(6);
         });
    EXPECT_EQ((Strings{"1@5", "2@10"}), Advance(10));
    EXPECT_EQ((Strings{"3@11"}), Advance(1));
}

TEST_F(TimerWheelTest, OneMillisecondEarly_NothingFires)
{
    Start(10);
    EXPECT_EQ(Strings(), Advance(9));
    EXPECT_EQ((Strings{"1@10"}), Advance(1));
    EXPECT_EQ(Strings(), Advance(1000));
}

TEST_F(TimerWheelTest, AdvanceToThePast_ChangesNothing)
{
    Advance(100);
    Start(10);
    AdvanceTo(50);
    EXPECT_EQ(Strings(), Fired());
    Start(0);
    EXPECT_EQ((Strings{"2@100"}), Advance(0));
    EXPECT_EQ((Strings{"1@110"}), Advance(10));
}

TEST_F(TimerWheelTest, StartedBeforeTheTimeReached_IsDueAfterTheTimeReached)
{
    Advance(100);
    wheel.Add(driver, 20 * NS_IN_MS, 10, 1, nullptr);
    EXPECT_EQ((Strings{"1@110"}), Advance(10));
}

TEST_F(TimerWheelTest, StartedWithinAMillisecond_IsNeverDueEarly)
{
    wheel.Add(driver, 1500000, 1, 1, nullptr);
    wheel.Add(driver, 2000000, 1, 1, nullptr);
    wheel.Add(driver, 2000001, 1, 1, nullptr);
    EXPECT_EQ((Strings{"1@3", "2@3"}), Advance(3));
    EXPECT_EQ((Strings{"3@4"}), Advance(1));
}

TEST_F(TimerWheelTest, Due_CarriesWhatItWasStartedWith)
{
    NoCallback callback;
    Advance(7);
    const unsigned id = wheel.Add(driver, 7000123, 10, 1, &callback);
    Advance(20);
    EXPECT_EQ(id, lastDue.id);
    EXPECT_EQ(18, lastDue.dueMs);
    EXPECT_EQ(7000123, lastDue.startedNs);
    EXPECT_EQ(&context, lastDue.context);
    EXPECT_EQ(&callback, lastDue.callback);
}

// --- Repeating ----------------------------------------------------------------------------------

TEST_F(TimerWheelTest, CountOfThree_FiresThreeTimesAtTheInterval)
{
    Start(10, 3);
    EXPECT_EQ((Strings{"1@10", "1@20", "1@30"}), Advance(100));
    EXPECT_EQ(0u, wheel.Count());
}

TEST_F(TimerWheelTest, CountOfThree_KeepsTheTimeAtWhichItWasStarted)
{
    Advance(5);
    Start(10, 2);
    Advance(10);
    EXPECT_EQ(5 * NS_IN_MS, lastDue.startedNs);
    Advance(10);
    EXPECT_EQ(5 * NS_IN_MS, lastDue.startedNs);
}

TEST_F(TimerWheelTest, Forever_FiresUntilKilled)
{
    const unsigned id = Start(300, TimerWheel::FOREVER);
    EXPECT_EQ((Strings{"1@300", "1@600", "1@900"}), Advance(1000));
    EXPECT_EQ((Strings{"1@1200"}), Advance(200));
    EXPECT_TRUE(Kill(id));
    EXPECT_EQ(Strings(), Advance(10000));
}

TEST_F(TimerWheelTest, RepeatingZero_IsOneMillisecond)
{
    Start(0, TimerWheel::FOREVER);
    EXPECT_EQ(Strings(), Advance(0));
    EXPECT_EQ((Strings{"1@1", "1@2", "1@3"}), Advance(3));
    Kill(1);
    Start(0, 2);
    EXPECT_EQ((Strings{"2@4", "2@5"}), Advance(100));
}

TEST_F(TimerWheelTest, RepeatingAndYoungerDueTogether_TheOlderFiresFirst)
{
    Start(10, TimerWheel::FOREVER);
    Start(10, TimerWheel::FOREVER);
    Advance(5);
    Start(15);
    Start(5);
    EXPECT_EQ((Strings{"1@10", "2@10", "4@10", "1@20", "2@20", "3@20"}), Advance(15));
}

TEST_F(TimerWheelTest, RepeatingOverFarIntervals_StaysExact)
{
    Start(70000, TimerWheel::FOREVER);
    EXPECT_EQ((Strings{"1@70000", "1@140000", "1@210000"}), Advance(250000));
}

// --- Killing ------------------------------------------------------------------------------------

TEST_F(TimerWheelTest, KilledTimer_DoesNotFire)
{
    const unsigned id = Start(10);
    Start(10);
    EXPECT_TRUE(Kill(id));
    EXPECT_EQ(1u, wheel.Count());
    EXPECT_EQ((Strings{"2@10"}), Advance(10));
}

TEST_F(TimerWheelTest, KillOfNoTimer_IsRefused)
{
    const unsigned id = Start(10);
    EXPECT_FALSE(Kill(0));
    EXPECT_FALSE(Kill(id + 1));
    EXPECT_FALSE(Kill(TimerWheel::DEVICE));
    EXPECT_TRUE(Kill(id));
    EXPECT_FALSE(Kill(id));
    Start(10);
    Advance(10);
    EXPECT_FALSE(Kill(2));
    EXPECT_EQ(0u, wheel.Count());
}

TEST_F(TimerWheelTest, KillOfSomebodyElsesTimer_IsRefused)
{
    const unsigned id = Start(10);
    const unsigned device = StartDevice(10);
    EXPECT_FALSE(wheel.Kill(otherDriver, id));
    EXPECT_FALSE(wheel.Kill(driver, device));
    EXPECT_FALSE(wheel.Kill(devices, id));
    EXPECT_EQ((Strings{"1@10", "device 1@10"}), Advance(10));
}

TEST_F(TimerWheelTest, KillInEveryPlaceOfAList_LeavesTheOthersInOrder)
{
    for (int i = 0; i < 5; ++i)
        Start(10);
    EXPECT_TRUE(Kill(1));
    EXPECT_TRUE(Kill(3));
    EXPECT_TRUE(Kill(5));
    Start(10);
    EXPECT_EQ((Strings{"2@10", "4@10", "6@10"}), Advance(10));
}

TEST_F(TimerWheelTest, KillOfItselfInItsCallback_IsRefusedForTheLastTime)
{
    const unsigned id = Start(10);
    When(id, [&] { EXPECT_FALSE(Kill(id)); });
    EXPECT_EQ((Strings{"1@10"}), Advance(100));
}

TEST_F(TimerWheelTest, KillOfItselfInItsCallback_EndsARepetition)
{
    const unsigned id = Start(10, TimerWheel::FOREVER);
    When(id, [&] { EXPECT_TRUE(Kill(id)); });
    EXPECT_EQ((Strings{"1@10"}), Advance(100));
    EXPECT_EQ(0u, wheel.Count());
}

TEST_F(TimerWheelTest, KillOfOthersInACallback_HoldsForTheSameMillisecondAndLater)
{
    Start(10);
    const unsigned killer = Start(10);
    const unsigned same = Start(10);
    const unsigned later = Start(20);
    When(killer,
         [&]
         {
             EXPECT_FALSE(Kill(1));
             EXPECT_TRUE(Kill(same));
             EXPECT_TRUE(Kill(later));
         });
    Start(10);
    EXPECT_EQ((Strings{"1@10", "2@10", "5@10"}), Advance(100));
}

TEST_F(TimerWheelTest, RearmInItsCallback_FiresAgainUnderANewId)
{
    unsigned id = Start(10);
    When(id,
         [&]
         {
             EXPECT_FALSE(Kill(id));
             id = Start(10);
         });
    EXPECT_EQ((Strings{"1@10", "2@20"}), Advance(100));
    EXPECT_EQ(2u, id);
}

TEST_F(TimerWheelTest, RearmOfAnotherInACallback_MovesIt)
{
    const unsigned first = Start(10);
    unsigned second = Start(10);
    When(first,
         [&]
         {
             EXPECT_TRUE(Kill(second));
             second = Start(10);
         });
    EXPECT_EQ((Strings{"1@10", "3@20"}), Advance(100));
}

TEST_F(TimerWheelTest, KillAllOfACallback_LeavesTheOwnersOthers)
{
    NoCallback one;
    NoCallback other;
    Start(10, 1, &one);
    Start(10, 1, &other);
    Start(20, TimerWheel::FOREVER, &one);
    wheel.KillAll(driver, &one);
    EXPECT_EQ((Strings{"2@10"}), Advance(100));
}

TEST_F(TimerWheelTest, KillAllOfAnOwner_LeavesOtherOwners)
{
    NoCallback one;
    Start(10, 1, &one);
    Start(70000);
    StartDevice(10);
    wheel.Add(otherDriver, 0, 10, 1, &one);
    wheel.KillAll(driver, nullptr);
    EXPECT_EQ(2u, wheel.Count());
    EXPECT_EQ((Strings{"3@10", "device 1@10"}), Advance(100000));
}

TEST_F(TimerWheelTest, KillAllWithoutTimers_DoesNothing)
{
    wheel.KillAll(driver, nullptr);
    StartDevice(10);
    wheel.KillAll(driver, nullptr);
    EXPECT_EQ((Strings{"device 1@10"}), Advance(10));
    wheel.KillAll(devices, nullptr);
    EXPECT_EQ(0u, wheel.Count());
}

TEST_F(TimerWheelTest, KillAllInACallback_EndsItsOwnRepetitionToo)
{
    NoCallback one;
    const unsigned id = Start(10, TimerWheel::FOREVER, &one);
    Start(10, 1, &one);
    Start(20, 1, &one);
    When(id, [&] { wheel.KillAll(driver, &one); });
    EXPECT_EQ((Strings{"1@10"}), Advance(100));
    EXPECT_EQ(0u, wheel.Count());
}

// --- Far away -----------------------------------------------------------------------------------

TEST_F(TimerWheelTest, BlocksAndBeyond_OneAdvanceFiresAllInOrder)
{
    const std::vector<std::uint64_t> delays{std::uint64_t{1} << 33, 65536, 256,
                                            std::uint64_t{1} << 24, 0,     255,
                                            std::uint64_t{1} << 32, 65535};
    for (const std::uint64_t delay : delays)
        Start(delay);
    EXPECT_EQ((Strings{"5@0", "6@255", "3@256", "8@65535", "2@65536", "4@16777216", "7@4294967296",
                       "1@8589934592"}),
              Advance(std::int64_t{1} << 40));
}

TEST_F(TimerWheelTest, ManySmallSteps_FireTheSameAsOneJump)
{
    Start(100000);
    Start(65536);
    Strings seen;
    for (std::int64_t step = 0; step < 1100; ++step)
    {
        for (const std::string& fired : Advance(97))
            seen.push_back(fired);
    }
    EXPECT_EQ((Strings{"2@65536", "1@100000"}), seen);
}

TEST_F(TimerWheelTest, OldTimersAmongThousandsOfYoungerOnes_AreStillFound)
{
    Start(100000);
    Start(100000);
    for (int i = 0; i < 5000; ++i)
        EXPECT_TRUE(Kill(Start(100000)));
    EXPECT_TRUE(Kill(2));
    EXPECT_FALSE(Kill(2));
    EXPECT_EQ((Strings{"1@100000"}), Advance(100000));
}

TEST_F(TimerWheelTest, AloneInItsBlock_DoesNotFireBeforeItsMillisecond)
{
    Start(1000);
    EXPECT_EQ(Strings(), Advance(999));
    Start(1);
    EXPECT_EQ((Strings{"1@1000", "2@1000"}), Advance(1));
}

TEST_F(TimerWheelTest, AloneInItsBlockAndRepeating_KeepsItsPlaceAmongLaterOnes)
{
    Start(1000, TimerWheel::FOREVER);
    EXPECT_EQ((Strings{"1@1000"}), Advance(1100));
    Start(900);
    StartDevice(900);
    EXPECT_EQ((Strings{"1@2000", "2@2000", "device 1@2000", "1@3000"}), Advance(2000));
}

TEST_F(TimerWheelTest, KillOfFarTimerAfterTheTimeCameNearer_Works)
{
    const unsigned far = Start((std::uint64_t{1} << 32) + 5);
    Start((std::uint64_t{1} << 32) + 5);
    AdvanceTo(std::int64_t{1} << 31);
    AdvanceTo(std::int64_t{1} << 32);
    EXPECT_TRUE(Kill(far));
    EXPECT_EQ((Strings{"2@4294967301"}), Advance(5));
}

TEST_F(TimerWheelTest, LongestDelay_NeitherFiresNorOverflows)
{
    const unsigned id = Start(UINT64_MAX, TimerWheel::FOREVER);
    EXPECT_EQ(Strings(), Advance(9000000000000));
    EXPECT_LE(9000000000000, wheel.NextWakeMs());
    EXPECT_TRUE(Kill(id));
}

// Start and delay, each around the edges of the wheel's blocks.
class TimerWheelEdges : public TimerWheelTest,
                        public testing::WithParamInterface<std::tuple<std::int64_t, std::int64_t>>
{
};

TEST_P(TimerWheelEdges, TimerOverAnEdge_FiresAtItsMillisecondAndNotBefore)
{
    const auto [start, delay] = GetParam();
    AdvanceTo(start);
    Start(static_cast<std::uint64_t>(delay));
    const std::string expected = "1@" + std::to_string(start + delay);
    EXPECT_LE(wheel.NextWakeMs(), start + delay);
    EXPECT_GE(wheel.NextWakeMs(), start);
    if (delay > 0)
    {
        EXPECT_EQ(Strings(), Advance(delay - 1));
    }
    EXPECT_EQ((Strings{expected}), Advance(delay > 0 ? 1 : 0));
    EXPECT_EQ(-1, wheel.NextWakeMs());
}

constexpr std::int64_t EDGES[] = {0,
                                  1,
                                  1023,
                                  1024,
                                  1025,
                                  2047,
                                  (1 << 20) - 1,
                                  1 << 20,
                                  (1 << 20) + 1,
                                  (1 << 30) - 1,
                                  1 << 30,
                                  (1 << 30) + 1,
                                  (std::int64_t{1} << 32) - 1,
                                  std::int64_t{1} << 32,
                                  (std::int64_t{1} << 32) + 1,
                                  std::int64_t{1} << 33,
                                  (std::int64_t{1} << 40) + 12345};

INSTANTIATE_TEST_SUITE_P(Blocks, TimerWheelEdges,
                         testing::Combine(testing::ValuesIn(EDGES), testing::ValuesIn(EDGES)));

// --- Waking -------------------------------------------------------------------------------------

TEST_F(TimerWheelTest, NextWake_IsNeverWithoutTimers)
{
    EXPECT_EQ(-1, wheel.NextWakeMs());
    Kill(Start(10));
    EXPECT_EQ(-1, wheel.NextWakeMs());
}

TEST_F(TimerWheelTest, NextWake_IsTheDueTimeWhenNear)
{
    Start(200);
    EXPECT_EQ(200, wheel.NextWakeMs());
    StartDevice(100);
    EXPECT_EQ(100, wheel.NextWakeMs());
    Start(0);
    EXPECT_EQ(0, wheel.NextWakeMs());
    Advance(100);
    EXPECT_EQ(200, wheel.NextWakeMs());
    Advance(100);
}

TEST_F(TimerWheelTest, WakingWhenTold_ReachesAFarTimerInFewSteps)
{
    Start(5000000000);
    int steps = 0;
    while (wheel.Count() > 0 && steps < 20)
    {
        AdvanceTo(wheel.NextWakeMs());
        ++steps;
    }
    EXPECT_EQ((Strings{"1@5000000000"}), Fired());
    EXPECT_LT(steps, 10);
}

// --- Memory -------------------------------------------------------------------------------------

class CountingTimerSink : public TimerWheel::Sink
{
public:
    void OnTimerDue(const TimerWheel::Due& due) override { fired += due.id != 0 ? 1 : 0; }
    int fired = 0;
};

TEST(TimerWheelMemory, OnceWarm_StartingKillingAndFiringAllocateNothing)
{
    constexpr unsigned TIMERS = 300;
    int context = 0;
    TimerWheel wheel;
    TimerWheel::Owner driver(TimerWheel::DRIVER, &context);
    CountingTimerSink sink;
    for (unsigned i = 0; i < TIMERS; ++i)
        wheel.Add(driver, 0, 1000000, 1, nullptr);
    wheel.KillAll(driver, nullptr);
    const std::size_t before = host_test::Allocations();
    for (unsigned i = 0; i < TIMERS; ++i)
        wheel.Add(driver, 0, 20 + i % 2 * 20, i % 3, nullptr);
    wheel.Kill(driver, TIMERS + 2);
    wheel.Advance(200, sink);
    wheel.KillAll(driver, nullptr);
    EXPECT_EQ(before, host_test::Allocations());
    EXPECT_LT(static_cast<int>(TIMERS), sink.fired);
}
} // namespace

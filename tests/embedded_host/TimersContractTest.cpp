// What ITimerManager promises, on a house with a virtual clock and on one with the machine's.

#include "HostDoubles.h"
#include "embedded_host/Clock.h"
#include "nxshared/ITimerManager.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;
using host_test::TestDriver;
using Ids = std::vector<ID::Timer>;

// What the real clock takes for the machine's.
std::chrono::nanoseconds machineTime{};

// A client of the timers that keeps which of them came.
class Client : public ITimerManagerCallback
{
public:
    void OnTimerExpired(ID::Timer timer, time_t time) override
    {
        expired.push_back(timer);
        times.push_back(time);
        const auto action = actions.find(timer);
        if (action != actions.end())
            action->second();
    }

    Ids expired;
    std::vector<time_t> times;
    std::map<ID::Timer, std::function<void()>> actions;
};

class TimersContract : public testing::TestWithParam<bool>
{
protected:
    TimersContract()
    {
        // In the midst of a millisecond of the machine's.
        machineTime = 123456789ns;
        if (GetParam())
            m_clock = std::make_unique<RealClock>(nullptr, [] { return machineTime; });
        else
            m_clock = std::make_unique<VirtualClock>(0);
        m_house = std::make_unique<House>(*m_clock, m_random, m_sink);
        timers = &Make("one", 1).GetTimerManager();
        otherTimers = &Make("other", 2).GetTimerManager();
    }

    ID::Timer Start(unsigned long ms, unsigned count = 1)
    {
        return timers->AddTimer(ms, 0, count, &client);
    }

    // Lets that much time pass and gives the timers of the client that came meanwhile. A virtual
    // house moves its clock; a real one is told that the machine's has moved.
    Ids After(std::int64_t ms)
    {
        const std::chrono::milliseconds passing(ms);
        machineTime += passing;
        m_house->Advance(GetParam() ? 0ms : passing);
        return std::exchange(client.expired, {});
    }

    std::optional<std::chrono::milliseconds> NextWake() const { return m_house->NextWake(); }

    Client client;
    ITimerManager* timers;
    ITimerManager* otherTimers;

private:
    NxBaseDriver& Make(const char* name, unsigned id)
    {
        DriverConfig config;
        config.name = name;
        config.id = id;
        config.create = [](IInstanceManager& instances)
        {
            return new TestDriver(instances);
        };
        nx::DriverHost* host = m_house->Add(std::move(config));
        host->Start(nullptr);
        return *host->Driver();
    }

    std::unique_ptr<Clock> m_clock;
    Random m_random{1, Draw::Random};
    host_test::RecordingSink m_sink;
    std::unique_ptr<House> m_house;
};

TEST_P(TimersContract, Ids_CountUpFromOneForTheWholeHouse)
{
    EXPECT_EQ(1u, Start(10));
    EXPECT_EQ(2u, otherTimers->AddTimer(10, 0, 1, &client));
    EXPECT_EQ(3u, timers->AddTimer(10, ITimerManager::UNIT_MILLISECONDS, &client));
}

TEST_P(TimersContract, Timer_ComesOnceAndNotBeforeItsTime)
{
    Start(1000);
    EXPECT_EQ(Ids(), After(999));
    EXPECT_EQ((Ids{1}), After(1));
    EXPECT_EQ(Ids(), After(10000));
}

TEST_P(TimersContract, Timers_ComeInOrderOfTimeThenOfStart)
{
    Start(20);
    Start(10);
    Start(10);
    Start(20);
    EXPECT_EQ((Ids{2, 3, 1, 4}), After(30));
}

TEST_P(TimersContract, ZeroMilliseconds_DoNotComeInsideTheCallThatStartsThem)
{
    Start(0);
    EXPECT_EQ(Ids(), client.expired);
    EXPECT_EQ((Ids{1}), After(0));
}

TEST_P(TimersContract, ZeroMillisecondsStartedInACallback_ComeInTheSameAdvance)
{
    const ID::Timer first = Start(10);
    client.actions[first] = [&]
    {
        Start(0);
        EXPECT_EQ((Ids{first}), client.expired);
    };
    EXPECT_EQ((Ids{1, 2}), After(10));
}

TEST_P(TimersContract, Seconds_AreAThousandMilliseconds)
{
    timers->AddTimer(2, ITimerManager::UNIT_SECONDS, &client);
    EXPECT_EQ(Ids(), After(1999));
    EXPECT_EQ((Ids{1}), After(1));
}

TEST_P(TimersContract, UnknownUnit_IsMilliseconds)
{
    for (const unsigned unit : {0u, 3u, 4u, 8u, 0x80000000u})
        timers->AddTimer(10, unit, &client);
    EXPECT_EQ(Ids(), After(9));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5}), After(1));
}

TEST_P(TimersContract, RepeatFlag_ComesAgainUntilKilled)
{
    constexpr unsigned FLAGS = ITimerManager::UNIT_SECONDS | ITimerManager::REPEAT;
    ID::Timer timer = timers->AddTimer(1, FLAGS, &client);
    EXPECT_EQ((Ids{1, 1, 1}), After(3999));
    EXPECT_EQ((Ids{1}), After(1));
    timers->KillTimer(timer);
    EXPECT_EQ(Ids(), After(10000));
}

TEST_P(TimersContract, RepeatFlagInMilliseconds_IsSeventeen)
{
    timers->AddTimer(10, 17, &client);
    EXPECT_EQ((Ids{1}), After(10));
    EXPECT_EQ((Ids{1}), After(10));
}

TEST_P(TimersContract, RepeatingZero_IsOneMillisecond)
{
    timers->AddTimer(0, 17, &client);
    EXPECT_EQ(Ids(), After(0));
    EXPECT_EQ((Ids{1, 1}), After(2));
}

TEST_P(TimersContract, Count_ComesThatOften)
{
    Start(10, 2);
    EXPECT_EQ((Ids{1, 1}), After(100));
    Start(10, 0);
    EXPECT_EQ((Ids{2, 2, 2}), After(35));
}

TEST_P(TimersContract, LongestTimes_NeverCome)
{
    timers->AddTimer(UINT64_MAX, ITimerManager::UNIT_SECONDS, &client);
    timers->AddTimer(UINT64_MAX, ITimerManager::UNIT_MILLISECONDS, &client);
    timers->AddTimer(UINT64_MAX, 0, 0, &client);
    // Where a long has 32 bits, the longest time are 49 days.
    EXPECT_EQ(Ids(), After(sizeof(long) > 4 ? 1000000000000 : 4000000000));
}

TEST_P(TimersContract, KilledTimer_DoesNotComeAndItsIdIsZeroed)
{
    ID::Timer timer = Start(10);
    timers->KillTimer(timer);
    EXPECT_EQ(0u, timer);
    timers->KillTimer(timer);
    EXPECT_EQ(0u, timer);
    EXPECT_EQ(Ids(), After(20));
}

TEST_P(TimersContract, KillOfFiredUnknownOrForeignIds_OnlyZeroesThem)
{
    ID::Timer fired = Start(0);
    EXPECT_EQ((Ids{1}), After(0));
    timers->KillTimer(fired);
    ID::Timer unknown = 77;
    timers->KillTimer(unknown);
    ID::Timer foreign = otherTimers->AddTimer(10, 0, 1, &client);
    timers->KillTimer(foreign);
    EXPECT_EQ(0u, fired + unknown + foreign);
    EXPECT_EQ((Ids{2}), After(10));
}

TEST_P(TimersContract, KillInsideCallbacks_HoldsAtOnce)
{
    ID::Timer repeating = Start(10, 0);
    ID::Timer same = Start(10);
    ID::Timer later = Start(20);
    client.actions[repeating] = [&]
    {
        timers->KillTimer(repeating);
        timers->KillTimer(same);
        timers->KillTimer(later);
    };
    EXPECT_EQ((Ids{1}), After(100));
}

TEST_P(TimersContract, RearmInsideTheCallback_ComesAgainUnderANewId)
{
    ID::Timer timer = Start(10);
    client.actions[timer] = [&]
    {
        timers->KillTimer(timer);
        timer = Start(10);
    };
    EXPECT_EQ((Ids{1}), After(10));
    EXPECT_EQ(Ids(), After(9));
    EXPECT_EQ((Ids{2}), After(1));
}

TEST_P(TimersContract, RemoveAllTimers_TakesOneClientsOnly)
{
    Client other;
    timers->AddTimer(10, 0, 1, &other);
    Start(10);
    timers->AddTimer(20, 0, 0, &other);
    timers->RemoveAllTimers(&other);
    timers->RemoveAllTimers(&other);
    timers->RemoveAllTimers(nullptr);
    EXPECT_EQ((Ids{2}), After(100));
    EXPECT_EQ(Ids(), other.expired);
}

TEST_P(TimersContract, ClientDestroyedInItsOwnCallback_IsNotCalledAgain)
{
    auto* const doomed = new Client;
    const ID::Timer timer = timers->AddTimer(10, 0, 0, doomed);
    timers->AddTimer(10, 0, 0, doomed);
    static bool gone;
    gone = false;
    doomed->actions[timer] = [manager = timers, doomed]
    {
        manager->RemoveAllTimers(doomed);
        gone = true;
        // The action goes with its owner: nothing of it is used after this.
        delete doomed;
    };
    EXPECT_EQ(Ids(), After(50));
    EXPECT_TRUE(gone);
}

TEST_P(TimersContract, ElapsedTime_IsThatSinceTheStart)
{
    After(7);
    Start(10, 2);
    After(10);
    After(10);
    EXPECT_EQ((std::vector<time_t>{10000000, 20000000}), client.times);
}

TEST_P(TimersContract, NextWake_IsWhenTheNearestIsDue)
{
    EXPECT_FALSE(NextWake());
    After(7);
    Start(10);
    EXPECT_EQ(17ms, NextWake());
    EXPECT_EQ((Ids{1}), After(10));
    EXPECT_FALSE(NextWake());
}

// --- The machine's clock only -------------------------------------------------------------------

class RealTimers : public TimersContract
{
};

TEST_P(RealTimers, StartedInTheMidstOfAMillisecond_AreNeverEarly)
{
    machineTime += 300000ns;
    Start(1);
    machineTime += 999999ns;
    EXPECT_EQ(Ids(), After(0));
    machineTime += 700001ns;
    EXPECT_EQ((Ids{1}), After(0));
    EXPECT_EQ((std::vector<time_t>{1700000}), client.times);
}

TEST_P(RealTimers, FiredLate_SayHowLate)
{
    Start(10);
    EXPECT_EQ((Ids{1}), After(25));
    EXPECT_EQ((std::vector<time_t>{25000000}), client.times);
}

TEST_P(RealTimers, RearmedLate_AreDueFromThenOn)
{
    const ID::Timer first = Start(10);
    client.actions[first] = [&]
    {
        Start(10);
    };
    EXPECT_EQ((Ids{1}), After(25));
    EXPECT_EQ(Ids(), After(9));
    EXPECT_EQ((Ids{2}), After(1));
}

INSTANTIATE_TEST_SUITE_P(Clock, RealTimers, testing::Values(true),
                         [](const auto&) { return "Real"; });
INSTANTIATE_TEST_SUITE_P(Clocks, TimersContract, testing::Values(false, true),
                         [](const auto& which) { return which.param ? "Real" : "Virtual"; });
} // namespace

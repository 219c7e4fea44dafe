// A timer of 0 ms that starts itself without end.

#include "embedded_host/internal/TimersWithoutDelay.h"

#include "HostDoubles.h"
#include "nxshared/ITimerManager.h"

#include <chrono>

#include <gtest/gtest.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;
using host_test::Strings;
using host_test::TestDriver;

constexpr unsigned MOST = TimersWithoutDelay::MAX_AT_ONE_MOMENT;

TEST(TimersWithoutDelay, MostAtOneMoment_AreNotTooMany)
{
    TimersWithoutDelay timers;
    for (unsigned i = 0; i < MOST; ++i)
        ASSERT_FALSE(timers.StartAt(5));
    EXPECT_FALSE(timers.TooMany());
}

TEST(TimersWithoutDelay, OneMore_IsTooManyAndToldOnce)
{
    TimersWithoutDelay timers;
    for (unsigned i = 0; i < MOST; ++i)
        timers.StartAt(5);
    EXPECT_TRUE(timers.StartAt(5));
    EXPECT_TRUE(timers.TooMany());
    EXPECT_FALSE(timers.StartAt(5));
    EXPECT_FALSE(timers.StartAt(6));
    EXPECT_TRUE(timers.TooMany());
}

TEST(TimersWithoutDelay, AnotherMoment_CountsAnew)
{
    TimersWithoutDelay timers;
    for (unsigned i = 0; i < MOST; ++i)
        timers.StartAt(5);
    EXPECT_FALSE(timers.StartAt(6));
    for (unsigned i = 1; i < MOST; ++i)
        ASSERT_FALSE(timers.StartAt(6));
    EXPECT_TRUE(timers.StartAt(6));
}

class SpinningDriverTest : public host_test::HouseTest
{
protected:
    SpinningDriverTest() : m_driver(Made("hall", 1))
    {
        m_driver.onTimer = [this](ID::Timer, time_t)
        {
            ++m_fired;
            Spin();
        };
        Spin();
    }
    void Spin() { m_driver.AddTimer(0, ITimerManager::UNIT_MILLISECONDS, 1); }

    TestDriver& m_driver;
    unsigned m_fired = 0;
};

TEST_F(SpinningDriverTest, TimerThatRestartsItself_IsAFaultOnceAndThenTakesAMillisecond)
{
    house.Advance(0ms);
    EXPECT_EQ(m_fired, MOST);
    EXPECT_EQ(
        (Strings{"0 hall fault the driver failed: its timers of 0 ms start each other without "
                 "end; from now on each takes 1 ms"}),
        Seen());
    house.Advance(10ms);
    EXPECT_EQ(m_fired, MOST + 10);
    EXPECT_EQ(Strings(), Seen());
}

TEST_F(SpinningDriverTest, OtherDriversTimers_StillFire)
{
    Made("lamp", 2).AddTimer(5, ITimerManager::UNIT_MILLISECONDS, 1);
    Seen();
    house.Advance(5ms);
    const Strings seen = Seen();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1].substr(0, 13), "5 lamp timer ");
}
} // namespace

#include "embedded_host/Clock.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;

constexpr std::int64_t START = 1767225600;

// What holds for every clock.
class AnyClock : public testing::TestWithParam<bool>
{
protected:
    AnyClock()
    {
        if (GetParam())
            clock = std::make_unique<RealClock>();
        else
            clock = std::make_unique<VirtualClock>(START);
    }

    std::unique_ptr<Clock> clock;
};

TEST_P(AnyClock, NewClock_IsAtItsStart)
{
    EXPECT_LE(0ms, clock->Now());
    EXPECT_GT(1min, clock->Now());
}

TEST_P(AnyClock, Nanoseconds_AreTheSameTimeMoreFinely)
{
    const std::chrono::milliseconds before = clock->Now();
    const auto exactly = std::chrono::duration_cast<std::chrono::milliseconds>(clock->NowExactly());
    const std::chrono::milliseconds after = clock->Now();
    EXPECT_LE(before, exactly);
    EXPECT_GE(after, exactly);
}

TEST_P(AnyClock, MovedToThePast_DoesNotGoBack)
{
    clock->MoveTo(5ms);
    const std::chrono::nanoseconds before = clock->NowExactly();
    clock->MoveTo(0ms);
    clock->MoveTo(-1000ms);
    EXPECT_LE(before, clock->NowExactly());
}

TEST_P(AnyClock, SteppedWall_MovesTheWallOnly)
{
    const std::int64_t wall = clock->LocalSeconds();
    clock->StepWall(-2h);
    EXPECT_LE(wall - 7200, clock->LocalSeconds());
    EXPECT_GT(wall - 7200 + 60, clock->LocalSeconds());
    clock->StepWall(2h + 1h);
    EXPECT_LE(wall + 3600, clock->LocalSeconds());
    EXPECT_GT(wall + 3600 + 60, clock->LocalSeconds());
    EXPECT_GT(1min, clock->Now());
}

INSTANTIATE_TEST_SUITE_P(Clocks, AnyClock, testing::Values(false, true),
                         [](const auto& which) { return which.param ? "Real" : "Virtual"; });

TEST(VirtualClock, StandsUntilItIsMoved)
{
    VirtualClock clock(START);
    EXPECT_EQ(0ms, clock.Now());
    EXPECT_EQ(0ns, clock.NowExactly());
    EXPECT_EQ(START, clock.LocalSeconds());
    clock.MoveTo(1999ms);
    EXPECT_EQ(1999ms, clock.Now());
    EXPECT_EQ(1999000000ns, clock.NowExactly());
    EXPECT_EQ(START + 1, clock.LocalSeconds());
}

TEST(VirtualClock, StartBefore1970_CountsOn)
{
    VirtualClock clock(-10);
    clock.MoveTo(11000ms);
    EXPECT_EQ(1, clock.LocalSeconds());
}

TEST(VirtualClock, EndOfTime_IsHeld)
{
    VirtualClock clock(0);
    clock.MoveTo(std::chrono::milliseconds::max());
    EXPECT_EQ(Clock::LATEST, clock.Now());
    EXPECT_EQ(std::chrono::nanoseconds(Clock::LATEST), clock.NowExactly());
}

TEST(RealClock, Present_NeverGoesBack)
{
    const RealClock clock;
    std::chrono::nanoseconds last = clock.NowExactly();
    for (int i = 0; i < 1000; ++i)
    {
        const std::chrono::nanoseconds now = clock.NowExactly();
        EXPECT_LE(last, now);
        last = now;
    }
}

std::chrono::nanoseconds sourceTime{};

TEST(RealClock, Source_IsCountedFromTheStart)
{
    sourceTime = 123456789ns;
    const RealClock clock(nullptr, [] { return sourceTime; });
    EXPECT_EQ(0ns, clock.NowExactly());
    sourceTime += 1999999ns;
    EXPECT_EQ(1999999ns, clock.NowExactly());
    EXPECT_EQ(1ms, clock.Now());
}

TEST(RealClock, WithoutAZone_ShowsTheTimeOfTheProcess)
{
    const char* before = std::getenv("TZ");
    const std::string zoneBefore = before ? before : "";
    ::setenv("TZ", "Asia/Tokyo", 1);
    ::tzset();
    EXPECT_NEAR(static_cast<double>(RealClock().LocalSeconds()),
                static_cast<double>(std::time(nullptr) + 9 * 3600), 1.0);
    if (before)
        ::setenv("TZ", zoneBefore.c_str(), 1);
    else
        ::unsetenv("TZ");
    ::tzset();
}

TEST(RealClock, MoveTo_DoesNotMoveIt)
{
    RealClock clock;
    clock.MoveTo(1h);
    EXPECT_GT(1h, clock.Now());
}
} // namespace

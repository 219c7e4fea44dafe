#include "embedded_host/Clock.h"

#include <cstdint>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

namespace
{
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
    EXPECT_LE(0, clock->NowMs());
    EXPECT_GT(60000, clock->NowMs());
}

TEST_P(AnyClock, Nanoseconds_AreTheSameTimeMoreFinely)
{
    const std::int64_t before = clock->NowMs();
    const std::int64_t ns = clock->NowNs();
    const std::int64_t after = clock->NowMs();
    EXPECT_LE(before, ns / 1000000);
    EXPECT_GE(after, ns / 1000000);
}

TEST_P(AnyClock, MovedToThePast_DoesNotGoBack)
{
    clock->MoveTo(5);
    const std::int64_t before = clock->NowNs();
    clock->MoveTo(0);
    clock->MoveTo(-1000);
    EXPECT_LE(before, clock->NowNs());
}

TEST_P(AnyClock, SteppedWall_MovesTheWallOnly)
{
    const std::int64_t wall = clock->LocalSeconds();
    clock->StepWall(-7200);
    EXPECT_LE(wall - 7200, clock->LocalSeconds());
    EXPECT_GT(wall - 7200 + 60, clock->LocalSeconds());
    clock->StepWall(7200 + 3600);
    EXPECT_LE(wall + 3600, clock->LocalSeconds());
    EXPECT_GT(wall + 3600 + 60, clock->LocalSeconds());
    EXPECT_GT(60000, clock->NowMs());
}

INSTANTIATE_TEST_SUITE_P(Clocks, AnyClock, testing::Values(false, true),
                         [](const auto& which) { return which.param ? "Real" : "Virtual"; });

TEST(VirtualClock, StandsUntilItIsMoved)
{
    VirtualClock clock(START);
    EXPECT_EQ(0, clock.NowMs());
    EXPECT_EQ(0, clock.NowNs());
    EXPECT_EQ(START, clock.LocalSeconds());
    clock.MoveTo(1999);
    EXPECT_EQ(1999, clock.NowMs());
    EXPECT_EQ(1999000000, clock.NowNs());
    EXPECT_EQ(START + 1, clock.LocalSeconds());
}

TEST(VirtualClock, StartBefore1970_CountsOn)
{
    VirtualClock clock(-10);
    clock.MoveTo(11000);
    EXPECT_EQ(1, clock.LocalSeconds());
}

TEST(VirtualClock, EndOfTime_IsHeld)
{
    VirtualClock clock(0);
    clock.MoveTo(std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(Clock::LATEST_MS, clock.NowMs());
    EXPECT_EQ(Clock::LATEST_MS * 1000000, clock.NowNs());
}

TEST(RealClock, Present_NeverGoesBack)
{
    const RealClock clock;
    std::int64_t last = clock.NowNs();
    for (int i = 0; i < 1000; ++i)
    {
        const std::int64_t now = clock.NowNs();
        EXPECT_LE(last, now);
        last = now;
    }
}

std::int64_t sourceNs = 0;

TEST(RealClock, Source_IsCountedFromTheStart)
{
    sourceNs = 123456789;
    const RealClock clock(nullptr, [] { return sourceNs; });
    EXPECT_EQ(0, clock.NowNs());
    sourceNs += 1999999;
    EXPECT_EQ(1999999, clock.NowNs());
    EXPECT_EQ(1, clock.NowMs());
}

TEST(RealClock, MoveTo_DoesNotMoveIt)
{
    RealClock clock;
    clock.MoveTo(3600000);
    EXPECT_GT(3600000, clock.NowMs());
}
} // namespace

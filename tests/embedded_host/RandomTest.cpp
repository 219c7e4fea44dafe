#include "embedded_host/Random.h"

#include <map>
#include <vector>

#include <climits>
#include <gtest/gtest.h>

namespace
{
using embedded_host::Draw;
using embedded_host::Random;

std::vector<int> Draws(Random random, int count)
{
    std::vector<int> drawn;
    for (int i = 0; i < count; ++i)
        drawn.push_back(random.Between(0, 1000000));
    return drawn;
}

TEST(Random, SameSeed_RepeatsTheDraws)
{
    EXPECT_EQ(Draws(Random(5, Draw::Random), 50), Draws(Random(5, Draw::Random), 50));
}

TEST(Random, OtherSeed_DrawsOtherwise)
{
    EXPECT_NE(Draws(Random(5, Draw::Random), 50), Draws(Random(6, Draw::Random), 50));
}

TEST(Random, EveryValueOfARange_ComesAboutEquallyOften)
{
    Random random(1, Draw::Random);
    std::map<int, int> seen;
    for (int i = 0; i < 6000; ++i)
        ++seen[random.Between(-2, 3)];
    ASSERT_EQ(6u, seen.size());
    EXPECT_EQ(-2, seen.begin()->first);
    EXPECT_EQ(3, seen.rbegin()->first);
    for (const auto& [value, times] : seen)
    {
        EXPECT_LT(850, times) << value;
        EXPECT_GT(1150, times) << value;
    }
}

TEST(Random, SingleRange_GivesItsOnlyNumber)
{
    for (const Draw draw : {Draw::Random, Draw::Low, Draw::High})
        EXPECT_EQ(7, Random(1, draw).Between(7, 7));
}

TEST(Random, EndsTheWrongWayRound_GiveTheFirstUnlessTheOtherIsAskedFor)
{
    EXPECT_EQ(7, Random(1, Draw::Random).Between(7, 6));
    EXPECT_EQ(7, Random(1, Draw::Low).Between(7, 6));
    EXPECT_EQ(6, Random(1, Draw::High).Between(7, 6));
    EXPECT_EQ(INT_MAX, Random(1, Draw::Random).Between(INT_MAX, INT_MIN));
}

TEST(Random, LowAndHigh_GiveTheEnds)
{
    Random low(1, Draw::Low);
    Random high(1, Draw::High);
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(-4, low.Between(-4, 9));
        EXPECT_EQ(9, high.Between(-4, 9));
    }
}

TEST(Random, WidestRange_IsDrawnFromOnBothSidesOfZero)
{
    Random random(1, Draw::Random);
    int negative = 0;
    for (int i = 0; i < 200; ++i)
        negative += random.Between(INT_MIN, INT_MAX) < 0 ? 1 : 0;
    EXPECT_LT(50, negative);
    EXPECT_GT(150, negative);
}
} // namespace

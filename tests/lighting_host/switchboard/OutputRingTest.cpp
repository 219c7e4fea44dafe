#include "lighting_host/switchboard/OutputRing.h"

#include <gtest/gtest.h>

using lighting_host::OutputRing;

namespace
{
OutputRing::Line Line(std::uint64_t seq, const std::string& text = "x")
{
    OutputRing::Line line;
    line.seq = seq;
    line.text = text;
    return line;
}
} // namespace

TEST(OutputRingTest, EmptyRing_HasGivenNoNumber)
{
    const OutputRing ring;
    EXPECT_EQ(ring.Last(), 0u);
    EXPECT_EQ(ring.First(), 1u);
}

TEST(OutputRingTest, MoreLinesThanItKeeps_OldestGo)
{
    OutputRing ring(3);
    for (std::uint64_t seq = 1; seq <= 5; ++seq)
        ring.Add(Line(seq, std::to_string(seq)));
    EXPECT_EQ(ring.First(), 3u);
    EXPECT_EQ(ring.Last(), 5u);
    EXPECT_EQ(ring.At(3).text, "3");
    EXPECT_EQ(ring.At(5).text, "5");
}

TEST(OutputRingTest, MoreOctetsThanItKeeps_OldestGo)
{
    OutputRing ring(100, 10);
    ring.Add(Line(1, "12345"));
    ring.Add(Line(2, "12345"));
    EXPECT_EQ(ring.First(), 1u);
    ring.Add(Line(3, "1"));
    EXPECT_EQ(ring.First(), 2u);
}

TEST(OutputRingTest, LineLongerThanAll_StaysAlone)
{
    OutputRing ring(100, 10);
    ring.Add(Line(1, "1"));
    ring.Add(Line(2, std::string(100, 'x')));
    EXPECT_EQ(ring.First(), 2u);
    EXPECT_EQ(ring.At(2).text.size(), 100u);
}

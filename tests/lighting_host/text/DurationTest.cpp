#include "lighting_host/text/Duration.h"

#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
struct Span
{
    const char* text;
    long long milliseconds;
};

class GoodDurationTest : public testing::TestWithParam<Span>
{
};

TEST_P(GoodDurationTest, IsReadAsMilliseconds)
{
    std::int64_t milliseconds = -1;
    ASSERT_TRUE(ParseDuration(GetParam().text, milliseconds)) << GetParam().text;
    EXPECT_EQ(milliseconds, GetParam().milliseconds) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Units, GoodDurationTest,
                         testing::Values(Span{"250ms", 250}, Span{"0", 0}, Span{"0h", 0},
                                         Span{"90", 90000}, Span{"90s", 90000}, Span{"5m", 300000},
                                         Span{"24h", 86400000}, Span{"30d", 2592000000},
                                         Span{"1.5s", 1500}, Span{".5m", 30000},
                                         Span{"0.25h", 900000}, Span{"1.h", 3600000},
                                         Span{"1h30m", 5400000}, Span{"1d1h1m1s1ms", 90061001},
                                         Span{"1.5h1s", 5401000}, Span{"36600d", 3162240000000}));

class BadDurationTest : public testing::TestWithParam<const char*>
{
};

TEST_P(BadDurationTest, IsRefusedAndLeavesTheTarget)
{
    std::int64_t milliseconds = 77;
    EXPECT_FALSE(ParseDuration(GetParam(), milliseconds)) << GetParam();
    EXPECT_EQ(milliseconds, 77);
}

INSTANTIATE_TEST_SUITE_P(Texts, BadDurationTest,
                         testing::Values("", "h", "ms", ".", "-1s", "+1s", " 1s", "1s ", "1 s",
                                         "1w", "1S", "1hm", "1h30", "30 1h", "30m1h", "1h1h",
                                         "1ms1s", "1.2.3s", "0x10s", "1e3s", "nan", "inf", "infd",
                                         "36601d", "99999999999999999999d", "24:00"));

TEST(DateAndTimeTest, LocalSeconds_AreADateAndATimeForAPerson)
{
    EXPECT_EQ(DateAndTime(0), "1970-01-01 00:00:00");
    EXPECT_EQ(DateAndTime(1767225600 + 86399), "2026-01-01 23:59:59");
    EXPECT_EQ(DateAndTime(-1), "1969-12-31 23:59:59");
}

TEST(DateAndTimeTest, TimeOfDay_IsWithoutTheDate)
{
    EXPECT_EQ(TimeOfDay(0), "00:00:00");
    EXPECT_EQ(TimeOfDay(1767225600 + 86399), "23:59:59");
}
} // namespace
} // namespace lighting_host

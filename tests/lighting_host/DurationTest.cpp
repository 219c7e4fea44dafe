#include "lighting_host/Duration.h"

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
                                         Span{"36600d", 3162240000000}));

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
                                         "1w", "1S", "1hm", "1h30m", "1.2.3s", "0x10s", "1e3s",
                                         "nan", "inf", "infd", "36601d", "99999999999999999999d",
                                         "24:00"));

struct Moment
{
    const char* text;
    long long seconds;
};

class GoodLocalTimeTest : public testing::TestWithParam<Moment>
{
};

TEST_P(GoodLocalTimeTest, IsReadAsSecondsOfThatWall)
{
    std::int64_t seconds = -1;
    ASSERT_TRUE(ParseLocalTime(GetParam().text, seconds)) << GetParam().text;
    EXPECT_EQ(seconds, GetParam().seconds) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Times, GoodLocalTimeTest,
    testing::Values(Moment{"1970-01-01T00:00:00", 0}, Moment{"1970-01-02", 86400},
                    Moment{"1970-01-01T00:01", 60}, Moment{"1970-01-01T23:59:59", 86399},
                    Moment{"2026-01-01T00:00:00", 1767225600},
                    Moment{"2024-02-29T12:00:00", 1709208000}, Moment{"1969-12-31T23:59:59", -1},
                    Moment{"2000-03-01", 951868800}));

class BadLocalTimeTest : public testing::TestWithParam<const char*>
{
};

TEST_P(BadLocalTimeTest, IsRefusedAndLeavesTheTarget)
{
    std::int64_t seconds = 77;
    EXPECT_FALSE(ParseLocalTime(GetParam(), seconds)) << GetParam();
    EXPECT_EQ(seconds, 77);
}

INSTANTIATE_TEST_SUITE_P(Texts, BadLocalTimeTest,
                         testing::Values("", "now", "12:00", "2026-13-01", "2026-00-01",
                                         "2026-01-32", "2026-02-29", "2026-04-31T00:00",
                                         "2026-01-01T24:00:00", "2026-01-01T00:60:00",
                                         "2026-01-01T00:00:60", "2026-01-01T00:00:00Z",
                                         "2026-01-01 00:00:00", "2026-01-01T00:00:00.5",
                                         "2026-01-01T", "2026-01", "01.01.2026"));

TEST(FormatLocalTimeTest, IsWrittenInFullWithMilliseconds)
{
    EXPECT_EQ(FormatLocalTime(0, 0), "1970-01-01 00:00:00.000");
    EXPECT_EQ(FormatLocalTime(1767225600 + 86399, 7), "2026-01-01 23:59:59.007");
    EXPECT_EQ(FormatLocalTime(-1, 999), "1969-12-31 23:59:59.999");
}
} // namespace
} // namespace lighting_host

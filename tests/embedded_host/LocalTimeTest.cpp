#include "embedded_host/LocalTime.h"

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using embedded_host::DayNumber;
using embedded_host::FormatLocalTime;
using embedded_host::LocalTimeError;
using embedded_host::ParseLocalTime;
using embedded_host::TimeZone;
using testing::HasSubstr;

namespace
{
std::string RefusalOf(const std::string& text)
{
    try
    {
        ParseLocalTime(text);
        return "taken";
    }
    catch (const LocalTimeError& error)
    {
        return error.what();
    }
}

std::string RefusalOfZone(const std::string& name)
{
    try
    {
        const TimeZone zone(name);
        return "taken";
    }
    catch (const LocalTimeError& error)
    {
        return error.what();
    }
}

// What the wall of a zone shows at that moment of UTC, and the moment at which it shows that.
std::string Wall(const TimeZone& zone, const std::string& utc)
{
    return FormatLocalTime(zone.ToLocal(ParseLocalTime(utc)));
}
std::string Moment(const TimeZone& zone, const std::string& wall)
{
    return FormatLocalTime(zone.ToUtc(ParseLocalTime(wall)));
}
} // namespace

// --- Text
// -----------------------------------------------------------------------------------------

TEST(LocalTimeText, KnownMoments_AreTheirSeconds)
{
    EXPECT_EQ(ParseLocalTime("1970-01-01T00:00:00"), 0);
    EXPECT_EQ(ParseLocalTime("1970-01-01T23:59:59"), 86399);
    EXPECT_EQ(ParseLocalTime("2000-02-29T12:34:56"), 951827696);
    EXPECT_EQ(ParseLocalTime("2026-01-01T00:00:00"), 1767225600);
    EXPECT_EQ(ParseLocalTime("2038-01-19T03:14:08"), 2147483648);
    EXPECT_EQ(ParseLocalTime("9999-12-31T23:59:59"), 253402300799);
}

TEST(LocalTimeText, LeapDays_ExistInLeapYearsOnly)
{
    EXPECT_EQ(ParseLocalTime("2024-03-01T00:00:00") - ParseLocalTime("2024-02-28T00:00:00"),
              2 * 86400);
    EXPECT_EQ(ParseLocalTime("2100-03-01T00:00:00") - ParseLocalTime("2100-02-28T00:00:00"), 86400);
    EXPECT_EQ(RefusalOf("2024-02-29T00:00:00"), "taken");
    EXPECT_EQ(RefusalOf("2000-02-29T00:00:00"), "taken");
    EXPECT_THAT(RefusalOf("2026-02-29T00:00:00"), HasSubstr("the month has no such day"));
    EXPECT_THAT(RefusalOf("2100-02-29T00:00:00"), HasSubstr("the month has no such day"));
}

TEST(LocalTimeText, OtherForms_AreRefused)
{
    for (const std::string text :
         {"", "2026-01-01", "2026-01-01 00:00:00", "2026-01-01T00:00", "2026-01-01T00:00:00Z",
          " 2026-01-01T00:00:00", "2026-01-01T00:00:00 ", "2026-1-01T000:00:00",
          "+026-01-01T00:00:00", "2026-01-01t00:00:00", "2026/01/01T00:00:00",
          "2026-01-01T00:00:0x", "20260-01-01T00:00:00", "2026-01-01T00:00:00.5", "now", "12:00",
          "2026-01", "2026-01-01T", "01.01.2026"})
        EXPECT_THAT(RefusalOf(text),
                    HasSubstr("\"" + text + "\" is no local time: it is not written as"));
}

TEST(LocalTimeText, DatesAndTimesThatDoNotExist_AreRefused)
{
    EXPECT_THAT(RefusalOf("1969-12-31T23:59:59"), HasSubstr("the year is before 1970"));
    EXPECT_THAT(RefusalOf("2026-00-01T00:00:00"), HasSubstr("there is no such month"));
    EXPECT_THAT(RefusalOf("2026-13-01T00:00:00"), HasSubstr("there is no such month"));
    EXPECT_THAT(RefusalOf("2026-01-00T00:00:00"), HasSubstr("the month has no such day"));
    EXPECT_THAT(RefusalOf("2026-04-31T00:00:00"), HasSubstr("the month has no such day"));
    EXPECT_THAT(RefusalOf("2026-01-01T24:00:00"), HasSubstr("the day has no such time"));
    EXPECT_THAT(RefusalOf("2026-01-01T00:60:00"), HasSubstr("the day has no such time"));
    EXPECT_THAT(RefusalOf("2026-01-01T00:00:60"), HasSubstr("the day has no such time"));
}

TEST(LocalTimeText, DayAfterTheLastOfEachMonth_IsRefused)
{
    for (const char* day : {"01-32", "02-29", "03-32", "04-31", "05-32", "06-31", "07-32", "08-32",
                            "09-31", "10-32", "11-31", "12-32"})
        EXPECT_THAT(RefusalOf(std::string("2026-") + day + "T00:00:00"),
                    HasSubstr("the month has no such day"));
}

TEST(LocalTimeText, AnyMoment_ReadsBackAsWritten)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < 10000; ++i)
    {
        const auto seconds = static_cast<std::int64_t>(random() % 253402300800ULL);
        ASSERT_EQ(ParseLocalTime(FormatLocalTime(seconds)), seconds);
    }
}

TEST(LocalTimeText, WrittenMoments_AreThoseOfTheCLibrary)
{
    std::mt19937_64 random(2);
    for (int i = 0; i < 10000; ++i)
    {
        const auto seconds = static_cast<std::time_t>(random() % 253402300800ULL);
        std::tm parts{};
        gmtime_r(&seconds, &parts);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
        ASSERT_EQ(FormatLocalTime(seconds), text);
    }
}

TEST(LocalTimeText, MomentsBefore1970_AreWrittenToo)
{
    EXPECT_EQ(FormatLocalTime(-1), "1969-12-31T23:59:59");
    EXPECT_EQ(FormatLocalTime(-86400 * 366), "1968-12-31T00:00:00");
}

TEST(LocalTimeDay, DayChangesAtMidnight)
{
    EXPECT_EQ(DayNumber(0), 0);
    EXPECT_EQ(DayNumber(86399), 0);
    EXPECT_EQ(DayNumber(86400), 1);
    EXPECT_EQ(DayNumber(-1), -1);
    EXPECT_EQ(DayNumber(-86400), -1);
    EXPECT_EQ(DayNumber(-86401), -2);
    EXPECT_EQ(DayNumber(ParseLocalTime("2026-01-01T00:00:00")), 20454);
}

// --- Zones
// ----------------------------------------------------------------------------------------

TEST(LocalTimeZone, Utc_ShowsWhatPasses)
{
    const TimeZone zone("UTC");
    EXPECT_EQ(Wall(zone, "2026-07-01T12:00:00"), "2026-07-01T12:00:00");
    EXPECT_EQ(Moment(zone, "2026-07-01T12:00:00"), "2026-07-01T12:00:00");
}

TEST(LocalTimeZone, Spring_WallJumpsAnHourForwards)
{
    const TimeZone zone("Europe/Berlin");
    EXPECT_EQ(Wall(zone, "2026-03-29T00:59:59"), "2026-03-29T01:59:59");
    EXPECT_EQ(Wall(zone, "2026-03-29T01:00:00"), "2026-03-29T03:00:00");
    EXPECT_EQ(Moment(zone, "2026-03-29T01:59:59"), "2026-03-29T00:59:59");
    EXPECT_EQ(Moment(zone, "2026-03-29T03:00:00"), "2026-03-29T01:00:00");
}

TEST(LocalTimeZone, WallTimeInTheGap_IsTheMomentOfTheJump)
{
    const TimeZone zone("Europe/Berlin");
    EXPECT_EQ(Moment(zone, "2026-03-29T02:00:00"), "2026-03-29T01:00:00");
    EXPECT_EQ(Moment(zone, "2026-03-29T02:59:59"), "2026-03-29T01:00:00");
}

TEST(LocalTimeZone, Autumn_WallShowsAnHourTwice)
{
    const TimeZone zone("Europe/Berlin");
    EXPECT_EQ(Wall(zone, "2026-10-25T00:30:00"), "2026-10-25T02:30:00");
    EXPECT_EQ(Wall(zone, "2026-10-25T00:59:59"), "2026-10-25T02:59:59");
    EXPECT_EQ(Wall(zone, "2026-10-25T01:00:00"), "2026-10-25T02:00:00");
    EXPECT_EQ(Wall(zone, "2026-10-25T01:30:00"), "2026-10-25T02:30:00");
    EXPECT_EQ(Moment(zone, "2026-10-25T02:30:00"), "2026-10-25T00:30:00");
    EXPECT_EQ(Moment(zone, "2026-10-25T03:00:00"), "2026-10-25T02:00:00");
}

TEST(LocalTimeZone, ZonesWithOddRules_AreTheirOwn)
{
    EXPECT_EQ(Wall(TimeZone("Asia/Kathmandu"), "2026-01-01T00:00:00"), "2026-01-01T05:45:00");
    EXPECT_EQ(Wall(TimeZone("America/New_York"), "2026-07-01T00:00:00"), "2026-06-30T20:00:00");
    // Half an hour of daylight saving, in the southern summer.
    const TimeZone island("Australia/Lord_Howe");
    EXPECT_EQ(Wall(island, "2026-01-01T00:00:00"), "2026-01-01T11:00:00");
    EXPECT_EQ(Wall(island, "2026-07-01T00:00:00"), "2026-07-01T10:30:00");
    // A day that was left out.
    const TimeZone samoa("Pacific/Apia");
    EXPECT_EQ(Wall(samoa, "2011-12-30T09:59:59"), "2011-12-29T23:59:59");
    EXPECT_EQ(Wall(samoa, "2011-12-30T10:00:00"), "2011-12-31T00:00:00");
}

TEST(LocalTimeZone, LaterDecades_KeepTheRules)
{
    const TimeZone zone("Europe/Berlin");
    EXPECT_EQ(Wall(zone, "2060-07-01T12:00:00"), "2060-07-01T14:00:00");
    EXPECT_EQ(Wall(zone, "2060-12-01T12:00:00"), "2060-12-01T13:00:00");
    EXPECT_EQ(Wall(zone, "2199-07-01T12:00:00"), "2199-07-01T14:00:00");
    EXPECT_EQ(Wall(zone, "2199-12-01T12:00:00"), "2199-12-01T13:00:00");
}

TEST(LocalTimeZone, AnyMoment_IsFoundAgainOutsideTheDoubledHour)
{
    const TimeZone zone("America/New_York");
    std::mt19937_64 random(3);
    int doubled = 0;
    for (int i = 0; i < 20000; ++i)
    {
        const auto moment = static_cast<std::int64_t>(random() % 4102444800ULL);
        const std::int64_t back = zone.ToUtc(zone.ToLocal(moment));
        if (back != moment)
        {
            ASSERT_EQ(moment - back, 3600);
            ASSERT_EQ(zone.ToLocal(back), zone.ToLocal(moment));
            ++doubled;
        }
    }
    EXPECT_LT(doubled, 20);
}

TEST(LocalTimeZone, MakingAZone_LeavesTheProcessInItsOwn)
{
    const char* before = std::getenv("TZ");
    const std::string zoneBefore = before ? before : "none";
    const std::time_t moment = 1782900000;
    std::tm first{};
    localtime_r(&moment, &first);
    const TimeZone zone("Pacific/Kiritimati");
    std::tm second{};
    localtime_r(&moment, &second);
    const char* after = std::getenv("TZ");
    EXPECT_EQ(after ? after : "none", zoneBefore);
    EXPECT_EQ(first.tm_gmtoff, second.tm_gmtoff);
}

TEST(LocalTimeZone, MakingAZone_LeavesAProcessThatHasAZoneInIt)
{
    const char* before = std::getenv("TZ");
    const std::string zoneBefore = before ? before : "";
    ::setenv("TZ", "Asia/Tokyo", 1);
    const TimeZone zone("Pacific/Kiritimati");
    const char* after = std::getenv("TZ");
    EXPECT_STREQ(after, "Asia/Tokyo");
    if (before)
        ::setenv("TZ", zoneBefore.c_str(), 1);
    else
        ::unsetenv("TZ");
    ::tzset();
}

TEST(LocalTimeZone, NamesThatNoZoneHas_AreRefused)
{
    for (const std::string name : {"Europe/Atlantis", "Europe", "zone.tab", "europe/berlin "})
        EXPECT_THAT(RefusalOfZone(name), HasSubstr("there is no time zone \"" + name +
                                                   "\": the zone database does not have it"));
    for (const std::string name : {"", "/etc/localtime", "../zoneinfo/UTC"})
        EXPECT_THAT(RefusalOfZone(name), HasSubstr("that is no zone's name"));
}

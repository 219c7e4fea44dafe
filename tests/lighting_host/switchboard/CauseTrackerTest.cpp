#include "lighting_host/switchboard/CauseTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::HasSubstr;

namespace
{
constexpr unsigned LAMP_TIMER = 7;
constexpr unsigned OTHER_TIMER = 8;
} // namespace

class CauseTrackerTest : public testing::Test
{
protected:
    // The present cause puts something out: its line gets that number.
    void Write(std::uint64_t seq) { m_tracker.Current().seq = seq; }

    CauseTracker m_tracker;
};

TEST_F(CauseTrackerTest, Start_IsACauseWithoutALine)
{
    EXPECT_STREQ(m_tracker.Current().kind, "start");
    EXPECT_EQ(m_tracker.Current().Number(), 0u);
}

TEST_F(CauseTrackerTest, InputOfAVisitor_NamesTheVisitorAndItsLine)
{
    m_tracker.BeginInput("desk", R"({"driver":"hall","condition":"ON"})", 5);
    EXPECT_STREQ(m_tracker.Current().kind, "visitor");
    EXPECT_THAT(m_tracker.Current().members, HasSubstr("\"visitor\":\"desk\""));
    EXPECT_THAT(m_tracker.Current().members, HasSubstr("\"condition\":\"ON\""));
}

TEST_F(CauseTrackerTest, TimerThatFires_IsLedByWhatStartedIt)
{
    m_tracker.BeginInput("desk", "{}", 5);
    Write(3);
    m_tracker.OnTimerAdded(LAMP_TIMER, 105, 5);
    m_tracker.BeginInput("other", "{}", 50);
    Write(4);
    m_tracker.OnTimerFires(LAMP_TIMER, false, 105);
    EXPECT_STREQ(m_tracker.Current().kind, "timer");
    EXPECT_EQ(m_tracker.Current().of, 3u);
    EXPECT_EQ(m_tracker.FiredTimers(), 1u);
}

TEST_F(CauseTrackerTest, CauseWithoutALine_StandsForWhatLedToIt)
{
    m_tracker.BeginInput("desk", "{}", 5);
    Write(3);
    m_tracker.OnTimerAdded(LAMP_TIMER, 105, 5);
    m_tracker.OnTimerFires(LAMP_TIMER, false, 105);
    // It put nothing out, but started another.
    m_tracker.OnTimerAdded(OTHER_TIMER, 205, 105);
    m_tracker.OnTimerFires(OTHER_TIMER, false, 205);
    EXPECT_EQ(m_tracker.Current().of, 3u);
}

TEST_F(CauseTrackerTest, OutstandingTimers_AreFoundUntilTheyFireOrAreKilled)
{
    m_tracker.OnTimerAdded(LAMP_TIMER, 300, 0);
    m_tracker.OnTimerAdded(OTHER_TIMER, 200, 0);
    EXPECT_EQ(m_tracker.NextDueMs(), 200);
    m_tracker.OnTimerKilled(OTHER_TIMER, 100);
    std::int64_t startedMs = -1;
    std::int64_t dueMs = -1;
    EXPECT_FALSE(m_tracker.FindTimer(OTHER_TIMER, startedMs, dueMs));
    ASSERT_TRUE(m_tracker.FindTimer(LAMP_TIMER, startedMs, dueMs));
    EXPECT_EQ(dueMs, 300);
    m_tracker.OnTimerFires(LAMP_TIMER, false, 300);
    EXPECT_EQ(m_tracker.OutstandingTimers(), 0u);
    EXPECT_EQ(m_tracker.NextDueMs(), -1);
}

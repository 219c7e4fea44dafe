#include "test_kit/Matchers.h"

#include <gtest/gtest.h>

using namespace test_kit;
using testing::Not;

namespace
{
// What a driver might have caused.
class MatchersTest : public testing::Test
{
protected:
    Lines m_lines = {"mib 4 nx.dmx.led 00 05", "event 6001", "variable set 2000 'Pushes' '1'",
                     "event 7001", "zcl add_group endpoint=1 group=5"};
    Caused m_caused{m_lines};
};
} // namespace

TEST_F(MatchersTest, EventsInTheirOrder_AreMetAndTakenOut)
{
    EXPECT_THAT(m_caused, FiredInOrder(6001, 7001));
    EXPECT_THAT(m_lines,
                testing::ElementsAre("mib 4 nx.dmx.led 00 05", "variable set 2000 'Pushes' '1'",
                                     "zcl add_group endpoint=1 group=5"));
}

TEST_F(MatchersTest, EventsInAnotherOrderOrNumber_AreNotMetAndStay)
{
    EXPECT_THAT(m_caused, Not(FiredInOrder(7001, 6001)));
    EXPECT_THAT(m_caused, Not(FiredInOrder(6001)));
    EXPECT_THAT(m_caused, Not(FiredInOrder(6001, 7001, 7001)));
    EXPECT_THAT(m_caused, Not(FiredInOrder()));
    EXPECT_EQ(5u, m_lines.size());
}

TEST_F(MatchersTest, Packet_IsMetByItsIdOrWithItsParameters)
{
    EXPECT_THAT(m_caused, Not(Sent("nx.dmx.le")));
    EXPECT_THAT(m_caused, Not(Sent("nx.dmx.led", "00 06")));
    EXPECT_THAT(m_caused, Sent("nx.dmx.led", "00 05"));
    EXPECT_THAT(m_caused, Not(Sent("nx.dmx.led")));
}

TEST_F(MatchersTest, VariableEventAndZcl_AreMetOnce)
{
    EXPECT_THAT(m_caused, Not(SetVariable(2000, "11")));
    EXPECT_THAT(m_caused, Not(SetVariable(200, "1")));
    EXPECT_THAT(m_caused, SetVariable(2000, "1"));
    EXPECT_THAT(m_caused, Fired(7001));
    EXPECT_THAT(m_caused, Not(Fired(7001)));
    EXPECT_THAT(m_caused, SentZcl("add_group", "endpoint=1 group=5"));
    EXPECT_THAT(m_caused, Not(SentZcl("add_group")));
}

TEST_F(MatchersTest, NothingElse_HoldsOnlyWhenAllWasLookedAt)
{
    EXPECT_THAT(m_caused, Not(NothingElse()));
    EXPECT_THAT(m_caused, Sent("nx.dmx.led"));
    EXPECT_THAT(m_caused, FiredInOrder(6001, 7001));
    EXPECT_THAT(m_caused, SetVariable(2000, "1"));
    EXPECT_THAT(m_caused, Not(NothingElse()));
    EXPECT_THAT(m_caused, SentZcl("add_group"));
    EXPECT_THAT(m_caused, NothingElse());
}

TEST_F(MatchersTest, SentenceThatDoesNotHold_TellsWhatItWantedAndWhatIsThere)
{
    testing::StringMatchResultListener why;
    const testing::Matcher<const Caused&> matcher = FiredInOrder(1, 2);
    EXPECT_FALSE(matcher.MatchAndExplain(m_caused, &why));
    EXPECT_EQ("fired exactly these events in this order: \"event 1\", \"event 2\"",
              testing::DescribeMatcher<const Caused&>(matcher));
    EXPECT_EQ("set the variable 2000 to \"1\"",
              testing::DescribeMatcher<const Caused&>(SetVariable(2000, "1")));
    EXPECT_THAT(testing::PrintToString(m_caused), testing::HasSubstr("\n    event 7001"));
}

#include "simulated_devices/PuckModule.h"

#include "simulated_devices/PuckModuleFaults.h"
#include "tests/simulated_devices/TestWorld.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

using namespace std::chrono_literals;
using namespace simulated;
using simulated_test::TestWorld;

namespace
{
using Lines = std::vector<std::string>;
using Params = std::vector<std::string>;
const Lines NOTHING;

constexpr int QUERY = 2;
constexpr int INVOKE = 3;
constexpr int SET = 4;

constexpr int CONTACT_0 = 7;
constexpr int CONTACT_1 = 8;
constexpr int BUTTON_0 = 1;
constexpr int BUTTON_2 = 3;

Lines TakeMibs(TestWorld& world)
{
    Lines all;
    for (std::string next = world.NextMib(); next != "nothing"; next = world.NextMib())
        all.push_back(next);
    return all;
}

Lines TakeTold(TestWorld& world)
{
    Lines all;
    for (std::string next = world.NextTold(); next != "nothing"; next = world.NextTold())
        all.push_back(next);
    return all;
}

// A module with three snap-on buttons and the usual hold interval of 500 ms.
class PuckModuleTest : public testing::Test
{
protected:
    TestWorld world;
    PuckModule module{world, 3};

    void Tell(int type, const std::string& mib, const Params& params)
    {
        module.OnMib({type, mib, params});
    }
    Lines Sent() { return TakeMibs(world); }
    Lines SentWithin(std::chrono::milliseconds time)
    {
        world.Advance(time);
        return Sent();
    }
    void TearDown() override { TakeTold(world); }

    template <class Fault, class... Arguments>
    void AddFault(Arguments... arguments)
    {
        module.AddFault(std::make_unique<Fault>(arguments...));
    }
};
} // namespace

// --- What it is told ----------------------------------------------------------------------------

TEST_F(PuckModuleTest, HoldTimeQuery_IsAnsweredALittleLater)
{
    Tell(QUERY, "nx.dmx.bmc", {"01"});
    EXPECT_EQ(SentWithin(9ms), NOTHING);
    EXPECT_EQ(SentWithin(1ms), Lines({"0 nx.dmx.bmc 000001f4"}));
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, HoldTimeQueryOfAModuleWithoutHoldReports_IsAnsweredWithZero)
{
    PuckModule without(world, 0, 0ms);
    without.OnMib({QUERY, "nx.dmx.bmc", {"01"}});
    EXPECT_EQ(SentWithin(10ms), Lines({"0 nx.dmx.bmc 00000000"}));
}

TEST_F(PuckModuleTest, BehaviorOfAContact_IsKeptByItsDeviceNumber)
{
    Tell(SET, "nx.dmx.btn", {"08", "01", "05"});
    EXPECT_EQ(module.Settings().contacts[1].behavior, 5);
    EXPECT_EQ(module.Settings().contacts[0].behavior, 2);
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, SettingsOfAButton_AreKeptByItsPlace)
{
    Tell(SET, "nx.dmx.btn", {"02", "00", "01"});
    Tell(SET, "nx.dmx.btn", {"02", "01", "04"});
    Tell(SET, "nx.dmx.btn", {"02", "02", "00"});
    Tell(SET, "nx.dmx.btn", {"02", "03", "111111"});
    Tell(SET, "nx.dmx.btn", {"02", "04", "222222"});
    Tell(SET, "nx.dmx.btn", {"02", "05", "333333"});
    const PuckSettings::Button& button = module.Settings().buttons[2];
    EXPECT_EQ(button.state, 1);
    EXPECT_EQ(button.behavior, 4);
    EXPECT_FALSE(button.localLed);
    EXPECT_EQ(button.colors[0] + button.colors[1] + button.colors[2], "111111222222333333");
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, LedSettingsOfAContact_AreKeptByItsIndex)
{
    Tell(SET, "nx.dmx.led", {"01", "01", "02"});
    Tell(SET, "nx.dmx.led", {"01", "00", "08"});
    Tell(SET, "nx.dmx.led", {"01", "02", "00"});
    Tell(SET, "nx.dmx.led", {"01", "03", "00ff00"});
    Tell(SET, "nx.dmx.led", {"01", "04", "0000ff"});
    Tell(SET, "nx.dmx.led", {"01", "05", "ff0000"});
    const PuckSettings::Contact& contact = module.Settings().contacts[1];
    EXPECT_EQ(contact.led, (std::array<int, 3>{8, 2, 0}));
    EXPECT_EQ(contact.colors[0] + contact.colors[1] + contact.colors[2], "00ff000000ffff0000");
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, RemoteActions_MoveTheLoadAtItsTargets)
{
    Tell(INVOKE, "nx.dmx.rbp", {"0000000d", "00000001"});
    EXPECT_TRUE(module.LoadIsOn());
    Tell(INVOKE, "nx.dmx.rbp", {"0000000d", "00000000"});
    EXPECT_TRUE(module.LoadIsOn());
    Tell(INVOKE, "nx.dmx.rbp", {"0000000e", "00000002"});
    EXPECT_FALSE(module.LoadIsOn());
    Tell(INVOKE, "nx.dmx.rbp", {"0000000f", "00000002"});
    EXPECT_TRUE(module.LoadIsOn());
    Tell(INVOKE, "nx.dmx.rbp", {"0000000f", "00000000"});
    EXPECT_TRUE(module.LoadIsOn());
    Tell(INVOKE, "nx.dmx.rbp", {"0000000f", "00000001"});
    EXPECT_FALSE(module.LoadIsOn());
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, WhatMakesNoSense_IsCountedAndChangesNothing)
{
    const wire::MibMessage rows[] = {
        {QUERY, "nx.dmx.bmc", {}},
        {QUERY, "nx.dmx.bmc", {"02"}},
        {QUERY, "nx.dmx.bmc", {"1"}},
        {SET, "nx.dmx.bmc", {"01"}},
        {SET, "nx.dmx.btn", {"08", "01"}},
        {SET, "nx.dmx.btn", {"08", "01", "05", "00"}},
        {SET, "nx.dmx.btn", {"08", "00", "01"}},
        {SET, "nx.dmx.btn", {"08", "01", "5"}},
        {SET, "nx.dmx.btn", {"09", "01", "05"}},
        {SET, "nx.dmx.btn", {"03", "01", "05"}},
        {SET, "nx.dmx.btn", {"06", "01", "05"}},
        {SET, "nx.dmx.btn", {"00", "06", "05"}},
        {SET, "nx.dmx.btn", {"00", "03", "12345"}},
        {SET, "nx.dmx.btn", {"00", "03", "12345G"}},
        {SET, "nx.dmx.btn", {"00000000", "01", "05"}},
        {INVOKE, "nx.dmx.btn", {"00", "01", "05"}},
        {SET, "nx.dmx.led", {"02", "01", "02"}},
        {SET, "nx.dmx.led", {"00", "06", "ffffff"}},
        {SET, "nx.dmx.led", {"00", "01", "ffffff"}},
        {SET, "nx.dmx.led", {"00", "ff", "ffffff"}},
        {INVOKE, "nx.dmx.rbp", {"0000000c", "00000001"}},
        {INVOKE, "nx.dmx.rbp", {"00000010", "00000001"}},
        {INVOKE, "nx.dmx.rbp", {"0000000f", "00000003"}},
        {INVOKE, "nx.dmx.rbp", {"0f", "01"}},
        {INVOKE, "nx.dmx.rbp", {"ffffffff", "00000001"}},
        {INVOKE, "nx.dmx.other", {}},
    };
    unsigned count = 0;
    for (const wire::MibMessage& row : rows)
    {
        module.OnMib(row);
        EXPECT_EQ(module.NotUnderstood(), ++count) << row.mib;
    }
    EXPECT_EQ(SentWithin(1000ms), NOTHING);
    EXPECT_FALSE(module.LoadIsOn());
    EXPECT_EQ(module.Settings().buttons[0].behavior, 2);
    EXPECT_EQ(module.Settings().contacts[1].behavior, 2);
}

RC_GTEST_FIXTURE_PROP(PuckModuleTest, AnyMessage_LeavesTheModuleWorking, ())
{
    const auto mib =
        *rc::gen::element<std::string>("nx.dmx.bmc", "nx.dmx.btn", "nx.dmx.led", "nx.dmx.rbp", "");
    const auto digits = rc::gen::container<std::string>(rc::gen::elementOf(std::string("012f7x ")));
    const auto params = *rc::gen::container<Params>(
        rc::gen::oneOf(digits, rc::gen::element<std::string>("00", "01", "07", "08", "ff", "ffffff",
                                                             "0000000f", "00000001")));
    module.OnMib({*rc::gen::inRange(-1, 6), mib, params});
    world.Advance(20ms);
    TakeMibs(world);
    module.Push(CONTACT_0);
    RC_ASSERT(module.IsPushed(CONTACT_0));
    TakeMibs(world);
    TakeTold(world);
}

// --- What people do -----------------------------------------------------------------------------

TEST_F(PuckModuleTest, ShortPush_IsReportedAsPushClickAndTheirNumber)
{
    module.Push(CONTACT_0);
    EXPECT_EQ(Sent(), Lines({"1 nx.dmx.bp 00000007"}));
    world.Advance(100ms);
    module.Release(CONTACT_0);
    EXPECT_EQ(Sent(), Lines({"1 nx.dmx.sc 00000007"}));
    EXPECT_EQ(SentWithin(349ms), NOTHING);
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.cc 00000007 00000001"}));
    EXPECT_EQ(SentWithin(10000ms), NOTHING);
}

TEST_F(PuckModuleTest, Clicks_AreCountedTogether)
{
    module.Click(CONTACT_1, 3);
    EXPECT_EQ(SentWithin(1000ms),
              Lines({"1 nx.dmx.bp 00000008", "1 nx.dmx.sc 00000008", "1 nx.dmx.bp 00000008",
                     "1 nx.dmx.sc 00000008", "1 nx.dmx.bp 00000008", "1 nx.dmx.sc 00000008",
                     "1 nx.dmx.cc 00000008 00000003"}));
}

TEST_F(PuckModuleTest, ClicksFarApart_AreCountedApart)
{
    module.Click(CONTACT_1);
    world.Advance(1000ms);
    module.Click(CONTACT_1);
    world.Advance(1000ms);
    const Lines sent = Sent();
    ASSERT_EQ(sent.size(), 6u);
    EXPECT_EQ(sent[2], "1 nx.dmx.cc 00000008 00000001");
    EXPECT_EQ(sent[5], "1 nx.dmx.cc 00000008 00000001");
}

TEST_F(PuckModuleTest, LongPush_IsReportedAgainAndAgainUntilItsEnd)
{
    module.Hold(CONTACT_0, 1600ms);
    EXPECT_EQ(SentWithin(499ms), Lines({"1 nx.dmx.bp 00000007"}));
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.hb 00000007"}));
    EXPECT_EQ(SentWithin(1000ms), Lines({"1 nx.dmx.hc 00000007", "1 nx.dmx.hc 00000007"}));
    EXPECT_EQ(SentWithin(100ms), Lines({"1 nx.dmx.he 00000007"}));
    EXPECT_EQ(SentWithin(10000ms), NOTHING);
}

TEST_F(PuckModuleTest, SnapOnButton_ReportsItsOwnNumber)
{
    module.Click(BUTTON_2);
    EXPECT_EQ(SentWithin(1000ms), Lines({"1 nx.dmx.bp 00000003", "1 nx.dmx.sc 00000003",
                                         "1 nx.dmx.cc 00000003 00000001"}));
}

TEST_F(PuckModuleTest, WithoutHoldInterval_ALongPushEndsAsAClick)
{
    PuckModule without(world, 0, 0ms);
    without.Hold(CONTACT_0, 60000ms);
    EXPECT_EQ(SentWithin(60000ms), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.sc 00000007"}));
    EXPECT_EQ(SentWithin(350ms), Lines({"1 nx.dmx.cc 00000007 00000001"}));
}

TEST_F(PuckModuleTest, BehaviorsFourAndFive_ReportClicksOnly)
{
    for (const char* behavior : {"04", "05"})
    {
        Tell(SET, "nx.dmx.btn", {"07", "01", behavior});
        module.Hold(CONTACT_0, 2000ms);
        EXPECT_EQ(SentWithin(5000ms),
                  Lines({"1 nx.dmx.sc 00000007", "1 nx.dmx.cc 00000007 00000001"}));
    }
}

TEST_F(PuckModuleTest, BehaviorChangedWhilePushed_EndsTheHoldReports)
{
    module.Push(CONTACT_0);
    world.Advance(600ms);
    Tell(SET, "nx.dmx.btn", {"07", "01", "04"});
    module.Release(CONTACT_0);
    EXPECT_EQ(Sent(), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.hb 00000007"}));
    EXPECT_EQ(SentWithin(5000ms), NOTHING);
}

TEST_F(PuckModuleTest, PushingWhatIsPushedAndReleasingWhatIsNot_DoNothing)
{
    module.Release(CONTACT_0);
    module.Push(CONTACT_0);
    module.Push(CONTACT_0);
    EXPECT_EQ(Sent(), Lines({"1 nx.dmx.bp 00000007"}));
    EXPECT_EQ(TakeTold(world), Lines({"pushes contact 0"}));
}

TEST_F(PuckModuleTest, NumbersThatAreNotThere_AreIgnored)
{
    for (const int number : {-1, 0, 4, 6, 9, 1000})
    {
        module.Push(number);
        module.Release(number);
        module.Click(number, 2);
        module.Hold(number, 10ms);
        EXPECT_FALSE(module.IsPushed(number));
    }
    module.Click(CONTACT_0, 0);
    EXPECT_EQ(SentWithin(1000ms), NOTHING);
    EXPECT_EQ(TakeTold(world), NOTHING);
}

TEST_F(PuckModuleTest, MoreThanSixButtons_AreSix)
{
    PuckModule many(world, 100);
    many.Push(6);
    many.Push(CONTACT_0);
    EXPECT_TRUE(many.IsPushed(6));
    EXPECT_EQ(Sent(), Lines({"1 nx.dmx.bp 00000006", "1 nx.dmx.bp 00000007"}));
    EXPECT_EQ(many.ButtonLed(6), "");
}

TEST_F(PuckModuleTest, People_AreToldOf)
{
    module.Click(BUTTON_0);
    world.Advance(80ms);
    module.Push(CONTACT_1);
    Sent();
    EXPECT_EQ(TakeTold(world), Lines({"pushes button 0", "releases button 0", "pushes contact 1"}));
}

TEST_F(PuckModuleTest, PushesMoveTheLoadByBehavior)
{
    const std::pair<const char*, std::vector<bool>> rows[] = {
        {"00", {true, true}},   {"01", {false, false}}, {"02", {true, false}},
        {"03", {false, false}}, {"04", {true, false}},  {"05", {false, false}}};
    for (const auto& row : rows)
    {
        Tell(INVOKE, "nx.dmx.rbp", {"0000000e", "00000001"});
        Tell(SET, "nx.dmx.btn", {"07", "01", row.first});
        for (const bool on : row.second)
        {
            module.Click(CONTACT_0);
            world.Advance(1000ms);
            EXPECT_EQ(module.LoadIsOn(), on) << row.first;
        }
    }
    Sent();
}

TEST_F(PuckModuleTest, APersonWhoPlays_DoesOneThingAfterThePauses)
{
    module.LetAPersonPlay(5000ms, 9000ms);
    EXPECT_EQ(SentWithin(4999ms), NOTHING);
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.bp 00000007"}));
    EXPECT_EQ(world.Draws()[0], std::make_pair(5000, 9000));
    EXPECT_EQ(world.Draws()[1], std::make_pair(0, 4));
    world.DrawHigh(true);
    EXPECT_EQ(SentWithin(4999ms).back(), "1 nx.dmx.he 00000007");
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.bp 00000003"}));
}

TEST_F(PuckModuleTest, APersonWithoutPauses_LeavesTimeToPass)
{
    module.LetAPersonPlay(0ms, 0ms);
    world.Advance(10ms);
    EXPECT_FALSE(Sent().empty());
}

// --- LEDs and power -----------------------------------------------------------------------------

TEST_F(PuckModuleTest, ContactLed_ShowsWhatDrivesIt)
{
    EXPECT_EQ(module.ContactLed(0), "000000");
    Tell(INVOKE, "nx.dmx.rbp", {"0000000d", "00000001"});
    EXPECT_EQ(module.ContactLed(0), "ffffff");
    Tell(SET, "nx.dmx.led", {"00", "01", "02"});
    Tell(SET, "nx.dmx.led", {"00", "00", "07"});
    EXPECT_EQ(module.ContactLed(0), "000000");
    module.Push(CONTACT_0);
    EXPECT_EQ(module.ContactLed(0), "ffffff");
    Tell(SET, "nx.dmx.led", {"00", "01", "04"});
    Tell(SET, "nx.dmx.led", {"00", "05", "123456"});
    EXPECT_EQ(module.ContactLed(0), "123456");
    EXPECT_EQ(module.ContactLed(2), "");
    Sent();
}

TEST_F(PuckModuleTest, ButtonLed_ShowsItsStateOrTheControllersColor)
{
    EXPECT_EQ(module.ButtonLed(1), "0000b0");
    Tell(SET, "nx.dmx.btn", {"01", "00", "01"});
    EXPECT_EQ(module.ButtonLed(1), "b00000");
    Tell(SET, "nx.dmx.btn", {"01", "02", "00"});
    Tell(SET, "nx.dmx.btn", {"01", "05", "00ff00"});
    EXPECT_EQ(module.ButtonLed(1), "00ff00");
    EXPECT_EQ(module.ButtonLed(3), "");
}

TEST_F(PuckModuleTest, PowerFailure_EndsAPushAndKeepsTheSettings)
{
    Tell(SET, "nx.dmx.btn", {"07", "01", "03"});
    module.Hold(CONTACT_0, 10000ms);
    Sent();
    module.OnPowerOn();
    EXPECT_FALSE(module.IsPushed(CONTACT_0));
    EXPECT_EQ(module.Settings().contacts[0].behavior, 3);
    EXPECT_EQ(SentWithin(20000ms), NOTHING);
}

TEST_F(PuckModuleTest, PowerFailure_LosesAnAnswerButNotThePerson)
{
    Tell(QUERY, "nx.dmx.bmc", {"01"});
    module.LetAPersonPlay(5000ms, 5000ms);
    module.OnPowerOn();
    EXPECT_EQ(SentWithin(4999ms), NOTHING);
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.bp 00000007"}));
}

TEST(PuckModuleEnd, AModuleThatIsGone_SendsNothingMore)
{
    TestWorld world;
    {
        PuckModule module(world, 0);
        module.Hold(CONTACT_0, 100ms);
        TakeMibs(world);
        TakeTold(world);
    }
    world.Advance(1000ms);
    EXPECT_EQ(TakeMibs(world), NOTHING);
}

// --- Faults -------------------------------------------------------------------------------------

TEST_F(PuckModuleTest, LosesMessages_EveryNthNeverLeaves)
{
    AddFault<Loses<PuckModuleFault>>(2);
    module.Click(CONTACT_0);
    EXPECT_EQ(SentWithin(1000ms), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.cc 00000007 00000001"}));
}

TEST_F(PuckModuleTest, LosesMessages_OfOneIsAllAndOfZeroIsNone)
{
    AddFault<Loses<PuckModuleFault>>(0);
    module.Click(CONTACT_0);
    EXPECT_EQ(SentWithin(1000ms).size(), 3u);
    AddFault<Loses<PuckModuleFault>>(1);
    module.Click(CONTACT_0);
    EXPECT_EQ(SentWithin(1000ms), NOTHING);
}

TEST_F(PuckModuleTest, SendsLate_EveryNthComesAfterLaterOnes)
{
    AddFault<Delays<PuckModuleFault>>(2, 1000ms);
    module.Click(CONTACT_0);
    EXPECT_EQ(SentWithin(1079ms), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.cc 00000007 00000001"}));
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.sc 00000007"}));
}

TEST_F(PuckModuleTest, RepeatsMessages_EveryNthComesTwice)
{
    AddFault<Repeats<PuckModuleFault>>(1, 20ms);
    module.Push(CONTACT_0);
    EXPECT_EQ(SentWithin(19ms), Lines({"1 nx.dmx.bp 00000007"}));
    EXPECT_EQ(SentWithin(1ms), Lines({"1 nx.dmx.bp 00000007"}));
}

TEST_F(PuckModuleTest, LosesReleases_LeavesAPushWithoutAnEnd)
{
    AddFault<LosesReleases>();
    module.Hold(CONTACT_0, 600ms);
    EXPECT_EQ(SentWithin(5000ms), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.hb 00000007"}));
    module.Click(CONTACT_0);
    EXPECT_EQ(SentWithin(5000ms), Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.cc 00000007 00000001"}));
}

TEST_F(PuckModuleTest, Chatters_FollowsAPushWithMore)
{
    AddFault<Chatters>(2);
    module.Push(CONTACT_0);
    EXPECT_EQ(SentWithin(100ms),
              Lines({"1 nx.dmx.bp 00000007", "1 nx.dmx.he 00000007", "1 nx.dmx.bp 00000007",
                     "1 nx.dmx.he 00000007", "1 nx.dmx.bp 00000007"}));
}

TEST_F(PuckModuleTest, HearsBadly_MissesEveryNth)
{
    AddFault<HearsBadly<PuckModuleFault>>(2);
    Tell(SET, "nx.dmx.btn", {"07", "01", "03"});
    Tell(SET, "nx.dmx.btn", {"08", "01", "03"});
    EXPECT_EQ(module.Settings().contacts[0].behavior, 3);
    EXPECT_EQ(module.Settings().contacts[1].behavior, 2);
    EXPECT_EQ(module.NotUnderstood(), 0u);
}

TEST_F(PuckModuleTest, ForgetsSettings_ComesBackAsFromTheFactory)
{
    Tell(SET, "nx.dmx.btn", {"07", "01", "03"});
    AddFault<Forgets<PuckModuleFault>>();
    EXPECT_EQ(module.Settings().contacts[0].behavior, 3);
    module.OnPowerOn();
    EXPECT_EQ(module.Settings().contacts[0].behavior, 2);
}

TEST_F(PuckModuleTest, Faults_CanBeMixedAndEnd)
{
    AddFault<Repeats<PuckModuleFault>>(1, 20ms);
    AddFault<Loses<PuckModuleFault>>(1);
    module.Push(CONTACT_0);
    EXPECT_EQ(SentWithin(100ms), Lines({"1 nx.dmx.bp 00000007"}));
    module.ClearFaults();
    module.Release(CONTACT_0);
    EXPECT_EQ(SentWithin(100ms), Lines({"1 nx.dmx.sc 00000007"}));
    EXPECT_EQ(SentWithin(1000ms), Lines({"1 nx.dmx.cc 00000007 00000001"}));
}

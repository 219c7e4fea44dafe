#include "nxshared/NxMIBPacket.h"
#include "tests/lighting_common/NxBasePuckDriverFixture.h"

#include <chrono>

using namespace std::chrono_literals;
using namespace base_puck_test;

TEST_F(NxBasePuckDriverTest, Constants_HoldTheirValues)
{
    EXPECT_EQ(NxBasePuckDriver::ALL_LEDS, 255);
    EXPECT_EQ(NxBasePuckDriver::NUM_CONTACTS, 2);
    EXPECT_EQ(NxBasePuckDriver::HOLD_TIME_EXTRA, 300);
    EXPECT_EQ(NxBasePuckDriver::CONTACT_BINDING_ID, 1);
    EXPECT_EQ(NxBasePuckDriver::BUTTON_BINDING_ID, 300);
}

TEST_F(NxBasePuckDriverTest, FreshWithoutLoad_SetsBothContactsBeforeVariablesAndBindings)
{
    StartAsItIs();
    EXPECT_EQ(house.Take(), Joined({SettingsOf("00", "07", "03", LED_OF_CONTACT_0),
                                    SettingsOf("01", "08", "03", LED_OF_CONTACT_1), MADE}));
    for (const unsigned index : {0u, 1u})
    {
        EXPECT_EQ(driver->Contact(index).GetBehavior(), 3);
        EXPECT_EQ(driver->Contact(index).GetLEDBehavior(), 1);
    }
}

TEST_F(NxBasePuckDriverTest, FreshWithLoad_KeepsDefaultsAndSendsNothing)
{
    house.Capability("load_present", "true");
    StartAsItIs();
    EXPECT_EQ(house.Take(), MADE);
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 2);
    EXPECT_EQ(driver->Contact(1).GetLEDBehavior(), 2);
}

TEST_F(NxBasePuckDriverTest, FreshWithLoadPresentFalse_IsAModuleWithoutLoad)
{
    house.Capability("load_present", "false");
    StartAsItIs();
    EXPECT_EQ(house.TakeOnly("mib").size(), 12u);
    EXPECT_EQ(driver->Contact(1).GetBehavior(), 3);
}

TEST_F(NxBasePuckDriverTest, PersistedState_RestoresBothContactsAndSendsNothing)
{
    StartFrom(STATE);
    EXPECT_EQ(house.Take(), MADE);
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 1);
    EXPECT_EQ(driver->Contact(0).GetLEDBehavior(), 0);
    EXPECT_EQ(driver->Contact(1).GetBehavior(), 5);
    EXPECT_EQ(driver->Contact(1).GetLEDBehavior(), 4);
    EXPECT_EQ(house.Persist(), STATE);
}

TEST_F(NxBasePuckDriverTest, PersistAndRestart_KeepsWhatWasSet)
{
    Start();
    Set(0, 4, 3);
    Set(1, 0, 1);
    house.Restart();
    house.Take();
    const std::string state = house.Persist();
    EXPECT_EQ(state, "<State><ALL_CONTACTS><CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER>"
                     "<AUX_BEHAVIOR>4</AUX_BEHAVIOR><AUX_LEDS>3</AUX_LEDS></CONTACT_STATUS>"
                     "<CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER>"
                     "<AUX_BEHAVIOR>0</AUX_BEHAVIOR><AUX_LEDS>1</AUX_LEDS></CONTACT_STATUS>"
                     "</ALL_CONTACTS></State>");
}

TEST_F(NxBasePuckDriverTest, PersistedStateWithoutContacts_MakesNone)
{
    StartFrom("<State/>");
    EXPECT_EQ(house.Take(), NOTHING);
    EXPECT_EQ(house.Persist(), "<State><ALL_CONTACTS/></State>");
    m_contactsAtEnd = 0;
}

TEST_F(NxBasePuckDriverTest, PersistedStateWithNoContactChildren_MakesNone)
{
    StartFrom("<State><ALL_CONTACTS/></State>");
    EXPECT_EQ(driver->Contacts(), 0u);
    EXPECT_EQ(house.Take(), NOTHING);
    m_contactsAtEnd = 0;
}

TEST_F(NxBasePuckDriverTest, PersistedChildOfAnotherName_IsReportedAndStillMakesAContact)
{
    StartFrom("<State><ALL_CONTACTS><ODD><AUX_BEHAVIOR>1</AUX_BEHAVIOR><AUX_LEDS>3</AUX_LEDS></ODD>"
              "<CONTACT_STATUS><AUX_BEHAVIOR>4</AUX_BEHAVIOR></CONTACT_STATUS>"
              "<CONTACT_STATUS/></ALL_CONTACTS></State>");
    EXPECT_EQ(house.Take(), Joined({{"assert lighting_common/NxBasePuckDriver 63"}, MADE}));
    EXPECT_EQ(driver->Contacts(), 2u);
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 1);
    EXPECT_EQ(driver->Contact(1).GetBehavior(), 4);
}

TEST_F(NxBasePuckDriverTest, OnePersistedContact_WorksAndTheOtherActsAsNone)
{
    m_contactsAtEnd = 1;
    StartFrom("<State><ALL_CONTACTS><CONTACT_STATUS><AUX_BEHAVIOR>2</AUX_BEHAVIOR>"
              "<AUX_LEDS>4</AUX_LEDS></CONTACT_STATUS></ALL_CONTACTS></State>");
    EXPECT_EQ(house.Take(), Lines({MADE[0], MADE[2]}));
    house.Trap("nx.dmx.bp", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    house.Trap("nx.dmx.bp", {"00000008"});
    EXPECT_EQ(house.Take(), Lines({LOST_BUTTON + std::string("1")}));
    house.Binding(2, "BUTTON_LINK", true);
    house.Command("PRESS_CNT", {{"CONTACT_NUMBER", "1"}});
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "1"}});
    house.Command("CONTACT_STATUS", {{"CONTACT_NUMBER", "1"}, {"AUX_LEDS", "1"}});
    EXPECT_EQ(house.Take(), NOTHING);
    house.Condition("OFF", {{"CONTACT_NUMBER", "1"}});
    EXPECT_EQ(house.Take(), Lines({"condition OFF false"}));
    house.Online(true);
    EXPECT_EQ(house.TakeOnly("mib").size(), 8u);
}

TEST_F(NxBasePuckDriverTest, Destruction_RemovesBindingThenVariableOfEachContact)
{
    Start();
    house.Stop();
    EXPECT_EQ(house.Take(),
              Lines({"binding remove 1 'Aux 1' BUTTON_LINK", "variable remove 1014 'Aux 1' '0'",
                     "binding remove 2 'Aux 2' BUTTON_LINK", "variable remove 1015 'Aux 2' '0'"}));
    m_contactsAtEnd = 0;
}

TEST_F(NxBasePuckDriverTest, Destruction_LeavesNoTimerBehind)
{
    Start();
    HoldTimeIs("000001f4");
    house.Trap("nx.dmx.bp", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    house.Stop();
    house.Take();
    house.Advance(10000ms);
    EXPECT_EQ(house.Take(), NOTHING);
    m_contactsAtEnd = 0;
}

TEST_F(NxBasePuckDriverTest, VariableIds_CountUpFrom1014)
{
    Start();
    EXPECT_EQ(driver->Contact(0).GetVariableID(), 1014u);
    EXPECT_EQ(driver->Contact(1).GetVariableID(), 1015u);
    EXPECT_EQ(driver->GetNextVarID(), 1016u);
    EXPECT_EQ(driver->GetNextVarID(), 1017u);
}

// --- Traps --------------------------------------------------------------------------------------

TEST_F(NxBasePuckDriverTest, Traps_ReachBothContactsAsTheirActions)
{
    Start();
    house.Trap("nx.dmx.bp", {"00000007"});
    house.Trap("nx.dmx.he", {"00000007"});
    house.Trap("nx.dmx.bp", {"00000008"});
    house.Trap("nx.dmx.sc", {"00000008"});
    house.Trap("nx.dmx.cc", {"00000008", "00000003"});
    EXPECT_EQ(house.Take(),
              Lines({"event 6001", "event 6000", "event 6011", "event 6010", "event 6014"}));
}

TEST_F(NxBasePuckDriverTest, HoldTraps_KeepTheContactPressed)
{
    Start();
    HoldTimeIs("000001f4");
    house.Trap("nx.dmx.bp", {"00000007"});
    for (const char* mib : {"nx.dmx.hb", "nx.dmx.hc", "nx.dmx.hc"})
    {
        house.Advance(700ms);
        house.Trap(mib, {"00000007"});
    }
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    house.Advance(799ms);
    EXPECT_EQ(house.Take(), NOTHING);
    house.Advance(1ms);
    EXPECT_EQ(house.Take(), Lines({"event 6000"}));
}

TEST_F(NxBasePuckDriverTest, PushTrapInBehaviorsFourAndFive_DoesNothing)
{
    Start();
    for (const int behavior : {4, 5})
    {
        Set(0, behavior, 2);
        house.Trap("nx.dmx.bp", {"00000007"});
        EXPECT_EQ(house.Take(), NOTHING) << behavior;
    }
    house.Trap("nx.dmx.he", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6000"}));
}

TEST_F(NxBasePuckDriverTest, TrapNumberNine_IsIgnoredSilently)
{
    Start();
    house.Trap("nx.dmx.bp", {"00000009"});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, TrapWithJunk_IsIgnoredSilently)
{
    Start();
    for (const char* junk : {"x", "", "-7", "+7", "000000007"})
        house.Trap("nx.dmx.bp", {junk});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, TrapWithoutParameters_LeavesOnlyTheCodecsWarning)
{
    Start();
    house.Trap("nx.dmx.bp");
    EXPECT_EQ(house.Take(), Lines({"log WARN nxshared/NxMIBPacket: Parameter requested when no "
                                   "parameters exist"}));
}

TEST_F(NxBasePuckDriverTest, TrapsWithTooManyParameters_AreIgnored)
{
    Start();
    house.Trap("nx.dmx.bp", {"00000007", "00000001"});
    house.Trap("nx.dmx.sc", {"00000007", "00000001"});
    house.Trap("nx.dmx.cc", {"00000007", "00000002", "00000003"});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, TrapOfANumberThatIsNoContact_IsWarnedOfWithItsIndex)
{
    Start();
    const std::pair<const char*, const char*> rows[] = {
        {"0000000a", "3"},           {"00000006", "-1"},          {"00000000", "-7"},
        {"7fffffff", "2147483640"},  {"ffffffff", "-8"},          {"80000000", "-2147483655"},
        {"80000007", "-2147483648"}, {"80000006", "-2147483649"},
    };
    for (const auto& row : rows)
    {
        house.Trap("nx.dmx.bp", {row.first});
        EXPECT_EQ(house.Take(), Lines({LOST_BUTTON + std::string(row.second)}));
    }
}

TEST_F(NxBasePuckDriverTest, MultipleClickWithoutReadableCount_CountsAsZero)
{
    Start();
    house.Trap("nx.dmx.cc", {"00000007", "x"});
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    house.Trap("nx.dmx.cc", {"00000007"});
    EXPECT_EQ(house.Take(),
              Lines({"log WARN nxshared/NxMIBPacket: Requested parameter is outside range (index: "
                     "1)(parameters: 1)(packet: nx.dmx.cc 00000007)",
                     "event 6001"}));
}

TEST_F(NxBasePuckDriverTest, MultipleClickOfAHugeCount_WrapsTheEvent)
{
    Start();
    house.Trap("nx.dmx.cc", {"00000007", "7fffffff"});
    house.Trap("nx.dmx.cc", {"00000007", "ffffffff"});
    EXPECT_EQ(house.Take(), Lines({"event 2147489648", "event 6000"}));
}

TEST_F(NxBasePuckDriverTest, TrapOfAnotherKind_DoesNothing)
{
    Start();
    NxMIBPacket trap(NxMIB::Trap, "nx.dmx.btn");
    trap.AddParam("00000007");
    house.CallDriver([&] { driver->OnTrapBtnAction(trap); });
    EXPECT_EQ(house.Take(), NOTHING);
}

// --- Hold time and going online -----------------------------------------------------------------

TEST_F(NxBasePuckDriverTest, HoldTimeReply_SetsFeedbackAndTime)
{
    Start();
    EXPECT_FALSE(driver->HoldFeedback());
    EXPECT_EQ(driver->HoldTime(), 250u);
    for (const char* ignored : {"00000000", "ffffffff", "80000000", "x", ""})
        HoldTimeIs(ignored);
    EXPECT_FALSE(driver->HoldFeedback());
    EXPECT_EQ(driver->HoldTime(), 250u);
    HoldTimeIs("000001f4");
    EXPECT_TRUE(driver->HoldFeedback());
    EXPECT_EQ(driver->HoldTime(), 800u);
    HoldTimeIs("00000001");
    EXPECT_EQ(driver->HoldTime(), 301u);
    HoldTimeIs("7fffffff");
    EXPECT_EQ(driver->HoldTime(), 2147483947u);
}

TEST_F(NxBasePuckDriverTest, BadHoldTimeAfterAGoodOne_ChangesNothing)
{
    Start();
    HoldTimeIs("000001f4");
    HoldTimeIs("00000000");
    EXPECT_TRUE(driver->HoldFeedback());
    EXPECT_EQ(driver->HoldTime(), 800u);
}

TEST_F(NxBasePuckDriverTest, HoldTimeReplyWithoutParameters_LeavesOnlyTheCodecsWarning)
{
    Start();
    house.Reply("nx.dmx.bmc");
    EXPECT_EQ(house.TakeOnly("log").size(), 1u);
    EXPECT_FALSE(driver->HoldFeedback());
}

TEST_F(NxBasePuckDriverTest, PushWithoutHoldFeedback_NeverReleasesByItself)
{
    Start();
    house.Trap("nx.dmx.bp", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    EXPECT_FALSE(house.NextWake());
}

TEST_F(NxBasePuckDriverTest, HoldTimerOfEachContact_ReleasesThatContact)
{
    Start();
    HoldTimeIs("00000064");
    house.Trap("nx.dmx.bp", {"00000008"});
    house.Advance(100ms);
    house.Trap("nx.dmx.bp", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6011", "event 6001"}));
    house.Advance(300ms);
    EXPECT_EQ(house.Take(), Lines({"event 6010"}));
    house.Advance(100ms);
    EXPECT_EQ(house.Take(), Lines({"event 6000"}));
}

TEST_F(NxBasePuckDriverTest, TimerOfNobody_IsIgnored)
{
    Start();
    house.CallDriver(
        [&]
        {
            driver->OnTimerExpired(0, 0);
            driver->OnTimerExpired(12345, 0);
        });
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, Online_QueriesTheHoldTimeThenSendsTheSettings)
{
    Start();
    house.Online(true);
    EXPECT_EQ(house.Take(), Joined({{"mib 2 nx.dmx.bmc 01"},
                                    SettingsOf("00", "07", "02", LED_OF_LOAD),
                                    SettingsOf("01", "08", "02", LED_OF_LOAD)}));
}

TEST_F(NxBasePuckDriverTest, OnlineInLedBehaviorFour_AlsoSendsTheLedState)
{
    Start();
    Set(0, 2, 4);
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.led 00 05 ffffff"}));
    house.Online(true);
    const Lines sent = house.Take();
    ASSERT_EQ(sent.size(), 14u);
    EXPECT_EQ(sent[7], "mib 4 nx.dmx.led 00 05 ffffff");
}

TEST_F(NxBasePuckDriverTest, Offline_SendsNothing)
{
    Start();
    house.Online(false);
    EXPECT_EQ(house.Take(), NOTHING);
}

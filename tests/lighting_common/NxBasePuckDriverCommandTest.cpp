#include "tests/lighting_common/NxBasePuckDriverFixture.h"
#include "tests/support/LogSwitchedOff.h"

using namespace base_puck_test;

namespace
{
using NxBasePuckDriverCommandTest = NxBasePuckDriverTest;
} // namespace

TEST_F(NxBasePuckDriverCommandTest, GetProperties_SendsBothStatuses)
{
    Start();
    house.Command("GET_PROPERTIES");
    EXPECT_EQ(house.Take(),
              Lines({"ui <CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER><AUX_BEHAVIOR>2"
                     "</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>",
                     "ui <CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER><AUX_BEHAVIOR>2"
                     "</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>"}));
}

TEST_F(NxBasePuckDriverCommandTest, ButtonActions_AreTakenAndDoNothing)
{
    Start();
    for (const char* name : {"PRESS_BTN", "RELEASE_BTN", "CLICK_BTN"})
        house.Command(name, {{"BUTTON_NUMBER", "0"}, {"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverCommandTest, ContactActions_AreRemoteActionsOfThatContact)
{
    Start();
    house.Command("PRESS_CNT", {{"CONTACT_NUMBER", "1"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000001", "event 6011"}));
    house.Command("RELEASE_CNT", {{"CONTACT_NUMBER", "1"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000000", "event 6010"}));
    house.Command("CLICK_CNT", {{"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(),
              Lines({"mib 3 nx.dmx.rbp 0000000f 00000002", "event 6000", "event 6002"}));
}

TEST_F(NxBasePuckDriverCommandTest, ContactActionWithoutNumber_MeansContactZero)
{
    Start();
    house.Command("RELEASE_CNT");
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000000", "event 6000"}));
}

TEST_F(NxBasePuckDriverCommandTest, ContactActionOutsideTheContacts_DoesNothing)
{
    Start();
    for (const char* number : {"2", "-1", "4294967295", "99999999999999999999"})
        house.Command("PRESS_CNT", {{"CONTACT_NUMBER", number}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverCommandTest, TurnLed_SetsTheStateAndForcesIt)
{
    Start();
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "1"}});
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "1"}});
    house.Command("TURN_LED_OFF", {{"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.led 01 05 ffffff", "mib 4 nx.dmx.led 01 05 ffffff",
                                   "mib 4 nx.dmx.led 00 05 000000"}));
    EXPECT_EQ(driver->Contact(1).GetCurState(), 1);
}

TEST_F(NxBasePuckDriverCommandTest, TurnLedWithoutNumber_DoesNothing)
{
    Start();
    house.Command("TURN_LED_ON");
    house.Command("TURN_LED_OFF", {{"BUTTON_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverCommandTest, TurnLedOutsideTheContacts_IsReportedAndDoesNothing)
{
    Start();
    for (const char* number : {"2", "-1"})
    {
        house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", number}});
        EXPECT_EQ(house.TakeOnly("assert").size(), 1u);
    }
    EXPECT_EQ(driver->Contact(0).GetCurState(), 0);
    EXPECT_EQ(driver->Contact(1).GetCurState(), 0);
}

TEST_F(NxBasePuckDriverCommandTest, ContactStatus_SetsBothAndForcesThem)
{
    Start();
    house.Command("CONTACT_STATUS",
                  {{"CONTACT_NUMBER", "1"}, {"AUX_BEHAVIOR", "2"}, {"AUX_LEDS", "1"}});
    EXPECT_EQ(house.Take(), SettingsOf("01", "08", "02", LED_OF_CONTACT_1));
    EXPECT_EQ(driver->Contact(1).GetLEDBehavior(), 1);
}

TEST_F(NxBasePuckDriverCommandTest, ContactStatusWithoutNumber_IsReportedAndMeansContactZero)
{
    Start();
    house.Command("CONTACT_STATUS", {{"AUX_BEHAVIOR", "3"}, {"AUX_LEDS", "2"}});
    const Lines caused = house.Take();
    ASSERT_EQ(caused.size(), 7u);
    EXPECT_EQ(caused[0].rfind("assert lighting_common/NxBasePuckDriver ", 0), 0u);
    EXPECT_EQ(caused[1], "mib 4 nx.dmx.btn 07 01 03");
}

TEST_F(NxBasePuckDriverCommandTest, ContactStatusOutsideTheContacts_IsReportedAndDoesNothing)
{
    Start();
    for (const char* number : {"2", "-1", "4294967295"})
    {
        house.Command("CONTACT_STATUS", {{"CONTACT_NUMBER", number}, {"AUX_BEHAVIOR", "1"}});
        EXPECT_EQ(house.Take().size(), 1u) << number;
    }
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 2);
}

TEST_F(NxBasePuckDriverCommandTest, ContactStatusWithHugeValues_KeepsThemAndCutsToOneByteOnTheWire)
{
    Start();
    house.Command(
        "CONTACT_STATUS",
        {{"CONTACT_NUMBER", "0"}, {"AUX_BEHAVIOR", "4294967295"}, {"AUX_LEDS", "2147483648"}});
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.btn 07 01 ff"}));
    EXPECT_EQ(driver->Contact(0).GetBehavior(), -1);
    house.Command("CONTACT_STATUS",
                  {{"CONTACT_NUMBER", "0"}, {"AUX_BEHAVIOR", "258"}, {"AUX_LEDS", "5"}});
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.btn 07 01 02"}));
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 258);
}

TEST_F(NxBasePuckDriverCommandTest, Conditions_CompareTheState)
{
    Start();
    Set(0, 2, 4);
    const std::pair<int, Lines> rows[] = {{0, {"condition ON false", "condition OFF true"}},
                                          {1, {"condition ON true", "condition OFF false"}},
                                          {2, {"condition ON false", "condition OFF false"}}};
    for (const auto& row : rows)
    {
        house.CallDriver([&] { driver->Contact(0).SetCurState(row.first, false); });
        house.Take();
        house.Condition("ON", {{"CONTACT_NUMBER", "0"}});
        house.Condition("OFF", {{"CONTACT_NUMBER", "0"}});
        EXPECT_EQ(house.Take(), row.second) << row.first;
    }
}

TEST_F(NxBasePuckDriverCommandTest, ConditionWithoutNumber_IsFalse)
{
    Start();
    house.Condition("OFF", {});
    house.Condition("OFF", {{"CONTACT_NUMBER", ""}});
    EXPECT_EQ(house.Take(), Lines({"condition OFF false", "condition OFF false"}));
}

TEST_F(NxBasePuckDriverCommandTest, ConditionOutsideTheContacts_IsReportedAndFalse)
{
    Start();
    house.Condition("OFF", {{"CONTACT_NUMBER", "2"}});
    const Lines caused = house.Take();
    ASSERT_EQ(caused.size(), 2u);
    EXPECT_EQ(caused[0].rfind("assert lighting_common/NxBasePuckDriver ", 0), 0u);
    EXPECT_EQ(caused[1], "condition OFF false");
}

// --- Bindings and services ----------------------------------------------------------------------

TEST_F(NxBasePuckDriverCommandTest, BoundCommand_RunsAndAnswersZero)
{
    Start();
    house.BoundCall(1, "PROTOCOL_COMMAND",
                    "<command name=\"TURN_LED_ON\"><param name=\"CONTACT_NUMBER\" "
                    "type=\"INT\">1</param></command>");
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.led 01 05 ffffff", "result 0"}));
}

TEST_F(NxBasePuckDriverCommandTest, BoundCommandThatNobodyHandles_IsWarnedOfAndAnswersMinusOne)
{
    Start();
    house.BoundCall(1, "PROTOCOL_COMMAND", "<command name=\"SING\"/>");
    EXPECT_EQ(house.Take(), Lines({"unhandled SING",
                                   "log WARN lighting_common/NxBasePuckDriver: last command wasn't "
                                   "handled",
                                   "result -1"}));
}

TEST_F(NxBasePuckDriverCommandTest, BoundCommandThatIsNoCommand_IsWarnedOfAndAnswersMinusOne)
{
    Start();
    for (const char* xml : {"", "<command", "<other name=\"TURN_LED_ON\"/>"})
    {
        house.BoundCall(1, "PROTOCOL_COMMAND", xml);
        EXPECT_EQ(house.Take(), Lines({"log WARN lighting_common/NxBasePuckDriver: last command "
                                       "wasn't handled",
                                       "result -1"}));
    }
}

TEST_F(NxBasePuckDriverCommandTest, BoundCommandThatIsNoCommand_AnswersMinusOneWithoutALogToo)
{
    Start();
    const test_support::LogSwitchedOff off;
    house.BoundCall(1, "PROTOCOL_COMMAND", "");
    EXPECT_EQ(house.Take(), Lines({"result -1"}));
}

TEST_F(NxBasePuckDriverCommandTest, BoundCallOfAnotherKind_GoesToTheBase)
{
    Start();
    house.BoundCall(1, "OTHER", "<command name=\"TURN_LED_ON\"/>");
    EXPECT_EQ(house.Take(), Lines({"result 0"}));
}

TEST_F(NxBasePuckDriverCommandTest, BoundLink_CarriesTheContactsCommands)
{
    Start();
    house.Binding(2, "BUTTON_LINK", true);
    house.Trap("nx.dmx.bp", {"00000008"});
    house.Trap("nx.dmx.he", {"00000008"});
    house.Trap("nx.dmx.sc", {"00000008"});
    EXPECT_EQ(house.Take(), Lines({"call 2 DO_PUSH", "event 6011", "call 2 DO_RELEASE",
                                   "event 6010", "call 2 DO_CLICK", "event 6010"}));
    house.Binding(2, "BUTTON_LINK", false);
    house.Trap("nx.dmx.bp", {"00000008"});
    EXPECT_EQ(house.Take(), Lines({"event 6011"}));
}

TEST_F(NxBasePuckDriverCommandTest, BindingOfAnotherClassOrId_BindsNoContact)
{
    Start();
    house.Binding(1, "LIGHT", true);
    for (const unsigned id : {0u, 3u, 300u, 0xffffffffu})
        house.Binding(id, "BUTTON_LINK", true);
    EXPECT_FALSE(driver->Contact(0).IsControlBound());
    EXPECT_FALSE(driver->Contact(1).IsControlBound());
}

TEST_F(NxBasePuckDriverCommandTest, RequestsOfButtons_BecomePacketsOfTheirWidths)
{
    Start();
    house.CallDriver(
        [&]
        {
            driver->InvokeMIBForButton("a", -1, 15);
            driver->InvokeMIBForButton("b", 1, 2, 3);
            driver->SetMIBForButton("c", 300, -1, 16);
            driver->SetMIBForButton("d", 1, 2, std::string("Text As It Is"));
        });
    EXPECT_EQ(house.Take(),
              Lines({"mib 3 a ffffffff 0000000f", "mib 3 b 00000001 00000002 00000003",
                     "mib 4 c 2c ff 10", "mib 4 d 01 02 Text As It Is"}));
}

TEST_F(NxBasePuckDriverCommandTest, VariableChanged_SetsTheDriversVariable)
{
    Start();
    house.CallDriver([&] { driver->VariableChanged(1015, -3); });
    EXPECT_EQ(house.Take(), Lines({"variable set 1015 'Aux 2' '-3'"}));
}

TEST_F(NxBasePuckDriverCommandTest, OwnMessage_IsSentAsABoundCall)
{
    Start();
    house.CallDriver(
        [&]
        {
            boost::shared_ptr<IBindMessage> message = driver->GetBindMessage();
            message->SetName("COLORS");
            message->AddParam("N", "INT", 5);
            driver->SendButtonBoundCall(9, message);
        });
    EXPECT_EQ(house.Take(), Lines({"call 9 COLORS N=5"}));
}

TEST_F(NxBasePuckDriverCommandTest, KillHoldTimerOfZero_DoesNothing)
{
    Start();
    house.CallDriver(
        [&]
        {
            const unsigned timer = driver->AddHoldTimer();
            driver->KillHoldTimer(0);
            EXPECT_TRUE(house.NextWake());
            driver->KillHoldTimer(timer);
        });
    EXPECT_FALSE(house.NextWake());
}

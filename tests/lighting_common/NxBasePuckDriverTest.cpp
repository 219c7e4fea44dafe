#include "lighting_common/NxBasePuckDriver.h"

#include "lighting_common/ContactButton.h"
#include "tests/support/OneDriverHouse.h"

using test_support::Lines;
using test_support::OneDriverHouse;

namespace
{
const Lines NOTHING;
const char STATE[] = "<State><ALL_CONTACTS>"
                     "<CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER>"
                     "<AUX_BEHAVIOR>1</AUX_BEHAVIOR><AUX_LEDS>0</AUX_LEDS></CONTACT_STATUS>"
                     "<CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER>"
                     "<AUX_BEHAVIOR>5</AUX_BEHAVIOR><AUX_LEDS>4</AUX_LEDS></CONTACT_STATUS>"
                     "</ALL_CONTACTS></State>";
const char LOST_BUTTON[] = "log WARN lighting_common/NxBasePuckDriver: Got in a button trap that "
                           "doesn't map to a button ";

// The base class as it is, opened for looking.
class BareDriver : public NxBasePuckDriver
{
public:
    explicit BareDriver(IInstanceManager& instances) : NxBasePuckDriver(instances, NX_DRIVER_LIGHT)
    {
    }
    ContactButton& Contact(unsigned index) { return *buttons.at(index); }
    std::size_t Contacts() const { return buttons.size(); }
    bool HoldFeedback() const { return holdFeedback; }
    unsigned HoldTime() const { return holdTimeMs; }
};

class NxBasePuckDriverTest : public testing::Test
{
protected:
    OneDriverHouse house;
    BareDriver* driver = nullptr;

    // A module with a load and two fresh contacts.
    void Start()
    {
        house.Capability("load_present", "true");
        StartAsItIs();
        house.Take();
    }
    void StartAsItIs() { driver = &house.Start<BareDriver>(); }
    void StartFrom(const std::string& state)
    {
        house.State(state);
        StartAsItIs();
    }
    void Set(unsigned contact, int behavior, int ledBehavior)
    {
        house.Enter(
            [&]
            {
                driver->Contact(contact).SetBehavior(behavior, false);
                driver->Contact(contact).SetLEDBehavior(ledBehavior, false);
            });
        house.Take();
    }
    void HoldTimeIs(const std::string& hex)
    {
        house.Reply("nx.dmx.bmc", {hex});
        EXPECT_EQ(house.Take(), NOTHING);
    }
    void TearDown() override
    {
        if (!driver)
            return;
        house.Stop();
        const Lines last = house.Take();
        EXPECT_EQ(last.size(), 2 * m_contactsAtEnd);
    }
    std::size_t m_contactsAtEnd = 2;
};

Lines SettingsOf(const std::string& id, const std::string& device, const std::string& behavior,
                 const Lines& led)
{
    Lines lines = {"mib 4 nx.dmx.btn " + device + " 01 " + behavior};
    for (const std::string& rest : led)
        lines.push_back("mib 4 nx.dmx.led " + id + " " + rest);
    return lines;
}
const Lines LED_OF_CONTACT_0 = {"01 02", "00 07", "02 00", "03 ffffff", "04 000000"};
const Lines LED_OF_CONTACT_1 = {"01 02", "00 08", "02 00", "03 ffffff", "04 000000"};
const Lines LED_OF_LOAD = {"01 01", "00 00", "02 01", "03 ffffff", "04 000000"};

Lines Joined(const std::vector<Lines>& parts)
{
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}
const Lines MADE = {"variable add 1014 'Aux 1' '0'", "variable add 1015 'Aux 2' '0'",
                    "binding add 1 'Aux 1' BUTTON_LINK", "binding add 2 'Aux 2' BUTTON_LINK"};
} // namespace

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
    house.Advance(10000);
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
        house.Advance(700);
        house.Trap(mib, {"00000007"});
    }
    EXPECT_EQ(house.Take(), Lines({"event 6001"}));
    house.Advance(799);
    EXPECT_EQ(house.Take(), NOTHING);
    house.Advance(1);
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
    EXPECT_EQ(house.NextWakeMs(), -1);
}

TEST_F(NxBasePuckDriverTest, HoldTimerOfEachContact_ReleasesThatContact)
{
    Start();
    HoldTimeIs("00000064");
    house.Trap("nx.dmx.bp", {"00000008"});
    house.Advance(100);
    house.Trap("nx.dmx.bp", {"00000007"});
    EXPECT_EQ(house.Take(), Lines({"event 6011", "event 6001"}));
    house.Advance(300);
    EXPECT_EQ(house.Take(), Lines({"event 6010"}));
    house.Advance(100);
    EXPECT_EQ(house.Take(), Lines({"event 6000"}));
}

TEST_F(NxBasePuckDriverTest, TimerOfNobody_IsIgnored)
{
    Start();
    house.Enter(
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

// --- Commands and conditions --------------------------------------------------------------------

TEST_F(NxBasePuckDriverTest, GetProperties_SendsBothStatuses)
{
    Start();
    house.Command("GET_PROPERTIES");
    EXPECT_EQ(house.Take(),
              Lines({"ui <CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER><AUX_BEHAVIOR>2"
                     "</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>",
                     "ui <CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER><AUX_BEHAVIOR>2"
                     "</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>"}));
}

TEST_F(NxBasePuckDriverTest, ButtonActions_AreTakenAndDoNothing)
{
    Start();
    for (const char* name : {"PRESS_BTN", "RELEASE_BTN", "CLICK_BTN"})
        house.Command(name, {{"BUTTON_NUMBER", "0"}, {"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, ContactActions_AreRemoteActionsOfThatContact)
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

TEST_F(NxBasePuckDriverTest, ContactActionWithoutNumber_MeansContactZero)
{
    Start();
    house.Command("RELEASE_CNT");
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000000", "event 6000"}));
}

TEST_F(NxBasePuckDriverTest, ContactActionOutsideTheContacts_DoesNothing)
{
    Start();
    for (const char* number : {"2", "-1", "4294967295", "99999999999999999999"})
        house.Command("PRESS_CNT", {{"CONTACT_NUMBER", number}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, TurnLed_SetsTheStateAndForcesIt)
{
    Start();
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "1"}});
    house.Command("TURN_LED_ON", {{"CONTACT_NUMBER", "1"}});
    house.Command("TURN_LED_OFF", {{"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.led 01 05 ffffff", "mib 4 nx.dmx.led 01 05 ffffff",
                                   "mib 4 nx.dmx.led 00 05 000000"}));
    EXPECT_EQ(driver->Contact(1).GetCurState(), 1);
}

TEST_F(NxBasePuckDriverTest, TurnLedWithoutNumber_DoesNothing)
{
    Start();
    house.Command("TURN_LED_ON");
    house.Command("TURN_LED_OFF", {{"BUTTON_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(NxBasePuckDriverTest, TurnLedOutsideTheContacts_IsReportedAndDoesNothing)
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

TEST_F(NxBasePuckDriverTest, ContactStatus_SetsBothAndForcesThem)
{
    Start();
    house.Command("CONTACT_STATUS",
                  {{"CONTACT_NUMBER", "1"}, {"AUX_BEHAVIOR", "2"}, {"AUX_LEDS", "1"}});
    EXPECT_EQ(house.Take(), SettingsOf("01", "08", "02", LED_OF_CONTACT_1));
    EXPECT_EQ(driver->Contact(1).GetLEDBehavior(), 1);
}

TEST_F(NxBasePuckDriverTest, ContactStatusWithoutNumber_IsReportedAndMeansContactZero)
{
    Start();
    house.Command("CONTACT_STATUS", {{"AUX_BEHAVIOR", "3"}, {"AUX_LEDS", "2"}});
    const Lines caused = house.Take();
    ASSERT_EQ(caused.size(), 7u);
    EXPECT_EQ(caused[0].rfind("assert lighting_common/NxBasePuckDriver ", 0), 0u);
    EXPECT_EQ(caused[1], "mib 4 nx.dmx.btn 07 01 03");
}

TEST_F(NxBasePuckDriverTest, ContactStatusOutsideTheContacts_IsReportedAndDoesNothing)
{
    Start();
    for (const char* number : {"2", "-1", "4294967295"})
    {
        house.Command("CONTACT_STATUS", {{"CONTACT_NUMBER", number}, {"AUX_BEHAVIOR", "1"}});
        EXPECT_EQ(house.Take().size(), 1u) << number;
    }
    EXPECT_EQ(driver->Contact(0).GetBehavior(), 2);
}

TEST_F(NxBasePuckDriverTest, ContactStatusWithHugeValues_KeepsThemAndCutsToOneByteOnTheWire)
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

TEST_F(NxBasePuckDriverTest, Conditions_CompareTheState)
{
    Start();
    Set(0, 2, 4);
    const std::pair<int, Lines> rows[] = {{0, {"condition ON false", "condition OFF true"}},
                                          {1, {"condition ON true", "condition OFF false"}},
                                          {2, {"condition ON false", "condition OFF false"}}};
    for (const auto& row : rows)
    {
        house.Enter([&] { driver->Contact(0).SetCurState(row.first, false); });
        house.Take();
        house.Condition("ON", {{"CONTACT_NUMBER", "0"}});
        house.Condition("OFF", {{"CONTACT_NUMBER", "0"}});
        EXPECT_EQ(house.Take(), row.second) << row.first;
    }
}

TEST_F(NxBasePuckDriverTest, ConditionWithoutNumber_IsFalse)
{
    Start();
    house.Condition("OFF", {});
    house.Condition("OFF", {{"CONTACT_NUMBER", ""}});
    EXPECT_EQ(house.Take(), Lines({"condition OFF false", "condition OFF false"}));
}

TEST_F(NxBasePuckDriverTest, ConditionOutsideTheContacts_IsReportedAndFalse)
{
    Start();
    house.Condition("OFF", {{"CONTACT_NUMBER", "2"}});
    const Lines caused = house.Take();
    ASSERT_EQ(caused.size(), 2u);
    EXPECT_EQ(caused[0].rfind("assert lighting_common/NxBasePuckDriver ", 0), 0u);
    EXPECT_EQ(caused[1], "condition OFF false");
}

// --- Bindings and services ----------------------------------------------------------------------

TEST_F(NxBasePuckDriverTest, BoundCommand_RunsAndAnswersZero)
{
    Start();
    house.BoundCall(1, "PROTOCOL_COMMAND",
                    "<command name=\"TURN_LED_ON\"><param name=\"CONTACT_NUMBER\" "
                    "type=\"INT\">1</param></command>");
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.led 01 05 ffffff", "result 0"}));
}

TEST_F(NxBasePuckDriverTest, BoundCommandThatNobodyHandles_IsWarnedOfAndAnswersMinusOne)
{
    Start();
    house.BoundCall(1, "PROTOCOL_COMMAND", "<command name=\"SING\"/>");
    EXPECT_EQ(house.Take(), Lines({"unhandled SING",
                                   "log WARN lighting_common/NxBasePuckDriver: last command wasn't "
                                   "handled",
                                   "result -1"}));
}

TEST_F(NxBasePuckDriverTest, BoundCommandThatIsNoCommand_IsWarnedOfAndAnswersMinusOne)
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

TEST_F(NxBasePuckDriverTest, BoundCallOfAnotherKind_GoesToTheBase)
{
    Start();
    house.BoundCall(1, "OTHER", "<command name=\"TURN_LED_ON\"/>");
    EXPECT_EQ(house.Take(), Lines({"result 0"}));
}

TEST_F(NxBasePuckDriverTest, BoundLink_CarriesTheContactsCommands)
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

TEST_F(NxBasePuckDriverTest, BindingOfAnotherClassOrId_BindsNoContact)
{
    Start();
    house.Binding(1, "LIGHT", true);
    for (const unsigned id : {0u, 3u, 300u, 0xffffffffu})
        house.Binding(id, "BUTTON_LINK", true);
    EXPECT_FALSE(driver->Contact(0).IsControlBound());
    EXPECT_FALSE(driver->Contact(1).IsControlBound());
}

TEST_F(NxBasePuckDriverTest, RequestsOfButtons_BecomePacketsOfTheirWidths)
{
    Start();
    house.Enter(
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

TEST_F(NxBasePuckDriverTest, VariableChanged_SetsTheDriversVariable)
{
    Start();
    house.Enter([&] { driver->VariableChanged(1015, -3); });
    EXPECT_EQ(house.Take(), Lines({"variable set 1015 'Aux 2' '-3'"}));
}

TEST_F(NxBasePuckDriverTest, OwnMessage_IsSentAsABoundCall)
{
    Start();
    house.Enter(
        [&]
        {
            boost::shared_ptr<IBindMessage> message = driver->GetBindMessage();
            message->SetName("COLORS");
            message->AddParam("N", "INT", 5);
            driver->SendButtonBoundCall(9, message);
        });
    EXPECT_EQ(house.Take(), Lines({"call 9 COLORS N=5"}));
}

TEST_F(NxBasePuckDriverTest, KillHoldTimerOfZero_DoesNothing)
{
    Start();
    house.Enter(
        [&]
        {
            const unsigned timer = driver->AddHoldTimer();
            driver->KillHoldTimer(0);
            EXPECT_EQ(house.NextWakeMs(), 250);
            driver->KillHoldTimer(timer);
        });
    EXPECT_EQ(house.NextWakeMs(), -1);
}

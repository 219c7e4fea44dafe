#include "drivers/puck/PuckDriver.h"

#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "test_kit/OneDriverHouse.h"

#include <chrono>

#include <climits>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test_kit::Lines;
using test_kit::OneDriverHouse;

namespace
{
const Lines NOTHING;
const char LOST_BUTTON[] = "log WARN lighting_common/NxBasePuckDriver: Got in a button trap that "
                           "doesn't map to a button ";
const char CONTACTS_STATE[] = "<ALL_CONTACTS><CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER>"
                              "<AUX_BEHAVIOR>2</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS>"
                              "</CONTACT_STATUS><CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER>"
                              "<AUX_BEHAVIOR>2</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS>"
                              "</CONTACT_STATUS></ALL_CONTACTS>";

std::string ButtonState(int number, const std::string& name, const std::string& bound,
                        const std::string& onColor = "b00000")
{
    return "<BUTTON_STATUS><BUTTON_NUMBER>" + std::to_string(number) + "</BUTTON_NUMBER><NAME>" +
           name + "</NAME><LED_MANAGED>true</LED_MANAGED><LED_ON_COLOR>" + onColor +
           "</LED_ON_COLOR><LED_OFF_COLOR>0000b0</LED_OFF_COLOR>"
           "<FOLLOW_BOUND_COLOR>false</FOLLOW_BOUND_COLOR><CONTROL_BOUND>" +
           bound + "</CONTROL_BOUND><BEHAVIOR>2</BEHAVIOR></BUTTON_STATUS>";
}

class PuckDriverTest : public testing::Test
{
protected:
    OneDriverHouse house;
    PuckDriver* driver = nullptr;

    // A module with a load and that many snap-on buttons, said in the configuration's own words.
    void StartWith(const std::string& buttons, const std::string& state = std::string())
    {
        house.Capability("load_present", "true");
        house.Config("<config><NUM_BUTTONS>" + buttons + "</NUM_BUTTONS></config>");
        house.State(state);
        driver = &house.Start<PuckDriver>();
    }
    void Start(const std::string& buttons)
    {
        StartWith(buttons);
        house.Take();
    }
    unsigned Buttons() const
    {
        unsigned count = 0;
        while (driver->SnapOn(count))
            ++count;
        return count;
    }
    void Press(const std::string& number) { house.Trap("nx.dmx.bp", {number}); }
    void TearDown() override
    {
        house.Stop();
        EXPECT_EQ(house.Take(), m_atEnd);
    }
    // Only the contacts take something away with them.
    Lines m_atEnd = {"binding remove 1 'Aux 1' BUTTON_LINK", "variable remove 1014 'Aux 1' '0'",
                     "binding remove 2 'Aux 2' BUTTON_LINK", "variable remove 1015 'Aux 2' '0'"};
};
} // namespace

TEST_F(PuckDriverTest, SnapOnButtons_AddNoOutputOfTheirOwnAtTheStart)
{
    StartWith("6");
    EXPECT_EQ(house.Take(),
              Lines({"variable add 1014 'Aux 1' '0'", "variable add 1015 'Aux 2' '0'",
                     "binding add 1 'Aux 1' BUTTON_LINK", "binding add 2 'Aux 2' BUTTON_LINK"}));
}

TEST_F(PuckDriverTest, NumberOfButtons_IsZeroWithoutASetting)
{
    house.Capability("load_present", "true");
    driver = &house.Start<PuckDriver>();
    house.Take();
    EXPECT_EQ(Buttons(), 0u);
    EXPECT_EQ(house.Persist(), "<State>" + std::string(CONTACTS_STATE) + "</State>");
}

class PuckDriverCountTest : public PuckDriverTest,
                            public testing::WithParamInterface<std::pair<const char*, unsigned>>
{
};

TEST_P(PuckDriverCountTest, NumberOfButtons_IsHeldToSix)
{
    Start(GetParam().first);
    EXPECT_EQ(Buttons(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Settings, PuckDriverCountTest,
                         testing::Values(std::make_pair("0", 0u), std::make_pair("1", 1u),
                                         std::make_pair("6", 6u), std::make_pair("7", 6u),
                                         std::make_pair("-1", 0u), std::make_pair("", 0u),
                                         std::make_pair("many", 0u),
                                         std::make_pair("2147483647", 6u)));

TEST_F(PuckDriverTest, SnapOnButton_HasItsPlaceAsIdAndBinding)
{
    Start("3");
    for (const unsigned k : {0u, 1u, 2u})
    {
        EXPECT_EQ(driver->SnapOn(k)->GetReleaseEventNum(), 5000 + 10 * k);
        EXPECT_EQ(driver->SnapOn(k)->GetLinkControlBinding(), 300 + k);
        EXPECT_EQ(driver->SnapOn(k)->GetVariableID(), 1016 + k);
        EXPECT_EQ(driver->SnapOn(k)->GetVarName(), "Button " + std::to_string(k + 1));
    }
}

TEST_F(PuckDriverTest, Buttons_AreFoundByIndexAndNullOutside)
{
    Start("2");
    EXPECT_NE(driver->Contact(1), nullptr);
    EXPECT_EQ(driver->Contact(2), nullptr);
    EXPECT_EQ(driver->Contact(UINT_MAX), nullptr);
    EXPECT_NE(driver->SnapOn(1), nullptr);
    EXPECT_EQ(driver->SnapOn(2), nullptr);
    EXPECT_EQ(driver->SnapOn(UINT_MAX), nullptr);
}

// --- Traps and timers ---------------------------------------------------------------------------

TEST_F(PuckDriverTest, Traps_ReachSnapOnButtonsFromNumberOne)
{
    Start("6");
    Press("00000001");
    house.Trap("nx.dmx.he", {"00000001"});
    Press("00000006");
    house.Trap("nx.dmx.sc", {"00000006"});
    house.Trap("nx.dmx.cc", {"00000006", "00000002"});
    EXPECT_EQ(house.Take(),
              Lines({"event 5001", "event 5000", "event 5051", "event 5050", "event 5053"}));
}

TEST_F(PuckDriverTest, Traps_StillReachTheContacts)
{
    Start("6");
    Press("00000007");
    Press("00000008");
    EXPECT_EQ(house.Take(), Lines({"event 6001", "event 6011"}));
}

TEST_F(PuckDriverTest, TrapsOfNumbersWithoutAButton_AreWarnedOfAsTheBaseDoes)
{
    Start("2");
    const std::pair<const char*, const char*> rows[] = {
        {"00000000", "-7"}, {"00000003", "-4"},          {"00000006", "-1"},
        {"0000000a", "3"},  {"80000000", "-2147483655"}, {"ffffffff", "-8"}};
    for (const auto& row : rows)
    {
        Press(row.first);
        EXPECT_EQ(house.Take(), Lines({LOST_BUTTON + std::string(row.second)}));
    }
    Press("00000009");
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(PuckDriverTest, PushTrapInBehaviorFour_DoesNothingToASnapOnButton)
{
    Start("1");
    house.CallDriver([&] { driver->SnapOn(0)->SetBehavior(4, false); });
    EXPECT_EQ(house.Take(), Lines({"mib 4 nx.dmx.btn 00 01 04"}));
    Press("00000001");
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(PuckDriverTest, HoldTimers_ReleaseTheButtonThatOwnsThem)
{
    Start("2");
    house.Reply("nx.dmx.bmc", {"00000064"});
    Press("00000002");
    house.Advance(100ms);
    Press("00000007");
    house.Advance(100ms);
    Press("00000001");
    EXPECT_EQ(house.Take(), Lines({"event 5011", "event 6001", "event 5001"}));
    house.Advance(200ms);
    EXPECT_EQ(house.Take(), Lines({"event 5010"}));
    house.Advance(100ms);
    EXPECT_EQ(house.Take(), Lines({"event 6000"}));
    house.Advance(100ms);
    EXPECT_EQ(house.Take(), Lines({"event 5000"}));
}

TEST_F(PuckDriverTest, TimerOfNobody_IsIgnored)
{
    Start("2");
    house.CallDriver(
        [&]
        {
            driver->OnTimerExpired(0, 0);
            driver->OnTimerExpired(UINT_MAX, 0);
        });
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(PuckDriverTest, NoTimer_ReleasesNoIdleSnapOnButtonEvenWithoutContacts)
{
    StartWith("1", "<State/>");
    house.CallDriver([&] { driver->OnTimerExpired(0, 0); });
    EXPECT_EQ(house.Take(), NOTHING);
    m_atEnd.clear();
}

TEST_F(PuckDriverTest, Destruction_LeavesNoTimerOfASnapOnButtonBehind)
{
    Start("1");
    house.Reply("nx.dmx.bmc", {"000001f4"});
    Press("00000001");
    EXPECT_EQ(house.Take(), Lines({"event 5001"}));
    EXPECT_TRUE(house.NextWake());
    house.Restart();
    house.Take();
    EXPECT_FALSE(house.NextWake());
}

// --- Commands and bindings ----------------------------------------------------------------------

TEST_F(PuckDriverTest, ButtonActions_AreRemoteActionsOfThatButton)
{
    Start("2");
    house.Command("PRESS_BTN", {{"BUTTON_NUMBER", "1"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000001", "event 5011",
                                   "mib 4 nx.dmx.btn 01 00 00"}));
    house.Command("RELEASE_BTN", {{"BUTTON_NUMBER", "1"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000000", "event 5010",
                                   "mib 4 nx.dmx.btn 01 00 00"}));
    house.Command("CLICK_BTN", {{"BUTTON_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000002", "event 5000", "event 5002",
                                   "mib 4 nx.dmx.btn 00 00 00"}));
}

TEST_F(PuckDriverTest, ButtonActionsOutsideTheButtons_DoNothing)
{
    Start("2");
    for (const char* number : {"2", "-1", "4294967295"})
        house.Command("PRESS_BTN", {{"BUTTON_NUMBER", number}, {"CONTACT_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(PuckDriverTest, ContactActions_LeaveTheSnapOnButtonsAlone)
{
    Start("2");
    house.Command("RELEASE_CNT", {{"CONTACT_NUMBER", "1"}, {"BUTTON_NUMBER", "0"}});
    EXPECT_EQ(house.Take(), Lines({"mib 3 nx.dmx.rbp 0000000f 00000000", "event 6010"}));
}

TEST_F(PuckDriverTest, GetProperties_SendsContactsThenSnapOnButtons)
{
    Start("2");
    house.Command("GET_PROPERTIES");
    const Lines sent = house.Take();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[1].rfind("ui <CONTACT_STATUS><CONTACT_NUMBER>1<", 0), 0u);
    EXPECT_EQ(sent[2], "ui " + ButtonState(0, "Button 1", "false"));
    EXPECT_EQ(sent[3], "ui " + ButtonState(1, "Button 2", "false"));
}

TEST_F(PuckDriverTest, BoundLink_CarriesTheSnapOnButtonsCommands)
{
    Start("2");
    house.Binding(301, "BUTTON_LINK", true);
    Press("00000002");
    Press("00000001");
    EXPECT_EQ(house.Take(), Lines({"call 301 DO_PUSH", "event 5011", "event 5001"}));
    house.Binding(301, "BUTTON_LINK", false);
    house.Trap("nx.dmx.he", {"00000002"});
    EXPECT_EQ(house.Take(), Lines({"event 5010"}));
}

TEST_F(PuckDriverTest, BindingsOfOtherClassesAndIds_BindNoButton)
{
    Start("2");
    house.Binding(300, "LIGHT", true);
    for (const unsigned id : {0u, 299u, 302u, UINT_MAX})
        house.Binding(id, "BUTTON_LINK", true);
    house.Binding(1, "BUTTON_LINK", true);
    EXPECT_FALSE(driver->SnapOn(0)->IsControlBound());
    EXPECT_FALSE(driver->SnapOn(1)->IsControlBound());
    EXPECT_TRUE(driver->Contact(0)->IsControlBound());
}

TEST_F(PuckDriverTest, Online_SendsNothingOfTheSnapOnButtons)
{
    Start("6");
    house.Online(true);
    for (const std::string& line : house.Take())
        EXPECT_TRUE(line.rfind("mib 4 nx.dmx.btn 07 ", 0) == 0 ||
                    line.rfind("mib 4 nx.dmx.btn 08 ", 0) == 0 ||
                    line.rfind("mib 4 nx.dmx.led ", 0) == 0 || line == "mib 2 nx.dmx.bmc 01")
            << line;
}

TEST_F(PuckDriverTest, ReportedLightLevel_ReachesEveryButton)
{
    Start("2");
    house.CallDriver([&] { driver->ReportLightLevel(40); });
    for (const unsigned index : {0u, 1u})
    {
        EXPECT_EQ(driver->Contact(index)->GetCurState(), 1);
        EXPECT_EQ(driver->SnapOn(index)->GetCurState(), 1);
    }
    house.CallDriver([&] { driver->ReportLightLevel(0); });
    EXPECT_EQ(driver->Contact(1)->GetCurState(), 0);
    EXPECT_EQ(driver->SnapOn(1)->GetCurState(), 0);
    EXPECT_EQ(house.Take(), NOTHING);
}

TEST_F(PuckDriverTest, HoldTime_CanBeLookedAt)
{
    Start("0");
    EXPECT_FALSE(driver->HasHoldFeedback());
    EXPECT_EQ(driver->HoldTimeMs(), 250u);
    house.Reply("nx.dmx.bmc", {"000001f4"});
    EXPECT_TRUE(driver->HasHoldFeedback());
    EXPECT_EQ(driver->HoldTimeMs(), 800u);
}

// --- Persisted state ----------------------------------------------------------------------------

TEST_F(PuckDriverTest, PersistState_EndsWithTheSnapOnButtonsInOrder)
{
    Start("2");
    house.Binding(301, "BUTTON_LINK", true);
    EXPECT_EQ(house.Persist(), "<State>" + std::string(CONTACTS_STATE) + "<ALL_BUTTONS>" +
                                   ButtonState(0, "Button 1", "false") +
                                   ButtonState(1, "Button 2", "true") + "</ALL_BUTTONS></State>");
}

TEST_F(PuckDriverTest, Restart_KeepsTheSnapOnButtonsSettingsButNotTheirBindings)
{
    Start("2");
    house.Binding(301, "BUTTON_LINK", true);
    house.CallDriver(
        [&]
        {
            driver->SnapOn(1)->SetVarName("Stairs");
            driver->SnapOn(1)->SetOnColor("123456", false);
        });
    house.Restart();
    house.Take();
    EXPECT_EQ(house.Persist(), "<State>" + std::string(CONTACTS_STATE) + "<ALL_BUTTONS>" +
                                   ButtonState(0, "Button 1", "false") +
                                   ButtonState(1, "Stairs", "false", "123456") +
                                   "</ALL_BUTTONS></State>");
}

TEST_F(PuckDriverTest, SettingsOfAContact_AreAskedToBeSavedAtOnce)
{
    Start("0");
    house.TakePersistRequests();
    house.Command("CONTACT_STATUS",
                  {{"CONTACT_NUMBER", "1"}, {"AUX_BEHAVIOR", "3"}, {"AUX_LEDS", "1"}});
    EXPECT_EQ(house.TakePersistRequests(), 1);
    house.Take();
    Press("07");
    house.Take();
    EXPECT_EQ(house.TakePersistRequests(), 0);
}

TEST_F(PuckDriverTest, SettingsOfASnapOnButton_AreSavedWhenToldOf)
{
    Start("1");
    house.TakePersistRequests();
    driver->SettingsChanged();
    EXPECT_EQ(house.TakePersistRequests(), 1);
}

TEST_F(PuckDriverTest, StateOfFewerButtons_LeavesTheOthersFresh)
{
    StartWith("2", "<State>" + std::string(CONTACTS_STATE) + "<ALL_BUTTONS>" +
                       ButtonState(0, "Hall", "false") + "</ALL_BUTTONS></State>");
    house.Take();
    EXPECT_EQ(driver->SnapOn(0)->GetVarName(), "Hall");
    EXPECT_EQ(driver->SnapOn(1)->GetVarName(), "Button 2");
    EXPECT_EQ(driver->SnapOn(1)->GetCurColor(), "0000b0");
}

TEST_F(PuckDriverTest, StateOfMoreButtons_IsNotMadeIntoMore)
{
    StartWith("1", "<State>" + std::string(CONTACTS_STATE) + "<ALL_BUTTONS>" +
                       ButtonState(0, "Hall", "false") + ButtonState(1, "Stairs", "false") +
                       "</ALL_BUTTONS></State>");
    house.Take();
    EXPECT_EQ(Buttons(), 1u);
}

TEST_F(PuckDriverTest, StateWithoutButtons_LeavesAllFresh)
{
    StartWith("2", "<State>" + std::string(CONTACTS_STATE) + "</State>");
    house.Take();
    EXPECT_EQ(driver->SnapOn(0)->GetVarName(), "Button 1");
    EXPECT_EQ(driver->SnapOn(1)->GetBehavior(), 2);
}

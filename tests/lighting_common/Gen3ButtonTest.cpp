// The button's model: construction, XML, settings, actions and levels.
#include "nxshared/XmlDocument.h"
#include "tests/lighting_common/Gen3Doubles.h"
#include "tests/support/LogSwitchedOff.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/shared_ptr.hpp>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
class Gen3ButtonTest : public gen3_test::ButtonTest
{
};

boost::shared_ptr<nx::XmlNode> Xml(const std::string& text)
{
    return nx::CreateXmlDocument(text)->GetRoot();
}

// What the log says when the state is not known.
const std::string UNKNOWN_STATE =
    "WARN Button: Kitchen state is unknown, it has not been set since centrix was started.  We "
    "can't properly update Bound LED state/color tracking devices when button/LED state is Unknown";
const std::string STATE_UNCHANGED =
    "TRACE Button: Kitchen state did not change so we have to assume the keypads buttons LED is "
    "capable tracking on, off and current individually further down the chain.";
const std::string COLOR_UNCHANGED =
    "TRACE Button: Kitchen LED Behavior is FOLLOW_BOUND_DEV set, but Active LED Color state did "
    "not change so not updating current color.";
} // namespace

// --- Construction ---

TEST_F(Gen3ButtonTest, PlainButton_HasAnIdAndNothingElse)
{
    const Gen3Button plain(owner, char{5});
    EXPECT_EQ(plain.GetBtnIndex(), 5);
    EXPECT_EQ(plain.GetBehavior(), -1);
    EXPECT_EQ(plain.GetLEDBehavior(), 0);
    EXPECT_EQ(plain.GetLEDBlinkBehavior(), 0);
    EXPECT_EQ(plain.GetSlots(), 0);
    EXPECT_EQ(plain.GetHoldTimer(), 0u);
    EXPECT_EQ(plain.GetName() + plain.GetOnColor() + plain.GetOffColor() + plain.GetCurColor(), "");
    EXPECT_THAT(Seen(), IsEmpty());
}

TEST_F(Gen3ButtonTest, TopButtonOfTwo_WritesItsColorsAndBehaviours)
{
    const Gen3Button top(owner, 1, "ffffff", "000080");
    EXPECT_EQ(top.GetName(), "Top Button");
    EXPECT_EQ(top.GetSlots(), 1);
    EXPECT_THAT(Seen(), ElementsAre("led 1 3 cccccc", "led 1 4 000066", "behavior of 1 3",
                                    "led 1 0 1", "led 1 1 2"));
}

TEST_F(Gen3ButtonTest, AnyOtherOfTwo_IsTheBottomButtonOnLedFour)
{
    const Gen3Button bottom(owner, 2, "ffffff", "000000");
    EXPECT_EQ(bottom.GetName(), "Bottom Button");
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 cccccc", "led 4 4 000000", "behavior of 2 3",
                                    "led 4 0 2", "led 4 1 2"));
}

TEST_F(Gen3ButtonTest, FromCommand_WritesEverythingInOrder)
{
    const Gen3Button made(owner, gen3_test::Command({{"BUTTON_ID", "4"},
                                                     {"SLOTS", "1"},
                                                     {"NAME", "Hall"},
                                                     {"ON_COLOR", "ff0000"},
                                                     {"OFF_COLOR", "0000ff"},
                                                     {"BUTTON_BEHAVIOR", "17"},
                                                     {"LED_BEHAVIOR", "1"}}));
    EXPECT_EQ(made.GetName(), "Hall");
    EXPECT_EQ(made.GetCurColor(), "0000ff");
    EXPECT_EQ(made.GetLEDBehavior(), 1);
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 cc0000", "led 4 4 0000cc", "behavior of 4 17",
                                    "led 4 0 0", "led 4 1 1", "led 4 5 0000cc",
                                    "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 0000ff",
                                    "backlight 4 default"));
}

TEST_F(Gen3ButtonTest, FromCommand_ForcesLedBehaviourZero)
{
    const Gen3Button made(owner, gen3_test::Command({{"BUTTON_ID", "2"}, {"SLOTS", "1"}}));
    EXPECT_THAT(Seen(), ElementsAre("behavior of 2 0", "led 2 0 0", "led 2 1 0",
                                    "notify 2 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                                    "notify 2 REQUEST_BUTTON_COLORS  -1", "led 2 5 ",
                                    "notify text 2 KEYPAD_BUTTON_INFO CURRENT_COLOR ",
                                    "backlight 2 default"));
}

TEST_F(Gen3ButtonTest, FromCommand_ThreeSlotsOrMoreStartOneLedFurther)
{
    for (const char* slots : {"0", "1", "2", "3", "4"})
    {
        Given("4", slots, "1");
        button->SetLEDBehavior(gen3_lights::Buttons::LED_AT_LEVEL_FIRST, true);
        const std::string first = Seen().front();
        EXPECT_EQ(first, *slots < '3' ? "led 4 0 0" : "led 5 0 0") << slots;
    }
}

TEST_F(Gen3ButtonTest, FromCommand_BehaviourMinusOneIsNoChange)
{
    const Gen3Button made(owner,
                          gen3_test::Command({{"BUTTON_ID", "6"}, {"BUTTON_BEHAVIOR", "-1"}}));
    EXPECT_THAT(Seen(), ElementsAre("backlight 6 000000"));
}

TEST_F(Gen3ButtonTest, IdIsCutToEightSignedBits)
{
    Given("300", "1", "1");
    EXPECT_EQ(button->GetBtnIndex(), 44);
    Given("200", "1", "1");
    EXPECT_EQ(button->GetBtnIndex(), -56);
}

// --- Derived values ---

TEST_F(Gen3ButtonTest, ChannelAndCoreBehaviour_ByTable)
{
    struct Row
    {
        int behavior;
        int channel;
        int core;
    };
    const Row rows[] = {{-2147483647 - 1, -1, -1},
                        {-1, -1, -1},
                        {0, 0, 0},
                        {1, 0, 1},
                        {2, 0, 2},
                        {3, 0, 3},
                        {4, 0, 4},
                        {5, 0, 5},
                        {6, -1, -1},
                        {15, -1, -1},
                        {16, 1, 0},
                        {17, 1, 1},
                        {18, 1, 2},
                        {19, -1, -1},
                        {2147483647, -1, -1}};
    Given("1", "1", "1");
    for (const Row& row : rows)
    {
        button->SetBehavior(row.behavior, false);
        EXPECT_EQ(button->GetChannel(), row.channel) << row.behavior;
        EXPECT_EQ(button->GetCoreBehavior(), row.core) << row.behavior;
    }
    record.Forget();
}

TEST_F(Gen3ButtonTest, Binding_IsIdPlus203)
{
    Given("1", "1", "1");
    EXPECT_EQ(button->GetBinding(), 204);
    Given("-1", "1", "1");
    EXPECT_EQ(button->GetBinding(), 202);
}

TEST_F(Gen3ButtonTest, Actuator_IsByNameForRockerHalvesElseTheId)
{
    Given("7", "3", "1", "Rocker Top Button");
    EXPECT_EQ(button->GetActuator(), 1);
    Given("7", "3", "1", "Rocker Bottom Button");
    EXPECT_EQ(button->GetActuator(), 5);
    Given("7", "3", "1", "Rocker top button");
    EXPECT_EQ(button->GetActuator(), 7);
}

// --- XML ---

TEST_F(Gen3ButtonTest, ToXml_HasTheChildrenInOrder)
{
    Given("3", "2", "50", "A & B");
    EXPECT_EQ(button->toXml()->ToText(),
              "<KEYPAD_BUTTON_INFO><BUTTON_ID>3</BUTTON_ID><NAME>A &amp; B</NAME>"
              "<LED_BEHAVIOR>50</LED_BEHAVIOR><LED_BLINK_BEHAVIOR>0</LED_BLINK_BEHAVIOR>"
              "<ON_COLOR>ffffff</ON_COLOR><OFF_COLOR>000000</OFF_COLOR>"
              "<BUTTON_BEHAVIOR>3</BUTTON_BEHAVIOR><SLOTS>2</SLOTS></KEYPAD_BUTTON_INFO>");
}

TEST_F(Gen3ButtonTest, SettingsFromXml_TakeColorsAndBehavioursOnly)
{
    Given("3", "1", "1");
    button->applySettings(Xml("<X><NAME>New</NAME><SLOTS>2</SLOTS><BUTTON_ID>9</BUTTON_ID>"
                              "<ON_COLOR>00ff00</ON_COLOR><OFF_COLOR>ff0000</OFF_COLOR>"
                              "<BUTTON_BEHAVIOR>4</BUTTON_BEHAVIOR>"
                              "<LED_BEHAVIOR>2</LED_BEHAVIOR></X>"));
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00", "led 3 4 cc0000", "behavior of 3 4",
                                    "led 3 0 3", "led 3 1 2"));
    EXPECT_EQ(button->GetName(), "Kitchen");
    EXPECT_EQ(button->GetSlots(), 1);
}

TEST_F(Gen3ButtonTest, SettingsFromXml_UnchangedValuesWriteNothing)
{
    Given("3", "1", "1");
    button->applySettings(button->toXml());
    EXPECT_THAT(Seen(), IsEmpty());
}

TEST_F(Gen3ButtonTest, SettingsFromXml_MissingChildrenCountAsEmptyAndZero)
{
    Given("3", "1", "1");
    button->applySettings(Xml("<X/>"));
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 ", "led 3 4 ", "behavior of 3 0", "led 3 0 0",
                                    "led 3 1 0", "notify 3 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                                    "notify 3 REQUEST_BUTTON_COLORS  -1"));
}

TEST_F(Gen3ButtonTest, SettingsFromNull_ChangeNothing)
{
    Given("3", "1", "1");
    button->applySettings(boost::shared_ptr<nx::XmlNode>());
    EXPECT_THAT(Seen(), IsEmpty());
}

// --- Settings command ---

TEST_F(Gen3ButtonTest, EmptySettings_ChangeNothingAndWarn)
{
    Given("3", "1", "1");
    Settings({{"NAME", ""}, {"BUTTON_BEHAVIOR", ""}, {"ON_COLOR", ""}, {"STATE", ""}});
    EXPECT_THAT(Seen(), ElementsAre(UNKNOWN_STATE));
    EXPECT_EQ(button->GetName(), "Kitchen");
    EXPECT_EQ(button->GetBehavior(), 3);
}

TEST_F(Gen3ButtonTest, AllSettings_ApplyInOrder)
{
    Given("3", "1", "1");
    owner.tracksLeds = true;
    Settings({{"CURRENT_COLOR", "111111"},
              {"STATE", "true"},
              {"OFF_COLOR", "222222"},
              {"ON_COLOR", "333333"},
              {"LED_BEHAVIOR", "2"},
              {"BUTTON_BEHAVIOR", "5"},
              {"BOUND", "True"},
              {"NAME", "Rocker Bottom Button"}});
    EXPECT_THAT(Seen(),
                ElementsAre("tracks leds?", "led 3 0 0", "led 3 1 0",
                            "notify 3 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                            "notify 3 REQUEST_BUTTON_COLORS  -1", "behavior of 3 5", "led 3 0 5",
                            "led 3 1 2", "led 3 3 282828", "led 3 4 1b1b1b", "led 3 5 282828",
                            "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 333333",
                            "led 3 5 0d0d0d",
                            "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 111111"));
}

TEST_F(Gen3ButtonTest, Name_ReplacesTheNameBeforeTheLedIsTied)
{
    Given("3", "1", "1");
    Settings({{"NAME", "Rocker Top Button"}, {"LED_BEHAVIOR", "2"}, {"STATE", "0"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 0 1", "led 3 1 2"));
    EXPECT_EQ(button->GetName(), "Rocker Top Button");
}

TEST_F(Gen3ButtonTest, Bound_OnTrackingOwnerMakesTheLedFollow)
{
    for (const char* yes : {"T", "t", "1", "true", "10"})
    {
        Given("3", "1", "1");
        owner.tracksLeds = true;
        Settings({{"BOUND", yes}});
        EXPECT_EQ(button->GetLEDBehavior(), 0) << yes;
        EXPECT_THAT(Seen(), testing::Contains("tracks leds?"));
    }
}

TEST_F(Gen3ButtonTest, Bound_OnOtherOwnersLeavesTheLedAlone)
{
    Given("3", "1", "1");
    Settings({{"BOUND", "true"}, {"STATE", "0"}});
    EXPECT_EQ(button->GetLEDBehavior(), 1);
    EXPECT_THAT(Seen(), ElementsAre("tracks leds?"));
}

TEST_F(Gen3ButtonTest, BoundFalse_AsksNobody)
{
    for (const char* no : {"false", "0", "yes", " 1"})
    {
        Given("3", "1", "1");
        owner.tracksLeds = true;
        Settings({{"BOUND", no}, {"STATE", "0"}});
        EXPECT_THAT(Seen(), IsEmpty()) << no;
    }
}

TEST_F(Gen3ButtonTest, NumbersInSettings_AreLeadingDecimals)
{
    Given("3", "1", "1");
    Settings({{"BUTTON_BEHAVIOR", " 16x"}, {"LED_BEHAVIOR", "junk"}, {"STATE", "0"}});
    EXPECT_EQ(button->GetBehavior(), 16);
    EXPECT_EQ(button->GetLEDBehavior(), 0);
    record.Forget();
}

TEST_F(Gen3ButtonTest, State_ChoosesTheCurrentColor)
{
    for (const char* on : {"1", "T", "true"})
    {
        Given("3", "1", "1");
        Settings({{"STATE", on}});
        EXPECT_THAT(Seen(), ElementsAre("led 3 5 cccccc",
                                        "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR ffffff"));
    }
    Settings({{"STATE", "off"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 5 000000",
                                    "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000"));
}

TEST_F(Gen3ButtonTest, State_WithTheColorShownAlreadyWritesNothing)
{
    Given("3", "1", "1");
    Settings({{"STATE", "0"}});
    EXPECT_THAT(Seen(), IsEmpty());
}

TEST_F(Gen3ButtonTest, MatchLedState_CountsOnlyWhileTheLedFollows)
{
    Given("3", "1", "0");
    Settings({{"MATCH_LED_STATE", "1"}});
    EXPECT_EQ(button->GetCurColor(), "ffffff");
    record.Forget();
    Given("3", "1", "1");
    Settings({{"MATCH_LED_STATE", "1"}});
    EXPECT_THAT(Seen(), ElementsAre(UNKNOWN_STATE));
}

TEST_F(Gen3ButtonTest, MatchLedState_WinsOverState)
{
    Given("3", "1", "0");
    Settings({{"STATE", "0"}, {"MATCH_LED_STATE", "1"}});
    EXPECT_EQ(button->GetCurColor(), "ffffff");
    record.Forget();
}

TEST_F(Gen3ButtonTest, NoState_OtherLedBehaviour_LeavesTheColorToTheKeypad)
{
    Given("3", "1", "1");
    Settings({{"STATE", "1"}});
    record.Forget();
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00", STATE_UNCHANGED));
    EXPECT_EQ(button->GetCurColor(), "ffffff");
}

TEST_F(Gen3ButtonTest, NoState_FollowingLedThatIsOn_TakesANewOnColor)
{
    Given("3", "1", "0");
    Settings({{"STATE", "1"}});
    record.Forget();
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00", "led 3 5 00cc00",
                                    "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 00ff00"));
    Settings({{"OFF_COLOR", "0000ff"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 4 0000cc", COLOR_UNCHANGED));
}

TEST_F(Gen3ButtonTest, NoState_FollowingLedThatIsOff_TakesANewOffColor)
{
    Given("3", "1", "0");
    Settings({{"STATE", "0"}});
    record.Forget();
    Settings({{"OFF_COLOR", "0000ff"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 4 0000cc", "led 3 5 0000cc",
                                    "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 0000ff"));
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00", COLOR_UNCHANGED));
}

TEST_F(Gen3ButtonTest, NoState_FollowingLed_DoesNotShowTwiceWhatItShows)
{
    Given("3", "1", "0");
    Settings({{"STATE", "0"}});
    button->SetCurColor("0000ff", false);
    record.Forget();
    Settings({{"OFF_COLOR", "0000ff"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 4 0000cc"));
    Settings({{"STATE", "1"}});
    button->SetCurColor("00ff00", false);
    record.Forget();
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00"));
}

TEST_F(Gen3ButtonTest, NoState_FollowingLed_SameColorIsNoChange)
{
    Given("3", "1", "0");
    Settings({{"STATE", "1"}});
    record.Forget();
    Settings({{"ON_COLOR", "ffffff"}});
    EXPECT_THAT(Seen(), ElementsAre(COLOR_UNCHANGED));
}

TEST_F(Gen3ButtonTest, SettingsWithTheLogSwitchedOff_AreTakenAlike)
{
    Given("3", "1", "1");
    const test_support::LogSwitchedOff off;
    Settings({{"MATCH_LED_STATE", "1"}});
    EXPECT_THAT(Seen(), IsEmpty());
    Settings({{"STATE", "0"}});
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 00cc00"));
    Settings({{"LED_BEHAVIOR", "0"}});
    record.Forget();
    Settings({{"ON_COLOR", "0000ff"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 3 0000cc"));
}

TEST_F(Gen3ButtonTest, RecordsOfSettings_NameTheOperation)
{
    host.ExpectSource("lighting_common/Gen3Button",
                      "void Gen3Button::applySettings(const ICmdMessage&)");
    Given("3", "1", "1");
    Settings({{"ON_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), testing::Contains(testing::HasSubstr("WARN Button: Kitchen state is ")));
    Settings({{"STATE", "1"}});
    Settings({{"OFF_COLOR", "00ff00"}});
    EXPECT_THAT(Seen(), testing::Contains(testing::HasSubstr("TRACE Button: Kitchen state did")));
}

TEST_F(Gen3ButtonTest, CurrentColor_IsForced)
{
    Given("3", "1", "1");
    Settings({{"STATE", "0"}, {"CURRENT_COLOR", "000000"}});
    EXPECT_THAT(Seen(), ElementsAre("led 3 5 000000",
                                    "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000"));
}

TEST_F(Gen3ButtonTest, DerivedButton_SeesItsBehaviourSet)
{
    struct Derived : Gen3Button
    {
        using Gen3Button::Gen3Button;
        void SetBehavior(int behavior, bool) override { seen = behavior; }
        int seen = -1;
    };
    Derived derived(owner, char{1});
    derived.applySettings(gen3_test::Command({{"BUTTON_BEHAVIOR", "4"}}));
    EXPECT_EQ(derived.seen, 4);
    derived.ResetButton();
    EXPECT_EQ(derived.seen, 0);
    record.Forget();
}

TEST_F(Gen3ButtonTest, SetBehavior_TellsChangesAndForced)
{
    Given("3", "1", "1");
    button->SetBehavior(3, false);
    EXPECT_THAT(Seen(), IsEmpty());
    button->SetBehavior(3, true);
    EXPECT_THAT(Seen(), ElementsAre("behavior of 3 3"));
    button->SetBehavior(4, false);
    EXPECT_THAT(Seen(), ElementsAre("behavior of 3 4"));
}

// --- Local actions and the hold timer ---

TEST_F(Gen3ButtonTest, Push_StartsTheHoldTimerAndReports)
{
    Given("3", "1", "1");
    button->DoPush();
    EXPECT_THAT(Seen(), ElementsAre("uses hold timer?", "start timer 1", "event 3 1"));
    EXPECT_EQ(button->GetHoldTimer(), 1u);
}

TEST_F(Gen3ButtonTest, Push_WithoutHoldTimersStartsNone)
{
    Given("3", "1", "1");
    owner.usesHoldTimer = false;
    button->DoPush();
    EXPECT_THAT(Seen(), ElementsAre("uses hold timer?", "event 3 1"));
    EXPECT_EQ(button->GetHoldTimer(), 0u);
}

TEST_F(Gen3ButtonTest, PushTwice_RestartsTheTimerAndReportsTwice)
{
    Given("3", "1", "1");
    button->DoPush();
    record.Forget();
    button->DoPush();
    EXPECT_THAT(Seen(),
                ElementsAre("kill timer 1", "uses hold timer?", "start timer 2", "event 3 1"));
}

TEST_F(Gen3ButtonTest, Push_WhileTheLedShowsPressesNotesTheOnColor)
{
    Given("3", "1", "2");
    button->DoPush();
    EXPECT_THAT(Seen(), ElementsAre("uses hold timer?", "start timer 1", "event 3 1",
                                    "notify 3 KEYPAD_BUTTON_INFO STATE 1"));
    EXPECT_EQ(button->GetCurColor(), "ffffff");
}

TEST_F(Gen3ButtonTest, Release_StopsTheTimerAndNotesTheOffColor)
{
    Given("3", "1", "2");
    button->DoPush();
    record.Forget();
    button->DoRelease();
    EXPECT_THAT(Seen(),
                ElementsAre("kill timer 1", "event 3 0", "notify 3 KEYPAD_BUTTON_INFO STATE 0"));
    EXPECT_EQ(button->GetCurColor(), "000000");
    EXPECT_EQ(button->GetHoldTimer(), 0u);
}

TEST_F(Gen3ButtonTest, Click_StopsTheTimerAndNotesTheOffColor)
{
    Given("3", "1", "2");
    button->DoPush();
    record.Forget();
    button->DoClick();
    EXPECT_THAT(Seen(),
                ElementsAre("kill timer 1", "event 3 2", "notify 3 KEYPAD_BUTTON_INFO STATE 0"));
    EXPECT_EQ(button->GetCurColor(), "000000");
}

TEST_F(Gen3ButtonTest, ReleaseAndClick_WithoutATimerOrLedOnlyReport)
{
    Given("3", "1", "1");
    button->DoRelease();
    button->DoClick();
    button->KillHoldTimer();
    EXPECT_THAT(Seen(), ElementsAre("event 3 0", "event 3 2"));
}

namespace
{
// Does something with the button inside KillButtonTimer.
class OwnerThatComesBack : public gen3_test::RecordingOwner
{
public:
    using RecordingOwner::RecordingOwner;
    void KillButtonTimer(ID::Timer timer) override
    {
        RecordingOwner::KillButtonTimer(timer);
        if (onKill)
            onKill();
    }
    std::function<void()> onKill;
};
} // namespace

TEST_F(Gen3ButtonTest, OwnerThatReleasesInsideKillTimer_IsNotAskedForEver)
{
    OwnerThatComesBack comesBack(record);
    Gen3Button held(comesBack, char{3});
    held.DoPush();
    record.Forget();
    comesBack.onKill = [&held]
    {
        held.DoRelease();
    };
    held.DoClick();
    EXPECT_THAT(Seen(), ElementsAre("kill timer 1", "event 3 0", "event 3 2"));
    EXPECT_EQ(held.GetHoldTimer(), 0u);
}

TEST_F(Gen3ButtonTest, TimerStartedInsideKillTimer_KeepsRunning)
{
    OwnerThatComesBack comesBack(record);
    Gen3Button held(comesBack, char{3});
    held.DoPush();
    comesBack.onKill = [&]
    {
        std::exchange(comesBack.onKill, nullptr), held.OnHoldReceived();
    };
    held.KillHoldTimer();
    EXPECT_EQ(held.GetHoldTimer(), 2u);
    record.Forget();
    held.DoRelease();
    EXPECT_THAT(Seen(), ElementsAre("kill timer 2", "event 3 0"));
}

TEST_F(Gen3ButtonTest, OwnerThatThrowsInsideKillTimer_IsAskedAgain)
{
    OwnerThatComesBack comesBack(record);
    Gen3Button held(comesBack, char{3});
    held.DoPush();
    comesBack.onKill = []
    {
        throw std::runtime_error("kill");
    };
    EXPECT_THROW(held.DoRelease(), std::runtime_error);
    comesBack.onKill = nullptr;
    record.Forget();
    held.DoRelease();
    EXPECT_THAT(Seen(), ElementsAre("kill timer 1", "event 3 0"));
}

TEST_F(Gen3ButtonTest, HoldReport_RestartsTheTimerOnly)
{
    Given("3", "1", "2");
    button->OnHoldReceived();
    button->OnHoldReceived();
    EXPECT_THAT(Seen(), ElementsAre("uses hold timer?", "start timer 1", "kill timer 1",
                                    "uses hold timer?", "start timer 2"));
}

TEST_F(Gen3ButtonTest, HoldTimerRunningOut_EndsThePressAsARelease)
{
    Given("3", "1", "2");
    button->DoPush();
    record.Forget();
    button->OnHoldTimerExpired();
    EXPECT_THAT(Seen(),
                ElementsAre("kill timer 1", "event 3 0", "notify 3 KEYPAD_BUTTON_INFO STATE 0"));
    EXPECT_EQ(button->GetHoldTimer(), 0u);
}

TEST_F(Gen3ButtonTest, Destruction_CallsNobody)
{
    Given("3", "1", "2");
    button->DoPush();
    record.Forget();
    button.reset();
    EXPECT_THAT(Seen(), IsEmpty());
}

// --- Remote actions ---

TEST_F(Gen3ButtonTest, RemotePush_ActsReportsAndShowsTheOnColor)
{
    for (const char* led : {"2", "51"})
    {
        Given("3", "1", led);
        button->RemotePush();
        EXPECT_THAT(Seen(), ElementsAre("action 3 1 3", "event 3 1", "led 3 5 cccccc",
                                        "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR ffffff"))
            << led;
    }
}

TEST_F(Gen3ButtonTest, RemotePush_OtherLedBehavioursKeepTheColor)
{
    for (const char* led : {"0", "1", "3", "7", "50", "52"})
    {
        Given("3", "1", led);
        button->RemotePush();
        EXPECT_THAT(Seen(), ElementsAre("action 3 1 3", "event 3 1")) << led;
    }
}

TEST_F(Gen3ButtonTest, RemoteRelease_ActsReportsAndShowsTheOffColor)
{
    for (const char* led : {"2", "50"})
    {
        Given("3", "1", led);
        button->RemoteRelease();
        EXPECT_THAT(Seen(), ElementsAre("action 3 0 3", "event 3 0", "led 3 5 000000",
                                        "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000"))
            << led;
    }
}

TEST_F(Gen3ButtonTest, RemoteRelease_OtherLedBehavioursKeepTheColor)
{
    for (const char* led : {"0", "1", "3", "7", "51", "49"})
    {
        Given("3", "1", led);
        button->RemoteRelease();
        EXPECT_THAT(Seen(), ElementsAre("action 3 0 3", "event 3 0")) << led;
    }
}

TEST_F(Gen3ButtonTest, RemoteClick_ActsReportsCountsAndShowsTheOffColor)
{
    Given("3", "1", "2");
    button->RemoteClick();
    EXPECT_THAT(Seen(),
                ElementsAre("action 3 2 3", "event 3 2", "remote click 3 1", "led 3 5 000000",
                            "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000"));
}

TEST_F(Gen3ButtonTest, RemoteReleaseAndClick_ShowTheOffColorAgain)
{
    Given("3", "1", "2");
    const std::string shown = "notify text 3 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000";
    ASSERT_EQ(button->GetCurColor(), "000000");
    button->RemoteRelease();
    EXPECT_THAT(Seen(), ElementsAre("action 3 0 3", "event 3 0", "led 3 5 000000", shown));
    button->RemoteClick();
    EXPECT_THAT(Seen(), ElementsAre("action 3 2 3", "event 3 2", "remote click 3 1",
                                    "led 3 5 000000", shown));
}

TEST_F(Gen3ButtonTest, RemoteClick_OtherLedBehavioursKeepTheColor)
{
    for (const char* led : {"0", "1", "50", "51"})
    {
        Given("3", "1", led);
        button->RemoteClick();
        EXPECT_THAT(Seen(), ElementsAre("action 3 2 3", "event 3 2", "remote click 3 1")) << led;
    }
}

TEST_F(Gen3ButtonTest, RemoteActions_LeaveTheHoldTimerAlone)
{
    Given("3", "1", "1");
    button->DoPush();
    record.Forget();
    button->RemoteRelease();
    button->RemoteClick();
    EXPECT_EQ(button->GetHoldTimer(), 1u);
    record.Forget();
}

// --- Levels of a bound load ---

TEST_F(Gen3ButtonTest, LightLevel_OnWithTheLoad)
{
    struct Row
    {
        int level;
        const char* seen;
        const char* color;
    };
    const Row rows[] = {{1, "notify 3 KEYPAD_BUTTON_INFO STATE 1", "ffffff"},
                        {0, "notify 3 KEYPAD_BUTTON_INFO STATE 0", "000000"},
                        {100, "notify 3 KEYPAD_BUTTON_INFO STATE 1", "ffffff"},
                        {-1, "notify 3 KEYPAD_BUTTON_INFO STATE 0", "000000"}};
    Given("3", "1", "1");
    for (const Row& row : rows)
    {
        button->InformLightLevel(row.level);
        EXPECT_THAT(Seen(), ElementsAre(row.seen)) << row.level;
        EXPECT_EQ(button->GetCurColor(), row.color) << row.level;
    }
}

TEST_F(Gen3ButtonTest, LightLevel_OnAtExactlyOneLevel)
{
    const char* behaviors[] = {"3", "4", "5", "6", "7"};
    for (int n = 0; n < 5; ++n)
    {
        for (int level = -1; level <= 5; ++level)
        {
            Given("3", "1", behaviors[n]);
            button->InformLightLevel(level);
            const bool on = level == n;
            EXPECT_THAT(Seen(), ElementsAre(std::string("notify 3 KEYPAD_BUTTON_INFO STATE ") +
                                            (on ? "1" : "0")));
            EXPECT_EQ(button->GetCurColor(), on ? "ffffff" : "000000");
        }
    }
}

TEST_F(Gen3ButtonTest, LightLevel_OtherLedBehavioursDoNothing)
{
    for (const char* led : {"-1", "0", "2", "8", "50", "51"})
    {
        Given("3", "1", led);
        button->InformLightLevel(1);
        EXPECT_THAT(Seen(), IsEmpty()) << led;
    }
}

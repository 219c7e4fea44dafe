// What a button writes into its LEDs and backlight.
#include "tests/lighting_common/Gen3Doubles.h"

#include <limits>
#include <memory>
#include <string>
#include <utility>

using gen3_lights::Buttons::LEDBehavior;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
class Gen3ButtonLedTest : public gen3_test::ButtonTest
{
};

LEDBehavior Led(int behavior)
{
    return static_cast<LEDBehavior>(behavior);
}
} // namespace

TEST_F(Gen3ButtonLedTest, Constants)
{
    EXPECT_EQ(Gen3Button::BLACK, "000000");
    EXPECT_EQ(Gen3Button::WHITE, "ffffff");
}

// --- Colours ---

TEST_F(Gen3ButtonLedTest, OneSlot_WritesEightyPercentAndKeepsTheColor)
{
    Given("4", "1", "1");
    button->SetOnColor("fffffe", false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 cccccb"));
    EXPECT_EQ(button->GetOnColor(), "fffffe");
    button->SetOffColor("ff8000", false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 4 cc6600"));
    EXPECT_EQ(button->GetOffColor(), "ff8000");
}

TEST_F(Gen3ButtonLedTest, TwoSlots_WriteTheColorToBothLeds)
{
    Given("4", "2", "1");
    button->SetOnColor("112233", false);
    button->SetOffColor("445566", false);
    button->SetCurColor("778899", false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 112233", "led 5 3 112233", "led 4 4 445566",
                                    "led 5 4 445566", "led 4 5 778899", "led 5 5 778899",
                                    "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 778899"));
}

TEST_F(Gen3ButtonLedTest, ThreeSlots_WriteTheirOwnLedAtEightyPercent)
{
    Given("4", "3", "1");
    button->SetOnColor("ff0000", false);
    button->SetOffColor("00ff00", false);
    button->SetCurColor("0000ff", false);
    EXPECT_THAT(Seen(), ElementsAre("led 5 3 cc0000", "led 5 4 00cc00", "led 5 5 0000cc",
                                    "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 0000ff"));
}

TEST_F(Gen3ButtonLedTest, NoSlots_KeepTheOldColors)
{
    for (const char* slots : {"0", "-1"})
    {
        Given("4", slots, "1");
        button->SetOnColor("112233", true);
        button->SetOffColor("112233", true);
        button->SetCurColor("112233", true);
        EXPECT_THAT(Seen(), IsEmpty());
        EXPECT_EQ(button->GetOnColor() + button->GetOffColor() + button->GetCurColor(), "");
    }
}

TEST_F(Gen3ButtonLedTest, UnchangedColors_WriteOnlyWhenForced)
{
    Given("4", "1", "1");
    button->SetOnColor("ffffff", false);
    button->SetOffColor("000000", false);
    button->SetCurColor("000000", false);
    EXPECT_THAT(Seen(), IsEmpty());
    button->SetOnColor("ffffff", true);
    button->SetOffColor("000000", true);
    button->SetCurColor("000000", true);
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 cccccc", "led 4 4 000000", "led 4 5 000000",
                                    "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000"));
}

TEST_F(Gen3ButtonLedTest, OddColorTexts_PassThrough)
{
    Given("4", "1", "1");
    button->SetOnColor("red", false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 3 red"));
    EXPECT_EQ(button->GetOnColor(), "red");
}

// --- Blinking ---

TEST_F(Gen3ButtonLedTest, Blink_IsWrittenButNotRemembered)
{
    Given("4", "1", "1");
    button->SetLEDBlinkBehavior(3);
    EXPECT_THAT(Seen(), ElementsAre("led 4 2 3"));
    EXPECT_EQ(button->GetLEDBlinkBehavior(), 0);
}

TEST_F(Gen3ButtonLedTest, Blink_BySlots)
{
    Given("4", "0", "1");
    button->SetLEDBlinkBehavior(3);
    EXPECT_THAT(Seen(), IsEmpty());
    Given("4", "2", "1");
    button->SetLEDBlinkBehavior(3);
    EXPECT_THAT(Seen(), ElementsAre("led 4 2 3", "led 5 2 3"));
    Given("4", "3", "1");
    button->SetLEDBlinkBehavior(3);
    EXPECT_THAT(Seen(), ElementsAre("led 5 2 3"));
}

TEST_F(Gen3ButtonLedTest, Blink_IsCutToEightSignedBits)
{
    Given("4", "1", "1");
    button->SetLEDBlinkBehavior(127);
    button->SetLEDBlinkBehavior(128);
    button->SetLEDBlinkBehavior(255);
    EXPECT_THAT(Seen(), ElementsAre("led 4 2 127", "led 4 2 -128", "led 4 2 -1"));
}

// --- LED behaviour ---

TEST_F(Gen3ButtonLedTest, Behaviour_OneSlot)
{
    Given("4", "1", "1");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 4", "led 4 1 2"));
    button->SetLEDBehavior(Led(3), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 0", "led 4 1 3"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_TwoSlotsWriteBothLedsParameterByParameter)
{
    Given("4", "2", "1");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 4", "led 5 0 4", "led 4 1 2", "led 5 1 2"));
    button->SetLEDBehavior(Led(7), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 0", "led 5 0 0", "led 4 1 7", "led 5 1 7"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_ThreeSlotsDarkenBothNeighbours)
{
    Given("4", "3", "1", "Rocker Bottom Button");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 5 0 5", "led 5 1 2",                             //
                                    "led 6 0 0", "led 6 1 0",                             //
                                    "led 6 3 000000", "led 6 4 000000", "led 6 5 000000", //
                                    "led 4 0 0", "led 4 1 0",                             //
                                    "led 4 3 000000", "led 4 4 000000", "led 4 5 000000"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_FourSlotsDarkenNobody)
{
    Given("4", "4", "1");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 5 0 4", "led 5 1 2"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_UnchangedWritesOnlyWhenForced)
{
    Given("4", "1", "1");
    button->SetLEDBehavior(Led(1), false);
    EXPECT_THAT(Seen(), IsEmpty());
    button->SetLEDBehavior(Led(1), true);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 0", "led 4 1 1"));
}

TEST_F(Gen3ButtonLedTest, BehaviourZero_NotifiesEveryTime)
{
    Given("4", "1", "0");
    for (int i = 0; i < 2; ++i)
    {
        button->SetLEDBehavior(Led(0), false);
        EXPECT_THAT(Seen(), ElementsAre("notify 4 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                                        "notify 4 REQUEST_BUTTON_COLORS  -1"));
    }
}

TEST_F(Gen3ButtonLedTest, BehaviourZero_WhenNewWritesFirst)
{
    Given("4", "1", "1");
    button->SetLEDBehavior(Led(0), false);
    EXPECT_THAT(Seen(),
                ElementsAre("led 4 0 0", "led 4 1 0", "notify 4 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                            "notify 4 REQUEST_BUTTON_COLORS  -1"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_IdSixWithoutSlotsHasNoLed)
{
    Given("6", "0", "1");
    button->SetLEDBehavior(Led(0), true);
    EXPECT_THAT(Seen(), IsEmpty());
    EXPECT_EQ(button->GetLEDBehavior(), 0);
}

TEST_F(Gen3ButtonLedTest, Behaviour_OtherIdsWithoutSlotsAreWritten)
{
    Given("5", "0", "1");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 5 0 5", "led 5 1 2"));
    Given("6", "1", "1");
    button->SetLEDBehavior(Led(2), false);
    EXPECT_THAT(Seen(), ElementsAre("led 6 0 6", "led 6 1 2"));
}

TEST_F(Gen3ButtonLedTest, Behaviour_IsCutToEightSignedBitsOnTheWayOnly)
{
    Given("4", "1", "1");
    button->SetLEDBehavior(Led(200), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 0", "led 4 1 -56"));
    EXPECT_EQ(button->GetLEDBehavior(), 200);
    button->SetLEDBehavior(Led(256), false);
    EXPECT_THAT(Seen(), ElementsAre("led 4 0 0", "led 4 1 0"));
}

// --- Backlight ---

TEST_F(Gen3ButtonLedTest, Backlight_ByTable)
{
    struct Row
    {
        const char* slots;
        const char* name;
        gen3_test::Lines seen;
    };
    const Row rows[] = {
        {"-1", "Kitchen", {"backlight 4 000000"}},
        {"0", "Kitchen", {"backlight 4 000000"}},
        {"1", "Kitchen", {"backlight 4 default"}},
        {"1", "Rocker Top Button", {"backlight 4 default"}},
        {"2", "Kitchen", {"backlight 4 default", "backlight 5 default"}},
        {"3",
         "Rocker Top Button",
         {"backlight 4 000000", "backlight 5 000000", "backlight 6 default"}},
        {"3",
         "Rocker Bottom Button",
         {"backlight 4 default", "backlight 5 000000", "backlight 6 000000"}},
        {"3", "Kitchen", {"backlight 4 default", "backlight 5 default", "backlight 6 default"}},
        {"4", "Kitchen", {}},
        {"4", "Rocker Top Button", {}},
    };
    for (const Row& row : rows)
    {
        Given("4", row.slots, "1", row.name);
        button->ConfigureBacklight();
        EXPECT_EQ(Seen(), row.seen) << row.slots << " " << row.name;
    }
}

// --- Everything at once ---

TEST_F(Gen3ButtonLedTest, SendSettings_WritesEverythingInOrder)
{
    Given("4", "1", "2");
    button->SendSettingsToHW();
    EXPECT_THAT(Seen(),
                ElementsAre("led 4 3 cccccc", "led 4 4 000000", "led 4 5 000000",
                            "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000",
                            "behavior of 4 3", "led 4 0 4", "led 4 1 2", "backlight 4 default"));
}

TEST_F(Gen3ButtonLedTest, Reset_OneSlot)
{
    Given("4", "1", "2");
    button->ResetButton();
    EXPECT_THAT(Seen(),
                ElementsAre("led 4 5 000000",
                            "notify text 4 KEYPAD_BUTTON_INFO CURRENT_COLOR 000000",
                            "behavior of 4 0", "led 4 0 0", "led 4 1 0",
                            "notify 4 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                            "notify 4 REQUEST_BUTTON_COLORS  -1", "led 4 0 0", "led 4 3 000000",
                            "led 4 4 000000", "led 4 5 000000", "backlight 4 000000"));
    EXPECT_EQ(button->GetOnColor(), "ffffff");
}

TEST_F(Gen3ButtonLedTest, Reset_CountsFromTheIdNotFromTheFirstLed)
{
    Given("4", "3", "2");
    button->ResetButton();
    gen3_test::Lines seen = Seen();
    ASSERT_GE(seen.size(), 15u);
    seen.erase(seen.begin(), seen.end() - 15);
    EXPECT_THAT(seen,
                ElementsAre("led 4 0 0", "led 4 3 000000", "led 4 4 000000", "led 4 5 000000",
                            "backlight 4 000000", "led 5 0 0", "led 5 3 000000", "led 5 4 000000",
                            "led 5 5 000000", "backlight 5 000000", "led 6 0 0", "led 6 3 000000",
                            "led 6 4 000000", "led 6 5 000000", "backlight 6 000000"));
}

TEST_F(Gen3ButtonLedTest, Reset_DarkensNoMoreLedsThanAnOctetCanNumber)
{
    for (const auto& [slots, darkened] : {std::pair{"256", 256}, {"257", 256}})
    {
        Given("4", slots, "2");
        button->ResetButton();
        int backlights = 0;
        for (const std::string& line : Seen())
            backlights += line.rfind("backlight ", 0) == 0 ? 1 : 0;
        EXPECT_EQ(backlights, darkened) << slots;
    }
}

TEST_F(Gen3ButtonLedTest, ResetOfMoreSlotsThanAKeypadCanNumber_IsTold)
{
    Given("4", "257", "2", "Hall");
    button->ResetButton();
    EXPECT_THAT(Seen(), testing::Contains("WARN Button: Hall claims 257 slots, more than a keypad "
                                          "can number; only the first 256 are reset"));
    Given("4", "256", "2", "Hall");
    button->ResetButton();
    EXPECT_THAT(Seen(), testing::Not(testing::Contains(testing::HasSubstr("WARN"))));
}

TEST_F(Gen3ButtonLedTest, Reset_WithoutSlotsOnlyTakesTheBehavioursOff)
{
    Given("4", "0", "2");
    button->ResetButton();
    EXPECT_THAT(Seen(), ElementsAre("behavior of 4 0", "led 4 0 0", "led 4 1 0",
                                    "notify 4 KEYPAD_BUTTON_INFO LED_BEHAVIOR 0",
                                    "notify 4 REQUEST_BUTTON_COLORS  -1"));
}

TEST_F(Gen3ButtonLedTest, HostileNumbers_StayDefinedAndEnd)
{
    for (const char* number : {"-9223372036854775808", "-2147483648", "-129", "-128", "127", "128",
                               "2147483647", "9223372036854775807", "99999999999999999999"})
    {
        Given(number, number, number);
        Settings({{"BUTTON_BEHAVIOR", number}, {"LED_BEHAVIOR", number}, {"STATE", number}});
        button->SetLEDBlinkBehavior(std::numeric_limits<int>::min());
        button->InformLightLevel(std::numeric_limits<int>::max());
        button->SendSettingsToHW();
        button->ResetButton();
        EXPECT_EQ(button->GetBinding(), button->GetBtnIndex() + 203);
        EXPECT_LT(Seen().size(), 2000u);
    }
}

// The keypad driver: its commands, its state, and what it says on the bus.
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"

#include "test_kit/OneDriverHouse.h"
#include "tests/drivers/BusText.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = test_kit::Lines;
using Params = test_kit::OneDriverHouse::Params;

namespace
{
// A driver that also writes down which button was used how.
class NotedDriver : public Gen3KeypadDriver
{
public:
    using Gen3KeypadDriver::Gen3KeypadDriver;
    void ReportButtonEvent(int buttonId, int event) override
    {
        events.push_back(std::to_string(buttonId) + ":" + std::to_string(event));
        Gen3KeypadDriver::ReportButtonEvent(buttonId, event);
    }
    std::vector<std::string> events;
};

const Params BUTTON_1 = {{"BUTTON_ID", "1"},       {"SLOTS", "1"},          {"NAME", "Hall"},
                         {"ON_COLOR", "ffffff"},   {"OFF_COLOR", "0000ff"}, {"LED_BEHAVIOR", "1"},
                         {"BUTTON_BEHAVIOR", "17"}};

class Gen3KeypadDriverTest : public testing::Test
{
protected:
    Gen3KeypadDriverTest() : driver(house.Start<NotedDriver>()) {}
    ~Gen3KeypadDriverTest() override { house.Take(); }

    // Gateway and keypad are there, and the keypad knows all that it is to show.
    void Online()
    {
        driver.Bus().setGatewayOnline(true);
        driver.Bus().setDeviceOnline(true);
        Hear(0x9100, {1});
        SentUntilIdle();
    }
    std::size_t Waiting() const { return driver.Bus().getQueuedCount() + driver.WaitingCount(); }
    // The warnings since the last time, without what every record begins with.
    Lines Warnings()
    {
        Lines warnings;
        const std::string start = "log WARN drivers/gen3_keypad/Gen3KeypadDriver: p: ";
        for (const std::string& line : house.TakeOnly("log"))
        {
            if (line.rfind(start, 0) == 0)
                warnings.push_back(line.substr(start.size()));
        }
        return warnings;
    }
    // Like Command of the house, but for the reason why the driver refused.
    std::string Refused(const std::string& name, const std::string& id)
    {
        embedded_host::CmdMessage message(name);
        message.AddParam("BUTTON_ID", "STRING", id);
        return house.Host().Command(message, 0);
    }
    void Hear(int opcode, const std::vector<std::uint8_t>& payload)
    {
        house.CallDriver([&] { driver.OnBusMessage(opcode, payload.data(), payload.size()); });
    }
    void Answer(int number)
    {
        Hear(0x9000,
             {static_cast<std::uint8_t>(number / 256), static_cast<std::uint8_t>(number % 256)});
    }
    void AnnounceRestart()
    {
        std::vector<std::uint8_t> announce(12, 0);
        announce[1] = 1;
        Hear(0x9010, announce);
    }
    void SetColor(const char* color)
    {
        house.CallDriver([&] { driver.Button(1)->SetCurColor(color, true); });
    }
    // What left for the keypad since the last time: "opcode number rest".
    Lines Sent()
    {
        Lines sent;
        for (const std::string& line : house.TakeOnly("gateway"))
        {
            const std::size_t opcode = line.find("OPCODE=") + 7;
            const std::size_t payload = line.find("PAYLOAD=");
            const std::string hex =
                payload == std::string::npos
                    ? ""
                    : bus_test::ToHex(bus_test::DecodeBase64(line.substr(payload + 8)));
            sent.push_back(fmt::format("{:04x} {} {}", std::stoi(line.substr(opcode)),
                                       hex.substr(0, 4), hex.size() > 4 ? hex.substr(4) : ""));
        }
        return sent;
    }
    // Answers until nothing is in transit; what was sent, in order.
    Lines SentUntilIdle()
    {
        Lines all;
        for (Lines sent = Sent(); !sent.empty(); sent = Sent())
        {
            all.insert(all.end(), sent.begin(), sent.end());
            Answer(std::stoi(sent.back().substr(5, 4), nullptr, 16));
        }
        return all;
    }

    // The same without the numbers: "opcode rest".
    Lines ContentsUntilIdle()
    {
        Lines contents;
        for (const std::string& line : SentUntilIdle())
            contents.push_back(line.substr(0, 5) + line.substr(10));
        return contents;
    }
    int NumberOfNext() { return std::stoi(Sent().at(0).substr(5, 4), nullptr, 16); }

    test_kit::OneDriverHouse house;
    NotedDriver& driver;
};
} // namespace

// --- Commands and state ---

TEST_F(Gen3KeypadDriverTest, NewButton_IsThereWithItsSettings)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    ASSERT_NE(driver.Button(1), nullptr);
    EXPECT_EQ(driver.Button(1)->GetName(), "Hall");
    EXPECT_EQ(driver.Button(1)->GetBehavior(), 17);
    EXPECT_THAT(driver.ButtonIds(), ElementsAre(1));
}

TEST_F(Gen3KeypadDriverTest, NewButtonWithAnIdInUse_Replaces)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.Command("NEW_KEYPAD_BUTTON", {{"BUTTON_ID", "1"}, {"NAME", "Other"}});
    EXPECT_EQ(driver.Button(1)->GetName(), "Other");
    EXPECT_THAT(driver.ButtonIds(), ElementsAre(1));
}

TEST_F(Gen3KeypadDriverTest, ButtonsThatAreMadeOrDeleted_ArePersistedAtOnce)
{
    house.TakePersistRequests();
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    EXPECT_EQ(house.TakePersistRequests(), 1);
    house.Command("DELETE_KEYPAD_BUTTON", {{"BUTTON_ID", "1"}});
    EXPECT_EQ(house.TakePersistRequests(), 1);
}

TEST_F(Gen3KeypadDriverTest, ReplacedOrDeletedButton_TakesItsHoldTimerAlong)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    EXPECT_FALSE(house.NextWake());
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    house.Command("DELETE_KEYPAD_BUTTON", {{"BUTTON_ID", "1"}});
    EXPECT_FALSE(house.NextWake());
    EXPECT_EQ(driver.Button(1), nullptr);
    EXPECT_THAT(driver.events, ElementsAre("1:1", "1:1"));
}

TEST_F(Gen3KeypadDriverTest, NoKeypadToTell_ButtonsLeaveTheBusAlone)
{
    Online();
    driver.SetTellsKeypad(false);
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
    EXPECT_THAT(house.Take(), IsEmpty());
    EXPECT_EQ(driver.Bus().getQueuedCount(), 0u);
    EXPECT_THAT(driver.events, ElementsAre("1:2"));
    house.CallDriver([&] { driver.Bus().queueMessage(0x2110, nullptr, 0); });
    EXPECT_THAT(Sent(), ElementsAre("2110  "));
}

TEST_F(Gen3KeypadDriverTest, UnknownId_IsRefused)
{
    EXPECT_EQ(Refused("KEYPAD_BUTTON_INFO", "3"), "there is no button 3");
    EXPECT_EQ(Refused("DELETE_KEYPAD_BUTTON", "-1"), "there is no button -1");
    EXPECT_EQ(Refused("NEW_KEYPAD_BUTTON", "3"), "");
    EXPECT_EQ(Refused("KEYPAD_BUTTON_INFO", "3"), "");
    EXPECT_EQ(Refused("DELETE_KEYPAD_BUTTON", "3"), "");
    EXPECT_EQ(Refused("DELETE_KEYPAD_BUTTON", "3"), "there is no button 3");
}

TEST_F(Gen3KeypadDriverTest, IdBeyondEightBits_NamesTheButtonThatItMakes)
{
    EXPECT_EQ(Refused("NEW_KEYPAD_BUTTON", "300"), "");
    EXPECT_THAT(driver.ButtonIds(), ElementsAre(44));
    EXPECT_EQ(Refused("DELETE_KEYPAD_BUTTON", "300"), "");
}

TEST_F(Gen3KeypadDriverTest, ButtonInfo_AppliesSettings)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.Command("KEYPAD_BUTTON_INFO", {{"BUTTON_ID", "1"}, {"NAME", "Door"}, {"STATE", "1"}});
    EXPECT_EQ(driver.Button(1)->GetName(), "Door");
    EXPECT_EQ(driver.Button(1)->GetCurColor(), "ffffff");
}

TEST_F(Gen3KeypadDriverTest, Persisted_InOrderOfIdAndMadeAnew)
{
    EXPECT_EQ(house.Persist(), "<State><ALL_BUTTONS/></State>");
    house.Command("NEW_KEYPAD_BUTTON", {{"BUTTON_ID", "2"}, {"NAME", "B"}});
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    const std::string state = house.Persist();
    EXPECT_EQ(state, "<State><ALL_BUTTONS><KEYPAD_BUTTON_INFO><BUTTON_ID>1</BUTTON_ID>"
                     "<NAME>Hall</NAME><LED_BEHAVIOR>1</LED_BEHAVIOR>"
                     "<LED_BLINK_BEHAVIOR>0</LED_BLINK_BEHAVIOR><ON_COLOR>ffffff</ON_COLOR>"
                     "<OFF_COLOR>0000ff</OFF_COLOR><BUTTON_BEHAVIOR>17</BUTTON_BEHAVIOR>"
                     "<SLOTS>1</SLOTS></KEYPAD_BUTTON_INFO><KEYPAD_BUTTON_INFO>"
                     "<BUTTON_ID>2</BUTTON_ID><NAME>B</NAME><LED_BEHAVIOR>0</LED_BEHAVIOR>"
                     "<LED_BLINK_BEHAVIOR>0</LED_BLINK_BEHAVIOR><ON_COLOR/><OFF_COLOR/>"
                     "<BUTTON_BEHAVIOR>0</BUTTON_BEHAVIOR><SLOTS>0</SLOTS></KEYPAD_BUTTON_INFO>"
                     "</ALL_BUTTONS></State>");
    house.Restart();
    EXPECT_EQ(house.Persist(), state);
}

TEST_F(Gen3KeypadDriverTest, OddState_IsTakenAsFarAsItGoes)
{
    test_kit::OneDriverHouse odd;
    odd.State("<State><X/><ALL_BUTTONS><OTHER/><KEYPAD_BUTTON_INFO><BUTTON_ID>x</BUTTON_ID>"
              "</KEYPAD_BUTTON_INFO><KEYPAD_BUTTON_INFO/></ALL_BUTTONS></State>");
    const auto& made = odd.Start<Gen3KeypadDriver>();
    EXPECT_THAT(made.ButtonIds(), ElementsAre(0));
    odd.Take();
}

// --- Buttons in use ---

TEST_F(Gen3KeypadDriverTest, PressWithoutRelease_EndsAfterASecond)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    house.Advance(999ms);
    EXPECT_THAT(driver.events, ElementsAre("1:1"));
    house.Advance(1ms);
    EXPECT_THAT(driver.events, ElementsAre("1:1", "1:0"));
    EXPECT_FALSE(house.NextWake());
}

TEST_F(Gen3KeypadDriverTest, StateThatIsConfirmed_LeavesThePressAlone)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    Online();
    EXPECT_EQ(Waiting(), 0u);
    house.Advance(1s);
    EXPECT_THAT(driver.events, ElementsAre("1:1", "1:0"));
}

TEST_F(Gen3KeypadDriverTest, TwoHeldButtons_EachHaveTheirTimer)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.Command("NEW_KEYPAD_BUTTON", {{"BUTTON_ID", "2"}});
    house.CallDriver([&] { driver.Button(2)->DoPush(); });
    house.Advance(500ms);
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    house.Advance(500ms);
    EXPECT_THAT(driver.events, ElementsAre("2:1", "1:1", "2:0"));
    house.Advance(500ms);
    EXPECT_EQ(driver.events.back(), "1:0");
}

TEST_F(Gen3KeypadDriverTest, WithoutHoldTimers_APressStays)
{
    driver.SetUsesHoldTimer(false);
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    house.CallDriver([&] { driver.Button(1)->DoPush(); });
    EXPECT_FALSE(house.NextWake());
}

TEST_F(Gen3KeypadDriverTest, UseTheKeypadTells_ReachesTheButton)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Hear(0x9030, {1, 1});
    house.Advance(900ms);
    Hear(0x9030, {1, 3});
    house.Advance(900ms);
    Hear(0x9030, {1, 0});
    Hear(0x9030, {1, 2});
    Hear(0x9030, {1, 9});
    Hear(0x9030, {2, 1});
    EXPECT_THAT(driver.events, ElementsAre("1:1", "1:0", "1:2"));
}

// --- To the keypad ---

TEST_F(Gen3KeypadDriverTest, Offline_StatesAreOwedAndUsesOfButtonsDropped)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    EXPECT_THAT(house.TakeOnly("log"), IsEmpty());
    house.CallDriver([&] { driver.Button(1)->RemotePush(); });
    EXPECT_THAT(house.TakeOnly("log"),
                testing::Contains("log DEBUG lighting_common/Bus485Helper: Bus485Helper(101)p::"
                                  "queueMessage(): Not queing packet, Gateway Online: No, Device "
                                  "Online: No"));
    EXPECT_EQ(driver.Bus().getQueuedCount(), 0u);
    driver.Bus().setGatewayOnline(true);
    Hear(0x9010, std::vector<std::uint8_t>(12, 0));
    EXPECT_EQ(SentUntilIdle().size(), 4u);
}

TEST_F(Gen3KeypadDriverTest, LedSetup_HoldsEveryLed)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver([&] { driver.SetLedParam(2, 0, 5); });
    // LED 1: actuator 0, behaviour 1, blink 0, on cccccc, off 0000cc. LED 2: actuator 5.
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].substr(0, 5), "12c0 ");
    EXPECT_EQ(sent[0].substr(10), "01000100cccccc0000cc02050000000000000000");
}

TEST_F(Gen3KeypadDriverTest, EachKindOfState_HasItsMessage)
{
    Online();
    house.CallDriver(
        [&]
        {
            driver.SetLedParam(3, 1, -56);
            driver.SetLedParam(3, 2, -1);
            driver.SetLedColor(3, 3, "010203");
            driver.SetLedColor(3, 4, "040506");
            driver.SetLedColor(3, 5, "070809");
            driver.SetBacklightDefault(4);
            driver.SetBacklightColor(5, "0a0b0c");
        });
    EXPECT_THAT(ContentsUntilIdle(), ElementsAre("12c0 0300c800000000000000",
                                                 "12c0 0300c8ff010203040506", "1280 03070809",
                                                 "1110 0400000000"
                                                 "05010a0b0c"));
}

TEST_F(Gen3KeypadDriverTest, Behaviours_AreOneStateForAllButtons)
{
    Online();
    house.Command("NEW_KEYPAD_BUTTON", {{"BUTTON_ID", "-1"}, {"BUTTON_BEHAVIOR", "-2"}});
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Lines behaviors;
    for (const std::string& line : SentUntilIdle())
    {
        if (line.substr(0, 4) == "13c0")
            behaviors.push_back(line.substr(10));
    }
    EXPECT_EQ(behaviors.back(), "fffffffffe"
                                "0100000011");
    house.Command("DELETE_KEYPAD_BUTTON", {{"BUTTON_ID", "-1"}});
    house.CallDriver([&] { driver.Button(1)->SetBehavior(2, false); });
    EXPECT_EQ(SentUntilIdle().back().substr(10), "0100000002");
}

TEST_F(Gen3KeypadDriverTest, RemoteActions_AreNeverFolded)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver(
        [&]
        {
            driver.Button(1)->RemotePush();
            driver.Button(1)->RemoteRelease();
            driver.Button(1)->RemoteClick();
        });
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].substr(0, 4) + sent[0].substr(9), "2110 010100000011");
    EXPECT_EQ(sent[1].substr(10), "010000000011");
    EXPECT_EQ(sent[2].substr(10), "010200000011");
}

TEST_F(Gen3KeypadDriverTest, WaitingStates_GiveWayToNewerOnes)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    for (const char* color : {"100000", "200000", "300000", "400000"})
        SetColor(color);
    EXPECT_EQ(driver.Bus().getQueuedCount(), 1u);
    EXPECT_EQ(driver.WaitingCount(), 1u);
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].substr(10), "010c0000");
    EXPECT_EQ(sent[1].substr(10), "01330000");
}

TEST_F(Gen3KeypadDriverTest, LedsBeyondOneOctet_AreNotSentAtAll)
{
    Online();
    house.CallDriver(
        [&]
        {
            for (int led : {-1, 256, -2147483647 - 1, 2147483647})
            {
                driver.SetLedParam(led, 0, 1);
                driver.SetLedColor(led, 5, "ffffff");
                driver.SetBacklightDefault(led);
                driver.SetBacklightColor(led, "ffffff");
            }
        });
    EXPECT_THAT(Sent(), IsEmpty());
    house.CallDriver([&] { driver.SetBacklightDefault(255); });
    EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(Gen3KeypadDriverTest, Numbers_SkipZeroWhenTheyWrap)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    const int number = std::stoi(SentUntilIdle().back().substr(5, 4), nullptr, 16);
    // While offline every use of a button takes a number, although it is dropped.
    driver.Bus().setDeviceOnline(false);
    for (int i = number; i < 0xFFFE; ++i)
        house.CallDriver([&] { driver.SendButtonAction(1, 2, 3); });
    driver.Bus().setDeviceOnline(true);
    for (const char* expected : {"ffff", "0001"})
    {
        SetColor("100000");
        EXPECT_EQ(SentUntilIdle().back().substr(5, 4), expected);
    }
}

// --- From the keypad ---

TEST_F(Gen3KeypadDriverTest, AnswerOfTheRightNumber_MovesOn)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    SetColor("200000");
    const int first = std::stoi(Sent().at(0).substr(5, 4), nullptr, 16);
    Answer(first + 1);
    Answer(0);
    EXPECT_EQ(Waiting(), 2u);
    Answer(first);
    EXPECT_EQ(Waiting(), 1u);
    Answer(first);
    EXPECT_EQ(Waiting(), 1u);
    Answer(first + 1);
    EXPECT_EQ(Waiting(), 0u);
}

TEST_F(Gen3KeypadDriverTest, AnythingFromTheBus_ShowsThatTheGatewayIsOnline)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    SetColor("200000");
    const int first = std::stoi(Sent().at(0).substr(5, 4), nullptr, 16);
    Hear(0x9100, {0});
    Answer(first);
    EXPECT_TRUE(driver.Bus().isGatewayOnline());
    EXPECT_EQ(Waiting(), 1u);
    Hear(0x9100, {});
    EXPECT_TRUE(driver.Bus().isGatewayOnline());
}

TEST_F(Gen3KeypadDriverTest, InstantMessage_LeavesTheAnswerToTheQueue)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    const int number = std::stoi(Sent().at(0).substr(5, 4), nullptr, 16);
    const std::uint8_t payload[] = {0x77, 0x77, 0x77};
    house.CallDriver([&] { driver.Bus().sendInstant(1, payload, 3); });
    EXPECT_THAT(Sent(), ElementsAre("0001 7777 77"));
    Answer(0x7777);
    EXPECT_EQ(driver.Bus().getQueuedCount(), 1u);
    Answer(number);
    EXPECT_EQ(driver.Bus().getQueuedCount(), 0u);
}

TEST_F(Gen3KeypadDriverTest, Announce_BringsAnOfflineKeypadUpToDate)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    driver.Bus().setGatewayOnline(true);
    Hear(0x9010, {1, 0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 7});
    EXPECT_TRUE(driver.Bus().isDeviceOnline());
    EXPECT_EQ(driver.Firmware().ToString(), "3.1.7");
    Lines kinds;
    for (const std::string& line : SentUntilIdle())
        kinds.push_back(line.substr(0, 4));
    EXPECT_THAT(kinds, ElementsAre("13c0", "12c0", "1280", "1110"));
}

TEST_F(Gen3KeypadDriverTest, AnnounceWhileOnline_OnlyTellsTheVersion)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    Hear(0x9010, {1, 0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 7});
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(driver.Firmware().ToString(), "3.1.7");
}

TEST_F(Gen3KeypadDriverTest, AnnounceOfARestart_GivesUpWhatWaited)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver(
        [&]
        {
            driver.Button(1)->RemotePush();
            driver.Button(1)->RemoteClick();
        });
    Sent();
    AnnounceRestart();
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[0].substr(0, 4), "13c0");
}

TEST_F(Gen3KeypadDriverTest, GivenUpKeypadThatAnswersAfterAll_GetsWhatItMissed)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    driver.Bus().setGatewayOnline(true);
    AnnounceRestart();
    SentUntilIdle();
    SetColor("100000");
    SetColor("200000");
    const int number = std::stoi(Sent().at(0).substr(5, 4), nullptr, 16);
    house.Advance(121000ms);
    EXPECT_FALSE(driver.Bus().isDeviceOnline());
    EXPECT_EQ(Sent().size(), 2u);
    SetColor("300000");
    Answer(number);
    EXPECT_TRUE(driver.Bus().isDeviceOnline());
    EXPECT_EQ(driver.Bus().getRetryCount(), 0);
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].substr(0, 4) + sent[0].substr(9), "1280 01260000");
}

TEST_F(Gen3KeypadDriverTest, AnnounceAfterBeingGivenUp_SendsOnlyWhatWasNotConfirmed)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    driver.Bus().setGatewayOnline(true);
    AnnounceRestart();
    ASSERT_EQ(SentUntilIdle().size(), 4u);
    SetColor("100000");
    house.Advance(121000ms);
    Sent();
    Hear(0x9010, std::vector<std::uint8_t>(12, 0));
    const Lines sent = SentUntilIdle();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].substr(0, 4), "1280");
}

TEST_F(Gen3KeypadDriverTest, GatewayComingBack_SendsWhatIsStuck)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    Hear(0x9100, {0});
    EXPECT_FALSE(driver.Bus().isGatewayOnline());
    house.Advance(40000ms);
    EXPECT_EQ(Sent().size(), 1u);
    Hear(0x9100, {1});
    EXPECT_EQ(Sent().size(), 1u);
    EXPECT_TRUE(driver.Bus().isGatewayOnline());
}

TEST_F(Gen3KeypadDriverTest, FirmwareReply_IsKeptUnlessItIsTooShort)
{
    Hear(0x9020, {3, 1});
    EXPECT_TRUE(driver.Firmware().Empty());
    Hear(0x9020, {255, '1', '.', '2', '.', '3', '.', 'x', 0});
    EXPECT_EQ(driver.Firmware().ToExtString(), "1.2.3.x");
    Hear(0x9010, {5, 1, 0});
    EXPECT_EQ(driver.Firmware().ToExtString(), "1.2.3.x");
}

TEST_F(Gen3KeypadDriverTest, AnyMessageOfTheKeypad_ShowsThatItIsOnline)
{
    for (const int opcode : {0x9000, 0x9010, 0x9020, 0x9030, 0x1234})
    {
        driver.Bus().setDeviceOnline(false);
        Hear(opcode, {});
        EXPECT_TRUE(driver.Bus().isDeviceOnline()) << opcode;
    }
}

TEST_F(Gen3KeypadDriverTest, GatewaysOwnMessage_SaysNothingOfTheKeypad)
{
    Hear(0x9100, {1});
    EXPECT_FALSE(driver.Bus().isDeviceOnline());
}

// --- Uses of buttons that come too late ---

TEST_F(Gen3KeypadDriverTest, UseThatWaitsTooLong_IsDroppedWithARecord)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
    house.Advance(9999ms);
    EXPECT_EQ(Waiting(), 2u);
    EXPECT_THAT(Warnings(), IsEmpty());
    house.Advance(1ms);
    EXPECT_EQ(Waiting(), 1u);
    EXPECT_THAT(Warnings(),
                ElementsAre("a use of a button was dropped, since it waited 10 seconds"));
}

TEST_F(Gen3KeypadDriverTest, UseWithoutAnAnswer_IsNotSentAgainWhenItIsTooLate)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
    EXPECT_EQ(Sent().size(), 1u);
    SetColor("100000");
    house.Advance(19999ms);
    EXPECT_THAT(house.Take(), IsEmpty());
    house.Advance(20001ms);
    EXPECT_EQ(driver.Bus().getRetryCount(), 1);
    EXPECT_THAT(ContentsUntilIdle(), ElementsAre("1280 010c0000"));
    EXPECT_EQ(Waiting(), 0u);
}

TEST_F(Gen3KeypadDriverTest, UseThatWasOnItsWay_IsGivenUpOnceWhenTheKeypadIsBack)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
    for (int i = 0; i < 2; ++i)
    {
        driver.Bus().setDeviceOnline(false);
        Hear(0x9030, {9, 0});
    }
    EXPECT_THAT(Warnings(),
                ElementsAre("a use of button 1 was given up, since the keypad was not there"));
    EXPECT_EQ(Waiting(), 0u);
    EXPECT_FALSE(house.NextWake());
}

TEST_F(Gen3KeypadDriverTest, StateWithoutAnAnswer_IsSentAgain)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    SetColor("100000");
    const Lines first = Sent();
    house.Advance(40000ms);
    EXPECT_EQ(Sent(), first);
}

TEST_F(Gen3KeypadDriverTest, KeypadThatAnswersNoUse_IsGivenUpAfterThree)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    for (int i = 0; i < 12; ++i)
    {
        house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
        house.Advance(10000ms);
    }
    EXPECT_FALSE(driver.Bus().isDeviceOnline());
    house.Take();
}

TEST_F(Gen3KeypadDriverTest, AnsweredUse_LeavesNoTimer)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    house.CallDriver([&] { driver.Button(1)->RemoteClick(); });
    EXPECT_EQ(ContentsUntilIdle().size(), 1u);
    EXPECT_FALSE(house.NextWake());
}

TEST_F(Gen3KeypadDriverTest, TimeLimitOfUses_ComesFromTheConfiguration)
{
    test_kit::OneDriverHouse other;
    other.Config("<config><USE_TIME_LIMIT>2</USE_TIME_LIMIT></config>");
    auto& made = other.Start<Gen3KeypadDriver>();
    made.Bus().setGatewayOnline(true);
    made.Bus().setDeviceOnline(true);
    other.CallDriver([&] { made.SendButtonAction(1, 2, 3); });
    other.CallDriver([&] { made.SendButtonAction(1, 2, 3); });
    other.Advance(1999ms);
    EXPECT_EQ(made.WaitingCount(), 1u);
    other.Advance(1ms);
    EXPECT_EQ(made.WaitingCount(), 0u);
    other.Take();
}

TEST_F(Gen3KeypadDriverTest, TimeLimitOutsideItsRange_IsTheDefaultWithARecord)
{
    for (const char* text : {"0", "-1", "3601", "soon", ""})
    {
        test_kit::OneDriverHouse other;
        other.Config(std::string("<config><USE_TIME_LIMIT>") + text + "</USE_TIME_LIMIT></config>");
        other.Start<Gen3KeypadDriver>();
        EXPECT_THAT(other.Take(),
                    ElementsAre("log WARN drivers/gen3_keypad/Gen3KeypadDriver: p: USE_TIME_LIMIT "
                                "is not 1 to 3600 seconds; it stays 10"))
            << text;
    }
}

TEST_F(Gen3KeypadDriverTest, MessageThatSomebodyElseQueued_IsNotAnsweredByNumber)
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    const std::uint8_t payload[] = {0, 7};
    house.CallDriver([&] { driver.Bus().queueMessage(0x2110, payload, 2); });
    SetColor("100000");
    EXPECT_THAT(Sent(), ElementsAre("2110 0007 "));
    Answer(7);
    EXPECT_EQ(driver.Bus().getQueuedCount(), 1u);
}

RC_GTEST_FIXTURE_PROP(Gen3KeypadDriverTest, AnyMessageFromTheBus_IsTakenOrIgnored,
                      (const std::vector<std::uint8_t>& payload))
{
    house.Command("NEW_KEYPAD_BUTTON", BUTTON_1);
    Online();
    const int opcode = *rc::gen::element(0x9000, 0x9010, 0x9020, 0x9030, 0x9100, 0x1280, 0);
    Hear(opcode, payload);
    house.Advance(200000ms);
    RC_ASSERT(driver.Button(1) != nullptr);
    RC_ASSERT(driver.Bus().getQueuedCount() < 10u);
}

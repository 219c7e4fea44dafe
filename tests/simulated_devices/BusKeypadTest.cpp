// A keypad on a simulated line, and the faulty ones, as the gateway's end of the line sees them.
#include "simulated_devices/BusKeypad.h"

#include "simulated_devices/BusGateway.h"
#include "simulated_devices/BusKeypadFaults.h"
#include "tests/simulated_devices/TestWorld.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace simulated;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr std::uint16_t ANSWER = 0x9000;
constexpr std::uint16_t ANNOUNCE = 0x9010;

class BusKeypadTest : public testing::Test
{
protected:
    ~BusKeypadTest() override
    {
        EXPECT_THAT(told, IsEmpty()) << "never looked at";
        keypad.reset();
    }

    // A keypad at address 7 with these faults and power, its announce taken.
    template <class... Fault>
    void Given(Fault&&... faults)
    {
        gateway.SetPower(true);
        keypad = std::make_unique<BusKeypad>(world, line, 7);
        (keypad->AddFault(std::make_unique<Fault>(std::move(faults))), ...);
        keypad->OnPowerOn();
        world.Advance(100ms);
        told.clear();
    }

    void Send(std::uint16_t opcode, const Octets& payload, std::uint32_t device = 7)
    {
        gateway.SendToDevice({device, opcode, payload});
    }

    // What came for the driver since the last look, as "opcode: payload".
    std::vector<std::string> Told()
    {
        std::vector<std::string> taken;
        taken.swap(told);
        return taken;
    }

    simulated_test::TestWorld world;
    SimulatedLine line{world};
    std::vector<std::string> told;
    BusGateway gateway{line, [this](const wire::BusFrame& frame)
                       {
                           std::string text = std::to_string(frame.opcode) + ":";
                           for (std::uint8_t octet : frame.payload)
                               text += " " + std::to_string(octet);
                           told.push_back(text);
                       }};
    std::unique_ptr<BusKeypad> keypad;
};

std::string Answered(int number)
{
    return std::to_string(ANSWER) + ": " + std::to_string(number / 256) + " " +
           std::to_string(number % 256);
}
} // namespace

TEST_F(BusKeypadTest, PowerOn_AnnouncesARestart)
{
    gateway.SetPower(true);
    keypad = std::make_unique<BusKeypad>(world, line, 7);
    keypad->OnPowerOn();
    world.Advance(100ms);
    EXPECT_THAT(Told(), ElementsAre(std::to_string(ANNOUNCE) +
                                    ": 5 1 0 0 0 0 0 0 0 3 1 2 0 16 114 101 108 101 97 115 101"));
}

TEST_F(BusKeypadTest, EveryTenMinutes_ItTellsThatItIsThere)
{
    Given();
    world.Advance(599999ms);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(Told()[0].substr(0, 10), std::to_string(ANNOUNCE) + ": 5 0");
}

TEST_F(BusKeypadTest, LossWhoseAnnounceWasLost_IsAnnouncedUntilItIsToldAgain)
{
    Given();
    Send(0x13C0, {0, 1, 3, 0, 0, 0, 2});
    world.Advance(100ms);
    keypad->OnPowerOn();
    world.Advance(100ms);
    // The announce of the restart never reached the driver, nor does a mere colour help.
    told.clear();
    Send(0x1280, {0, 2, 4, 10, 20, 30});
    world.Advance(600000ms);
    EXPECT_THAT(Told(), testing::Contains(testing::StartsWith(std::to_string(ANNOUNCE) + ": 5 1")));
    Send(0x13C0, {0, 3, 3, 0, 0, 0, 2});
    world.Advance(600000ms);
    EXPECT_THAT(Told(), testing::Contains(testing::StartsWith(std::to_string(ANNOUNCE) + ": 5 0")));
}

TEST_F(BusKeypadTest, KeypadThatWasToldNothing_HasLostNothing)
{
    Given();
    keypad->OnPowerOn();
    world.Advance(100ms);
    told.clear();
    world.Advance(600000ms);
    EXPECT_THAT(Told(), ElementsAre(testing::StartsWith(std::to_string(ANNOUNCE) + ": 5 0")));
}

TEST_F(BusKeypadTest, Message_IsAnsweredAfterTheDelay)
{
    Given();
    keypad->SetAnswerDelay(50ms);
    Send(0x1280, {1, 2, 4, 10, 20, 30});
    const auto there = line.Duration(
        EncodeBusFrame(BusDirection::ToDevice, {7, 0x1280, {1, 2, 4, 10, 20, 30}}).size());
    world.Advance(there + 50ms);
    EXPECT_THAT(Told(), IsEmpty());
    world.Advance(10ms);
    EXPECT_THAT(Told(), ElementsAre(Answered(258)));
}

TEST_F(BusKeypadTest, States_AreKept)
{
    Given();
    Send(0x1280, {0, 1, 4, 10, 20, 30, 5, 40, 50, 60});
    Send(0x12C0, {0, 2, 4, 1, 2, 3, 10, 11, 12, 20, 21, 22});
    Send(0x1110, {0, 3, 4, 0, 0, 0, 0, 5, 1, 9, 8, 7});
    Send(0x13C0, {0, 4, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
    world.Advance(1000ms);
    EXPECT_THAT(keypad->CurrentColors(),
                ElementsAre(testing::Pair(4, BusKeypad::Color{10, 20, 30}),
                            testing::Pair(5, BusKeypad::Color{40, 50, 60})));
    const BusKeypad::Led& led = keypad->Leds().at(4);
    EXPECT_THAT((std::vector<int>{led.actuator, led.behavior, led.blink}), ElementsAre(1, 2, 3));
    EXPECT_EQ(led.on, (BusKeypad::Color{10, 11, 12}));
    EXPECT_EQ(led.off, (BusKeypad::Color{20, 21, 22}));
    EXPECT_TRUE(keypad->Backlights().at(4).usual);
    EXPECT_FALSE(keypad->Backlights().at(5).usual);
    EXPECT_EQ(keypad->Backlights().at(5).color, (BusKeypad::Color{9, 8, 7}));
    EXPECT_THAT(keypad->Behaviors(), ElementsAre(testing::Pair(-1, -2)));
    EXPECT_EQ(Told().size(), 4u);
}

TEST_F(BusKeypadTest, RepeatedUse_ActsOnceAndIsAnsweredTwice)
{
    Given();
    for (int i = 0; i < 2; ++i)
        Send(0x2110, {0, 9, 1, 2, 0, 0, 0, 3});
    world.Advance(1000ms);
    EXPECT_EQ(keypad->ActionCount(), 1u);
    EXPECT_THAT(Told(), ElementsAre(Answered(9), Answered(9)));
}

TEST_F(BusKeypadTest, MessagesForOthersAndShortOnes_AreNotAnswered)
{
    Given();
    Send(0x1280, {0, 1}, 8);
    Send(0x1280, {0});
    Send(0x1280, {});
    world.Advance(1000ms);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(BusKeypadTest, IncompleteEntries_AreLeftOut)
{
    Given();
    Send(0x1280, {0, 1, 4, 10, 20, 30, 5, 40});
    world.Advance(1000ms);
    EXPECT_EQ(keypad->CurrentColors().size(), 1u);
    EXPECT_THAT(Told(), ElementsAre(Answered(1)));
}

TEST_F(BusKeypadTest, PersonAtTheButtons_IsTold)
{
    Given();
    keypad->Hold(3, 1200ms);
    keypad->Click(-1);
    world.Advance(1199ms);
    const std::string used = std::to_string(0x9030);
    EXPECT_THAT(Told(),
                ElementsAre(used + ": 3 1", used + ": 255 2", used + ": 3 3", used + ": 3 3"));
    world.Advance(100ms);
    EXPECT_THAT(Told(), ElementsAre(used + ": 3 0"));
    EXPECT_EQ(world.NextTold(), "presses button 3");
    EXPECT_EQ(world.NextTold(), "clicks button -1");
    EXPECT_EQ(world.NextTold(), "releases button 3");
}

TEST_F(BusKeypadTest, WithoutPower_NothingHappens)
{
    gateway.SetPower(true);
    keypad = std::make_unique<BusKeypad>(world, line, 7);
    Send(0x1280, {0, 1});
    keypad->Press(1);
    world.Advance(1000000ms);
    EXPECT_THAT(Told(), IsEmpty());
    EXPECT_EQ(world.NextTold(), "presses button 1");
}

TEST_F(BusKeypadTest, GatewayStatus_ReachesItsDriversOnly)
{
    gateway.AddDevice(7);
    gateway.SetPower(true);
    gateway.SetPower(false);
    EXPECT_THAT(Told(), ElementsAre("37120: 1", "37120: 0"));
}

TEST_F(BusKeypadTest, GatewayWithoutPower_PassesNothingOn)
{
    Given();
    gateway.SetPower(false);
    Send(0x1280, {0, 1});
    keypad->Release(1);
    world.Advance(1000ms);
    EXPECT_THAT(Told(), IsEmpty());
    EXPECT_EQ(world.NextTold(), "releases button 1");
}

TEST_F(BusKeypadTest, Line_CarriesOneTransmissionAfterTheOther)
{
    Given();
    std::vector<std::chrono::milliseconds> heardAt;
    keypad->onHeard = [&](std::uint16_t)
    {
        heardAt.push_back(world.Now());
    };
    const std::chrono::milliseconds start = world.Now();
    const Octets payload(94, 1);
    const std::chrono::milliseconds each =
        line.Duration(EncodeBusFrame(BusDirection::ToDevice, {7, 0x7777, payload}).size());
    for (int i = 0; i < 3; ++i)
        Send(0x7777, payload);
    EXPECT_EQ(line.Waiting(), 3u);
    keypad->SetAnswerDelay(5000ms);
    world.Advance(1000ms);
    EXPECT_THAT(heardAt, ElementsAre(start + each, start + 2 * each, start + 3 * each));
}

// --- Faults ---

TEST_F(BusKeypadTest, Deaf_HearsNothingButAnnounces)
{
    Given(HearsNothing());
    Send(0x1280, {0, 1, 4, 1, 2, 3});
    world.Advance(1000ms);
    EXPECT_THAT(Told(), IsEmpty());
    EXPECT_TRUE(keypad->CurrentColors().empty());
    world.Advance(600000ms);
    EXPECT_EQ(Told().size(), 1u);
}

TEST_F(BusKeypadTest, Late_AnswersAfterTwentyFiveSeconds)
{
    Given(AnswersLate());
    Send(0x1280, {0, 1});
    world.Advance(24900ms);
    EXPECT_THAT(Told(), IsEmpty());
    world.Advance(200ms);
    EXPECT_THAT(Told(), ElementsAre(Answered(1)));
}

TEST_F(BusKeypadTest, Seldom_AnswersEveryThird)
{
    Given(AnswersSeldom(3));
    for (std::uint8_t i = 1; i <= 7; ++i)
        Send(0x1280, {0, i});
    world.Advance(1000ms);
    EXPECT_THAT(Told(), ElementsAre(Answered(3), Answered(6)));
}

TEST_F(BusKeypadTest, Forgetful_RestartsEveryHourWithNothingKept)
{
    Given(RestartsHourly());
    Send(0x1280, {0, 1, 4, 1, 2, 3});
    world.Advance(1000ms);
    EXPECT_EQ(keypad->CurrentColors().size(), 1u);
    world.Advance(3600000ms);
    EXPECT_TRUE(keypad->CurrentColors().empty());
    int restarts = 0;
    for (const std::string& text : Told())
        restarts += text.substr(0, 10) == std::to_string(ANNOUNCE) + ": 5 1";
    EXPECT_EQ(restarts, 1);
}

TEST_F(BusKeypadTest, Babbling_StillDoesItsWork)
{
    for (const bool high : {false, true})
    {
        world.DrawHigh(high);
        Given(Babbles());
        world.Advance(60000ms);
        EXPECT_FALSE(world.Draws().empty());
        told.clear();
        Send(0x1280, {0, 1, 4, 1, 2, 3});
        world.Advance(100ms);
        EXPECT_THAT(Told(), ElementsAre(Answered(1)));
        keypad.reset();
    }
}

TEST_F(BusKeypadTest, LateAndSeldom_AnswersTheThirdAfterTwentyFiveSeconds)
{
    Given(AnswersLate(), AnswersSeldom(3));
    for (std::uint8_t i = 1; i <= 3; ++i)
        Send(0x1280, {0, i});
    world.Advance(24900ms);
    EXPECT_THAT(Told(), IsEmpty());
    world.Advance(300ms);
    EXPECT_THAT(Told(), ElementsAre(Answered(3)));
}

TEST_F(BusKeypadTest, FaultAddedWhileItHasPower_BeginsAndEnds)
{
    Given();
    keypad->AddFault(std::make_unique<Babbles>());
    keypad->AddFault(std::make_unique<HearsNothing>());
    world.Advance(Babbles::BABBLE_PERIOD);
    EXPECT_EQ(world.Draws().size(), 3u); // noise of one octet: what, how long, which
    Send(0x1280, {0, 1});
    world.Advance(1000ms);
    EXPECT_THAT(Told(), IsEmpty());
    keypad->ClearFaults();
    world.Advance(10 * Babbles::BABBLE_PERIOD);
    EXPECT_EQ(world.Draws().size(), 3u);
    Send(0x1280, {0, 2});
    world.Advance(1000ms);
    EXPECT_THAT(Told(), ElementsAre(Answered(2)));
}

// Drivers, gateway and keypads together: sound ones, each fault by itself, many on one line.
#include "simulated_devices/TtyBus.h"
#include "tests/drivers/BusHouse.h"
#include "tests/drivers/MessageLedger.h"

#include <algorithm>
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace simulated;
using bus_test::BusHouse;
using bus_test::MessageLedger;
using testing::IsEmpty;

namespace
{
constexpr std::chrono::milliseconds SECOND = 1s;
constexpr std::chrono::milliseconds MINUTE = 1min;
constexpr std::chrono::milliseconds HOUR = 1h;

// What one LED shows after the driver has dimmed a colour to 80 per cent.
const BusKeypad::Color RED_DIMMED = {0xCC, 0, 0};
const BusKeypad::Color BLUE_DIMMED = {0, 0, 0xCC};

class KeypadOnBusTest : public testing::Test
{
protected:
    ~KeypadOnBusTest() override { EXPECT_THAT(house.asserted, IsEmpty()); }

    BusKeypad::Color Shown(unsigned id) { return house.Keypad(id).CurrentColors().at(1); }

    BusHouse house;
    MessageLedger ledger{house};
};
} // namespace

TEST_F(KeypadOnBusTest, SoundKeypad_GetsItsWholeStateAndFollows)
{
    house.Add();
    house.Start();
    house.Advance(10 * SECOND);
    const BusKeypad& keypad = house.Keypad(1);
    EXPECT_EQ(Shown(1), (BusKeypad::Color{0, 0xCC, 0}));
    EXPECT_EQ(keypad.Leds().at(1).on, (BusKeypad::Color{0xCC, 0xCC, 0xCC}));
    EXPECT_EQ(keypad.Leds().at(1).behavior, 1);
    EXPECT_TRUE(keypad.Backlights().at(1).usual);
    EXPECT_EQ(keypad.Behaviors().at(1), 3);
    EXPECT_EQ(house.Driver(1).Firmware().ToExtString(), "3.258.16.release");
    house.Show(1, "ff0000");
    house.Advance(SECOND);
    EXPECT_EQ(Shown(1), RED_DIMMED);
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 0u);
}

TEST_F(KeypadOnBusTest, RemoteClick_ActsOnceAlthoughItsAnswerIsLate)
{
    house.Add();
    house.Start();
    house.Advance(10 * SECOND);
    house.Keypad(1).SetAnswerDelay(50 * SECOND);
    house.RemoteClick(1);
    house.Advance(2 * MINUTE);
    EXPECT_EQ(house.Keypad(1).ActionCount(), 1u);
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 0u);
}

TEST_F(KeypadOnBusTest, Deaf_IsGivenUpAfterThreeSendings)
{
    ledger.Watch(house.AddFaulty("deaf"));
    house.Start();
    house.Advance(2 * MINUTE + SECOND);
    EXPECT_FALSE(house.Driver(1).Bus().isDeviceOnline());
    const std::size_t waits = house.Driver(1).Bus().getQueuedCount();
    for (int i = 0; i < 100; ++i)
        house.Show(1, "ff0000");
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), waits);
    EXPECT_EQ(ledger.Of(1).Count(MessageLedger::ANSWERED), 0u);
}

TEST_F(KeypadOnBusTest, Late_GetsEverythingInTheEnd)
{
    house.AddFaulty("late");
    house.Start();
    house.Advance(10 * MINUTE);
    house.Show(1, "ff0000");
    house.Show(1, "0000ff");
    house.Advance(10 * MINUTE);
    EXPECT_EQ(Shown(1), BLUE_DIMMED);
    EXPECT_TRUE(house.Driver(1).Bus().isDeviceOnline());
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 0u);
}

TEST_F(KeypadOnBusTest, EveryThirdAnswered_StaysOnline)
{
    house.AddFaulty("seldom", {{"every", 3}});
    house.Start();
    for (int i = 0; i < 60; ++i)
    {
        house.Advance(10 * SECOND);
        ASSERT_TRUE(house.Driver(1).Bus().isDeviceOnline()) << i;
    }
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 0u);
}

// Found: it was told the same first state again and again, and the others never.
TEST_F(KeypadOnBusTest, EveryFifthAnswered_IsGivenUpAndComesBack)
{
    house.AddFaulty("seldom", {{"every", 5}});
    house.Start();
    bool wasOffline = false;
    for (int i = 0; i < 3 * 60; ++i)
    {
        house.Advance(MINUTE);
        wasOffline = wasOffline || !house.Driver(1).Bus().isDeviceOnline();
        ASSERT_LE(house.Driver(1).Bus().getQueuedCount(), 4u);
    }
    EXPECT_TRUE(wasOffline);
    EXPECT_EQ(Shown(1), (BusKeypad::Color{0, 0xCC, 0}));
    EXPECT_EQ(house.Driver(1).Bus().getState(), Bus485Helper::State::Idle);
}

TEST_F(KeypadOnBusTest, SoLateThatEveryMessageIsGivenUp_StillGetsEverything)
{
    house.Add().SetAnswerDelay(130 * SECOND);
    house.Start();
    for (int i = 0; i < 60; ++i)
    {
        house.Advance(MINUTE);
        ASSERT_LE(house.Driver(1).Bus().getQueuedCount(), 4u);
    }
    house.Show(1, "ff0000");
    house.Advance(HOUR);
    EXPECT_EQ(Shown(1), RED_DIMMED);
    EXPECT_EQ(house.Driver(1).Bus().getState(), Bus485Helper::State::Idle);
}

TEST_F(KeypadOnBusTest, Forgetful_IsToldAgainAfterEachRestart)
{
    house.AddFaulty("forgetful");
    house.Start();
    house.Advance(MINUTE);
    house.Show(1, "ff0000");
    house.Advance(HOUR);
    EXPECT_EQ(Shown(1), RED_DIMMED);
    EXPECT_EQ(house.Keypad(1).Behaviors().at(1), 3);
    house.Advance(3 * HOUR);
    EXPECT_EQ(Shown(1), RED_DIMMED);
}

TEST_F(KeypadOnBusTest, Babbling_DisturbsNeitherItselfNorOthers)
{
    house.AddFaulty("babbling");
    house.Add();
    house.Start();
    for (int i = 0; i < 60; ++i)
    {
        house.Show(1, i % 2 == 0 ? "ff0000" : "0000ff");
        house.Show(2, i % 2 == 0 ? "ff0000" : "0000ff");
        house.Advance(MINUTE);
        ASSERT_TRUE(house.Driver(2).Bus().isDeviceOnline());
        ASSERT_EQ(Shown(2), i % 2 == 0 ? RED_DIMMED : BLUE_DIMMED);
        ASSERT_EQ(house.Driver(2).Bus().getQueuedCount(), 0u);
    }
    EXPECT_EQ(Shown(1), BLUE_DIMMED);
}

TEST_F(KeypadOnBusTest, GatewayOutage_IsMadeGoodButForTheUseThatIsTooLate)
{
    house.Add();
    house.Start();
    house.Advance(10 * SECOND);
    house.RemoteClick(1);
    house.Gateway().SetPower(false);
    house.Show(1, "ff0000");
    house.Show(1, "0000ff");
    house.Advance(HOUR);
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 1u);
    house.Gateway().SetPower(true);
    house.Advance(10 * SECOND);
    EXPECT_EQ(house.Driver(1).Bus().getQueuedCount(), 0u);
    EXPECT_EQ(Shown(1), BLUE_DIMMED);
    EXPECT_EQ(house.Keypad(1).ActionCount(), 0u);
}

TEST_F(KeypadOnBusTest, PersonAtTheKeypad_ReachesTheButton)
{
    house.Add();
    house.Start();
    house.Advance(10 * SECOND);
    house.Keypad(1).Press(1);
    house.Advance(100ms);
    EXPECT_NE(house.Driver(1).Button(1)->GetHoldTimer(), 0u);
    house.Keypad(1).Release(1);
    house.Advance(100ms);
    EXPECT_EQ(house.Driver(1).Button(1)->GetHoldTimer(), 0u);
}

// --- The dead delay nobody ---

namespace
{
constexpr unsigned KEYPADS = 16;

class DeadKeypads : public KeypadOnBusTest, public testing::WithParamInterface<unsigned>
{
};
} // namespace

// While every driver has at most one message on its way, a message waits on the line for at most
// one message and one answer of every keypad before its own transmission, however many are dead:
// nothing on the line ever waits for an answer.
TEST_P(DeadKeypads, LeaveTheOthersWithinTheBoundOfTheLine)
{
    const unsigned dead = GetParam();
    for (unsigned i = 0; i < KEYPADS; ++i)
    {
        if (i < dead)
            ledger.Watch(house.AddFaulty("deaf"));
        else
            ledger.Watch(house.Add());
    }
    house.Start();
    house.Advance(MINUTE);
    // The longest frame that is sent here: one LED's set-up, every octet of it escaped.
    const std::chrono::milliseconds frame = house.Line().Duration(2 + 2 * (7 + 2 + 10 + 2));
    const std::chrono::milliseconds bound = 2 * static_cast<int>(KEYPADS) * frame;
    const std::chrono::milliseconds from = house.Now();
    for (int round = 0; round < 40; ++round)
    {
        for (unsigned id = 1; id <= KEYPADS; ++id)
            house.Show(id, round % 2 == 0 ? "ff0000" : "0000ff");
        house.Advance(7 * SECOND);
    }
    std::chrono::milliseconds slowest{};
    for (unsigned id = dead + 1; id <= KEYPADS; ++id)
    {
        const MessageLedger::Account& account = ledger.Of(id);
        for (const auto& queued : account.queuedAt)
        {
            if (queued.second < from)
                continue;
            ASSERT_EQ(account.heardAt.count(queued.first), 1u);
            slowest = std::max(slowest, account.heardAt.at(queued.first) - queued.second);
        }
        EXPECT_EQ(account.heardTwice, 0u);
        EXPECT_TRUE(house.Driver(id).Bus().isDeviceOnline());
    }
    EXPECT_GT(slowest, 0ms);
    EXPECT_LE(slowest, bound);
    for (unsigned id = 1; id <= dead; ++id)
        EXPECT_FALSE(house.Driver(id).Bus().isDeviceOnline());
}

INSTANTIATE_TEST_SUITE_P(OfSixteen, DeadKeypads, testing::Values(0u, 1u, 4u, 8u, 15u));

// --- Over a terminal ---

TEST(KeypadOnTty, MessagesAndAnswers_CrossARealTerminal)
{
    TtyBus tty;
    BusHouse house;
    house.UseLines(tty.GatewayEnd(), tty.DeviceEnd());
    for (int i = 0; i < 2; ++i)
        house.Add().SetAnswerDelay(0ms);
    house.AddFaulty("deaf");
    house.Start();
    const auto pollUntil = [&](const auto& done)
    {
        for (int i = 0; i < 5000 && !done(); ++i)
        {
            tty.Poll(std::chrono::milliseconds(10));
            house.Advance(0ms);
        }
    };
    const auto idle = [&](unsigned id)
    {
        return house.Driver(id).Bus().getState() == Bus485Helper::State::Idle;
    };
    pollUntil([&] { return idle(1) && idle(2); });
    house.Show(1, "ff0000");
    house.Show(2, "0000ff");
    pollUntil([&] { return idle(1) && idle(2); });
    EXPECT_EQ(house.Keypad(1).CurrentColors().at(1), RED_DIMMED);
    EXPECT_EQ(house.Keypad(2).CurrentColors().at(1), BLUE_DIMMED);
    EXPECT_EQ(house.Driver(1).Firmware().ToString(), "3.258.16");
    EXPECT_EQ(house.Driver(3).Bus().getState(), Bus485Helper::State::InTransit);
    house.Keypad(1).Press(1);
    pollUntil([&] { return house.Driver(1).Button(1)->GetHoldTimer() != 0; });
    EXPECT_NE(house.Driver(1).Button(1)->GetHoldTimer(), 0u);
    EXPECT_THAT(house.asserted, IsEmpty());
}

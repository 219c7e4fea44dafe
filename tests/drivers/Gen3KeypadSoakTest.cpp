// A day in the life of a full bus: 32 keypads behind one gateway, three of them faulty.
#include "tests/drivers/BusHouse.h"
#include "tests/drivers/MessageLedger.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace simulated;
using bus_test::BusHouse;
using bus_test::MessageLedger;
using testing::IsEmpty;

namespace
{
constexpr unsigned KEYPADS = 32;
constexpr std::chrono::milliseconds STEP = 15s;
constexpr std::chrono::milliseconds DAY = 24h;
// What the keypads get to come to rest: a late one needs 25 seconds for each of a few messages.
constexpr std::chrono::milliseconds REST = 30min;

// The queue has one message of the driver at a time, and for a moment the use of a button that it
// drops because the keypad is offline. What waits for it are four kinds of state, and one use: a
// second one comes a step later, when the first has been dropped.
constexpr std::size_t LONGEST_QUEUE = 2;
constexpr std::size_t MOST_WAITING = 1 + 4 + 1;

using AddFaulty = std::function<void(BusHouse&)>;

struct FaultyKeypads
{
    const char* name;
    std::vector<AddFaulty> keypads;
    // Whether they too show in the end what they were told last.
    bool recover;
};

void PrintTo(const FaultyKeypads& faults, std::ostream* os)
{
    *os << faults.name;
}

class Gen3KeypadSoak : public testing::TestWithParam<FaultyKeypads>
{
protected:
    Gen3KeypadSoak()
    {
        for (const AddFaulty& add : GetParam().keypads)
            add(house);
        faulty = house.Count();
        while (house.Count() < KEYPADS)
            house.Add();
        for (unsigned id = 1; id <= KEYPADS; ++id)
            ledger.Watch(house.Keypad(id));
        wanted.resize(KEYPADS + 1, "00ff00");
        house.Start();
        house.Advance(STEP);
    }

    bool IsSound(unsigned id) const { return id > faulty; }

    // Somebody does something with one keypad in four minutes or so.
    void LiveOneStep()
    {
        for (unsigned id = 1; id <= KEYPADS; ++id)
        {
            switch (house.Draw(0, 50))
            {
            case 0:
                Show(id);
                break;
            case 1:
                for (int i = 0; i < 5; ++i)
                    Show(id);
                house.RemoteClick(id);
                ++clicks[id];
                mostWaiting[id] = std::max(mostWaiting[id], house.Waiting(id));
                break;
            case 2:
                house.Keypad(id).Click(1);
                break;
            default:
                break;
            }
        }
        house.Advance(STEP);
    }

    void Show(unsigned id)
    {
        static const char* const colors[] = {"ff0000", "00ff00", "0000ff", "ffffff"};
        wanted[id] = colors[house.Draw(0, 3)];
        house.Show(id, wanted[id]);
        ++shows[id];
    }

    void ExpectSoundOnesWork()
    {
        for (unsigned id = faulty + 1; id <= KEYPADS; ++id)
        {
            ASSERT_TRUE(house.Driver(id).Bus().isDeviceOnline()) << id;
            ASSERT_EQ(house.Driver(id).Bus().getRetryCount(), 0) << id;
            ASSERT_EQ(house.Driver(id).Bus().getQueuedCount(), 0u) << id;
        }
    }

    // What is shown dimmed to 80 per cent, by hand.
    static BusKeypad::Color Dimmed(const std::string& color)
    {
        BusKeypad::Color dimmed{};
        for (std::size_t i = 0; i < 3; ++i)
            dimmed[i] = color.substr(2 * i, 2) == "ff" ? 0xCC : 0;
        return dimmed;
    }

    void ExpectShown(unsigned id)
    {
        EXPECT_EQ(house.Keypad(id).CurrentColors().at(1), Dimmed(wanted[id])) << id;
    }

    // Every message has one fate, and nobody believes in an answer that was none.
    void ExpectBooksInOrder(unsigned id)
    {
        const MessageLedger::Account& account = ledger.Of(id);
        std::size_t settled = 0;
        for (int fate = MessageLedger::ANSWERED; fate < MessageLedger::FATES; ++fate)
            settled += account.Count(static_cast<MessageLedger::Fate>(fate));
        const std::size_t waiting = house.Driver(id).Bus().getQueuedCount();
        EXPECT_EQ(settled + waiting, account.messages.size()) << id;
        EXPECT_EQ(account.Count(MessageLedger::WAITS), waiting) << id;
        EXPECT_EQ(account.queue.size(), waiting) << id;
        for (const auto& message : account.messages)
        {
            const bool heard = account.heardAt.count(message.first) != 0;
            const MessageLedger::Fate fate = message.second;
            if (fate == MessageLedger::ANSWERED)
            {
                EXPECT_TRUE(heard) << id << ": " << message.first << " was never heard";
            }
            else if (fate == MessageLedger::REPLACED || fate == MessageLedger::DROPPED)
            {
                EXPECT_FALSE(heard) << id << ": " << message.first << " was heard";
            }
        }
        EXPECT_LE(account.longestQueue, LONGEST_QUEUE) << id;
        EXPECT_LE(mostWaiting[id], MOST_WAITING) << id;
    }

    BusHouse house{7};
    MessageLedger ledger{house};
    unsigned faulty = 0;
    std::vector<std::string> wanted;
    std::map<unsigned, unsigned> clicks;
    std::map<unsigned, unsigned> shows;
    std::map<unsigned, std::size_t> mostWaiting;
};
} // namespace

TEST_P(Gen3KeypadSoak, ADayWithThreeFaultyOfThirtyTwo)
{
    ExpectSoundOnesWork();
    for (std::chrono::milliseconds passed{}; passed < DAY && !HasFatalFailure(); passed += STEP)
    {
        LiveOneStep();
        ExpectSoundOnesWork();
    }
    house.Advance(REST);
    for (unsigned id = 1; id <= KEYPADS; ++id)
    {
        ExpectBooksInOrder(id);
        if (IsSound(id) || GetParam().recover)
            ExpectShown(id);
        if (!IsSound(id))
            continue;
        EXPECT_EQ(house.Keypad(id).ActionCount(), clicks[id]) << id;
        EXPECT_EQ(ledger.Of(id).heardTwice, 0u) << id;
        // Of the five colours of a burst the first and the last are sent.
        EXPECT_GT(ledger.Of(id).Count(MessageLedger::ANSWERED), 200u) << id;
        EXPECT_LT(ledger.Of(id).Count(MessageLedger::ANSWERED), shows[id]) << id;
    }
    EXPECT_THAT(house.asserted, IsEmpty());
}

namespace
{
AddFaulty One(const char* fault)
{
    return [fault](BusHouse& house)
    {
        house.AddFaulty(fault);
    };
}

AddFaulty EveryFifthAnswered()
{
    return [](BusHouse& house)
    {
        house.AddFaulty("seldom", {{"every", 5}});
    };
}
} // namespace

INSTANTIATE_TEST_SUITE_P(
    Faults, Gen3KeypadSoak,
    testing::Values(FaultyKeypads{"DeafSeldomBabbling",
                                  {One("deaf"), EveryFifthAnswered(), One("babbling")},
                                  false},
                    FaultyKeypads{"LateForgetfulBabbling",
                                  {One("late"), One("forgetful"), One("babbling")},
                                  true}),
    [](const auto& run) { return std::string(run.param.name); });

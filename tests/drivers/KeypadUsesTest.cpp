// Uses of buttons by the controller: on keypads that answer late, seldom or never, and after a
// restart of the driver.
#include "tests/drivers/BusHouse.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace simulated;
using bus_test::BusHouse;
using testing::IsEmpty;

namespace
{
constexpr std::chrono::milliseconds SECOND = 1s;
constexpr std::chrono::milliseconds HOUR = 1h;
// From the driver's start to the keypad's next word of its own.
constexpr std::chrono::milliseconds UNTIL_ANNOUNCED = BusKeypad::ANNOUNCE_INTERVAL + SECOND;

// How much a bus may ever hold: one message in transit, four kinds of state, and what was used in
// the last ten seconds.
constexpr std::size_t MOST_WAITING = 1 + 4 + 2;

struct Kind
{
    const char* name;
    std::function<void(BusHouse&)> add;
};

void PrintTo(const Kind& kind, std::ostream* os)
{
    *os << kind.name;
}

class KeypadInFrequentUse : public testing::TestWithParam<Kind>
{
};

class KeypadUses : public testing::Test
{
protected:
    KeypadUses()
    {
        house.Add();
        house.Start();
        house.Advance(15 * SECOND);
    }
    void Use()
    {
        house.RemoteClick(1);
        house.Advance(SECOND);
    }

    BusHouse house{3};
};
} // namespace

TEST_P(KeypadInFrequentUse, EightHours_HoldTheBoundOfWhatWaits)
{
    static const char* const colors[] = {"ff0000", "00ff00", "0000ff"};
    BusHouse house{5};
    GetParam().add(house);
    house.Start();
    std::size_t longest = 0;
    for (std::chrono::milliseconds passed{}; passed < 8 * HOUR; passed += 10 * SECOND)
    {
        house.RemoteClick(1);
        house.Show(1, colors[passed / (10 * SECOND) % 3]);
        longest = std::max(longest, house.Waiting(1));
        house.Advance(10 * SECOND);
    }
    EXPECT_LE(longest, MOST_WAITING);
    EXPECT_GE(longest, 2u);
    EXPECT_THAT(house.asserted, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, KeypadInFrequentUse,
                         testing::Values(Kind{"Late",
                                              [](BusHouse& house)
                                              {
                                                  house.AddFaulty("late");
                                              }},
                                         Kind{"Seldom",
                                              [](BusHouse& house)
                                              {
                                                  house.AddFaulty("seldom", {{"every", 5}});
                                              }},
                                         Kind{"Deaf",
                                              [](BusHouse& house)
                                              {
                                                  house.AddFaulty("deaf");
                                              }}),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_F(KeypadUses, DriverThatRestarts_IsNotTakenToRepeatItsLastUse)
{
    Use();
    ASSERT_EQ(house.Keypad(1).ActionCount(), 1u);
    house.RestartDriver(1);
    house.Advance(UNTIL_ANNOUNCED);
    Use();
    EXPECT_EQ(house.Keypad(1).ActionCount(), 2u);
}

TEST_F(KeypadUses, ButtonUsedAfterARestart_ShowsThatTheKeypadIsThere)
{
    house.RestartDriver(1);
    ASSERT_FALSE(house.Driver(1).Bus().isDeviceOnline());
    house.Keypad(1).Click(1);
    house.Advance(SECOND);
    EXPECT_TRUE(house.Driver(1).Bus().isDeviceOnline());
    Use();
    EXPECT_EQ(house.Keypad(1).ActionCount(), 1u);
}

// The puck driver and a simulated module at the two ends of one wire. Neither knows the other's
// code, so what they agree on is what crossed the wire.

#include "device_wire/AttachedDevice.h"
#include "drivers/puck/PuckDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/PuckModuleFaults.h"
#include "test_kit/OneDriverHouse.h"

#include <chrono>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

using namespace std::chrono_literals;
using namespace simulated;
using test_kit::Lines;
using test_kit::OneDriverHouse;

namespace
{
const Lines NOTHING;
constexpr int CONTACT_0 = 7;
constexpr int CONTACT_1 = 8;
constexpr int BUTTON_0 = 1;

// A module with a load and two snap-on buttons, and its driver, both on.
struct Pair
{
    OneDriverHouse house;
    PuckDriver* driver = StartDriver();
    device_wire::AttachedDevice wire{house.Host()};
    PuckModule& module = wire.Make<PuckModule>(2);

    explicit Pair(bool online = true)
    {
        module.OnPowerOn();
        if (online)
            house.Online(true);
        Pass(100ms);
        house.Take();
    }
    ~Pair()
    {
        house.Stop();
        house.Take();
    }

    PuckDriver* StartDriver()
    {
        house.Capability("load_present", "true");
        house.Config("<config><NUM_BUTTONS>2</NUM_BUTTONS></config>");
        return &house.Start<PuckDriver>();
    }

    void Pass(std::chrono::milliseconds time) { house.Advance(time); }
    Lines EventsWithin(std::chrono::milliseconds time)
    {
        Pass(time);
        return house.TakeOnly("event");
    }
    void SetContact(int contact, int behavior, int leds)
    {
        house.Command("CONTACT_STATUS", {{"CONTACT_NUMBER", std::to_string(contact)},
                                         {"AUX_BEHAVIOR", std::to_string(behavior)},
                                         {"AUX_LEDS", std::to_string(leds)}});
        Pass(1ms);
        house.Take();
    }
    template <class Fault, class... Arguments>
    void AddFault(Arguments... arguments)
    {
        module.AddFault(std::make_unique<Fault>(arguments...));
    }
};

class PuckOnItsModule : public testing::Test
{
protected:
    Pair pair;
    void TearDown() override { EXPECT_EQ(pair.module.NotUnderstood(), 0u); }
};
} // namespace

TEST_F(PuckOnItsModule, GoingOnline_BringsHoldTimeAndSettings)
{
    EXPECT_TRUE(pair.driver->HasHoldFeedback());
    EXPECT_EQ(pair.driver->HoldTimeMs(), 800u);
    for (const unsigned index : {0u, 1u})
        EXPECT_EQ(pair.module.Settings().contacts[index].behavior,
                  pair.driver->Contact(index)->GetBehavior());
}

TEST_F(PuckOnItsModule, Click_FiresPressReleaseAndOneClick)
{
    pair.module.Click(CONTACT_0);
    EXPECT_EQ(pair.EventsWithin(1000ms), Lines({"event 6001", "event 6000", "event 6002"}));
}

TEST_F(PuckOnItsModule, DoubleClickOfASnapOnButton_FiresItsTwoClickEvent)
{
    pair.module.Click(BUTTON_0, 2);
    EXPECT_EQ(pair.EventsWithin(1000ms),
              Lines({"event 5001", "event 5000", "event 5001", "event 5000", "event 5003"}));
}

TEST_F(PuckOnItsModule, LongHold_StaysPressedUntilItEnds)
{
    pair.module.Hold(CONTACT_1, 60000ms);
    EXPECT_EQ(pair.EventsWithin(59999ms), Lines({"event 6011"}));
    EXPECT_EQ(pair.EventsWithin(1ms), Lines({"event 6010"}));
    EXPECT_EQ(pair.EventsWithin(60000ms), NOTHING);
}

TEST_F(PuckOnItsModule, LostEndOfAHold_IsMadeUpAfterTheHoldTime)
{
    pair.AddFault<LosesReleases>();
    pair.module.Hold(CONTACT_0, 1200ms);
    EXPECT_EQ(pair.EventsWithin(1799ms), Lines({"event 6001"}));
    EXPECT_EQ(pair.EventsWithin(1ms), Lines({"event 6000"}));
}

TEST_F(PuckOnItsModule, RepeatedMessages_FireNoSecondPress)
{
    pair.AddFault<Repeats<PuckModuleFault>>(1, 10ms);
    pair.module.Push(CONTACT_0);
    EXPECT_EQ(pair.EventsWithin(100ms), Lines({"event 6001"}));
}

TEST_F(PuckOnItsModule, LateHoldReports_EndTheHoldEarlyButNotForEver)
{
    pair.AddFault<Delays<PuckModuleFault>>(2, 400ms);
    pair.module.Hold(CONTACT_0, 1100ms);
    const Lines events = pair.EventsWithin(10000ms);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), "event 6001");
    EXPECT_EQ(events.back(), "event 6000");
    EXPECT_FALSE(pair.house.NextWake());
}

TEST_F(PuckOnItsModule, ChatteringContact_EndsReleased)
{
    pair.AddFault<Chatters>(3);
    pair.module.Hold(CONTACT_0, 200ms);
    const Lines events = pair.EventsWithin(100ms);
    EXPECT_EQ(events.size(), 7u);
    EXPECT_EQ(pair.EventsWithin(2000ms), Lines({"event 6000", "event 6002"}));
}

TEST_F(PuckOnItsModule, ForgetfulModule_HasItsSettingsBackAfterGoingOnline)
{
    pair.SetContact(0, 3, 1);
    pair.AddFault<Forgets<PuckModuleFault>>();
    pair.module.OnPowerOn();
    EXPECT_EQ(pair.module.Settings().contacts[0].behavior, 2);
    pair.house.Online(true);
    pair.Pass(100ms);
    pair.house.Take();
    EXPECT_EQ(pair.module.Settings().contacts[0].behavior, 3);
    EXPECT_EQ(pair.module.Settings().contacts[0].led[1], 2);
}

TEST_F(PuckOnItsModule, ModuleThatNeverHearsTheHoldQuestion_NeverGetsAMadeUpRelease)
{
    Pair deaf(false);
    deaf.AddFault<HearsBadly<PuckModuleFault>>(1);
    deaf.AddFault<LosesReleases>();
    deaf.house.Online(true);
    deaf.Pass(100ms);
    deaf.house.Take();
    deaf.module.Hold(CONTACT_0, 1200ms);
    EXPECT_EQ(deaf.EventsWithin(600000ms), Lines({"event 6001"}));
}

TEST_F(PuckOnItsModule, ContactLeds_ShowTheDriversState)
{
    for (const int leds : {0, 1})
    {
        pair.SetContact(1, 2, leds);
        for (const int pushed : {1, 0})
        {
            if (pushed)
                pair.module.Push(CONTACT_1);
            else
                pair.module.Release(CONTACT_1);
            const bool on = pair.driver->Contact(1)->GetCurState() == 1;
            EXPECT_EQ(on, leds == pushed) << leds;
            EXPECT_EQ(pair.module.ContactLed(1), on ? "ffffff" : "000000") << leds;
        }
    }
    pair.EventsWithin(1000ms);
}

TEST_F(PuckOnItsModule, LoadLeds_ShowTheDriversState)
{
    for (const int leds : {2, 3})
    {
        pair.SetContact(0, 2, leds);
        for (int round = 0; round < 2; ++round)
        {
            pair.house.Command("CLICK_CNT", {{"CONTACT_NUMBER", "1"}});
            pair.EventsWithin(10ms);
            const bool load = pair.module.LoadIsOn();
            pair.house.CallDriver([&] { pair.driver->ReportLightLevel(load ? 100 : 0); });
            const bool on = pair.driver->Contact(0)->GetCurState() == 1;
            EXPECT_EQ(on, load == (leds == 2));
            EXPECT_EQ(pair.module.ContactLed(0), on ? "ffffff" : "000000");
        }
    }
}

TEST_F(PuckOnItsModule, ControllersLed_ShowsWhatTheControllerSets)
{
    pair.SetContact(0, 2, 4);
    for (const char* command : {"TURN_LED_ON", "TURN_LED_OFF", "TURN_LED_ON"})
    {
        pair.house.Command(command, {{"CONTACT_NUMBER", "0"}});
        pair.Pass(1ms);
        pair.house.Take();
        const bool on = pair.driver->Contact(0)->GetCurState() == 1;
        EXPECT_EQ(on, std::string(command) == "TURN_LED_ON");
        EXPECT_EQ(pair.module.ContactLed(0), on ? "ffffff" : "000000");
    }
}

TEST_F(PuckOnItsModule, RemoteActions_MoveTheLoadByBehavior)
{
    const std::pair<int, bool> rows[] = {{0, true}, {0, true},  {1, false}, {2, true},
                                         {3, true}, {4, false}, {5, false}};
    for (const auto& row : rows)
    {
        pair.SetContact(0, row.first, 2);
        pair.house.Command("CLICK_CNT", {{"CONTACT_NUMBER", "0"}});
        pair.EventsWithin(10ms);
        EXPECT_EQ(pair.module.LoadIsOn(), row.second) << row.first;
    }
}

TEST_F(PuckOnItsModule, SnapOnSettings_ReachTheModuleWhenTheyAreSent)
{
    pair.house.CallDriver(
        [&]
        {
            SnapOnButton& button = *pair.driver->SnapOn(1);
            button.SetOnColor("00ff00", false);
            button.SetLocalLEDManaged(false, false);
            button.SetCurColor("123456", false);
            button.SetCurState(1, false);
            button.SendSettingsToHW();
        });
    pair.Pass(1ms);
    EXPECT_EQ(pair.house.Take().size(), 6u);
    EXPECT_EQ(pair.module.Settings().buttons[1].colors[0], "00ff00");
    EXPECT_EQ(pair.module.Settings().buttons[1].state, 1);
    EXPECT_EQ(pair.module.ButtonLed(1), "123456");
}

// What a person does to one contact, one thing after the other, tells which events must come.
RC_GTEST_PROP(PuckOnItsModuleProperty, WhateverAPersonDoes_FiresItsEventsAndNoOthers, ())
{
    Pair pair;
    Lines expected;
    const auto clicks = *rc::gen::container<std::vector<unsigned>>(rc::gen::inRange(0u, 5u));
    for (const unsigned count : clicks)
    {
        if (count == 0)
        {
            pair.module.Hold(CONTACT_0, std::chrono::milliseconds(*rc::gen::inRange(501, 5000)));
            expected.insert(expected.end(), {"event 6001", "event 6000"});
        }
        else
            pair.module.Click(CONTACT_0, count);
        for (unsigned i = 0; i < count; ++i)
            expected.insert(expected.end(), {"event 6001", "event 6000"});
        if (count > 0)
            expected.push_back("event " + std::to_string(6001 + count));
        pair.Pass(6000ms);
    }
    RC_ASSERT(pair.EventsWithin(0ms) == expected);
}

// However badly the wire behaves: once it is quiet, nobody is left holding.
RC_GTEST_PROP(PuckOnItsModuleProperty, WhateverTheFaults_EveryHoldEnds, ())
{
    Pair pair;
    pair.AddFault<Loses<PuckModuleFault>>(*rc::gen::inRange(0u, 4u));
    pair.AddFault<Delays<PuckModuleFault>>(*rc::gen::inRange(0u, 4u),
                                           std::chrono::milliseconds(*rc::gen::inRange(1, 2000)));
    pair.AddFault<Repeats<PuckModuleFault>>(*rc::gen::inRange(0u, 4u),
                                            std::chrono::milliseconds(*rc::gen::inRange(1, 2000)));
    for (int i = 0; i < 5; ++i)
    {
        pair.module.Hold(*rc::gen::element(CONTACT_0, CONTACT_1, BUTTON_0),
                         std::chrono::milliseconds(*rc::gen::inRange(1, 3000)));
        pair.Pass(std::chrono::milliseconds(*rc::gen::inRange(1, 3000)));
    }
    pair.Pass(20000ms);
    const Lines events = pair.EventsWithin(0ms);
    std::map<std::string, bool> pressed;
    for (const std::string& event : events)
    {
        const std::string last = event.substr(event.size() - 1);
        if (last == "0" || last == "1")
            pressed[event.substr(0, event.size() - 1)] = last == "1";
    }
    for (const auto& button : pressed)
        RC_ASSERT(!button.second);
    RC_ASSERT(!pair.house.NextWake());
}

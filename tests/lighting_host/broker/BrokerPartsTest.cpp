// The small parts of the house on a broker: addresses, names, buttons and what is remembered.

#include "lighting_host/broker/BrokerAddress.h"
#include "lighting_host/broker/BrokerMemory.h"
#include "lighting_host/broker/BrokerNames.h"
#include "lighting_host/broker/ButtonEvents.h"
#include "lighting_host/types/HousePlan.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// --- Addresses ---

TEST(BrokerUrl, HostAlone_HasTheUsualPort)
{
    BrokerAddress address;
    EXPECT_EQ(ParseBrokerUrl("mqtt://broker.lan", address), "");
    EXPECT_EQ(address.host, "broker.lan");
    EXPECT_EQ(address.port, 1883);
    EXPECT_EQ(ParseBrokerUrl("mqtts://broker.lan/", address), "");
    EXPECT_EQ(address.port, 8883);
    EXPECT_TRUE(address.encrypted);
}

TEST(BrokerUrl, PortAndBrackets_AreRead)
{
    BrokerAddress address;
    EXPECT_EQ(ParseBrokerUrl("mqtt://[::1]:2000", address), "");
    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.port, 2000);
}

TEST(BrokerUrl, WhatIsNone_IsSaidAndChangesNothing)
{
    for (const char* url :
         {"", "broker", "http://broker", "mqtt://", "mqtt://:1883", "mqtt://a:", "mqtt://a:0",
          "mqtt://a:65536", "mqtt://a:b", "mqtt://a/b", "mqtt://[::1", "mqtt://[]", "mqtt://[a]b",
          "mqtt://user:secret@a", "mqtt://a b"})
    {
        BrokerAddress address;
        EXPECT_NE(ParseBrokerUrl(url, address), "") << url;
        EXPECT_EQ(address.host, "") << url;
    }
}

// --- Names ---

TEST(BrokerNames, Names_BecomeIds)
{
    EXPECT_EQ(BrokerId("Hall  Keypad #2"), "hall_keypad_2");
    EXPECT_EQ(BrokerId("k\xc3\xbc"
                       "che"),
              "k_che");
    EXPECT_EQ(BrokerId(""), "_");
    EXPECT_EQ(BrokerId("a/+#b"), "a_b");
    EXPECT_TRUE(IsBrokerId("a_-9"));
    EXPECT_FALSE(IsBrokerId("A"));
    EXPECT_FALSE(IsBrokerId(""));
}

TEST(BrokerNames, TwoDriversWithOneId_AreTold)
{
    HousePlan plan;
    plan.drivers.resize(2);
    plan.drivers[0].name = "Sofa lamp";
    plan.drivers[1].name = "sofa_lamp";
    EXPECT_THAT(FindIdCollision(plan), HasSubstr("\"Sofa lamp\" and \"sofa_lamp\""));
    plan.drivers[1].name = "Status";
    EXPECT_THAT(FindIdCollision(plan), HasSubstr("taken"));
    plan.drivers[1].name = "sofa lamp 2";
    EXPECT_EQ(FindIdCollision(plan), "");
}

TEST(BrokerNames, CommandTopic_IsSplitAndOthersAreNot)
{
    BrokerTopics topics;
    topics.house = "h";
    std::string device;
    std::string entity;
    EXPECT_TRUE(topics.SplitCommand("lighting/h/sofa/light/set", device, entity));
    EXPECT_EQ(device + "," + entity, "sofa,light");
    for (const char* other : {"lighting/h/sofa/set", "lighting/h/a/b/c/set", "lighting/x/a/b/set",
                              "lighting/h/a/b/get", "lighting/h//set", "", "/set"})
        EXPECT_FALSE(topics.SplitCommand(other, device, entity)) << other;
}

// --- Buttons ---

namespace
{
class Button : public testing::Test
{
protected:
    void Use(ButtonUse::What what, std::int64_t ms, unsigned clicks = 1)
    {
        Note(m_button.OnUse({false, 0, what, clicks}, ms));
    }
    void Time(std::int64_t ms) { Note(m_button.OnTime(ms)); }

    std::vector<std::string> m_events;

private:
    void Note(const std::vector<ButtonEvent>& events)
    {
        for (const ButtonEvent& event : events)
            m_events.push_back(event.type + (event.count ? std::to_string(event.count) : "") + " " +
                               event.trigger);
    }

    ButtonEvents m_button;
};
} // namespace

TEST_F(Button, PressedAndReleased_IsAPressWithItsEnd)
{
    Use(ButtonUse::Pressed, 1000);
    Use(ButtonUse::Released, 1080);
    Use(ButtonUse::Clicked, 1430);
    EXPECT_THAT(m_events, ElementsAre("press_start short_press", "press_end short_release"));
}

TEST_F(Button, BareClick_IsBoth)
{
    Use(ButtonUse::Clicked, 1000);
    EXPECT_THAT(m_events, ElementsAre("press_start short_press", "press_end short_release"));
}

TEST_F(Button, HeldLong_IsToldWhileItIsHeld)
{
    Use(ButtonUse::Pressed, 1000);
    Time(1499);
    EXPECT_EQ(m_events.size(), 1u);
    Time(1500);
    Time(1700);
    Use(ButtonUse::Released, 3000);
    EXPECT_THAT(m_events, ElementsAre("press_start short_press", "long_press_start long_press",
                                      "long_press_end long_release"));
}

TEST_F(Button, HeldLongUnseen_StartStillComesBeforeTheEnd)
{
    Use(ButtonUse::Pressed, 1000);
    Use(ButtonUse::Released, 3000);
    EXPECT_THAT(m_events, ElementsAre("press_start short_press", "long_press_start long_press",
                                      "long_press_end long_release"));
}

TEST_F(Button, TwoClicks_AreOneRow)
{
    Use(ButtonUse::Pressed, 1000);
    Use(ButtonUse::Released, 1080);
    Use(ButtonUse::Pressed, 1160);
    Use(ButtonUse::Released, 1240);
    Use(ButtonUse::Clicked, 1590, 2);
    EXPECT_THAT(m_events, ElementsAre("press_start short_press", "press_end short_release",
                                      "multi_press_ongoing2 ", "multi_press_end2 double_press"));
}

TEST_F(Button, PressLongAfterARow_BeginsAnew)
{
    Use(ButtonUse::Pressed, 1000);
    Use(ButtonUse::Released, 1080);
    Use(ButtonUse::Pressed, 2081);
    EXPECT_EQ(m_events.back(), "press_start short_press");
}

TEST_F(Button, ReleaseWithoutPressAndPressTwice_TellNothing)
{
    Use(ButtonUse::Released, 1000);
    Use(ButtonUse::Pressed, 1100);
    Use(ButtonUse::Pressed, 1200);
    EXPECT_EQ(m_events.size(), 1u);
}

TEST_F(Button, NineClicks_HaveAnEventAndNoTrigger)
{
    Use(ButtonUse::Clicked, 1000, 9);
    EXPECT_EQ(m_events.back(), "multi_press_end9 ");
}

// --- Memory ---

namespace
{
BrokerMemory::Store StoreIn(std::string& text)
{
    BrokerMemory::Store store;
    store.load = [&text]
    {
        return text;
    };
    store.save = [&text](const std::string& saved)
    {
        text = saved;
    };
    return store;
}
} // namespace

TEST(BrokerMemory, Saved_IsThereInTheNextLife)
{
    std::string text;
    {
        BrokerMemory memory(StoreIn(text));
        memory.AddTopic("a");
        memory.AddTopic("b");
        memory.RemoveTopic("b");
        memory.SetComponents("a", {{"button_1", "event"}});
        memory.TotalOf("sofa", 500);
        memory.Save();
    }
    BrokerMemory memory(StoreIn(text));
    EXPECT_THAT(memory.Topics(), ElementsAre("a"));
    EXPECT_THAT(memory.ComponentsOf("a"),
                ElementsAre(BrokerMemory::Component("button_1", "event")));
    EXPECT_THAT(memory.ComponentsOf("b"), IsEmpty());
    EXPECT_EQ(memory.TotalOf("sofa", 20), 520);
}

TEST(BrokerMemory, CountThatBeginsAnew_TotalGoesOn)
{
    BrokerMemory memory;
    EXPECT_EQ(memory.TotalOf("sofa", 0), 0);
    EXPECT_EQ(memory.TotalOf("sofa", 300), 300);
    EXPECT_EQ(memory.TotalOf("sofa", 0), 300);
    EXPECT_EQ(memory.TotalOf("sofa", 5), 305);
    EXPECT_EQ(memory.TotalOf("lamp", 7), 7);
}

TEST(BrokerMemory, DamagedText_CountsAsNone)
{
    for (const char* damaged : {"{", "[]", R"({"version":1})", R"({"version":2,"topics":["a"]})",
                                R"({"version":1,"topics":[1],"components":{},"energy":{}})"})
    {
        std::string text = damaged;
        const BrokerMemory memory(StoreIn(text));
        EXPECT_THAT(memory.Topics(), IsEmpty()) << damaged;
    }
}

// The link between a driver and its device: what is lost, late or comes twice, and in what order;
// and what becomes of drivers that are restarted behind their devices' backs.

#include "device_wire/AttachedDevice.h"
#include "lighting_host/house/Session.h"
#include "tests/lighting_host/HouseFolder.h"

#include <chrono>
#include <deque>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

using namespace std::chrono_literals;

namespace lighting_host
{
namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

// Gives each message the next delivery of a list, and after that none.
class ScriptedLink : public device_wire::Link
{
public:
    Delivery ForNextMessage(Way) override
    {
        Delivery delivery;
        if (!deliveries.empty())
        {
            delivery = deliveries.front();
            deliveries.pop_front();
        }
        return delivery;
    }

    std::deque<Delivery> deliveries;
};

// Notes the events of the house, as "event@ms".
class Events : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output& output) override
    {
        if (const auto* fired = std::get_if<embedded_host::EventFired>(&output.effect))
            seen.push_back(std::to_string(fired->event) + "@" + std::to_string(output.timeMs));
    }

    std::vector<std::string> seen;
};

const std::string PUCK = R"(<house><driver name="p" type="puck" id="1">
<device simulated="true"/></driver></house>)";

class LinkTest : public testing::Test
{
protected:
    LinkTest()
    {
        session.Start();
        session.House().Advance(1000ms);
        Device().SetLink(&link);
    }
    ~LinkTest() override { session.Stop(); }

    static SessionOptions Quiet()
    {
        SessionOptions options;
        options.logLevel = log4cplus::OFF_LOG_LEVEL;
        return options;
    }

    device_wire::AttachedDevice& Device() { return *session.Devices()[0]; }
    void Push() { Device().Send(wire::MibMessage{wire::MibMessage::Trap, "nx.dmx.bp", {"07"}}); }
    void Release() { Device().Send(wire::MibMessage{wire::MibMessage::Trap, "nx.dmx.he", {"07"}}); }

    ScriptedLink link;
    Events events;
    const HouseFile file = ParseHouseFile(PUCK, "");
    Session session{file, Quiet(), events};
};

TEST_F(LinkTest, MessageThatIsLost_DoesNotArrive)
{
    link.deliveries = {{true}};
    Push();
    session.House().Advance(5000ms);
    EXPECT_THAT(events.seen, IsEmpty());
}

TEST_F(LinkTest, LateMessage_IsOvertaken)
{
    link.deliveries = {{false, false, 300ms}};
    Push();
    Release();
    session.House().Advance(400ms);
    EXPECT_THAT(events.seen, ElementsAre("6000@1000", "6001@1300"));
}

TEST_F(LinkTest, LateMessageWhereTheOrderIsKept_HoldsUpThoseBehindIt)
{
    link.deliveries = {{false, true, 300ms}, {false, true, 0ms}};
    Push();
    Release();
    session.House().Advance(300ms);
    EXPECT_THAT(events.seen, ElementsAre("6001@1300", "6000@1300"));
}

TEST_F(LinkTest, MessageThatComesTwice_ArrivesTwice)
{
    link.deliveries = {{false, false, 0ms, true, 200ms}};
    Release();
    session.House().Advance(200ms);
    EXPECT_THAT(events.seen, ElementsAre("6000@1000", "6000@1200"));
}

// --- restarts from the state file ----------------------------------------------------------------

class RestartTest : public testing::Test
{
protected:
    RestartTest()
    {
        session.Start();
        session.House().Advance(1000ms);
    }
    ~RestartTest() override { session.Stop(); }

    static SessionOptions Kept(const HouseFolder& folder)
    {
        SessionOptions options;
        options.logLevel = log4cplus::OFF_LOG_LEVEL;
        options.statePath = folder.Path("state");
        options.persistIntervalMs = 600000;
        options.complain = [](const std::string& what)
        {
            ADD_FAILURE() << what;
        };
        return options;
    }

    int WattHours() const
    {
        return session.AdapterOf(*session.House().Find("k"))->EnergyOfLoad()->wattHours;
    }

    HouseFolder folder;
    Events events;
    // 3600 W: a watt-hour a second, told each minute.
    const HouseFile file = ParseHouseFile(R"(<house><driver name="k" type="energy_switch" id="1">
<device simulated="true"><step at="0s" watts="3600"/></device></driver></house>)",
                                          "");
    Session session{file, Kept(folder), events};
};

TEST_F(RestartTest, AfterASave_NothingIsForgotten)
{
    session.House().Advance(5 * 60000ms);
    EXPECT_EQ(WattHours(), 300);
    session.RestartDrivers(true);
    EXPECT_EQ(WattHours(), 300);
}

TEST_F(RestartTest, WithoutASave_WhatWasCountedSinceTheLastOneIsLost)
{
    session.House().Advance(12 * 60000ms);
    EXPECT_EQ(WattHours(), 720);
    session.RestartDrivers(false);
    EXPECT_EQ(WattHours(), 540);
}
} // namespace
} // namespace lighting_host

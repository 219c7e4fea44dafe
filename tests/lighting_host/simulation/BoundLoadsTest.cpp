// A load that a button is bound to by the house file alone: in a conversation its driver gets the
// calls, and in a run it does what it is told and the button learns of it.

#include "device_wire/AttachedDevice.h"
#include "embedded_host/Output.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/simulation/Simulation.h"
#include "nxshared/NxMIBPacket.h"
#include "simulated_devices/SimulatedDevice.h"
#include "tests/lighting_host/HouseFolder.h"

#include <chrono>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lighting_host
{
namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

std::string House(const std::string& load)
{
    return "<house><driver name=\"hall\" type=\"puck\" id=\"1\">"
           "<capability name=\"load_present\">true</capability></driver>"
           "<driver name=\"lamp\" type=\"" +
           load +
           "\" id=\"2\"><device simulated=\"true\"/></driver>"
           "<bind from=\"hall\" binding=\"1\" to=\"lamp\" to_binding=\"0\"/></house>";
}

// Keeps what the controller says that it does.
class ActNotes : public HouseListener
{
public:
    void OnControllerAct(const nx::DriverHost& driver, const std::string& words) override
    {
        acts.push_back(driver.Config().name + " " + words);
    }
    std::vector<std::string> acts;
};

class BoundLoadsTest : public testing::TestWithParam<const char*>
{
protected:
    BoundLoadsTest() : m_file(ParseHouseFile(House(GetParam()), ""))
    {
        m_listeners.Add(m_notes);
        m_session = std::make_unique<Session>(m_file, SessionOptions(), m_listeners);
        m_simulation =
            std::make_unique<Simulation>(m_file, *m_session, m_listeners, FaultLevel::None, 1);
        m_session->Start();
        m_simulation->Start();
        Pass(100ms);
    }
    ~BoundLoadsTest() override
    {
        m_simulation.reset();
        m_listeners.Remove(m_notes);
    }

    // What the module reports of its first contact: pressed, clicked, held no longer.
    void Report(const char* mib)
    {
        NxMIBPacket trap(NxMIB::Trap, mib);
        trap.AddHexParam<int>(7);
        m_session->House().Find("hall")->Trap(trap);
        Pass(10ms);
    }
    void Push() { Report("nx.dmx.bp"); }
    void Click() { Report("nx.dmx.sc"); }
    void Release() { Report("nx.dmx.he"); }
    void Pass(std::chrono::milliseconds time) { m_session->House().Advance(time); }

    unsigned Percent() const
    {
        const simulated::LampLevel lamp = m_session->Devices()[0]->Device()->PresentLevel();
        return (lamp.level * 100 + lamp.full / 2) / lamp.full;
    }

    HouseFile m_file;
    Listeners m_listeners;
    ActNotes m_notes;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<Simulation> m_simulation;
};

TEST_P(BoundLoadsTest, ShortPress_TurnsTheLoadOnAndTheNextOneOff)
{
    Push();
    EXPECT_EQ(Percent(), 0u);
    Release();
    EXPECT_EQ(Percent(), 100u);
    Push();
    Release();
    EXPECT_EQ(Percent(), 0u);
    EXPECT_THAT(m_notes.acts, ElementsAre("hall turns on \"lamp\"", "hall turns off \"lamp\""));
}

TEST_P(BoundLoadsTest, PressThatEndsAsAClick_TurnsTheLoadOnOnce)
{
    Push();
    Click();
    Pass(BoundLoads::HOLD_TIME);
    EXPECT_EQ(Percent(), 100u);
    EXPECT_THAT(m_notes.acts, ElementsAre("hall turns on \"lamp\""));
}

TEST_P(BoundLoadsTest, HeldPress_MovesTheLoadUntilTheReleaseAndThenTheOtherWay)
{
    Push();
    Pass(BoundLoads::HOLD_TIME);
    Pass(BoundLoads::RAMP_TIME);
    Release();
    EXPECT_EQ(Percent(), 100u);
    Push();
    Pass(BoundLoads::HOLD_TIME);
    Pass(BoundLoads::RAMP_TIME);
    Release();
    EXPECT_EQ(Percent(), 0u);
    EXPECT_THAT(m_notes.acts, ElementsAre("hall brightens \"lamp\"", "hall dims \"lamp\""));
}

INSTANTIATE_TEST_SUITE_P(Loads, BoundLoadsTest, testing::Values("zigbee_light", "wired_dimmer"));

class BoundDimmerTest : public BoundLoadsTest
{
};

TEST_P(BoundDimmerTest, ReleaseHalfWay_LeavesTheLoadThere)
{
    Push();
    Pass(BoundLoads::HOLD_TIME);
    Pass(BoundLoads::RAMP_TIME / 2);
    Release();
    Pass(BoundLoads::RAMP_TIME);
    EXPECT_GE(Percent(), 48u);
    EXPECT_LE(Percent(), 52u);
}

INSTANTIATE_TEST_SUITE_P(Dimmer, BoundDimmerTest, testing::Values("wired_dimmer"));

// The conversation has no controller: the load's driver gets the calls and the load stays dark.
TEST(BoundConversation, Press_ReachesTheOtherDriver)
{
    HouseFolder folder;
    folder.Write("house.xml", House("zigbee_light"));
    const CommandRun run = folder.Stdio(
        "house.xml", "{\"driver\":\"hall\",\"trap\":\"nx.dmx.bp\",\"params\":[\"00000007\"]}\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, testing::IsSupersetOf(
                             {R"({"t_ms":0,"driver":"hall","bound_call":"DO_PUSH","binding":1})",
                              R"({"t_ms":0,"driver":"lamp","bound_call_result":0})"}));
}
} // namespace
} // namespace lighting_host

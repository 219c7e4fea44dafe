#include "lighting_host/simulation/Listeners.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Simulation.h"
#include "nxshared/NxMIBPacket.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace lighting_host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using Lines = std::vector<std::string>;

// Writes down what it hears, under a name of its own.
class Recorder : public HouseListener
{
public:
    Recorder(std::string name, Lines& lines) : m_name(std::move(name)), m_lines(lines) {}

    void OnOutput(const embedded_host::Output& output) override
    {
        if (const auto* fired = std::get_if<embedded_host::EventFired>(&output.effect))
            m_lines.push_back(m_name + " event " + std::to_string(fired->event));
    }
    void OnPowerFailure(const nx::DriverHost& driver) override
    {
        m_lines.push_back(m_name + " power " + driver.Config().name);
    }

private:
    const std::string m_name;
    Lines& m_lines;
};

constexpr const char* HEARD_HOUSE = "<house><driver name=\"bell\" type=\"puck\" id=\"1\">"
                                    "<device simulated=\"true\"/></driver></house>";

// A puck whose contact 0 the test presses.
class ListenersTest : public testing::Test
{
protected:
    void Press()
    {
        NxMIBPacket trap(NxMIB::Trap, "nx.dmx.bp");
        trap.AddParam("00000007");
        Driver().Trap(trap);
    }
    nx::DriverHost& Driver() const { return *m_session.House().Find("bell"); }

    const HouseFile m_file = ParseHouseFile(HEARD_HOUSE, ".");
    Lines m_lines;
    Listeners m_listeners;
    Recorder m_first{"first", m_lines};
    Recorder m_second{"second", m_lines};
    Session m_session{m_file, SessionOptions(), m_listeners};
};

TEST_F(ListenersTest, Output_ReachesEveryListenerInTheOrderOfAdding)
{
    m_listeners.Add(m_first);
    m_listeners.Add(m_second);
    m_session.Start();
    Press();
    EXPECT_THAT(m_lines, ElementsAre("first event 6001", "second event 6001"));
}

TEST_F(ListenersTest, RemovedListener_HearsNothingMore)
{
    m_listeners.Add(m_first);
    m_listeners.Add(m_second);
    m_listeners.Remove(m_first);
    m_session.Start();
    Press();
    EXPECT_THAT(m_lines, ElementsAre("second event 6001"));
}

TEST_F(ListenersTest, PowerFailure_ReachesTheListeners)
{
    m_listeners.Add(m_first);
    Simulation simulation(m_file, m_session, m_listeners, FaultLevel::Heavy, 1);
    m_session.Start();
    simulation.Start();
    EXPECT_THAT(m_lines, IsEmpty());
    m_session.House().Advance(24 * 3600 * 1000ms);
    EXPECT_THAT(m_lines, testing::Contains("first power bell"));
}

TEST_F(ListenersTest, SimulationThatEndsBeforeItsSession_HearsNothingOfTheRest)
{
    auto simulation =
        std::make_unique<Simulation>(m_file, m_session, m_listeners, FaultLevel::None, 1);
    m_session.Start();
    simulation->Start();
    simulation.reset();
    m_listeners.Add(m_first);
    Press();
    EXPECT_THAT(m_lines, ElementsAre("first event 6001"));
}
} // namespace

#include "Doorbell.h"

#include "embedded_host/Clock.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/Output.h"
#include "embedded_host/Random.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
// Keeps what the driver does to the world: chime packets and its own events, as words.
class Notes : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output& output) override
    {
        if (const auto* sent = std::get_if<embedded_host::MibSent>(&output.effect))
            Note(sent->packet.ProperToString());
        if (const auto* fired = std::get_if<embedded_host::EventFired>(&output.effect))
            Note("event " + std::to_string(fired->event));
    }

    // What came since the last time.
    std::vector<std::string> Take() { return std::move(m_notes); }

private:
    void Note(const std::string& text) { m_notes.push_back(text); }

    std::vector<std::string> m_notes;
};

class DoorbellTest : public testing::Test
{
protected:
    DoorbellTest() : m_house(m_clock, m_random, m_notes)
    {
        embedded_host::DriverConfig config;
        config.name = "bell";
        config.id = 1;
        config.capabilities = {{"load_present", "true"}};
        config.create = [](IInstanceManager& instances)
        {
            return new Doorbell(instances);
        };
        m_bell = m_house.Add(config);
        m_house.StartAll();
        m_notes.Take();
    }

    void Push()
    {
        NxMIBPacket trap(NxMIB::Trap, "nx.dmx.bp");
        trap.AddHexParam<int>(7);
        m_bell->Trap(trap);
    }

    void Release()
    {
        NxMIBPacket trap(NxMIB::Trap, "nx.dmx.he");
        trap.AddHexParam<int>(7);
        m_bell->Trap(trap);
    }

    std::vector<std::string> Seen() { return m_notes.Take(); }

    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    Notes m_notes;
    embedded_host::House m_house;
    nx::DriverHost* m_bell = nullptr;
};

using Strings = std::vector<std::string>;
} // namespace

TEST_F(DoorbellTest, Push_RingsForThreeSeconds)
{
    Push();
    EXPECT_EQ(Seen(), Strings({"event 6001", "bell.chime 01", "event 7001"}));
    m_house.Advance(2999);
    EXPECT_EQ(Seen(), Strings());
    m_house.Advance(1);
    EXPECT_EQ(Seen(), Strings({"bell.chime 00", "event 7000"}));
}

TEST_F(DoorbellTest, PushWhileItRings_StartsTheTimeAnew)
{
    Push();
    Release();
    m_house.Advance(2000);
    Push();
    EXPECT_EQ(Seen(),
              Strings({"event 6001", "bell.chime 01", "event 7001", "event 6000", "event 6001"}));
    m_house.Advance(2999);
    EXPECT_EQ(Seen(), Strings());
    m_house.Advance(1);
    EXPECT_EQ(Seen(), Strings({"bell.chime 00", "event 7000"}));
}

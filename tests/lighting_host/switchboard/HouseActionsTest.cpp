// What visitors do to a house as a whole, on a run of it: each line, what it changes, and what is
// refused.

#include "lighting_host/switchboard/HouseActions.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/SimulatedDevice.h"
#include "wire/MibMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::Contains;
using testing::HasSubstr;

namespace
{
constexpr const char* LAMP_HOUSE = R"(<house>
  <driver name="hall" type="puck" id="101">
    <config><NUM_BUTTONS>2</NUM_BUTTONS></config><device simulated="true"/></driver>
  <driver name="sofa" type="zigbee_light" id="102"><device simulated="true" watts="9"/></driver>
  <driver name="oak" type="wired_dimmer" id="103"><device simulated="true" watts="40"/></driver>
  <driver name="bare" type="puck" id="104"/>
  <driver name="real" type="zigbee_light" id="105">
    <device zigbee2mqtt="0x00124b0000000002"/></driver>
</house>)";
constexpr std::size_t HALL = 0;
constexpr std::size_t SOFA_INDEX = 1;
constexpr std::size_t OAK = 2;
constexpr std::size_t REAL = 3;
} // namespace

class HouseActionsTest : public testing::Test, public HouseListener
{
protected:
    HouseActionsTest() : m_file(ParseHouseFile(LAMP_HOUSE, "."))
    {
        HouseRun::Sinks sinks;
        sinks.onLine = [this](const OutputRing::Line& line)
        {
            m_lines.push_back(line.text);
        };
        m_run = std::make_unique<HouseRun>(m_file, HouseRun::Options(), std::move(sinks));
        m_run->AddListener(*this);
        m_run->Start();
        m_run->AdvanceTo(10000);
        m_lines.clear();
        m_heard.clear();
    }

    void OnMib(const nx::DriverHost&, const wire::MibMessage& message) override
    {
        m_heard.push_back(message.mib);
    }

    void Do(const std::string& line)
    {
        ASSERT_TRUE(IsHouseAction(line)) << line;
        m_run->Do("desk", line, PrepareHouseAction(*m_run, line));
    }

    device_wire::AttachedDevice& Device(std::size_t index)
    {
        return *m_run->GetSession().Devices()[index];
    }

    const HouseFile m_file;
    std::vector<std::string> m_lines;
    // What devices sent that reached their drivers.
    std::vector<std::string> m_heard;
    // Its drivers still speak when it goes.
    std::unique_ptr<HouseRun> m_run;
};

TEST_F(HouseActionsTest, PressedContact_IsHeldUntilItIsReleased)
{
    const auto& puck = dynamic_cast<simulated::PuckModule&>(*Device(HALL).Device());
    Do(R"({"house":"act","driver":"hall","do":"press","contact":1})");
    m_run->AdvanceTo(12000);
    EXPECT_TRUE(puck.IsPushed(8));
    EXPECT_THAT(m_heard, Contains("nx.dmx.hb"));
    Do(R"({"house":"act","driver":"hall","do":"release","contact":1})");
    EXPECT_FALSE(puck.IsPushed(8));
}

TEST_F(HouseActionsTest, WhatAnActCauses_IsItsVisitorsDoing)
{
    Do(R"({"house":"act","driver":"hall","do":"click","button":0})");
    ASSERT_GE(m_lines.size(), 3u);
    const Json visitor = ParseJson(m_lines[0]);
    EXPECT_EQ(visitor["cause"], "visitor");
    EXPECT_EQ(visitor["visitor"], "desk");
    const Json device = ParseJson(m_lines[1]);
    EXPECT_EQ(device["cause"], "device");
    EXPECT_EQ(device["of"], visitor["seq"]);
    EXPECT_EQ(ParseJson(m_lines[2])["of"], device["seq"]);
}

TEST_F(HouseActionsTest, Level_GoesToThatLampAlone)
{
    Do(R"({"house":"level","driver":"oak","level":40,"time_ms":1000})");
    m_run->AdvanceTo(10500);
    ASSERT_TRUE(Device(OAK).Device()->PresentRamp());
    EXPECT_EQ(Device(OAK).Device()->PresentRamp()->to, 40u);
    m_run->AdvanceTo(11001);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 40u);
    EXPECT_EQ(Device(SOFA_INDEX).PresentLevel().level, 0u);
    Do(R"({"house":"level","driver":"sofa","level":100})");
    m_run->AdvanceTo(11100);
    EXPECT_EQ(Device(SOFA_INDEX).PresentLevel().level, 254u);
}

TEST_F(HouseActionsTest, WithoutPower_NothingReachesADeviceAndItsLampIsDark)
{
    Do(R"({"house":"level","driver":"oak","level":40})");
    m_run->AdvanceTo(10100);
    Do(R"({"house":"power","driver":"oak","on":false})");
    EXPECT_EQ(Device(OAK).PresentLevel().level, 0u);
    EXPECT_FALSE(Device(OAK).Driver().LastTold()->online);
    Do(R"({"house":"level","driver":"oak","level":80})");
    m_run->AdvanceTo(10200);
    Do(R"({"house":"power","driver":"oak","on":true})");
    m_run->AdvanceTo(10300);
    // What it was sent meanwhile it never heard, and without power it forgot where it was.
    EXPECT_EQ(Device(OAK).PresentLevel().level, 0u);
    EXPECT_TRUE(Device(OAK).Driver().LastTold()->online);
}

TEST_F(HouseActionsTest, MainSwitch_IsEveryDeviceButRealLamps)
{
    Do(R"({"house":"power","on":false})");
    for (const std::size_t device : {HALL, SOFA_INDEX, OAK})
        EXPECT_FALSE(Device(device).HasPower());
    EXPECT_TRUE(Device(REAL).HasPower());
    EXPECT_FALSE(m_run->GetSimulation()->Switches().OfHouse().power);
    Do(R"({"house":"power","on":true})");
    EXPECT_TRUE(Device(HALL).HasPower());
}

TEST_F(HouseActionsTest, DeafDevice_HearsNothingUntilItDoesAgain)
{
    Do(R"({"house":"fault","driver":"oak","deaf":true})");
    Do(R"({"house":"level","driver":"oak","level":40})");
    m_run->AdvanceTo(10500);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 0u);
    Do(R"({"house":"fault","driver":"oak","deaf":false})");
    Do(R"({"house":"level","driver":"oak","level":40})");
    m_run->AdvanceTo(10600);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 40u);
}

TEST_F(HouseActionsTest, DelayAndLoss_AreTheLinks)
{
    Do(R"({"house":"fault","delay_ms":2000})");
    Do(R"({"house":"level","driver":"oak","level":40})");
    m_run->AdvanceTo(11900);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 0u);
    m_run->AdvanceTo(12100);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 40u);
    Do(R"({"house":"fault","driver":"oak","loss_percent":100})");
    Do(R"({"house":"level","driver":"oak","level":80})");
    m_run->AdvanceTo(15000);
    EXPECT_EQ(Device(OAK).PresentLevel().level, 40u);
}

TEST_F(HouseActionsTest, DeviceThatRepeats_IsHeardTwice)
{
    Do(R"({"house":"fault","driver":"hall","repeats":true})");
    Do(R"({"house":"act","driver":"hall","do":"press","contact":0})");
    m_run->AdvanceTo(10100);
    EXPECT_THAT(m_heard, testing::ElementsAre("nx.dmx.bp", "nx.dmx.bp"));
}

TEST_F(HouseActionsTest, WhatIsNotNamedOfAFault_StaysAsItIs)
{
    Do(R"({"house":"fault","driver":"sofa","deaf":true,"delay_ms":5})");
    Do(R"({"house":"fault","driver":"sofa","loss_percent":10})");
    const DeviceSwitches::Switched& sofa = m_run->GetSimulation()->Switches().Of(SOFA_INDEX);
    EXPECT_TRUE(sofa.faults.deaf);
    EXPECT_EQ(sofa.faults.delayMs, 5u);
    EXPECT_EQ(sofa.faults.lossPercent, 10u);
    EXPECT_EQ(sofa.deafMs, 10000);
    EXPECT_EQ(sofa.powerMs, -1);
}

TEST_F(HouseActionsTest, WrongLines_AreRefusedAndChangeNothing)
{
    for (const char* line : {
             R"({"house":"act","driver":"nobody","do":"press","button":0})",
             R"({"house":"act","driver":"bare","do":"press","button":0})",
             R"({"house":"act","driver":"hall","do":"kick","button":0})",
             R"({"house":"act","driver":"hall","do":"press","button":2})",
             R"({"house":"act","driver":"hall","do":"press","button":0,"contact":0})",
             R"({"house":"act","driver":"sofa","do":"press","button":0})",
             R"({"house":"level","driver":"hall","level":10})",
             R"({"house":"level","driver":"oak","level":101})",
             R"({"house":"scene","id":1})",
             R"({"house":"group","id":1,"do":"up"})",
             R"({"house":"power","driver":"oak"})",
             R"({"house":"fault","driver":"oak","loss_percent":101})",
             R"({"house":"fault","driver":"oak","deaf":true,"hungry":true})",
         })
        EXPECT_THROW(PrepareHouseAction(*m_run, line), InputError) << line;
    m_run->AdvanceTo(10001);
    EXPECT_TRUE(Device(OAK).HasPower());
    EXPECT_FALSE(m_run->GetSimulation()->Switches().Of(OAK).faults.deaf);
}

TEST_F(HouseActionsTest, OtherLines_AreNoActions)
{
    for (const char* line : {"", "nonsense", "[]", R"({"house":"list"})", R"({"house":3})",
                             R"({"driver":"hall","command":"house"})"})
        EXPECT_FALSE(IsHouseAction(line)) << line;
}

TEST_F(HouseActionsTest, RealLamp_IsNotTouchedSwitchedOrMadeFaulty)
{
    for (const char* line : {R"({"house":"act","driver":"real","do":"press","button":1})",
                             R"({"house":"power","driver":"real","on":false})",
                             R"({"house":"fault","driver":"real","deaf":true})"})
        EXPECT_THROW(PrepareHouseAction(*m_run, line), InputError) << line;
}

TEST_F(HouseActionsTest, FrameOfARealLamp_ReachesItsDriverAsADevicesDoes)
{
    Do(R"({"house":"lamp","driver":"real","zcl_frame":{"cluster":5,"hex":"19050089070000"}})");
    EXPECT_THAT(m_lines, Contains(HasSubstr(R"("call":"AddSceneFailed","args":[7,137,)")));
    EXPECT_THAT(m_lines, Contains(HasSubstr(R"("cause":"device")")));
    for (const char* wrong : {R"({"cluster":4,"hex":"19"})", R"({"cluster":4,"hex":"1"})",
                              R"({"cluster":4,"hex":"19010200","more":1})", "7"})
        EXPECT_THROW(PrepareHouseAction(*m_run, R"({"house":"lamp","driver":"real","zcl_frame":)" +
                                                    std::string(wrong) + "}"),
                     InputError);
}

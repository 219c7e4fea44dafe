#include "lighting_host/house/HouseFile.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "nxshared/XmlDocument.h"
#include "simulated_devices/ZigbeeLight.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include <gmock/gmock.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
// A world that runs what is asked of it when told to, and notes what is told.
class HandWorld : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::BusFrame&) override {}
    void Send(const wire::ZclFrame&) override { lines.emplace_back("frame"); }
    void Schedule(std::chrono::milliseconds delay, std::function<void()> callback) override
    {
        lines.push_back("in " + std::to_string(delay.count()));
        scheduled.push_back(std::move(callback));
    }
    std::chrono::milliseconds Now() const override { return {}; }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string&) override { lines.emplace_back("person"); }
    void Rejoin() override { lines.emplace_back("rejoin"); }

    std::vector<std::string> lines;
    std::vector<std::function<void()>> scheduled;
};

class ZigbeeLightDeviceTest : public testing::Test
{
protected:
    // The light of a driver with this <device> element.
    simulated::ZigbeeLight& Make(const std::string& device)
    {
        made = MakeDevice(Driver(device), world);
        return dynamic_cast<simulated::ZigbeeLight&>(*made);
    }

    static std::string Wrong(const std::string& device) { return CheckDevice(Driver(device)); }

    static HouseFileDriver Driver(const std::string& device)
    {
        HouseFileDriver driver;
        driver.type = "zigbee_light";
        driver.device = nx::CreateXmlDocument(device)->GetRoot();
        return driver;
    }

    HandWorld world;
    std::unique_ptr<simulated::SimulatedDevice> made;
};
} // namespace

TEST_F(ZigbeeLightDeviceTest, PlainDevice_IsAnEmptyLightOnAnyEndpoint)
{
    auto& light = Make("<device simulated=\"true\"/>");
    EXPECT_TRUE(light.Tables().groups.empty());
    light.OnZcl({4, 200, {0x01, 0, 0x02, 0}});
    EXPECT_THAT(world.lines, ElementsAre("in 15"));
}

TEST_F(ZigbeeLightDeviceTest, Settings_AreTaken)
{
    auto& light = Make("<device simulated=\"true\" groups=\"1\" scenes=\"1\" answer=\"2s\"/>");
    for (const std::uint8_t group : {1, 2})
        light.OnZcl({4, 1, {0x01, 0, 0x00, group, 0, 0}});
    EXPECT_THAT(light.Tables().groups, ElementsAre(1));
    for (const std::uint8_t number : {1, 2})
        light.OnZcl({5, 1, {0x01, 0, 0x00, 1, 0, number, 0, 0, 0}});
    EXPECT_EQ(light.Tables().scenes.size(), 1u);
    EXPECT_THAT(world.lines, ElementsAre("in 2000", "in 2000", "in 2000", "in 2000"));
}

TEST_F(ZigbeeLightDeviceTest, Scenes_AreInTheLightFromTheStart)
{
    auto& light = Make("<device><scene group=\"9\" number=\"3\" level=\"127\" seconds=\"2\"/>"
                       "</device>");
    EXPECT_THAT(light.Tables().groups, ElementsAre(9));
    const auto* scene = light.Tables().Find(9, 3);
    ASSERT_NE(scene, nullptr);
    EXPECT_EQ(*scene->level, 127);
    EXPECT_EQ(scene->seconds, 2);
}

TEST_F(ZigbeeLightDeviceTest, LosePower_ForgetsAndRejoinsWhenItIsTime)
{
    auto& light = Make("<device><scene group=\"9\" number=\"3\"/><fault kind=\"forgets\"/>"
                       "<act at=\"1m\" do=\"lose_power\"/></device>");
    ASSERT_EQ(world.scheduled.size(), 1u);
    world.scheduled[0]();
    EXPECT_THAT(world.lines, ElementsAre("in 60000", "person", "rejoin"));
    EXPECT_TRUE(light.Tables().groups.empty());
}

TEST_F(ZigbeeLightDeviceTest, EveryKindOfFault_IsKnown)
{
    for (const char* const kind :
         {"loses", "late", "repeats", "forgets", "unsorted", "small_tables", "rounds_levels",
          "drops_on_off", "keeps_old_sets"})
        EXPECT_EQ(Wrong("<device><fault kind=\"" + std::string(kind) + "\"/></device>"), "");
}

TEST_F(ZigbeeLightDeviceTest, WhatIsWrong_IsSaidInWords)
{
    EXPECT_THAT(Wrong("<device colour=\"red\"/>"), HasSubstr("colour"));
    EXPECT_THAT(Wrong("<device groups=\"0\"/>"), HasSubstr("groups"));
    EXPECT_THAT(Wrong("<device scenes=\"251\"/>"), HasSubstr("scenes"));
    EXPECT_THAT(Wrong("<device><lamp/></device>"), HasSubstr("<lamp>"));
    EXPECT_THAT(Wrong("<device><scene group=\"1\"/></device>"), HasSubstr("number"));
    EXPECT_THAT(Wrong("<device><scene group=\"65528\" number=\"1\"/></device>"),
                HasSubstr("group"));
    EXPECT_THAT(Wrong("<device><act do=\"lose_power\"/></device>"), HasSubstr("at"));
    EXPECT_THAT(Wrong("<device><act at=\"1s\" do=\"dance\"/></device>"), HasSubstr("lose_power"));
    EXPECT_THAT(Wrong("<device><fault kind=\"sulks\"/></device>"), HasSubstr("keeps_old_sets"));
    EXPECT_THAT(Wrong("<device><fault/></device>"), HasSubstr("kind"));
}

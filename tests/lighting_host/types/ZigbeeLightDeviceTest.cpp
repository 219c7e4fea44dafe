#include "lighting_host/house/HouseFile.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/zigbee_light/AnsweredTables.h"
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

// What is known of a real lamp, from the frames between it and its driver.
class AnsweredTablesTest : public testing::Test
{
protected:
    void Sent(std::vector<std::uint8_t> bytes) { tables.OnSent({SCENES, 1, std::move(bytes)}); }
    bool Groups(std::vector<std::uint8_t> bytes)
    {
        return tables.OnAnswer({GROUPS, 1, std::move(bytes)});
    }
    bool Scenes(std::vector<std::uint8_t> bytes)
    {
        return tables.OnAnswer({SCENES, 1, std::move(bytes)});
    }
    // "group/number level seconds" of each scene.
    std::vector<std::string> Held() const
    {
        std::vector<std::string> texts;
        for (const auto& [place, content] : *tables.GetScenes())
        {
            std::string text = std::to_string(place.first) + "/" + std::to_string(place.second);
            if (content)
                text += " " + (content->level ? std::to_string(*content->level) : "-") + " " +
                        std::to_string(content->seconds);
            texts.push_back(text);
        }
        return texts;
    }

    static constexpr std::uint16_t GROUPS = 4;
    static constexpr std::uint16_t SCENES = 5;
    // Add Scene 9 of group 7, 4 s, no name, on, level 200.
    const std::vector<std::uint8_t> STORE = {0x01, 5, 0x00, 7, 0, 9, 4, 0,  0,
                                             6,    0, 1,    1, 8, 0, 1, 200};
    AnsweredTables tables;
};

TEST_F(AnsweredTablesTest, NothingAnswered_NothingIsKnown)
{
    Sent(STORE);
    EXPECT_EQ(tables.Groups(), nullptr);
    EXPECT_EQ(tables.GetScenes(), nullptr);
    EXPECT_TRUE(Groups({0x19, 1, 0x02, 13, 2, 7, 0, 1, 2}));
    EXPECT_THAT(*tables.Groups(), ElementsAre(7, 0x0201));
    EXPECT_EQ(tables.GetScenes(), nullptr);
}

TEST_F(AnsweredTablesTest, EachGroupHasToldItsScenes_TheyAreKnownWithWhatWasViewed)
{
    Groups({0x19, 1, 0x02, 13, 1, 7, 0});
    EXPECT_TRUE(Scenes({0x19, 2, 0x06, 0, 13, 7, 0, 2, 3, 4}));
    EXPECT_THAT(Held(), ElementsAre("7/3", "7/4"));
    EXPECT_TRUE(Scenes({0x19, 3, 0x01, 0, 7, 0, 3, 2, 0, 0, 6, 0, 1, 1, 8, 0, 1, 120}));
    EXPECT_TRUE(Scenes({0x19, 4, 0x01, 0, 7, 0, 4, 1, 0, 0, 6, 0, 1, 0, 8, 0, 1, 120}));
    EXPECT_THAT(Held(), ElementsAre("7/3 120 2", "7/4 0 1"));
    EXPECT_TRUE(Scenes({0x19, 5, 0x06, 0, 13, 7, 0, 1, 4}));
    EXPECT_THAT(Held(), ElementsAre("7/4 0 1"));
}

TEST_F(AnsweredTablesTest, StoredScene_IsKnownOnceTheLampHasAgreed)
{
    Groups({0x19, 1, 0x02, 13, 0});
    EXPECT_TRUE(Groups({0x19, 2, 0x00, 0, 7, 0}));
    Sent(STORE);
    EXPECT_TRUE(Held().empty());
    EXPECT_TRUE(Scenes({0x19, 5, 0x00, 0, 7, 0, 9}));
    EXPECT_THAT(Held(), ElementsAre("7/9 200 4"));
    EXPECT_THAT(*tables.Groups(), ElementsAre(7));
    EXPECT_TRUE(Scenes({0x19, 6, 0x02, 0, 7, 0, 9}));
    EXPECT_TRUE(Held().empty());
}

TEST_F(AnsweredTablesTest, RefusedStore_ChangesNothing)
{
    Groups({0x19, 1, 0x02, 13, 0});
    Sent(STORE);
    EXPECT_FALSE(Scenes({0x19, 5, 0x00, 0x89, 7, 0, 9}));
    EXPECT_FALSE(Scenes({0x18, 5, 0x0B, 0x00, 0x81}));
    EXPECT_TRUE(Held().empty());
    EXPECT_TRUE(tables.Groups()->empty());
}

TEST_F(AnsweredTablesTest, LostGroup_TakesItsScenesAlong)
{
    Groups({0x19, 1, 0x02, 13, 2, 7, 0, 8, 0});
    Scenes({0x19, 2, 0x06, 0, 13, 7, 0, 1, 3});
    Scenes({0x19, 3, 0x06, 0, 13, 8, 0, 1, 255});
    EXPECT_THAT(Held(), ElementsAre("7/3", "8/255"));
    Groups({0x19, 4, 0x02, 13, 1, 8, 0});
    EXPECT_THAT(Held(), ElementsAre("8/255"));
    EXPECT_TRUE(Groups({0x19, 5, 0x03, 0, 8, 0}));
    EXPECT_TRUE(Held().empty());
}

TEST_F(AnsweredTablesTest, EveryBeginningOfAFrame_IsReadNoFurtherThanItGoes)
{
    Groups({0x19, 1, 0x02, 13, 1, 7, 0});
    const std::vector<std::uint8_t> view = {0x19, 3, 0x01, 0, 7, 0, 3, 2, 0,
                                            0,    6, 0,    1, 1, 8, 0, 1, 120};
    for (std::size_t size = 0; size < view.size(); ++size)
        Scenes({view.begin(), view.begin() + static_cast<std::ptrdiff_t>(size)});
    for (std::size_t size = 0; size < STORE.size(); ++size)
        Sent({STORE.begin(), STORE.begin() + static_cast<std::ptrdiff_t>(size)});
    EXPECT_FALSE(Groups({0x19, 1, 0x02, 13, 200, 9, 0}));
    EXPECT_FALSE(Scenes({0x19, 5, 0x06, 0, 13, 7, 0, 200, 3}));
    EXPECT_THAT(*tables.Groups(), ElementsAre(7));
    EXPECT_EQ(tables.GetScenes(), nullptr);
}

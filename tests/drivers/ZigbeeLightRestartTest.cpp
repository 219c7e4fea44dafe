// Synchronisations that are started, changed or restarted while another one runs.

#include "ZigbeeLightRig.h"

#include <algorithm>
#include <chrono>
#include <set>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace zigbee_rig;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

namespace
{
using Asked = std::vector<std::string>;

// Four scenes in three groups, which the light holds as they are wanted.
const std::vector<std::pair<int, int>> SCENES = {{1, 0}, {2, 0}, {2, 1}, {3, 0}};
const Asked EVERYTHING = {
    "get_scene_membership 3 @1", "view_scene 3 @1", "get_scene_membership 2 @1",
    "view_scene 65538 @1",       "view_scene 2 @1", "get_scene_membership 1 @1",
    "view_scene 1 @1",
};

class RestartedSynchronization
{
public:
    explicit RestartedSynchronization(std::chrono::milliseconds answer)
    {
        auto& light = rig.Attach({1, 16, 16, answer});
        light.Tables().groups = {1, 2, 3};
        for (const auto& [group, number] : SCENES)
        {
            simulated::LightScene scene;
            scene.group = static_cast<std::uint16_t>(group);
            scene.number = static_cast<std::uint8_t>(number);
            scene.level = 127;
            scene.seconds = 1;
            light.Tables().scenes.push_back(scene);
            auto& details = m_wanted[static_cast<unsigned>(number << 16 | group)];
            details.level = 50;
            details.time = 1000;
        }
    }

    void Start(unsigned stallDelay)
    {
        rig.host->CallDriver("a test", [&] { rig.Driver().Synchronize(m_wanted, stallDelay); });
    }

    LightRig rig;

private:
    SceneDetailsLightMap m_wanted;
};
} // namespace

// At any moment of the first one, whatever is under way then.
TEST(ZigbeeLightRestart, SecondStartAtAnyMoment_AsksForEverything)
{
    int timings = 0;
    for (const unsigned stallDelay : {0U, 1U, 2U})
    {
        for (const std::chrono::milliseconds answer : {15ms, 300ms, 600ms})
        {
            for (unsigned at = 0; at < 180; ++at, ++timings)
            {
                RestartedSynchronization both(answer);
                both.Start(stallDelay);
                both.rig.house.Advance(at * (answer + stallDelay * 1000ms) / 15);
                both.rig.Sent();
                const int done = both.rig.Driver().done;
                both.Start(stallDelay);
                both.rig.house.Advance(60000ms);
                EXPECT_THAT(both.rig.Sent(), IsSupersetOf(EVERYTHING))
                    << at << " of stall " << stallDelay << " s, answer " << answer.count() << " ms";
                EXPECT_EQ(both.rig.Driver().done, done + 1);
            }
        }
    }
    EXPECT_EQ(timings, 3 * 3 * 180);
}

TEST(ZigbeeLightRestart, SceneDeletedMeanwhile_IsGoneInTheEnd)
{
    LightRig rig;
    auto& light = rig.Attach({1, 16, 16, 15ms});
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "6"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "5"}});
    rig.house.Advance(60000ms);
    EXPECT_EQ(light.Tables().Find(5, 0), nullptr);
    EXPECT_NE(light.Tables().Find(6, 0), nullptr);
    EXPECT_EQ(rig.Driver().done, 2);
}

TEST(ZigbeeLightRestart, SceneChangedMeanwhile_IsRightInTheEnd)
{
    LightRig rig;
    auto& light = rig.Attach({1, 16, 16, 15ms});
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.Command("MODIFY_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "100"}, {"TIME", "0"}});
    rig.house.Advance(60000ms);
    EXPECT_EQ(*light.Tables().Find(5, 0)->level, 254);
    EXPECT_EQ(rig.Driver().done, 2);
}

TEST(ZigbeeLightRestart, NothingChangedMeanwhile_EndsOnce)
{
    LightRig rig;
    rig.Attach({1, 16, 16, 15ms});
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.Command("MODIFY_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Driver().done, 1);
}

TEST(ZigbeeLightRestart, ScenesOfTheCaller_AreNotSynchronizedAgain)
{
    LightRig rig;
    rig.Attach({1, 16, 16, 15ms});
    rig.host->CallDriver("a test", [&] { rig.Driver().Synchronize({}, 1); });
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "5"}, {"LEVEL", "50"}, {"TIME", "0"}});
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Driver().done, 1);
}

TEST(ZigbeeLightRestart, LevelsAndTimesThatNoLightHolds_AreStoredOnce)
{
    LightRig rig("<config/>", "<State><SceneMap><SceneMapEntry><SceneID>5</SceneID>"
                              "<Level>101</Level><Time>-7</Time></SceneMapEntry></SceneMap>"
                              "</State>");
    rig.Attach({1, 16, 16, 15ms});
    rig.Command("ADD_TO_SCENE", {{"SCENE_ID", "6"}, {"LEVEL", "-1"}, {"TIME", "-2000"}});
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.house.Advance(60000ms);
    rig.ForgetCounts();
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Counts().count("add_scene"), 0U);
    EXPECT_EQ(rig.Driver().done, 2);
}

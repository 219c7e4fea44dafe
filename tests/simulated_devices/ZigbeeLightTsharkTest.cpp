#include "TestWorld.h"
#include "simulated_devices/ZigbeeLight.h"
#include "tests/embedded_host/ZigbeeCapture.h"

#include <chrono>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;

namespace
{
// What a simulated light answers, as another decoder reads it.
class ZigbeeLightTsharkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!ZigbeeCapture::HaveTshark())
            GTEST_SKIP() << "tshark is not installed: no outside decoder to compare with";
        light.Tables().groups = {5, 0x1234};
        simulated::LightScene scene;
        scene.group = 5;
        scene.number = 7;
        scene.seconds = 258;
        scene.onOff = std::uint8_t{1};
        scene.level = std::uint8_t{127};
        light.Tables().scenes = {scene};
    }

    // Asks the light and puts its answer into the capture.
    void Ask(std::uint16_t cluster, const std::vector<std::uint8_t>& frame)
    {
        light.OnZcl({cluster, 1, frame});
        world.Advance(1000ms);
        const wire::ZclFrame answer = world.NextZcl();
        capture.Add(answer.cluster, answer.bytes);
    }

    simulated_test::TestWorld world;
    simulated::ZigbeeLight light{world, {1, 3, 9, 15ms}};
    ZigbeeCapture capture;
};
} // namespace

TEST_F(ZigbeeLightTsharkTest, Answers_AreWholeAndGoFromTheServer)
{
    Ask(4, {0x01, 1, 0x00, 9, 0, 0});
    Ask(4, {0x01, 2, 0x02, 0});
    Ask(4, {0x01, 3, 0x03, 9, 0});
    Ask(5, {0x00, 4, 0x00, 0, 0});
    Ask(5, {0x01, 5, 0x06, 5, 0});
    Ask(5, {0x01, 6, 0x01, 5, 0, 7});
    Ask(5, {0x01, 7, 0x01, 5, 0, 8});
    Ask(5, {0x01, 8, 0x00, 5, 0, 9, 1, 0, 0, 8, 0, 1, 64});
    Ask(5, {0x01, 9, 0x02, 5, 0, 9});
    Ask(5, {0x01, 10, 0x05, 5, 0, 7});
    EXPECT_THAT(capture.Dissect({"_ws.malformed", "data.data", "zbee_zcl.dir", "zbee_zcl.ddr"}),
                Each("- - 1 1"));
}

TEST_F(ZigbeeLightTsharkTest, GroupAnswers_HaveTheirFields)
{
    Ask(4, {0x01, 1, 0x00, 9, 0, 0});
    Ask(4, {0x01, 2, 0x02, 0});
    Ask(4, {0x01, 3, 0x03, 8, 0});
    EXPECT_THAT(capture.Dissect({"zbee_zcl_general.groups.cmd.srv_tx.id",
                                 "zbee_zcl_general.groups.group_status",
                                 "zbee_zcl_general.groups.group_capacity",
                                 "zbee_zcl_general.groups.group_count",
                                 "zbee_zcl_general.groups.group_id"}),
                ElementsAre("0x00 0x00 - - 0x0009", "0x02 - 0 3 0x0005,0x1234,0x0009",
                            "0x03 0x8b - - 0x0008"));
}

TEST_F(ZigbeeLightTsharkTest, SceneAnswers_HaveTheirFields)
{
    Ask(5, {0x01, 5, 0x06, 5, 0});
    Ask(5, {0x01, 6, 0x01, 5, 0, 7});
    Ask(5, {0x01, 7, 0x01, 6, 0, 8});
    Ask(5, {0x01, 8, 0x00, 5, 0, 9, 1, 0, 0});
    EXPECT_THAT(
        capture.Dissect(
            {"zbee_zcl_general.scenes.cmd.srv_tx.id", "zbee_zcl_general.scenes.scenes_status",
             "zbee_zcl_general.scenes.scene_capacity", "zbee_zcl_general.scenes.group_id",
             "zbee_zcl_general.scenes.scene_count", "zbee_zcl_general.scenes.scene_id",
             "zbee_zcl_general.scenes.transit_time", "zbee_zcl_general.scenes.extension_set.onoff",
             "zbee_zcl_general.scenes.extension_set.level"}),
        ElementsAre("0x06 0x00 8 0x0005 1 0x07 - - -", "0x01 0x00 - 0x0005 - 0x07 258 1 127",
                    "0x01 0x85 - 0x0006 - 0x08 - - -", "0x00 0x00 - 0x0005 - 0x09 - - -"));
}

TEST_F(ZigbeeLightTsharkTest, SceneCount_IsReadAsAnAttribute)
{
    Ask(5, {0x00, 4, 0x00, 0, 0});
    EXPECT_THAT(capture.Dissect({"zbee_zcl.cmd.id", "zbee_zcl_general.scenes.attr_id",
                                 "zbee_zcl.attr.status", "zbee_zcl.attr.uint8"}),
                ElementsAre("0x01 0x0000 0x00 1"));
}

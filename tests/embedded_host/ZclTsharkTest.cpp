#include "ZigbeeCapture.h"
#include "embedded_host/ZclMessages.h"

#include <memory>

#include <gmock/gmock.h>

using embedded_host::HostZclMessage;
using testing::Each;
using testing::ElementsAre;

namespace
{
// What leaves for a light, as another decoder reads it.
class ZclTsharkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!ZigbeeCapture::HaveTshark())
            GTEST_SKIP() << "tshark is not installed: no outside decoder to compare with";
    }

    // Takes the message and puts its frame into the capture.
    void Send(nx::ZclMessage* message)
    {
        const std::unique_ptr<nx::ZclMessage> owned(message);
        const auto& ours = dynamic_cast<const HostZclMessage&>(*message);
        std::vector<std::uint8_t> frame(HostZclMessage::MAX_FRAME);
        frame.resize(ours.Encode(m_sequence++, frame.data(), frame.size()));
        capture.Add(ours.Cluster(), frame);
    }

    void SendOneOfEach()
    {
        Send(nx::MakeGetAllGroupMembership());
        Send(nx::MakeJoinGroupPacket(0x1234));
        Send(nx::MakeLeaveThisGroupPacket(0xFFF7));
        Send(nx::MakeGetSceneCount());
        Send(nx::MakeGetSceneMembership(0x1234));
        Send(nx::MakeViewScene(0x00AB1234));
        Send(nx::MakeRemoveScene(0x00FF0001));
        Send(nx::MakeSceneRamp(0x00071234, 25, 260500));
        Send(nx::MakeSceneRamp(0x00071234, 0, 0));
    }

    ZigbeeCapture capture;

private:
    std::uint8_t m_sequence = 250;
};
} // namespace

TEST_F(ZclTsharkTest, EveryFrame_IsWholeAndWellFormed)
{
    SendOneOfEach();
    const auto lines =
        capture.Dissect({"_ws.malformed", "_ws.expert.message", "data.data", "zbee_zcl.ms"});
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_THAT(lines, Each("- - - 0"));
}

TEST_F(ZclTsharkTest, EveryFrame_HasItsHeader)
{
    SendOneOfEach();
    // Cluster, frame type, direction, sequence, then the command as general, groups' or scenes'.
    const auto lines = capture.Dissect(
        {"zbee_aps.cluster", "zbee_zcl.type", "zbee_zcl.dir", "zbee_zcl.cmd.tsn", "zbee_zcl.cmd.id",
         "zbee_zcl_general.groups.cmd_srv_rx.id", "zbee_zcl_general.scenes.cmd.srv_rx.id"});
    EXPECT_THAT(lines, ElementsAre("0x0004 0x01 0 250 - 0x02 -", "0x0004 0x01 0 251 - 0x00 -",
                                   "0x0004 0x01 0 252 - 0x03 -", "0x0005 0x00 0 253 0x00 - -",
                                   "0x0005 0x01 0 254 - - 0x06", "0x0005 0x01 0 255 - - 0x01",
                                   "0x0005 0x01 0 0 - - 0x02", "0x0005 0x01 0 1 - - 0x00",
                                   "0x0005 0x01 0 2 - - 0x00"));
}

TEST_F(ZclTsharkTest, GroupFrames_HaveTheirFields)
{
    Send(nx::MakeGetAllGroupMembership());
    Send(nx::MakeJoinGroupPacket(0x1234));
    Send(nx::MakeLeaveThisGroupPacket(0xFFF7));
    EXPECT_THAT(
        capture.Dissect({"zbee_zcl_general.groups.group_count", "zbee_zcl_general.groups.group_id",
                         "zbee_zcl_general.groups.attr_str_len"}),
        ElementsAre("0 - -", "- 0x1234 0", "- 0xfff7 -"));
}

TEST_F(ZclTsharkTest, SceneCount_IsAReadOfAttributeZero)
{
    Send(nx::MakeGetSceneCount());
    EXPECT_THAT(capture.Dissect({"zbee_zcl.cmd.id", "zbee_zcl_general.scenes.attr_id"}),
                ElementsAre("0x00 0x0000"));
}

TEST_F(ZclTsharkTest, SceneQuestions_HaveGroupAndNumber)
{
    Send(nx::MakeGetSceneMembership(0x1234));
    Send(nx::MakeViewScene(0x00AB1234));
    Send(nx::MakeRemoveScene(0x00FF0001));
    EXPECT_THAT(
        capture.Dissect({"zbee_zcl_general.scenes.group_id", "zbee_zcl_general.scenes.scene_id"}),
        ElementsAre("0x1234 -", "0x1234 0xab", "0x0001 0xff"));
}

TEST_F(ZclTsharkTest, AddScene_HasSecondsAnEmptyNameAndBothSets)
{
    Send(nx::MakeSceneRamp(0x00071234, 25, 260500));
    Send(nx::MakeSceneRamp(0x00071234, 0, 0));
    EXPECT_THAT(
        capture.Dissect({"zbee_zcl_general.scenes.group_id", "zbee_zcl_general.scenes.scene_id",
                         "zbee_zcl_general.scenes.transit_time",
                         "zbee_zcl_general.scenes.attr_str_len",
                         "zbee_zcl_general.scenes.extension_set.cluster",
                         "zbee_zcl_general.scenes.extension_set.onoff",
                         "zbee_zcl_general.scenes.extension_set.level"}),
        ElementsAre("0x1234 0x07 261 0 0x0006,0x0008 1 64", "0x1234 0x07 0 0 0x0006,0x0008 0 0"));
}

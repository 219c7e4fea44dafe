#include "embedded_host/ZclMessages.h"

#include <memory>
#include <string>
#include <vector>

#include <climits>
#include <gtest/gtest.h>

using embedded_host::HostZclMessage;
using embedded_host::zcl::RequestKind;

namespace
{
// The frame of a message, sent as number `sequence`, in hexadecimal.
std::string Hex(nx::ZclMessage* message, std::uint8_t sequence = 0x42)
{
    const std::unique_ptr<nx::ZclMessage> owned(message);
    std::uint8_t frame[HostZclMessage::MAX_FRAME];
    const std::size_t length =
        dynamic_cast<const HostZclMessage&>(*message).Encode(sequence, frame, sizeof frame);
    std::string text;
    for (std::size_t index = 0; index < length; ++index)
    {
        const char* const digits = "0123456789abcdef";
        text += digits[frame[index] >> 4];
        text += digits[frame[index] & 15];
    }
    return text;
}

std::unique_ptr<const HostZclMessage> Ours(nx::ZclMessage* message)
{
    return std::unique_ptr<const HostZclMessage>(&dynamic_cast<HostZclMessage&>(*message));
}
} // namespace

TEST(ZclMessages, GetAllGroupMembership_AsksWithAnEmptyList)
{
    EXPECT_EQ(Hex(nx::MakeGetAllGroupMembership()), "014202"
                                                    "00");
}

TEST(ZclMessages, GetSceneCount_ReadsAttributeZero)
{
    EXPECT_EQ(Hex(nx::MakeGetSceneCount()), "004200"
                                            "0000");
}

TEST(ZclMessages, GetSceneMembership_NamesTheGroup)
{
    EXPECT_EQ(Hex(nx::MakeGetSceneMembership(0x1234)), "014206"
                                                       "3412");
}

TEST(ZclMessages, ViewScene_NamesGroupAndNumber)
{
    EXPECT_EQ(Hex(nx::MakeViewScene(0x00AB1234)), "014201"
                                                  "3412ab");
}

TEST(ZclMessages, RemoveScene_NamesGroupAndNumber)
{
    EXPECT_EQ(Hex(nx::MakeRemoveScene(0xFFAB1234)), "014202"
                                                    "3412ab");
}

TEST(ZclMessages, JoinGroup_HasAnEmptyName)
{
    EXPECT_EQ(Hex(nx::MakeJoinGroupPacket(0x1234)), "014200"
                                                    "341200");
}

TEST(ZclMessages, JoinGroup_OfASceneIdNamesItsGroup)
{
    EXPECT_EQ(Hex(nx::MakeJoinGroupPacket(0x00AB1234)), "014200"
                                                        "341200");
}

TEST(ZclMessages, LeaveGroup_NamesTheGroup)
{
    EXPECT_EQ(Hex(nx::MakeLeaveThisGroupPacket(0xFFFF)), "014203"
                                                         "ffff");
}

TEST(ZclMessages, SceneRamp_CarriesSecondsNameAndBothSets)
{
    EXPECT_EQ(Hex(nx::MakeSceneRamp(0x00071234, 50, 2000)), "014200"
                                                            "341207"
                                                            "0200"
                                                            "00"
                                                            "06000101"
                                                            "0800017f");
}

TEST(ZclMessages, SceneRampOfLevelZero_IsOff)
{
    EXPECT_EQ(Hex(nx::MakeSceneRamp(1, 0, 499)), "014200"
                                                 "010000"
                                                 "0000"
                                                 "00"
                                                 "06000100"
                                                 "08000100");
}

TEST(ZclMessages, SceneRampBeyondTheFrame_IsHeldToItsLimits)
{
    EXPECT_EQ(Hex(nx::MakeSceneRamp(1, INT_MAX, INT_MAX)), "014200"
                                                           "010000"
                                                           "ffff"
                                                           "00"
                                                           "06000101"
                                                           "080001fe");
    EXPECT_EQ(Hex(nx::MakeSceneRamp(1, INT_MIN, INT_MIN)), "014200"
                                                           "010000"
                                                           "0000"
                                                           "00"
                                                           "06000100"
                                                           "08000100");
}

TEST(ZclMessages, SceneRampAtTheLongestTime_FitsTheFrame)
{
    EXPECT_EQ(Hex(nx::MakeSceneRamp(1, 1, 65535499)).substr(12, 4), "ffff");
    EXPECT_EQ(Hex(nx::MakeSceneRamp(1, 1, 65534499)).substr(12, 4), "feff");
}

TEST(ZclMessages, SequenceNumber_IsTheOneGiven)
{
    EXPECT_EQ(Hex(nx::MakeGetSceneCount(), 0xFF).substr(2, 2), "ff");
}

TEST(ZclMessages, BufferTooSmall_IsLeftAlone)
{
    std::uint8_t frame[HostZclMessage::MAX_FRAME] = {};
    const auto message = Ours(nx::MakeSceneRamp(1, 50, 0));
    EXPECT_EQ(message->Encode(1, frame, HostZclMessage::MAX_FRAME - 1), 0u);
    EXPECT_EQ(frame[0], 0);
    EXPECT_EQ(message->Encode(1, frame, HostZclMessage::MAX_FRAME), HostZclMessage::MAX_FRAME);
    EXPECT_EQ(message->Encode(1, nullptr, 0), 0u);
}

TEST(ZclMessages, AMessageKeepsWhatWasAskedUnrounded)
{
    const auto message = Ours(nx::MakeSceneRamp(0xFFAB1234, 150, 1499));
    EXPECT_EQ(message->Kind(), RequestKind::AddScene);
    EXPECT_STREQ(message->Name(), "add_scene");
    EXPECT_EQ(message->Cluster(), 5);
    EXPECT_EQ(message->Request().group, 0x1234);
    EXPECT_EQ(message->Request().scene, 0xFFAB1234u);
    EXPECT_EQ(message->Request().level, 150);
    EXPECT_EQ(message->Request().timeMs, 1499);
    EXPECT_TRUE(message->HasGroup() && message->HasScene() && message->HasDetails());
}

TEST(ZclMessages, NamesClustersAndFields_OfEachKind)
{
    struct Row
    {
        nx::ZclMessage* message;
        const char* name;
        int cluster;
        bool group;
        bool scene;
        bool details;
    };
    const Row rows[] = {
        {nx::MakeGetAllGroupMembership(), "get_group_membership", 4, false, false, false},
        {nx::MakeJoinGroupPacket(1), "add_group", 4, true, false, false},
        {nx::MakeLeaveThisGroupPacket(1), "remove_group", 4, true, false, false},
        {nx::MakeGetSceneCount(), "get_scene_count", 5, false, false, false},
        {nx::MakeGetSceneMembership(1), "get_scene_membership", 5, true, false, false},
        {nx::MakeViewScene(1), "view_scene", 5, true, true, false},
        {nx::MakeRemoveScene(1), "remove_scene", 5, true, true, false},
        {nx::MakeSceneRamp(1, 1, 1), "add_scene", 5, true, true, true},
    };
    for (const Row& row : rows)
    {
        const auto message = Ours(row.message);
        EXPECT_STREQ(message->Name(), row.name);
        EXPECT_EQ(message->Cluster(), row.cluster) << row.name;
        EXPECT_EQ(message->HasGroup(), row.group) << row.name;
        EXPECT_EQ(message->HasScene(), row.scene) << row.name;
        EXPECT_EQ(message->HasDetails(), row.details) << row.name;
    }
}

TEST(ZclMessages, Frame_NeedsItsOwnLengthAndNoMore)
{
    nx::ZclMessage* const messages[] = {
        nx::MakeGetAllGroupMembership(), nx::MakeJoinGroupPacket(1),
        nx::MakeLeaveThisGroupPacket(1), nx::MakeGetSceneCount(),
        nx::MakeGetSceneMembership(1),   nx::MakeViewScene(1),
        nx::MakeRemoveScene(1),          nx::MakeSceneRamp(1, 1, 1)};
    for (nx::ZclMessage* message : messages)
    {
        const auto held = Ours(message);
        std::uint8_t frame[HostZclMessage::MAX_FRAME];
        const std::size_t length = held->Encode(1, frame, sizeof frame);
        EXPECT_EQ(held->Encode(1, frame, length), length) << held->Name();
        EXPECT_EQ(held->Encode(1, frame, length - 1), 0u) << held->Name();
    }
}

TEST(ZclMessages, RequestThatIsNone_IsUnknownAndNoFrame)
{
    embedded_host::zcl::Request request;
    request.kind = static_cast<embedded_host::zcl::RequestKind>(8);
    std::uint8_t frame[HostZclMessage::MAX_FRAME];
    EXPECT_STREQ(embedded_host::zcl::RequestName(request.kind), "unknown");
    EXPECT_EQ(embedded_host::zcl::EncodeRequest(request, 1, frame, sizeof frame), 0u);
}

TEST(ZclMessages, JoiningAnyGroup_IsSentAsAsked)
{
    for (const unsigned group : {0x0000u, 0x0001u, 0xFFF7u, 0xFFF8u, 0xFFFFu, 0x00AB0000u})
        EXPECT_EQ(Ours(nx::MakeJoinGroupPacket(group))->Request().group, group & 0xFFFF);
}

TEST(ZclMessages, GetGroupId_IsTheLow16Bits)
{
    EXPECT_EQ(nx::GetGroupId(0), 0);
    EXPECT_EQ(nx::GetGroupId(0xFFFF), 0xFFFF);
    EXPECT_EQ(nx::GetGroupId(0x10000), 0);
    EXPECT_EQ(nx::GetGroupId(0x00AB1234), 0x1234);
    EXPECT_EQ(nx::GetGroupId(0xFFFFFFFF), 0xFFFF);
}

TEST(ZclMessages, GetNearestSeconds_RoundsAHalfUp)
{
    EXPECT_EQ(nx::GetNearestSeconds(0), 0);
    EXPECT_EQ(nx::GetNearestSeconds(499), 0);
    EXPECT_EQ(nx::GetNearestSeconds(500), 1);
    EXPECT_EQ(nx::GetNearestSeconds(1000), 1);
    EXPECT_EQ(nx::GetNearestSeconds(1400), 1);
    EXPECT_EQ(nx::GetNearestSeconds(1499), 1);
    EXPECT_EQ(nx::GetNearestSeconds(1500), 2);
    EXPECT_EQ(nx::GetNearestSeconds(1600), 2);
}

TEST(ZclMessages, GetNearestSecondsAtTheEnds_DoesNotOverflow)
{
    EXPECT_EQ(nx::GetNearestSeconds(INT_MAX), 2147484);
    EXPECT_EQ(nx::GetNearestSeconds(INT_MIN), -2147483);
}

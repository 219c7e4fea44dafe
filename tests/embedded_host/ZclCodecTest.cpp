#include "embedded_host/ZclCodec.h"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace embedded_host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr std::uint16_t GROUPS = 4;
constexpr std::uint16_t SCENES = 5;

std::vector<std::uint8_t> Bytes(const std::string& hex)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t index = 0; index + 1 < hex.size(); index += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(index, 2), nullptr, 16)));
    return bytes;
}

// Notes the one call that an answer makes.
class NotingListener : public IZclListener
{
public:
    void OnZclSceneMembership(unsigned short group, const SceneVec& scenes) override
    {
        Note("scenes of " + std::to_string(group) + List(scenes));
    }
    void OnZclViewScene(unsigned scene, int level, int time) override
    {
        Note("view " + std::to_string(scene) + " " + std::to_string(level) + " " +
             std::to_string(time));
    }
    void OnZclGroupMembership(const nx::GroupIdVec& groups) override
    {
        Note("groups" + List(groups));
    }
    void OnZclSceneCount(int count) override { Note("count " + std::to_string(count)); }
    void OnAddSceneFailure(unsigned scene, unsigned char status) override
    {
        Note("failure " + std::to_string(scene) + " " + std::to_string(status));
    }

    std::string said = "nothing";

private:
    template <class Vector>
    static std::string List(const Vector& values)
    {
        std::string text;
        for (const auto value : values)
            text += " " + std::to_string(value);
        return text;
    }
    void Note(const std::string& what)
    {
        EXPECT_EQ(said, "nothing");
        said = what;
    }
};

// What a frame says to a listener, or "error".
std::string Said(std::uint16_t cluster, const std::string& hex)
{
    const std::vector<std::uint8_t> bytes = Bytes(hex);
    zcl::Reply reply;
    if (zcl::DecodeReply(cluster, bytes.data(), bytes.size(), reply) != nullptr)
        return "error";
    NotingListener listener;
    zcl::Deliver(reply, listener);
    return listener.said;
}

// Expects a frame to be understood whole and refused at every length below.
void ExpectNeedsAll(std::uint16_t cluster, const std::string& hex)
{
    EXPECT_NE(Said(cluster, hex), "error") << hex;
    for (std::size_t length = 0; length < hex.size(); length += 2)
        EXPECT_EQ(Said(cluster, hex.substr(0, length)), "error") << hex.substr(0, length);
}
} // namespace

TEST(ZclLevels, PercentToLevel_IsTheNearestWithAHalfRoundedUp)
{
    EXPECT_EQ(zcl::LevelFromPercent(0), 0);
    EXPECT_EQ(zcl::LevelFromPercent(1), 3);
    EXPECT_EQ(zcl::LevelFromPercent(25), 64);
    EXPECT_EQ(zcl::LevelFromPercent(50), 127);
    EXPECT_EQ(zcl::LevelFromPercent(75), 191);
    EXPECT_EQ(zcl::LevelFromPercent(99), 251);
    EXPECT_EQ(zcl::LevelFromPercent(100), 254);
    EXPECT_EQ(zcl::LevelFromPercent(-1), 0);
    EXPECT_EQ(zcl::LevelFromPercent(101), 254);
}

TEST(ZclLevels, LevelToPercent_IsTheNearest)
{
    EXPECT_EQ(zcl::PercentFromLevel(0), 0);
    EXPECT_EQ(zcl::PercentFromLevel(1), 0);
    EXPECT_EQ(zcl::PercentFromLevel(2), 1);
    EXPECT_EQ(zcl::PercentFromLevel(127), 50);
    EXPECT_EQ(zcl::PercentFromLevel(254), 100);
    EXPECT_EQ(zcl::PercentFromLevel(255), 100);
}

TEST(ZclLevels, EveryPercent_ComesBackAsItself)
{
    for (int percent = 0; percent <= 100; ++percent)
        EXPECT_EQ(zcl::PercentFromLevel(zcl::LevelFromPercent(percent)), percent);
}

TEST(ZclSceneId, IsNumberAboveGroup)
{
    EXPECT_EQ(zcl::SceneId(1, 0), 1u);
    EXPECT_EQ(zcl::SceneId(5, 1), 65541u);
    EXPECT_EQ(zcl::SceneId(0xFFFF, 0xFF), 0x00FFFFFFu);
}

TEST(ZclReplies, GroupMembership_GivesTheGroupsInTheOrderReceived)
{
    EXPECT_EQ(Said(GROUPS, "0907020500"), "groups");
    EXPECT_EQ(Said(GROUPS, "090702ff03341201000100"), "groups 4660 1 1");
}

TEST(ZclReplies, GroupMembership_SkipsOctetsAfterItsList)
{
    EXPECT_EQ(Said(GROUPS, "090702050101000200ff"), "groups 1");
}

TEST(ZclReplies, SceneCount_IsAttributeZeroOfScenes)
{
    EXPECT_EQ(Said(SCENES, "18070100000020ff"), "count 255");
    EXPECT_EQ(Said(SCENES, "1807010000002000"), "count 0");
    EXPECT_EQ(Said(SCENES, "180701000000210201"), "count 258");
}

TEST(ZclReplies, FailedAttributeRead_HasNoEffect)
{
    EXPECT_EQ(Said(SCENES, "180701000086"), "nothing");
}

TEST(ZclReplies, OtherAttributes_AreReadOverAndHaveNoEffect)
{
    EXPECT_EQ(Said(SCENES, "180701010000200501000020020000002003"), "count 3");
    EXPECT_EQ(Said(SCENES, "180701050000f00102030405060708"), "nothing");
    EXPECT_EQ(Said(SCENES, "18070101000042036162630000002004"), "count 4");
    EXPECT_EQ(Said(GROUPS, "1807010000001880"), "nothing");
    EXPECT_EQ(Said(6, "1807010000001001"), "nothing");
}

TEST(ZclReplies, AttributesOfUnknownTypes_AreRefused)
{
    EXPECT_EQ(Said(SCENES, "180701010000ff"), "error");
    EXPECT_EQ(Said(SCENES, "1807010000001001"), "error");
    EXPECT_EQ(Said(SCENES, "18070100000023ffffffff"), "error");
}

TEST(ZclReplies, SceneMembership_GivesControllerIdsInTheOrderReceived)
{
    EXPECT_EQ(Said(SCENES, "09070600ff341203020001"), "scenes of 4660 135732 4660 70196");
    EXPECT_EQ(Said(SCENES, "09070600ff341200"), "scenes of 4660");
}

TEST(ZclReplies, SceneMembershipRefused_IsAnEmptyList)
{
    EXPECT_EQ(Said(SCENES, "09070685fe0100"), "scenes of 1");
    EXPECT_EQ(Said(SCENES, "09070685fe01000105"), "scenes of 1");
}

TEST(ZclReplies, ViewScene_GivesPercentAndMilliseconds)
{
    EXPECT_EQ(Said(SCENES, "09070100341207020000060001010800017f"), "view 463412 50 2000");
    EXPECT_EQ(Said(SCENES, "09070100341207ffff0008000100"), "view 463412 0 65535000");
}

TEST(ZclReplies, EnhancedViewScene_GivesTenths)
{
    EXPECT_EQ(Said(SCENES, "090741003412070f00000800017f"), "view 463412 50 1500");
    EXPECT_EQ(Said(SCENES, "09074100341207ffff00080001fe"), "view 463412 100 6553500");
}

TEST(ZclReplies, ViewScene_ReadsOverNamesAndForeignSets)
{
    EXPECT_EQ(Said(SCENES, "0907010001000001000361626308000440010203"), "view 1 25 1000");
    EXPECT_EQ(Said(SCENES, "090701000100000100ff000304deadbeef0800034000000600010106000100"),
              "view 1 25 1000");
    EXPECT_EQ(Said(SCENES, "0907010001000001000000030008000140"), "view 1 25 1000");
}

TEST(ZclReplies, ViewSceneWithTwoLevels_TakesTheFirst)
{
    EXPECT_EQ(Said(SCENES, "09070100010000010000080001000800017f"), "view 1 0 1000");
}

// Octets of a value of each type, by the ZigBee Cluster Library.
TEST(ZclReplies, ValuesOfEveryType_AreReadOver)
{
    const std::map<std::string, unsigned> octets = {
        {"08", 1}, {"09", 2}, {"0a", 3}, {"0b", 4}, {"0c", 5}, {"0d", 6}, {"0e", 7}, {"0f", 8},
        {"10", 1}, {"18", 1}, {"19", 2}, {"1a", 3}, {"1b", 4}, {"1c", 5}, {"1d", 6}, {"1e", 7},
        {"1f", 8}, {"20", 1}, {"21", 2}, {"22", 3}, {"23", 4}, {"24", 5}, {"25", 6}, {"26", 7},
        {"27", 8}, {"28", 1}, {"29", 2}, {"2a", 3}, {"2b", 4}, {"2c", 5}, {"2d", 6}, {"2e", 7},
        {"2f", 8}, {"30", 1}, {"31", 2}, {"38", 2}, {"39", 4}, {"3a", 8}, {"e0", 4}, {"e1", 4},
        {"e2", 4}, {"e8", 2}, {"e9", 2}, {"f0", 8}};
    for (const auto& type : octets)
    {
        const std::string value(2 * type.second, '0');
        EXPECT_EQ(Said(SCENES, "180701010000" + type.first + value + "0000002007"), "count 7")
            << type.first;
    }
    // Texts say their length.
    EXPECT_EQ(Said(SCENES, "1807010100004103616263000000200a"), "count 10");
    EXPECT_EQ(Said(SCENES, "1807010100004203616263000000200a"), "count 10");
}

TEST(ZclReplies, ViewSceneWithoutLevel_IsLevelMinusOne)
{
    EXPECT_EQ(Said(SCENES, "0907010001000001000006000101"), "view 1 -1 0");
    EXPECT_EQ(Said(SCENES, "09070100010000010000"), "view 1 -1 0");
    EXPECT_EQ(Said(SCENES, "09070100010000010000080000"), "view 1 -1 0");
}

TEST(ZclReplies, ViewSceneRefused_IsLevelMinusOne)
{
    EXPECT_EQ(Said(SCENES, "0907018b010002"), "view 131073 -1 0");
    EXPECT_EQ(Said(SCENES, "09070185010002"), "view 131073 -1 0");
    EXPECT_EQ(Said(SCENES, "0907418b010002"), "view 131073 -1 0");
}

TEST(ZclReplies, AddSceneRefused_IsAFailureWithItsStatus)
{
    EXPECT_EQ(Said(SCENES, "09070089010002"), "failure 131073 137");
    EXPECT_EQ(Said(SCENES, "09070085010002"), "failure 131073 133");
    EXPECT_EQ(Said(SCENES, "09074089010002"), "failure 131073 137");
}

TEST(ZclReplies, AddSceneStored_IsSilent)
{
    EXPECT_EQ(Said(SCENES, "09070000010002"), "nothing");
}

TEST(ZclReplies, ResponsesThatNobodyHears_AreTakenSilently)
{
    EXPECT_EQ(Said(GROUPS, "090700000100"), "nothing");
    EXPECT_EQ(Said(GROUPS, "0907008a0100"), "nothing");
    EXPECT_EQ(Said(GROUPS, "090700890100"), "nothing");
    EXPECT_EQ(Said(GROUPS, "09070100010000"), "nothing");
    EXPECT_EQ(Said(GROUPS, "0907038b0100"), "nothing");
    EXPECT_EQ(Said(SCENES, "0907028b010002"), "nothing");
    EXPECT_EQ(Said(SCENES, "090703000100"), "nothing");
    EXPECT_EQ(Said(SCENES, "09070400010002"), "nothing");
    EXPECT_EQ(Said(SCENES, "09074200010002"), "nothing");
}

TEST(ZclReplies, DefaultResponses_AreTakenSilentlyFromAnyCluster)
{
    EXPECT_EQ(Said(GROUPS, "18070b0481"), "nothing");
    EXPECT_EQ(Said(SCENES, "18070b0000"), "nothing");
    EXPECT_EQ(Said(0x0006, "18070b0081"), "nothing");
}

TEST(ZclReplies, DirectionAndDefaultResponseBits_AreNotLookedAt)
{
    for (const char* const control : {"01", "09", "11", "19"})
        EXPECT_EQ(Said(SCENES, std::string(control) + "000089010002"), "failure 131073 137");
    for (const char* const control : {"00", "08", "10", "18"})
        EXPECT_EQ(Said(SCENES, std::string(control) + "07010000002005"), "count 5");
}

TEST(ZclReplies, FramesOfManufacturersAndReservedTypes_AreRefused)
{
    EXPECT_EQ(Said(SCENES, "0d34120702008b010002"), "error");
    EXPECT_EQ(Said(SCENES, "04"), "error");
    EXPECT_EQ(Said(SCENES, "0a070089010002"), "error");
    EXPECT_EQ(Said(SCENES, "0b070089010002"), "error");
}

TEST(ZclReplies, UnknownCommandsAndClusters_AreRefused)
{
    EXPECT_EQ(Said(GROUPS, "0907040000000000"), "error");
    EXPECT_EQ(Said(GROUPS, "09070600ff010000"), "error");
    EXPECT_EQ(Said(SCENES, "09070500000000"), "error");
    EXPECT_EQ(Said(SCENES, "0907ff00000000"), "error");
    EXPECT_EQ(Said(SCENES, "18070a00000000"), "error");
    EXPECT_EQ(Said(0x0006, "09070200000000"), "error");
    EXPECT_EQ(Said(0x0000, "09070089010002"), "error");
}

TEST(ZclReplies, ShortFrames_AreRefusedAtEveryLength)
{
    ExpectNeedsAll(GROUPS, "090700000100");
    ExpectNeedsAll(GROUPS, "0907010001000161");
    ExpectNeedsAll(GROUPS, "090702050201000200");
    ExpectNeedsAll(GROUPS, "090703000100");
    ExpectNeedsAll(SCENES, "09070089010002");
    ExpectNeedsAll(SCENES, "0907018b010002");
    ExpectNeedsAll(SCENES, "09070200010002");
    ExpectNeedsAll(SCENES, "090703000100");
    ExpectNeedsAll(SCENES, "09070400010002");
    ExpectNeedsAll(SCENES, "09070600ff0100020102");
    ExpectNeedsAll(SCENES, "09070685fe0100");
    ExpectNeedsAll(SCENES, "0907010001000001000161");
    ExpectNeedsAll(SCENES, "09074200010002");
    ExpectNeedsAll(SCENES, "1807010000002005");
    ExpectNeedsAll(SCENES, "180701000086");
    ExpectNeedsAll(SCENES, "18070b0081");
}

TEST(ZclReplies, FieldSetsCutShort_AreRefused)
{
    const std::string head = "09070100010000010000";
    EXPECT_EQ(Said(SCENES, head + "080001"), "error");
    EXPECT_EQ(Said(SCENES, head + "0800"), "error");
    EXPECT_EQ(Said(SCENES, head + "08"), "error");
    EXPECT_EQ(Said(SCENES, head + "08000340"), "error");
    EXPECT_EQ(Said(SCENES, head + "08000140" + "0600ff01"), "error");
}

TEST(ZclReplies, CountsPastTheEnd_AreRefused)
{
    EXPECT_EQ(Said(GROUPS, "09070205ff0100"), "error");
    EXPECT_EQ(Said(GROUPS, "0907020502010002"), "error");
    EXPECT_EQ(Said(SCENES, "09070600ff0100ff01"), "error");
    EXPECT_EQ(Said(SCENES, "0907010001000001000561"), "error");
}

TEST(ZclReplies, RefusedFrame_LeavesTheReplyAsItWas)
{
    zcl::Reply reply;
    reply.kind = zcl::Reply::Kind::SceneCount;
    reply.count = 9;
    const auto bytes = Bytes("0907020502010002");
    EXPECT_NE(zcl::DecodeReply(GROUPS, bytes.data(), bytes.size(), reply), nullptr);
    EXPECT_EQ(reply.kind, zcl::Reply::Kind::SceneCount);
    EXPECT_EQ(reply.count, 9);
    EXPECT_THAT(reply.groups, IsEmpty());
}

TEST(ZclRequests, KindOutsideTheEnumeration_IsNamedUnknownAndAsksForNothing)
{
    zcl::Request request;
    request.kind = static_cast<zcl::RequestKind>(200);
    EXPECT_STREQ(zcl::RequestName(request.kind), "unknown");
    std::uint8_t frame[zcl::MAX_FRAME];
    EXPECT_EQ(zcl::EncodeRequest(request, 0, frame, sizeof frame), 0u);
}

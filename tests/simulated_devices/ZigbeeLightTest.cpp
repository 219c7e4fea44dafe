#include "simulated_devices/ZigbeeLight.h"

#include "TestWorld.h"
#include "simulated_devices/ZigbeeLightFaults.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace simulated;
using simulated_test::TestWorld;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr std::uint16_t GROUPS = 4;
constexpr std::uint16_t SCENES = 5;
constexpr std::chrono::milliseconds ANSWER_TIME{15};

std::string Hex(const std::vector<std::uint8_t>& bytes)
{
    const char* const digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::vector<std::uint8_t> Bytes(const std::string& hex)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t index = 0; index < hex.size(); index += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(index, 2), nullptr, 16)));
    return bytes;
}

class ZigbeeLightTest : public testing::Test
{
protected:
    void Send(std::uint16_t cluster, const std::string& hex, std::uint8_t endpoint = 1)
    {
        light.OnZcl({cluster, endpoint, Bytes(hex)});
    }

    // The answer to a frame, or "nothing".
    std::string Ask(std::uint16_t cluster, const std::string& hex)
    {
        Send(cluster, hex);
        world.Advance(ANSWER_TIME);
        return Next(cluster);
    }

    std::string Next(std::uint16_t cluster)
    {
        if (world.ZclWaiting() == 0)
            return "nothing";
        const wire::ZclFrame frame = world.NextZcl();
        EXPECT_EQ(frame.cluster, cluster);
        EXPECT_EQ(frame.endpoint, 1);
        return Hex(frame.bytes);
    }

    template <class Fault, class... Arguments>
    void AddFault(Arguments&&... arguments)
    {
        light.AddFault(std::make_unique<Fault>(std::forward<Arguments>(arguments)...));
    }

    static LightScene Scene(std::uint16_t group, std::uint8_t number)
    {
        LightScene scene;
        scene.group = group;
        scene.number = number;
        scene.level = std::uint8_t{10};
        return scene;
    }

    TestWorld world;
    ZigbeeLight light{world, {1, 3, 2, ANSWER_TIME}};
};
} // namespace

TEST_F(ZigbeeLightTest, AnswerLeavesAfterItsDelayAndNotBefore)
{
    Send(GROUPS, "01070200");
    world.Advance(ANSWER_TIME - 1ms);
    EXPECT_EQ(world.ZclWaiting(), 0u);
    world.Advance(1ms);
    EXPECT_EQ(Next(GROUPS), "1907020300");
}

TEST_F(ZigbeeLightTest, AddGroup_IsAnsweredByItsStatus)
{
    EXPECT_EQ(Ask(GROUPS, "010100050000"), "190100000500");
    EXPECT_EQ(Ask(GROUPS, "010200050000"), "1902008a0500");
    EXPECT_EQ(Ask(GROUPS, "010300000000"), "190300870000");
    EXPECT_EQ(Ask(GROUPS, "010400f8ff00"), "19040087f8ff");
    EXPECT_EQ(Ask(GROUPS, "010500f7ff03616263"), "19050000f7ff");
    EXPECT_EQ(Ask(GROUPS, "010600010000"), "190600000100");
    EXPECT_EQ(Ask(GROUPS, "010700020000"), "190700890200");
    EXPECT_THAT(light.Tables().groups, ElementsAre(5, 0xFFF7, 1));
}

TEST_F(ZigbeeLightTest, ViewGroup_TellsWhetherItIsAMember)
{
    light.Tables().groups = {5};
    EXPECT_EQ(Ask(GROUPS, "0101010500"), "19010100050000");
    EXPECT_EQ(Ask(GROUPS, "0102010600"), "1902018b060000");
}

TEST_F(ZigbeeLightTest, GroupMembership_ListsAllOrThoseAskedFor)
{
    light.Tables().groups = {9, 5};
    EXPECT_EQ(Ask(GROUPS, "01010200"), "190102010209000500");
    EXPECT_EQ(Ask(GROUPS, "0102020205000700"), "19020201010500");
}

TEST_F(ZigbeeLightTest, RemoveGroup_DropsItsScenesToo)
{
    light.Tables().groups = {5, 9};
    light.Tables().scenes = {Scene(5, 1), Scene(9, 1), Scene(5, 2)};
    EXPECT_EQ(Ask(GROUPS, "0101030500"), "190103000500");
    EXPECT_EQ(Ask(GROUPS, "0102030500"), "1902038b0500");
    EXPECT_THAT(light.Tables().groups, ElementsAre(9));
    EXPECT_EQ(light.Tables().scenes.size(), 1u);
}

TEST_F(ZigbeeLightTest, RemoveAllGroups_KeepsOnlyScenesOfNoGroup)
{
    light.Tables().groups = {5};
    light.Tables().scenes = {Scene(5, 1), Scene(0, 1)};
    EXPECT_EQ(Ask(GROUPS, "010104"), "18010b0400");
    EXPECT_THAT(light.Tables().groups, IsEmpty());
    ASSERT_EQ(light.Tables().scenes.size(), 1u);
    EXPECT_EQ(light.Tables().scenes[0].group, 0);
}

TEST_F(ZigbeeLightTest, DefaultResponseNotWanted_IsKeptBackOnSuccessOnly)
{
    EXPECT_EQ(Ask(GROUPS, "110104"), "nothing");
    EXPECT_EQ(Ask(GROUPS, "110105050000"), "18010b0581");
}

TEST_F(ZigbeeLightTest, AddScene_IsAnsweredByItsStatus)
{
    light.Tables().groups = {5};
    EXPECT_EQ(Ask(SCENES, "010100060001020000060001010800017f"), "19010085060001");
    EXPECT_EQ(Ask(SCENES, "010200050001020000060001010800017f"), "19020000050001");
    EXPECT_EQ(Ask(SCENES, "0103000000010000000800017f"), "19030000000001");
    EXPECT_EQ(Ask(SCENES, "01040005000200000008000120"), "19040089050002");
    // Over one that is there, also with a full table.
    EXPECT_EQ(Ask(SCENES, "01050005000107000008000120"), "19050000050001");
    EXPECT_EQ(Ask(SCENES, "010601050001"), "1906010005000107000008000120");
}

TEST_F(ZigbeeLightTest, ViewScene_GivesSecondsAndBothSets)
{
    light.Tables().groups = {5};
    Ask(SCENES, "010200050001020000060001010800017f");
    EXPECT_EQ(Ask(SCENES, "010301050001"), "19030100050001020000060001010800017f");
    EXPECT_EQ(Ask(SCENES, "010401050002"), "1904018b050002");
    EXPECT_EQ(Ask(SCENES, "010501060001"), "19050185060001");
}

TEST_F(ZigbeeLightTest, EnhancedCommands_GoInTenths)
{
    light.Tables().groups = {5};
    EXPECT_EQ(Ask(SCENES, "0101400500010f00000800017f"), "19014000050001");
    EXPECT_EQ(Ask(SCENES, "010241050001"), "190241000500010f00000800017f");
    EXPECT_EQ(Ask(SCENES, "010301050001"), "190301000500010100000800017f");
}

TEST_F(ZigbeeLightTest, RemoveScene_IsAnsweredByItsStatus)
{
    light.Tables().groups = {5};
    light.Tables().scenes = {Scene(5, 1)};
    EXPECT_EQ(Ask(SCENES, "010102050001"), "19010200050001");
    EXPECT_EQ(Ask(SCENES, "010202050001"), "1902028b050001");
    EXPECT_EQ(Ask(SCENES, "010302060001"), "19030285060001");
}

TEST_F(ZigbeeLightTest, RemoveAllScenes_EmptiesOneGroup)
{
    light.Tables().groups = {5, 6};
    light.Tables().scenes = {Scene(5, 1), Scene(6, 1)};
    EXPECT_EQ(Ask(SCENES, "0101030500"), "190103000500");
    EXPECT_EQ(Ask(SCENES, "0102030700"), "190203850700");
    ASSERT_EQ(light.Tables().scenes.size(), 1u);
    EXPECT_EQ(light.Tables().scenes[0].group, 6);
}

TEST_F(ZigbeeLightTest, SceneMembership_HasCapacityBeforeTheGroup)
{
    light.Tables().groups = {5};
    light.Tables().scenes = {Scene(5, 9)};
    EXPECT_EQ(Ask(SCENES, "0101060500"), "190106000105000109");
    EXPECT_EQ(Ask(SCENES, "0102060600"), "19020685010600");
    EXPECT_EQ(Ask(SCENES, "0103060000"), "1903060001000000");
}

TEST_F(ZigbeeLightTest, SceneCount_IsThatOfTheWholeTable)
{
    light.Tables().scenes = {Scene(5, 9), Scene(0, 1)};
    EXPECT_EQ(Ask(SCENES, "0001000000"), "1801010000002002");
    EXPECT_EQ(Ask(SCENES, "00020000000100"), "1802010000002002010086");
    EXPECT_EQ(Ask(GROUPS, "0003000000"), "180301000086");
}

TEST_F(ZigbeeLightTest, StoreAndRecall_KeepAndShowTheLamp)
{
    light.Tables().groups = {5};
    light.Tables().on = true;
    light.Tables().level = 0x40;
    EXPECT_EQ(Ask(SCENES, "010104050001"), "19010400050001");
    light.Tables().on = false;
    light.Tables().level = 1;
    EXPECT_EQ(Ask(SCENES, "010205050001"), "18020b0500");
    EXPECT_TRUE(light.Tables().on);
    EXPECT_EQ(light.Tables().level, 0x40);
    EXPECT_EQ(Ask(SCENES, "010305050002"), "18030b058b");
}

TEST_F(ZigbeeLightTest, SceneRecalledForAllLoads_IsNumberZeroOfItsGroup)
{
    LightScene scene = Scene(0x0105, 0);
    scene.onOff = std::uint8_t{1};
    scene.level = std::uint8_t{127};
    light.Tables().groups.push_back(0x0105);
    light.Tables().scenes.push_back(scene);
    EXPECT_EQ(light.PresentLevel().level, 0u);
    light.RecallScene(0x0105);
    world.Advance(ANSWER_TIME);
    EXPECT_EQ(light.PresentLevel().level, 127u);
    EXPECT_EQ(light.PresentLevel().full, 254u);
    EXPECT_EQ(world.ZclWaiting(), 0u);
    light.Tables().on = false;
    EXPECT_EQ(light.PresentLevel().level, 0u);
}

TEST_F(ZigbeeLightTest, RecallOfALevelAlone_LeavesADarkLampDark)
{
    light.Tables().groups = {5};
    light.Tables().scenes = {Scene(5, 1)};
    Ask(SCENES, "010105050001");
    EXPECT_FALSE(light.Tables().on);
    EXPECT_EQ(light.Tables().level, 10);
}

TEST_F(ZigbeeLightTest, CopyScene_CopiesOneOrAll)
{
    light.Tables().groups = {5, 6};
    light.Tables().scenes = {Scene(5, 1)};
    EXPECT_EQ(Ask(SCENES, "01014200050001060009"), "19014200050001");
    EXPECT_NE(light.Tables().Find(6, 9), nullptr);
    EXPECT_EQ(Ask(SCENES, "01024200050003060009"), "1902428b050003");
    EXPECT_EQ(Ask(SCENES, "01034200070001060009"), "19034285070001");
    EXPECT_EQ(Ask(SCENES, "01044201050000060000"), "19044289050000");
}

TEST_F(ZigbeeLightTest, ShortRequests_AreAnsweredAsMalformed)
{
    EXPECT_EQ(Ask(GROUPS, "0101000500"), "18010b0080");
    EXPECT_EQ(Ask(GROUPS, "010102020500"), "18010b0280");
    EXPECT_EQ(Ask(GROUPS, "01010305"), "18010b0380");
    for (const char* const command : {"00", "01", "02", "03", "04", "05", "06", "40", "41", "42"})
        EXPECT_EQ(Ask(SCENES, std::string("0101") + command + "05"),
                  std::string("18010b") + command + "80");
    EXPECT_EQ(Ask(SCENES, "0101000500010200000600ff01"), "18010b0080");
    EXPECT_EQ(Ask(SCENES, "00010000"), "18010b0080");
    EXPECT_THAT(light.Tables().scenes, IsEmpty());
}

TEST_F(ZigbeeLightTest, UnknownCommandsAndClusters_AreRefused)
{
    EXPECT_EQ(Ask(GROUPS, "010109"), "18010b0981");
    EXPECT_EQ(Ask(SCENES, "010109"), "18010b0981");
    EXPECT_EQ(Ask(SCENES, "000102"), "18010b0282");
    EXPECT_EQ(Ask(6, "010100"), "18010b00c3");
}

TEST_F(ZigbeeLightTest, WhatIsNoRequestForIt_IsIgnored)
{
    EXPECT_EQ(Ask(GROUPS, ""), "nothing");
    EXPECT_EQ(Ask(GROUPS, "0102"), "nothing");
    EXPECT_EQ(Ask(GROUPS, "09070200"), "nothing");
    EXPECT_EQ(Ask(GROUPS, "053412070200"), "nothing");
    EXPECT_EQ(Ask(SCENES, "00070b0000"), "nothing");
    EXPECT_EQ(Ask(SCENES, "02070b0000"), "nothing");
    Send(GROUPS, "01070200", 2);
    world.Advance(1000ms);
    EXPECT_EQ(world.ZclWaiting(), 0u);
}

TEST_F(ZigbeeLightTest, PowerFailure_LosesAnswersAndKeepsTables)
{
    light.Tables().groups = {5};
    Send(GROUPS, "01070200");
    light.OnPowerOn();
    world.Advance(1000ms);
    EXPECT_EQ(world.ZclWaiting(), 0u);
    EXPECT_THAT(light.Tables().groups, ElementsAre(5));
}

TEST_F(ZigbeeLightTest, LongLists_AreCutToWhatAFrameHolds)
{
    for (std::uint16_t group = 1; group <= 100; ++group)
        light.Tables().groups.push_back(group);
    const std::string answer = Ask(GROUPS, "01010200");
    EXPECT_EQ(answer.substr(0, 10), "190102001e");
    EXPECT_EQ(answer.size(), 2 * (5 + 60));
}

TEST_F(ZigbeeLightTest, LosesAnswers_EveryNth)
{
    AddFault<Loses<ZigbeeLightFault>>(3u);
    EXPECT_EQ(Ask(GROUPS, "01010200"), "1901020300");
    EXPECT_EQ(Ask(GROUPS, "01020200"), "1902020300");
    EXPECT_EQ(Ask(GROUPS, "01030200"), "nothing");
    EXPECT_EQ(Ask(GROUPS, "01040200"), "1904020300");
    light.ClearFaults();
    Ask(GROUPS, "01050200");
    EXPECT_EQ(Ask(GROUPS, "01060200"), "1906020300");
}

TEST_F(ZigbeeLightTest, AnswersLate_MayOvertakeEachOther)
{
    AddFault<Delays<ZigbeeLightFault>>(2u, std::chrono::milliseconds(100));
    Send(GROUPS, "01010200");
    Send(GROUPS, "01020200");
    Send(GROUPS, "01030200");
    world.Advance(ANSWER_TIME);
    EXPECT_EQ(Next(GROUPS), "1901020300");
    EXPECT_EQ(Next(GROUPS), "1903020300");
    world.Advance(99ms);
    EXPECT_EQ(world.ZclWaiting(), 0u);
    world.Advance(1ms);
    EXPECT_EQ(Next(GROUPS), "1902020300");
}

TEST_F(ZigbeeLightTest, RepeatsAnswers_Later)
{
    AddFault<Repeats<ZigbeeLightFault>>(1u, std::chrono::milliseconds(50));
    EXPECT_EQ(Ask(GROUPS, "01010200"), "1901020300");
    world.Advance(50ms);
    EXPECT_EQ(Next(GROUPS), "1901020300");
}

TEST_F(ZigbeeLightTest, ForgetsWithoutPower_ComesBackEmptyAndDark)
{
    AddFault<Forgets<ZigbeeLightFault>>();
    light.Tables().groups = {5};
    light.Tables().scenes = {Scene(5, 1)};
    light.Tables().on = true;
    light.OnPowerOn();
    EXPECT_THAT(light.Tables().groups, IsEmpty());
    EXPECT_THAT(light.Tables().scenes, IsEmpty());
    EXPECT_FALSE(light.Tables().on);
}

TEST_F(ZigbeeLightTest, ReportsGroupsUnsorted_FromLastToFirst)
{
    AddFault<ReportsGroupsUnsorted>();
    light.Tables().groups = {1, 2, 3};
    EXPECT_EQ(Ask(GROUPS, "01010200"), "1901020003030002000100");
    EXPECT_THAT(light.Tables().groups, ElementsAre(1, 2, 3));
}

TEST_F(ZigbeeLightTest, HoldsForeignScenes_FromItsStart)
{
    AddFault<HoldsForeignScenes>(std::vector<LightScene>{Scene(7, 1), Scene(7, 2), Scene(0, 3)});
    light.OnPowerOn();
    light.OnPowerOn();
    EXPECT_THAT(light.Tables().groups, ElementsAre(7));
    EXPECT_EQ(light.Tables().scenes.size(), 3u);
}

TEST_F(ZigbeeLightTest, SmallTables_TakeNoMore)
{
    AddFault<SmallTables>(std::size_t{1}, std::size_t{0});
    EXPECT_EQ(Ask(GROUPS, "010100050000"), "190100000500");
    EXPECT_EQ(Ask(GROUPS, "010200060000"), "190200890600");
    EXPECT_EQ(Ask(SCENES, "0103000500010000000800017f"), "19030089050001");
    EXPECT_EQ(Ask(GROUPS, "01040200"), "19040200010500");
}

TEST_F(ZigbeeLightTest, RoundsLevels_Down)
{
    AddFault<RoundsLevels>(std::uint8_t{50});
    light.Tables().groups = {5};
    Ask(SCENES, "0103000500010000000800017f");
    EXPECT_EQ(*light.Tables().Find(5, 1)->level, 100);
}

TEST_F(ZigbeeLightTest, DropsOnOffSets_KeepsTheLevel)
{
    AddFault<DropsOnOffSets>();
    light.Tables().groups = {5};
    Ask(SCENES, "010300050001000000060001010800017f");
    EXPECT_FALSE(light.Tables().Find(5, 1)->onOff);
    EXPECT_EQ(*light.Tables().Find(5, 1)->level, 0x7F);
}

TEST_F(ZigbeeLightTest, KeepsOldSets_ThatTheNewSceneDoesNotBring)
{
    AddFault<KeepsOldSets>();
    light.Tables().groups = {5};
    Ask(SCENES, "0103000500010000000800017f");
    Ask(SCENES, "01030005000101000006000101");
    EXPECT_EQ(*light.Tables().Find(5, 1)->level, 0x7F);
    EXPECT_EQ(*light.Tables().Find(5, 1)->onOff, 1);
}

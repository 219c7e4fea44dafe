#include "ZigbeeLightRig.h"

#include <chrono>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace zigbee_rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using Params = std::vector<std::pair<std::string, std::string>>;

Params Scene(const std::string& id, const std::string& level, const std::string& time)
{
    return {{"SCENE_ID", id}, {"LEVEL", level}, {"TIME", time}};
}

// The driver's remembered scenes as "id level time".
std::vector<std::string> Remembered(LightRig& rig)
{
    std::vector<std::string> lines;
    for (const auto& [id, detail] : rig.Driver().Scenes().getAllScenes())
        lines.push_back(std::to_string(id) + " " + std::to_string(detail.level) + " " +
                        std::to_string(detail.time));
    return lines;
}

const char* const EMPTY_STATE =
    "<State><SceneMap/><ENERGY_DATA><MINUTES_ON>0</MINUTES_ON>"
    "<MINUTES_ON_TODAY>0</MINUTES_ON_TODAY><MINUTES_OFF>0</MINUTES_OFF>"
    "<ENERGY_USED>0</ENERGY_USED><ENERGY_USED_TODAY>0</ENERGY_USED_TODAY>"
    "<ENERGY_FRAC>0</ENERGY_FRAC><TODAY_FRAC>0</TODAY_FRAC></ENERGY_DATA></State>";
} // namespace

TEST(ZigbeeLightDriver, Start_SendsNothing)
{
    LightRig rig;
    EXPECT_THAT(rig.Sent(), IsEmpty());
    EXPECT_THAT(Remembered(rig), IsEmpty());
}

TEST(ZigbeeLightDriver, Endpoint_IsOneUnlessConfigured)
{
    LightRig plain;
    plain.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "5"}});
    EXPECT_THAT(plain.Sent(), ElementsAre("remove_scene 5 @1"));
    LightRig configured("<config><endpoint>11</endpoint></config>");
    configured.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "5"}});
    EXPECT_THAT(configured.Sent(), ElementsAre("remove_scene 5 @11"));
}

TEST(ZigbeeLightDriver, AddToScene_IsSentAndRemembered)
{
    LightRig rig;
    rig.Command("ADD_TO_SCENE", Scene("65541", "50", "1500"));
    EXPECT_THAT(rig.Sent(), ElementsAre("add_group 5 @1", "add_scene 65541 50 1500 @1"));
    EXPECT_THAT(Remembered(rig), ElementsAre("65541 50 1500"));
}

TEST(ZigbeeLightDriver, AddAndModify_BothAddOrChange)
{
    LightRig rig;
    rig.Command("MODIFY_SCENE", Scene("7", "10", "0"));
    rig.Command("ADD_TO_SCENE", Scene("7", "20", "1"));
    rig.Command("MODIFY_SCENE", Scene("7", "30", "2"));
    rig.Command("ADD_TO_SCENE", Scene("3", "40", "3"));
    EXPECT_THAT(Remembered(rig), ElementsAre("3 40 3", "7 30 2"));
    EXPECT_EQ(rig.Asserts(), 0);
}

TEST(ZigbeeLightDriver, DeleteFromScene_ForgetsIt)
{
    LightRig rig;
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    rig.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "7"}});
    rig.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "8"}});
    EXPECT_THAT(Remembered(rig), IsEmpty());
    EXPECT_EQ(rig.Asserts(), 0);
    EXPECT_EQ(rig.Unhandled(), 0);
}

TEST(ZigbeeLightDriver, ScenesAndResets_AskForTheStateToBePersisted)
{
    LightRig rig;
    int asked = 0;
    rig.house.onPersistRequested = [&asked](nx::DriverHost&)
    {
        ++asked;
    };
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    rig.Command("MODIFY_SCENE", Scene("7", "10", "0"));
    rig.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "7"}});
    EXPECT_EQ(asked, 3);
    rig.Command("RESET_ENERGY_USED");
    EXPECT_EQ(asked, 4);
}

TEST(ZigbeeLightDriver, State_HoldsScenesAndEnergy)
{
    LightRig rig;
    EXPECT_EQ(rig.host->Persist(), EMPTY_STATE);
    rig.Command("ADD_TO_SCENE", Scene("65541", "50", "1500"));
    EXPECT_THAT(rig.host->Persist(),
                testing::HasSubstr("<SceneMap><SceneMapEntry><SceneID>65541</SceneID>"
                                   "<Level>50</Level><Time>1500</Time></SceneMapEntry></SceneMap>"
                                   "<ENERGY_DATA>"));
}

TEST(ZigbeeLightDriver, State_IsRestored)
{
    LightRig rig("<config/>",
                 "<State><SceneMap><SceneMapEntry><SceneID>65541</SceneID><Level>50</Level>"
                 "<Time>1500</Time></SceneMapEntry></SceneMap><ENERGY_DATA>"
                 "<ENERGY_USED>12</ENERGY_USED></ENERGY_DATA></State>");
    EXPECT_THAT(Remembered(rig), ElementsAre("65541 50 1500"));
    EXPECT_EQ(rig.Driver().Energy().GetEnergyUsed(), 12);
}

TEST(ZigbeeLightDriver, Restart_KeepsTheScenesAndSendsNothing)
{
    LightRig rig;
    rig.Command("ADD_TO_SCENE", Scene("65541", "50", "1500"));
    rig.Sent();
    rig.host->Restart();
    EXPECT_THAT(Remembered(rig), ElementsAre("65541 50 1500"));
    EXPECT_THAT(rig.Sent(), IsEmpty());
}

TEST(ZigbeeLightDriver, Online_SynchronizesEachTime)
{
    LightRig rig;
    rig.host->Online(true);
    EXPECT_THAT(rig.Sent(), ElementsAre("get_group_membership @1"));
    rig.host->Online(true);
    EXPECT_THAT(rig.Sent(), ElementsAre("get_group_membership @1"));
    rig.host->Online(false);
    EXPECT_THAT(rig.Sent(), IsEmpty());
}

TEST(ZigbeeLightDriver, SynchronizationOnline_PausesAsConfigured)
{
    LightRig plain;
    plain.host->Online(true);
    plain.house.Advance(5 * 16s - 1ms);
    EXPECT_EQ(plain.Driver().done, 0);
    plain.house.Advance(1ms);
    EXPECT_EQ(plain.Driver().done, 1);
    LightRig quick("<config><stall_delay_s>1</stall_delay_s></config>");
    quick.host->Online(true);
    quick.house.Advance(16 * 1000ms);
    EXPECT_EQ(quick.Driver().done, 1);
}

TEST(ZigbeeLightDriver, SynchronizeCommand_UsesItsStallDelay)
{
    LightRig rig;
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "2"}});
    EXPECT_THAT(rig.Sent(), ElementsAre("get_group_membership @1"));
    rig.house.Advance(32000ms);
    EXPECT_EQ(rig.Driver().done, 1);
}

TEST(ZigbeeLightDriver, SynchronizeCommandWithoutStallDelay_HasNoWatchdog)
{
    LightRig rig;
    rig.Command("SYNCHRONIZE");
    rig.house.Advance(1000000ms);
    EXPECT_EQ(rig.Driver().done, 0);
}

TEST(ZigbeeLightDriver, Synchronize_WithOtherScenesLeavesTheRememberedOnes)
{
    LightRig rig;
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    SceneDetailsLightMap other;
    other[8].level = 20;
    rig.Sent();
    rig.host->CallDriver("a test", [&] { rig.Driver().Synchronize(other, 0); });
    other.clear();
    rig.host->CallDriver("a test",
                         [&] { rig.Driver().GetZclListener()->OnZclGroupMembership({}); });
    EXPECT_THAT(rig.Sent(), ElementsAre("get_group_membership @1", "add_group 8 @1"));
    EXPECT_THAT(Remembered(rig), ElementsAre("7 10 0"));
}

TEST(ZigbeeLightDriver, SceneCommandsWhileSynchronizing_CountFromTheNextOne)
{
    LightRig rig;
    rig.Command("SYNCHRONIZE");
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    rig.Sent();
    rig.host->CallDriver("a test",
                         [&] { rig.Driver().GetZclListener()->OnZclGroupMembership({}); });
    EXPECT_THAT(rig.Sent(), IsEmpty());
    rig.Command("SYNCHRONIZE");
    rig.host->CallDriver("a test",
                         [&] { rig.Driver().GetZclListener()->OnZclGroupMembership({}); });
    EXPECT_THAT(rig.Sent(), ElementsAre("get_group_membership @1", "add_group 7 @1"));
}

TEST(ZigbeeLightDriver, Abort_EndsItWithoutBeingDone)
{
    LightRig rig;
    rig.Command("SYNCHRONIZE", {{"STALL_DELAY", "1"}});
    rig.host->CallDriver("a test", [&] { rig.Driver().AbortSynchronization(); });
    rig.house.Advance(100000ms);
    EXPECT_EQ(rig.Driver().done, 0);
}

TEST(ZigbeeLightDriver, DoneSeveralTimes_DoesNoHarm)
{
    LightRig rig;
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    rig.Sent();
    for (int time = 0; time < 3; ++time)
        rig.host->CallDriver("a test",
                             [&] { rig.Driver().GetZclListener()->OnZclViewScene(7, 10, 0); });
    EXPECT_EQ(rig.Driver().done, 3);
    EXPECT_THAT(rig.Sent(), IsEmpty());
    EXPECT_THAT(Remembered(rig), ElementsAre("7 10 0"));
}

TEST(ZigbeeLightDriver, RefusedScene_StaysWantedAndIsTriedAgain)
{
    LightRig rig;
    auto& light = rig.Attach({1, 16, 16, 15ms});
    light.AddFault(std::make_unique<simulated::SmallTables>(16, 0));
    rig.Command("ADD_TO_SCENE", Scene("7", "10", "0"));
    rig.house.Advance(100ms);
    EXPECT_THAT(rig.Driver().failed, ElementsAre("7 137 1"));
    EXPECT_THAT(Remembered(rig), ElementsAre("7 10 0"));
    light.ClearFaults();
    rig.Command("SYNCHRONIZE");
    rig.house.Advance(1000ms);
    EXPECT_NE(light.Tables().Find(7, 0), nullptr);
    EXPECT_EQ(rig.Driver().done, 1);
}

TEST(ZigbeeLightDriver, LightThatForgotEverything_GetsItAllBackWhenItReturns)
{
    LightRig rig("<config><endpoint>3</endpoint></config>");
    auto& light = rig.Attach({3, 16, 16, 15ms});
    light.AddFault(std::make_unique<simulated::Forgets<simulated::ZigbeeLightFault>>());
    rig.Command("ADD_TO_SCENE", Scene("65541", "50", "1500"));
    rig.Command("ADD_TO_SCENE", Scene("6", "0", "0"));
    rig.house.Advance(100ms);
    light.OnPowerOn();
    EXPECT_THAT(light.Tables().scenes, IsEmpty());
    rig.host->Online(true);
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Driver().done, 1);
    EXPECT_THAT(light.Tables().groups, ElementsAre(5, 6));
    ASSERT_NE(light.Tables().Find(5, 1), nullptr);
    EXPECT_EQ(*light.Tables().Find(5, 1)->level, 127);
    EXPECT_EQ(light.Tables().Find(5, 1)->seconds, 2);
    EXPECT_EQ(*light.Tables().Find(6, 0)->onOff, 0);
}

TEST(ZigbeeLightDriver, ResetEnergyUsed_ShowsTheZeroedFigures)
{
    LightRig rig;
    rig.host->CallDriver("a test", [&] { rig.Driver().Energy().increaseEnergyUsed(5); });
    rig.Driver().shown.clear();
    rig.Command("RESET_ENERGY_USED");
    EXPECT_EQ(rig.Driver().Energy().GetEnergyUsed(), 0);
    EXPECT_THAT(rig.Driver().shown,
                ElementsAre("MINUTES_ON 0", "MINUTES_ON_TODAY 0", "MINUTES_OFF 0",
                            "CURRENT_POWER 0", "ENERGY_USED 0", "ENERGY_USED_TODAY 0"));
}

TEST(ZigbeeLightDriver, Minutes_CountByWhatTheDriverWasTold)
{
    LightRig rig;
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Driver().Energy().GetMinutesOff(), 1);
    rig.Driver().SetLoadOn(true);
    rig.house.Advance(60000ms);
    EXPECT_EQ(rig.Driver().Energy().GetMinutesOn(), 1);
    rig.Driver().SetEnergyReady(false);
    rig.house.Advance(600000ms);
    EXPECT_EQ(rig.Driver().Energy().GetMinutesOn(), 1);
    EXPECT_EQ(rig.Driver().Energy().GetMinutesOff(), 1);
}

TEST(ZigbeeLightDriver, UnknownCommands_AreNotTaken)
{
    LightRig rig;
    rig.Command("PUSH_SCENE");
    EXPECT_EQ(rig.Unhandled(), 1);
}

// The wired dimmer's driver: what it adds to the objects that it owns.

#include "drivers/wired_dimmer/WiredDimmerDriver.h"

#include "test_kit/OneDriverHouse.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{
using test_kit::Lines;
using test_kit::OneDriverHouse;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const NO_ENERGY =
    "<ENERGY_DATA><MINUTES_ON>0</MINUTES_ON><MINUTES_ON_TODAY>0</MINUTES_ON_TODAY>"
    "<MINUTES_OFF>0</MINUTES_OFF><ENERGY_USED>0</ENERGY_USED>"
    "<ENERGY_USED_TODAY>0</ENERGY_USED_TODAY><ENERGY_FRAC>0</ENERGY_FRAC>"
    "<TODAY_FRAC>0</TODAY_FRAC></ENERGY_DATA>";

class WiredDimmerDriverTest : public testing::Test
{
protected:
    WiredDimmerDriver& Start()
    {
        WiredDimmerDriver& driver = m_house.Start<WiredDimmerDriver>();
        m_house.Take();
        return driver;
    }
    ~WiredDimmerDriverTest() override { m_house.Take(); }

    void Join(const std::string& group, const std::string& sync = "false")
    {
        m_house.Command("JOIN_GROUP", {{"GROUP_ID", group}, {"KEEP_SYNC", sync}});
    }
    void Push(const std::string& scene, const std::string& level, const std::string& fromGroup)
    {
        m_house.Command("PUSH_SCENE", {{"SCENE_ID", scene},
                                       {"FROM_GROUP", fromGroup},
                                       {"ELEMENTS", "<e><level>" + level + "</level></e>"}});
    }
    void KeepScene(const std::string& command, const std::string& scene, const std::string& level)
    {
        m_house.Command(command, {{"SCENE_ID", scene}, {"LEVEL", level}, {"TIME", "2000"}});
    }
    Lines Sent() { return m_house.TakeOnly("mib"); }

    OneDriverHouse m_house;
};

TEST_F(WiredDimmerDriverTest, Start_AddsTheSixEnergyVariablesAndSendsNothing)
{
    m_house.Start<WiredDimmerDriver>();
    EXPECT_THAT(m_house.Take(), ElementsAre("variable add 4567 'MINUTES_ON' '0'",
                                            "variable add 4568 'MINUTES_OFF' '0'",
                                            "variable add 4569 'MINUTES_ON_TODAY' '0'",
                                            "variable add 4570 'CURRENT_POWER' '0'",
                                            "variable add 4571 'ENERGY_USED' '0'",
                                            "variable add 4572 'ENERGY_USED_TODAY' '0'"));
}

TEST_F(WiredDimmerDriverTest, GoingOnline_WritesTheGroupsThenAsksForTheElements)
{
    Start();
    Join("2");
    Join("1");
    Sent();
    m_house.Online(true);
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.gra", "mib 3 nx.als.gad 0001 00",
                                    "mib 3 nx.als.gad 0002 00", "mib 3 nx.als.sga 00fa"));
    m_house.Online(true);
    EXPECT_EQ(Sent().size(), 4u);
}

TEST_F(WiredDimmerDriverTest, GoingOffline_DoesNothing)
{
    Start();
    Join("1");
    Sent();
    m_house.Online(false);
    EXPECT_THAT(m_house.Take(), IsEmpty());
}

TEST_F(WiredDimmerDriverTest, ClearAllGroups_WipesThem)
{
    WiredDimmerDriver& driver = Start();
    Join("1", "true");
    Sent();
    m_house.Command("CLEAR_ALL_GROUPS");
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.gra"));
    EXPECT_TRUE(driver.Groups().getGroups().empty());
}

TEST_F(WiredDimmerDriverTest, EveryCommandOfItsVocabularyIsHandled)
{
    Start();
    for (const char* name :
         {"JOIN_GROUP",          "LEAVE_GROUP",       "SET_GROUP_SYNC",   "CLEAR_ALL_GROUPS",
          "GROUP_RAMP_TO_LEVEL", "GROUP_SET_LEVEL",   "GROUP_START_RAMP", "GROUP_STOP_RAMP",
          "GROUP_JOIN_SCENE",    "GROUP_LEAVE_SCENE", "PUSH_SCENE",       "REMOVE_SCENE",
          "ALL_SCENES_PUSHED",   "CLEAR_ALL_SCENES",  "ACTIVATE_SCENE",   "RAMP_SCENE_UP",
          "RAMP_SCENE_DOWN",     "STOP_SCENE_RAMP",   "ADD_TO_SCENE",     "MODIFY_SCENE",
          "DELETE_FROM_SCENE",   "RESET_ENERGY_USED"})
        m_house.Command(name);
    EXPECT_THAT(m_house.TakeOnly("unhandled"), IsEmpty());
    m_house.Command("GET_PROPERTIES");
    EXPECT_THAT(m_house.Take(), ElementsAre("unhandled GET_PROPERTIES"));
}

// --- the synchronisation timer -------------------------------------------------------------------

TEST_F(WiredDimmerDriverTest, SyncTimer_IsFiveSecondsWithoutASetting)
{
    Start();
    m_house.Online(true);
    Push("5", "1", "false");
    Sent();
    m_house.Advance(4999ms);
    EXPECT_THAT(Sent(), IsEmpty());
    m_house.Advance(1ms);
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.sad 0005 00000000 00000000 01 08"));
}

TEST_F(WiredDimmerDriverTest, SyncTimer_TakesItsTimeFromTheSettings)
{
    m_house.Config("<config><sync_timer_ms>20</sync_timer_ms></config>");
    Start();
    m_house.Online(true);
    Push("5", "1", "false");
    Sent();
    m_house.Advance(19ms);
    m_house.Trap("nx.als.sga", {"0000", "0009"});
    m_house.Advance(19ms);
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.sgt 0009"));
    m_house.Advance(1ms);
    EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(WiredDimmerDriverTest, SyncTimerOfZero_ExpiresAtTheNextChance)
{
    m_house.Config("<config><sync_timer_ms>0</sync_timer_ms></config>");
    Start();
    m_house.Online(true);
    Push("5", "1", "false");
    Sent();
    m_house.Advance(0ms);
    EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(WiredDimmerDriverTest, TimerThatALaterGoingOnlineLeftRunning_AlsoCounts)
{
    Start();
    Push("5", "1", "false");
    m_house.Online(true);
    m_house.Advance(1000ms);
    m_house.Online(true);
    Sent();
    m_house.Advance(4000ms);
    EXPECT_EQ(Sent().size(), 1u);
    m_house.Advance(1000ms);
    EXPECT_EQ(Sent().size(), 1u);
    m_house.Advance(20000ms);
    EXPECT_THAT(Sent(), IsEmpty());
}

// --- conflicts -----------------------------------------------------------------------------------

TEST_F(WiredDimmerDriverTest, GroupTakesOverAnOwnScene_RemovesTheOldOneFirst)
{
    WiredDimmerDriver& driver = Start();
    Push("5", "1", "false");
    Push("6", "1", "false");
    Sent();
    Push("5", "2", "true");
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.srm 00000005",
                                    "mib 3 nx.als.sad 0005 00000000 00000000 02 08"));
    EXPECT_THAT(driver.AdvScenes().GetAllSceneIDs(), ElementsAre(6u, 5u));
}

TEST_F(WiredDimmerDriverTest, OwnPushOntoAGroupsScene_ChangesNothing)
{
    WiredDimmerDriver& driver = Start();
    Push("5", "1", "true");
    Sent();
    Push("5", "2", "false");
    EXPECT_THAT(m_house.TakeOnly("mib"), IsEmpty());
    EXPECT_EQ(driver.AdvScenes().getElement(5).level, 1);
    EXPECT_TRUE(driver.AdvScenes().InScene(5));
}

// --- switches, level and scenes ------------------------------------------------------------------

TEST_F(WiredDimmerDriverTest, SceneModeAndForce_AreAnsweredFromTheirSwitches)
{
    WiredDimmerDriver& driver = Start();
    driver.SetSceneMode(true);
    Push("5", "1", "false");
    EXPECT_THAT(Sent(), ElementsAre("mib 3 nx.als.sad 0005 00000000 00000000 01 09"));
    driver.AdvScenes().MarkAllSynced();
    Push("5", "1", "false");
    EXPECT_THAT(Sent(), IsEmpty());
    driver.SetForceScenePush(true);
    Push("5", "1", "false");
    EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(WiredDimmerDriverTest, Level_IsTheLastOneThatAGroupOrSceneGave)
{
    WiredDimmerDriver& driver = Start();
    EXPECT_EQ(driver.GetLevel(), 0);
    m_house.Command("GROUP_SET_LEVEL", {{"GROUP_ID", "7"}, {"LEVEL", "40"}});
    EXPECT_EQ(driver.GetLevel(), 40);
    Push("5", "77", "false");
    m_house.Command("ACTIVATE_SCENE", {{"SCENE_ID", "5"}});
    EXPECT_EQ(driver.GetLevel(), 77);
}

TEST_F(WiredDimmerDriverTest, SceneMap_FollowsItsThreeCommands)
{
    WiredDimmerDriver& driver = Start();
    KeepScene("ADD_TO_SCENE", "5", "50");
    KeepScene("MODIFY_SCENE", "4294967295", "10");
    EXPECT_EQ(driver.Scenes().getDetail(5).level, 50);
    EXPECT_EQ(driver.Scenes().getDetail(5).time, 2000);
    EXPECT_EQ(driver.Scenes().getDetail(4294967295u).level, 10);
    KeepScene("ADD_TO_SCENE", "5", "60");
    EXPECT_EQ(driver.Scenes().getDetail(5).level, 60);
    m_house.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "5"}});
    m_house.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "6"}});
    EXPECT_FALSE(driver.Scenes().inScene(5));
    EXPECT_EQ(driver.Scenes().NumScenes(), 1u);
    EXPECT_THAT(m_house.Take(), IsEmpty());
}

// --- state and energy ----------------------------------------------------------------------------

TEST_F(WiredDimmerDriverTest, ScenesAndResets_AreAskedToBeSavedAtOnce)
{
    Start();
    KeepScene("ADD_TO_SCENE", "5", "50");
    EXPECT_EQ(m_house.TakePersistRequests(), 1);
    KeepScene("MODIFY_SCENE", "5", "60");
    EXPECT_EQ(m_house.TakePersistRequests(), 1);
    m_house.Command("DELETE_FROM_SCENE", {{"SCENE_ID", "5"}});
    EXPECT_EQ(m_house.TakePersistRequests(), 1);
    m_house.Command("RESET_ENERGY_USED");
    EXPECT_EQ(m_house.TakePersistRequests(), 1);
}

TEST_F(WiredDimmerDriverTest, State_HoldsScenesThenEnergy)
{
    Start();
    EXPECT_EQ(m_house.Persist(), std::string("<State><SceneMap/>") + NO_ENERGY + "</State>");
    KeepScene("ADD_TO_SCENE", "5", "50");
    EXPECT_EQ(m_house.Persist(),
              std::string("<State><SceneMap><SceneMapEntry><SceneID>5</SceneID><Level>50</Level>"
                          "<Time>2000</Time></SceneMapEntry></SceneMap>") +
                  NO_ENERGY + "</State>");
}

TEST_F(WiredDimmerDriverTest, Restart_KeepsScenesAndEnergyAndForgetsGroupsAndAdvancedScenes)
{
    WiredDimmerDriver& before = Start();
    KeepScene("ADD_TO_SCENE", "5", "50");
    Join("1");
    Push("7", "1", "false");
    before.Energy().increaseEnergyUsed(12);
    m_house.Restart();
    m_house.Take();
    auto& after = *static_cast<WiredDimmerDriver*>(m_house.Host().Driver());
    EXPECT_EQ(after.Scenes().getDetail(5).level, 50);
    EXPECT_EQ(after.Energy().GetEnergyUsed(), 12);
    EXPECT_TRUE(after.Groups().getGroups().empty());
    EXPECT_FALSE(after.AdvScenes().InScene(7));
    EXPECT_EQ(after.AdvScenes().getCRC(), 0u);
}

TEST_F(WiredDimmerDriverTest, Minutes_AreCountedByWhatTheLoadIs)
{
    WiredDimmerDriver& driver = Start();
    m_house.Advance(60000ms);
    EXPECT_EQ(driver.Energy().GetMinutesOff(), 1);
    driver.SetLoadOn(true);
    m_house.Advance(120000ms);
    const int on = driver.Energy().GetMinutesOn();
    EXPECT_GE(on, 1);
    driver.SetEnergyReady(false);
    m_house.Advance(120000ms);
    EXPECT_EQ(driver.Energy().GetMinutesOn(), on);
    EXPECT_EQ(driver.Energy().GetMinutesOff(), 1);
}

TEST_F(WiredDimmerDriverTest, ResetEnergyUsed_ZeroesTheFigures)
{
    WiredDimmerDriver& driver = Start();
    driver.Energy().increaseEnergyUsed(12);
    m_house.Command("RESET_ENERGY_USED");
    EXPECT_EQ(driver.Energy().GetEnergyUsed(), 0);
}

TEST_F(WiredDimmerDriverTest, DestructionWhileASynchronisationRuns_KillsItsTimer)
{
    Start();
    m_house.Online(true);
    EXPECT_TRUE(m_house.NextWake());
    m_house.Stop();
    EXPECT_FALSE(m_house.NextWake());
}
} // namespace

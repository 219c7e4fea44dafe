#include "LightSceneMemberFixture.h"

using namespace zigbee_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
// The records of one member's log, beside what it does.
class LightSceneMemberLogTest : public LightSceneMemberFixture
{
protected:
    // Reaches the highest group with the log watched from then on.
    void ReachGroupsAndWatch(const nx::GroupIdVec& inTheLight)
    {
        StartAndReachGroups(0, inTheLight);
        services.WatchLog();
    }
};
} // namespace

TEST_F(LightSceneMemberLogTest, Start_LogsTheRequestAndTheWatchdog)
{
    services.WatchLog();
    Want(0x10001, -5, 2000);
    Want(3, 100, 0);
    Start(5);
    EXPECT_THAT(
        Happened(),
        ElementsAre("TRACE Starting Synchronization", "DEBUG   My stall delay is 5 seconds.",
                    "DEBUG   I should be a member of 2 scenes.", "DEBUG     For scene ID 3",
                    "DEBUG       The ramp time (ms) is 0", "DEBUG       The level (percent) is 100",
                    "DEBUG     For scene ID 65537", "DEBUG       The ramp time (ms) is 2000",
                    "DEBUG       The level (percent) is -5", "TRACE Starting Sync Watchdog",
                    "timer 1 in 80000", "get_group_membership"));
}

TEST_F(LightSceneMemberLogTest, Records_CarrySourceAndSignature)
{
    services.WatchLog();
    member->OnZclSceneCount(3);
    EXPECT_THAT(Happened(), ElementsAre("DEBUG I am a member of 3 scenes.", "timer 1 in 0"));
    EXPECT_EQ(services.LastLogFile(), "lighting_common/LightSceneMember");
    EXPECT_EQ(services.LastLogFunction(), "virtual void LightSceneMember::OnZclSceneCount(int)");
}

TEST_F(LightSceneMemberLogTest, LogSyncDataWithoutMap_TellsOfNoScenes)
{
    services.WatchLog();
    LogSyncData({nullptr, 4294967295u});
    EXPECT_THAT(Happened(), ElementsAre("DEBUG   My stall delay is 4294967295 seconds.",
                                        "DEBUG   I should be a member of 0 scenes."));
}

TEST_F(LightSceneMemberLogTest, MissingGroups_AreLoggedOnce)
{
    Want(1, 10, 0);
    Want(2, 10, 0);
    Start(0);
    Happened();
    services.WatchLog();
    member->OnZclGroupMembership({});
    EXPECT_THAT(Happened(), ElementsAre("TRACE OnZclGroupMembership",
                                        "DEBUG Wow, we are not in the correct groups",
                                        "add_group 1", "add_group 2", "timer 1 in 0"));
}

TEST_F(LightSceneMemberLogTest, GroupsWithoutMap_AreAnErrorWithItsOwnSpelling)
{
    services.WatchLog();
    member->OnZclGroupMembership({});
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclGroupMembership",
                            "ERROR LightSceneMeber synchronization map is NULL. Cannot proceed",
                            "remove all timers", "TRACE NotifySynchronizationDone", "done",
                            "timer 1 in 0"));
}

TEST_F(LightSceneMemberLogTest, AbortedGroups_AreTracedOnly)
{
    member->AbortSynchronization();
    Happened();
    services.WatchLog();
    member->OnZclGroupMembership({1});
    EXPECT_THAT(Happened(), ElementsAre("TRACE OnZclGroupMembership"));
}

TEST_F(LightSceneMemberLogTest, SceneMembershipWithoutMap_IsAnErrorWithItsOwnSpelling)
{
    services.WatchLog();
    member->OnZclSceneMembership(1, {});
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclSceneMembership",
                            "ERROR OnZclSceneMebership synchronization map is NULL. Cannot proceed",
                            "remove all timers", "TRACE NotifySynchronizationDone", "done"));
}

TEST_F(LightSceneMemberLogTest, SceneMembershipInOrder_LogsThatNothingIsExtraOrMissing)
{
    Want(1, 10, 0);
    ReachGroupsAndWatch({1});
    member->OnZclSceneMembership(1, {1});
    EXPECT_THAT(Happened(), ElementsAre("TRACE OnZclSceneMembership", "DEBUG No extra scenes.",
                                        "DEBUG No missing scenes", "timer 3 in 0"));
}

TEST_F(LightSceneMemberLogTest, ExtraAndMissingScenes_AreLoggedOneByOne)
{
    Want(1, 10, 0);
    Want(0x10001, 20, 0);
    ReachGroupsAndWatch({1});
    member->OnZclSceneMembership(1, {0x30001, 0x20001});
    EXPECT_THAT(
        Happened(),
        ElementsAre(
            "TRACE OnZclSceneMembership", "DEBUG Oops, we are in some scenes, and we should not be",
            "remove_scene 131073", "DEBUG Oops, we are in some scenes, and we should not be",
            "remove_scene 196609", "DEBUG The light lost this scene, we need to add it.",
            "add_scene 1 10 0", "DEBUG The light lost this scene, we need to add it.",
            "add_scene 65537 20 0", "timer 3 in 0"));
}

TEST_F(LightSceneMemberLogTest, MissingSceneThatLeftTheMap_IsLoggedAndNotSent)
{
    Want(1, 10, 0);
    Want(0x10001, 20, 0);
    ReachGroupsAndWatch({1});
    onSend = [this]
    {
        wanted.erase(0x10001);
    };
    member->OnZclSceneMembership(1, {});
    EXPECT_THAT(
        Happened(),
        ElementsAre("TRACE OnZclSceneMembership", "DEBUG No extra scenes.",
                    "DEBUG The light lost this scene, we need to add it.", "add_scene 1 10 0",
                    "DEBUG The light lost this scene, we need to add it.",
                    "DEBUG Unusual...I probably should have this scene here to synchronize with",
                    "timer 3 in 0"));
}

TEST_F(LightSceneMemberLogTest, AbortWhileScenesAreRemoved_IsAnError)
{
    Want(1, 10, 0);
    ReachGroupsAndWatch({1});
    onSend = [this]
    {
        member->AbortSynchronization();
    };
    member->OnZclSceneMembership(1, {2});
    EXPECT_THAT(Happened(),
                testing::IsSupersetOf(
                    {"assert lighting_common/LightSceneMember",
                     "ERROR Error: AddMissingScenes synchronization map is NULL. Cannot proceed",
                     "TRACE NotifySynchronizationDone", "done"}));
    onSend = nullptr;
}

TEST_F(LightSceneMemberLogTest, AbortWhileScenesAreRemoved_SaysNothingOfMissingOnes)
{
    Want(1, 10, 0);
    ReachGroupsAndWatch({1});
    onSend = [this]
    {
        member->AbortSynchronization();
    };
    member->OnZclSceneMembership(1, {1, 2});
    EXPECT_THAT(Happened(), testing::Not(testing::Contains("DEBUG No missing scenes")));
    onSend = nullptr;
}

TEST_F(LightSceneMemberLogTest, NoGroupLeft_IsAnError)
{
    Want(1, 10, 0);
    Start(0);
    Happened();
    services.WatchLog();
    member->OnZclSceneMembership(2, {});
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclSceneMembership", "DEBUG No extra scenes.",
                            "DEBUG No missing scenes", "assert lighting_common/LightSceneMember",
                            "ERROR The groups with scenes vector is empty when it should not be.",
                            "TRACE NotifySynchronizationDone", "done"));
}

TEST_F(LightSceneMemberLogTest, View_IsTracedAndADifferenceLogged)
{
    Want(1, 10, 0);
    ReachGroupsAndWatch({1});
    member->OnZclViewScene(1, 11, 0);
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclViewScene",
                            "DEBUG Oops, the details of this scene do not match",
                            "add_scene 1 10 0", "TRACE NotifySynchronizationDone", "done"));
}

TEST_F(LightSceneMemberLogTest, ViewOfUnwantedScene_IsAnErrorWithItsId)
{
    Want(1, 10, 0);
    ReachGroupsAndWatch({1});
    member->OnZclViewScene(4294967295u, 10, 0);
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclViewScene",
                            "ERROR Really unusual. The scene ID of 4294967295 is incorrectly "
                            "present.",
                            "remove_scene 4294967295"));
}

TEST_F(LightSceneMemberLogTest, UnsolicitedView_IsLogged)
{
    services.WatchLog();
    member->OnZclViewScene(1, 1, 1);
    EXPECT_THAT(Happened(),
                ElementsAre("TRACE OnZclViewScene", "DEBUG Unsolicited ZCL View scene response.",
                            "remove all timers", "TRACE NotifySynchronizationDone", "done"));
}

TEST_F(LightSceneMemberLogTest, Watchdog_IsLogged)
{
    Start(5);
    Happened();
    services.WatchLog();
    timers.Expire(1);
    EXPECT_THAT(Happened(),
                ElementsAre("DEBUG We bailed on synchronization because it took too long",
                            "remove all timers", "TRACE NotifySynchronizationDone", "done"));
}

#include "LightSceneMemberFixture.h"

#include <climits>

using namespace zigbee_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
class LightSceneMemberSyncTest : public LightSceneMemberFixture
{
};
} // namespace

TEST_F(LightSceneMemberSyncTest, Start_RunsAWatchdogOf16StepsAndAsksForAllGroups)
{
    Start(5);
    EXPECT_THAT(Happened(), ElementsAre("timer 1 in 80000", "get_group_membership"));
}

TEST_F(LightSceneMemberSyncTest, StartWithoutStallDelay_RunsNoWatchdogAndNoPauses)
{
    Want(1, 10, 0);
    Start(0);
    member->OnZclGroupMembership({1});
    timers.Expire();
    member->OnZclSceneCount(1);
    timers.Expire();
    member->OnZclSceneMembership(1, {1});
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("get_group_membership", "timer 1 in 0", "get_scene_count",
                                        "timer 2 in 0", "get_scene_membership 1", "timer 3 in 0",
                                        "view_scene 1"));
}

TEST_F(LightSceneMemberSyncTest, LightThatHoldsEverything_IsAskedOncePerGroupAndSceneHighestFirst)
{
    Want(5, 20, 0);
    Want(0x10001, 50, 1000);
    Want(0x10005, 60, 3000);
    StartAndReachGroups(1, {1, 5});
    member->OnZclSceneMembership(5, {0x10005, 5});
    timers.Expire();
    member->OnZclViewScene(0x10005, 60, 3000);
    timers.Expire();
    member->OnZclViewScene(5, 20, 0);
    timers.Expire();
    member->OnZclSceneMembership(1, {0x10001});
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("timer 4 in 1000", "view_scene 65541", "timer 5 in 1000",
                                        "view_scene 5", "timer 6 in 1000", "get_scene_membership 1",
                                        "timer 7 in 1000", "view_scene 65537"));
    member->OnZclViewScene(0x10001, 50, 1000);
    EXPECT_THAT(Happened(), ElementsAre("kill timer 1", "done"));
    EXPECT_EQ(timers.Running().size(), 0u);
}

TEST_F(LightSceneMemberSyncTest, MissingGroups_AreJoinedAscendingBackToBack)
{
    Want(9, 10, 0);
    Want(0x10002, 10, 0);
    Want(0x20002, 10, 0);
    Want(4, 10, 0);
    Start(2);
    Happened();
    member->OnZclGroupMembership({4, 7});
    EXPECT_THAT(Happened(), ElementsAre("add_group 2", "add_group 9", "timer 2 in 2000"));
}

TEST_F(LightSceneMemberSyncTest, GroupsOutOfOrder_AreComparedAsReceived)
{
    Want(1, 10, 0);
    Want(2, 10, 0);
    Want(3, 10, 0);
    Start(2);
    Happened();
    // The merge passes 3 for 1, finds 3 at its end gone and asks for 1 and 2 again.
    member->OnZclGroupMembership({3, 1, 2});
    EXPECT_THAT(Happened(), ElementsAre("add_group 1", "add_group 2", "timer 2 in 2000"));
}

TEST_F(LightSceneMemberSyncTest, GroupsToCheck_AreTheSortedUnionWithoutRepeats)
{
    Want(2, 10, 0);
    Want(9, 10, 0);
    StartAndReachGroups(0, {9, 3, 9, 3});
    for (const unsigned short group : {9, 3})
    {
        member->OnZclSceneMembership(group, {});
        if (group == 9)
        {
            timers.Expire();
            member->OnZclViewScene(9, 10, 0);
        }
        timers.Expire();
    }
    EXPECT_THAT(Happened(),
                ElementsAre("add_scene 9 10 0", "timer 3 in 0", "view_scene 9", "timer 4 in 0",
                            "get_scene_membership 3", "timer 5 in 0", "get_scene_membership 2"));
}

TEST_F(LightSceneMemberSyncTest, NothingWantedAndNoGroups_IsDoneAfterTheSceneCount)
{
    Start(1);
    member->OnZclGroupMembership({});
    timers.Expire();
    Happened();
    member->OnZclSceneCount(3);
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("timer 3 in 1000", "kill timer 1", "done"));
}

TEST_F(LightSceneMemberSyncTest, GroupWithoutWantedScenes_IsCheckedAndEmptied)
{
    Want(1, 10, 0);
    StartAndReachGroups(0, {1, 8});
    member->OnZclSceneMembership(8, {0x30008, 0x10008});
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("remove_scene 65544", "remove_scene 196616", "timer 3 in 0",
                                        "get_scene_membership 1"));
}

TEST_F(LightSceneMemberSyncTest, ExtraAndMissingScenes_AreRepairedAscendingBackToBack)
{
    Want(0x10001, 10, 100);
    Want(0x20001, 20, 200);
    Want(0x50001, 50, 500);
    StartAndReachGroups(3, {1});
    member->OnZclSceneMembership(1, {0x90001, 0x20001, 0x30001});
    EXPECT_THAT(Happened(),
                ElementsAre("remove_scene 196609", "remove_scene 589825", "add_scene 65537 10 100",
                            "add_scene 327681 50 500", "timer 4 in 3000"));
}

TEST_F(LightSceneMemberSyncTest, ReportedRampTime_IsComparedInNearestSeconds)
{
    Want(1, 10, 1000);
    StartAndReachGroups(0, {1});
    member->OnZclSceneMembership(1, {1});
    Happened();
    member->OnZclViewScene(1, 10, 1400);
    EXPECT_THAT(Happened(), ElementsAre("done"));

    StartAndReachGroups(0, {1});
    member->OnZclSceneMembership(1, {1});
    Happened();
    member->OnZclViewScene(1, 10, 1600);
    EXPECT_THAT(Happened(), ElementsAre("add_scene 1 10 1000", "done"));
}

TEST_F(LightSceneMemberSyncTest, WrongLevel_IsStoredAgainAndTheSynchronizationGoesOn)
{
    Want(1, 10, 1000);
    Want(0x10001, 20, 1000);
    StartAndReachGroups(1, {1});
    member->OnZclSceneMembership(1, {1, 0x10001});
    timers.Expire();
    Happened();
    member->OnZclViewScene(0x10001, -1, 0);
    EXPECT_THAT(Happened(), ElementsAre("add_scene 65537 20 1000", "timer 5 in 1000"));
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("view_scene 1"));
}

TEST_F(LightSceneMemberSyncTest, ViewOfAnotherWantedScene_IsTakenForTheOneAsked)
{
    Want(1, 10, 0);
    Want(0x10001, 20, 0);
    StartAndReachGroups(0, {1});
    member->OnZclSceneMembership(1, {1, 0x10001});
    timers.Expire();
    Happened();
    member->OnZclViewScene(1, 10, 0);
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("timer 4 in 0", "view_scene 1"));
}

TEST_F(LightSceneMemberSyncTest, ViewOfUnwantedScene_IsRemovedAndStallsUntilTheWatchdog)
{
    Want(1, 10, 0);
    StartAndReachGroups(5, {1});
    member->OnZclSceneMembership(1, {1});
    timers.Expire();
    Happened();
    member->OnZclViewScene(0x70001, 10, 0);
    EXPECT_THAT(Happened(), ElementsAre("remove_scene 458753"));
    EXPECT_EQ(timers.Running().size(), 1u);
    timers.Expire(1);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done"));
}

TEST_F(LightSceneMemberSyncTest, StalledView_GoesOnWithTheRightAnswer)
{
    Want(1, 10, 0);
    StartAndReachGroups(5, {1});
    member->OnZclSceneMembership(1, {1});
    timers.Expire();
    member->OnZclViewScene(2, 10, 0);
    Happened();
    member->OnZclViewScene(1, 10, 0);
    EXPECT_THAT(Happened(), ElementsAre("kill timer 1", "done"));
}

TEST_F(LightSceneMemberSyncTest, LightThatNeverAnswers_IsGivenUpByTheWatchdog)
{
    Start(5);
    Happened();
    timers.Expire(1);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done"));
    member->OnZclGroupMembership({1});
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberSyncTest, Abort_KillsAllTimersAndTellsNobody)
{
    Start(5);
    member->OnZclGroupMembership({1});
    Happened();
    member->AbortSynchronization();
    EXPECT_THAT(Happened(), ElementsAre("remove all timers"));
    EXPECT_EQ(timers.Running().size(), 0u);
}

TEST_F(LightSceneMemberSyncTest, AbortWhenIdle_OnlyKillsTimers)
{
    member->AbortSynchronization();
    EXPECT_THAT(Happened(), ElementsAre("remove all timers"));
}

TEST_F(LightSceneMemberSyncTest, AnswersAfterAnAbort_EndItAgainExceptGroupsAndCount)
{
    Start(5);
    member->AbortSynchronization();
    Happened();
    member->OnZclGroupMembership({1});
    EXPECT_THAT(Happened(), IsEmpty());
    member->OnZclSceneMembership(1, {1});
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done"));
    member->OnZclViewScene(1, 1, 1);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done"));
    member->OnZclSceneCount(4);
    EXPECT_THAT(Happened(), ElementsAre("timer 2 in 5000"));
}

TEST_F(LightSceneMemberSyncTest, GroupsBeforeTheFirstStart_GiveUpAndYetAskForTheCount)
{
    member->OnZclGroupMembership({4});
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done", "timer 1 in 0"));
    timers.Expire();
    member->OnZclSceneCount(0);
    timers.Expire();
    EXPECT_THAT(Happened(),
                ElementsAre("get_scene_count", "timer 2 in 0", "get_scene_membership 4"));
}

TEST_F(LightSceneMemberSyncTest, CountBeforeTheFirstStart_IsDoneForLackOfGroups)
{
    member->OnZclSceneCount(7);
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("timer 1 in 0", "done"));
}

TEST_F(LightSceneMemberSyncTest, SceneMembershipOutOfTurn_IsTakenForWhatItSays)
{
    Want(1, 10, 0);
    Start(0);
    Happened();
    member->OnZclSceneMembership(1, {});
    EXPECT_THAT(Happened(), ElementsAre("add_scene 1 10 0", "timer 1 in 0"));
}

TEST_F(LightSceneMemberSyncTest, MissingSceneThatLeftTheMap_IsNotSent)
{
    Want(1, 10, 0);
    Want(0x10001, 20, 0);
    StartAndReachGroups(0, {1});
    onSend = [this]
    {
        wanted.erase(0x10001);
    };
    member->OnZclSceneMembership(1, {});
    EXPECT_THAT(Happened(), ElementsAre("add_scene 1 10 0", "timer 3 in 0"));
}

TEST_F(LightSceneMemberSyncTest, SceneMembershipThatComesTwice_ViewsEachSceneOnce)
{
    Want(1, 10, 0);
    StartAndReachGroups(0, {1});
    member->OnZclSceneMembership(1, {1});
    member->OnZclSceneMembership(1, {1});
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("timer 3 in 0", "timer 4 in 0", "view_scene 1"));
    member->OnZclViewScene(1, 10, 0);
    EXPECT_THAT(Happened(), ElementsAre("done"));
}

TEST_F(LightSceneMemberSyncTest, SceneMembershipWithoutGroups_AssertsAndEnds)
{
    Want(1, 10, 0);
    Start(0);
    Happened();
    member->OnZclSceneMembership(2, {});
    EXPECT_THAT(Happened(), ElementsAre("assert lighting_common/LightSceneMember", "done"));
    member->OnZclGroupMembership({1});
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberSyncTest, ViewWithNothingLeftToView_DropsNothingAndGoesOn)
{
    Want(1, 10, 0);
    StartAndReachGroups(0, {1, 2});
    member->OnZclViewScene(1, 10, 0);
    EXPECT_THAT(Happened(), ElementsAre("timer 3 in 0"));
    timers.Expire();
    EXPECT_THAT(Happened(), ElementsAre("get_scene_membership 1"));
}

TEST_F(LightSceneMemberSyncTest, ViewTimerWithNothingLeftToView_SendsNothing)
{
    services.WatchLog();
    Want(1, 10, 0);
    StartAndReachGroups(0, {1, 2});
    member->OnZclSceneMembership(1, {1});
    // The answer overtakes the request: when its timer runs out there is nothing left to ask.
    member->OnZclViewScene(1, 10, 0);
    Happened();
    timers.Expire(3);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberSyncTest, StartWithoutMap_AssertsAndEndsWithTheGroups)
{
    member->SynchronizeStart({nullptr, 0});
    EXPECT_THAT(Happened(),
                ElementsAre("assert lighting_common/LightSceneMember", "get_group_membership"));
    member->OnZclGroupMembership({});
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done", "timer 1 in 0"));
}

TEST_F(LightSceneMemberSyncTest, SecondStart_StartsOverBesideTheOldTimers)
{
    Want(1, 10, 0);
    Start(5);
    member->OnZclGroupMembership({1});
    Happened();
    Start(2);
    EXPECT_THAT(Happened(), ElementsAre("timer 3 in 32000", "get_group_membership"));
    EXPECT_EQ(timers.Running().size(), 3u);
    // The old step goes on; the old watchdog is nobody's any more.
    timers.Expire(2);
    timers.Expire(1);
    EXPECT_THAT(Happened(), ElementsAre("get_scene_count"));
    timers.Expire(3);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done"));
}

TEST_F(LightSceneMemberSyncTest, SecondStart_ForgetsTheScenesToView)
{
    Want(1, 10, 0);
    StartAndReachGroups(0, {1});
    member->OnZclSceneMembership(1, {1});
    Start(0);
    Happened();
    timers.Expire(3);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberSyncTest, TimersOfOthers_AreIgnored)
{
    Start(5);
    Happened();
    member->OnTimerExpired(0, 0);
    member->OnTimerExpired(99, 0);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberSyncTest, OwnerThatStartsAgainWhenDone_IsServed)
{
    Start(5);
    Happened();
    onDone = [this]
    {
        onDone = nullptr;
        Start(1);
    };
    timers.Expire(1);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done", "timer 2 in 16000",
                                        "get_group_membership"));
}

TEST_F(LightSceneMemberSyncTest, OwnerThatAbortsWhileScenesAreRemoved_GetsNothingStored)
{
    Want(1, 10, 0);
    StartAndReachGroups(1, {1});
    onSend = [this]
    {
        onSend = nullptr;
        member->AbortSynchronization();
    };
    member->OnZclSceneMembership(1, {2});
    EXPECT_THAT(Happened(), ElementsAre("remove_scene 2", "remove all timers",
                                        "assert lighting_common/LightSceneMember",
                                        "remove all timers", "done", "timer 4 in 1000"));
}

TEST_F(LightSceneMemberSyncTest, OwnerThatAbortsWhileScenesAreStored_StopsIt)
{
    Want(1, 10, 0);
    Want(0x10001, 10, 0);
    StartAndReachGroups(1, {1});
    onSend = [this]
    {
        onSend = nullptr;
        member->AbortSynchronization();
    };
    member->OnZclSceneMembership(1, {});
    EXPECT_THAT(Happened(),
                ElementsAre("add_scene 1 10 0", "remove all timers", "timer 4 in 1000"));
    onSend = nullptr;
}

TEST_F(LightSceneMemberSyncTest, OwnerThatDestroysTheMemberOnTheWatchdog_IsSafe)
{
    Start(5);
    onDone = [this]
    {
        member.reset();
    };
    Happened();
    timers.Expire(1);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers", "done", "remove all timers"));
    member = std::make_unique<LightSceneMember>(*this, timers, dispatcher, ENDPOINT);
}

TEST_F(LightSceneMemberSyncTest, ExtremeNumbers_AreComparedWithoutHarm)
{
    Want(1, INT_MIN, INT_MAX);
    Want(0xFFFFFFFF, INT_MAX, INT_MIN);
    StartAndReachGroups(0, {0xFFFF, 0, 1});
    member->OnZclSceneCount(INT_MIN);
    member->OnZclSceneMembership(0xFFFF, {0xFFFFFFFF});
    member->OnZclViewScene(0xFFFFFFFF, INT_MAX, INT_MIN);
    member->OnZclViewScene(1, INT_MAX, INT_MIN);
    EXPECT_THAT(Happened(), testing::Contains("add_scene 1 -2147483648 2147483647"));
}

TEST_F(LightSceneMemberSyncTest, LongestStallDelay_RunsAWatchdogOf16Steps)
{
    Start(4294967);
    // As far as the host's timers can count.
    const auto longest = static_cast<unsigned long>(68719472000);
    EXPECT_THAT(Happened(),
                ElementsAre("timer 1 in " + std::to_string(longest), "get_group_membership"));
}

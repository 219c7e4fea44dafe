#include "LightSceneMemberFixture.h"

#include <climits>

using namespace zigbee_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
class LightSceneMemberTest : public LightSceneMemberFixture
{
};

// Notes which parameters are read, and how.
class NotingMessage : public embedded_host::CmdMessage
{
public:
    NotingMessage(const std::string& name, Record& record) : CmdMessage(name), m_record(record) {}
    int GetParamInt(const std::string& name) const override
    {
        m_record.Note("read " + name);
        return 70000;
    }
    unsigned GetParamUInt(const std::string& name) const override
    {
        m_record.Note("read otherwise " + name);
        return 70000;
    }

private:
    Record& m_record;
};
} // namespace

TEST_F(LightSceneMemberTest, Construction_RegistersTheThreeCommandsAndSendsNothing)
{
    EXPECT_THAT(dispatcher.Names(),
                ElementsAre("ADD_TO_SCENE", "DELETE_FROM_SCENE", "MODIFY_SCENE"));
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LightSceneMemberTest, AddToScene_JoinsTheGroupAndThenStoresTheScene)
{
    Command("ADD_TO_SCENE", {{"SCENE_ID", "65541"}, {"LEVEL", "50"}, {"TIME", "1500"}});
    EXPECT_THAT(Happened(), ElementsAre("add_group 5", "add_scene 65541 50 1500"));
}

TEST_F(LightSceneMemberTest, ModifyScene_DoesTheSame)
{
    Command("MODIFY_SCENE", {{"SCENE_ID", "65541"}, {"LEVEL", "50"}, {"TIME", "1500"}});
    EXPECT_THAT(Happened(), ElementsAre("add_group 5", "add_scene 65541 50 1500"));
}

TEST_F(LightSceneMemberTest, DeleteFromScene_RemovesTheSceneAndKeepsTheGroup)
{
    Command("DELETE_FROM_SCENE", {{"SCENE_ID", "65541"}});
    EXPECT_THAT(Happened(), ElementsAre("remove_scene 65541"));
}

TEST_F(LightSceneMemberTest, Commands_ReadTheirParametersInOrderWithOneGetter)
{
    for (const char* const name : {"ADD_TO_SCENE", "MODIFY_SCENE"})
    {
        dispatcher.Dispatch(NotingMessage(name, record), nullptr, 0);
        EXPECT_THAT(Happened(), ElementsAre("read SCENE_ID", "read LEVEL", "read TIME",
                                            "add_group 4464", "add_scene 70000 70000 70000"));
    }
    dispatcher.Dispatch(NotingMessage("DELETE_FROM_SCENE", record), nullptr, 0);
    EXPECT_THAT(Happened(), ElementsAre("read SCENE_ID", "remove_scene 70000"));
}

TEST_F(LightSceneMemberTest, CommandValues_AreCutTo32BitsAndNotChecked)
{
    Command("ADD_TO_SCENE",
            {{"SCENE_ID", "4294967295"}, {"LEVEL", "-2147483648"}, {"TIME", "4294967297"}});
    EXPECT_THAT(Happened(), ElementsAre("add_group 65535", "add_scene 4294967295 -2147483648 1"));
}

TEST_F(LightSceneMemberTest, CommandsLeaveTheReturnUntouched)
{
    embedded_host::CmdReturn ret;
    for (const std::string& name : dispatcher.Names())
        dispatcher.Dispatch(embedded_host::CmdMessage(name), &ret, 0);
    EXPECT_EQ(ret.Reason(), "");
    Happened();
}

TEST_F(LightSceneMemberTest, JoinGroup_TakesGroupIdsAndSceneIds)
{
    member->JoinGroup(5);
    member->JoinGroup(0x00FF0005);
    EXPECT_THAT(Happened(), ElementsAre("add_group 5", "add_group 5"));
}

TEST_F(LightSceneMemberTest, LeaveThisGroup_RemovesTheGroup)
{
    member->LeaveThisGroup(0xFFFF);
    EXPECT_THAT(Happened(), ElementsAre("remove_group 65535"));
}

TEST_F(LightSceneMemberTest, AddSceneFailure_IsForwardedAndNothingElse)
{
    member->OnAddSceneFailure(65541, 0x89);
    EXPECT_THAT(Happened(), ElementsAre("failed 65541 137"));
}

TEST_F(LightSceneMemberTest, AddSceneFailureInASynchronization_ChangesNothing)
{
    Want(1, 50, 0);
    Start(5);
    Happened();
    member->OnAddSceneFailure(1, 1);
    EXPECT_THAT(Happened(), ElementsAre("failed 1 1"));
    member->OnZclGroupMembership({1});
    EXPECT_THAT(Happened(), ElementsAre("timer 2 in 5000"));
}

TEST_F(LightSceneMemberTest, DestructionWhileSynchronizing_KillsAllTimersAndTellsNobody)
{
    Start(5);
    member->OnZclGroupMembership({});
    Happened();
    EXPECT_EQ(timers.Running().size(), 2u);
    member = std::make_unique<LightSceneMember>(*this, timers, dispatcher, ENDPOINT);
    EXPECT_THAT(Happened(), ElementsAre("remove all timers"));
    EXPECT_EQ(timers.Running().size(), 0u);
}

TEST(GetExtraScenes, IsTheSortedSurplusOfTheFirst)
{
    EXPECT_THAT(GetExtraScenes({}, {}), IsEmpty());
    EXPECT_THAT(GetExtraScenes({}, {1}), IsEmpty());
    EXPECT_THAT(GetExtraScenes({3, 1, 2}, {}), ElementsAre(1, 2, 3));
    EXPECT_THAT(GetExtraScenes({9, 1, 5}, {5, 7}), ElementsAre(1, 9));
    EXPECT_THAT(GetExtraScenes({1, 2}, {2, 1}), IsEmpty());
    EXPECT_THAT(GetExtraScenes({UINT_MAX, 0}, {0}), ElementsAre(UINT_MAX));
}

TEST(GetExtraScenes, ValueMoreOftenInTheFirst_IsKeptForTheSurplus)
{
    EXPECT_THAT(GetExtraScenes({4, 2, 4, 4}, {4}), ElementsAre(2, 4, 4));
    EXPECT_THAT(GetExtraScenes({4}, {4, 4, 4}), IsEmpty());
}

TEST(GetExtraScenes, LeavesItsArgumentsAlone)
{
    const SceneVec a = {3, 1};
    const SceneVec b = {1, 0};
    GetExtraScenes(a, b);
    EXPECT_THAT(a, ElementsAre(3, 1));
    EXPECT_THAT(b, ElementsAre(1, 0));
}

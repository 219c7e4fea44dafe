// Load groups: membership, their scenes, the device's table, levels and ramps.

#include "lighting_common/LoadGroupManager.h"

#include "SceneDoubles.h"
#include "lighting_common/ILoadGroupOwner.h"

#include <functional>
#include <stdexcept>
#include <zlib.h>

#include <boost/make_shared.hpp>

namespace
{
using namespace scene_test;
using testing::ElementsAre;
using testing::IsEmpty;

// Writes down what the manager asks of its driver; the hooks run inside the operation, as
// copies, so that they may clear themselves.
class RecordingGroupOwner : public ILoadGroupOwner
{
public:
    explicit RecordingGroupOwner(Record& record) : m_record(record) {}

    void GroupSyncStarted() override { m_record.Note("sync started"); }
    void GroupSyncStopped() override { m_record.Note("sync stopped"); }
    boost::shared_ptr<ICmdMessage> CreateCommand(const std::string& name) override
    {
        m_record.Note("create " + name);
        if (refuseToCreate)
            return nullptr;
        return boost::make_shared<embedded_host::CmdMessage>(name);
    }
    void ForwardCommandToGroup(unsigned group, const ICmdMessage& command) override
    {
        std::string line = "forward " + std::to_string(group) + " " + command.GetName();
        for (const auto& param : embedded_host::ParamsOf(command))
            line += " " + param.name + "(" + param.type + ")=" + param.value;
        m_record.Note(line);
        if (const auto hook = onForward)
            hook(group);
    }
    void GroupSetLevel(unsigned group, int level, int time) override
    {
        m_record.Note("set level " + Numbers(group, level, time));
    }
    void GroupStartRamp(unsigned group, unsigned rate, bool up) override
    {
        m_record.Note("start ramp " + Numbers(group, rate, up ? "up" : "down"));
    }
    void GroupStopRamp(unsigned group) override
    {
        m_record.Note("stop ramp " + std::to_string(group));
    }
    void SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet) override
    {
        EXPECT_EQ(packet->GetType(), NxMIB::Invoke);
        m_record.Note(packet->ProperToString());
        if (const auto hook = onSend)
            hook();
    }
    void GroupSceneAdded(unsigned scene, int level, int time) override
    {
        m_record.Note("scene added " + Numbers(scene, level, time));
    }
    void GroupSceneModified(unsigned scene, int level, int time) override
    {
        m_record.Note("scene modified " + Numbers(scene, level, time));
    }
    void GroupSceneRemoved(unsigned scene) override
    {
        m_record.Note("scene removed " + std::to_string(scene));
        if (const auto hook = onSceneRemoved)
            hook(scene);
    }

    bool refuseToCreate = false;
    std::function<void(unsigned)> onForward;
    std::function<void()> onSend;
    std::function<void(unsigned)> onSceneRemoved;

private:
    static std::string Text(const char* text) { return text; }
    template <class Number>
    static std::string Text(Number number)
    {
        return std::to_string(number);
    }
    template <class A, class B, class C>
    static std::string Numbers(A a, B b, C c)
    {
        return Text(a) + " " + Text(b) + " " + Text(c);
    }

    Record& m_record;
};

class LoadGroups : public testing::Test
{
protected:
    LoadGroups() { m_manager.setOwner(&m_owner); }

    void Join(const std::string& group, bool keepSync = false)
    {
        m_host.Command("JOIN_GROUP",
                       {{"GROUP_ID", group}, {"KEEP_SYNC", keepSync ? "true" : "false"}});
    }
    void Leave(const std::string& group) { m_host.Command("LEAVE_GROUP", {{"GROUP_ID", group}}); }
    void SetSync(const std::string& group, bool keepSync)
    {
        m_host.Command("SET_GROUP_SYNC",
                       {{"GROUP_ID", group}, {"KEEP_SYNC", keepSync ? "true" : "false"}});
    }
    void JoinScene(const std::string& group, const std::string& scene, int level = 50,
                   int time = 2000)
    {
        m_host.Command("GROUP_JOIN_SCENE", {{"GROUP_ID", group},
                                            {"SCENE_ID", scene},
                                            {"LEVEL", std::to_string(level)},
                                            {"TIME", std::to_string(time)}});
    }
    void LeaveScene(const std::string& group, const std::string& scene)
    {
        m_host.Command("GROUP_LEAVE_SCENE", {{"GROUP_ID", group}, {"SCENE_ID", scene}});
    }
    void SetLevel(const std::string& group, const std::string& level)
    {
        m_host.Command("GROUP_SET_LEVEL", {{"GROUP_ID", group}, {"LEVEL", level}});
    }
    void StartRamp(const std::string& group, bool up)
    {
        m_host.Command("GROUP_START_RAMP",
                       {{"GROUP_ID", group}, {"RATE", "30"}, {"RAMP_UP", up ? "true" : "false"}});
    }
    void StopRamp(const std::string& group)
    {
        m_host.Command("GROUP_STOP_RAMP", {{"GROUP_ID", group}});
    }

    Lines Happened() { return m_record.Take(); }
    void Forget() { m_record.Take(); }

    Record m_record;
    TestHost m_host;
    RecordingGroupOwner m_owner{m_record};
    LoadGroupManager m_manager{&m_host.Commands(), &m_host.Mibs()};
};

TEST_F(LoadGroups, EveryCommandAndMibHasItsHandler)
{
    for (const char* name :
         {"JOIN_GROUP", "LEAVE_GROUP", "SET_GROUP_SYNC", "GROUP_RAMP_TO_LEVEL", "GROUP_SET_LEVEL",
          "GROUP_START_RAMP", "GROUP_STOP_RAMP", "GROUP_JOIN_SCENE", "GROUP_LEAVE_SCENE"})
        EXPECT_TRUE(m_host.Command(name)) << name;
    for (const char* mib : {"nx.als.gad", "nx.als.grm", "nx.als.gra"})
        EXPECT_TRUE(m_host.Reply(mib, {})) << mib;
    EXPECT_FALSE(m_host.Command("CLEAR_ALL_GROUPS"));
    Forget();
}

TEST(LoadGroupManagerAlone, NullDispatchers_AreSafe)
{
    LoadGroupManager manager(nullptr, nullptr);
    EXPECT_FALSE(manager.haveSyncGroup());
    EXPECT_FALSE(manager.inScene(1));
    EXPECT_EQ(manager.getCRC(), 0u);
}

// A driver that takes a command for itself.
class OverridingManager : public LoadGroupManager
{
public:
    OverridingManager(CmdDispatcher* commands, MibDispatcher* mibs)
        : LoadGroupManager(commands, mibs)
    {
    }
    void OnCmdJoinGroup(const ICmdMessage&) override { ++joins; }
    void OnRspClearGroups(const NxMIBPacket&, const NxMIBPacket*) override { ++cleared; }

    int joins = 0;
    int cleared = 0;
};

TEST(LoadGroupManagerAlone, OverriddenHandlers_AreTheOnesThatRun)
{
    TestHost host;
    OverridingManager manager(&host.Commands(), &host.Mibs());
    host.Command("JOIN_GROUP");
    host.Reply("nx.als.gra", {});
    EXPECT_EQ(manager.joins, 1);
    EXPECT_EQ(manager.cleared, 1);
}

// --- membership ----------------------------------------------------------------------------------

TEST_F(LoadGroups, Join_AddsTheGroupOnTheDevice)
{
    Join("171");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gad 00ab 00"));
    EXPECT_FALSE(m_manager.haveSyncGroup());
    const auto& joined = m_manager.getGroups().at(171);
    EXPECT_EQ(joined.groupId, 171u);
    EXPECT_FALSE(joined.keepSync);
    EXPECT_EQ(joined.scenes.NumScenes(), 0u);
}

TEST_F(LoadGroups, FirstJoinWithSync_ReportsItBeforeThePacket)
{
    Join("1", true);
    EXPECT_THAT(Happened(), ElementsAre("sync started", "nx.als.gad 0001 00"));
    Join("2", true);
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gad 0002 00"));
}

TEST_F(LoadGroups, JoinOfAGroupHeld_SendsAgainAndKeepsItsFlag)
{
    Join("3");
    Forget();
    Join("3", true);
    // Judged from the command, though the group itself stays without sync.
    EXPECT_THAT(Happened(), ElementsAre("sync started", "nx.als.gad 0003 00"));
    EXPECT_FALSE(m_manager.haveSyncGroup());
    Join("3", true);
    EXPECT_THAT(Happened(), ElementsAre("sync started", "nx.als.gad 0003 00"));
}

TEST_F(LoadGroups, JoinOfASyncGroupWithoutSync_KeepsItsFlagAndScenes)
{
    Join("3", true);
    JoinScene("3", "5");
    Forget();
    Join("3", false);
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gad 0003 00"));
    EXPECT_TRUE(m_manager.haveSyncGroup());
    EXPECT_TRUE(m_manager.inScene(5));
}

TEST_F(LoadGroups, GroupIds_AreSentWithTheirLowSixteenBits)
{
    Join("4294967295");
    Join("65541");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gad ffff 00", "nx.als.gad 0005 00"));
    Leave("5");
    EXPECT_THAT(Happened(), IsEmpty());
    Leave("65541");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.grm 0005"));
}

TEST_F(LoadGroups, LeaveOfAnUnknownGroup_DoesNothing)
{
    Leave("1");
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LoadGroups, Leave_RemovesItsScenesThenTheGroup)
{
    Join("1", true);
    JoinScene("1", "9");
    JoinScene("1", "4294967295");
    JoinScene("1", "5");
    Forget();
    m_owner.onSceneRemoved = [this](unsigned)
    {
        EXPECT_EQ(m_manager.getGroups().size(), 1u);
    };
    Leave("1");
    EXPECT_THAT(Happened(),
                ElementsAre("scene removed 5", "scene removed 9", "scene removed 4294967295",
                            "sync stopped", "nx.als.grm 0001"));
    EXPECT_TRUE(m_manager.getGroups().empty());
}

TEST_F(LoadGroups, Leave_RemovesScenesWithNeighbouringNumbersToo)
{
    Join("1");
    for (const char* scene : {"5", "6", "7"})
        JoinScene("1", scene);
    Forget();
    Leave("1");
    EXPECT_THAT(Happened(), ElementsAre("scene removed 5", "scene removed 6", "scene removed 7",
                                        "nx.als.grm 0001"));
}

TEST_F(LoadGroups, Leave_ReportsSyncStoppedOnlyForTheLastSyncGroup)
{
    Join("1", true);
    Join("2", true);
    Join("3");
    Forget();
    Leave("1");
    Leave("3");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.grm 0001", "nx.als.grm 0003"));
    Leave("2");
    EXPECT_THAT(Happened(), ElementsAre("sync stopped", "nx.als.grm 0002"));
}

TEST_F(LoadGroups, SetGroupSync_ReportsOnlyAChangeOfHavingAny)
{
    Join("1", true);
    Join("2");
    Forget();
    SetSync("1", true);
    SetSync("2", true);
    SetSync("1", false);
    EXPECT_THAT(Happened(), IsEmpty());
    SetSync("2", false);
    EXPECT_THAT(Happened(), ElementsAre("sync stopped"));
    SetSync("2", false);
    EXPECT_THAT(Happened(), IsEmpty());
    SetSync("2", true);
    EXPECT_THAT(Happened(), ElementsAre("sync started"));
}

TEST_F(LoadGroups, SetGroupSyncOfAnUnknownGroup_DoesNothing)
{
    SetSync("1", true);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(m_manager.getGroups().empty());
}

// --- scenes of groups ----------------------------------------------------------------------------

TEST_F(LoadGroups, JoinScene_AddsThenModifies)
{
    Join("1");
    Forget();
    JoinScene("1", "5", 100, 2000);
    JoinScene("1", "5", -3, 0);
    EXPECT_THAT(Happened(), ElementsAre("scene added 5 100 2000", "scene modified 5 -3 0"));
    EXPECT_EQ(m_manager.getGroups().at(1).scenes.getDetail(5).level, -3);
}

TEST_F(LoadGroups, JoinSceneOfAnUnknownGroup_DoesNothing)
{
    JoinScene("1", "5");
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_FALSE(m_manager.inScene(5));
}

TEST_F(LoadGroups, LeaveScene_OnlyOfAGroupAndSceneHeld)
{
    Join("1");
    Join("2");
    JoinScene("1", "5");
    Forget();
    LeaveScene("2", "5");
    LeaveScene("3", "5");
    LeaveScene("1", "6");
    EXPECT_THAT(Happened(), IsEmpty());
    LeaveScene("1", "5");
    EXPECT_THAT(Happened(), ElementsAre("scene removed 5"));
    EXPECT_FALSE(m_manager.inScene(5));
}

TEST_F(LoadGroups, InScene_AsksEveryGroup)
{
    Join("1");
    Join("2");
    JoinScene("2", "5");
    Forget();
    EXPECT_TRUE(m_manager.inScene(5));
    EXPECT_FALSE(m_manager.inScene(6));
}

// --- the device's table --------------------------------------------------------------------------

TEST_F(LoadGroups, ClearAllGroups_ReportsScenesStopsSyncAndWipes)
{
    Join("2");
    Join("1");
    JoinScene("2", "5");
    JoinScene("1", "9");
    JoinScene("1", "7");
    Forget();
    m_manager.clearAllGroups();
    EXPECT_THAT(Happened(), ElementsAre("scene removed 7", "scene removed 9", "scene removed 5",
                                        "sync stopped", "nx.als.gra"));
    EXPECT_TRUE(m_manager.getGroups().empty());
    m_manager.clearAllGroups();
    EXPECT_THAT(Happened(), ElementsAre("sync stopped", "nx.als.gra"));
}

TEST_F(LoadGroups, SyncToHardware_WipesReportsAndAddsInOrder)
{
    m_manager.syncGroupsToHW();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gra", "sync stopped"));
    Join("4294967295");
    Join("3", true);
    Join("1");
    Forget();
    m_manager.syncGroupsToHW();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gra", "sync started", "nx.als.gad 0001 00",
                                        "nx.als.gad 0003 00", "nx.als.gad ffff 00"));
}

TEST_F(LoadGroups, GroupAndSceneZero_AreLikeAnyOther)
{
    Join("0", true);
    Join("1", true);
    JoinScene("0", "0");
    Forget();
    SetLevel("1", "7");
    m_manager.syncGroupsToHW();
    m_manager.clearAllGroups();
    EXPECT_THAT(Happened(), ElementsAre("set level 1 7 0", "create SET_LEVEL",
                                        "forward 0 SET_LEVEL LEVEL(INT)=7", "nx.als.gra",
                                        "sync started", "nx.als.gad 0000 00", "nx.als.gad 0001 00",
                                        "scene removed 0", "sync stopped", "nx.als.gra"));
}

TEST_F(LoadGroups, Responses_LogOnlyForARequestOfTypeSet)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    const auto set = Packet(NxMIB::Set, "nx.als.gad", {"00ab", "00"});
    const auto invoke = Packet(NxMIB::Invoke, "nx.als.gad", {"00ab", "00"});
    m_host.Reply("nx.als.gad", {"0001"}, &set);
    m_host.Reply("nx.als.grm", {"0001"}, &set);
    m_host.Reply("nx.als.gad", {"0001"}, &invoke);
    m_host.Reply("nx.als.gad", {"0001"}, nullptr);
    m_host.Reply("nx.als.grm", {"0001"}, &invoke);
    m_host.Reply("nx.als.grm", {"0001"}, nullptr);
    const auto log = m_host.TakeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].text, "joined group 171");
    EXPECT_EQ(log[1].text, "left group 171");
    EXPECT_EQ(log[0].level, log4cplus::DEBUG_LOG_LEVEL);
    EXPECT_EQ(log[0].file, "lighting_common/LoadGroupManager");
    EXPECT_NE(log[0].function.find("LoadGroupManager::OnRspAddGroup("), std::string::npos);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(LoadGroups, ResponseToASetWithoutParameters_Warns)
{
    const auto set = Packet(NxMIB::Set, "nx.als.gad", {});
    m_host.Reply("nx.als.gad", {"0001"}, &set);
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("Parameter requested when no parameters exist"));
    m_host.Reply("nx.als.grm", {"0001"}, &set);
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("Parameter requested when no parameters exist"));
}

TEST_F(LoadGroups, ResponseToASetWithAnUnreadableId_NamesNoGroup)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    const auto set = Packet(NxMIB::Set, "nx.als.gad", {"x"});
    m_host.Reply("nx.als.gad", {"0001"}, &set);
    m_host.Reply("nx.als.grm", {"0001"}, &set);
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
}

TEST_F(LoadGroups, ClearResponse_LogsWhateverItAnswers)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    m_host.Reply("nx.als.gra", {}, nullptr);
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("all groups wiped off device"));
}

TEST_F(LoadGroups, Checksum_IsThatOfThreeBytesForEachGroup)
{
    EXPECT_EQ(m_manager.getCRC(), 0u);
    Join("1", true);
    EXPECT_EQ(m_manager.getCRC(), 0xe65ae853u); // 00 01 00
    Leave("1");
    Join("513");
    Join("258");
    JoinScene("258", "5");
    EXPECT_EQ(m_manager.getCRC(), 0x1ac1c449u); // 01 02 00 02 01 00
    Forget();
}

TEST_F(LoadGroups, Checksum_TakesTheLowSixteenBitsInTheOrderOfTheFullIds)
{
    Join("65541");      // ...0005
    Join("4294967295"); // ...ffff
    Join("6");
    Forget();
    const unsigned char bytes[] = {0x00, 0x06, 0x00, 0x00, 0x05, 0x00, 0xff, 0xff, 0x00};
    EXPECT_EQ(m_manager.getCRC(), crc32(crc32(0, nullptr, 0), bytes, sizeof bytes));
}

// --- levels and ramps ----------------------------------------------------------------------------

TEST_F(LoadGroups, WithoutSyncGroup_EachCommandOnlyActs)
{
    Join("1");
    Forget();
    m_host.Command("GROUP_RAMP_TO_LEVEL", {{"GROUP_ID", "7"}, {"LEVEL", "50"}, {"TIME", "2000"}});
    SetLevel("1", "-5");
    StartRamp("1", true);
    StopRamp("1");
    EXPECT_THAT(Happened(), ElementsAre("set level 7 50 2000", "set level 1 -5 0",
                                        "start ramp 1 30 up", "stop ramp 1"));
}

TEST_F(LoadGroups, RampToLevel_ForwardsLevelAndTime)
{
    Join("1", true);
    Join("2", true);
    Forget();
    m_host.Command("GROUP_RAMP_TO_LEVEL", {{"GROUP_ID", "1"}, {"LEVEL", "50"}, {"TIME", "2000"}});
    EXPECT_THAT(Happened(), ElementsAre("set level 1 50 2000", "create RAMP_TO_LEVEL",
                                        "forward 2 RAMP_TO_LEVEL LEVEL(INT)=50 TIME(INT)=2000"));
}

TEST_F(LoadGroups, SetLevel_ForwardsTheLevelAlone)
{
    Join("1", true);
    Join("2", true);
    Forget();
    SetLevel("1", "-1");
    EXPECT_THAT(Happened(), ElementsAre("set level 1 -1 0", "create SET_LEVEL",
                                        "forward 2 SET_LEVEL LEVEL(INT)=-1"));
}

TEST_F(LoadGroups, RampUpAndStop_ForwardTheUpButton)
{
    Join("1", true);
    Join("2", true);
    Forget();
    StartRamp("1", true);
    StopRamp("1");
    EXPECT_THAT(Happened(), ElementsAre("start ramp 1 30 up", "create BUTTON_ACTION",
                                        "forward 2 BUTTON_ACTION BUTTON_ID(INT)=0 ACTION(INT)=1",
                                        "stop ramp 1", "create BUTTON_ACTION",
                                        "forward 2 BUTTON_ACTION BUTTON_ID(INT)=0 ACTION(INT)=0"));
}

TEST_F(LoadGroups, StopBeforeAnyStart_ForwardsTheDownButton)
{
    Join("2", true);
    Forget();
    StopRamp("1");
    EXPECT_THAT(Happened(), ElementsAre("stop ramp 1", "create BUTTON_ACTION",
                                        "forward 2 BUTTON_ACTION BUTTON_ID(INT)=1 ACTION(INT)=0"));
}

TEST_F(LoadGroups, StartRampWithoutSyncGroup_IsRememberedForALaterStop)
{
    StartRamp("1", true);
    Join("2", true);
    Forget();
    StopRamp("1");
    EXPECT_THAT(Happened(), ElementsAre("stop ramp 1", "create BUTTON_ACTION",
                                        "forward 2 BUTTON_ACTION BUTTON_ID(INT)=0 ACTION(INT)=0"));
    StartRamp("1", false);
    EXPECT_THAT(Happened(), ElementsAre("start ramp 1 30 down", "create BUTTON_ACTION",
                                        "forward 2 BUTTON_ACTION BUTTON_ID(INT)=1 ACTION(INT)=1"));
}

TEST_F(LoadGroups, Forwarding_SkipsTheCommandsGroupAndGroupsWithoutSync)
{
    for (const char* group : {"4", "1", "4294967295"})
        Join(group, true);
    Join("2");
    Forget();
    SetLevel("1", "5");
    EXPECT_THAT(Happened(), ElementsAre("set level 1 5 0", "create SET_LEVEL",
                                        "forward 4 SET_LEVEL LEVEL(INT)=5",
                                        "forward 4294967295 SET_LEVEL LEVEL(INT)=5"));
}

TEST_F(LoadGroups, OnlyTheCommandsGroupHasSync_CreatesACommandForNobody)
{
    Join("1", true);
    Forget();
    SetLevel("1", "5");
    EXPECT_THAT(Happened(), ElementsAre("set level 1 5 0", "create SET_LEVEL"));
}

TEST_F(LoadGroups, OwnerThatCreatesNoCommand_ForwardsNothing)
{
    Join("2", true);
    Forget();
    m_owner.refuseToCreate = true;
    SetLevel("1", "5");
    StartRamp("1", true);
    StopRamp("1");
    m_host.Command("GROUP_RAMP_TO_LEVEL", {{"GROUP_ID", "1"}});
    EXPECT_EQ(Happened().size(), 8u);
}

// --- an owner that calls back --------------------------------------------------------------------

TEST_F(LoadGroups, ForwardThatComesBack_ActsButIsNotForwardedAgain)
{
    Join("1", true);
    Join("2", true);
    Forget();
    m_owner.onForward = [this](unsigned group)
    {
        SetLevel(std::to_string(group), "5");
    };
    SetLevel("1", "5");
    EXPECT_THAT(Happened(), ElementsAre("set level 1 5 0", "create SET_LEVEL",
                                        "forward 2 SET_LEVEL LEVEL(INT)=5", "set level 2 5 0",
                                        "create SET_LEVEL"));
    // The guard is open again afterwards.
    m_owner.onForward = nullptr;
    SetLevel("2", "6");
    EXPECT_THAT(Happened(), ElementsAre("set level 2 6 0", "create SET_LEVEL",
                                        "forward 1 SET_LEVEL LEVEL(INT)=6"));
}

TEST_F(LoadGroups, OwnerThatThrowsWhileItForwards_IsStillAskedTheNextTime)
{
    Join("1", true);
    Join("2", true);
    Forget();
    m_owner.onForward = [](unsigned)
    {
        throw std::runtime_error("the owner's own");
    };
    EXPECT_THROW(SetLevel("1", "5"), std::runtime_error);
    m_owner.onForward = nullptr;
    Forget();
    SetLevel("2", "6");
    EXPECT_THAT(Happened(), ElementsAre("set level 2 6 0", "create SET_LEVEL",
                                        "forward 1 SET_LEVEL LEVEL(INT)=6"));
}

TEST_F(LoadGroups, LeavingAndJoiningInsideAForward_IsFollowed)
{
    for (const char* group : {"1", "2", "3"})
        Join(group, true);
    Forget();
    m_owner.onForward = [this](unsigned group)
    {
        if (group != 2)
            return;
        Leave("2");
        Leave("3");
        Join("4", true);
    };
    SetLevel("1", "5");
    EXPECT_THAT(Happened(), ElementsAre("set level 1 5 0", "create SET_LEVEL",
                                        "forward 2 SET_LEVEL LEVEL(INT)=5", "nx.als.grm 0002",
                                        "nx.als.grm 0003", "nx.als.gad 0004 00",
                                        "forward 4 SET_LEVEL LEVEL(INT)=5"));
}

TEST_F(LoadGroups, ClearingInsideAForward_EndsIt)
{
    for (const char* group : {"1", "2", "3"})
        Join(group, true);
    Forget();
    m_owner.onForward = [this](unsigned)
    {
        m_manager.clearAllGroups();
    };
    SetLevel("1", "5");
    EXPECT_THAT(Happened(),
                ElementsAre("set level 1 5 0", "create SET_LEVEL",
                            "forward 2 SET_LEVEL LEVEL(INT)=5", "sync stopped", "nx.als.gra"));
}

TEST_F(LoadGroups, LeavingSceneOrGroupInsideSceneRemoved_IsSafe)
{
    Join("1");
    JoinScene("1", "5");
    JoinScene("1", "6");
    JoinScene("1", "7");
    Forget();
    m_owner.onSceneRemoved = [this](unsigned scene)
    {
        m_owner.onSceneRemoved = nullptr;
        LeaveScene("1", std::to_string(scene + 1));
        Leave("1");
    };
    Leave("1");
    EXPECT_THAT(Happened(), ElementsAre("scene removed 5", "scene removed 6", "scene removed 5",
                                        "scene removed 7", "nx.als.grm 0001"));
}

TEST_F(LoadGroups, LeavingInsideTheHardwareSync_SkipsTheGroup)
{
    Join("1");
    Join("2");
    Join("3");
    Forget();
    m_owner.onSend = [this]
    {
        m_owner.onSend = nullptr;
        Leave("2");
    };
    m_manager.syncGroupsToHW();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.gra", "nx.als.grm 0002", "sync stopped",
                                        "nx.als.gad 0001 00", "nx.als.gad 0003 00"));
}
} // namespace

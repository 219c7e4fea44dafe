// The controller's commands for advanced scenes, and the requests that they become.

#include "AdvSceneFixture.h"

#include <stdexcept>

namespace
{
using namespace scene_test;
using testing::ElementsAre;
using testing::IsEmpty;

class AdvSceneRegistration : public AdvSceneFixture
{
};

TEST_F(AdvSceneRegistration, EveryCommandAndMibHasItsHandler)
{
    for (const char* name :
         {"REMOVE_SCENE", "PUSH_SCENE", "ALL_SCENES_PUSHED", "CLEAR_ALL_SCENES", "ACTIVATE_SCENE",
          "RAMP_SCENE_UP", "RAMP_SCENE_DOWN", "STOP_SCENE_RAMP"})
        EXPECT_TRUE(m_host.Command(name)) << name;
    for (const char* mib : {"nx.als.sga", "nx.als.sgt", "nx.als.sad"})
        EXPECT_TRUE(m_host.Reply(mib, {"0001", "00000000", "00000000", "00", "00"})) << mib;
    for (const char* mib : {"nx.als.sga", "nx.als.sac"})
        EXPECT_TRUE(m_host.Trap(mib, {"0000", "0001"})) << mib;
    EXPECT_FALSE(m_host.Command("CLEAR_ALL_GROUPS"));
    EXPECT_FALSE(m_host.Trap("nx.als.sgt", {}));
    EXPECT_FALSE(m_host.Reply("nx.als.sac", {}));
    Forget();
}

TEST(AdvSceneManagerAlone, NullDispatchers_RegisterNothingAndAreSafe)
{
    Record record;
    RecordingAdvOwner owner(record);
    AdvSceneManager manager(nullptr, nullptr);
    manager.setOwner(&owner);
    manager.Initialize(1, nullptr);
    manager.LateInitialize();
    EXPECT_THAT(record.Take(), IsEmpty());
    manager.ClearAllScenes();
    EXPECT_THAT(record.Take(), ElementsAre("nx.als.sra"));
}

TEST(AdvSceneManagerAlone, Destruction_SendsNothingAndStopsNoTimer)
{
    Record record;
    RecordingAdvOwner owner(record);
    {
        AdvSceneManager manager(nullptr, nullptr);
        manager.setOwner(&owner);
        manager.Online();
        EXPECT_THAT(record.Take(), ElementsAre("nx.als.sga 00fa", "start timer 1"));
    }
    EXPECT_THAT(record.Take(), IsEmpty());
}

class AdvScenePush : public AdvSceneFixture
{
protected:
    // Pushes steps to these levels and has the device acknowledge them all.
    void PushHeld(int scene, const std::vector<int>& levels)
    {
        Push(scene, levels);
        m_manager.MarkAllSynced();
        Forget();
    }
};

TEST_F(AdvScenePush, NewScene_SendsOneRequestForEachStep)
{
    Push("5", Step(100, 7, 500) + Step(0, 4294967295) + Step(255));
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sad 0005 00000007 000001f4 64 08",
                                        "nx.als.sad 1005 ffffffff 000003e8 00 08",
                                        "nx.als.sad 2005 00000000 000003e8 ff 08"));
    const auto first = m_manager.getElement(5);
    EXPECT_EQ(first.delay, 7u);
    EXPECT_EQ(first.levelRate, 500u);
    EXPECT_EQ(first.level, 100);
    EXPECT_TRUE(first.pushedByController);
    EXPECT_FALSE(first.onHardware);
    EXPECT_EQ(m_manager.getElement(0x1005).delay, 4294967295u);
}

TEST_F(AdvScenePush, ShorterVersionHeldByTheDevice_OnlyRemovesTheRest)
{
    PushHeld(5, {1, 2, 3});
    Push(5, {1, 2});
    EXPECT_THAT(Happened(), ElementsAre(Srm("2005")));
    EXPECT_FALSE(Holds(0x2005));
}

TEST_F(AdvScenePush, ShorterVersionNotYetOnTheDevice_RemovesBeforeTheLastStepIsSettled)
{
    Push(5, {1, 2, 3});
    Forget();
    m_owner.noteQuestions = true;
    Push(5, {1, 2});
    EXPECT_THAT(Happened(),
                ElementsAre("mode?", Sad("0005", "01"), "mode?", Srm("2005"), Sad("1005", "02")));
}

TEST_F(AdvScenePush, RestOfALongerVersion_GoesUpToTheFirstGap)
{
    PushHeld(5, {1, 2, 3, 4});
    Report("5005", "06");
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre(Srm("1005"), Srm("2005"), Srm("3005")));
    EXPECT_TRUE(Holds(0x5005));
}

TEST_F(AdvScenePush, ChangedStep_ReplacesTheStoredOne)
{
    PushHeld(5, {1, 2});
    Push("5", Step(1) + Step(2, 0, 999));
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sad 1005 00000000 000003e7 02 08"));
    EXPECT_EQ(m_manager.getElement(0x1005).levelRate, 999u);
    EXPECT_FALSE(m_manager.getElement(0x1005).onHardware);
    EXPECT_TRUE(m_manager.getElement(0x0005).onHardware);
}

TEST_F(AdvScenePush, EqualStepNotOnHardware_IsSentWithoutAskingForForce)
{
    Push(5, {1});
    Forget();
    m_owner.noteQuestions = true;
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre("mode?", Sad("0005", "01")));
}

TEST_F(AdvScenePush, EqualStepOnHardware_IsSentOnlyByForceAndStaysOnHardware)
{
    PushHeld(5, {1});
    m_owner.noteQuestions = true;
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre("mode?", "force?"));
    m_owner.force = true;
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre("mode?", "force?", Sad("0005", "01")));
    EXPECT_TRUE(m_manager.getElement(5).onHardware);
}

TEST_F(AdvScenePush, EqualStepThatOnlyTheDeviceHad_BecomesPushed)
{
    Report("0005", "01");
    EXPECT_FALSE(m_manager.getElement(5).pushedByController);
    Push(5, {1});
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(m_manager.getElement(5).pushedByController);
}

TEST_F(AdvScenePush, Flags_OfFlashAndIgnoreRamp)
{
    Push(5, {1, 2, 3}, {{"FLASH", "true"}, {"IGNORE_RAMP", "true"}});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01", "0c"), Sad("1005", "02", "08"),
                                        Sad("2005", "03", "0a")));
    Push(6, {1}, {{"FLASH", "true"}, {"IGNORE_RAMP", "true"}});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0006", "01", "0e")));
    EXPECT_TRUE(m_manager.IsFlashScene(5));
    EXPECT_TRUE(m_manager.IsFlashScene(6));
}

TEST_F(AdvScenePush, Flags_OfSceneMode)
{
    m_owner.mode = true;
    Push(5, {1, 2}, {{"IGNORE_RAMP", "true"}});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01", "0d"), Sad("1005", "02", "09")));
    Push(6, {1, 2}, {{"FLASH", "true"}});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0006", "01", "08"), Sad("1006", "02", "0a")));
}

TEST_F(AdvScenePush, SeventeenthStep_MeetsTheFirst)
{
    std::vector<int> levels;
    for (int level = 1; level <= 17; ++level)
        levels.push_back(level);
    Push(5, levels);
    const Lines sent = Happened();
    ASSERT_EQ(sent.size(), 17u);
    EXPECT_EQ(sent[15], Sad("f005", "10"));
    EXPECT_EQ(sent[16], Sad("0005", "11"));
    EXPECT_EQ(m_manager.getElement(5).level, 17);
}

TEST_F(AdvScenePush, SixteenSteps_AreAllKept)
{
    Push(5, std::vector<int>(16, 1));
    EXPECT_EQ(Happened().size(), 16u);
    Push(5, std::vector<int>(16, 1));
    EXPECT_EQ(Happened().size(), 16u);
    EXPECT_TRUE(Holds(0xf005));
}

TEST_F(AdvScenePush, NumbersAreCutToTheirFields)
{
    Push("5", "<e><delay>-1</delay><level>257</level><rate>4294967297</rate></e><x/>");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sad 0005 ffffffff 00000001 01 08",
                                        "nx.als.sad 1005 00000000 00000000 00 08"));
}

TEST_F(AdvScenePush, SceneId_IsCutToSixteenBits)
{
    Push("65541", Steps({1}));
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(5u));
}

TEST_F(AdvScenePush, NegativeSceneId_WidensItsSignInListAndLookups)
{
    // Every key of scene -1 is ffff; no element has the key ffffffff, so nothing finds them.
    Push("-1", Steps({1, 2}));
    EXPECT_THAT(Happened(), ElementsAre(Sad("ffff", "01"), Sad("ffff", "02")));
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(0xffffffffu));
    Activate("-1");
    Activate("65535");
    m_host.Command("STOP_SCENE_RAMP", {{"SCENE_ID", "65535"}});
    Remove("65535");
    EXPECT_THAT(Happened(), IsEmpty());
    Remove("4294967295");
    EXPECT_THAT(m_manager.GetAllSceneIDs(), IsEmpty());
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(Holds(0xffff));
}

TEST_F(AdvScenePush, LowestNegativeSceneId_IsSafe)
{
    Push("32768", Steps({1, 2}));
    EXPECT_THAT(Happened(), ElementsAre(Sad("8000", "01"), Sad("9000", "02")));
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(0xffff8000u));
}

TEST_F(AdvScenePush, SceneIdAboveTwelveBits_MixesIntoTheIndex)
{
    // Bits 12 and up of the id are those of the index: steps 0 and 1 of 1005 (hex) share a key.
    Push("4101", Steps({1, 2, 3}));
    EXPECT_THAT(Happened(), ElementsAre(Sad("1005", "01"), Sad("1005", "02"), Sad("3005", "03")));
}

TEST_F(AdvScenePush, EmptySequence_OnlyListsTheScene)
{
    PushHeld(5, {1});
    Push("5", "");
    Push("6", "");
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(Holds(5));
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(5u, 6u));
}

TEST_F(AdvScenePush, UnreadableElements_ChangeNothing)
{
    PushHeld(5, {1});
    for (const char* bad : {"<e>", "</static>", "<e/", "<a></b>"})
    {
        Push("5", bad);
        Push("7", bad);
    }
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(5u));
}

TEST_F(AdvScenePush, AnyTagNameCounts)
{
    Push("5", "<a><level>1</level></a><static><level>2</level></static>");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sad 0005 00000000 00000000 01 08",
                                        "nx.als.sad 1005 00000000 00000000 02 08"));
}

TEST_F(AdvScenePush, IncomingXmlIsLoggedAtTraceLevelFirst)
{
    m_host.LogFrom(log4cplus::TRACE_LOG_LEVEL);
    Push("5", "<e/>");
    Forget();
    const auto log = m_host.TakeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].text,
              "lighting_common/AdvSceneMember::OnCmdPushScene(): Incoming element xml: <e/>");
    EXPECT_EQ(log[0].level, log4cplus::TRACE_LOG_LEVEL);
    EXPECT_EQ(log[0].file, "lighting_common/AdvSceneManager");
    EXPECT_EQ(log[0].line, 336);
    EXPECT_NE(log[0].function.find("AdvSceneManager::OnCmdPushScene("), std::string::npos);
    EXPECT_EQ(log[1].line, 101);
}

TEST_F(AdvScenePush, WhileASynchronisationRuns_OnlyStores)
{
    PushHeld(5, {1, 2, 3});
    m_manager.Online();
    Forget();
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    Push(5, {1, 9});
    EXPECT_THAT(Happened(), ElementsAre(Srm("2005")));
    EXPECT_THAT(m_host.TakeLog(), IsEmpty());
    EXPECT_EQ(m_manager.getElement(0x1005).level, 9);
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Sad("1005", "09")));
}

// --- where a scene comes from --------------------------------------------------------------------

class AdvSceneOrigin : public AdvSceneFixture
{
protected:
    void PushFromGroup(int scene, const std::vector<int>& levels)
    {
        Push(scene, levels, {{"FROM_GROUP", "true"}});
    }
};

TEST_F(AdvSceneOrigin, SameOrigin_IsNoConflict)
{
    PushFromGroup(5, {1});
    PushFromGroup(5, {1});
    Push(6, {1});
    Push(6, {1});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Sad("0005", "01"), Sad("0006", "01"),
                                        Sad("0006", "01")));
    EXPECT_TRUE(m_manager.getElement(5).fromGroup);
    EXPECT_FALSE(m_manager.getElement(6).fromGroup);
}

TEST_F(AdvSceneOrigin, OwnPushOntoAGroupsScene_AppliesNothing)
{
    PushFromGroup(5, {1, 2});
    Forget();
    Push(5, {9});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 already part of scene in a load group."));
    EXPECT_EQ(m_manager.getElement(5).level, 1);
    EXPECT_TRUE(Holds(0x1005));
}

TEST_F(AdvSceneOrigin, RemoveSceneInsideThatConflict_HasNoEffect)
{
    PushFromGroup(5, {1, 2});
    Forget();
    m_owner.onConflict = [this]
    {
        Remove("5");
        Remove("6");
    };
    Push(5, {9});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 already part of scene in a load group."));
    EXPECT_TRUE(m_manager.InScene(5));
    Remove("5");
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), Srm("1005")));
}

TEST_F(AdvSceneOrigin, OwnerThatThrowsInThatConflict_DoesNotKeepScenesFromBeingRemoved)
{
    PushFromGroup(5, {1, 2});
    Forget();
    m_owner.onConflict = []
    {
        throw std::runtime_error("the owner's own");
    };
    EXPECT_THROW(Push(5, {9}), std::runtime_error);
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 already part of scene in a load group."));
    Remove("5");
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), Srm("1005")));
}

TEST_F(AdvSceneOrigin, GroupsPushOntoAnOwnScene_GoesOn)
{
    Push(5, {1, 2});
    Forget();
    PushFromGroup(5, {9});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 leaving scene, joining as part of group.",
                                        Srm("1005"), Sad("0005", "09")));
    EXPECT_TRUE(m_manager.getElement(5).fromGroup);
}

TEST_F(AdvSceneOrigin, RemoveSceneInsideTheOtherConflict_Removes)
{
    Push(5, {1, 2});
    Push(6, {1});
    Forget();
    m_owner.onConflict = [this]
    {
        Remove("5");
    };
    PushFromGroup(5, {9});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 leaving scene, joining as part of group.",
                                        Srm("0005"), Srm("1005"), Sad("0005", "09")));
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(6u, 5u));
}

TEST_F(AdvSceneOrigin, EqualElement_KeepsItsOldOrigin)
{
    Push(5, {1});
    m_manager.MarkAllSynced();
    Forget();
    PushFromGroup(5, {1});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 leaving scene, joining as part of group."));
    EXPECT_FALSE(m_manager.getElement(5).fromGroup);
}

TEST_F(AdvSceneOrigin, ConflictIsReportedBeforeUnreadableElementsEndThePush)
{
    Push(5, {1});
    Forget();
    Push("5", "<e>", {{"FROM_GROUP", "true"}});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 leaving scene, joining as part of group."));
    PushFromGroup(6, {1});
    Forget();
    Push("6", "<e>");
    EXPECT_THAT(Happened(), ElementsAre("conflict 6 already part of scene in a load group."));
}

TEST_F(AdvSceneOrigin, OnlyElementZeroDecides)
{
    Push(5, {1, 2});
    m_manager.removeElement(5);
    Report("1005", "02");
    Forget();
    PushFromGroup(5, {1});
    EXPECT_THAT(Happened(), ElementsAre(Srm("1005"), Sad("0005", "01")));
}

// --- removing, clearing, marking -----------------------------------------------------------------

class AdvSceneRemoval : public AdvSceneFixture
{
};

TEST_F(AdvSceneRemoval, RemoveScene_TakesItOutOfListStoreAndDevice)
{
    Push(5, {1, 2, 3});
    Forget();
    Remove("5");
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), Srm("1005"), Srm("2005")));
    EXPECT_FALSE(m_manager.InScene(5));
    EXPECT_FALSE(Holds(5) || Holds(0x1005) || Holds(0x2005));
}

TEST_F(AdvSceneRemoval, RemoveSceneOfAnUnlistedScene_SendsNothing)
{
    Report("0005", "01");
    Remove("5");
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(Holds(5));
}

TEST_F(AdvSceneRemoval, RemoveScene_UsesTheFullNumber)
{
    Push(5, {1});
    Forget();
    Remove("65541");
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(m_manager.InScene(5));
}

TEST_F(AdvSceneRemoval, RemoveElement_LeavesEarlierIndicesAndStopsAtAGap)
{
    Push(5, {1, 2, 3});
    Report("4005", "05");
    Push(6, {1, 2});
    Forget();
    m_manager.removeElement(0x1005);
    EXPECT_THAT(Happened(), ElementsAre(Srm("1005"), Srm("2005")));
    EXPECT_TRUE(Holds(5) && Holds(0x4005) && Holds(0x1006));
    m_manager.removeElement(0x3005);
    m_manager.removeElement(0x14005);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(AdvSceneRemoval, RemoveElementOfTheHighestIndex_Ends)
{
    Report("f005", "05");
    Report("0005", "05");
    m_manager.removeElement(0xf005);
    EXPECT_THAT(Happened(), ElementsAre(Srm("f005")));
    EXPECT_TRUE(Holds(5));
}

TEST_F(AdvSceneRemoval, ClearAllScenes_EmptiesTheStoreAndKeepsTheList)
{
    Push(5, {1, 2});
    Forget();
    m_host.Command("CLEAR_ALL_SCENES");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sra"));
    EXPECT_FALSE(Holds(5));
    EXPECT_TRUE(m_manager.InScene(5));
    EXPECT_EQ(m_manager.getCRC(), 0u);
}

TEST_F(AdvSceneRemoval, PushAllElements_GoesInKeyOrder)
{
    Push(7, {1, 2});
    Push(5, {3, 4});
    Forget();
    m_manager.PushAllElements();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "03"), Sad("0007", "01"), Sad("1005", "04"),
                                        Sad("1007", "02")));
}

TEST_F(AdvSceneRemoval, MarkAllSynced_MarksBothAndSendsNothing)
{
    Push(5, {1});
    Report("0006", "01");
    Forget();
    m_manager.MarkAllSynced();
    EXPECT_THAT(Happened(), IsEmpty());
    for (const unsigned key : {5u, 6u})
    {
        EXPECT_TRUE(m_manager.getElement(key).onHardware);
        EXPECT_TRUE(m_manager.getElement(key).pushedByController);
    }
}

TEST_F(AdvSceneRemoval, PushElement_SendsWhateverIsStored)
{
    gen3_lights::scenes::AdvSceneElement element;
    element.id = 0x8001;
    element.delay = 0x80000000;
    element.levelRate = 0xfffffffe;
    element.level = 200;
    element.flags = 0xff;
    m_manager.pushElement(element);
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sad 8001 80000000 fffffffe c8 ff"));
    EXPECT_FALSE(Holds(0x8001));
}

// --- activating and ramping ----------------------------------------------------------------------

class AdvSceneActivation : public AdvSceneFixture
{
protected:
    void Ramp(const std::string& direction, const std::string& scene, const std::string& rate)
    {
        m_host.Command("RAMP_SCENE_" + direction, {{"SCENE_ID", scene}, {"RATE", rate}});
    }
};

TEST_F(AdvSceneActivation, ReportsTheLastLevelThenExecutes)
{
    Push(5, {10, 20, 30});
    Report("4005", "63");
    Forget();
    Activate("5");
    EXPECT_THAT(Happened(), ElementsAre("level 30", "execute 5"));
}

TEST_F(AdvSceneActivation, InSceneMode_OnlyExecutes)
{
    Push(5, {10});
    Forget();
    m_owner.mode = m_owner.noteQuestions = true;
    Activate("5");
    EXPECT_THAT(Happened(), ElementsAre("mode?", "execute 5"));
}

TEST_F(AdvSceneActivation, WithoutElementZero_IsIgnored)
{
    Report("1005", "0a");
    Push(6, {});
    for (const char* scene : {"5", "6", "7", "-5"})
        Activate(scene);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(AdvSceneActivation, SceneIdIsCutToSixteenBits)
{
    Push(5, {10});
    Forget();
    Activate("65541");
    EXPECT_THAT(Happened(), ElementsAre("level 10", "execute 5"));
}

TEST_F(AdvSceneActivation, RampUpAndDown_DifferInTheDirectionOnly)
{
    Push(0x12, {1});
    Forget();
    Ramp("DOWN", "18", "500");
    Ramp("UP", "18", "500");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.ssr 0012 00 000001f4 00 00",
                                        "nx.als.ssr 0012 00 000001f4 01 00"));
}

TEST_F(AdvSceneActivation, RampRate_IsThePatternOfItsNumber)
{
    Push(0xfff, {1});
    Forget();
    Ramp("UP", "4095", "-1");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.ssr 0fff 00 ffffffff 01 00"));
}

TEST_F(AdvSceneActivation, StopRamp_SendsThenTellsTheOwner)
{
    Push(5, {1});
    Forget();
    m_host.Command("STOP_SCENE_RAMP", {{"SCENE_ID", "5"}});
    EXPECT_THAT(Happened(), ElementsAre("nx.als.skr 0005", "ramp stopped"));
}

TEST_F(AdvSceneActivation, RampAndStopOfASceneNotStored_AreIgnored)
{
    Push(5, {});
    Ramp("UP", "5", "1");
    Ramp("DOWN", "5", "1");
    m_host.Command("STOP_SCENE_RAMP", {{"SCENE_ID", "5"}});
    EXPECT_THAT(Happened(), IsEmpty());
}

// --- an owner that calls back --------------------------------------------------------------------

class AdvSceneReentry : public AdvSceneFixture
{
protected:
    // Runs `act` inside the first request that is sent from now on.
    void InsideFirstSend(const std::function<void()>& act)
    {
        m_owner.onSend = [this, act](const NxMIBPacket&)
        {
            m_owner.onSend = nullptr;
            act();
        };
    }
};

TEST_F(AdvSceneReentry, ClearingInsidePushAllElements_EndsTheWalk)
{
    Push(5, {1, 2, 3});
    Forget();
    InsideFirstSend([this] { m_manager.ClearAllScenes(); });
    m_manager.PushAllElements();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), "nx.als.sra"));
}

TEST_F(AdvSceneReentry, RemovingTheNextElementInsideTheTimersWalk_SkipsIt)
{
    Push(5, {1});
    Push(6, {2});
    Push(7, {3});
    Forget();
    InsideFirstSend([this] { Remove("6"); });
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Srm("0006"), Sad("0007", "03")));
}

TEST_F(AdvSceneReentry, RemovingInsideARemoval_ErasesEachOnce)
{
    Push(5, {1, 2, 3});
    Forget();
    InsideFirstSend([this] { m_manager.removeElement(0x1005); });
    m_manager.removeElement(0x0005);
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), Srm("1005"), Srm("2005")));
    EXPECT_EQ(m_manager.getCRC(), 0u);
}

TEST_F(AdvSceneReentry, PushingInsideAPush_KeepsTheInnerElement)
{
    InsideFirstSend([this] { Push(5, {7, 8}); });
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Sad("0005", "07"), Sad("1005", "08")));
    EXPECT_EQ(m_manager.getElement(5).level, 7);
}

TEST_F(AdvSceneReentry, ClearingInsideTheQuestions_IsSafe)
{
    Push(5, {1, 2});
    m_manager.MarkAllSynced();
    Forget();
    m_owner.force = true;
    m_owner.onForce = [this]
    {
        m_manager.ClearAllScenes();
    };
    Push(5, {1, 2});
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sra", Sad("0005", "01"), Sad("1005", "02")));
    m_owner.onMode = [this]
    {
        m_manager.ClearAllScenes();
    };
    Activate("5");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sra", "level 2", "execute 5"));
}

TEST_F(AdvSceneReentry, ClearingInsideThePrune_EndsTheWalk)
{
    Report("0005", "01");
    Report("0006", "01");
    InsideFirstSend([this] { m_manager.ClearAllScenes(); });
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), "nx.als.sra"));
}

TEST_F(AdvSceneReentry, RemovingTheReportedElementWhileItIsSentAgain_IsSafe)
{
    Push(5, {1});
    Forget();
    InsideFirstSend([this] { Remove("5"); });
    Report("0005", "02");
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Srm("0005")));
    EXPECT_FALSE(Holds(5));
}
} // namespace

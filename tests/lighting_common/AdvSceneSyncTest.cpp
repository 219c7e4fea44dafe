// What the device says about advanced scenes, and the synchronisation after it comes online.

#include "AdvSceneFixture.h"

#include <stdexcept>

namespace
{
using namespace scene_test;
using testing::ElementsAre;
using testing::IsEmpty;

class AdvSceneSync : public AdvSceneFixture
{
protected:
    void GoOnline()
    {
        m_manager.Online();
        Forget();
    }
    bool OnHardware(unsigned key) const { return m_manager.getElement(key).onHardware; }
};

TEST_F(AdvSceneSync, OnlineWithAnEmptyStore_AsksAndStartsTheTimer)
{
    m_manager.Online();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sga 00fa", "start timer 1"));
    TimerExpires();
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(AdvSceneSync, OnlineTwice_KillsNoTimer)
{
    GoOnline();
    m_manager.Online();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sga 00fa", "start timer 2"));
    m_host.Reply("nx.als.sga", {});
    EXPECT_THAT(Happened(), ElementsAre("kill timer 2", "start timer 3"));
}

TEST_F(AdvSceneSync, Online_ForgetsWhatTheDeviceHolds)
{
    Push(5, {1});
    m_manager.MarkAllSynced();
    GoOnline();
    EXPECT_FALSE(OnHardware(5));
    EXPECT_TRUE(m_manager.getElement(5).pushedByController);
}

TEST_F(AdvSceneSync, ReplyToGetAll_OnlyRestartsTheTimer)
{
    m_host.Reply("nx.als.sga", {"zz", "zz", "zz"});
    EXPECT_THAT(Happened(), ElementsAre("kill timer 0", "start timer 1"));
    GoOnline();
    m_host.Reply("nx.als.sga", {});
    EXPECT_THAT(Happened(), ElementsAre("kill timer 2", "start timer 3"));
}

TEST_F(AdvSceneSync, GetAllTrap_AsksForItsElementAndRestartsTheTimer)
{
    GoOnline();
    HasElement("0000", "1005");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sgt 1005", "kill timer 1", "start timer 2"));
    HasElement("0001", "ffff");
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sgt ffff", "kill timer 2", "start timer 3"));
}

TEST_F(AdvSceneSync, GapInTheTraps_IsLoggedOnceAndFollowed)
{
    GoOnline();
    for (const char* sequence : {"0000", "0001", "0003", "0004"})
        HasElement(sequence, "0005");
    Forget();
    const auto log = m_host.TakeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].text, "missed trap 2");
    EXPECT_EQ(log[0].level, log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(log[0].file, "lighting_common/AdvSceneManager");
    EXPECT_EQ(log[0].line, 260);
    EXPECT_NE(log[0].function.find("AdvSceneManager::OnTrapGetAll("), std::string::npos);
}

TEST_F(AdvSceneSync, Sequence8000WhenZeroIsExpected_PassesAndIsKeptWithAllItsBits)
{
    GoOnline();
    HasElement("8000", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
    // 8001 is expected with all its bits, 1 is compared.
    HasElement("8001", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("missed trap -32767"));
    Forget();
}

TEST_F(AdvSceneSync, SequenceNumbers_WrapAndPrintAsSigned)
{
    GoOnline();
    HasElement("7fff", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("missed trap 0"));
    HasElement("0000", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("missed trap -32768"));
    HasElement("ffff", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("missed trap 1"));
    HasElement("0000", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
    Forget();
}

TEST_F(AdvSceneSync, Online_ExpectsSequenceZeroAgain)
{
    GoOnline();
    HasElement("0000", "0005");
    HasElement("0001", "0005");
    GoOnline();
    HasElement("0000", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
    Forget();
}

TEST_F(AdvSceneSync, ShortGetAllTrap_WarnsAndOnlyRestartsTheTimer)
{
    GoOnline();
    m_host.Trap("nx.als.sga", {"0000"});
    EXPECT_THAT(Happened(), ElementsAre("kill timer 1", "start timer 2"));
    EXPECT_THAT(m_host.TakeLogTexts(),
                ElementsAre("Requested 2 parameters but 2 don't exist (packet: nx.als.sga 0000)"));
    HasElement("0000", "0005");
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
    Forget();
}

TEST_F(AdvSceneSync, UnreadableGetAllTrap_SilentlyRestartsTheTimer)
{
    GoOnline();
    HasElement("0001", "x");
    HasElement("00000", "0005");
    EXPECT_THAT(Happened(),
                ElementsAre("kill timer 1", "start timer 2", "kill timer 2", "start timer 3"));
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
}

// --- the device's copy of an element -------------------------------------------------------------

TEST_F(AdvSceneSync, EqualCopy_MarksTheElementAndIsShown)
{
    Push(5, {1});
    GoOnline();
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    Report("0005", "01");
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(OnHardware(5));
    const Lines log = m_host.TakeLogTexts();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find(": 5, level enabled: 1"), std::string::npos);
    EXPECT_NE(log[0].find("on hardware: 1"), std::string::npos);
}

TEST_F(AdvSceneSync, DifferentCopy_IsOverwrittenAtOnceAndWaitsForItsAcknowledgement)
{
    Push(5, {1});
    GoOnline();
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    Report("0005", "02");
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    EXPECT_FALSE(OnHardware(5));
    EXPECT_EQ(m_manager.getElement(5).level, 1);
    const Lines log = m_host.TakeLogTexts();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find(std::string("level: \x01, flags: \x08, on hardware: 0")),
              std::string::npos);
}

TEST_F(AdvSceneSync, CopyThatDiffersInAnyField_IsOverwritten)
{
    Push(5, {1});
    GoOnline();
    for (const Lines& copy : {Lines{"0005", "00000001", "000003e8", "01", "08"},
                              Lines{"0005", "00000000", "000003e9", "01", "08"},
                              Lines{"0005", "00000000", "000003e8", "01", "09"}})
    {
        m_host.Reply("nx.als.sgt", copy);
        EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    }
}

TEST_F(AdvSceneSync, UnknownCopyBeforeAllScenesPushed_IsKeptAsTheDevices)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    m_host.Reply("nx.als.sgt", {"1005", "00000007", "000001f4", "64", "0a"});
    EXPECT_THAT(Happened(), IsEmpty());
    const auto element = m_manager.getElement(0x1005);
    EXPECT_EQ(element.delay, 7u);
    EXPECT_EQ(element.levelRate, 500u);
    EXPECT_EQ(element.level, 100);
    EXPECT_EQ(element.flags, 0x0a);
    EXPECT_TRUE(element.onHardware);
    EXPECT_FALSE(element.pushedByController);
    EXPECT_EQ(m_host.TakeLogTexts().size(), 1u);
}

TEST_F(AdvSceneSync, UnknownCopyAfterAllScenesPushed_IsRemovedAtOnceWithItsLaterIndices)
{
    Report("2005", "01");
    Report("0006", "01");
    Report("0004", "01");
    AllPushed();
    // The walk goes on behind the first element after each removal, so 0006 survives it.
    EXPECT_THAT(Happened(), ElementsAre(Srm("0004"), Srm("2005")));
    Report("1006", "01");
    EXPECT_THAT(Happened(), ElementsAre(Srm("1006")));
    EXPECT_TRUE(Holds(6));
    EXPECT_FALSE(Holds(0x1006));
}

TEST_F(AdvSceneSync, ShortCopy_WarnsAndCountsAsTheDefaultElement)
{
    m_host.Reply("nx.als.sgt", {"0005", "00000000", "000003e8", "01"});
    EXPECT_THAT(m_host.TakeLogTexts(),
                ElementsAre("Requested 5 parameters but 5 don't exist (packet: nx.als.sgt 0005 "
                            "00000000 000003e8 01)"));
    EXPECT_FALSE(Holds(5));
    ASSERT_TRUE(Holds(0));
    EXPECT_TRUE(OnHardware(0));
    EXPECT_EQ(m_manager.getElement(0).levelRate, 1000u);
}

TEST_F(AdvSceneSync, CopyWithAnUnreadableField_KeepsThatFieldsDefault)
{
    m_host.Reply("nx.als.sgt", {"0005", "x", "y", "01", "08"});
    EXPECT_EQ(m_manager.getElement(5).delay, 0u);
    EXPECT_EQ(m_manager.getElement(5).levelRate, 1000u);
    EXPECT_EQ(m_manager.getElement(5).level, 1);
}

TEST_F(AdvSceneSync, ShortCopyAfterAllScenesPushed_RemovesElementZeroOfSceneZero)
{
    AllPushed();
    m_host.Reply("nx.als.sgt", {});
    EXPECT_EQ(m_host.TakeLogTexts().size(), 1u);
    EXPECT_THAT(Happened(), ElementsAre(Srm("0000")));
    EXPECT_FALSE(Holds(0));
}

// --- acknowledgements and scenes that have run ---------------------------------------------------

TEST_F(AdvSceneSync, Acknowledgement_MarksTheElement)
{
    Push(5, {1, 2});
    Forget();
    Acknowledge("00001005");
    EXPECT_TRUE(OnHardware(0x1005));
    EXPECT_FALSE(OnHardware(5));
    Acknowledge("5");
    EXPECT_TRUE(OnHardware(5));
}

TEST_F(AdvSceneSync, AcknowledgementThatIsUnknownUnreadableOrEmpty_MarksNothing)
{
    Push(5, {1});
    Forget();
    for (const char* key : {"00000006", "00010005", "x", "000000005"})
        Acknowledge(key);
    EXPECT_FALSE(OnHardware(5));
    m_host.Reply("nx.als.sad", {});
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("Parameter requested when no parameters exist"));
    EXPECT_FALSE(OnHardware(5));
}

TEST_F(AdvSceneSync, SceneDone_ReportsTheLevelOfTheNamedElement)
{
    Push(5, {10, 20, 30});
    Forget();
    m_host.Trap("nx.als.sac", {"0005"});
    m_host.Trap("nx.als.sac", {"2005", "ignored"});
    EXPECT_THAT(Happened(), ElementsAre("level 10", "level 30"));
}

TEST_F(AdvSceneSync, SceneDoneOfAnIdFrom8000On_NamesNoElement)
{
    // The id is signed: 8005 widens to ffff8005, which is no key.
    Report("8005", "0a");
    Report("7005", "0b");
    m_host.Trap("nx.als.sac", {"8005"});
    m_host.Trap("nx.als.sac", {"7005"});
    EXPECT_THAT(Happened(), ElementsAre("level 11"));
}

TEST_F(AdvSceneSync, SceneDoneThatIsUnknownUnreadableOrEmpty_ReportsNothing)
{
    Push(5, {10});
    Forget();
    for (const char* id : {"0006", "x", "00005"})
        m_host.Trap("nx.als.sac", {id});
    m_host.Trap("nx.als.sac", {});
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("Parameter requested when no parameters exist"));
    EXPECT_THAT(Happened(), IsEmpty());
}

// --- pruning and the end of a synchronisation ----------------------------------------------------

TEST_F(AdvSceneSync, AllScenesPushed_RemovesOnlyWhatTheDeviceAloneHas)
{
    Push(5, {1});
    Push(6, {1});
    m_manager.MarkAllSynced();
    Push(7, {1});
    Report("0008", "01");
    Report("1008", "01");
    Forget();
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0008"), Srm("1008")));
    EXPECT_TRUE(Holds(5) && Holds(6) && Holds(7));
}

TEST_F(AdvSceneSync, AllScenesPushed_DoesNotExamineTheFirstElementAgainAfterARemoval)
{
    for (const char* id : {"0001", "0002", "0003", "0004"})
        Report(id, "01");
    AllPushed();
    // 0001 goes; 0002 is now the first and passed over; 0003 goes, and 0004 after it.
    EXPECT_THAT(Happened(), ElementsAre(Srm("0001"), Srm("0003"), Srm("0004")));
    EXPECT_TRUE(Holds(2));
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0002")));
}

TEST_F(AdvSceneSync, AllScenesPushed_RemovesLaterIndicesThatTheControllerPushed)
{
    Report("0005", "01");
    // The first step of scene 4101 has the key of scene 5's second one.
    Push(0x1005, {2});
    Forget();
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005"), Srm("1005")));
}

TEST_F(AdvSceneSync, AllScenesPushed_StartsAgainFromTheSecondElementAfterALateRemoval)
{
    Push(1, {1});
    Push(2, {1});
    m_manager.MarkAllSynced();
    Report("0003", "01");
    Report("0004", "01");
    Forget();
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0003"), Srm("0004")));
}

TEST_F(AdvSceneSync, TimerBeforeAllScenesPushed_SendsButPrunesNothing)
{
    Push(5, {1});
    GoOnline();
    Report("0006", "01");
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    EXPECT_TRUE(Holds(6));
}

TEST_F(AdvSceneSync, TimerAfterAllScenesPushed_PrunesThenSendsInKeyOrder)
{
    GoOnline();
    Report("0009", "01");
    Push(7, {1, 2});
    Push(5, {3});
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0009")));
    Report("0005", "03");
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0007", "01"), Sad("1007", "02")));
}

TEST_F(AdvSceneSync, AllScenesPushed_IsNeverForgotten)
{
    AllPushed();
    GoOnline();
    TimerExpires();
    m_host.Command("CLEAR_ALL_SCENES");
    GoOnline();
    Report("0005", "01");
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005")));
}

TEST_F(AdvSceneSync, AfterTheTimer_PushesSendAgain)
{
    GoOnline();
    Push(5, {1});
    EXPECT_THAT(Happened(), IsEmpty());
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    Push(6, {1});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0006", "01")));
}

TEST_F(AdvSceneSync, TimerArguments_AreNotLookedAt)
{
    GoOnline();
    m_manager.OnTimerExpired(4711, -1);
    Push(5, {1});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
}

TEST_F(AdvSceneSync, LostAcknowledgement_IsRepairedByTheNextSynchronisationOnly)
{
    Push(5, {1});
    Forget();
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    GoOnline();
    HasElement("0000", "0005");
    Report("0005", "01");
    Forget();
    TimerExpires();
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(AdvSceneSync, ElementBehindALostTrap_IsSentAgain)
{
    Push(5, {1});
    Push(6, {2});
    GoOnline();
    HasElement("0001", "0006");
    Report("0006", "02");
    EXPECT_THAT(m_host.TakeLogTexts(), ElementsAre("missed trap 0"));
    Forget();
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
}

// --- an owner that fails -------------------------------------------------------------------------

const auto THROW = []
{
    throw std::runtime_error("the owner fails");
};

TEST_F(AdvSceneSync, SyncTimerThatCannotBeStarted_HoldsBackNoPush)
{
    GoOnline();
    m_owner.onStart = THROW;
    EXPECT_THROW(HasElement("0000", "0005"), std::runtime_error);
    m_owner.onStart = nullptr;
    Forget();
    Push(6, {2});
    EXPECT_THAT(Happened(), ElementsAre(Sad("0006", "02")));
}

TEST_F(AdvSceneSync, PushedStepThatCannotBeSent_IsSentByTheNextSynchronisation)
{
    Push(5, {1});
    Acknowledge("00000005");
    m_owner.onSend = [](const NxMIBPacket&)
    {
        THROW();
    };
    EXPECT_THROW(Push(5, {2}), std::runtime_error);
    m_owner.onSend = nullptr;
    Forget();
    GoOnline();
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "02")));
}

TEST_F(AdvSceneSync, SceneWhoseRemovalCannotBeSent_CanBeRemovedAgain)
{
    Push(5, {1});
    m_owner.onSend = [](const NxMIBPacket&)
    {
        THROW();
    };
    EXPECT_THROW(Remove("5"), std::runtime_error);
    m_owner.onSend = nullptr;
    Forget();
    Remove("5");
    EXPECT_THAT(Happened(), ElementsAre(Srm("0005")));
    EXPECT_FALSE(Holds(5));
}

TEST_F(AdvSceneSync, ConflictInsideAConflict_LeavesTheOuterGuardShut)
{
    Push(5, {1}, {{"FROM_GROUP", "true"}});
    Push(6, {1}, {{"FROM_GROUP", "true"}});
    Forget();
    m_owner.onConflict = [this]
    {
        m_owner.onConflict = nullptr;
        Push(6, {2});
        Remove("5");
    };
    Push(5, {2});
    EXPECT_THAT(Happened(), ElementsAre("conflict 5 already part of scene in a load group.",
                                        "conflict 6 already part of scene in a load group."));
    EXPECT_TRUE(Holds(5));
}

TEST_F(AdvSceneSync, OneCompleteExchange)
{
    m_manager.Online();
    EXPECT_THAT(Happened(), ElementsAre("nx.als.sga 00fa", "start timer 1"));
    m_host.Reply("nx.als.sga", {});
    HasElement("0000", "0005");
    HasElement("0001", "0009");
    EXPECT_THAT(Happened(),
                ElementsAre("kill timer 1", "start timer 2", "nx.als.sgt 0005", "kill timer 2",
                            "start timer 3", "nx.als.sgt 0009", "kill timer 3", "start timer 4"));
    Push(5, {1, 2});
    Report("0005", "63");
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01")));
    Report("0009", "01");
    AllPushed();
    EXPECT_THAT(Happened(), ElementsAre(Srm("0009")));
    TimerExpires();
    EXPECT_THAT(Happened(), ElementsAre(Sad("0005", "01"), Sad("1005", "02")));
    Acknowledge("00000005");
    Acknowledge("00001005");
    EXPECT_TRUE(OnHardware(5) && OnHardware(0x1005));
}
} // namespace

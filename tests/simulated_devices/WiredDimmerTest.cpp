// A wired dimmer as its wire shows it: its tables, its report and its scenes.

#include "simulated_devices/WiredDimmer.h"

#include "TestWorld.h"
#include "simulated_devices/WiredDimmerFaults.h"

#include <chrono>
#include <memory>
#include <vector>

namespace
{
using namespace std::chrono_literals;
using namespace simulated;
using Params = std::vector<std::string>;

class WiredDimmerTest : public testing::Test
{
protected:
    // Requests of the driver.
    void Request(const std::string& mib, const Params& params = {})
    {
        m_dimmer.OnMib({wire::MibMessage::Invoke, mib, params});
    }
    void Store(const std::string& id, const std::string& level, const std::string& flags = "08",
               const std::string& delay = "00000000", const std::string& rate = "000003e8")
    {
        Request("nx.als.sad", {id, delay, rate, level, flags});
    }
    // All that comes within the next moments, dropped.
    void Settle()
    {
        m_world.Advance(1000ms);
        while (m_world.NextMib() != "nothing")
        {
        }
    }
    std::string Next() { return m_world.NextMib(); }
    template <class Fault>
    void AddFault(unsigned every)
    {
        m_dimmer.AddFault(std::make_unique<Fault>(every));
    }

    simulated_test::TestWorld m_world;
    WiredDimmer m_dimmer{m_world};
};

// --- tables --------------------------------------------------------------------------------------

TEST_F(WiredDimmerTest, GroupRequests_KeepTheTableAndAreAnswered)
{
    Request("nx.als.gad", {"0005", "00"});
    Request("nx.als.gad", {"ffff", "00"});
    Request("nx.als.gad", {"0005", "00"});
    Request("nx.als.grm", {"0006"});
    EXPECT_EQ(m_dimmer.Tables().groups, (std::set<std::uint16_t>{5, 0xffff}));
    EXPECT_EQ(Next(), "nothing");
    m_world.Advance(WiredDimmer::ANSWER_TIME);
    for (const char* answer :
         {"0 nx.als.gad 0005", "0 nx.als.gad ffff", "0 nx.als.gad 0005", "0 nx.als.grm 0006"})
        EXPECT_EQ(Next(), answer);
    Request("nx.als.grm", {"0005"});
    EXPECT_EQ(m_dimmer.Tables().groups, (std::set<std::uint16_t>{0xffff}));
    Request("nx.als.gra");
    EXPECT_TRUE(m_dimmer.Tables().groups.empty());
    Settle();
}

TEST_F(WiredDimmerTest, ElementRequests_KeepTheStoreAndAreAnswered)
{
    Request("nx.als.sad", {"1005", "00000007", "ffffffff", "64", "0a"});
    const auto& stored = m_dimmer.Tables().elements.at(0x1005);
    EXPECT_EQ(stored.delay, 7u);
    EXPECT_EQ(stored.rate, 0xffffffffu);
    EXPECT_EQ(stored.level, 100);
    EXPECT_EQ(stored.flags, 0x0a);
    Request("nx.als.sgt", {"1005"});
    Request("nx.als.srm", {"00001005"});
    EXPECT_TRUE(m_dimmer.Tables().elements.empty());
    m_world.Advance(WiredDimmer::ANSWER_TIME);
    EXPECT_EQ(Next(), "0 nx.als.sad 00001005");
    EXPECT_EQ(Next(), "0 nx.als.sgt 1005 00000007 ffffffff 64 0a");
    EXPECT_EQ(Next(), "0 nx.als.srm 00001005");
}

TEST_F(WiredDimmerTest, RemoveOne_RemovesThatElementOnly)
{
    Store("0005", "01");
    Store("1005", "02");
    Request("nx.als.srm", {"00000005"});
    EXPECT_EQ(m_dimmer.Tables().elements.size(), 1u);
    Request("nx.als.sra");
    EXPECT_TRUE(m_dimmer.Tables().elements.empty());
    Settle();
}

TEST_F(WiredDimmerTest, NonsenseIsNotAnsweredAndChangesNothing)
{
    Request("nx.als.gad", {"0005"});
    Request("nx.als.gad", {"x", "00"});
    Request("nx.als.gad", {"00005", "00"});
    Request("nx.als.gad", {"", "00"});
    Request("nx.als.gra", {"00"});
    Request("nx.als.sad", {"0005", "0", "0", "0"});
    Request("nx.als.sad", {"0005", "0", "0", "-1", "0"});
    Request("nx.als.srm", {"00010005"});
    Request("nx.als.sgt", {"0005"});
    Request("nx.als.sga", {});
    Request("nx.dmx.led", {"00", "00", "00"});
    m_dimmer.OnMib({wire::MibMessage::Set, "nx.als.gad", {"0005", "00"}});
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "nothing");
    EXPECT_TRUE(m_dimmer.Tables().groups.empty());
    EXPECT_TRUE(m_dimmer.Tables().elements.empty());
}

TEST_F(WiredDimmerTest, Checksums_AreThoseOfTheirBytes)
{
    EXPECT_EQ(m_dimmer.GroupChecksum(), 0u);
    EXPECT_EQ(m_dimmer.ElementChecksum(), 0u);
    Request("nx.als.gad", {"0001", "00"});
    EXPECT_EQ(m_dimmer.GroupChecksum(), 0xe65ae853u);
    Request("nx.als.sad", {"0001", "00000002", "000003e8", "64", "0a"});
    EXPECT_EQ(m_dimmer.ElementChecksum(), 0x79c461cdu);
    Settle();
}

TEST_F(WiredDimmerTest, ElementChecksum_LeavesOutGapsAndScenesFrom255On)
{
    Store("0006", "03");
    Store("1005", "02");
    Store("0005", "01");
    for (const char* uncounted : {"3005", "1007", "00ff", "0100", "0fff"})
        Store(uncounted, "09");
    EXPECT_EQ(m_dimmer.ElementChecksum(), 0x6b526e35u);
    Settle();
}

// --- the report ----------------------------------------------------------------------------------

TEST_F(WiredDimmerTest, Report_NumbersItsTrapsFromZeroInOrderOfId)
{
    for (const char* id : {"1005", "0006", "0005"})
        Store(id, "01");
    Settle();
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(WiredDimmer::ANSWER_TIME);
    EXPECT_EQ(Next(), "0 nx.als.sga");
    EXPECT_EQ(Next(), "nothing");
    for (const char* trap :
         {"1 nx.als.sga 0000 0005", "1 nx.als.sga 0001 0006", "1 nx.als.sga 0002 1005"})
    {
        m_world.Advance(WiredDimmer::REPORT_INTERVAL);
        EXPECT_EQ(Next(), trap);
    }
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "nothing");
}

TEST_F(WiredDimmerTest, ReportOfAnEmptyStore_IsTheAnswerAlone)
{
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "0 nx.als.sga");
    EXPECT_EQ(Next(), "nothing");
}

TEST_F(WiredDimmerTest, ReportFollowsTheStoreWhileItChanges)
{
    for (const char* id : {"0001", "0002", "0003"})
        Store(id, "01");
    Settle();
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(WiredDimmer::ANSWER_TIME + WiredDimmer::REPORT_INTERVAL);
    m_dimmer.Tables().elements.erase(2);
    m_dimmer.Tables().elements[4] = {};
    m_world.Advance(1000ms);
    for (const char* sent : {"0 nx.als.sga", "1 nx.als.sga 0000 0001", "1 nx.als.sga 0001 0003",
                             "1 nx.als.sga 0002 0004"})
        EXPECT_EQ(Next(), sent);
}

TEST_F(WiredDimmerTest, SecondRequestForAReport_StartsItAnew)
{
    Store("0001", "01");
    Store("ffff", "01");
    Settle();
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(WiredDimmer::ANSWER_TIME + WiredDimmer::REPORT_INTERVAL);
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    for (const char* sent : {"0 nx.als.sga", "1 nx.als.sga 0000 0001", "0 nx.als.sga",
                             "1 nx.als.sga 0000 0001", "1 nx.als.sga 0001 ffff"})
        EXPECT_EQ(Next(), sent);
}

TEST_F(WiredDimmerTest, PowerFailure_EndsWhatIsUnderWayAndKeepsTheTables)
{
    Store("0001", "01");
    Request("nx.als.gad", {"0001", "00"});
    Request("nx.als.sga", {"00fa"});
    m_dimmer.RecallScene(1);
    m_dimmer.OnPowerOn();
    m_world.Advance(10000ms);
    EXPECT_EQ(Next(), "nothing");
    EXPECT_EQ(m_dimmer.Tables().elements.size(), 1u);
    EXPECT_EQ(m_dimmer.Tables().groups.size(), 1u);
    EXPECT_FALSE(m_dimmer.IsPlaying());
    EXPECT_EQ(m_dimmer.Level(), 0);
}

// --- scenes --------------------------------------------------------------------------------------

TEST_F(WiredDimmerTest, Scene_WaitsRampsAndReportsItsEnd)
{
    Store("0005", "64", "08", "000001f4", "000003e8"); // after 500 ms, 1000 ms to 100
    Store("1005", "0a", "08", "00000000", "00000064"); // 100 ms to 10
    Settle();
    m_dimmer.RecallScene(5);
    m_world.Advance(500ms);
    EXPECT_EQ(m_dimmer.Level(), 0);
    m_world.Advance(500ms);
    EXPECT_EQ(m_dimmer.Level(), 50);
    m_world.Advance(500ms);
    EXPECT_EQ(m_dimmer.Level(), 100);
    EXPECT_TRUE(m_dimmer.IsPlaying());
    m_world.Advance(99ms);
    EXPECT_EQ(Next(), "nothing");
    m_world.Advance(1ms);
    EXPECT_EQ(m_dimmer.Level(), 10);
    EXPECT_EQ(Next(), "1 nx.als.sac 0005");
    EXPECT_FALSE(m_dimmer.IsPlaying());
}

TEST_F(WiredDimmerTest, PresentLevel_IsTheLoadsAndNeverMoreThanFull)
{
    Store("0005", "32", "0c");
    Store("0006", "ff", "0c");
    Settle();
    EXPECT_EQ(m_dimmer.PresentLevel().full, 100u);
    EXPECT_EQ(m_dimmer.PresentLevel().level, 0u);
    m_dimmer.RecallScene(5);
    m_world.Advance(1ms);
    EXPECT_EQ(m_dimmer.PresentLevel().level, 50u);
    m_dimmer.RecallScene(6);
    m_world.Advance(1ms);
    EXPECT_EQ(m_dimmer.PresentLevel().level, 100u);
    EXPECT_EQ(m_dimmer.Level(), 255);
    Settle();
}

TEST_F(WiredDimmerTest, StepThatIgnoresItsRamp_JumpsToItsLevel)
{
    Store("0005", "64", "0c", "00000000", "000003e8");
    Settle();
    m_dimmer.RecallScene(5);
    m_world.Advance(1ms);
    EXPECT_EQ(m_dimmer.Level(), 100);
    EXPECT_EQ(Next(), "1 nx.als.sac 0005");
}

TEST_F(WiredDimmerTest, FlashingScene_GoesRoundUntilItIsStopped)
{
    Store("0005", "64", "08", "00000000", "00000000");
    Store("1005", "00", "0a", "0000000a", "00000000");
    Settle();
    m_dimmer.RecallScene(5);
    for (int round = 0; round < 3; ++round)
    {
        m_world.Advance(1ms);
        EXPECT_EQ(m_dimmer.Level(), 100) << round;
        m_world.Advance(10ms);
    }
    Request("nx.als.skr", {"0005"});
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "0 nx.als.skr 0005");
    EXPECT_EQ(Next(), "nothing");
    EXPECT_FALSE(m_dimmer.IsPlaying());
}

TEST_F(WiredDimmerTest, SceneNotStored_IsNotPlayed)
{
    Store("1005", "64");
    Settle();
    for (const int scene : {5, 6, 0x1005, 0xffff})
        m_dimmer.RecallScene(static_cast<std::uint16_t>(scene));
    EXPECT_FALSE(m_dimmer.IsPlaying());
}

TEST_F(WiredDimmerTest, SecondScene_EndsTheFirst)
{
    Store("0005", "64");
    Store("0006", "0a");
    Settle();
    m_dimmer.RecallScene(5);
    m_world.Advance(500ms);
    m_dimmer.RecallScene(6);
    m_world.Advance(5000ms);
    EXPECT_EQ(m_dimmer.Level(), 10);
    EXPECT_EQ(Next(), "1 nx.als.sac 0006");
}

TEST_F(WiredDimmerTest, RemovingAllWhileItPlays_StopsTheLoadWhereItIs)
{
    Store("0005", "64");
    Settle();
    m_dimmer.RecallScene(5);
    m_world.Advance(500ms);
    Request("nx.als.sra");
    m_world.Advance(5000ms);
    EXPECT_EQ(m_dimmer.Level(), 50);
    EXPECT_EQ(Next(), "0 nx.als.sra");
}

TEST_F(WiredDimmerTest, RampUpAndStop_LeaveTheLevelReached)
{
    Request("nx.als.ssr", {"0005", "00", "000003e8", "01", "00"});
    m_world.Advance(250ms);
    Request("nx.als.skr", {"0005"});
    m_world.Advance(1000ms);
    EXPECT_EQ(m_dimmer.Level(), 25);
    Request("nx.als.ssr", {"0005", "00", "00000064", "00", "00"});
    m_world.Advance(100ms);
    EXPECT_EQ(m_dimmer.Level(), 0);
    for (const char* answer : {"0 nx.als.ssr 0005", "0 nx.als.skr 0005", "0 nx.als.ssr 0005"})
        EXPECT_EQ(Next(), answer);
}

TEST(WiredDimmerPerson, StartsAStoredSceneNowAndThen)
{
    simulated_test::TestWorld world;
    WiredDimmer dimmer(world);
    dimmer.LetAPersonPlay(100ms, 200ms);
    dimmer.OnPowerOn();
    world.Advance(100ms);
    EXPECT_EQ(world.NextTold(), "nothing");
    dimmer.Tables().elements[5] = {0, 10, 64, 8};
    world.Advance(100ms);
    EXPECT_EQ(world.NextTold(), "starts scene 5");
    world.Advance(10ms);
    EXPECT_EQ(world.NextMib(), "1 nx.als.sac 0005");
}

// --- faults --------------------------------------------------------------------------------------

TEST_F(WiredDimmerTest, LosesRequests_EverySecondIsNotHeard)
{
    AddFault<HearsBadly<WiredDimmerFault>>(2);
    for (const char* group : {"0001", "0002", "0003"})
        Request("nx.als.gad", {group, "00"});
    EXPECT_EQ(m_dimmer.Tables().groups, (std::set<std::uint16_t>{1, 3}));
    m_dimmer.ClearFaults();
    Request("nx.als.gad", {"0004", "00"});
    EXPECT_EQ(m_dimmer.Tables().groups.count(4), 1u);
    Settle();
}

TEST_F(WiredDimmerTest, LosesAnswers_ButObeysAndSendsTraps)
{
    AddFault<Loses<WiredDimmerFault, DimmerAnswers>>(1);
    Store("0005", "01");
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "1 nx.als.sga 0000 0005");
    EXPECT_EQ(Next(), "nothing");
}

TEST_F(WiredDimmerTest, LosesTraps_ButAnswers)
{
    for (const char* id : {"0001", "0002", "0003"})
        Store(id, "01");
    Settle();
    AddFault<Loses<WiredDimmerFault, DimmerTraps>>(2);
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    for (const char* sent : {"0 nx.als.sga", "1 nx.als.sga 0000 0001", "1 nx.als.sga 0002 0003"})
        EXPECT_EQ(Next(), sent);
}

TEST_F(WiredDimmerTest, RepeatsTraps_EverySecondComesTwice)
{
    for (const char* id : {"0001", "0002", "0003"})
        Store(id, "01");
    Settle();
    AddFault<Repeats<WiredDimmerFault, DimmerTraps>>(2);
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    for (const char* sent : {"0 nx.als.sga", "1 nx.als.sga 0000 0001", "1 nx.als.sga 0001 0002",
                             "1 nx.als.sga 0001 0002", "1 nx.als.sga 0002 0003"})
        EXPECT_EQ(Next(), sent);
}

TEST_F(WiredDimmerTest, ReordersTraps_EverySecondComesLate)
{
    for (const char* id : {"0001", "0002", "0003", "0004"})
        Store(id, "01");
    Settle();
    AddFault<ReordersTraps>(2);
    Request("nx.als.sga", {"00fa"});
    m_world.Advance(1000ms);
    for (const char* sent : {"0 nx.als.sga", "1 nx.als.sga 0000 0001", "1 nx.als.sga 0002 0003",
                             "1 nx.als.sga 0001 0002", "1 nx.als.sga 0003 0004"})
        EXPECT_EQ(Next(), sent);
}

TEST_F(WiredDimmerTest, Forgets_BothTablesWithoutPower)
{
    Store("0001", "01");
    Request("nx.als.gad", {"0001", "00"});
    m_dimmer.AddFault(std::make_unique<Forgets<WiredDimmerFault>>());
    EXPECT_EQ(m_dimmer.Tables().elements.size(), 1u);
    m_dimmer.OnPowerOn();
    EXPECT_TRUE(m_dimmer.Tables().elements.empty());
    EXPECT_TRUE(m_dimmer.Tables().groups.empty());
}

TEST_F(WiredDimmerTest, KeepsStaleElements_ButAnswersThatTheyAreGone)
{
    Store("0001", "01");
    Settle();
    AddFault<KeepsStaleElements>(1);
    Request("nx.als.srm", {"00000001"});
    EXPECT_EQ(m_dimmer.Tables().elements.size(), 1u);
    m_world.Advance(1000ms);
    EXPECT_EQ(Next(), "0 nx.als.srm 00000001");
}
// --- load groups ---------------------------------------------------------------------------------

TEST_F(WiredDimmerTest, GroupRamp_MovesOnlyMembers)
{
    Request("nx.als.gad", {"0005", "00"});
    Settle();
    m_dimmer.GroupRampToLevel(6, 40, 1000ms);
    m_world.Advance(1000ms);
    EXPECT_EQ(m_dimmer.Level(), 0);
    m_dimmer.GroupRampToLevel(5, 40, 1000ms);
    m_world.Advance(500ms);
    EXPECT_EQ(m_dimmer.Level(), 20);
    m_world.Advance(500ms);
    EXPECT_EQ(m_dimmer.Level(), 40);
}

TEST_F(WiredDimmerTest, GroupRampThatIsStopped_StaysWhereItIs)
{
    Request("nx.als.gad", {"0005", "00"});
    Settle();
    m_dimmer.GroupStartRamp(5, true);
    m_world.Advance(WiredDimmer::RAMP_TIME / 4);
    m_dimmer.GroupStopRamp(6);
    m_world.Advance(WiredDimmer::RAMP_TIME / 4);
    m_dimmer.GroupStopRamp(5);
    m_world.Advance(WiredDimmer::RAMP_TIME);
    EXPECT_EQ(m_dimmer.Level(), 50);
    m_dimmer.GroupStartRamp(5, false);
    m_world.Advance(WiredDimmer::RAMP_TIME);
    EXPECT_EQ(m_dimmer.Level(), 0);
}
} // namespace

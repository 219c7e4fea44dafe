#include "lighting_host/switchboard/LiveHouse.h"

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/Replay.h"
#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
constexpr std::int64_t NS_PER_MS = 1000000;
constexpr const char* LIVE_HOUSE = R"(<house>
  <driver name="hall" type="puck" id="101">
    <device simulated="true">
      <act at="2s" do="click" contact="0"/>
      <act at="70s" do="click" contact="0"/>
    </device>
  </driver>
</house>)";
constexpr const char* PRESS = R"({"driver":"hall","condition":"ON"})";

class Desk : public HouseVisitor
{
public:
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string& text) override { answers.push_back(text); }
    std::vector<std::string> answers;

private:
    const std::string m_name = "desk";
};
} // namespace

// A house on a clock of its own: time passes when the test says so.
class LiveHouseTest : public testing::Test, public LiveListener
{
protected:
    LiveHouseTest() : m_file(ParseHouseFile(LIVE_HOUSE, "."))
    {
        m_options.run.session.logLevel = 0;
    }

    void Begin()
    {
        m_house = std::make_unique<LiveHouse>(m_file, m_options, this);
        m_house->Start(0);
    }

    // Lets real time pass, and the house work as long as it wants to.
    void Pass(std::int64_t ms)
    {
        m_nowNs += ms * NS_PER_MS;
        while (m_house->Work(m_nowNs) == m_nowNs)
        {
        }
    }

    bool Say(const std::string& line)
    {
        m_desk.answers.clear();
        const bool taken = m_house->HandIn(m_desk, line, 1, m_nowNs);
        while (m_house->IsRewinding())
            m_house->Work(m_nowNs);
        return taken;
    }

    std::int64_t NowMs() { return m_house->Run().NowMs(); }

    std::vector<std::string> Events()
    {
        std::vector<std::string> events;
        const OutputRing& ring = m_house->Ring();
        for (std::uint64_t seq = ring.First(); seq <= ring.Last(); ++seq)
            if (ring.At(seq).kind == std::string("event"))
                events.push_back(ring.At(seq).text);
        return events;
    }

    std::vector<std::string> AllLines()
    {
        std::vector<std::string> lines;
        const OutputRing& ring = m_house->Ring();
        for (std::uint64_t seq = ring.First(); seq <= ring.Last(); ++seq)
            lines.push_back(ring.At(seq).text);
        return lines;
    }

    void OnBreak(const Breaks::Met& met) override { m_met.push_back(met.words); }
    void OnMoment() override { ++m_moments; }

    HouseFile m_file;
    LiveHouse::Options m_options;
    std::unique_ptr<LiveHouse> m_house;
    Desk m_desk;
    std::int64_t m_nowNs = 0;
    std::vector<std::string> m_met;
    int m_moments = 0;
};

TEST_F(LiveHouseTest, TimePasses_HouseFollowsAtItsSpeed)
{
    m_options.speed = 60;
    Begin();
    Pass(1000);
    EXPECT_EQ(NowMs(), 60000);
}

TEST_F(LiveHouseTest, Paused_TimeStands)
{
    Begin();
    Pass(500);
    EXPECT_TRUE(Say(R"({"house":"pause"})"));
    Pass(5000);
    EXPECT_EQ(NowMs(), 500);
    EXPECT_TRUE(Say(R"({"house":"play"})"));
    Pass(300);
    EXPECT_EQ(NowMs(), 800);
}

TEST_F(LiveHouseTest, Step_GoesToTheNextTimerAndPauses)
{
    m_options.paused = true;
    Begin();
    EXPECT_TRUE(Say(R"({"house":"step","ms":1500})"));
    EXPECT_EQ(NowMs(), 1500);
    const std::uint64_t fired = m_house->Run().FiredTimers();
    EXPECT_TRUE(Say(R"({"house":"step"})"));
    EXPECT_GT(m_house->Run().FiredTimers(), fired);
    EXPECT_TRUE(m_house->IsPaused());
}

TEST_F(LiveHouseTest, TimeThatIsReal_IsNotPausedMovedOrGoneBackIn)
{
    m_options.timeIsReal = true;
    Begin();
    Pass(3000);
    for (const char* line :
         {R"({"house":"pause"})", R"({"house":"step"})", R"({"house":"step","ms":100})",
          R"({"house":"rewind","t_ms":0})", R"({"house":"speed","value":60})",
          R"({"advance_ms":100})", R"({"house":"break","when":{"event":null}})"})
    {
        EXPECT_FALSE(Say(line));
        EXPECT_THAT(m_desk.answers[0], HasSubstr("lives in real time")) << line;
    }
    EXPECT_TRUE(m_house->GetBreaks().All().empty());
    EXPECT_TRUE(Say(R"({"house":"speed","value":1})") && Say(PRESS));
    Pass(1000);
    EXPECT_EQ(NowMs(), 4000);
}

TEST_F(LiveHouseTest, EveryLine_HasTheNextNumberAndItsCause)
{
    Begin();
    Pass(10000);
    ASSERT_THAT(Events(), testing::Not(IsEmpty()));
    const std::vector<std::string> lines = AllLines();
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], HasSubstr("\"seq\":" + std::to_string(i + 1) + "}"));
    EXPECT_THAT(lines, Contains(HasSubstr("\"cause\":\"device\"")));
    EXPECT_THAT(lines, Contains(AllOf(HasSubstr("\"cause\":\"device\""),
                                      HasSubstr("{\"trap\":\"nx.dmx.bp\""))));
}

TEST_F(LiveHouseTest, LineHandedIn_IsAnsweredAndDone)
{
    Begin();
    EXPECT_TRUE(Say(R"({"driver":"hall","query":"hold"})"));
    EXPECT_THAT(m_desk.answers, ElementsAre(HasSubstr("\"answer\":\"hold\""), "{\"done\":1}"));
}

TEST_F(LiveHouseTest, LineThatIsWrong_IsRefusedWithWords)
{
    Begin();
    EXPECT_FALSE(Say(R"({"house":"fly"})"));
    EXPECT_THAT(m_desk.answers, ElementsAre(HasSubstr("\"error\""), "{\"done\":1}"));
    EXPECT_FALSE(Say(R"({"house":"speed","value":0})"));
    EXPECT_FALSE(Say(R"({"house":"speed","value":10001})"));
    EXPECT_FALSE(Say(R"({"house":"rewind","t_ms":1})"));
    EXPECT_FALSE(Say(R"({"house":"go_on"})"));
    EXPECT_FALSE(Say(R"({"house":"pause","colour":1})"));
    EXPECT_FALSE(Say("nonsense"));
    EXPECT_FALSE(m_house->IsPaused());
}

TEST_F(LiveHouseTest, Break_PausesAtTheMomentThatMeetsIt)
{
    Begin();
    EXPECT_TRUE(Say(R"({"house":"break","when":{"event":null,"driver":"hall"}})"));
    Pass(60000);
    EXPECT_THAT(m_met, ElementsAre(HasSubstr("hall fires event")));
    EXPECT_TRUE(m_house->IsPaused());
    EXPECT_GE(NowMs(), 2000);
    EXPECT_LT(NowMs(), 3000);
}

TEST_F(LiveHouseTest, BreakThatIsOffOrGone_IsNotMet)
{
    Begin();
    EXPECT_TRUE(Say(R"({"house":"break","when":{"event":null}})"));
    EXPECT_TRUE(Say(R"({"house":"break","id":1,"enabled":false})"));
    Pass(10000);
    EXPECT_TRUE(Say(R"({"house":"break","id":1,"remove":true})"));
    EXPECT_FALSE(Say(R"({"house":"break","id":1,"enabled":true})"));
    EXPECT_THAT(m_met, IsEmpty());
}

TEST_F(LiveHouseTest, Rewind_LeadsToTheSameLinesAsBefore)
{
    Begin();
    Pass(10000);
    const std::vector<std::string> then = AllLines();
    EXPECT_TRUE(Say(PRESS));
    Pass(70000);
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":10000})"));
    EXPECT_EQ(NowMs(), 10000);
    EXPECT_TRUE(m_house->IsPaused());
    EXPECT_EQ(m_house->Branch(), 1u);
    std::vector<std::string> again = AllLines();
    again.resize(then.size());
    EXPECT_EQ(again, then);
    ASSERT_TRUE(m_house->GetPast());
    EXPECT_EQ(m_house->GetPast()->nowMs, 80000);
}

// Puts out more than is kept in about half a day.
class LongLifeTest : public LiveHouseTest
{
protected:
    static constexpr std::int64_t HOUR_MS = 3600000;

    LongLifeTest()
    {
        m_file = ParseHouseFile(R"(<house>
  <driver name="oak" type="puck" id="2"><device simulated="true">
    <person pause_min="1s" pause_max="3s"/></device></driver>
  <driver name="hall" type="puck" id="101"/>
</house>)",
                                ".");
        m_options.paused = true;
    }

    void Live(int hours)
    {
        EXPECT_TRUE(Say(R"({"house":"step","ms":)" + std::to_string(hours * HOUR_MS) + "}"));
        EXPECT_TRUE(Say(PRESS));
    }
};

TEST_F(LongLifeTest, Rewind_LeadsToTheSameLinesCausesAndDigestAsWritingThemAll)
{
    Begin();
    Live(4);
    Live(3);
    const std::vector<std::string> then = AllLines();
    const std::string digest = m_house->Run().Digest().Hex();
    ASSERT_GT(m_house->Ring().First(), OutputRing::MOST_LINES / 4);
    Live(1);
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":25200000})"));
    // The input of that very moment is part of it.
    EXPECT_EQ(m_house->GetPast()->droppedInputs, 1u);
    EXPECT_EQ(AllLines(), then);
    EXPECT_EQ(m_house->Run().Digest().Hex(), digest);
    EXPECT_TRUE(Say(R"({"house":"now"})"));
    EXPECT_FALSE(m_house->GetPast());
    Live(1);
}

TEST_F(LongLifeTest, RewindThatIsStoppedEarly_StandsWhereItHasCome)
{
    Begin();
    Live(7);
    m_desk.answers.clear();
    EXPECT_TRUE(m_house->HandIn(m_desk, R"({"house":"rewind","t_ms":25000000})", 1, 0));
    EXPECT_TRUE(Say(R"({"house":"stop"})"));
    EXPECT_LT(NowMs(), HOUR_MS);
    // With its whole minute: a record that goes on there tells of whole minutes only.
    EXPECT_EQ(NowMs() % 60000, 0);
    EXPECT_TRUE(m_house->Run().Digest().IsCut());
    EXPECT_TRUE(Say(R"({"house":"go_on"})"));
    Live(1);
    const std::string first = "\"seq\":" + std::to_string(m_house->Ring().First()) + "}";
    EXPECT_THAT(AllLines().front(), HasSubstr(first));
}

TEST_F(LiveHouseTest, InThePast_InputsAndPlayAreRefused)
{
    Begin();
    Pass(10000);
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":5000})"));
    EXPECT_FALSE(Say(PRESS));
    EXPECT_FALSE(Say(R"({"house":"play"})"));
    EXPECT_FALSE(Say(R"({"house":"step"})"));
}

TEST_F(LiveHouseTest, BackToNow_IsWhereItWas)
{
    Begin();
    Pass(4000);
    EXPECT_TRUE(Say(PRESS));
    Pass(76000);
    const std::vector<std::string> now = AllLines();
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":3000})"));
    EXPECT_EQ(m_house->GetPast()->droppedInputs, 1u);
    EXPECT_TRUE(Say(R"({"house":"now"})"));
    EXPECT_EQ(NowMs(), 80000);
    EXPECT_FALSE(m_house->GetPast());
    EXPECT_FALSE(m_house->IsPaused());
    EXPECT_EQ(AllLines(), now);
}

TEST_F(LiveHouseTest, BackToNowLongAfterTheLastOutput_IsWhereItWas)
{
    Begin();
    Pass(200000);
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":3000})"));
    EXPECT_TRUE(Say(R"({"house":"now"})"));
    EXPECT_EQ(NowMs(), 200000);
    EXPECT_FALSE(m_house->GetPast());
}

TEST_F(LiveHouseTest, GoOn_DropsWhatCameLater)
{
    Begin();
    Pass(4000);
    EXPECT_TRUE(Say(PRESS));
    EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":3000})"));
    EXPECT_TRUE(Say(R"({"house":"go_on"})"));
    EXPECT_FALSE(m_house->GetPast());
    EXPECT_EQ(m_house->InputCount(), 0u);
    EXPECT_TRUE(Say(R"({"house":"play"})"));
    Pass(1000);
    EXPECT_EQ(NowMs(), 4000);
}

TEST_F(LiveHouseTest, RecordedRun_ReplaysTheSame)
{
    const HouseFolder folder;
    RecordHead head;
    head.houseText = LIVE_HOUSE;
    head.housePath = folder.Path("h.xml");
    head.start = "1970-01-01T00:00:00";
    head.people = true;
    {
        FlightRecorder recorder(folder.Path("r"), head);
        m_options.recorder = &recorder;
        Begin();
        Pass(4000);
        EXPECT_TRUE(Say(PRESS));
        Pass(130000);
        EXPECT_TRUE(Say(R"({"house":"rewind","t_ms":65000})"));
        EXPECT_TRUE(Say(R"({"house":"go_on"})"));
        EXPECT_TRUE(Say(R"({"house":"play"})"));
        Pass(120000);
        m_house->Stop("the test ends");
        m_house.reset();
    }
    const FlightRecord record = ReadFlightRecord(folder.Path("r"));
    const HouseFile file = HouseOf(record, {});
    Replay replay(record, file, RunOptionsOf(record), {});
    replay.RunToEnd();
    EXPECT_FALSE(replay.Found());
    EXPECT_EQ(replay.DigestsCompared(), 4u);
}

TEST_F(LiveHouseTest, RecordOfAnInputThatIsMissing_DiffersAtItsFirstOutput)
{
    const HouseFolder folder;
    RecordHead head;
    head.houseText = LIVE_HOUSE;
    head.housePath = folder.Path("h.xml");
    head.start = "1970-01-01T00:00:00";
    head.people = true;
    {
        FlightRecorder recorder(folder.Path("r"), head);
        m_options.recorder = &recorder;
        m_options.recordOutputs = true;
        Begin();
        EXPECT_TRUE(Say(PRESS));
        Pass(61000);
        m_house->Stop("the test ends");
        m_house.reset();
    }
    FlightRecord record = ReadFlightRecord(folder.Path("r"));
    record.inputs.clear();
    const HouseFile file = HouseOf(record, {});
    Replay replay(record, file, RunOptionsOf(record), {});
    replay.RunToEnd();
    ASSERT_TRUE(replay.Found());
    EXPECT_EQ(replay.Found()->minuteMs, 60000);
    EXPECT_THAT(replay.Found()->recorded, HasSubstr("\"condition\":\"ON\""));
    EXPECT_NE(replay.Found()->here, replay.Found()->recorded);
}

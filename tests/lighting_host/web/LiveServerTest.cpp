// Visitors of a live house without a network: what each is sent, what they share, who is dropped,
// and what pages and metrics are told.

#include "lighting_host/web/LiveServer.h"

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/web/HousePicture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{
// Every driver knows its device.
constexpr std::int64_t SETTLED_MS = 60000;
constexpr std::size_t MUCH = 1 << 16;
constexpr const char* SERVED_HOUSE = R"(<house>
  <driver name="meter" type="energy_switch" id="1"/>
  <driver name="oak" type="wired_dimmer" id="2"><device simulated="true" watts="40"/></driver>
  <driver name="ash" type="wired_dimmer" id="3"><device simulated="true" watts="40"/></driver>
</house>)";
constexpr const char* RESTLESS_HOUSE = R"(<house>
  <driver name="oak" type="puck" id="2"><device simulated="true">
    <person pause_min="1s" pause_max="3s"/></device></driver>
</house>)";
constexpr const char* REPORT = R"({"driver":"meter","set":{"energy_wh":1}})";

class Peer : public WebSocketPeer
{
public:
    void Wake() override {}
    void Close(unsigned code, const std::string& reason) override
    {
        closed = std::to_string(code) + " " + reason;
    }
    std::string closed;
};
} // namespace

class LiveServerTest : public testing::Test
{
protected:
    struct Guest
    {
        Peer peer;
        std::unique_ptr<WebVisitor> visitor;
    };

    LiveServerTest() { StartHouse(SERVED_HOUSE); }

    // In the place of the one before, which nobody visits any more.
    void StartHouse(const char* text)
    {
        m_house.reset();
        m_file = ParseHouseFile(text, ".");
        LiveServer::Options options;
        options.tell = [this](const std::string& told)
        {
            m_told.push_back(told);
        };
        m_server = std::make_unique<LiveServer>(options, [] {});
        LiveHouse::Options house;
        house.paused = true;
        house.makeView = [](HouseRun& run)
        {
            return std::make_unique<HousePicture>(run);
        };
        m_house = std::make_unique<LiveHouse>(m_file, house, m_server.get());
        m_server->Attach(*m_house);
        m_house->Start(0);
        m_house->Run().AdvanceTo(SETTLED_MS);
    }

    // Somebody comes, and has read how it began.
    Guest& Enter(const std::string& hear = "")
    {
        m_guests.push_back(std::make_unique<Guest>());
        Guest& guest = *m_guests.back();
        WebRequest request;
        request.path = "/protocol";
        guest.visitor = m_server->OnWebSocket(request, guest.peer);
        if (!hear.empty())
            guest.visitor->OnMessage("{\"hear\":" + hear + "}");
        ReadAll(guest);
        return guest;
    }

    static std::string ReadAll(Guest& guest)
    {
        std::string all;
        while (const auto text = guest.visitor->Collect(MUCH))
            all += *text + "\n";
        return all;
    }

    void Say(Guest& guest, const std::string& line)
    {
        guest.visitor->OnMessage(line);
        while (m_house->IsRewinding())
            m_house->Work(0);
    }

    std::string Get(const std::string& path)
    {
        WebRequest request;
        request.method = "GET";
        request.path = path;
        return m_server->OnRequest(request).body;
    }

    HouseFile m_file;
    std::vector<std::string> m_told;
    std::unique_ptr<LiveServer> m_server;
    std::unique_ptr<LiveHouse> m_house;
    std::vector<std::unique_ptr<Guest>> m_guests;
};

TEST_F(LiveServerTest, VisitorsThatHearTheSame_ShareOneText)
{
    Guest& one = Enter();
    Guest& other = Enter();
    Say(Enter(), REPORT);
    const auto text = one.visitor->Collect(MUCH);
    ASSERT_TRUE(text);
    EXPECT_THAT(*text, HasSubstr("EnergyValueToUI"));
    EXPECT_EQ(other.visitor->Collect(MUCH), text);
    EXPECT_EQ(one.visitor->Collect(MUCH), nullptr);
}

TEST_F(LiveServerTest, VisitorsThatHearOtherKinds_GetTheirOwn)
{
    Guest& calls = Enter(R"({"kinds":["call"]})");
    Guest& variables = Enter(R"({"kinds":["variable"]})");
    // One kind of a strange name, not two kinds.
    Guest& strange = Enter(R"({"kinds":["call\"\"variable"]})");
    Guest& both = Enter(R"({"kinds":["call","variable"]})");
    Say(Enter(), REPORT);
    EXPECT_THAT(ReadAll(strange), IsEmpty());
    EXPECT_THAT(ReadAll(calls), Not(HasSubstr("variable")));
    EXPECT_THAT(ReadAll(variables), Not(HasSubstr("call")));
    EXPECT_THAT(ReadAll(both), testing::AllOf(HasSubstr("call"), HasSubstr("variable")));
}

TEST_F(LiveServerTest, VisitorThatIsFurther_GetsOnlyWhatIsNewToIt)
{
    Guest& slow = Enter(R"({"kinds":["variable"]})");
    Guest& quick = Enter(R"({"kinds":["variable"]})");
    Guest& desk = Enter();
    Say(desk, REPORT);
    const std::string first = ReadAll(quick);
    Say(desk, REPORT);
    const std::string second = ReadAll(quick);
    EXPECT_THAT(second, Not(HasSubstr("\"value\":\"1\"")));
    EXPECT_EQ(ReadAll(slow), first + second);
}

TEST_F(LiveServerTest, AnswerOfAVisitor_ComesAfterWhatItsLineCaused)
{
    Guest& desk = Enter();
    Say(desk, REPORT);
    const std::string heard = ReadAll(desk);
    ASSERT_THAT(heard, HasSubstr("EnergyValueToUI"));
    EXPECT_GT(heard.find("{\"done\":1}"), heard.rfind("EnergyValueToUI"));
}

TEST_F(LiveServerTest, VisitorThatNeverReads_IsDroppedWithAReason)
{
    Guest& stuck = Enter();
    Guest& desk = Enter(R"({"kinds":["none"]})");
    for (std::size_t lines = 0; lines < OutputRing::MOST_LINES + 2048; lines += 4)
    {
        Say(desk, REPORT);
        ReadAll(desk);
    }
    EXPECT_THAT(stuck.peer.closed, HasSubstr("1013 too slow: "));
    EXPECT_THAT(m_told, ElementsAre(HasSubstr("visitor 1 was dropped: too slow")));
    EXPECT_THAT(desk.peer.closed, IsEmpty());
    EXPECT_THAT(Get("/metrics"), HasSubstr("lighting_visitors_dropped_total 1\n"));
}

// A house in which somebody is always at work puts out more in a day than is kept.
TEST_F(LiveServerTest, StepOverMoreLinesThanAreKept_WhoReadsIsToldThatLinesAreGone)
{
    StartHouse(RESTLESS_HOUSE);
    Guest& reader = Enter();
    Guest& desk = Enter();
    const std::uint64_t before = m_house->Ring().Last();
    Say(desk, R"({"house":"step","ms":25200000})");
    ASSERT_GT(m_house->Ring().First(), before + 1);
    const std::string gone = "{\"gone\":" + std::to_string(before) + ",";
    EXPECT_THAT(ReadAll(reader), StartsWith(gone));
    EXPECT_THAT(ReadAll(desk), AllOf(StartsWith(gone), EndsWith("{\"done\":1}\n")));
    EXPECT_THAT(m_told, IsEmpty());
    Say(desk, R"({"house":"step"})");
    EXPECT_THAT(ReadAll(reader), Not(HasSubstr("gone")));
}

TEST_F(LiveServerTest, StepsOneAfterTheOther_WhoNeverReadsIsDropped)
{
    StartHouse(RESTLESS_HOUSE);
    Guest& stuck = Enter();
    Guest& desk = Enter(R"({"kinds":["none"]})");
    for (int step = 0; step < 12; ++step)
    {
        Say(desk, R"({"house":"step","ms":2160000})");
        ReadAll(desk);
    }
    EXPECT_THAT(stuck.peer.closed, HasSubstr("1013 too slow: "));
    EXPECT_THAT(desk.peer.closed, IsEmpty());
}

TEST_F(LiveServerTest, AfterGoingOnFromThePast_NobodyGetsWhatWasBefore)
{
    Guest& watcher = Enter(R"({"kinds":["call"]})");
    Guest& desk = Enter(R"({"kinds":["none"]})");
    Say(desk, R"({"house":"step","ms":10})");
    Say(desk, REPORT);
    const std::string before = ReadAll(watcher);
    Say(desk, R"({"house":"rewind","t_ms":60005})");
    Say(desk, R"({"house":"go_on"})");
    ReadAll(watcher);
    Say(desk, R"({"driver":"meter","set":{"energy_wh":7}})");
    EXPECT_THAT(ReadAll(watcher), HasSubstr("[\"ENERGY_USED\",7]"));
    EXPECT_THAT(before, HasSubstr("[\"ENERGY_USED\",1]"));
}

TEST_F(LiveServerTest, PageOfAHouseThatStands_IsToldOfTheDriverThatChanged)
{
    Guest& page = Enter(R"({"kinds":["none"],"page":true})");
    m_server->SendChanges(0);
    ReadAll(page);
    m_server->SendChanges(0);
    EXPECT_THAT(ReadAll(page), IsEmpty());
    Say(page, R"({"house":"fault","driver":"ash","deaf":true})");
    m_server->SendChanges(0);
    const std::string told = ReadAll(page);
    EXPECT_THAT(told, HasSubstr(R"("page":"driver","driver":"ash","value":{"faults")"));
    EXPECT_THAT(told, Not(HasSubstr("oak")));
}

TEST_F(LiveServerTest, LampThatMovesLongAfterItWasTold_IsStillTold)
{
    Guest& page = Enter(R"({"kinds":["none"],"page":true})");
    Say(page, R"({"house":"level","driver":"oak","level":100,"time_ms":10000})");
    Say(page, R"({"house":"step","ms":5000})");
    m_server->SendChanges(0);
    EXPECT_THAT(ReadAll(page), HasSubstr("\"level\":50"));
    Say(page, R"({"house":"step","ms":4000})");
    m_server->SendChanges(0);
    EXPECT_THAT(ReadAll(page), HasSubstr("\"level\":90"));
}

TEST_F(LiveServerTest, Metrics_CountWhatCameOutAndWhoIsThere)
{
    Guest& desk = Enter();
    Say(desk, REPORT);
    const OutputRing& ring = m_house->Ring();
    unsigned calls = 0;
    for (std::uint64_t seq = ring.First(); seq <= ring.Last(); ++seq)
        calls += ring.At(seq).kind == std::string("call") ? 1U : 0U;
    Say(desk, R"({"house":"power","driver":"oak","on":false})");
    const std::string text = Get("/metrics");
    EXPECT_THAT(text, HasSubstr("# TYPE lighting_outputs_total counter\n"));
    EXPECT_THAT(text,
                HasSubstr("lighting_outputs_total{kind=\"call\"} " + std::to_string(calls) + "\n"));
    EXPECT_THAT(text, HasSubstr("lighting_visitors 1\n"));
    EXPECT_THAT(text, HasSubstr("lighting_power_failures_total{driver=\"oak\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("lighting_speed_ratio 0\n"));
}

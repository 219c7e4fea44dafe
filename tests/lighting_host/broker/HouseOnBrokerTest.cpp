#include "lighting_host/broker/HouseOnBroker.h"

#include "FakeBroker.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/text/Json.h"
#include "nxshared/CmdDispatcher.h"

#include <chrono>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{
constexpr const char* HOUSE = R"(<house>
  <driver name="Hall keypad" type="puck" id="101" room="hall">
    <config><NUM_BUTTONS>1</NUM_BUTTONS></config>
    <device simulated="true"><act at="10s" do="click" button="0"/></device>
  </driver>
  <driver name="sofa" type="zigbee_light" id="102"><device simulated="true" watts="10"/></driver>
  <driver name="meter" type="energy_switch" id="103"/>
  <load_group id="4" name="All"><member>sofa</member></load_group>
  <scene id="5" name="Dinner"><load driver="sofa" level="50" time="1s"/></scene>
</house>)";

// Hears everything on the broker, as a program beside ours does.
class Subscriber : public BrokerListener
{
public:
    explicit Subscriber(FakeBrokerServer& server) : client(server) { client.Start(*this); }
    void OnBrokerConnected() override { client.Subscribe("#"); }
    void OnBrokerLost(const std::string&) override {}
    void OnBrokerMessage(const BrokerMessage& message) override
    {
        heard.push_back(message.topic + "=" + message.payload);
        if (!message.correlation.empty())
            heard.back() += " for " + message.correlation;
    }

    // What came on topics that hold this since the last time.
    std::vector<std::string> Take(const std::string& part)
    {
        std::vector<std::string> some;
        for (const std::string& one : heard)
        {
            if (one.find(part) < one.find('='))
                some.push_back(one);
        }
        heard.clear();
        return some;
    }

    FakeBrokerServer::Client client;
    std::vector<std::string> heard;
};

// A session as a BrokeredHouse, whose lines are only noted.
class SmallHouse : public BrokeredHouse
{
public:
    explicit SmallHouse(const char* text)
        : m_file(ParseHouseFile(text, ".")), m_session(m_file, {}, m_listeners)
    {
        EXPECT_THAT(m_file.errors, IsEmpty());
        m_session.Start();
        m_session.House().Advance(std::chrono::milliseconds(0));
    }

    const HousePlan& Plan() const override { return m_file; }
    Session& GetSession() override { return m_session; }
    RunStatistics::Counts CountsOf(const nx::DriverHost&) override { return {}; }
    bool IsNow() const override { return isNow; }
    std::string HandIn(const std::string& line, std::vector<std::string>&) override
    {
        lines.push_back(line);
        return refusal;
    }

    Listeners m_listeners;
    std::vector<std::string> lines;
    std::string refusal;
    bool isNow = true;

private:
    HouseFile m_file;
    Session m_session;
};

class HouseOnBrokerTest : public testing::Test
{
protected:
    HouseOnBrokerTest() { Begin(); }
    ~HouseOnBrokerTest() override { End(); }

    void End()
    {
        if (m_onBroker)
            m_house->m_listeners.Remove(*m_onBroker);
        m_onBroker.reset();
    }

    void Begin(const char* houseText = HOUSE)
    {
        End();
        m_client = std::make_unique<FakeBrokerServer::Client>(m_server);
        m_house = std::make_unique<SmallHouse>(houseText);
        HouseOnBroker::Options options;
        options.topics.house = "h";
        options.protocol = true;
        options.houseName = "h";
        options.facts.version = "1";
        m_onBroker = std::make_unique<HouseOnBroker>(options, *m_house, *m_client, m_memory,
                                                     [this](const std::string& what)
                                                     { m_complaints.push_back(what); });
        m_house->m_listeners.Add(*m_onBroker);
        m_onBroker->Start();
        Settle();
    }

    void Settle()
    {
        while (m_server.Pump())
        {
        }
    }

    // Real time passes, in seconds.
    void Work(int seconds = 2)
    {
        m_nowNs += seconds * 1000000000LL;
        m_onBroker->Work(m_nowNs);
        Settle();
    }

    void Advance(std::int64_t ms)
    {
        m_house->GetSession().House().Advance(std::chrono::milliseconds(ms));
        Work();
    }

    void Send(const std::string& topic, const std::string& payload, bool retained = false)
    {
        m_subscriber.client.Publish({topic, payload, retained, true, ""});
        Settle();
    }

    std::string Kept(const std::string& topic)
    {
        const auto found = m_server.Retained().find(topic);
        return found == m_server.Retained().end() ? "nothing" : found->second;
    }

    FakeBrokerServer m_server;
    Subscriber m_subscriber{m_server};
    BrokerMemory m_memory;
    std::unique_ptr<SmallHouse> m_house;
    std::unique_ptr<FakeBrokerServer::Client> m_client;
    std::unique_ptr<HouseOnBroker> m_onBroker;
    std::vector<std::string> m_complaints;
    std::int64_t m_nowNs = 1000000000;
};

const std::string SOFA = "lighting/h/sofa/light";
const std::string BUTTON = "lighting/h/hall_keypad/button_1";
} // namespace

TEST_F(HouseOnBrokerTest, Started_StatesAndDevicesAreRetained)
{
    EXPECT_EQ(Kept("lighting/h/status"), "online");
    EXPECT_EQ(Kept("lighting/h/hall_keypad/availability"), "online");
    EXPECT_EQ(Kept(SOFA), R"({"state":"OFF"})");
    EXPECT_THAT(Kept("homeassistant/device/lh_h_sofa/config"), HasSubstr("lighting/h/sofa/light"));
}

TEST_F(HouseOnBrokerTest, ButtonClicked_EventsAreTellingAndNeverRetained)
{
    m_subscriber.heard.clear();
    Advance(20000);
    EXPECT_THAT(m_subscriber.Take("button_1/"),
                ElementsAre(BUTTON + R"(/event={"event_type":"press_start"})",
                            BUTTON + "/trigger=short_press",
                            BUTTON + R"(/event={"event_type":"press_end"})",
                            BUTTON + "/trigger=short_release"));
    EXPECT_EQ(Kept(BUTTON + "/event"), "nothing");
    EXPECT_EQ(Kept(BUTTON + "/trigger"), "nothing");
}

TEST_F(HouseOnBrokerTest, LightCommand_IsOneLineAndOneTarget)
{
    m_subscriber.heard.clear();
    Send(SOFA + "/set", R"({"state":"ON","brightness":40,"transition":2.5})");
    EXPECT_THAT(m_house->lines,
                ElementsAre(R"({"house":"level","driver":"sofa","level":40,"time_ms":2500})"));
    const std::string target =
        SOFA + R"(={"state":"ON","brightness":40,"color_mode":"brightness"})";
    EXPECT_THAT(m_subscriber.Take("sofa/light"), testing::IsSupersetOf({target}));
    Advance(1000);
    EXPECT_THAT(m_subscriber.Take("sofa/light"), IsEmpty());
}

TEST_F(HouseOnBrokerTest, FadeThatNeverArrived_LampIsToldAsItIsOnce)
{
    Send(SOFA + "/set", R"({"state":"ON","brightness":40})");
    m_subscriber.heard.clear();
    Advance(5000);
    EXPECT_THAT(m_subscriber.Take("sofa/light"), ElementsAre(SOFA + R"(={"state":"OFF"})"));
    Advance(5000);
    EXPECT_THAT(m_subscriber.Take("sofa/light"), IsEmpty());
}

TEST_F(HouseOnBrokerTest, GroupAndSceneCommands_AreTheControllers)
{
    Send("lighting/h/house/group_4/set", R"({"state":"OFF","transition":1})");
    Send("lighting/h/house/scene_5/set", "ON");
    EXPECT_THAT(m_house->lines,
                ElementsAre(R"({"house":"group","id":4,"do":"level","level":0,"time_ms":1000})",
                            R"({"house":"scene","id":5})"));
}

TEST_F(HouseOnBrokerTest, LedCommand_SetsTheColorAtThatBrightness)
{
    Send(BUTTON + "_led/set", R"({"state":"ON","brightness":128,"color":{"r":255,"g":0,"b":51}})");
    EXPECT_THAT(m_house->lines,
                ElementsAre(R"({"driver":"Hall keypad","button":{"index":0,"action":"cur_color",)"
                            R"("color":"80001a","send":true}})"));
}

TEST_F(HouseOnBrokerTest, SettingOfAContact_LeavesItsOtherOneAlone)
{
    Send("lighting/h/hall_keypad/contact_2_led_behavior/set", "off with the load");
    EXPECT_THAT(m_house->lines,
                ElementsAre(R"({"driver":"Hall keypad","command":"CONTACT_STATUS","params":)"
                            R"({"CONTACT_NUMBER":1,"AUX_BEHAVIOR":3,"AUX_LEDS":3}})"));
}

TEST_F(HouseOnBrokerTest, DimmerThatLearnsAScene_OffersItAndPlaysItAlone)
{
    Begin(R"(<house><driver name="dim" type="wired_dimmer" id="1"/></house>)");
    EXPECT_THAT(Kept("homeassistant/device/lh_h_dim/config"), Not(HasSubstr("scene_5")));
    embedded_host::CmdMessage push("PUSH_SCENE");
    push.AddParam("SCENE_ID", "INT", 5LL);
    push.AddParam("ELEMENTS", "STRING",
                  std::string("<element><delay>0</delay><level>1</level><rate>9</rate></element>"));
    m_house->GetSession().House().Find("dim")->Command(push, CmdDispatcher::CONTROLLER);
    Work();
    EXPECT_THAT(Kept("homeassistant/device/lh_h_dim/config"), HasSubstr("dim/scene_5/set"));
    Send("lighting/h/dim/scene_5/set", "ON");
    EXPECT_THAT(m_house->lines, ElementsAre(R"({"house":"scene","id":5,"driver":"dim"})"));
}

TEST_F(HouseOnBrokerTest, RetainedCommand_IsIgnoredAndTold)
{
    m_onBroker->Stop();
    Send(SOFA + "/set", R"({"state":"ON"})", true);
    Begin();
    EXPECT_THAT(m_house->lines, IsEmpty());
    EXPECT_THAT(m_complaints, Contains(HasSubstr("retained")));
}

TEST_F(HouseOnBrokerTest, MalformedCommands_AreRefusedWithAnAnswerAndChangeNothing)
{
    const std::pair<std::string, std::string> wrong[] = {
        {SOFA, "{"},
        {SOFA, R"({"state":"MAYBE"})"},
        {SOFA, R"({"state":"ON","brightness":101})"},
        {SOFA, R"({"state":"ON","brightness":-1})"},
        {SOFA, R"({"state":"ON","transition":1e99})"},
        {SOFA, R"({"state":"ON","colour":1})"},
        {"lighting/h/house/scene_5", "on"},
        {"lighting/h/house/scene_6", "ON"},
        {"lighting/h/nobody/light", "{}"},
        {BUTTON + "_led", R"({"color":{"r":256,"g":0,"b":0}})"},
        {BUTTON + "_behavior", "no such word"},
        {"lighting/h/sofa/repairs", "1"},
    };
    for (const auto& [entity, payload] : wrong)
    {
        m_subscriber.heard.clear();
        Send(entity + "/set", payload);
        EXPECT_THAT(m_subscriber.Take("/set/error"),
                    ElementsAre(HasSubstr(entity + "/set/error={\"error\":")))
            << payload;
    }
    EXPECT_THAT(m_house->lines, IsEmpty());
}

TEST_F(HouseOnBrokerTest, HouseRefuses_AnswerSaysWhy)
{
    m_house->refusal = "no such driver";
    m_subscriber.heard.clear();
    Send(SOFA + "/set", R"({"state":"ON"})");
    EXPECT_THAT(m_subscriber.Take("/error"), ElementsAre(HasSubstr("no such driver")));
    EXPECT_EQ(Kept(SOFA), R"({"state":"OFF"})");
}

TEST_F(HouseOnBrokerTest, ResponseTopic_IsAnsweredWithTheCorrelation)
{
    m_subscriber.heard.clear();
    m_onBroker->OnBrokerMessage({SOFA + "/set", R"({"state":"ON"})", false, "my/answers", "c7"});
    m_onBroker->OnBrokerMessage({SOFA + "/set", "{", false, "my/answers", "c8"});
    Settle();
    EXPECT_THAT(m_subscriber.Take("my/answers"),
                ElementsAre(R"(my/answers={"done":true} for c7)",
                            testing::AllOf(HasSubstr("error"), HasSubstr("for c8"))));
}

TEST_F(HouseOnBrokerTest, BrokerBack_StatesAreToldAgainAndEventsAreNot)
{
    m_server.GoDown();
    Settle();
    Advance(20000);
    m_subscriber.heard.clear();
    m_server.ComeUp();
    Settle();
    EXPECT_THAT(m_subscriber.heard, Contains("lighting/h/status=online"));
    EXPECT_THAT(m_subscriber.heard, Contains(SOFA + R"(={"state":"OFF"})"));
    EXPECT_THAT(m_subscriber.heard, Not(Contains(HasSubstr("/event="))));
}

TEST_F(HouseOnBrokerTest, BrokerThatTakesLittleAtATime_LearnsEverythingInTheEnd)
{
    m_onBroker->Stop();
    Begin("<house><driver name=\"other\" type=\"puck\" id=\"1\"/></house>");
    m_onBroker->Stop();
    m_server.mostWaiting = 5;
    Begin();
    for (int i = 0; i < 40; ++i)
        Work();
    EXPECT_THAT(Kept("homeassistant/device/lh_h_meter/config"), HasSubstr("power"));
    EXPECT_EQ(Kept("lighting/h/meter/availability"), "online");
    EXPECT_EQ(Kept("homeassistant/device/lh_h_other/config"), "nothing");
}

TEST_F(HouseOnBrokerTest, Birth_EverythingIsToldAgainAfterAWhile)
{
    m_subscriber.heard.clear();
    Send("homeassistant/status", "online");
    EXPECT_THAT(m_subscriber.Take("lighting/"), IsEmpty());
    Work(6);
    EXPECT_THAT(m_subscriber.heard, Contains(HasSubstr("homeassistant/device/lh_h_sofa/config=")));
    EXPECT_THAT(m_subscriber.heard, Contains(SOFA + R"(={"state":"OFF"})"));
}

TEST_F(HouseOnBrokerTest, DriverGoneFromTheHouse_ItsTopicsAreCleared)
{
    m_onBroker->Stop();
    Begin("<house><driver name=\"meter\" type=\"energy_switch\" id=\"103\"/></house>");
    EXPECT_EQ(Kept("homeassistant/device/lh_h_sofa/config"), "nothing");
    EXPECT_EQ(Kept("lighting/h/sofa/availability"), "nothing");
    EXPECT_EQ(Kept(SOFA), "nothing");
    EXPECT_THAT(Kept("homeassistant/device/lh_h_meter/config"), HasSubstr("power"));
}

TEST_F(HouseOnBrokerTest, SceneGoneFromTheHouse_ItsComponentIsTakenAwayFirst)
{
    m_onBroker->Stop();
    m_subscriber.heard.clear();
    Begin("<house><driver name=\"sofa\" type=\"zigbee_light\" id=\"102\"/></house>");
    const auto told = m_subscriber.Take("lh_h_house/config");
    ASSERT_EQ(told.size(), 2u);
    EXPECT_THAT(told[0], HasSubstr(R"("scene_5":{"platform":"scene"})"));
    EXPECT_THAT(told[1], Not(HasSubstr("scene_5")));
}

TEST_F(HouseOnBrokerTest, EarlierMoment_NothingIsToldAndCommandsAreRefused)
{
    m_house->isNow = false;
    m_subscriber.heard.clear();
    Advance(20000);
    Send(SOFA + "/set", R"({"state":"ON"})");
    EXPECT_THAT(m_house->lines, IsEmpty());
    EXPECT_THAT(m_subscriber.Take("lighting/h/"),
                ElementsAre(HasSubstr("/set="), HasSubstr("earlier moment")));
}

TEST_F(HouseOnBrokerTest, ProtocolLine_GoesInAsItIsAndOutputsComeOut)
{
    m_subscriber.heard.clear();
    Send("lighting/h/protocol/in", R"({"house":"list"})");
    m_onBroker->OnProtocolLine(R"({"event":1})");
    Settle();
    EXPECT_THAT(m_house->lines, ElementsAre(R"({"house":"list"})"));
    EXPECT_THAT(m_subscriber.Take("protocol/out"),
                ElementsAre(R"(lighting/h/protocol/out={"event":1})"));
}

TEST_F(HouseOnBrokerTest, KilledProgram_WillSaysOffline)
{
    m_client->Die();
    EXPECT_EQ(Kept("lighting/h/status"), "offline");
}

TEST_F(HouseOnBrokerTest, FloodOfRefusals_IsNoFloodOfComplaints)
{
    for (int i = 0; i < 1000; ++i)
        Send(SOFA + "/set", "{");
    EXPECT_EQ(m_onBroker->GetCounts().refused, 1000u);
    EXPECT_LE(m_complaints.size(), 20u);
}

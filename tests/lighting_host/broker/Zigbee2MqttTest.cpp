#include "lighting_host/broker/Zigbee2Mqtt.h"

#include "FakeBroker.h"
#include "lighting_host/broker/Zigbee2MqttTexts.h"
#include "lighting_host/text/Json.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

// Lamps behind a Zigbee2MQTT that the tests play.

using namespace lighting_host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
constexpr std::int64_t NS_A_SECOND = 1000000000;
const wire::ZclFrame GET_GROUPS{4, 1, {0x11, 5, 0x02, 0}};
const wire::ZclFrame ADD_SCENE{5, 1, {0x11, 6, 0x00, 7, 0, 3, 4, 0, 0, 6, 0, 1, 1, 8, 0, 1, 200}};

std::string IeeeOf(unsigned number)
{
    return "0x00124b000000000" + std::to_string(number);
}

// Writes down what it hears of its lamp.
struct HeardOfLamp : LampListener
{
    void OnLampOnline(bool online) override { heard.push_back(online ? "online" : "offline"); }
    void OnLampFrame(const wire::ZclFrame& frame) override { frames.push_back(frame.bytes); }
    void OnLampState(const LampState&) override { heard.push_back("state"); }

    std::vector<std::string> heard;
    std::vector<std::vector<std::uint8_t>> frames;
};

// The side of Zigbee2MQTT: what it was asked.
struct PlayedBridge : BrokerListener
{
    void OnBrokerConnected() override {}
    void OnBrokerLost(const std::string&) override {}
    void OnBrokerMessage(const BrokerMessage& message) override { asked.push_back(message); }

    std::vector<BrokerMessage> asked;
};

class Zigbee2MqttTest : public testing::Test
{
protected:
    Zigbee2MqttTest()
    {
        m_bridgeClient.Start(m_bridge);
        Pump();
        m_bridgeClient.Subscribe("z/bridge/request/#");
    }
    ~Zigbee2MqttTest() override
    {
        m_lamps.Stop();
        m_bridgeClient.Stop();
    }

    void StartWith(unsigned lamps, bool keepsBook = false)
    {
        m_heard.resize(lamps);
        std::string devices;
        for (unsigned i = 0; i < lamps; ++i)
        {
            LampPlace place;
            place.ieee = IeeeOf(i);
            place.base = "z";
            place.keepsBook = keepsBook;
            m_lamps.Add(place, m_heard[i]);
            devices += (i > 0 ? "," : "") + DeviceText(i);
        }
        m_lamps.Start(0);
        Say("state", R"({"state":"online"})", true);
        Say("devices", "[" + devices + "]", true);
        Pump();
    }

    static std::string DeviceText(unsigned lamp)
    {
        return R"({"ieee_address":")" + IeeeOf(lamp) + R"(","network_address":)" +
               std::to_string(100 + lamp) + R"(,"friendly_name":"lamp )" + std::to_string(lamp) +
               R"(","interview_completed":true})";
    }

    void Say(const std::string& topic, const std::string& text, bool retained = false)
    {
        m_bridgeClient.Publish({"z/bridge/" + topic, text, retained, false, std::string()});
        Pump();
    }

    void Answer(std::size_t request, const std::string& data)
    {
        const Json asked = Json::parse(m_bridge.asked.at(request).payload);
        Say("response/action", R"({"data":)" + data + R"(,"status":"ok","transaction":")" +
                                   asked.at("transaction").get<std::string>() + "\"}");
    }

    void Pump()
    {
        while (m_server.Pump())
        {
        }
    }

    FakeBrokerServer m_server;
    FakeBrokerServer::Client m_client{m_server};
    FakeBrokerServer::Client m_bridgeClient{m_server};
    PlayedBridge m_bridge;
    std::vector<std::string> m_complaints;
    Zigbee2Mqtt m_lamps{m_client, "me",
                        [this](const std::string& what)
                        {
                            m_complaints.push_back(what);
                        }};
    std::deque<HeardOfLamp> m_heard;
};

const std::string GROUPS = R"({"clusterID":4,"data":{"data":[25,11,2,14,1,5,0],"type":"Buffer"}})";
} // namespace

TEST_F(Zigbee2MqttTest, Frame_IsSentInWordsOfZigbee2Mqtt)
{
    StartWith(1);
    m_lamps.Send(0, ADD_SCENE);
    Pump();
    ASSERT_EQ(m_bridge.asked.size(), 1U);
    const Json params = Json::parse(m_bridge.asked[0].payload).at("params");
    EXPECT_EQ(params.at("network_address"), 100);
    EXPECT_EQ(params.at("cluster_key"), "genScenes");
    EXPECT_EQ(params.at("zcl").at("command_key"), "add");
    EXPECT_EQ(params.at("zcl").at("payload"), Json::parse(R"({"groupid":7,"sceneid":3,"transtime":4,
        "scenename":"","extensionfieldsets":[{"clstId":6,"len":1,"extField":[1]},
        {"clstId":8,"len":1,"extField":[200]}]})"));
}

TEST_F(Zigbee2MqttTest, Answer_IsPassedOnOnce_AndOnlyToWhoAsked)
{
    StartWith(2);
    m_lamps.Send(0, GET_GROUPS);
    Pump();
    Answer(0, GROUPS);
    Answer(0, GROUPS);
    Say("response/action", R"({"data":{},"status":"ok","transaction":"you-1"})");
    EXPECT_THAT(m_heard[0].frames, ElementsAre(ElementsAre(25, 11, 2, 14, 1, 5, 0)));
    EXPECT_THAT(m_heard[1].frames, IsEmpty());
    EXPECT_EQ(m_lamps.GetCounts().strays, 1U);
}

TEST_F(Zigbee2MqttTest, SecondFrame_WaitsForTheFirstAnswer)
{
    StartWith(1);
    m_lamps.Send(0, GET_GROUPS);
    m_lamps.Send(0, ADD_SCENE);
    Pump();
    EXPECT_EQ(m_bridge.asked.size(), 1U);
    Answer(0, GROUPS);
    EXPECT_EQ(m_bridge.asked.size(), 2U);
}

TEST_F(Zigbee2MqttTest, ManyLamps_HaveAFewFramesUnderWay)
{
    StartWith(9);
    for (std::size_t lamp = 0; lamp < 9; ++lamp)
        m_lamps.Send(lamp, GET_GROUPS);
    Pump();
    EXPECT_EQ(m_bridge.asked.size(), Zigbee2Mqtt::MOST_UNDER_WAY);
    for (std::size_t request = 0; request < 9; ++request)
        Answer(request, GROUPS);
    for (const HeardOfLamp& heard : m_heard)
        EXPECT_EQ(heard.frames.size(), 1U);
}

TEST_F(Zigbee2MqttTest, LostAnswer_IsGivenUpALittleAfterZigbee2Mqtt_AndALateOneIsDropped)
{
    StartWith(1);
    m_lamps.Send(0, GET_GROUPS);
    m_lamps.Send(0, ADD_SCENE);
    m_lamps.Work(10 * NS_A_SECOND);
    Pump();
    EXPECT_EQ(m_bridge.asked.size(), 1U);
    m_lamps.Work(11 * NS_A_SECOND);
    Pump();
    EXPECT_EQ(m_bridge.asked.size(), 2U);
    Answer(0, GROUPS);
    EXPECT_THAT(m_heard[0].frames, IsEmpty());
    EXPECT_THAT(m_complaints, ElementsAre(HasSubstr("does not answer")));
}

TEST_F(Zigbee2MqttTest, RefusedStore_IsToldAsALampShouldHaveToldIt)
{
    StartWith(1);
    m_lamps.Send(0, ADD_SCENE);
    Pump();
    Answer(0, R"({"clusterID":5,"data":{"data":[24,9,11,0,137]}})");
    EXPECT_THAT(m_heard[0].frames, ElementsAre(ElementsAre(0x19, 6, 0, 0x89, 7, 0, 3)));
}

TEST_F(Zigbee2MqttTest, EverythingThatTakesALampAway_AndBringsItBack_IsTold)
{
    StartWith(1);
    Say("state", R"({"state":"offline"})");
    Say("state", "online");
    Say("devices", "[" + DeviceText(0) + "]");
    Say("devices", "[]");
    Say("devices", "[" + DeviceText(0) + "]");
    m_bridgeClient.Publish({"z/lamp 0/availability", R"({"state":"offline"})", true, false, ""});
    m_bridgeClient.Publish({"z/lamp 0/availability", R"({"state":"online"})", true, false, ""});
    Say("event", R"({"type":"device_announce","data":{"ieee_address":")" + IeeeOf(0) + "\"}}");
    EXPECT_THAT(m_heard[0].heard, ElementsAre("online", "offline", "online", "offline", "online",
                                              "offline", "online", "online"));
}

TEST_F(Zigbee2MqttTest, RestartedZigbee2Mqtt_IsAskedOnceItHears)
{
    StartWith(1);
    Say("state", "offline");
    Say("state", "online");
    EXPECT_EQ(m_heard[0].heard.back(), "offline");
    m_lamps.Work(5 * NS_A_SECOND);
    EXPECT_EQ(m_heard[0].heard.back(), "online");
}

TEST_F(Zigbee2MqttTest, LostBroker_TakesTheLampsAway)
{
    StartWith(1);
    m_server.GoDown();
    Pump();
    EXPECT_EQ(m_heard[0].heard.back(), "offline");
    m_server.ComeUp();
    Pump();
    EXPECT_EQ(m_heard[0].heard.back(), "online");
}

TEST_F(Zigbee2MqttTest, LampThatKeepsTheBook_JoinsKnownGroupsByTheirName)
{
    StartWith(1, true);
    Say("groups", R"([{"id":5,"friendly_name":"hall"}])");
    m_lamps.Send(0, {4, 1, {0x11, 1, 0x00, 5, 0, 0}});
    Pump();
    EXPECT_EQ(m_bridge.asked.at(0).topic, "z/bridge/request/group/members/add");
    EXPECT_EQ(Json::parse(m_bridge.asked[0].payload).at("group"), 5);
}

TEST_F(Zigbee2MqttTest, AnyText_DoesNoHarm)
{
    StartWith(1);
    for (const char* const text :
         {"", "{", "null", "[]", "[1,null,{}]", "{}", R"({"transaction":"me-1"})",
          R"({"transaction":"me-1","status":"ok","data":{"clusterID":-1,"data":{"data":[1]}}})",
          R"({"transaction":"me-1","status":"ok","data":{"clusterID":5,"data":{"data":[999]}}})",
          R"([{"ieee_address":5,"network_address":"x"}])", R"({"type":"device_announce","data":1})",
          R"({"state":5,"brightness":"x","power":null})", "\xff\xfe"})
    {
        m_lamps.Send(0, GET_GROUPS);
        for (const char* const topic : {"response/action", "event", "groups", "devices", "state"})
            Say(topic, text);
        m_bridgeClient.Publish({"z/lamp 0", text, false, false, std::string()});
        Pump();
    }
    EXPECT_THAT(m_heard[0].frames, IsEmpty());
}

TEST(Zigbee2MqttTexts, LampState_IsReadInPercentAndWatts)
{
    const auto state = ReadLampState(R"({"state":"ON","brightness":127,"power":4.6})", "");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->isOn, true);
    EXPECT_EQ(state->level, 50);
    EXPECT_EQ(state->watts, 5);
    EXPECT_FALSE(ReadLampState(R"({"brightness":300})", "")->isOn);
    EXPECT_EQ(ReadLampState(R"({"brightness":300})", "")->level, 100);
}

TEST(Zigbee2MqttTexts, LampStateOfOneEndpoint_IsItsOwnBeforeThatOfAll)
{
    const auto both = R"({"state_l1":"OFF","state_l2":"ON","brightness_l2":254,"power":7})";
    const auto state = ReadLampState(both, "l2");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->isOn, true);
    EXPECT_EQ(state->level, 100);
    EXPECT_EQ(state->watts, 7);
    EXPECT_EQ(ReadLampState(both, "l1")->isOn, false);
    EXPECT_FALSE(ReadLampState(both, "l1")->level);
    EXPECT_FALSE(ReadLampState(both, "l3")->isOn);
}

TEST(Zigbee2MqttTexts, EndpointsWithNames_AreKnownByTheirNumbers)
{
    const auto devices = ReadLampDevices(
        R"([{"ieee_address":"a","network_address":1,"endpoints":{"1":{"name":"l1","clusters":{"name":"x"}},)"
        R"("11":{"name":null},"2x":{"name":"l3"},"x":7}}])");
    ASSERT_TRUE(devices);
    EXPECT_THAT(devices->at("a").endpoints, ElementsAre(std::make_pair(1u, "l1")));
}

TEST(Zigbee2MqttTexts, StateOfAnEndpointWithAName_IsAskedByThatName)
{
    EXPECT_EQ(StateRequest(""), R"({"state":"","brightness":""})");
    EXPECT_EQ(StateRequest("l2"), R"({"state_l2":"","brightness_l2":""})");
}

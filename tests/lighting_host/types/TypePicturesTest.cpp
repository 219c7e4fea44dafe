// What the types show of their drivers and devices, in a house that the simulation lets live.

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/simulation/Simulation.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/TypePicture.h"
#include "simulated_devices/KeypadOnBus.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/ZigbeeLight.h"
#include "wire/ZclFrame.h"

#include <chrono>
#include <memory>
#include <string>

#include <gmock/gmock.h>

using namespace lighting_host;

namespace
{
constexpr const char* SCENE = "<scene id=\"5\" name=\"Away\"><load driver=\"d\" level=\"50\" "
                              "time=\"3s\"/></scene>";
constexpr const char* GROUP = "<load_group id=\"2\" name=\"All\"><member>d</member></load_group>";
constexpr const char* BUTTONS =
    "<state><ALL_BUTTONS><KEYPAD_BUTTON_INFO><BUTTON_ID>1</BUTTON_ID><NAME>Bright</NAME><SLOTS>1"
    "</SLOTS><BUTTON_BEHAVIOR>0</BUTTON_BEHAVIOR><LED_BEHAVIOR>2</LED_BEHAVIOR><ON_COLOR>ffffff"
    "</ON_COLOR><OFF_COLOR>000010</OFF_COLOR></KEYPAD_BUTTON_INFO></ALL_BUTTONS></state>";

// Hands on to a picture what its driver and device say.
class Feeder : public HouseListener
{
public:
    explicit Feeder(TypePicture& picture) : m_picture(picture) {}
    void OnOutput(const embedded_host::Output& output) override
    {
        nowMs = output.timeMs;
        m_picture.OnOutput(output, ++m_seq);
    }
    void OnBus(const nx::DriverHost&, const wire::BusFrame& frame) override
    {
        m_picture.OnBus(nowMs, frame);
    }
    void OnMib(const nx::DriverHost&, const wire::MibMessage& message) override
    {
        m_picture.OnMib(nowMs, message);
    }
    std::int64_t nowMs = 0;

private:
    TypePicture& m_picture;
    std::uint64_t m_seq = 0;
};

// A house with one driver, "d", and its device.
class Played
{
public:
    Played(const std::string& type, const std::string& inside, const std::string& more = "")
        : m_file(ParseHouseFile("<house><driver name=\"d\" type=\"" + type + "\" id=\"1\">" +
                                    inside + "</driver>" + more + "</house>",
                                ".")),
          picture(FindDriverType(type)->picture(m_file.drivers[0])), m_feeder(*picture),
          m_session(m_file, SessionOptions(), m_listeners),
          m_simulation(m_file, m_session, m_listeners, FaultLevel::None, 1)
    {
        m_listeners.Add(m_feeder);
        m_session.Start();
        m_simulation.Start();
    }

    void Pass(std::int64_t ms)
    {
        m_session.House().Advance(std::chrono::milliseconds(ms));
        m_nowMs += ms;
        m_feeder.nowMs = m_nowMs;
    }

    template <class Device>
    Device& Of() const
    {
        return dynamic_cast<Device&>(*m_session.Devices()[0]->Device());
    }

    Json Shown(bool withDevice = true, bool powered = true) const
    {
        Json members;
        const auto timer = [](unsigned)
        {
            return std::optional(TypePicture::TimerTimes{1000, 2000});
        };
        picture->Describe({*m_session.House().Find("d")->Driver(),
                           withDevice ? m_session.Devices()[0]->Device() : nullptr, powered,
                           m_nowMs, timer},
                          members);
        return members;
    }

private:
    const HouseFile m_file;

public:
    const std::unique_ptr<TypePicture> picture;

private:
    Feeder m_feeder;
    Listeners m_listeners;
    Session m_session;
    Simulation m_simulation;
    std::int64_t m_nowMs = 0;
};

const std::string PLAIN = "<device simulated=\"true\"/>";
const std::string DEVICE = "<device simulated=\"true\" watts=\"24\"/>";
} // namespace

TEST(TypePictures, EveryType_HasWordsAndAPicture)
{
    for (const DriverType& type : DriverTypes())
    {
        EXPECT_NE(type.words, nullptr) << type.name;
        EXPECT_NE(type.picture, nullptr) << type.name;
    }
}

TEST(TypePictures, KeypadButtonIsPressed_HeldAndItsLedIsOn)
{
    Played house("gen3_keypad", BUTTONS + PLAIN);
    house.Pass(2000);
    EXPECT_EQ(house.Shown()["buttons"][0]["led"], "00000c");
    house.Of<simulated::KeypadOnBus>().Keypad().Press(1);
    house.Pass(100);
    const Json shown = house.Shown();
    EXPECT_EQ(shown["buttons"][0]["name"], "Bright");
    EXPECT_EQ(shown["buttons"][0]["pressed"], true);
    EXPECT_EQ(shown["buttons"][0]["led"], "cccccc");
    EXPECT_EQ(house.Shown(true, false)["buttons"][0]["led"], "000000");
    EXPECT_EQ(shown["buttons"][0]["uses"], 1);
    EXPECT_EQ(shown["hold"]["button"], 1);
    EXPECT_GE(shown["hold"]["since_ms"], 2000);
    house.Of<simulated::KeypadOnBus>().Keypad().Release(1);
    house.Pass(100);
    EXPECT_EQ(house.Shown()["buttons"][0]["pressed"], false);
    EXPECT_EQ(house.Shown()["hold"], nullptr);
}

TEST(TypePictures, KeypadAnswersAll_QueueIsEmptyAndCounts)
{
    Played house("gen3_keypad", BUTTONS + PLAIN);
    house.Pass(5000);
    const Json queue = house.Shown()["queue"];
    EXPECT_EQ(queue["device_online"], true);
    EXPECT_GE(queue["totals"]["answered"], 3);
    EXPECT_EQ(queue["totals"]["answered"], queue["totals"]["queued"]);
    EXPECT_EQ(queue["messages"][0]["state"], "answered");
    EXPECT_EQ(queue["messages"][0]["due_ms"], nullptr);
}

TEST(TypePictures, KeypadHearsNothing_FirstIsUnderWayAndTheOthersWait)
{
    Played house("gen3_keypad",
                 BUTTONS +
                     std::string("<device simulated=\"true\"><fault kind=\"deaf\"/></device>"));
    house.Pass(5000);
    const Json queue = house.Shown()["queue"];
    EXPECT_EQ(queue["messages"][0]["state"], "transit");
    EXPECT_EQ(queue["messages"][0]["sent_ms"].size(), 1u);
    EXPECT_EQ(queue["messages"][0]["due_ms"], 2000);
    EXPECT_EQ(queue["messages"][1]["state"], "waits");
    EXPECT_EQ(queue["messages"][1]["number"], nullptr);
    EXPECT_EQ(queue["totals"]["answered"], 0);
    // Three attempts of at most 40 s, then it counts as offline.
    house.Pass(200000);
    EXPECT_EQ(house.Shown()["queue"]["device_online"], false);
    EXPECT_GE(house.Shown()["queue"]["totals"]["given_up"], 1);
    EXPECT_GE(house.Shown()["queue"]["totals"]["retries"], 2);
}

TEST(TypePictures, LightWasProvisioned_BothSidesHoldTheScene)
{
    Played house("zigbee_light", DEVICE, SCENE);
    house.Pass(120000);
    const Json shown = house.Shown();
    EXPECT_EQ(shown["lamp_watts"], 24);
    EXPECT_EQ(shown["scene_map"], Json::parse(R"([{"id":5,"level":50,"time_ms":3000}])"));
    EXPECT_EQ(shown["holds"]["groups"], Json::array({5}));
    EXPECT_EQ(shown["holds"]["scenes"],
              Json::parse(R"([{"group":5,"number":0,"level":127,"time_ms":3000}])"));
    EXPECT_EQ(shown["holds"]["group_capacity"], 16);
    EXPECT_EQ(house.Shown(false).contains("holds"), false);
}

TEST(TypePictures, LightIsWalked_QuestionsAndAnswersUntilItIsDone)
{
    Played house("zigbee_light", DEVICE, SCENE);
    house.Pass(100);
    Json sync = house.Shown()["sync"];
    EXPECT_EQ(sync["ended_ms"], nullptr);
    EXPECT_EQ(sync["frames"][0]["way"], "out");
    EXPECT_EQ(sync["frames"][0]["cluster"], 4);
    EXPECT_EQ(sync["watchdog_ms"], sync["since_ms"].get<int>() + 16 * sync["pause_ms"].get<int>());
    house.picture->OnZcl(100, {4, 1, {0x09, 0x12, 0x02, 0x10, 0x00}});
    sync = house.Shown()["sync"];
    EXPECT_EQ(sync["frames"].back()["hex"], "0912021000");
    EXPECT_EQ(sync["next_ms"], 100 + sync["pause_ms"].get<int>());
    house.Pass(120000);
    EXPECT_EQ(house.Shown()["sync"]["how"], "done");
    EXPECT_EQ(house.Shown()["sync"]["next_ms"], nullptr);
}

TEST(TypePictures, LightNeverAnswers_GivenUp)
{
    Played house("zigbee_light",
                 "<device simulated=\"true\"><fault kind=\"loses\" every=\"1\"/></device>", SCENE);
    house.Pass(600000);
    const Json sync = house.Shown()["sync"];
    EXPECT_EQ(sync["how"], "given up");
    EXPECT_EQ(sync["ended_ms"], sync["since_ms"].get<int>() + 16 * sync["pause_ms"].get<int>());
}

TEST(TypePictures, DimmerWasProvisioned_BothSidesAgreeToTheChecksum)
{
    Played house("wired_dimmer", DEVICE, std::string(GROUP) + SCENE);
    house.Pass(60000);
    const Json shown = house.Shown();
    EXPECT_EQ(shown["wants"]["groups"], Json::parse(R"([{"id":2,"sync":false}])"));
    EXPECT_EQ(shown["holds"]["groups"], Json::array({2}));
    EXPECT_EQ(shown["wants"]["elements"][0]["id"], 5);
    EXPECT_EQ(shown["wants"]["elements"][0]["level"], 50);
    EXPECT_EQ(shown["wants"]["elements"][0]["known"], true);
    EXPECT_EQ(shown["holds"]["elements"][0]["rate_ms"], 3000);
    EXPECT_EQ(shown["wants"]["scene_crc"], shown["holds"]["scene_crc"]);
    EXPECT_EQ(shown["wants"]["group_crc"], shown["holds"]["group_crc"]);
    EXPECT_EQ(shown["sync"]["how"], "done");
    EXPECT_EQ(shown["sync"]["frames"][0]["mib"], "nx.als.gra");
}

TEST(TypePictures, DimmerHoldsSomethingElse_ShownAsItIs)
{
    Played house("wired_dimmer", DEVICE, SCENE);
    house.Pass(60000);
    house.Of<simulated::WiredDimmer>().Tables().elements[5].level = 60;
    const Json shown = house.Shown();
    EXPECT_EQ(shown["wants"]["elements"][0]["level"], 50);
    EXPECT_EQ(shown["holds"]["elements"][0]["level"], 60);
    EXPECT_NE(shown["wants"]["scene_crc"], shown["holds"]["scene_crc"]);
}

TEST(TypePictures, ContactAndSnapOnButtonArePushed_Pressed)
{
    Played house("puck", "<config><NUM_BUTTONS>2</NUM_BUTTONS></config>" + PLAIN);
    house.Pass(1000);
    auto& module = house.Of<simulated::PuckModule>();
    module.Push(simulated::PuckModule::FIRST_CONTACT + 1);
    module.Push(simulated::PuckModule::FIRST_BUTTON);
    house.Pass(100);
    const Json shown = house.Shown();
    EXPECT_EQ(shown["contacts"], Json::parse(R"([{"pressed":false},{"pressed":true}])"));
    EXPECT_EQ(shown["buttons"][0]["pressed"], true);
    EXPECT_EQ(shown["buttons"][0]["uses"], 1);
    EXPECT_EQ(shown["buttons"][1]["pressed"], false);
    EXPECT_EQ(shown["hold"]["button"], 0);
    EXPECT_EQ(shown["hold"]["ends_ms"], 2000);
}

TEST(TypePictures, PlugWithALoad_SaysWhichInWords)
{
    const Played washing("energy_switch", "<device simulated=\"true\" load=\"washing_machine\"/>");
    EXPECT_EQ(washing.Shown()["load"], "washing machine");
    const Played steps("energy_switch",
                       "<device simulated=\"true\"><step at=\"7h\" watts=\"20\"/></device>");
    EXPECT_EQ(steps.Shown()["load"], "steps of the house file");
}

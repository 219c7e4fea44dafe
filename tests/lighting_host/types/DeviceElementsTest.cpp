// The <device> elements of house files: what they make, what people do to it, and what is refused.

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "nxshared/XmlDocument.h"
#include "simulated_devices/WiredDimmer.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

using namespace lighting_host;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
HouseFileDriver DriverWith(const std::string& type, const std::string& device)
{
    HouseFileDriver driver;
    driver.name = "d";
    driver.type = type;
    driver.id = 7;
    driver.device = nx::CreateXmlDocument(device)->GetRoot();
    driver.config =
        nx::CreateXmlDocument("<config><NUM_BUTTONS>2</NUM_BUTTONS></config>")->GetRoot();
    return driver;
}

// A <device> with this inside, or with these attributes.
std::string With(const std::string& inside)
{
    return "<device simulated=\"true\">" + inside + "</device>";
}
std::string Having(const std::string& attributes)
{
    return "<device simulated=\"true\" " + attributes + "/>";
}

// A world whose time the test moves; notes what people do and what is sent.
class PlayedWorld : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage& message) override
    {
        std::string line = message.mib;
        for (const std::string& param : message.params)
            line += " " + param;
        sent.push_back(line);
    }
    void Send(const wire::ZclFrame&) override { sent.emplace_back("frame"); }
    void Send(const wire::BusFrame&) override { sent.emplace_back("bus"); }
    void Schedule(std::chrono::milliseconds delay, std::function<void()> callback) override
    {
        m_due.emplace(m_nowMs + static_cast<std::uint64_t>(delay.count()), std::move(callback));
    }
    std::chrono::milliseconds Now() const override { return std::chrono::milliseconds(m_nowMs); }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string& what) override
    {
        people.push_back(std::to_string(m_nowMs) + " " + what);
    }

    void PlayUntil(std::uint64_t ms)
    {
        while (!m_due.empty() && m_due.begin()->first <= ms)
        {
            const auto next = m_due.extract(m_due.begin());
            m_nowMs = next.key();
            next.mapped()();
        }
        m_nowMs = ms;
    }

    std::vector<std::string> people;
    std::vector<std::string> sent;

private:
    std::multimap<std::uint64_t, std::function<void()>> m_due;
    std::uint64_t m_nowMs = 0;
};

class DevicePlay : public testing::Test
{
protected:
    void Play(const std::string& type, const std::string& device, std::uint64_t untilMs)
    {
        made = MakeDevice(DriverWith(type, device), world);
        made->OnPowerOn();
        world.PlayUntil(untilMs);
    }

    PlayedWorld world;
    std::unique_ptr<simulated::SimulatedDevice> made;
};

struct Row
{
    std::string device;
    // Part of what is wrong with it; empty when nothing is.
    std::string wrong;
};

// Whether each row's element is taken, or refused in words that say why.
template <std::size_t COUNT>
void ExpectRows(const char* type, const Row (&rows)[COUNT])
{
    for (const Row& row : rows)
    {
        const std::string wrong = CheckDevice(DriverWith(type, row.device));
        if (row.wrong.empty())
            EXPECT_EQ(wrong, "") << row.device;
        else
            EXPECT_THAT(wrong, HasSubstr(row.wrong)) << row.device;
    }
}

const std::string DO_IT = "press, release, click or hold";

const Row PUCK_ROWS[] = {
    {Having("hold_interval=\"1m\""), ""},
    {Having("hold_interval=\"61s\""), "longer than a minute"},
    {Having("colour=\"red\""), "colour"},
    {With("<attic/>"), "<attic>"},
    {With("<act at=\"2s\" contact=\"1\"/>"), ""},
    {With("<act at=\"2s\" button=\"1\"/>"), ""},
    {With("<act contact=\"1\"/>"), "\"at\""},
    {With("<act at=\"2s\"/>"), "neither"},
    {With("<act at=\"2s\" contact=\"0\" button=\"0\"/>"), "both"},
    {With("<act at=\"2s\" contact=\"2\"/>"), "\"contact\" is not a number from 0 to 1"},
    {With("<act at=\"2s\" button=\"2\"/>"), "\"button\" is not a number from 0 to 1"},
    {With("<act at=\"2s\" contact=\"0\" do=\"kick\"/>"), DO_IT},
    {With("<act at=\"2s\" contact=\"0\" clicks=\"21\"/>"), "\"clicks\""},
    {With("<person/>"), ""},
    {With("<person pause_min=\"2s\" pause_max=\"1s\"/>"), "not a range"},
    {With("<fault kind=\"loses\"/>"), ""},
    {With("<fault kind=\"late\" by=\"1s\"/>"), ""},
    {With("<fault kind=\"repeats\" every=\"2\"/>"), ""},
    {With("<fault kind=\"loses_releases\"/>"), ""},
    {With("<fault kind=\"chatters\" bounces=\"5\"/>"), ""},
    {With("<fault kind=\"hears_badly\"/>"), ""},
    {With("<fault kind=\"forgets\"/>"), ""},
    {With("<fault kind=\"forgets\" every=\"2\"/>"), "unknown attribute \"every\""},
    {With("<fault kind=\"chatters\" bounces=\"21\"/>"), "\"bounces\" is not a number from 1 to 20"},
    {With("<fault kind=\"late\" by=\"soon\"/>"), "\"by\""},
    {With("<fault kind=\"sulks\"/>"),
     "\"kind\" is not loses, late, repeats, loses_releases, chatters, hears_badly or forgets"},
    {With("<fault/>"), "chatters"},
    {With("<fault kind=\"loses\" every=\"0\"/>"), "\"every\""},
};

const Row KEYPAD_ROWS[] = {
    {Having("answer_delay=\"20ms\""), ""},
    {Having("answer_delay=\"soon\""), "\"answer_delay\""},
    {With("<attic/>"), "<attic>"},
    {With("<act at=\"2s\" button=\"127\"/>"), ""},
    {With("<act at=\"2s\" button=\"128\"/>"), "\"button\""},
    {With("<act at=\"2s\"/>"), "\"button\""},
    {With("<act at=\"2s\" button=\"1\" do=\"kick\"/>"), DO_IT},
    {With("<person first_button=\"1\" last_button=\"4\"/>"), ""},
    {With("<person first_button=\"2\" last_button=\"1\"/>"), "below the first"},
    {With("<person pause_min=\"0ms\"/>"), "not a range"},
    {With("<person pause_min=\"2s\" pause_max=\"1s\"/>"), "not a range"},
    {With("<fault kind=\"deaf\"/>"), ""},
    {With("<fault kind=\"late\"/>"), ""},
    {With("<fault kind=\"seldom\" every=\"4\"/>"), ""},
    {With("<fault kind=\"forgetful\"/>"), ""},
    {With("<fault kind=\"babbling\"/>"), ""},
    {With("<fault kind=\"sulking\"/>"), "babbling"},
    {With("<fault kind=\"deaf\"/><fault kind=\"late\"/>"), ""},
    {With("<fault kind=\"deaf\" every=\"2\"/>"), "unknown attribute \"every\""},
};

const Row DIMMER_ROWS[] = {
    {Having(""), ""},
    {Having("colour=\"red\""), "colour"},
    {With("<attic/>"), "<attic>"},
    {With("<act at=\"2s\" do=\"play\" scene=\"4095\"/>"), ""},
    {With("<act at=\"2s\" do=\"play\" scene=\"4096\"/>"), "\"scene\""},
    {With("<act at=\"2s\"/>"), "\"scene\""},
    {With("<act at=\"2s\" do=\"power_failure\"/>"), ""},
    {With("<act at=\"2s\" do=\"kick\"/>"), "play or power_failure"},
    {With("<person/>"), ""},
    {With("<person pause_min=\"2s\" pause_max=\"1s\"/>"), "not a range"},
    {With("<fault kind=\"loses_requests\"/>"), ""},
    {With("<fault kind=\"loses_answers\"/>"), ""},
    {With("<fault kind=\"loses_traps\"/>"), ""},
    {With("<fault kind=\"repeats_traps\"/>"), ""},
    {With("<fault kind=\"reorders_traps\"/>"), ""},
    {With("<fault kind=\"forgets\"/>"), ""},
    {With("<fault kind=\"keeps_stale\" every=\"2\"/>"), ""},
    {With("<fault kind=\"sulks\"/>"), "keeps_stale"},
};

const Row PLUG_ROWS[] = {
    {Having("load=\"fridge\""), ""},
    {Having("load=\"washing_machine\""), ""},
    {Having("load=\"kettle\""), ""},
    {Having("load=\"tv\""), ""},
    {Having("load=\"sauna\""), "kettle"},
    {With("<attic/>"), "<attic>"},
    {With("<step at=\"8h\" watts=\"100000\"/>"), ""},
    {With("<step at=\"8h\" watts=\"100001\"/>"), "\"watts\""},
    {With("<step watts=\"1\"/>"), "\"at\""},
    {With("<fault kind=\"loses\"/>"), "unknown element <fault>"},
    {With("<step at=\"24h\" watts=\"1\"/>"), "within a day"},
    {"<device load=\"tv\"><step at=\"1h\" watts=\"1\"/></device>", "load by name and steps"},
};
} // namespace

TEST(DeviceElements, OfAPuck_AreTakenOrRefusedInWords)
{
    ExpectRows("puck", PUCK_ROWS);
}

TEST(DeviceElements, OfAKeypad_AreTakenOrRefusedInWords)
{
    ExpectRows("gen3_keypad", KEYPAD_ROWS);
}

TEST(DeviceElements, OfADimmer_AreTakenOrRefusedInWords)
{
    ExpectRows("wired_dimmer", DIMMER_ROWS);
}

TEST(DeviceElements, OfAPlug_AreTakenOrRefusedInWords)
{
    ExpectRows("energy_switch", PLUG_ROWS);
}

TEST(DeviceElements, ButtonOfAModuleWithoutButtons_IsRefused)
{
    HouseFileDriver driver = DriverWith("puck", With("<act at=\"2s\" button=\"0\"/>"));
    driver.config.reset();
    EXPECT_THAT(CheckDevice(driver), HasSubstr("no buttons"));
}

TEST(DeviceElements, DriverOfAnotherType_NeedsAKindOfDevice)
{
    PlayedWorld world;
    EXPECT_THROW(MakeDevice(DriverWith("doorbell", Having("")), world), DeviceError);
}

TEST_F(DevicePlay, PeopleAtAModule_ActWhenTheFileSays)
{
    Play("puck",
         With("<act at=\"2s\" do=\"press\" contact=\"0\"/>"
              "<act at=\"3s\" do=\"release\" contact=\"0\"/>"),
         4000);
    EXPECT_THAT(world.people, ElementsAre("2000 pushes contact 0", "3000 releases contact 0"));
    EXPECT_THAT(world.sent, Contains("nx.dmx.bp 00000007"));
}

TEST_F(DevicePlay, ClicksAndHoldsAtAModule_TakeTheirTime)
{
    Play("puck",
         With("<act at=\"1s\" clicks=\"2\" contact=\"1\"/>"
              "<act at=\"9s\" do=\"hold\" for=\"2s\" contact=\"1\"/>"),
         20000);
    EXPECT_THAT(world.sent, Contains("nx.dmx.cc 00000008 00000002"));
    EXPECT_THAT(world.people, Contains("9000 pushes contact 1"));
    EXPECT_THAT(world.people, Contains("11000 releases contact 1"));
}

TEST_F(DevicePlay, SomebodyWhoPlaysAtAModule_ComesAgainAndAgain)
{
    Play("puck", With("<person pause_min=\"10s\" pause_max=\"20s\"/>"), 120000);
    EXPECT_GE(world.people.size(), 5u);
}

TEST_F(DevicePlay, PeopleAtAKeypad_ActWhenTheFileSays)
{
    Play("gen3_keypad",
         With("<act at=\"2s\" do=\"press\" button=\"1\"/>"
              "<act at=\"3s\" do=\"release\" button=\"1\"/>"
              "<act at=\"5s\" button=\"2\"/>"
              "<act at=\"7s\" do=\"hold\" button=\"3\" for=\"1s\"/>"),
         10000);
    EXPECT_THAT(world.people, ElementsAre("2000 presses button 1", "3000 releases button 1",
                                          "5000 clicks button 2", "7000 presses button 3",
                                          "8000 releases button 3"));
    EXPECT_THAT(world.sent, Contains("bus"));
}

TEST_F(DevicePlay, SomebodyWhoPlaysAtAKeypad_ComesAgainAndAgain)
{
    Play("gen3_keypad", With("<person last_button=\"2\" pause_min=\"10s\"/>"), 120000);
    EXPECT_GE(world.people.size(), 5u);
}

TEST_F(DevicePlay, KeypadWithAFault_StillHasItsPeople)
{
    for (const char* kind : {"deaf", "late", "seldom", "forgetful", "babbling"})
    {
        world.people.clear();
        Play("gen3_keypad",
             With("<fault kind=\"" + std::string(kind) + "\"/><act at=\"1s\" button=\"1\"/>"),
             static_cast<std::uint64_t>(world.Now().count()) + 5000);
        EXPECT_FALSE(world.people.empty()) << kind;
    }
}

TEST_F(DevicePlay, PowerFailureOfADimmer_EndsTheSceneThatSomebodyStarted)
{
    Play("wired_dimmer",
         With("<act at=\"2s\" do=\"play\" scene=\"5\"/><act at=\"3s\" do=\"power_failure\"/>"),
         1000);
    auto& dimmer = dynamic_cast<simulated::WiredDimmer&>(*made);
    dimmer.Tables().elements[5] = {0, 60000, 200, 0};
    world.PlayUntil(2500);
    EXPECT_TRUE(dimmer.IsPlaying());
    world.PlayUntil(3000);
    EXPECT_FALSE(dimmer.IsPlaying());
    EXPECT_EQ(dimmer.Level(), 0);
}

TEST_F(DevicePlay, SomebodyWhoPlaysAtADimmersBus_StartsItsScene)
{
    Play("wired_dimmer", With("<person pause_min=\"10s\" pause_max=\"20s\"/>"), 1000);
    dynamic_cast<simulated::WiredDimmer&>(*made).Tables().elements[5] = {0, 100, 200, 0};
    world.PlayUntil(120000);
    EXPECT_THAT(world.people, Contains(testing::EndsWith(" starts scene 5")));
}

TEST_F(DevicePlay, PlugWithSteps_ReportsTheLoadOfTheHour)
{
    Play("energy_switch", With("<step at=\"1h\" watts=\"60\"/><step at=\"2h\" watts=\"0\"/>"),
         30 * 60 * 1000);
    const auto before = world.sent;
    world.PlayUntil(90 * 60 * 1000);
    EXPECT_GT(world.sent.size(), before.size());
}

// A house that lives by itself: what a run tells, and that its tables agree with what is known of
// the house beforehand.

#include "tests/lighting_host/HouseFolder.h"

#include <algorithm>
#include <map>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

const std::string VILLA = LIGHTING_SOURCE_DIR "/examples/house/house.xml";
constexpr std::int64_t DAY_MS = 24 * 3600 * 1000;
// 2026-01-01T00:00:00.
constexpr std::int64_t START_SECONDS = 1767225600;

using Words = std::vector<std::string>;

class RunTest : public testing::Test
{
protected:
    RunTest()
    {
        options.forMs = DAY_MS;
        options.session.startLocalSeconds = START_SECONDS;
        options.session.seed = 7;
        options.session.logLevel = log4cplus::WARN_LOG_LEVEL;
    }

    Words Run(const std::string& path) const
    {
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(RunHouse(path, options, out, err), 0) << err.str();
        return Lines(out.str());
    }

    Words RunText(const std::string& house) const { return Run(folder.Write("house.xml", house)); }

    // The rows of the table whose head begins with that word, by their first column, the rest split
    // at blanks.
    static std::map<std::string, Words> Table(const Words& lines, const std::string& head)
    {
        std::map<std::string, Words> rows;
        auto line = std::find_if(lines.begin(), lines.end(),
                                 [&head](const std::string& text)
                                 { return text.rfind(head + "  ", 0) == 0; });
        EXPECT_NE(line, lines.end()) << head;
        for (; line != lines.end() && !line->empty(); ++line)
        {
            const std::size_t gap = line->find("  ");
            std::istringstream rest(line->substr(std::min(gap, line->size())));
            Words words;
            for (std::string word; rest >> word;)
                words.push_back(word);
            rows[line->substr(0, gap)] = words;
        }
        return rows;
    }

    RunOptions options;
    HouseFolder folder;
};

// --- writes --------------------------------------------------------------------------------------

// A light that lacks a group and a scene and has one that nobody wants, and a dimmer that lacks a
// group and a scene of two steps.
TEST_F(RunTest, WrittenTable_HasTheFewestWritesByWhatIsLacking)
{
    const auto written = Table(
        RunText(
            "<house><driver name=\"light\" type=\"zigbee_light\" id=\"1\"><device "
            "simulated=\"true\"><scene group=\"9\" number=\"3\"/></device></driver>"
            "<driver name=\"dimmer\" type=\"wired_dimmer\" id=\"2\"><device "
            "simulated=\"true\"/></driver><driver name=\"plug\" type=\"energy_switch\" id=\"3\">"
            "<device simulated=\"true\"/></driver>"
            "<load_group id=\"4\"><member>dimmer</member></load_group>"
            "<scene id=\"5\" name=\"Dinner\"><load driver=\"light\" level=\"40\"/>"
            "<load driver=\"dimmer\" level=\"10\"/><load driver=\"dimmer\" level=\"20\" "
            "delay=\"1s\"/></scene></house>"),
        "written");
    ASSERT_EQ(written.size(), 4u);
    EXPECT_EQ(written.at("light")[3], "3");
    EXPECT_EQ(written.at("dimmer")[3], "3");
    EXPECT_EQ(written.at("all")[2], "6");
    EXPECT_GE(std::stoul(written.at("light")[2]), 3u);
}

// --- the example house ---------------------------------------------------------------------------

class VillaTest : public RunTest
{
protected:
    static unsigned long Number(const std::string& text) { return std::stoul(text); }
};

TEST_F(VillaTest, File_HasFortyDriversOfAllTypesWithDevices)
{
    pugi::xml_document house;
    ASSERT_TRUE(house.load_file(VILLA.c_str()));
    std::map<std::string, int> types;
    int drivers = 0;
    for (const pugi::xml_node& driver : house.child("house").children("driver"))
    {
        ++drivers;
        ++types[driver.attribute("type").value()];
        EXPECT_STREQ(driver.child("device").attribute("simulated").value(), "true");
        EXPECT_STRNE(driver.attribute("room").value(), "");
    }
    EXPECT_GE(drivers, 40);
    EXPECT_EQ(types.size(), 5u);
    std::ostringstream out;
    EXPECT_EQ(RunValidate(VILLA, out), 0) << out.str();
}

TEST_F(VillaTest, RoomsTable_CountsWhatTheFilePlans)
{
    pugi::xml_document house;
    ASSERT_TRUE(house.load_file(VILLA.c_str()));
    std::map<std::string, std::pair<unsigned long, unsigned long>> rooms;
    for (const pugi::xml_node& driver : house.child("house").children("driver"))
    {
        auto& room = rooms[driver.attribute("room").value()];
        ++room.first;
        for (const pugi::xml_node& act : driver.child("device").children("act"))
            room.second += act.attribute("says") ? 1 : 0;
    }
    const auto table = Table(Run(VILLA), "room");
    ASSERT_EQ(table.size(), rooms.size() + 2);
    for (const auto& [room, counts] : rooms)
    {
        ASSERT_EQ(table.count(room), 1u) << room;
        EXPECT_EQ(Number(table.at(room)[0]), counts.first) << room;
        EXPECT_EQ(Number(table.at(room)[1]), counts.second) << room;
    }
}

// Without faults the lights need no write too many; with them nobody gets by with fewer.
TEST_F(VillaTest, WrittenTable_HasNoWritesTooManyForLightsAndNeverFewerThanPossible)
{
    for (const FaultLevel faults : {FaultLevel::None, FaultLevel::Heavy})
    {
        options.faults = faults;
        const auto written = Table(Run(VILLA), "written");
        EXPECT_EQ(written.size(), 27u);
        for (const auto& [name, row] : written)
        {
            if (name == "written" || name == "all")
                continue;
            EXPECT_GE(Number(row[2]), Number(row[3])) << name;
            EXPECT_GE(Number(row[1]), Number(row[2])) << name;
            const bool exact = faults == FaultLevel::None && row[0] == "zigbee_light";
            EXPECT_TRUE(!exact || row[2] == row[3]) << name;
        }
    }
}

TEST_F(VillaTest, ScenesTable_SaysWhatTheFamilyRecalled)
{
    const auto scenes = Table(Run(VILLA), "scene");
    EXPECT_THAT(scenes.at("Dinner"), ElementsAre("9", "1", "2026-01-01", "19:20:00"));
    EXPECT_THAT(scenes.at("Away"), ElementsAre("25", "2", "2026-01-01", "08:01:50"));
    EXPECT_THAT(scenes.at("Good night"), ElementsAre("25", "2", "2026-01-01", "23:40:00"));
}

// What a day of these loads uses is sums of powers and hours.
TEST_F(VillaTest, EnergyTable_AgreesWithTheLoadsDay)
{
    const auto used = Table(Run(VILLA), "load");
    const auto energy = [&used](const std::string& load)
    {
        const Words& row = used.at(load);
        // type, on, off, now and its unit, used and its unit
        return std::stod(row[row.size() - 4]);
    };
    // Five times three minutes at 2200 W; 12 hours at 36 W and 12 at 12 W; 14 hours at 25 W.
    EXPECT_DOUBLE_EQ(energy("kettle"), 0.550);
    EXPECT_DOUBLE_EQ(energy("aquarium"), 0.576);
    EXPECT_DOUBLE_EQ(energy("pond_pump"), 0.350);
    // 10 W from the cooking at 18:10 to the dinner at 19:20.
    EXPECT_NEAR(energy("cooker_hood"), 0.010 * 70 / 60, 0.0006);
}

TEST_F(VillaTest, WithoutFaults_NothingIsRepairedOrSentAgain)
{
    const auto links = Table(Run(VILLA), "links");
    EXPECT_GT(Number(links.at("all")[0]), 5000u);
    for (std::size_t column = 1; column < links.at("all").size(); ++column)
        EXPECT_EQ(links.at("all")[column], "0") << column;
}

TEST_F(VillaTest, HeavyFaults_AreRepairedAndSaid)
{
    options.faults = FaultLevel::Heavy;
    const auto links = Table(Run(VILLA), "links");
    const auto columns = links.at("links");
    const auto count = [&](const std::string& type, std::size_t column)
    {
        return Number(links.at(type)[column]);
    };
    for (const char* type : {"puck", "wired_dimmer", "zigbee_light", "gen3_keypad"})
    {
        for (std::size_t column = 1; column <= 4; ++column)
            EXPECT_GT(count(type, column), 0u) << type << column;
    }
    for (const char* type : {"wired_dimmer", "zigbee_light", "gen3_keypad"})
        EXPECT_GT(count(type, 5), 0u) << type;
    EXPECT_GT(count("gen3_keypad", 6), 0u);
    EXPECT_EQ(count("all", 1), count("puck", 1) + count("wired_dimmer", 1) +
                                   count("zigbee_light", 1) + count("gen3_keypad", 1) +
                                   count("energy_switch", 1));
}

TEST_F(VillaTest, WarningThatComesAgain_IsToldOnceAndCounted)
{
    options.faults = FaultLevel::Heavy;
    const Words told = Run(VILLA);
    std::map<std::string, unsigned> warnings;
    for (const std::string& line : told)
    {
        if (line.find("  warns  (missed trap ") != std::string::npos)
            ++warnings[line.substr(19, line.find(' ', 19) - 19)];
    }
    ASSERT_FALSE(warnings.empty());
    for (const auto& driver : warnings)
        EXPECT_EQ(driver.second, 1u) << driver.first;
    const auto again = Table(told, "said again");
    EXPECT_GT(again.size(), 2u);
    for (const auto& row : again)
        EXPECT_TRUE(row.first == "said again" || Number(row.second[0]) > 1) << row.first;
}

TEST_F(VillaTest, NarrowTerminal_ShowsEveryTableWithinItsColumns)
{
    options.columns = 60;
    options.verbosity = Verbosity::Quiet;
    for (const std::string& line : Run(VILLA))
        EXPECT_LE(line.size(), 60u) << line;
}

TEST_F(VillaTest, LightFaults_AreFewerThanHeavyOnes)
{
    options.faults = FaultLevel::Light;
    const auto light = Table(Run(VILLA), "links").at("all");
    options.faults = FaultLevel::Heavy;
    const auto heavy = Table(Run(VILLA), "links").at("all");
    EXPECT_GT(Number(light[1]), 0u);
    EXPECT_LT(3 * Number(light[1]), Number(heavy[1]));
    EXPECT_LT(Number(light[4]), Number(heavy[4]));
}

TEST_F(VillaTest, SameSeed_TellsTheSame_AnotherDoesNot)
{
    options.faults = FaultLevel::Heavy;
    options.verbosity = Verbosity::Verbose;
    const Words first = Run(VILLA);
    EXPECT_EQ(first, Run(VILLA));
    options.session.seed = 8;
    EXPECT_NE(first, Run(VILLA));
}

TEST_F(VillaTest, Tellings_GrowWithTheirNames)
{
    const std::size_t normal = Run(VILLA).size();
    EXPECT_LT(normal, 400u);
    options.verbosity = Verbosity::Quiet;
    const Words quiet = Run(VILLA);
    EXPECT_EQ(quiet.front(), "");
    EXPECT_LT(quiet.size() + 100, normal);
    options.verbosity = Verbosity::Verbose;
    EXPECT_GT(Run(VILLA).size(), normal + 100);
}

// --- what a run is made of -----------------------------------------------------------------------

// A light and a dimmer in one scene, recalled by the second button of a keypad on a puck module.
const std::string SMALL = R"(<house>
<driver name="keys" type="puck" id="1" room="hall">
  <config><NUM_BUTTONS>2</NUM_BUTTONS></config>
  <device simulated="true">
    <act at="1m30s" every="1h" button="1" says="Ada dims"/>
  </device>
</driver>
<driver name="lamp" type="zigbee_light" id="2" room="hall"><device simulated="true" watts="100"/>
</driver>
<driver name="dim" type="wired_dimmer" id="3" room="stairs"><device simulated="true" watts="50"/>
</driver>
<scene id="3" name="Half"><load driver="lamp" level="50"/>
<load driver="dim" level="100"/><load driver="dim" level="40" delay="60s"/>
<on driver="keys" button="1" do="click"/></scene>
</house>)";

TEST_F(RunTest, ActWithEvery_IsRepeated)
{
    options.forMs = 2 * 3600 * 1000;
    const Words lines = RunText(SMALL);
    EXPECT_THAT(lines, IsSupersetOf({"00:01:30  hall    keys          Ada dims",
                                     "01:01:30  hall    keys          Ada dims"}));
    EXPECT_THAT(lines, Contains("00:01:30  hall    keys          the house recalls \"Half\" (2 "
                                "loads)"));
}

TEST_F(RunTest, RecalledScene_MovesTheLampsAndTheirEnergy)
{
    options.forMs = 2 * 3600 * 1000;
    const auto used = Table(RunText(SMALL), "load");
    // From 00:01:30 to 02:00:00 at half of 100 W, and a minute at 50 W twice with 20 W besides.
    EXPECT_NEAR(std::stod(used.at("lamp")[5]), 0.050 * 118.5 / 60, 0.001);
    EXPECT_NEAR(std::stod(used.at("dim")[5]), 0.020 * 118.5 / 60 + 0.030 * 2 / 60, 0.001);
    EXPECT_EQ(used.at("lamp")[1], "01:59");
}

TEST_F(RunTest, HouseWithoutRooms_EndsWithItsDrivers)
{
    options.forMs = 60000;
    const Words lines = Run(LIGHTING_SOURCE_DIR "/examples/hall/house.xml");
    EXPECT_THAT(lines, Contains("00:00:03  hall          somebody pushes contact 0"));
    EXPECT_THAT(lines, Contains(StartsWith("keypad        puck ")));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("links"))));
}

TEST_F(RunTest, VerboseTelling_NamesEvents)
{
    options.forMs = 60000;
    options.verbosity = Verbosity::Verbose;
    EXPECT_THAT(Run(LIGHTING_SOURCE_DIR "/examples/hall/house.xml"),
                IsSupersetOf({"00:00:03.000  hall          somebody pushes contact 0",
                              "00:00:03.000  hall          Aux 1 pressed  (event 6001)"}));
}

TEST_F(RunTest, ScenesOfTheFile_AreLeftToTheControllerInStdio)
{
    folder.Write("house.xml", SMALL);
    const CommandRun run =
        folder.Stdio("house.xml", "{\"driver\":\"dim\",\"query\":\"scene_ids\"}\n");
    EXPECT_THAT(run.out, Contains(R"({"t_ms":0,"driver":"dim","answer":"scene_ids","value":[]})"));
}

class ActTimeTest : public RunTest, public testing::WithParamInterface<const char*>
{
};

TEST_P(ActTimeTest, IsRefused)
{
    folder.Write("house.xml",
                 std::string("<house><driver name=\"a\" type=\"puck\" id=\"1\"><device "
                             "simulated=\"true\"><act contact=\"0\" ") +
                     GetParam() + "/></device></driver></house>");
    const CommandRun run = folder.Validate("house.xml");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, ElementsAre(HasSubstr("<act>: \"")));
}

INSTANTIATE_TEST_SUITE_P(Times, ActTimeTest,
                         testing::Values("", "at=\"\"", "at=\"7hm\"", "at=\"h7\"", "at=\"1h-5m\"",
                                         "at=\"1h 5m\"", "at=\"10s1m\"", "at=\"1m1m\"",
                                         "at=\"1s\" every=\"0s\"", "at=\"1s\" every=\"no\""));
} // namespace
} // namespace lighting_host

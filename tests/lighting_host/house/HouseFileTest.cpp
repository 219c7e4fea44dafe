// House files: what is wrong with them, on which line, and that a house that is odd but right runs.

#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class HouseFileTest : public testing::Test
{
protected:
    // Validates a house of this text; gives what was said, without the file's name before it.
    std::vector<std::string> Complaints(const std::string& house)
    {
        const std::string path = folder.Write("house.xml", house);
        const CommandRun run = folder.Validate("house.xml");
        EXPECT_EQ(run.status, 1) << house;
        std::vector<std::string> complaints;
        for (const std::string& line : run.out)
        {
            EXPECT_THAT(line, StartsWith(path + ":"));
            complaints.push_back(line.substr(path.size() + 1));
        }
        return complaints;
    }

    // A complaint about a driver with these attributes and this content, on line 2.
    std::vector<std::string> InDriver(const std::string& attributes,
                                      const std::string& content = "")
    {
        return Complaints("<house>\n<driver " + attributes + ">" + content + "</driver>\n</house>");
    }

    HouseFolder folder;
};

constexpr const char* GOOD = R"(name="a" type="puck" id="1")";

TEST_F(HouseFileTest, GoodHouse_IsCounted)
{
    folder.Write(
        "house.xml",
        "<?xml version=\"1.0\"?>\n<!-- home -->\n<house><driver name=\"a\" type=\"puck\" id=\"0\"/>"
        "<driver name=\"b\" type=\"puck\" id=\"4294967295\"/>"
        "<load_group id=\"2\"><member>b</member><member>a</member></load_group></house>");
    const CommandRun run = folder.Validate("house.xml");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, ElementsAre(folder.Path("house.xml") +
                                     ": a good house of 2 drivers and 1 load group"));
}

TEST_F(HouseFileTest, EmptyHouse_IsGood)
{
    folder.Write("house.xml", "<house/>");
    EXPECT_THAT(folder.Validate("house.xml").out,
                ElementsAre(HasSubstr("a good house of 0 drivers and 0 load groups")));
}

TEST_F(HouseFileTest, FilesThatCannotBeRead_AreToldWithoutALine)
{
    EXPECT_THAT(
        folder.Validate("none.xml").out,
        ElementsAre(folder.Path("none.xml") + ": cannot be read: No such file or directory"));
    folder.Write("folder/x", "");
    EXPECT_THAT(folder.Validate("folder").out,
                ElementsAre(folder.Path("folder") + ": cannot be read: Is a directory"));
}

TEST_F(HouseFileTest, WhatIsNoXml_IsToldWithItsLine)
{
    EXPECT_THAT(Complaints(""), ElementsAre(StartsWith("1: this is no XML: ")));
    EXPECT_THAT(Complaints("\n\nhouse"), ElementsAre(HasSubstr(": this is no XML: ")));
    EXPECT_THAT(Complaints("<house>\n<driver\n</house>"),
                ElementsAre(StartsWith("3: this is no XML: ")));
    EXPECT_THAT(Complaints("<house>\n<driver name=\"a\"></drivers>\n</house>"),
                ElementsAre(StartsWith("2: this is no XML: ")));
    EXPECT_THAT(Complaints("<house>"), ElementsAre(HasSubstr(": this is no XML: ")));
    EXPECT_THAT(Complaints("<house>\n</house>\n<house/>"),
                ElementsAre("3: this is no XML: <house> is a second root"));
    EXPECT_THAT(Complaints("{\"house\":\"list\"}"), ElementsAre(HasSubstr("this is no XML: ")));
    EXPECT_THAT(Complaints(std::string("<house>\n\0</house>", 17)),
                ElementsAre("2: this is no XML: it has a NUL"));
}

TEST_F(HouseFileTest, TextBesideTheRoot_IsToldWithItsLine)
{
    EXPECT_THAT(Complaints("<house/>\nhouse"),
                ElementsAre("2: this is no XML: there is text beside <house>"));
    EXPECT_THAT(Complaints("x<house/>"),
                ElementsAre("1: this is no XML: there is text beside <house>"));
}

TEST_F(HouseFileTest, TextBehindBlanks_IsToldWithItsOwnLine)
{
    EXPECT_THAT(Complaints("<house>\n\n  attic\n</house>"),
                ElementsAre("3: there is text in <house>"));
}

TEST_F(HouseFileTest, SecondRootBehindAForeignOne_IsToldInOrderOfLines)
{
    EXPECT_THAT(Complaints("<home/>\n<house/>"),
                ElementsAre("1: the root element is <home>, not <house>",
                            "2: this is no XML: <house> is a second root"));
}

TEST_F(HouseFileTest, UnknownElementsAndAttributes_AreTold)
{
    EXPECT_THAT(Complaints("<home/>"), ElementsAre("1: the root element is <home>, not <house>"));
    EXPECT_THAT(Complaints("<house name=\"x\"/>"),
                ElementsAre("1: unknown attribute \"name\" of <house>"));
    EXPECT_THAT(Complaints("<house>\n <room/>\n</house>"),
                ElementsAre("2: unknown element <room> in <house>"));
    EXPECT_THAT(Complaints("<house>\n driver\n</house>"),
                ElementsAre("2: there is text in <house>"));
    EXPECT_THAT(InDriver(std::string(GOOD) + " floor=\"x\""),
                ElementsAre("2: unknown attribute \"floor\" of <driver>"));
    EXPECT_THAT(InDriver(std::string(GOOD) + " id=\"2\""),
                ElementsAre("2: attribute \"id\" of <driver> is given twice"));
    EXPECT_THAT(InDriver(GOOD, "<setting/>"),
                ElementsAre("2: unknown element <setting> in <driver>"));
    EXPECT_THAT(InDriver(GOOD, "true"), ElementsAre("2: there is text in <driver>"));
}

TEST_F(HouseFileTest, MissingAttributes_AreTold)
{
    EXPECT_THAT(InDriver(R"(type="puck" id="1")"), ElementsAre("2: a <driver> needs a name"));
    EXPECT_THAT(InDriver(R"(name="" type="puck" id="1")"),
                ElementsAre("2: a <driver> needs a name"));
    EXPECT_THAT(InDriver(R"(name="a" id="1")"), ElementsAre("2: a <driver> needs a type"));
    EXPECT_THAT(InDriver(R"(name="a" type="puck")"),
                ElementsAre("2: the id \"\" of <driver> is not a number from 0 to 4294967295"));
    EXPECT_THAT(InDriver(GOOD, "<capability>true</capability>"),
                ElementsAre("2: a <capability> needs a name"));
    EXPECT_THAT(Complaints("<house>\n<load_group/></house>"),
                ElementsAre("2: the id \"\" of <load_group> is not a number from 0 to 4294967295"));
}

TEST_F(HouseFileTest, IdsThatAreNoNumbers_AreTold)
{
    for (const char* id :
         {"-1", "+1", "1.0", "0x1", " 1", "1 ", "one", "4294967296", "99999999999999999999"})
        EXPECT_THAT(InDriver("name=\"a\" type=\"puck\" id=\"" + std::string(id) + "\""),
                    ElementsAre("2: the id \"" + std::string(id) +
                                "\" of <driver> is not a number from 0 to 4294967295"));
}

TEST_F(HouseFileTest, NamesAndIdsGivenTwice_AreTold)
{
    EXPECT_THAT(Complaints("<house>\n<driver name=\"a\" type=\"puck\" id=\"1\"/>\n<driver "
                           "name=\"a\" type=\"puck\" id=\"01\"/>\n</house>"),
                ElementsAre("3: there is another driver named \"a\"",
                            "3: there is another driver with the id 1"));
    EXPECT_THAT(Complaints("<house>\n<load_group id=\"1\"/>\n<load_group id=\"1\"/>\n</house>"),
                ElementsAre("3: there is another load group with the id 1"));
}

TEST_F(HouseFileTest, UnknownTypes_AreToldWithTheKnownOnes)
{
    EXPECT_THAT(InDriver(R"(name="a" type="toaster" id="1")"),
                ElementsAre(AllOf(StartsWith("2: unknown driver type \"toaster\"; there are "),
                                  HasSubstr("puck"))));
    EXPECT_THAT(InDriver(R"(name="a" type="Puck" id="1")"),
                ElementsAre(StartsWith("2: unknown driver type \"Puck\"")));
    EXPECT_THAT(InDriver(R"(name="a" type="mine" id="1" library="libnone.so")"),
                ElementsAre("2: there is no driver library \"libnone.so\""));
    EXPECT_THAT(InDriver(R"(name="a" type="mine" id="1" library="")"),
                ElementsAre("2: there is no driver library \"\""));
}

TEST_F(HouseFileTest, ElementsGivenTwice_AreTold)
{
    EXPECT_THAT(InDriver(GOOD, "<config/>\n<config/>"),
                ElementsAre("3: a second <config> in <driver>"));
    EXPECT_THAT(InDriver(GOOD, "<state/>\n<state/>"),
                ElementsAre("3: a second <state> in <driver>"));
}

TEST_F(HouseFileTest, ContentThatDoesNotBelong_IsTold)
{
    EXPECT_THAT(InDriver(GOOD, "<capability name=\"x\"><y/></capability>"),
                ElementsAre("2: unknown element <y> in <capability>"));
    EXPECT_THAT(InDriver(GOOD, "<capability name=\"x\" value=\"1\"/>"),
                ElementsAre("2: unknown attribute \"value\" of <capability>"));
    EXPECT_THAT(InDriver(GOOD, "<device simulated=\"yes\"/>"),
                ElementsAre("2: \"simulated\" of <device> is \"yes\", neither true nor false"));
    EXPECT_THAT(Complaints("<house>\n<load_group "
                           "id=\"1\">\n<member>nobody</member>\n<load/>\n</load_group>\n</house>"),
                ElementsAre("3: there is no driver named \"nobody\"",
                            "4: unknown element <load> in <load_group>"));
}

TEST_F(HouseFileTest, ThingThatADeviceDoesNotKnow_IsToldWithItsOwnLine)
{
    const auto complaints = [this](const std::string& inside)
    {
        return InDriver(GOOD, "<device simulated=\"true\">\n<person/>\n" + inside + "</device>");
    };
    EXPECT_THAT(
        complaints("<attic/>"),
        ElementsAre("4: <device>: unknown element <attic>; it takes <act>, <person>, <fault>"));
    EXPECT_THAT(complaints("<fault kind=\"forgets\" every=\"2\"/>"),
                ElementsAre("4: <fault>: unknown attribute \"every\"; it takes kind"));
    EXPECT_THAT(complaints("\n<act at=\"1s\" contact=\"0\"><hand/></act>"),
                ElementsAre("5: <act>: unknown element <hand>"));
    EXPECT_THAT(InDriver(GOOD, "<device simulated=\"true\" depth=\"1\">\n<person/></device>"),
                ElementsAre("2: <device>: unknown attribute \"depth\"; it takes hold_interval, "
                            "kind, simulated"));
}

TEST_F(HouseFileTest, BottomlessState_IsTold)
{
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    std::string close;
    for (int i = 0; i < 100000; ++i)
        close += "</a>";
    EXPECT_THAT(InDriver(GOOD, "<state>" + deep + close + "</state>"),
                ElementsAre("2: <state> goes too deep"));
}

TEST_F(HouseFileTest, MemberBeforeItsDriver_IsGood)
{
    folder.Write("house.xml",
                 "<house><load_group id=\"1\"><member>late</member></load_group><driver "
                 "name=\"late\" type=\"puck\" id=\"1\"/></house>");
    EXPECT_EQ(folder.Validate("house.xml").status, 0);
}

// A house of a puck, a keypad, a light and a plug, with this on line 3.
std::string Furnished(const std::string& line)
{
    const auto button = [](const char* id)
    {
        return std::string("<KEYPAD_BUTTON_INFO><BUTTON_ID>") + id +
               "</BUTTON_ID></KEYPAD_BUTTON_INFO>";
    };
    return "<house><driver name=\"p\" type=\"puck\" id=\"1\" room=\"hall\">"
           "<config><NUM_BUTTONS>6</NUM_BUTTONS></config></driver>"
           "<driver name=\"k\" type=\"gen3_keypad\" id=\"2\"><state><ALL_BUTTONS>" +
           button("3") + button("127") +
           "</ALL_BUTTONS></state></driver>\n"
           "<driver name=\"z\" type=\"zigbee_light\" id=\"3\"/>"
           "<driver name=\"s\" type=\"energy_switch\" id=\"4\"/>\n" +
           line + "\n</house>";
}

TEST_F(HouseFileTest, ScenesAndUsesOfButtons_AreReadAndCounted)
{
    const std::string house = Furnished(
        "<scene id=\"254\" name=\"Dinner\"><load driver=\"z\" level=\"40\" time=\"2s\"/>"
        "<on driver=\"p\" contact=\"1\" do=\"release\"/><on driver=\"k\" button=\"127\"/></scene>"
        "<load_group id=\"1\" name=\"All\"><on driver=\"k\" button=\"3\" do=\"click\" "
        "level=\"100\" time=\"500ms\"/><on driver=\"p\" button=\"5\" ramp=\"stop\"/>"
        "</load_group>");
    folder.Write("house.xml", house);
    EXPECT_THAT(folder.Validate("house.xml").out,
                ElementsAre(folder.Path("house.xml") +
                            ": a good house of 4 drivers, 1 load group and 1 scene"));
    const HouseFile file = ParseHouseFile(house, "");
    EXPECT_EQ(file.drivers[0].room, "hall");
    ASSERT_EQ(file.scenes.size(), 1u);
    EXPECT_EQ(file.scenes[0].id, 254u);
    EXPECT_EQ(file.scenes[0].loads[0].timeMs, 2000);
    EXPECT_EQ(file.scenes[0].uses[0].how, HouseFileUse::Release);
    EXPECT_TRUE(file.scenes[0].uses[0].contact);
    EXPECT_EQ(file.scenes[0].uses[1].how, HouseFileUse::Press);
    EXPECT_EQ(file.scenes[0].uses[1].number, 127u);
    ASSERT_EQ(file.groups[0].acts.size(), 2u);
    EXPECT_EQ(file.groups[0].name, "All");
    EXPECT_EQ(file.groups[0].acts[0].level, 100u);
    EXPECT_EQ(file.groups[0].acts[0].timeMs, 500);
    EXPECT_EQ(file.groups[0].acts[1].what, HouseFileGroupAct::StopRamp);
}

TEST_F(HouseFileTest, Binds_AreReadAlsoBeforeTheirDriversAndSeveralOfABinding)
{
    const HouseFile file =
        ParseHouseFile("<house><bind from=\"a\" binding=\"1\" to=\"b\" to_binding=\"0\"/>"
                       "<driver name=\"a\" type=\"puck\" id=\"1\"/>"
                       "<driver name=\"b\" type=\"zigbee_light\" id=\"2\"/>"
                       "<bind from=\"a\" binding=\"2\" to=\"b\" to_binding=\"0\"/></house>",
                       "");
    EXPECT_TRUE(file.errors.empty());
    ASSERT_EQ(file.binds.size(), 2u);
    EXPECT_EQ(file.binds[0].from, "a");
    EXPECT_EQ(file.binds[0].binding, 1u);
    EXPECT_EQ(file.binds[0].to, "b");
    EXPECT_EQ(file.binds[1].binding, 2u);
    EXPECT_EQ(file.binds[1].toBinding, 0u);
}

struct Mistake
{
    const char* line;
    const char* complaint;
};

class FurnishedHouseTest : public HouseFileTest, public testing::WithParamInterface<Mistake>
{
};

TEST_P(FurnishedHouseTest, MistakeIsTold)
{
    EXPECT_THAT(Complaints(Furnished(GetParam().line)), ElementsAre(GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, FurnishedHouseTest,
    testing::Values(
        Mistake{"<scene id=\"1\"/>", "3: a <scene> needs a name"},
        Mistake{"<scene id=\"0\" name=\"x\"/>", "3: the id of a <scene> is not 0"},
        Mistake{"<scene id=\"255\" name=\"x\"/>",
                "3: \"id\" of <scene> is \"255\", not a number from 0 to 254"},
        Mistake{"<scene id=\"1\" name=\"x\"/><scene id=\"1\" name=\"y\"/>",
                "3: there is another scene with the id 1"},
        Mistake{"<scene id=\"1\" name=\"x\"><lamp/></scene>",
                "3: unknown element <lamp> in <scene>"},
        Mistake{"<scene id=\"1\" name=\"x\" colour=\"red\"/>",
                "3: unknown attribute \"colour\" of <scene>"},
        Mistake{"<scene id=\"1\" name=\"x\"><load driver=\"s\" level=\"1\"/></scene>",
                "3: driver \"s\" keeps no scenes"},
        Mistake{"<scene id=\"1\" name=\"x\"><load driver=\"q\" level=\"1\"/></scene>",
                "3: there is no driver named \"q\""},
        Mistake{"<scene id=\"1\" name=\"x\"><load driver=\"z\" level=\"101\"/></scene>",
                "3: \"level\" of <load> is \"101\", not a number from 0 to 100"},
        Mistake{"<scene id=\"1\" name=\"x\"><load driver=\"z\" level=\"1\" time=\"soon\"/></scene>",
                "3: \"time\" of <load> is \"soon\", no time like 500ms or 2s"},
        Mistake{"<scene id=\"1\" name=\"x\"><on driver=\"z\" button=\"1\"/></scene>",
                "3: driver \"z\" has no buttons"},
        Mistake{"<scene id=\"1\" name=\"x\"><on driver=\"p\"/></scene>",
                "3: <on> says neither which contact nor which button, or both"},
        Mistake{"<scene id=\"1\" name=\"x\"><on driver=\"p\" contact=\"2\"/></scene>",
                "3: \"contact\" of <on> is \"2\", not a number from 0 to 1"},
        Mistake{"<scene id=\"1\" name=\"x\"><on driver=\"p\" button=\"1\" do=\"kick\"/></scene>",
                "3: \"do\" of <on> is \"kick\", not press, release or click"},
        Mistake{"<load_group id=\"1\"><member>z</member><member>z</member></load_group>",
                "3: \"z\" is a member of this load group already"},
        Mistake{"<bind from=\"p\" binding=\"1\" to=\"q\" to_binding=\"0\"/>",
                "3: there is no driver named \"q\""},
        Mistake{"<bind from=\"p\" binding=\"1\" to=\"p\" to_binding=\"2\"/>",
                "3: \"p\" is bound to itself"},
        Mistake{"<bind from=\"p\" to=\"z\" to_binding=\"0\"/>",
                "3: \"binding\" of <bind> is \"\", not a number from 0 to 65535"},
        Mistake{"<bind from=\"p\" binding=\"1\" to=\"z\" to_binding=\"65536\"/>",
                "3: \"to_binding\" of <bind> is \"65536\", not a number from 0 to 65535"},
        Mistake{"<bind from=\"p\" binding=\"1\" to=\"z\" to_binding=\"0\" class=\"X\"/>",
                "3: unknown attribute \"class\" of <bind>"},
        Mistake{"<bind from=\"p\" binding=\"1\" to=\"z\" to_binding=\"0\"/>"
                "<bind from=\"z\" binding=\"0\" to=\"p\" to_binding=\"1\"/>",
                "3: binding 0 of \"z\" and binding 1 of \"p\" are bound already"},
        Mistake{"<load_group id=\"1\"><on driver=\"p\" button=\"1\"/></load_group>",
                "3: \"level\" of <on> is \"\", not a number from 0 to 100"},
        Mistake{"<load_group id=\"1\"><on driver=\"p\" button=\"1\" ramp=\"left\"/></load_group>",
                "3: \"ramp\" of <on> is \"left\", not up, down or stop"},
        Mistake{"<load_group id=\"1\"><on driver=\"p\" button=\"1\" ramp=\"up\" level=\"1\"/>"
                "</load_group>",
                "3: <on> has both a level or time and a ramp"}));

TEST_F(HouseFileTest, EveryMistake_IsToldInOrderOfLines)
{
    EXPECT_THAT(
        Complaints("<house>\n<load_group "
                   "id=\"x\"><member>b</member></load_group>\n<driver/>\n<attic/>\n</house>"),
        ElementsAre(StartsWith("2: the id \"x\""), StartsWith("2: there is no driver"),
                    StartsWith("3: "), StartsWith("3: "), StartsWith("3: "),
                    StartsWith("4: unknown element")));
}

TEST_F(HouseFileTest, BottomlessHouse_IsNoCrash)
{
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<house>";
    EXPECT_THAT(Complaints(deep), ElementsAre(HasSubstr("this is no XML")));
}

TEST_F(HouseFileTest, MegabyteNames_Run)
{
    const std::string name(1 << 20, 'n');
    folder.Write("house.xml", "<house><driver name=\"" + name +
                                  "\" type=\"puck\" id=\"1\"><state/></driver></house>");
    const CommandRun run =
        folder.Stdio("house.xml", "{\"driver\":\"" + name + "\",\"command\":\"X\"}\n");
    EXPECT_THAT(run.out, ElementsAre("{\"t_ms\":0,\"driver\":\"" + name + "\",\"unhandled\":\"X\"}",
                                     "{\"done\":1}"));
}

TEST_F(HouseFileTest, NamesThatAreNotUtf8_AreWrittenByteByByte)
{
    folder.Write("house.xml",
                 "<house><driver name=\"caf\xE9\" type=\"puck\" id=\"1\"><state/></driver><driver "
                 "name=\"caf\xC3\xA9\" type=\"puck\" id=\"2\"><state/></driver></house>");
    const CommandRun run = folder.Stdio(
        "house.xml", "{\"house\":\"list\"}\n{\"driver\":\"caf\xC3\xA9\",\"command\":\"X\"}\n");
    EXPECT_THAT(
        run.out,
        ElementsAre(
            R"({"t_ms":0,"house":[{"name":"caf\u00e9","type":"puck","id":1},{"name":"caf\u00e9","type":"puck","id":2}]})",
            R"({"done":1})", R"({"t_ms":0,"driver":"caf\u00e9","unhandled":"X"})",
            R"({"done":2})"));
}

// A puck with this state, and what it is afterwards.
class OddStateTest : public HouseFileTest
{
protected:
    std::vector<std::string> StartWith(const std::string& state)
    {
        folder.Write("house.xml", "<house><driver name=\"p\" type=\"puck\" id=\"1\"><state>" +
                                      state + "</state></driver></house>");
        CommandRun run =
            folder.Stdio("house.xml", "{\"driver\":\"p\",\"query\":\"contact\",\"index\":0}\n");
        EXPECT_EQ(run.err, "");
        return run.out;
    }
};

TEST_F(OddStateTest, NoContacts_MakeNone)
{
    for (const char* state : {"", "text", "<ALL_CONTACTS/>", "<ALL_CONTACTS>text</ALL_CONTACTS>",
                              "<all_contacts><CONTACT_STATUS/></all_contacts>",
                              "<State><ALL_CONTACTS><CONTACT_STATUS/></ALL_CONTACTS></State>"})
        EXPECT_THAT(StartWith(state),
                    ElementsAre(R"({"error":"there is no contact 0","line":1})", R"({"done":1})"))
            << state;
}

TEST_F(OddStateTest, NumbersThatAreNone_ReadAsZero)
{
    const auto out =
        StartWith("<ALL_CONTACTS><CONTACT_STATUS><AUX_BEHAVIOR>five</AUX_BEHAVIOR><AUX_LEDS/"
                  "><CURRENT_STATE><b>1</b></CURRENT_STATE></CONTACT_STATUS></ALL_CONTACTS>");
    EXPECT_THAT(
        out,
        testing::Contains(
            R"({"t_ms":0,"driver":"p","answer":"contact","value":{"behavior":0,"led_behavior":0,"state":0}})"));
}

TEST_F(OddStateTest, NumbersBeyond32Bits_AreCut)
{
    const auto out =
        StartWith("<ALL_CONTACTS><CONTACT_STATUS><AUX_BEHAVIOR>4294967301</"
                  "AUX_BEHAVIOR><AUX_LEDS>-4294967295</AUX_LEDS><CURRENT_STATE>2147483648</"
                  "CURRENT_STATE></CONTACT_STATUS></ALL_CONTACTS>");
    EXPECT_THAT(
        out,
        testing::Contains(
            R"({"t_ms":0,"driver":"p","answer":"contact","value":{"behavior":5,"led_behavior":1,"state":-2147483648}})"));
    EXPECT_THAT(out, testing::Contains(HasSubstr(
                         "\"variable\":1014,\"name\":\"Aux 1\",\"value\":\"-2147483648\"")));
}

TEST_F(OddStateTest, ManyContacts_MakeTwo)
{
    std::string contacts;
    for (int i = 0; i < 1000; ++i)
        contacts += "<CONTACT_STATUS/>";
    const auto out = StartWith("<ALL_CONTACTS>" + contacts + "</ALL_CONTACTS>");
    EXPECT_EQ(out.size(), 4 + 2 + 4u);
}

TEST_F(OddStateTest, WrongChildNames_AreAssertedAndMakeContacts)
{
    const auto out = StartWith("<ALL_CONTACTS><X><AUX_BEHAVIOR>3</AUX_BEHAVIOR></X><!-- no contact "
                               "--><CONTACT_STATUS/></ALL_CONTACTS>");
    EXPECT_EQ(out[0],
              R"({"t_ms":0,"driver":"p","assert":"lighting_common/NxBasePuckDriver","line":63})");
    EXPECT_EQ(out.size(), 1 + 4 + 2 + 4u);
}

TEST_F(OddStateTest, ButtonCounts_AreHeldToTheKeypad)
{
    for (const auto& [count, last] : std::vector<std::pair<std::string, int>>{
             {"7", 5}, {"4294967297", 0}, {"-3", -1}, {"many", -1}, {"2147483647", 5}})
    {
        folder.Write("house.xml",
                     "<house><driver name=\"p\" type=\"puck\" id=\"1\"><config><NUM_BUTTONS>" +
                         count + "</NUM_BUTTONS></config><state/></driver></house>");
        const CommandRun run =
            folder.Stdio("house.xml", "{\"driver\":\"p\",\"query\":\"button\",\"index\":" +
                                          std::to_string(std::max(last, 0)) +
                                          "}\n"
                                          "{\"driver\":\"p\",\"query\":\"button\",\"index\":" +
                                          std::to_string(last + 1) + "}\n");
        ASSERT_EQ(run.out.size(), 4u);
        EXPECT_EQ(run.out[0].find("\"answer\":\"button\"") != std::string::npos, last >= 0)
            << count;
        EXPECT_THAT(run.out[2], HasSubstr("there is no snap-on button")) << count;
    }
}
} // namespace
} // namespace lighting_host

// What looks wrong in a house that can be run: settings, states and buttons.

#include "lighting_host/house/HouseDoubts.h"

#include "lighting_host/text/Json.h"
#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> Doubts(const std::string& text)
{
    std::vector<std::string> told;
    for (const HouseFileError& doubt : FindDoubts(text))
        told.push_back(std::to_string(doubt.line) + ": " + doubt.what);
    return told;
}

// A house of one driver, with this in lines 2 and on.
std::vector<std::string> DoubtsOf(const std::string& type, const std::string& inside)
{
    return Doubts("<house><driver name=\"d\" type=\"" + type + "\" id=\"1\">\n" + inside +
                  "</driver></house>");
}

std::string Bind(const std::string& driver, int binding)
{
    return "<bind from=\"" + driver + "\" binding=\"" + std::to_string(binding) +
           "\" to=\"lamp\" to_binding=\"0\"/>";
}

// What a driver of that type persists after these inputs.
std::string StateAfter(const std::string& type, const std::string& config,
                       const std::string& inputs)
{
    const HouseFolder folder;
    folder.Write("house.xml", "<house><driver name=\"d\" type=\"" + type + "\" id=\"1\"><config>" +
                                  config + "</config></driver></house>");
    const CommandRun run =
        folder.Stdio("house.xml", inputs + "{\"driver\":\"d\",\"persist\":true}\n");
    for (const std::string& line : run.out)
    {
        const Json output = ParseJson(line);
        if (output.contains("state"))
            return output["state"].get<std::string>();
    }
    ADD_FAILURE() << "no state";
    return std::string();
}

// The children of <State> as those of <state>.
void ExpectNoDoubtOfOwnState(const std::string& type, const std::string& config,
                             const std::string& inputs)
{
    std::string state = StateAfter(type, config, inputs);
    ASSERT_THAT(state, testing::StartsWith("<State>"));
    state = state.substr(7, state.size() - 7 - 8);
    EXPECT_THAT(DoubtsOf(type, "<config>" + config + "</config><state>" + state + "</state>"),
                IsEmpty())
        << state;
}
} // namespace

TEST(HouseDoubtsTest, SettingOutOfRange_IsToldWithItsLine)
{
    EXPECT_THAT(DoubtsOf("zigbee_light", "<config>\n<endpoint>999</endpoint></config>"),
                ElementsAre("3: the setting <endpoint> is \"999\", not a number from 1 to 240 "
                            "(endpoint number)"));
    EXPECT_THAT(DoubtsOf("zigbee_light", "<config><endpoint>0</endpoint></config>").size(), 1u);
    EXPECT_THAT(DoubtsOf("zigbee_light", "<config><endpoint>240</endpoint></config>"), IsEmpty());
    EXPECT_THAT(DoubtsOf("puck", "<config><NUM_BUTTONS>7</NUM_BUTTONS></config>").size(), 1u);
    EXPECT_THAT(DoubtsOf("puck", "<config><NUM_BUTTONS> 6 </NUM_BUTTONS></config>"), IsEmpty());
}

TEST(HouseDoubtsTest, SettingThatIsNoNumber_IsTold)
{
    for (const char* value : {"abc", "5s", "", "0x10", "1.5", "99999999999999999999"})
        EXPECT_THAT(DoubtsOf("wired_dimmer", std::string("<config><sync_timer_ms>") + value +
                                                 "</sync_timer_ms></config>"),
                    ElementsAre(HasSubstr("not a number from 0 to 3600000 (milliseconds)")))
            << value;
}

TEST(HouseDoubtsTest, UnknownSetting_IsToldWithWhatWasMeant)
{
    EXPECT_THAT(DoubtsOf("puck", "<config>\n\n<NUM_BUTONS>2</NUM_BUTONS></config>"),
                ElementsAre("4: type puck has no setting <NUM_BUTONS>; did you mean NUM_BUTTONS?"));
    EXPECT_THAT(DoubtsOf("energy_switch", "<config><endpoint>1</endpoint></config>"),
                ElementsAre("2: type energy_switch has no setting <endpoint>"));
    EXPECT_THAT(DoubtsOf("puck", "<config>2</config>"),
                ElementsAre("2: there is text in <config>: \"2\""));
}

TEST(HouseDoubtsTest, SettingGivenTwice_IsTold)
{
    EXPECT_THAT(
        DoubtsOf("zigbee_light", "<config><endpoint>1</endpoint><endpoint>2</endpoint></config>"),
        ElementsAre("2: the setting <endpoint> is given twice"));
}

TEST(HouseDoubtsTest, UnknownElementOfAState_IsTold)
{
    EXPECT_THAT(
        DoubtsOf("energy_switch",
                 "<state><ENERGY_DATA>\n<MINUTES_ONN>1</MINUTES_ONN></ENERGY_DATA></state>"),
        ElementsAre("3: unknown element <MINUTES_ONN> in <ENERGY_DATA>; did you mean "
                    "MINUTES_ON?"));
    EXPECT_THAT(DoubtsOf("zigbee_light", "<state><State/></state>"),
                ElementsAre("2: unknown element <State> in <state>"));
}

TEST(HouseDoubtsTest, WrongValueInAState_IsTold)
{
    const std::string head = "<state><ALL_BUTTONS><BUTTON_STATUS>\n";
    const std::string tail = "</BUTTON_STATUS></ALL_BUTTONS></state>";
    const auto doubts = [&](const std::string& inside)
    {
        return DoubtsOf("puck",
                        "<config><NUM_BUTTONS>1</NUM_BUTTONS></config>" + head + inside + tail);
    };
    EXPECT_THAT(doubts("<BEHAVIOR>two</BEHAVIOR>"),
                ElementsAre(HasSubstr("3: <BEHAVIOR> is \"two\", not a number from ")));
    EXPECT_THAT(doubts("<LED_ON_COLOR>red</LED_ON_COLOR>"),
                ElementsAre("3: <LED_ON_COLOR> is \"red\", no color of six hexadecimal digits"));
    EXPECT_THAT(doubts("<LED_MANAGED>yes</LED_MANAGED>"),
                ElementsAre("3: <LED_MANAGED> is \"yes\", neither true nor false"));
    EXPECT_THAT(doubts("<LED_MANAGED>True</LED_MANAGED><NAME/>"), IsEmpty());
}

TEST(HouseDoubtsTest, StatesThatDriversPersist_AreNotDoubted)
{
    ExpectNoDoubtOfOwnState("puck", "<NUM_BUTTONS>6</NUM_BUTTONS>", "");
    ExpectNoDoubtOfOwnState(
        "gen3_keypad", "",
        R"({"driver":"d","command":"NEW_KEYPAD_BUTTON","params":{"BUTTON_ID":-3,"SLOTS":"12",)"
        R"("NAME":"Hall & stairs","BUTTON_BEHAVIOR":16,"ON_COLOR":"ff0000"}})"
        "\n");
    const std::string scene =
        R"({"driver":"d","command":"ADD_TO_SCENE","params":{"SCENE_ID":65541,"LEVEL":40,"TIME":9}})"
        "\n";
    const std::string energy = R"({"driver":"d","set":{"load_on":true,"energy_wh":7}})"
                               "\n{\"advance_ms\":600000}\n";
    ExpectNoDoubtOfOwnState("zigbee_light", "<endpoint>3</endpoint>", scene + energy);
    ExpectNoDoubtOfOwnState("wired_dimmer", "", scene + energy);
    ExpectNoDoubtOfOwnState("energy_switch", "", energy);
}

TEST(HouseDoubtsTest, UsesOfButtonsThatThereAreNot_AreTold)
{
    EXPECT_THAT(
        Doubts("<house><driver name=\"hall\" type=\"puck\" id=\"1\">"
               "<config><NUM_BUTTONS>2</NUM_BUTTONS></config></driver>"
               "<driver name=\"keys\" type=\"gen3_keypad\" id=\"2\"><state><ALL_BUTTONS>"
               "<KEYPAD_BUTTON_INFO><BUTTON_ID>5</BUTTON_ID></KEYPAD_BUTTON_INFO>"
               "</ALL_BUTTONS></state><device simulated=\"true\">\n"
               "<act at=\"1s\" button=\"5\"/><act at=\"1s\" button=\"6\"/></device></driver>\n"
               "<load_group id=\"1\"><on driver=\"hall\" button=\"1\" ramp=\"up\"/>\n"
               "<on driver=\"hall\" button=\"2\" ramp=\"up\"/>\n"
               "<on driver=\"keys\" contact=\"0\" ramp=\"up\"/></load_group>\n"
               "<scene id=\"1\" name=\"s\"><on driver=\"keys\" button=\"5\"/>\n"
               "<on driver=\"keys\" button=\"0\"/></scene></house>"),
        ElementsAre("2: driver \"keys\" has no button 6: its <state> describes none with that "
                    "number",
                    "4: driver \"hall\" has no button 2: it has 2",
                    "5: driver \"keys\" has no contact 0",
                    "7: driver \"keys\" has no button 0: its <state> describes none with that "
                    "number"));
}

TEST(HouseDoubtsTest, BindsToBindingsThatThereAreNot_AreTold)
{
    EXPECT_THAT(
        Doubts("<house><driver name=\"hall\" type=\"puck\" id=\"1\">"
               "<config><NUM_BUTTONS>2</NUM_BUTTONS></config></driver>"
               "<driver name=\"keys\" type=\"gen3_keypad\" id=\"2\"><state><ALL_BUTTONS>"
               "<KEYPAD_BUTTON_INFO><BUTTON_ID>5</BUTTON_ID></KEYPAD_BUTTON_INFO>"
               "</ALL_BUTTONS></state></driver>"
               "<driver name=\"lamp\" type=\"zigbee_light\" id=\"3\"/>\n" +
               Bind("hall", 1) + Bind("hall", 2) + Bind("hall", 300) + Bind("hall", 301) +
               Bind("keys", 208) + "\n" + Bind("hall", 0) + "\n" + Bind("hall", 3) + "\n" +
               Bind("hall", 302) + "\n" + Bind("keys", 207) + "\n" +
               "<bind from=\"hall\" binding=\"1\" to=\"lamp\" to_binding=\"7\"/></house>"),
        ElementsAre("3: driver \"hall\" has no binding 0", "4: driver \"hall\" has no binding 3",
                    "5: driver \"hall\" has no binding 302",
                    "6: driver \"keys\" has no binding 207",
                    "7: driver \"lamp\" has no binding 7: it is a load, which is bound at 0"));
}

TEST(HouseDoubtsTest, ConfigurationOfALibrarysDriver_IsNotJudged)
{
    EXPECT_THAT(Doubts("<house><driver name=\"a\" type=\"puck\" id=\"1\" library=\"libmine.so\">"
                       "<config><a>b</a></config><state><c/></state></driver></house>"),
                IsEmpty());
}

TEST(HouseDoubtsTest, Validate_EndsWithOneAndRunGoesOn)
{
    const HouseFolder folder;
    folder.Write("house.xml", "<house>\n<driver name=\"z\" type=\"zigbee_light\" id=\"1\">"
                              "<config><endpoint>999</endpoint></config></driver></house>");
    const CommandRun run = folder.Validate("house.xml");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, ElementsAre(HasSubstr("house.xml:2: the setting <endpoint> is \"999\"")));
    EXPECT_EQ(folder.Stdio("house.xml", "{\"house\":\"list\"}\n").status, 0);
}
} // namespace lighting_host

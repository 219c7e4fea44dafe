// Every way in which an input can be wrong: the words, and that nothing has changed.

#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using testing::ElementsAre;

struct Refusal
{
    const char* input;
    const char* error;
};

// For the name of a test in a failure.
void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.input;
}

class RefusedInputTest : public testing::TestWithParam<Refusal>
{
};

const char KEYPAD[] = R"(<house><driver name="p" type="puck" id="101">
<capability name="load_present">true</capability><config><NUM_BUTTONS>1</NUM_BUTTONS></config>
</driver></house>)";

// Everything that a puck can be asked about itself.
const char LOOK[] = "{\"driver\":\"p\",\"persist\":true}\n{\"driver\":\"p\",\"query\":\"hold\"}\n"
                    "{\"driver\":\"p\",\"query\":\"contact\",\"index\":0}\n"
                    "{\"driver\":\"p\",\"query\":\"contact\",\"index\":1}\n"
                    "{\"driver\":\"p\",\"query\":\"button\",\"index\":0}\n{\"house\":\"list\"}\n";

constexpr const char* NO_JSON = "this is no JSON";

TEST_P(RefusedInputTest, IsToldInWordsAndChangesNothing)
{
    const HouseFolder folder;
    folder.Write("house.xml", KEYPAD);
    const CommandRun before = folder.Stdio("house.xml", std::string("\n") + LOOK);
    CommandRun after = folder.Stdio("house.xml", GetParam().input + std::string("\n") + LOOK);
    EXPECT_EQ(before.status, 0);
    EXPECT_EQ(after.status, 1);
    ASSERT_EQ(after.out.size(), before.out.size() + 2);
    const auto refused = after.out.begin() + PUCK_STARTS.size();
    if (GetParam().error == std::string(NO_JSON))
        EXPECT_THAT(refused[0], testing::StartsWith("{\"error\":\"this is no JSON: column "));
    else
        EXPECT_EQ(refused[0], "{\"error\":\"" + std::string(GetParam().error) + "\",\"line\":1}");
    EXPECT_EQ(refused[1], "{\"done\":1}");
    after.out.erase(refused, refused + 2);
    EXPECT_EQ(after.out, before.out);
}

constexpr const char* NO_OBJECT = "the input is no JSON object";

INSTANTIATE_TEST_SUITE_P(
    Lines, RefusedInputTest,
    testing::Values(
        Refusal{"x", NO_JSON}, Refusal{"{", NO_JSON}, Refusal{"{}}", NO_JSON},
        Refusal{"{'house':'list'}", NO_JSON}, Refusal{"{\"house\":\"list\",}", NO_JSON},
        Refusal{"{\"house\":\"list\"} {\"house\":\"list\"}", NO_JSON},
        Refusal{"{\"house\":\"list\"} // or so", NO_JSON}, Refusal{"{house:\"list\"}", NO_JSON},
        Refusal{"{\"advance_ms\":01}", NO_JSON}, Refusal{"{\"advance_ms\":+1}", NO_JSON},
        Refusal{"{\"advance_ms\":0x1}", NO_JSON}, Refusal{"{\"advance_ms\":NaN}", NO_JSON},
        Refusal{"{\"advance_ms\":1e999}", NO_JSON}, Refusal{"{\"house\":\"li\tst\"}", NO_JSON},
        Refusal{"{\"house\":\"\\x41\"}", NO_JSON}, Refusal{"{\"house\":\"\\ud800\"}", NO_JSON},
        Refusal{"{\"house\":\"l\xFF\"}", NO_JSON}, Refusal{"{\"house\":\"l\xC0\x80\"}", NO_JSON},
        Refusal{"[]", NO_OBJECT}, Refusal{"[{\"house\":\"list\"}]", NO_OBJECT},
        Refusal{"7", NO_OBJECT}, Refusal{"\"house\"", NO_OBJECT}, Refusal{"null", NO_OBJECT},
        Refusal{"true", NO_OBJECT}, Refusal{"{}", "the input lacks the field \\\"driver\\\""},
        Refusal{R"({"driver":"p"})", "the input says nothing but a driver's name"},
        Refusal{R"({"driver":"nobody","persist":true})", "there is no driver named \\\"nobody\\\""},
        Refusal{R"({"driver":"P","persist":true})", "there is no driver named \\\"P\\\""},
        Refusal{R"({"driver":5,"persist":true})", "\\\"driver\\\" is not a text"},
        Refusal{R"({"driver":null,"persist":true})", "\\\"driver\\\" is not a text"},
        Refusal{R"({"persist":true})", "the input lacks the field \\\"driver\\\""},
        Refusal{R"({"driver":"p","dance":true})",
                "a driver of type \\\"puck\\\" has no input \\\"dance\\\""},
        Refusal{R"({"driver":"p","":1})", "a driver of type \\\"puck\\\" has no input \\\"\\\""},
        Refusal{R"({"driver":"p","persist":true,"now":1})",
                "the input has an unknown field \\\"now\\\""}));

INSTANTIATE_TEST_SUITE_P(
    Time, RefusedInputTest,
    testing::Values(
        Refusal{R"({"advance_ms":-1})", "\\\"advance_ms\\\" is not within 0 to 9000000000000"},
        Refusal{R"({"advance_ms":9000000000001})",
                "\\\"advance_ms\\\" is not within 0 to 9000000000000"},
        Refusal{R"({"advance_ms":18446744073709551615})",
                "\\\"advance_ms\\\" is not within 0 to 9000000000000"},
        Refusal{R"({"advance_ms":18446744073709551616})",
                "\\\"advance_ms\\\" is not within 0 to 9000000000000"},
        Refusal{R"({"advance_ms":1.0})", "\\\"advance_ms\\\" is not an integer"},
        Refusal{R"({"advance_ms":"1"})", "\\\"advance_ms\\\" is not an integer"},
        Refusal{R"({"advance_ms":true})", "\\\"advance_ms\\\" is not an integer"},
        Refusal{R"({"advance_ms":null})", "\\\"advance_ms\\\" is not an integer"},
        Refusal{R"({"advance_ms":1,"x":2})", "the input has an unknown field \\\"x\\\""},
        Refusal{R"({"house":"lists"})", "\\\"house\\\" can only be \\\"list\\\""},
        Refusal{R"({"house":1})", "\\\"house\\\" is not a text"},
        Refusal{R"({"house":"list","x":2})", "the input has an unknown field \\\"x\\\""}));

INSTANTIATE_TEST_SUITE_P(
    Messages, RefusedInputTest,
    testing::Values(
        Refusal{R"({"driver":"p","command":1})", "\\\"command\\\" is not a text"},
        Refusal{R"({"driver":"p","command":"TURN_LED_ON","params":[]})",
                "\\\"params\\\" is no JSON object"},
        Refusal{R"({"driver":"p","command":"TURN_LED_ON","params":null})",
                "\\\"params\\\" is no JSON object"},
        Refusal{R"({"driver":"p","command":"TURN_LED_ON","params":{"CONTACT_NUMBER":{}}})",
                "the parameter \\\"CONTACT_NUMBER\\\" is neither a text, a number nor a boolean"},
        Refusal{R"({"driver":"p","command":"TURN_LED_ON","params":{"CONTACT_NUMBER":0,"X":null}})",
                "the parameter \\\"X\\\" is neither a text, a number nor a boolean"},
        Refusal{R"({"driver":"p","command":"TURN_LED_ON","CONTACT_NUMBER":0})",
                "the input has an unknown field \\\"CONTACT_NUMBER\\\""},
        Refusal{R"({"driver":"p","command":"CLICK_CNT","trap":"nx.dmx.sc"})",
                "the input has an unknown field \\\"trap\\\""},
        Refusal{R"({"driver":"p","condition":true})", "\\\"condition\\\" is not a text"},
        Refusal{R"({"driver":"p","condition":"ON","params":"0"})",
                "\\\"params\\\" is no JSON object"},
        Refusal{R"({"driver":"p","trap":7,"params":[]})", "\\\"trap\\\" is not a text"},
        Refusal{R"({"driver":"p","trap":"nx.dmx.bp","params":"7"})",
                "\\\"params\\\" is no JSON array"},
        Refusal{R"({"driver":"p","trap":"nx.dmx.bp","params":["7",8]})",
                "\\\"params\\\" is not a text"},
        Refusal{R"({"driver":"p","trap":"nx.dmx.bp","params":["7"],"type":1})",
                "the input has an unknown field \\\"type\\\""},
        Refusal{R"({"driver":"p","reply":"nx.dmx.bmc","params":{"a":"64"}})",
                "\\\"params\\\" is no JSON array"},
        Refusal{R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":true})",
                "\\\"request\\\" is no JSON object"},
        Refusal{R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":{"params":[]}})",
                "\\\"request\\\" lacks the field \\\"type\\\""},
        Refusal{R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":{"type":2.5}})",
                "\\\"type\\\" is not an integer"},
        Refusal{
            R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":{"type":2147483648}})",
            "\\\"type\\\" is not within -2147483648 to 2147483647"},
        Refusal{
            R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":{"type":2,"params":[2]}})",
            "\\\"params\\\" is not a text"},
        Refusal{
            R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":{"type":2,"reply":"x"}})",
            "\\\"request\\\" has an unknown field \\\"reply\\\""},
        Refusal{R"({"driver":"p","reply":"nx.dmx.bmc","params":["64"],"request":null,"x":1})",
                "the input has an unknown field \\\"x\\\""}));

INSTANTIATE_TEST_SUITE_P(
    Bindings, RefusedInputTest,
    testing::Values(
        Refusal{R"({"driver":"p","online":1})", "\\\"online\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","online":"true"})", "\\\"online\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","binding":1,"class":"BUTTON_LINK"})",
                "the input lacks the field \\\"bound\\\""},
        Refusal{R"({"driver":"p","binding":1,"bound":true})",
                "the input lacks the field \\\"class\\\""},
        Refusal{R"({"driver":"p","binding":-1,"class":"BUTTON_LINK","bound":true})",
                "\\\"binding\\\" is not within 0 to 4294967295"},
        Refusal{R"({"driver":"p","binding":4294967296,"class":"BUTTON_LINK","bound":true})",
                "\\\"binding\\\" is not within 0 to 4294967295"},
        Refusal{R"({"driver":"p","binding":"1","class":"BUTTON_LINK","bound":true})",
                "\\\"binding\\\" is not an integer"},
        Refusal{R"({"driver":"p","binding":1,"class":"BUTTON_LINK","bound":1})",
                "\\\"bound\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","bound_call":true})", "\\\"bound_call\\\" is no JSON object"},
        Refusal{R"({"driver":"p","bound_call":{"binding":1}})",
                "\\\"bound_call\\\" lacks the field \\\"kind\\\""},
        Refusal{
            R"({"driver":"p","bound_call":{"kind":"PROTOCOL_COMMAND","xml":"<command name='CLICK_CNT'/>"}})",
            "\\\"bound_call\\\" lacks the field \\\"binding\\\""},
        Refusal{R"({"driver":"p","bound_call":{"binding":1,"kind":"PROTOCOL_COMMAND","xml":5}})",
                "\\\"xml\\\" is not a text"},
        Refusal{R"({"driver":"p","bound_call":{"binding":1,"kind":"A","params":{}}})",
                "\\\"bound_call\\\" has an unknown field \\\"params\\\""}));

INSTANTIATE_TEST_SUITE_P(
    OfTheHost, RefusedInputTest,
    testing::Values(
        Refusal{R"({"driver":"p","persist":false})", "\\\"persist\\\" can only be true"},
        Refusal{R"({"driver":"p","persist":"yes"})", "\\\"persist\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","restart":false})", "\\\"restart\\\" can only be true"},
        Refusal{R"({"driver":"p","restart":1})", "\\\"restart\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","restart":true,"state":"<State/>"})",
                "the input has an unknown field \\\"state\\\""},
        Refusal{R"({"driver":"p","set":{"load_on":true}})",
                "a driver of type \\\"puck\\\" has no fact \\\"load_on\\\""},
        Refusal{R"({"driver":"p","set":true})", "\\\"set\\\" is no JSON object"},
        Refusal{R"({"driver":"p","set":{},"x":1})", "the input has an unknown field \\\"x\\\""},
        Refusal{R"({"driver":"p","query":1})", "\\\"query\\\" is not a text"},
        Refusal{R"({"driver":"p","query":"mood"})",
                "a driver of type \\\"puck\\\" has no query \\\"mood\\\""},
        Refusal{R"({"driver":"p","query":"contact"})", "the input lacks the field \\\"index\\\""},
        Refusal{R"({"driver":"p","query":"contact","index":2})", "there is no contact 2"},
        Refusal{R"({"driver":"p","query":"contact","index":4294967295})",
                "there is no contact 4294967295"},
        Refusal{R"({"driver":"p","query":"contact","index":-1})",
                "\\\"index\\\" is not within 0 to 4294967295"},
        Refusal{R"({"driver":"p","query":"contact","index":0,"x":1})",
                "the input has an unknown field \\\"x\\\""},
        Refusal{R"({"driver":"p","query":"hold","index":0})",
                "the input has an unknown field \\\"index\\\""},
        Refusal{R"({"driver":"p","query":"button","index":1})", "there is no snap-on button 1"}));

INSTANTIATE_TEST_SUITE_P(
    OfAPuck, RefusedInputTest,
    testing::Values(
        Refusal{R"({"driver":"p","light_level":"1"})", "\\\"light_level\\\" is not an integer"},
        Refusal{R"({"driver":"p","light_level":1.5})", "\\\"light_level\\\" is not an integer"},
        Refusal{R"({"driver":"p","light_level":2147483648})",
                "\\\"light_level\\\" is not within -2147483648 to 2147483647"},
        Refusal{R"({"driver":"p","light_level":1,"x":1})",
                "the input has an unknown field \\\"x\\\""},
        Refusal{R"({"driver":"p","button":1})", "\\\"button\\\" is no JSON object"},
        Refusal{R"({"driver":"p","button":{}})", "\\\"button\\\" lacks the field \\\"index\\\""},
        Refusal{R"({"driver":"p","button":{"index":0}})",
                "\\\"button\\\" lacks the field \\\"action\\\""},
        Refusal{R"({"driver":"p","button":{"index":1,"action":"send_settings"}})",
                "there is no snap-on button 1"},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"blink"}})",
                "a snap-on button has no action \\\"blink\\\""},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"behavior"}})",
                "\\\"button\\\" lacks the field \\\"value\\\""},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"behavior","value":1,"send":true}})",
                "\\\"button\\\" has an unknown field \\\"send\\\""},
        Refusal{
            R"({"driver":"p","button":{"index":0,"action":"cur_state","value":1,"force":true}})",
            "\\\"button\\\" has an unknown field \\\"force\\\""},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"local_led","value":0}})",
                "\\\"value\\\" is neither true nor false"},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"on_color","color":16}})",
                "\\\"color\\\" is not a text"},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"off_color"}})",
                "\\\"button\\\" lacks the field \\\"color\\\""},
        Refusal{
            R"({"driver":"p","button":{"index":0,"action":"cur_color","color":"ffffff","send":1}})",
            "\\\"send\\\" is neither true nor false"},
        Refusal{
            R"({"driver":"p","button":{"index":0,"action":"follow_bound","value":true,"send":true}})",
            "\\\"button\\\" has an unknown field \\\"send\\\""},
        Refusal{R"({"driver":"p","button":{"index":0,"action":"follow_bound","value":true},"x":1})",
                "the input has an unknown field \\\"x\\\""}));
} // namespace
} // namespace lighting_host

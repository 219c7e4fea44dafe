// What holds for every input, sensible or not: each line is answered once and in order, in ASCII,
// time does not go back, and the house ends as it should.

#include "lighting_host/house/PlainInput.h"
#include "tests/lighting_host/HouseFolder.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace lighting_host
{
namespace
{
const char ANY_HOUSE[] = R"(<house><driver name="p" type="puck" id="101">
<capability name="load_present">true</capability><config><NUM_BUTTONS>2</NUM_BUTTONS></config>
</driver></house>)";

bool IsPrintableObject(const std::string& line)
{
    return line.size() > 2 && line.front() == '{' && line.back() == '}' &&
           std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

// The time of an output object, -1 for "done" and "error", which have none.
long long TimeOf(const std::string& line)
{
    const std::string head = "{\"t_ms\":";
    if (line.compare(0, head.size(), head) == 0)
        return std::stoll(line.substr(head.size()));
    RC_ASSERT(line.compare(0, 8, "{\"done\":") == 0 || line.compare(0, 9, "{\"error\":") == 0);
    return -1;
}

// What must hold of a run, whatever its lines said.
void CheckRun(const CommandRun& run, const std::vector<std::string>& lines)
{
    std::vector<std::string> wanted;
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        if (!lines[i].empty() && lines[i] != "\r" && lines[i][0] != '#')
            wanted.push_back("{\"done\":" + std::to_string(i + 1) + "}");
    }
    std::vector<std::string> done;
    long long now = 0;
    for (const std::string& line : run.out)
    {
        RC_ASSERT(IsPrintableObject(line));
        const long long time = TimeOf(line);
        RC_ASSERT(time == -1 || time >= now);
        now = std::max(now, time);
        if (line.compare(0, 8, "{\"done\":") == 0)
            done.push_back(line);
    }
    RC_ASSERT(done == wanted);
    RC_ASSERT(run.out.back() == PuckEnds(static_cast<long>(now)).back());
    RC_ASSERT(run.status == 0 || run.status == 1);
}

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

// A JSON value that fits a field of an input, or does not.
rc::Gen<std::string> AnyValue()
{
    return rc::gen::element<std::string>(
        "0", "1", "2", "-1", "7", "99", "4294967295", "4294967296", "1.5", "1e400", "true", "false",
        "null", "\"\"", "\"0\"", "\"1\"", "\"00000007\"", "\"00000008\"", "\"00000001\"", "\"64\"",
        "\"abc\"", "\"BUTTON_LINK\"", "\"PROTOCOL_COMMAND\"", "\"contact\"", "\"button\"",
        "\"hold\"", "\"list\"", "\"p\"", "\"ON\"", "\"behavior\"", "\"cur_state\"", "\"on_color\"",
        "\"send_settings\"", "\"follow_bound\"", "\"\\u0000\"", "\"\xC3\xA9\"", "\"\xC3\"", "[]",
        "[\"00000007\"]", "[\"00000001\",\"00000002\"]", "[\"64\"]", "{}", "[[[]]]",
        "{\"CONTACT_NUMBER\":\"1\",\"AUX_BEHAVIOR\":5,\"AUX_LEDS\":1}", "{\"BUTTON_NUMBER\":1}",
        "{\"type\":2,\"params\":[\"01\"]}", "{\"index\":1,\"action\":\"send_settings\"}",
        "{\"index\":0,\"action\":\"behavior\",\"value\":4,\"force\":true}",
        "{\"binding\":1,\"kind\":\"PROTOCOL_COMMAND\",\"xml\":\"<command name='CLICK_CNT'/>\"}",
        "\"CONTACT_STATUS\"", "\"PRESS_CNT\"", "\"CLICK_BTN\"", "\"GET_PROPERTIES\"",
        "\"nx.dmx.bp\"", "\"nx.dmx.cc\"", "\"nx.dmx.he\"", "\"nx.dmx.bmc\"");
}

rc::Gen<std::string> AnyField()
{
    return rc::gen::element<std::string>("driver", "command", "params", "condition", "trap",
                                         "reply", "request", "online", "binding", "class", "bound",
                                         "bound_call", "set", "persist", "restart", "query",
                                         "index", "button", "light_level", "advance_ms", "house");
}

// An input made of fields that exist, in any combination; most name the driver.
rc::Gen<std::string> AnyObject()
{
    return rc::gen::map(
        rc::gen::pair(rc::gen::inRange(0, 8),
                      rc::gen::container<std::vector<std::pair<std::string, std::string>>>(
                          rc::gen::pair(AnyField(), AnyValue()))),
        [](const auto& made)
        {
            std::string line = made.first > 0 ? "{\"driver\":\"p\"" : "{\"x\":1";
            std::size_t left = 3;
            for (const auto& field : made.second)
            {
                if (left-- == 0)
                    break;
                line += ",\"" + field.first + "\":" + field.second;
            }
            return line + "}";
        });
}

// Inputs that are right, so that the driver has something to do between the others.
rc::Gen<std::string> GoodInput()
{
    return rc::gen::element<std::string>(
        R"({"advance_ms":300})", R"({"house":"list"})",
        R"({"driver":"p","trap":"nx.dmx.bp","params":["00000007"]})",
        R"({"driver":"p","trap":"nx.dmx.hc","params":["00000002"]})",
        R"({"driver":"p","trap":"nx.dmx.sc","params":["00000008"]})",
        R"({"driver":"p","reply":"nx.dmx.bmc","params":["00000064"]})",
        R"({"driver":"p","online":true})", R"({"driver":"p","restart":true})",
        R"({"driver":"p","persist":true})",
        R"({"driver":"p","command":"CLICK_BTN","params":{"BUTTON_NUMBER":1}})",
        R"({"driver":"p","binding":300,"class":"BUTTON_LINK","bound":true})",
        R"({"driver":"p","button":{"index":0,"action":"follow_bound","value":true}})",
        R"({"driver":"p","light_level":40})");
}

// Inputs of the forms that are read without a JSON tree, and some that are nearly of such a form.
rc::Gen<std::string> NearlyPlainInput()
{
    const auto word = rc::gen::element<std::string>("command", "trap", "reply", "condition");
    const auto subject = rc::gen::element<std::string>("nx.dmx.bp", "nx.dmx.he", "nx.dmx.bmc",
                                                       "CLICK_BTN", "TURN_LED_ON", "", "a\\tb");
    const auto params = rc::gen::element<std::string>(
        "", ",\"params\":[]", ",\"params\":{}", ",\"params\":[\"00000007\"]",
        ", \"params\" : [ \"00000008\" , \"\" ] ", ",\"params\":[7]", ",\"params\":[\"\\u0030\"]",
        ",\"params\":{\"BUTTON_NUMBER\":1}", ",\"params\":{\"BUTTON_NUMBER\":\"1\"}",
        ",\"params\":{\"CONTACT_NUMBER\":-0,\"X\":-5}", ",\"params\":{\"X\":1,\"X\":2}",
        ",\"params\":{\"X\":99999999999999999999}", ",\"params\":{\"X\":1.5,\"Y\":true}",
        ",\"params\":null", ",\"request\":null", ",\"other\":1");
    const auto driver = rc::gen::element<std::string>("p", "p", "p", "nobody", "");
    return rc::gen::map(rc::gen::tuple(driver, word, subject, params),
                        [](const auto& made)
                        {
                            const auto& [name, kind, about, more] = made;
                            return "{\"driver\":\"" + name + "\",\"" + kind + "\":\"" + about +
                                   "\"" + more + "}";
                        });
}

// The same input with the first letter of its first field as an escape, which is not plain.
std::string NotPlain(std::string line)
{
    const char letter = line[2];
    return line.replace(2, 1, letter == 'd' ? "\\u0064" : letter == 'a' ? "\\u0061" : "\\u0068");
}

// Without the records of stack frames ("log":"3# ..."): they tell by which way the program came,
// and only that may differ.
std::vector<std::string> WithoutFrames(std::vector<std::string> lines)
{
    const auto isFrame = [](const std::string& line)
    {
        const std::string field = "\"log\":\"";
        const std::size_t at = line.find(field);
        if (at == std::string::npos)
            return false;
        const std::size_t digits = at + field.size();
        const std::size_t end = line.find_first_not_of("0123456789", digits);
        return end > digits && line.compare(end, 2, "# ") == 0;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isFrame), lines.end());
    return lines;
}

class AnyInputPropertyTest : public testing::Test
{
protected:
    AnyInputPropertyTest() { folder.Write("house.xml", ANY_HOUSE); }
    HouseFolder folder;
};

TEST_F(AnyInputPropertyTest, AnyBytes_AreAnsweredLineByLine)
{
    EXPECT_TRUE(rc::check(
        [this](std::vector<std::string> lines)
        {
            for (std::string& line : lines)
                std::replace(line.begin(), line.end(), '\n', ' ');
            CheckRun(folder.Stdio("house.xml", Joined(lines)), lines);
        }));
}

TEST_F(AnyInputPropertyTest, AnyObjects_AreAnsweredLineByLine)
{
    const auto line = rc::gen::oneOf(AnyObject(), AnyObject(), GoodInput());
    EXPECT_TRUE(rc::check(
        [&]
        {
            const auto lines = *rc::gen::container<std::vector<std::string>>(line);
            CheckRun(folder.Stdio("house.xml", Joined(lines)), lines);
        }));
}

TEST_F(AnyInputPropertyTest, AnyGoodInputs_AreTakenAndRepeatExactly)
{
    EXPECT_TRUE(rc::check(
        [&]
        {
            const auto lines = *rc::gen::container<std::vector<std::string>>(GoodInput());
            const CommandRun run = folder.Stdio("house.xml", Joined(lines));
            CheckRun(run, lines);
            RC_ASSERT(run.status == 0);
            RC_ASSERT(folder.Stdio("house.xml", Joined(lines)).out == run.out);
        }));
}

TEST_F(AnyInputPropertyTest, AnyPlainInputs_DoWhatTheSameDoesThroughATree)
{
    EXPECT_TRUE(rc::check(
        [&]
        {
            const auto lines = *rc::gen::container<std::vector<std::string>>(
                rc::gen::oneOf(NearlyPlainInput(), GoodInput()));
            std::vector<std::string> others;
            for (const std::string& line : lines)
                others.push_back(NotPlain(line));
            RC_ASSERT(WithoutFrames(folder.Stdio("house.xml", Joined(others)).out) ==
                      WithoutFrames(folder.Stdio("house.xml", Joined(lines)).out));
        }));
}

TEST(PlainInput, OfAPlainForm_IsRead)
{
    PlainInput input;
    for (const char* line :
         {R"({"advance_ms":20})", " {\t\"advance_ms\" : 0 } \r", R"({"driver":"","trap":""})",
          R"({"driver":"p","command":"c","params":{"A":-1,"B":"x y","C":999999999999999999}})",
          R"({"driver":"p","reply":"r","params":["1","2"]})"})
        EXPECT_TRUE(ReadPlainInput(line, input)) << line;
}

TEST(PlainInput, OfAnyOtherForm_IsLeftToTheTree)
{
    PlainInput input;
    for (const char* line : {"",
                             "{",
                             "{}",
                             R"({"advance_ms":20)",
                             R"({"advance_ms":20}x)",
                             R"({"advance_ms":020})",
                             R"({"advance_ms":-0})",
                             R"({"advance_ms":1e3})",
                             R"({"advance_ms":1000000000000000000})",
                             R"({"advance_ms":-})",
                             R"({"advance_ms":1,"x":1})",
                             R"({"driver":"p"})",
                             R"({"driver":"p","trap":"t",})",
                             R"({"driver":"p","trap":"t","params":["\u0030"]})",
                             R"({"driver":"p","trap":"t","params":["1",]})",
                             "{\"driver\":\"\xC3\xA9\",\"trap\":\"t\"}",
                             R"({"driver":"p","trap":"t","params":{"A":1}})",
                             R"({"driver":"p","command":"c)",
                             R"({"driver":"p","command":"c","params":{"A":1,"A":2}})",
                             R"({"driver":"p","command":"c","params":["1"]})",
                             R"({"driver":"p","online":true})"})
        EXPECT_FALSE(ReadPlainInput(line, input)) << line;
    EXPECT_FALSE(ReadPlainInput(std::string("{\"advance_ms\":1}\0", 17), input));
}

TEST(PlainInput, MoreParametersThanAreUsual_AreLeftToTheTree)
{
    const auto line = [](std::size_t count)
    {
        std::string params = "\"0\"";
        for (std::size_t i = 1; i < count; ++i)
            params += ",\"0\"";
        return "{\"driver\":\"p\",\"trap\":\"t\",\"params\":[" + params + "]}";
    };
    PlainInput input;
    EXPECT_TRUE(ReadPlainInput(line(MOST_PLAIN_PARAMS), input));
    EXPECT_FALSE(ReadPlainInput(line(MOST_PLAIN_PARAMS + 1), input));
}

TEST_F(AnyInputPropertyTest, AnyGoodInputs_RecordedAgreeWhenReplayed)
{
    EXPECT_TRUE(rc::check(
        [&]
        {
            const auto lines = *rc::gen::container<std::vector<std::string>>(
                rc::gen::oneOf(GoodInput(), AnyObject()));
            folder.Stdio("house.xml", Joined(lines), {}, "recorded.jsonl");
            RC_ASSERT(folder.Check({"recorded.jsonl"}).status == 0);
        }));
}
} // namespace
} // namespace lighting_host

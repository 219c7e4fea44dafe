// Inputs that nobody sends by mistake: huge, deep, broken and out of every range.

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

constexpr std::size_t MEGABYTE = 1 << 20;

std::string Repeat(const std::string& text, std::size_t times)
{
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

class HostileInputTest : public testing::Test
{
protected:
    HostileInputTest() { folder.Write("house.xml", ONE_PUCK); }

    // The answers to these lines, without the drivers' start and end, which must be whole.
    std::vector<std::string> Answers(const std::string& input)
    {
        const CommandRun run = folder.Stdio("house.xml", input);
        status = run.status;
        const std::size_t frame = PUCK_STARTS.size();
        if (run.out.size() < 2 * frame || run.out.back() != PuckEnds().back())
        {
            ADD_FAILURE() << "the house did not start and end";
            return {};
        }
        return {run.out.begin() + frame, run.out.end() - frame};
    }

    HouseFolder folder;
    int status = -1;
};

TEST_F(HostileInputTest, MegabyteTexts_PassThroughWhole)
{
    const std::string huge(MEGABYTE, 'x');
    const auto answers = Answers(
        "{\"driver\":\"p\",\"command\":\"" + huge + "\"}\n" +
        "{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":\"" + huge +
        "\"}}\n" + "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"" + huge + "\"]}\n");
    EXPECT_THAT(
        answers,
        ElementsAre(
            "{\"t_ms\":0,\"driver\":\"p\",\"unhandled\":\"" + huge + "\"}", R"({"done":1})",
            R"({"t_ms":0,"driver":"p","mib":"nx.dmx.led","type":4,"params":["00","05","ffffff"]})",
            R"({"done":2})", R"({"done":3})"));
}

TEST_F(HostileInputTest, MegabyteOfDigits_IsBeyondEveryContact)
{
    const auto answers =
        Answers("{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":\"" +
                std::string(MEGABYTE, '9') + "\"}}\n");
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_THAT(answers[0], HasSubstr("\"assert\":\"lighting_common/NxBasePuckDriver\""));
}

TEST_F(HostileInputTest, DeepNesting_IsRefused)
{
    for (const std::string& deep :
         {Repeat("[", 100000), Repeat("[", 100000) + Repeat("]", 100000), Repeat("{\"a\":", 100000),
          "{\"driver\":\"p\",\"command\":\"X\",\"params\":" + Repeat("[", 65) + Repeat("]", 65) +
              "}"})
    {
        EXPECT_THAT(
            Answers(deep + "\n"),
            ElementsAre(R"({"error":"the JSON nests too deep","line":1})", R"({"done":1})"));
        EXPECT_EQ(status, 1);
    }
}

TEST_F(HostileInputTest, BracketsInTexts_AreNoNesting)
{
    const std::string brackets = Repeat("[{\\\"\\\\", 1000);
    EXPECT_THAT(Answers("{\"driver\":\"p\",\"command\":\"" + brackets + "\"}\n"),
                ElementsAre("{\"t_ms\":0,\"driver\":\"p\",\"unhandled\":\"" + brackets + "\"}",
                            R"({"done":1})"));
}

TEST_F(HostileInputTest, TooManyFields_AreRefused)
{
    std::string fields = "{\"driver\":\"p\"";
    for (int i = 0; i < 100000; ++i)
        fields += ",\"" + std::to_string(i) + "\":0";
    EXPECT_THAT(
        Answers(fields + "}\n"),
        ElementsAre(R"({"error":"the JSON has too many fields","line":1})", R"({"done":1})"));
    fields.clear();
    for (int i = 0; i < 100; ++i)
        fields += ",\"" + std::to_string(i) + "\":0";
    EXPECT_THAT(
        Answers("{\"driver\":\"p\"" + fields + "}\n"),
        ElementsAre(R"({"error":"the input has too many fields","line":1})", R"({"done":1})"));
}

TEST_F(HostileInputTest, ThousandCommandParameters_AreLookedThrough)
{
    std::string params;
    for (int i = 0; i < 1000; ++i)
        params += "\"" + std::to_string(i) + "\":0,";
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{" + params +
                "\"CONTACT_NUMBER\":1}}\n"),
        ElementsAre(
            R"({"t_ms":0,"driver":"p","mib":"nx.dmx.led","type":4,"params":["01","05","ffffff"]})",
            R"({"done":1})"));
}

TEST_F(HostileInputTest, ThousandPacketParameters_AreIgnored)
{
    const std::string params = Repeat("\"7\",", 999) + "\"7\"";
    for (const char* mib : {"bp", "hb", "hc", "he", "sc", "cc"})
        EXPECT_THAT(Answers("{\"driver\":\"p\",\"trap\":\"nx.dmx." + std::string(mib) +
                            "\",\"params\":[" + params + "]}\n"),
                    ElementsAre(R"({"done":1})"));
}

TEST_F(HostileInputTest, RawNul_IsNoJson)
{
    using namespace std::string_literals;
    for (const std::string& line : {"{\"house\":\"list\"}\0"s, "{\"house\":\"list\"}\0garbage"s,
                                    "\0"s, "{\"driver\":\"p\0\"}"s})
        EXPECT_THAT(Answers(line + "\n"), ElementsAre(R"({"error":"this is no JSON: column )" +
                                                          std::to_string(line.find('\0') + 1) +
                                                          R"(: it has a NUL","line":1})",
                                                      R"({"done":1})"));
}

TEST_F(HostileInputTest, EscapedNul_IsACharacterOfItsText)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"command\":\"A\\u0000B\"}\n"
                "{\"driver\":\"p\\u0000\",\"persist\":true}\n"
                "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\\u00008\"]}\n"
                "{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":"
                "\"1\\u0000\"}}\n"),
        ElementsAre(
            R"({"t_ms":0,"driver":"p","unhandled":"A\u0000B"})", R"({"done":1})",
            R"({"error":"there is no driver named \"p\u0000\"","line":2})", R"({"done":2})",
            R"({"t_ms":0,"driver":"p","event":6001})", R"({"done":3})",
            R"({"t_ms":0,"driver":"p","mib":"nx.dmx.led","type":4,"params":["01","05","ffffff"]})",
            R"({"done":4})"));
}

TEST_F(HostileInputTest, NulInBoundXml_IsNoCommand)
{
    const auto answers =
        Answers("{\"driver\":\"p\",\"bound_call\":{\"binding\":1,\"kind\":\"PROTOCOL_COMMAND\","
                "\"xml\":\"<command name='CLICK_CNT'/>\\u0000\"}}\n");
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_THAT(answers[0], HasSubstr("last command wasn't handled"));
    EXPECT_EQ(answers[1], R"({"t_ms":0,"driver":"p","bound_call_result":-1})");
}

TEST_F(HostileInputTest, DeepBoundXml_IsNoCommand)
{
    const std::string xml = "<command name='CLICK_CNT'>" + Repeat("<a>", 100000) +
                            Repeat("</a>", 100000) + "</command>";
    const auto answers = Answers(
        "{\"driver\":\"p\",\"bound_call\":{\"binding\":1,\"kind\":\"PROTOCOL_COMMAND\",\"xml\":\"" +
        xml + "\"}}\n");
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(answers[1], R"({"t_ms":0,"driver":"p","bound_call_result":-1})");
}

TEST_F(HostileInputTest, EntityBomb_StaysText)
{
    const auto answers = Answers(
        "{\"driver\":\"p\",\"bound_call\":{\"binding\":1,\"kind\":\"PROTOCOL_COMMAND\",\"xml\":"
        "\"<!DOCTYPE c [<!ENTITY a 'CLICK_CNT'>]><command name='&a;'/>\"}}\n");
    ASSERT_GE(answers.size(), 2u);
    EXPECT_EQ(answers[answers.size() - 2], R"({"t_ms":0,"driver":"p","bound_call_result":-1})");
}

TEST_F(HostileInputTest, OtherScriptsAndControlCharacters_AreAsciiOnTheWayOut)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"command\":"
                "\"\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E\\u0001\\u007f\\n\"}\n"),
        ElementsAre(
            R"({"t_ms":0,"driver":"p","unhandled":"\u00e9\u20ac\ud834\udd1e\u0001\u007f\n"})",
            R"({"done":1})"));
}

TEST_F(HostileInputTest, NameGivenTwice_TheLastCounts)
{
    EXPECT_THAT(Answers("{\"driver\":\"q\",\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"trap\":\"nx."
                        "dmx.he\",\"params\":[\"8\"],\"params\":[\"7\"]}\n"),
                ElementsAre(R"({"t_ms":0,"driver":"p","event":6000})", R"({"done":1})"));
}

TEST_F(HostileInputTest, NumbersBeyond64Bits_KeepTheirSize)
{
    for (const char* number : {"100000000000000000000", "18446744073709551616", "1e300",
                               "-100000000000000000000", "18446744073709551615"})
    {
        const auto answers = Answers(
            std::string(
                "{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":") +
            number + "}}\n");
        if (std::string(number) == "-100000000000000000000")
            EXPECT_THAT(answers,
                        ElementsAre(StartsWith(R"({"t_ms":0,"driver":"p","mib":"nx.dmx.led")"),
                                    R"({"done":1})"))
                << number;
        else
            EXPECT_THAT(answers, ElementsAre(HasSubstr("\"assert\""), R"({"done":1})")) << number;
    }
}

TEST_F(HostileInputTest, FarthestTime_CanBeReachedButNotPassed)
{
    const CommandRun run = folder.Stdio(
        "house.xml", "{\"advance_ms\":9000000000000}\n{\"advance_ms\":0}\n{\"advance_ms\":1}\n");
    EXPECT_THAT(run.out, testing::IsSupersetOf(
                             {R"({"error":"\"advance_ms\" is not within 0 to 0","line":3})",
                              PuckEnds(9000000000000).back().c_str()}));
}

TEST_F(HostileInputTest, LongestHoldTime_RunsForThatLong)
{
    const CommandRun run = folder.Stdio(
        "house.xml", "{\"driver\":\"p\",\"reply\":\"nx.dmx.bmc\",\"params\":[\"7fffffff\"]}\n"
                     "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]}\n{\"advance_"
                     "ms\":9000000000}\n");
    EXPECT_THAT(run.out, testing::Contains(R"({"t_ms":2147483947,"driver":"p","event":6000})"));
}
} // namespace
} // namespace lighting_host

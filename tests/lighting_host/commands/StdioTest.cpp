// The lines of stdio: what is skipped, counted, answered and ended, and the exact form of what a
// puck writes.

#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class StdioTest : public testing::Test
{
protected:
    StdioTest() { folder.Write("house.xml", ONE_PUCK); }

    // Runs the input and gives the lines between the drivers' start and their end.
    std::vector<std::string> Answers(const std::string& input, int status = 0, long endMs = 0)
    {
        CommandRun run = folder.Stdio("house.xml", input, options);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.err, "");
        const std::size_t frame = PUCK_STARTS.size();
        if (run.out.size() < 2 * frame)
        {
            ADD_FAILURE() << "the house did not start and end";
            return {};
        }
        EXPECT_THAT(std::vector<std::string>(run.out.begin(), run.out.begin() + frame),
                    ElementsAreArray(PUCK_STARTS));
        EXPECT_THAT(std::vector<std::string>(run.out.end() - frame, run.out.end()),
                    ElementsAreArray(PuckEnds(endMs)));
        return {run.out.begin() + frame, run.out.end() - frame};
    }

    HouseFolder folder;
    SessionOptions options;
};

TEST_F(StdioTest, NoInput_StartsAndEndsAlone)
{
    EXPECT_THAT(Answers(""), IsEmpty());
}

TEST_F(StdioTest, EmptyLinesAndComments_AreSkippedButCounted)
{
    EXPECT_THAT(Answers("\n# a comment\n\r\n#{\"house\":\"list\"}\n{\"advance_ms\":0}\n"),
                ElementsAre(R"({"done":5})"));
}

TEST_F(StdioTest, LineOfBlanksOrIndentedComment_IsNoJson)
{
    EXPECT_THAT(Answers("  \n # no comment\n", 1),
                ElementsAre(R"({"error":"this is no JSON: column 3: unexpected end of input; )"
                            R"(expected '[', '{', or a literal","line":1})",
                            R"({"done":1})",
                            R"({"error":"this is no JSON: column 2: invalid literal","line":2})",
                            R"({"done":2})"));
}

TEST_F(StdioTest, LastLineWithoutLineEnd_IsRead)
{
    EXPECT_THAT(Answers("{\"advance_ms\":1}\r\n{\"advance_ms\":1}", 0, 2),
                ElementsAre(R"({"done":1})", R"({"done":2})"));
}

TEST_F(StdioTest, OneRefusedLine_MakesTheStatusOneAndTheRestWorks)
{
    EXPECT_THAT(
        Answers("nonsense\n{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]}\n", 1),
        ElementsAre(R"({"error":"this is no JSON: column 2: invalid literal","line":1})",
                    R"({"done":1})", R"({"t_ms":0,"driver":"p","event":6001})", R"({"done":2})"));
}

TEST_F(StdioTest, UnhandledCommand_IsNoRefusal)
{
    EXPECT_THAT(Answers("{\"driver\":\"p\",\"command\":\"DANCE\"}\n"),
                ElementsAre(R"({"t_ms":0,"driver":"p","unhandled":"DANCE"})", R"({"done":1})"));
}

TEST_F(StdioTest, OutputsCarryTheTimeAtWhichTheyHappened)
{
    EXPECT_THAT(Answers("{\"driver\":\"p\",\"reply\":\"nx.dmx.bmc\",\"params\":[\"64\"]}\n"
                        "{\"advance_ms\":50}\n"
                        "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]}\n"
                        "{\"advance_ms\":1000}\n{\"house\":\"list\"}\n",
                        0, 1050),
                ElementsAre(R"({"done":1})", R"({"done":2})",
                            R"({"t_ms":50,"driver":"p","event":6001})", R"({"done":3})",
                            R"({"t_ms":450,"driver":"p","event":6000})", R"({"done":4})",
                            R"({"t_ms":1050,"house":[{"name":"p","type":"puck","id":101}]})",
                            R"({"done":5})"));
}

TEST_F(StdioTest, MibOutput_NamesTypeAndParameters)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":1}}\n"
                "{\"driver\":\"p\",\"command\":\"PRESS_CNT\"}\n"),
        ElementsAre(
            R"({"t_ms":0,"driver":"p","mib":"nx.dmx.led","type":4,"params":["01","05","ffffff"]})",
            R"({"done":1})",
            R"({"t_ms":0,"driver":"p","mib":"nx.dmx.rbp","type":3,"params":["0000000f","00000001"]})",
            R"({"t_ms":0,"driver":"p","event":6001})", R"({"done":2})"));
}

TEST_F(StdioTest, BoundCallWithoutParameters_HasNoParamsField)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"binding\":1,\"class\":\"BUTTON_LINK\",\"bound\":true}\n"
                "{\"driver\":\"p\",\"trap\":\"nx.dmx.sc\",\"params\":[\"7\"]}\n"),
        ElementsAre(R"({"done":1})",
                    R"({"t_ms":0,"driver":"p","bound_call":"DO_CLICK","binding":1})",
                    R"({"t_ms":0,"driver":"p","event":6000})", R"({"done":2})"));
}

TEST_F(StdioTest, ConditionAndBoundCall_AreAnswered)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"condition\":\"OFF\",\"params\":{\"CONTACT_NUMBER\":\"0\"}}\n"
                "{\"driver\":\"p\",\"bound_call\":{\"binding\":1,\"kind\":\"OTHER\"}}\n"),
        ElementsAre(R"({"t_ms":0,"driver":"p","condition":"OFF","result":true})", R"({"done":1})",
                    R"({"t_ms":0,"driver":"p","bound_call_result":0})", R"({"done":2})"));
}

TEST_F(StdioTest, QueriesAndPersist_AreAnswered)
{
    EXPECT_THAT(
        Answers("{\"driver\":\"p\",\"query\":\"contact\",\"index\":1}\n"
                "{\"driver\":\"p\",\"query\":\"hold\"}\n{\"driver\":\"p\",\"persist\":true}\n"),
        ElementsAre(
            R"({"t_ms":0,"driver":"p","answer":"contact","value":{"behavior":2,"led_behavior":2,"state":0}})",
            R"({"done":1})",
            R"({"t_ms":0,"driver":"p","answer":"hold","value":{"feedback":false,"time_ms":250}})",
            R"({"done":2})",
            R"({"t_ms":0,"driver":"p","state":"<State><ALL_CONTACTS>)"
            R"(<CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER><AUX_BEHAVIOR>2</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>)"
            R"(<CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER><AUX_BEHAVIOR>2</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>)"
            R"(</ALL_CONTACTS></State>"})",
            R"({"done":3})"));
}

TEST_F(StdioTest, AssertAndLogRecords_AreOutputs)
{
    const auto answers =
        Answers("{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{\"CONTACT_NUMBER\":2}}\n"
                "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"0000000a\"]}\n");
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_THAT(
        answers[0],
        testing::MatchesRegex(
            R"(\{"t_ms":0,"driver":"p","assert":"lighting_common/NxBasePuckDriver","line":[0-9]+\})"));
    EXPECT_THAT(answers[2],
                AllOf(StartsWith(R"({"t_ms":0,"driver":"p","log":"Got in a button trap that )"
                                 R"(doesn't map to a button 3","level":"WARN",)"
                                 R"("file":"lighting_common/NxBasePuckDriver","line":)"),
                      // Compilers differ in the blank before the ampersand.
                      testing::ContainsRegex("\"function\":\"virtual void "
                                             "NxBasePuckDriver::OnTrapBtnAction\\("
                                             "const NxMIBPacket ?&\\)\"}$")));
}

TEST_F(StdioTest, MissingParameter_IsWarnedOfWithStackFramesAsRecordsOfTheirOwn)
{
    const auto answers = Answers("{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\"}\n");
    ASSERT_GE(answers.size(), 3u);
    ASSERT_LE(answers.size(), 1 + 32 + 1u);
    EXPECT_THAT(answers[0],
                HasSubstr("\"log\":\"Parameter requested when no parameters "
                          "exist\",\"level\":\"WARN\",\"file\":\"nxshared/NxMIBPacket\""));
    for (std::size_t frame = 0; frame + 2 < answers.size(); ++frame)
    {
        EXPECT_THAT(answers[frame + 1], HasSubstr("\"log\":\"" + std::to_string(frame) + "# "));
        EXPECT_THAT(answers[frame + 1], HasSubstr("\"level\":\"WARN\""));
        EXPECT_THAT(answers[frame + 1], testing::Not(HasSubstr("# /")));
    }
    EXPECT_THAT(answers,
                Contains(HasSubstr("# NxBasePuckDriver::OnTrapBtnAction(NxMIBPacket const&)")));
    EXPECT_EQ(answers.back(), R"({"done":1})");
}

TEST_F(StdioTest, MultipleClickWithoutCount_IsWarnedOfAndFiresThePressEvent)
{
    const auto answers =
        Answers("{\"driver\":\"p\",\"trap\":\"nx.dmx.cc\",\"params\":[\"00000007\"]}\n");
    ASSERT_GE(answers.size(), 4u);
    EXPECT_THAT(answers[0],
                HasSubstr("\"log\":\"Requested parameter is outside range (index: 1)(parameters: "
                          "1)(packet: nx.dmx.cc 00000007)\",\"level\":\"WARN\""));
    EXPECT_EQ(answers[answers.size() - 2], R"({"t_ms":0,"driver":"p","event":6001})");
}

TEST_F(StdioTest, LogLevel_SaysFromWhereRecordsAreReported)
{
    const std::string trap =
        "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"0000000a\"]}\n";
    options.logLevel = log4cplus::WARN_LOG_LEVEL;
    EXPECT_EQ(Answers(trap).size(), 2u);
    for (const int level : {log4cplus::ERROR_LOG_LEVEL, log4cplus::OFF_LOG_LEVEL})
    {
        options.logLevel = level;
        EXPECT_THAT(Answers(trap), ElementsAre(R"({"done":1})"));
    }
}

TEST_F(StdioTest, Restart_RemovesAndAddsAndAnswersNothing)
{
    std::vector<std::string> expected = PuckEnds();
    expected.insert(expected.end(), PUCK_STARTS.begin(), PUCK_STARTS.end());
    expected.emplace_back(R"({"done":1})");
    EXPECT_THAT(Answers("{\"driver\":\"p\",\"restart\":true}\n"), ElementsAreArray(expected));
}

TEST_F(StdioTest, HouseThatCannotBeRun_IsToldOnStandardErrorOnly)
{
    folder.Write("bad.xml", "<house>\n<driver name=\"x\" type=\"toaster\" id=\"1\"/></house>");
    const CommandRun bad = folder.Stdio("bad.xml", "{\"house\":\"list\"}\n");
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.out, IsEmpty());
    EXPECT_THAT(bad.err, HasSubstr("bad.xml:2: unknown driver type \"toaster\""));
    const CommandRun none = folder.Stdio("none.xml", "{\"house\":\"list\"}\n");
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.out, IsEmpty());
    EXPECT_THAT(none.err, HasSubstr("none.xml: cannot be read: No such file or directory"));
}

TEST_F(StdioTest, EmptyHouse_AnswersForTheHouse)
{
    folder.Write("empty.xml", "<house/>");
    const CommandRun run =
        folder.Stdio("empty.xml", "{\"house\":\"list\"}\n{\"driver\":\"p\",\"persist\":true}\n");
    EXPECT_THAT(run.out, ElementsAre(R"({"t_ms":0,"house":[]})", R"({"done":1})",
                                     R"({"error":"there is no driver named \"p\"","line":2})",
                                     R"({"done":2})"));
}
} // namespace
} // namespace lighting_host

// Replaying transcripts: what agrees, what differs and where it says so, what cannot be used; and
// that what stdio records agrees.

#include "tests/lighting_host/HouseFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const char HEAD[] = "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"event\","
                    "\"answer\",\"error\"]}\n";
const char PUSH[] = "{\"in\":{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]}}\n";
const char PUSHED[] = "{\"out\":{\"event\":6001}}\n";
const char ASK[] = "{\"in\":{\"driver\":\"p\",\"query\":\"contact\",\"index\":0}}\n";

class CheckTest : public testing::Test
{
protected:
    CheckTest() { folder.Write("house.xml", ONE_PUCK); }

    CommandRun Check(const std::string& transcript)
    {
        folder.Write("t.jsonl", transcript);
        return folder.Check({"t.jsonl"});
    }

    void ExpectAgrees(const std::string& lines)
    {
        const CommandRun run = Check(HEAD + lines);
        EXPECT_EQ(run.status, 0) << lines << testing::PrintToString(run.out) << run.err;
        EXPECT_THAT(run.out, ElementsAre("ok      " + folder.Path("t.jsonl") + " (title)",
                                         "1 passed, 0 failed"));
        EXPECT_EQ(run.err, "");
    }

    // Replays lines that differ and gives what is said about it.
    std::vector<std::string> Difference(const std::string& lines)
    {
        CommandRun run = Check(HEAD + lines);
        EXPECT_EQ(run.status, 1) << lines;
        EXPECT_EQ(run.err, "");
        if (run.out.size() < 3)
        {
            ADD_FAILURE() << "no difference is told";
            return {};
        }
        EXPECT_EQ(run.out.front(), "DIFFERS " + folder.Path("t.jsonl") + " (title)");
        EXPECT_EQ(run.out.back(), "0 passed, 1 failed");
        return {run.out.begin() + 1, run.out.end() - 1};
    }

    void ExpectUnusable(const std::string& transcript, const std::string& words)
    {
        const CommandRun run = Check(transcript);
        EXPECT_EQ(run.status, 2) << transcript;
        EXPECT_THAT(run.out, ElementsAre("0 passed, 0 failed"));
        EXPECT_THAT(run.err, HasSubstr(folder.Path("t.jsonl") + ": " + words));
    }

    HouseFolder folder;
};

TEST_F(CheckTest, NamedFields_AreAllThatCounts)
{
    ExpectAgrees(std::string(PUSH) + PUSHED + ASK + "{\"out\":{\"answer\":\"contact\"}}\n");
    ExpectAgrees(std::string(PUSH) + "{\"out\":{\"driver\":\"p\"}}\n");
    ExpectAgrees(std::string(PUSH) + "{\"out\":{\"event\":6001,\"t_ms\":0,\"driver\":\"p\"}}\n");
    ExpectAgrees(std::string(PUSH) + "{\"out\":{}}\n");
}

TEST_F(CheckTest, NestedObjects_AgreeByNamedFieldsInAnyOrder)
{
    ExpectAgrees(std::string(ASK) + "{\"out\":{\"value\":{\"state\":0}}}\n");
    ExpectAgrees(std::string(ASK) +
                 "{\"out\":{\"value\":{\"state\":0,\"behavior\":2,\"led_behavior\":2}}}\n");
    EXPECT_THAT(Difference(std::string(ASK) + "{\"out\":{\"value\":{\"state\":1}}}\n"),
                ElementsAre(StartsWith("  line 3: expected "), StartsWith("    but got  ")));
    EXPECT_THAT(Difference(std::string(ASK) + "{\"out\":{\"value\":{\"mood\":0}}}\n"),
                ElementsAre(HasSubstr("mood"), HasSubstr("\"state\":0")));
    EXPECT_THAT(Difference(std::string(ASK) + "{\"out\":{\"value\":[]}}\n").size(), 2u);
}

TEST_F(CheckTest, Arrays_AgreeElementByElement)
{
    const std::string show =
        "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"mib\",\"house\"]}\n";
    const std::string led = "{\"in\":{\"driver\":\"p\",\"command\":\"TURN_LED_ON\",\"params\":{"
                            "\"CONTACT_NUMBER\":1}}}\n";
    EXPECT_EQ(Check(show + led + "{\"out\":{\"params\":[\"01\",\"05\",\"ffffff\"]}}\n").status, 0);
    EXPECT_EQ(Check(show + led + "{\"out\":{\"params\":[\"01\",\"05\"]}}\n").status, 1);
    EXPECT_EQ(Check(show + led + "{\"out\":{\"params\":[\"01\",\"05\",\"ffffff\",\"\"]}}\n").status,
              1);
    EXPECT_EQ(Check(show + led + "{\"out\":{\"params\":[\"05\",\"01\",\"ffffff\"]}}\n").status, 1);
    EXPECT_EQ(Check(show + "{\"in\":{\"house\":\"list\"}}\n{\"out\":{\"house\":[{\"id\":101}]}}\n")
                  .status,
              0);
    EXPECT_EQ(Check(show + "{\"in\":{\"house\":\"list\"}}\n{\"out\":{\"house\":[{\"id\":102}]}}\n")
                  .status,
              1);
    EXPECT_EQ(Check(show + "{\"in\":{\"house\":\"list\"}}\n{\"out\":{\"house\":[]}}\n").status, 1);
}

TEST_F(CheckTest, ValuesOfAnotherKind_Differ)
{
    for (const char* out :
         {"{\"event\":\"6001\"}", "{\"event\":6001.5}", "{\"event\":null}", "{\"event\":6000}",
          "{\"event\":6001,\"t_ms\":1}", "{\"Event\":6001}", "{\"event\":6001,\"op\":\"add\"}"})
        EXPECT_EQ(Difference(PUSH + std::string("{\"out\":") + out + "}\n").size(), 2u) << out;
}

TEST_F(CheckTest, Difference_NamesTheLineWhatWasExpectedAndWhatCame)
{
    EXPECT_THAT(Difference(std::string("\n# two lines that are skipped\n") + PUSH +
                           "{\"out\":{\"event\":6000}}\n"),
                ElementsAre("  line 5: expected {\"event\":6000}",
                            "    but got  {\"t_ms\":0,\"driver\":\"p\",\"event\":6001}"));
}

TEST_F(CheckTest, MissingOutput_Differs)
{
    EXPECT_THAT(Difference(std::string(PUSH) + PUSHED + PUSHED + ASK + "{\"out\":{}}\n"),
                ElementsAre("  line 4: expected {\"event\":6001}", "    but nothing more came"));
    EXPECT_THAT(Difference(std::string(PUSH) + PUSHED + PUSHED),
                ElementsAre("  line 4: expected {\"event\":6001}", "    but nothing more came"));
}

TEST_F(CheckTest, ExtraOutput_Differs)
{
    EXPECT_THAT(
        Difference(PUSH),
        ElementsAre("  line 2: {\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]} "
                    "caused, beyond what is expected,",
                    "    {\"t_ms\":0,\"driver\":\"p\",\"event\":6001}"));
    EXPECT_EQ(Difference(std::string(PUSH) + ASK + "{\"out\":{}}\n").size(), 2u);
}

TEST_F(CheckTest, OutputsInAnotherOrder_Differ)
{
    const std::string click = "{\"in\":{\"driver\":\"p\",\"command\":\"CLICK_CNT\"}}\n";
    ExpectAgrees(click + "{\"out\":{\"event\":6000}}\n{\"out\":{\"event\":6002}}\n");
    EXPECT_EQ(Difference(click + "{\"out\":{\"event\":6002}}\n{\"out\":{\"event\":6000}}\n").size(),
              2u);
}

TEST_F(CheckTest, Show_LeavesOutTheOtherKinds)
{
    const std::string events =
        "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"event\"]}\n";
    const std::string click = "{\"in\":{\"driver\":\"p\",\"command\":\"CLICK_CNT\"}}\n";
    EXPECT_EQ(
        Check(events + click + "{\"out\":{\"event\":6000}}\n{\"out\":{\"event\":6002}}\n").status,
        0);
    const std::string mibs =
        "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"mib\"]}\n";
    EXPECT_EQ(Check(mibs + click + "{\"out\":{\"mib\":\"nx.dmx.rbp\"}}\n").status, 0);
    const std::string logs =
        "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"log\"]}\n";
    EXPECT_EQ(Check(logs + "{\"in\":{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"a\"]}}"
                           "\n{\"out\":{\"level\":\"WARN\"}}\n")
                  .status,
              0);
}

TEST_F(CheckTest, WithoutShow_EverythingButLogsIsCompared)
{
    const std::string all = "{\"transcript\":\"title\",\"house\":\"house.xml\"}\n";
    const std::string starts =
        "{\"in\":{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"a\"]}}\n"
        "{\"out\":{\"variable\":1014}}\n{\"out\":{\"variable\":1015}}\n{\"out\":{\"binding\":1}}\n{"
        "\"out\":{\"binding\":2}}\n";
    EXPECT_EQ(Check(all + starts).status, 0);
    EXPECT_EQ(Check(all + "{\"in\":{\"advance_ms\":0}}\n").status, 1);
}

TEST_F(CheckTest, DriversEnd_MayStandAtTheEnd)
{
    const std::string bindings =
        "{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"binding\"]}\n"
        "{\"in\":{\"advance_ms\":5}}\n{\"out\":{\"binding\":1}}\n{\"out\":{\"binding\":2}}\n";
    EXPECT_EQ(Check(bindings).status, 0);
    EXPECT_EQ(Check(bindings +
                    "{\"out\":{\"op\":\"remove\"}}\n{\"out\":{\"op\":\"remove\",\"t_ms\":5}}\n")
                  .status,
              0);
    EXPECT_EQ(Check(bindings + "{\"out\":{\"op\":\"remove\"}}\n").status, 1);
}

TEST_F(CheckTest, RefusedInput_CanBeExpected)
{
    ExpectAgrees(std::string(PUSH) + PUSHED +
                 "{\"in\":{\"driver\":\"q\"}}\n{\"out\":{\"error\":\"there is no driver named "
                 "\\\"q\\\"\",\"line\":2}}\n{\"in\":5}\n{\"out\":{\"line\":3}}\n");
}

TEST_F(CheckTest, HousePath_IsRelativeToTheTranscript)
{
    folder.Write("rooms/attic/house.xml", ONE_PUCK);
    folder.Write(
        "transcripts/t.jsonl",
        "{\"transcript\":\"title\",\"house\":\"../rooms/attic/house.xml\",\"show\":[\"event\"]}\n" +
            std::string(PUSH) + PUSHED);
    EXPECT_EQ(folder.Check({"transcripts/t.jsonl"}).status, 0);
    folder.Write("t.jsonl", "{\"transcript\":\"title\",\"house\":\"" +
                                folder.Path("rooms/attic/house.xml") +
                                "\",\"show\":[\"event\"]}\n" + std::string(PUSH) + PUSHED);
    EXPECT_EQ(folder.Check({"t.jsonl"}).status, 0);
}

TEST_F(CheckTest, SeveralTranscripts_AreEachTold)
{
    folder.Write("good.jsonl", HEAD + std::string(PUSH) + PUSHED);
    folder.Write("bad.jsonl", HEAD + std::string(PUSH));
    const CommandRun run = folder.Check({"bad.jsonl", "good.jsonl", "bad.jsonl"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, testing::Contains(StartsWith("ok      " + folder.Path("good.jsonl"))));
    EXPECT_THAT(run.out,
                testing::Contains(StartsWith("DIFFERS " + folder.Path("bad.jsonl"))).Times(2));
    EXPECT_EQ(run.out.back(), "1 passed, 2 failed");
}

TEST_F(CheckTest, TranscriptThatCannotBeUsed_IsToldAndTheOthersAreChecked)
{
    folder.Write("good.jsonl", HEAD + std::string(PUSH) + PUSHED);
    const CommandRun run = folder.Check({"none.jsonl", "good.jsonl"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out.back(), "1 passed, 0 failed");
    EXPECT_EQ(run.err, folder.Path("none.jsonl") + ": cannot be read\n");
}

TEST_F(CheckTest, UnusableTranscripts_AreToldWithTheirLine)
{
    ExpectUnusable("", "has no lines");
    ExpectUnusable("\n# nothing\n", "has no lines");
    ExpectUnusable("transcript\n", "line 1: this is no JSON");
    ExpectUnusable("[]\n", "line 1: the first line is no JSON object");
    ExpectUnusable("{\"in\":{\"house\":\"list\"}}\n",
                   "line 1: the first line lacks the field \"transcript\"");
    ExpectUnusable("{\"transcript\":\"title\"}\n",
                   "line 1: the first line lacks the field \"house\"");
    ExpectUnusable("{\"transcript\":\"title\",\"house\":5}\n", "line 1: \"house\" is not a text");
    ExpectUnusable("{\"transcript\":\"title\",\"house\":\"house.xml\",\"shows\":[]}\n",
                   "line 1: the first line has an unknown field \"shows\"");
    ExpectUnusable("{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":\"event\"}\n",
                   "line 1: \"show\" is no JSON array");
    ExpectUnusable("{\"transcript\":\"title\",\"house\":\"house.xml\",\"show\":[\"events\"]}\n",
                   "line 1: there is no output kind \"events\"");
    ExpectUnusable(HEAD + std::string("\n{\"out\":{}}\n"),
                   "line 3: an \"out\" before the first \"in\"");
    ExpectUnusable(HEAD + std::string(PUSH) + "{\"out\":5}\n", "line 3: \"out\" is no JSON object");
    ExpectUnusable(HEAD + std::string("{\"in\":{},\"out\":{}}\n"),
                   "line 2: the line has an unknown field \"out\"");
    ExpectUnusable(HEAD + std::string("{\"driver\":\"p\"}\n"),
                   "line 2: an \"out\" before the first \"in\"");
    ExpectUnusable(HEAD + std::string("{\"in\":") + std::string(100000, '['),
                   "line 2: the JSON nests too deep");
    ExpectUnusable(HEAD + std::string("{\"in\":{}}\xFF\n"), "line 2: this is no JSON");
}

TEST_F(CheckTest, HouseThatCannotBeRun_IsToldWithItsMistakes)
{
    const CommandRun none = Check("{\"transcript\":\"title\",\"house\":\"none.xml\"}\n");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, folder.Path("none.xml") + ": cannot be read: No such file or directory\n" +
                            folder.Path("t.jsonl") + ": its house cannot be run\n");
    folder.Write("bad.xml", "<house>\n<attic/>\n</house>");
    EXPECT_THAT(Check("{\"transcript\":\"title\",\"house\":\"bad.xml\"}\n").err,
                StartsWith(folder.Path("bad.xml") + ":2: unknown element <attic> in <house>\n"));
}

TEST_F(CheckTest, DriverLibraryThatCannotBeLoaded_IsTold)
{
    folder.Write("libmine.so", "no shared object");
    folder.Write(
        "mine.xml",
        "<house><driver name=\"a\" type=\"mine\" id=\"1\" library=\"libmine.so\"/></house>");
    const CommandRun run = Check("{\"transcript\":\"title\",\"house\":\"mine.xml\"}\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err,
                StartsWith(folder.Path("mine.xml") + ":1: cannot load the driver library: "));
}

TEST_F(CheckTest, TranscriptWithoutInputs_Agrees)
{
    EXPECT_EQ(Check(HEAD).status, 0);
}

class RecordTest : public CheckTest
{
protected:
    // Records the input and gives the recording's lines.
    std::vector<std::string> Record(const std::string& input,
                                    const std::string& name = "recorded.jsonl")
    {
        recorded = folder.Stdio("house.xml", input, {}, name);
        return Lines(folder.Read(name));
    }

    CommandRun recorded;
};

TEST_F(RecordTest, Recording_AgreesWhenReplayed)
{
    const auto lines =
        Record("{\"driver\":\"p\",\"online\":true}\n{\"driver\":\"p\",\"command\":\"CLICK_CNT\"}\n"
               "{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\"}\n{\"driver\":\"p\",\"restart\":true}\n{"
               "\"advance_ms\":100}\n{\"house\":\"list\"}\n");
    EXPECT_EQ(recorded.status, 0);
    EXPECT_EQ(lines[0], R"({"transcript":"recorded","house":"house.xml","seed":1,"draw":"random",)"
                        R"("start":"1970-01-01T00:00:00"})");
    EXPECT_EQ(lines[1], R"({"in":{"driver":"p","online":true}})");
    EXPECT_EQ(lines[2], "{\"out\":" + PUCK_STARTS[0] + "}");
    EXPECT_THAT(lines, Not(testing::Contains(HasSubstr("\"log\""))));
    const CommandRun run = folder.Check({"recorded.jsonl"});
    EXPECT_EQ(run.status, 0) << testing::PrintToString(run.out);
}

TEST_F(RecordTest, HousePath_IsWrittenRelativeToTheRecording)
{
    folder.Write("far/away/x", "");
    EXPECT_EQ(Record("{\"house\":\"list\"}\n", "far/away/recorded.jsonl")[0],
              R"({"transcript":"recorded","house":"../../house.xml","seed":1,"draw":"random",)"
              R"("start":"1970-01-01T00:00:00"})");
    EXPECT_EQ(folder.Check({"far/away/recorded.jsonl"}).status, 0);
}

TEST_F(RecordTest, RefusedInputs_AreReplayedByTheirWordsAndWhatIsNoJsonIsLeftOut)
{
    const auto lines = Record("# note\nnonsense\n\n{\"driver\":\"q\"}\r\n{\"advance_ms\":-1}\n");
    EXPECT_EQ(recorded.status, 1);
    EXPECT_EQ(lines[1], R"({"in":{"driver":"q"}})");
    EXPECT_EQ(lines[6], R"({"out":{"error":"there is no driver named \"q\""}})");
    EXPECT_EQ(lines[7], R"({"in":{"advance_ms":-1}})");
    EXPECT_EQ(lines.size(), 9u);
    EXPECT_EQ(folder.Check({"recorded.jsonl"}).status, 0);
}

// The state that the first conversation left decides what the second one does.
TEST_F(RecordTest, RecordingWithAStateFile_HoldsTheStateAndAgreesWhenReplayedWithoutIt)
{
    folder.Write("house.xml",
                 "<house><driver name=\"s\" type=\"energy_switch\" id=\"1\"/></house>");
    SessionOptions options;
    options.statePath = folder.Path("state.db");
    folder.Stdio("house.xml", "{\"driver\":\"s\",\"set\":{\"energy_wh\":7}}\n", options);
    const CommandRun second = folder.Stdio("house.xml", "{\"driver\":\"s\",\"query\":\"energy\"}\n",
                                           options, "recorded.jsonl");
    EXPECT_THAT(second.out, testing::Contains(HasSubstr("\"energy_used\":7")));
    EXPECT_THAT(Lines(folder.Read("recorded.jsonl"))[0], HasSubstr(R"("states":{"s":"<State>)"));
    EXPECT_EQ(folder.Check({"recorded.jsonl"}).status, 0);
}

TEST_F(RecordTest, RecordedStateThatIsNone_IsAnUnusableTranscript)
{
    const std::string head = R"({"transcript":"t","house":"house.xml","states":)";
    folder.Write("text.jsonl", head + "\"x\"}\n");
    folder.Write("number.jsonl", head + "{\"p\":5}}\n");
    folder.Write("no_xml.jsonl", head + "{\"p\":\"<a\"}}\n");
    for (const char* name : {"text.jsonl", "number.jsonl", "no_xml.jsonl"})
    {
        const CommandRun run = folder.Check({name});
        EXPECT_EQ(run.status, 2) << name;
        EXPECT_THAT(run.err, HasSubstr("state")) << name;
    }
}

TEST_F(RecordTest, ChangedRecording_Differs)
{
    Record("{\"driver\":\"p\",\"trap\":\"nx.dmx.bp\",\"params\":[\"7\"]}\n");
    std::string text = folder.Read("recorded.jsonl");
    text.replace(text.find("6001"), 4, "6011");
    folder.Write("recorded.jsonl", text);
    EXPECT_EQ(folder.Check({"recorded.jsonl"}).status, 1);
}

TEST_F(RecordTest, FileThatCannotBeWritten_IsToldAndNothingIsRun)
{
    folder.Stdio("house.xml", "{\"house\":\"list\"}\n", {}, "no/such/folder.jsonl");
    const CommandRun run =
        folder.Stdio("house.xml", "{\"house\":\"list\"}\n", {}, "no/such/folder.jsonl");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, EndsWith("cannot be written: No such file or directory\n"));
}
} // namespace
} // namespace lighting_host

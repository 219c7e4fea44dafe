#include "lighting_host/switchboard/FlightRecord.h"

#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/Milestones.h"
#include "tests/lighting_host/HouseFolder.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
RecordHead Head()
{
    RecordHead head;
    head.program = "1.0.0";
    head.housePath = "houses/one.xml";
    head.houseText = "<house>\n</house>";
    head.seed = 18446744073709551615u;
    head.draw = "low";
    head.start = "2026-03-29T01:30:00";
    head.zone = "Europe/Berlin";
    head.logLevel = 30000;
    head.people = true;
    head.faults = "heavy";
    head.states["hall"] = "<State a=\"1\"/>";
    return head;
}

std::string Text(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

std::string ErrorOf(const std::string& text)
{
    try
    {
        ParseFlightRecord(text);
        return std::string();
    }
    catch (const RecordError& error)
    {
        return error.what();
    }
}
} // namespace

TEST(FlightRecordTest, HeadThatIsWritten_ReadsBackWhole)
{
    const RecordHead head = ParseFlightRecord(HeadLine(Head()) + "\n").head;
    EXPECT_EQ(head.housePath, "houses/one.xml");
    EXPECT_EQ(head.houseText, "<house>\n</house>");
    EXPECT_EQ(head.seed, 18446744073709551615u);
    EXPECT_EQ(head.draw, "low");
    EXPECT_EQ(head.start, "2026-03-29T01:30:00");
    EXPECT_EQ(head.zone, "Europe/Berlin");
    EXPECT_EQ(head.logLevel, 30000);
    EXPECT_TRUE(head.people);
    EXPECT_EQ(head.faults, "heavy");
    EXPECT_EQ(head.states.at("hall"), "<State a=\"1\"/>");
}

TEST(FlightRecordTest, InputsAndDigests_ReadBackInOrder)
{
    const FlightRecord record = ParseFlightRecord(
        Text({HeadLine(Head()), InputLine({1200, "desk", "{\"driver\":\"hall\",\"online\":true}"}),
              InputLine({1200, "stdio", "no JSON \" at all"}),
              DigestLine({60000, 412, "00ff", "0000000100000002"}),
              EndLine({61000, 413, "00fe", "00000003"}, "SIGTERM")}));
    ASSERT_EQ(record.inputs.size(), 2u);
    EXPECT_EQ(record.inputs[0].line, "{\"driver\":\"hall\",\"online\":true}");
    EXPECT_EQ(record.inputs[0].from, "desk");
    EXPECT_EQ(record.inputs[1].line, "no JSON \" at all");
    ASSERT_EQ(record.digests.size(), 2u);
    EXPECT_EQ(record.digests[0].outputs, 412u);
    EXPECT_EQ(record.digests[0].sums, "0000000100000002");
    EXPECT_EQ(record.endMs, 61000);
    EXPECT_TRUE(record.ended);
    EXPECT_THAT(record.warnings, IsEmpty());
}

TEST(FlightRecordTest, TornLastLine_IsReadPastWithAWord)
{
    const std::string whole =
        Text({HeadLine(Head()), InputLine({5, "desk", "{\"driver\":\"hall\",\"online\":true}"})});
    const FlightRecord record = ParseFlightRecord(whole + "{\"t_ms\":60000,\"outp");
    EXPECT_EQ(record.inputs.size(), 1u);
    EXPECT_FALSE(record.ended);
    EXPECT_THAT(record.warnings, ElementsAre(HasSubstr("line 3")));
}

TEST(FlightRecordTest, DroppedInputs_AreNotAmongTheInputs)
{
    const FlightRecord record =
        ParseFlightRecord(Text({HeadLine(Head()), InputLine({10, "a", "{}"}),
                                InputLine({20, "b", "{}"}), DigestLine({60000, 4, "aa", ""}),
                                DroppedLine({70000, 15, 1, 2}), InputLine({30, "c", "{}"})}));
    EXPECT_THAT(record.inputs,
                ElementsAre(Field(&RecordInput::from, "a"), Field(&RecordInput::from, "c")));
    EXPECT_THAT(record.digests, IsEmpty());
    EXPECT_EQ(record.endMs, 30);
}

TEST(FlightRecordTest, WhatIsWrong_IsToldWithItsLine)
{
    const std::string head = HeadLine(Head());
    EXPECT_THAT(ErrorOf(""), HasSubstr("no first line"));
    EXPECT_THAT(ErrorOf("[1]\n"), HasSubstr("line 1"));
    EXPECT_THAT(ErrorOf(head + "\nnonsense\n"), HasSubstr("line 2"));
    EXPECT_THAT(ErrorOf(head + "\n{\"t_ms\":-1,\"in\":{}}\n"), HasSubstr("line 2"));
    EXPECT_THAT(ErrorOf(Text({head, InputLine({9, "a", "{}"}), InputLine({8, "a", "{}"})})),
                HasSubstr("line 3: the time goes back"));
    EXPECT_THAT(ErrorOf(Text({head, DroppedLine({9, 8, 1, 0})})), HasSubstr("line 2"));
}

TEST(FlightRecordTest, AnotherVersion_IsRefused)
{
    std::string head = HeadLine(Head());
    head.replace(head.find(":2,"), 3, ":3,");
    EXPECT_THAT(ErrorOf(head + "\n"), HasSubstr("version 3"));
}

TEST(FlightRecordTest, FirstVersion_StaysThatWhenItIsWrittenAgain)
{
    RecordHead head = Head();
    EXPECT_EQ(ParseFlightRecord(HeadLine(head) + "\n").head.version, 2);
    head.version = 1;
    EXPECT_EQ(ParseFlightRecord(HeadLine(head) + "\n").head.version, 1);
}

TEST(FlightRecordTest, HouseThatWasChanged_IsRefused)
{
    std::string head = HeadLine(Head());
    head.replace(head.find("<house>"), 7, "<housf>");
    EXPECT_THAT(ErrorOf(head + "\n"), HasSubstr("digest"));
}

TEST(FlightRecorderTest, WhatIsRecorded_ReadsBack)
{
    const HouseFolder folder;
    {
        FlightRecorder recorder(folder.Path("r.jsonl"), Head());
        recorder.OnInput({7, "desk", "{\"driver\":\"hall\",\"online\":true}"});
        recorder.OnOutput(7, "{\"t_ms\":7,\"driver\":\"hall\",\"event\":6001}");
        recorder.Close({9, 1, "aa", "00000000"}, "SIGINT");
        EXPECT_EQ(recorder.Failure(), "");
    }
    const FlightRecord record = ReadFlightRecord(folder.Path("r.jsonl"));
    EXPECT_EQ(record.inputs.size(), 1u);
    EXPECT_THAT(record.outputs, ElementsAre("{\"t_ms\":7,\"driver\":\"hall\",\"event\":6001}"));
    EXPECT_TRUE(record.ended);
}

TEST(FlightRecorderTest, InputsOfSeveralVisitors_AreTheLinesOfEach)
{
    const HouseFolder folder;
    const RecordInput inputs[] = {
        {7, "desk", "{\"driver\":\"hall\",\"online\":true}"},
        {7, "a \"b\"", "{} \r"},
        {1234567, "a \"b\"", "{\"x\":\"" + std::string(70000, 'y') + "\"}"},
        {1234568, "desk", "{}\t"}};
    std::string expected = HeadLine(Head()) + "\n";
    {
        FlightRecorder recorder(folder.Path("r.jsonl"), Head());
        for (int round = 0; round < 3; ++round)
            for (const RecordInput& input : inputs)
            {
                recorder.OnJsonInput(input);
                expected += InputLine(input) + "\n";
            }
    }
    EXPECT_EQ(folder.Read("r.jsonl"), expected);
    EXPECT_THAT(expected, HasSubstr("\n{\"t_ms\":7,\"from\":\"a \\\"b\\\"\",\"in\":{}}\n"));
}

TEST(OutputDigestTest, WhereItIsCut_DoesNotMatter)
{
    for (const auto form : {OutputDigest::Form::Text, OutputDigest::Form::Hashes})
    {
        OutputDigest whole(form);
        OutputDigest cut(form);
        for (const char* output : {"{\"a\":1}", "{\"b\":2}", ""})
        {
            whole.Add(output);
            cut.Add(output);
            cut.Cut();
            EXPECT_EQ(cut.Hex(), OutputDigest(whole).Hex());
        }
        EXPECT_EQ(cut.Sums(), "");
        EXPECT_EQ(whole.Sums().size(), 3 * OutputDigest::SUM_DIGITS);
        EXPECT_EQ(whole.Sums().substr(8, 8), OutputDigest::SumOf("{\"b\":2}"));
        EXPECT_EQ(cut.Count(), 3u);
    }
}

TEST(OutputDigestTest, OtherOutputsOrOrder_OtherDigest)
{
    const auto hexOf = [](const std::vector<std::string>& outputs)
    {
        OutputDigest digest;
        for (const std::string& output : outputs)
            digest.Add(output);
        return digest.Hex();
    };
    const std::set<std::string> all = {
        hexOf({}),     hexOf({""}),     hexOf({"a", "b"}),    hexOf({"b", "a"}),
        hexOf({"ab"}), hexOf({"a\nb"}), hexOf({"a", "b", ""})};
    EXPECT_EQ(all.size(), 7u);
}

TEST(MilestonesTest, Minute_IsKeptWithoutItsSingleOutputs)
{
    OutputDigest digest;
    digest.Add("{\"a\":1}");
    Milestones milestones;
    milestones.Note(Milestones::FIRST_INTERVAL_MS, 1, digest);
    const auto found = milestones.Before(Milestones::FIRST_INTERVAL_MS, 0, 0);
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->digest.IsCut());
    EXPECT_EQ(found->digest.Hex(), digest.Hex());
}

TEST(FlightRecorderTest, FileThatIsThere_IsNotOverwritten)
{
    const HouseFolder folder;
    folder.Write("mine", "precious");
    EXPECT_THROW(FlightRecorder(folder.Path("mine"), Head()), RecordError);
    EXPECT_EQ(folder.Read("mine"), "precious");
}

TEST(FlightRecorderTest, FolderThatIsNotThere_IsAnError)
{
    const HouseFolder folder;
    EXPECT_THROW(FlightRecorder(folder.Path("no/r"), Head()), RecordError);
}

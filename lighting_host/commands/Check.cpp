#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/LineReader.h"
#include "lighting_host/commands/RecordedOptions.h"
#include "lighting_host/commands/SaveWatch.h"
#include "lighting_host/switchboard/Protocol.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// One line of a transcript.
struct Expected
{
    Json out;
    unsigned long line;
};

// One input of a transcript and what it must cause.
struct Step
{
    std::string in;
    unsigned long line;
    std::vector<Expected> outs;
};

struct Transcript
{
    std::string title;
    std::string house;
    // Empty for all kinds but "log".
    std::vector<std::string> show;
    std::vector<Step> steps;
    // Those of the command line and, where it gives none, those of a recording.
    SessionOptions options;
};

// A transcript that cannot be used, in words.
struct TranscriptError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

std::string TextOf(const Json& value)
{
    std::string text;
    AppendJson(text, value);
    return text;
}

void ReadHeader(const Json& header, const std::filesystem::path& folder, Transcript& transcript)
{
    Fields fields(header, "the first line");
    transcript.title = fields.Text("transcript");
    transcript.house = (folder / fields.Text("house")).string();
    if (fields.Has("show"))
    {
        const Json& show = fields.Get("show");
        if (!show.is_array())
            throw InputError("\"show\" is no JSON array");
        for (const Json& kind : show)
        {
            transcript.show.push_back(ToText(kind, "show"));
            if (!IsOutputKind(transcript.show.back()))
                throw InputError(
                    fmt::format("there is no output kind \"{}\"", transcript.show.back()));
        }
    }
    ReadRecordedOptions(fields, transcript.options);
    fields.Finish();
}

void ReadStep(const Json& object, unsigned long line, Transcript& transcript)
{
    Fields fields(object, "the line");
    if (fields.Has("in"))
        transcript.steps.push_back({TextOf(fields.Get("in")), line, {}});
    else if (transcript.steps.empty())
        throw InputError("an \"out\" before the first \"in\"");
    else
    {
        const Json& out = fields.Get("out");
        if (!out.is_object())
            throw InputError("\"out\" is no JSON object");
        transcript.steps.back().outs.push_back({out, line});
    }
    fields.Finish();
}

Transcript ReadTranscript(LineReader& lines, const std::filesystem::path& folder,
                          const SessionOptions& options)
{
    Transcript transcript;
    transcript.options = options;
    bool header = true;
    std::string line;
    LineReader::Result result = lines.Next(line);
    for (unsigned long number = 1; result != LineReader::Result::End;
         ++number, result = lines.Next(line))
    {
        if (result == LineReader::Result::TooLong)
            throw TranscriptError(fmt::format("line {}: is too long", number));
        if (IsSkipped(line))
            continue;
        try
        {
            const Json object = ParseJson(line);
            if (header)
                ReadHeader(object, folder, transcript);
            else
                ReadStep(object, number, transcript);
            header = false;
        }
        catch (const InputError& error)
        {
            throw TranscriptError(fmt::format("line {}: {}", number, error.Message()));
        }
    }
    if (header)
        throw TranscriptError("has no lines");
    return transcript;
}

Transcript ReadTranscript(const std::string& path, const SessionOptions& options)
{
    std::ifstream file(path);
    if (!file)
        throw TranscriptError("cannot be read");
    LineReader lines(*file.rdbuf(), nullptr);
    try
    {
        return ReadTranscript(lines, std::filesystem::path(path).parent_path(), options);
    }
    // Such as a folder, or a disk that fails.
    catch (const std::ios_base::failure&)
    {
        throw TranscriptError("cannot be read to its end");
    }
}

// Whether every field that `expected` names is in `actual` with that value.
bool Agrees(const Json& expected, const Json& actual)
{
    if (expected.is_object() && actual.is_object())
        return std::all_of(expected.items().begin(), expected.items().end(),
                           [&](const auto& field) {
                               return actual.contains(field.key()) &&
                                      Agrees(field.value(), actual[field.key()]);
                           });
    if (expected.is_array() && actual.is_array())
        return std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(), &Agrees);
    return expected == actual;
}

// Replays one transcript. Returns where it differs, in words; empty when it agrees.
class Replay
{
public:
    Replay(const Transcript& transcript, const SessionOptions& options, const HouseFile& house)
        : m_transcript(transcript), m_protocol(house, options,
                                               [this](const char* kind, const std::string& text)
                                               {
                                                   if (Shown(kind))
                                                       m_seen.push_back(text);
                                               })
    {
    }

    std::string Run()
    {
        m_protocol.Start();
        unsigned long number = 0;
        for (const Step& step : m_transcript.steps)
        {
            m_protocol.Handle(step.in, ++number);
            // What the drivers' end causes may stand at the end of a transcript; it need not.
            const bool last = &step == &m_transcript.steps.back();
            if (last && m_seen.size() < step.outs.size())
                m_protocol.Stop();
            const std::string difference = Compare(step);
            if (!difference.empty())
                return difference;
            m_seen.clear();
        }
        return std::string();
    }

private:
    bool Shown(const std::string& kind) const
    {
        const auto& show = m_transcript.show;
        return show.empty() ? kind != "log"
                            : std::find(show.begin(), show.end(), kind) != show.end();
    }

    std::string Compare(const Step& step) const
    {
        for (std::size_t i = 0; i < std::max(step.outs.size(), m_seen.size()); ++i)
        {
            if (i >= m_seen.size())
                return fmt::format("line {}: expected {}\n    but nothing more came",
                                   step.outs[i].line, TextOf(step.outs[i].out));
            if (i >= step.outs.size())
                return fmt::format("line {}: {} caused, beyond what is expected,\n    {}",
                                   step.line, step.in, m_seen[i]);
            if (!Agrees(step.outs[i].out, ParseJson(m_seen[i])))
                return fmt::format("line {}: expected {}\n    but got  {}", step.outs[i].line,
                                   TextOf(step.outs[i].out), m_seen[i]);
        }
        return std::string();
    }

    const Transcript& m_transcript;
    std::vector<std::string> m_seen;
    Protocol m_protocol;
};
} // namespace

int RunCheck(const std::vector<std::string>& transcripts, const SessionOptions& options,
             std::ostream& out, std::ostream& err, const Style& style)
{
    std::size_t passed = 0;
    std::size_t failed = 0;
    bool unusable = false;
    for (const std::string& path : transcripts)
    {
        try
        {
            const Transcript transcript = ReadTranscript(path, options);
            HouseFile house;
            if (!LoadHouse(transcript.house, house, err))
                throw TranscriptError("its house cannot be run");
            SaveWatch saves(transcript.options);
            const std::string difference = Replay(transcript, saves.Options(), house).Run();
            unusable = unusable || saves.Failed();
            ++(difference.empty() ? passed : failed);
            if (difference.empty())
                out << fmt::format("{}      {} ({})\n", style.Good("ok"), path, transcript.title);
            else
                out << fmt::format("{} {} ({})\n  {}\n", style.Bad("DIFFERS"), path,
                                   transcript.title, difference);
        }
        // Also what a house runs into when it is made, such as a driver library that cannot be
        // loaded.
        catch (const std::exception& error)
        {
            unusable = true;
            err << fmt::format("{}: {}\n", path, error.what());
        }
    }
    out << fmt::format("{} passed, {} failed\n", passed, failed);
    if (unusable)
        return 2;
    return failed == 0 ? 0 : 1;
}
} // namespace lighting_host

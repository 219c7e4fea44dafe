#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/RecordCommands.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/switchboard/SymptomOdds.h"
#include "lighting_host/text/Duration.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/web/PageBytes.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::chrono::milliseconds SHOW_INTERVAL(100);
// What happened at the step is told up to so many lines.
constexpr std::size_t MOST_LINES = 12;
constexpr unsigned BAR = 40;

std::string Moment(std::int64_t ms)
{
    return fmt::format("{} ({} ms)", FormatDuration(ms), ms);
}

const char* NameOf(SymptomOdds::Cause cause)
{
    switch (cause)
    {
    case SymptomOdds::Cause::Chance:
        return "chance";
    case SymptomOdds::Cause::Inputs:
        return "inputs";
    default:
        return "start";
    }
}

std::string JsonOf(const SymptomOdds& odds)
{
    std::string text = "{\"symptom\":";
    AppendJsonText(text, odds.Met().words);
    text += fmt::format(",\"t_ms\":{},\"cause\":\"{}\",\"avoidable_ms\":{},\"certain_ms\":{},"
                        "\"moments\":[",
                        odds.Met().timeMs, NameOf(odds.GetCause()), odds.AvoidableMs(),
                        odds.CertainMs());
    const char* comma = "";
    for (const auto& [ms, share] : odds.All())
    {
        text += fmt::format("{}{{\"t_ms\":{},\"came\":{},\"runs\":{}}}", comma, ms, share.hits,
                            share.runs);
        comma = ",";
    }
    text += "],\"lines\":[";
    comma = "";
    for (const std::string& line :
         odds.LinesBetween(odds.AvoidableMs(), odds.CertainMs(), MOST_LINES))
    {
        text += comma + line;
        comma = ",";
    }
    return text + "]}";
}

// The file of the page. It is made at once, so that one that cannot be is told before the work, and
// taken away again when nothing comes of it.
class PageFile
{
public:
    // Throws RecordError when the file is there already or cannot be made.
    explicit PageFile(const std::string& path) : m_path(path)
    {
        if (path.empty())
            return;
        m_file = std::fopen(path.c_str(), "wx");
        if (!m_file)
            Fail();
    }
    ~PageFile()
    {
        if (!m_file)
            return;
        std::fclose(m_file);
        std::remove(m_path.c_str());
    }
    PageFile(const PageFile&) = delete;
    PageFile& operator=(const PageFile&) = delete;

    // Throws RecordError when it cannot be written.
    void Write(const std::string& json)
    {
        if (!m_file)
            return;
        const std::string page = PageOf(json);
        const bool written = std::fwrite(page.data(), 1, page.size(), m_file) == page.size() &&
                             std::fflush(m_file) == 0;
        if (!written)
            Fail();
        std::fclose(m_file);
        m_file = nullptr;
    }

private:
    [[noreturn]] void Fail() const
    {
        throw RecordError(fmt::format("{}: {}", m_path, std::strerror(errno)));
    }

    static std::string PageOf(const std::string& json)
    {
        std::string page;
        FindPageBytes("why.html", page);
        const std::string mark = "id=\"odds\">";
        const std::size_t begin = page.find(mark) + mark.size();
        // Nothing in a text may end the element that holds it.
        std::string data;
        for (const char c : json)
            data += c == '<' ? std::string("\\u003c") : std::string(1, c);
        return page.replace(begin, page.find('<', begin) - begin, data);
    }

    const std::string m_path;
    std::FILE* m_file = nullptr;
};

void TellShares(const SymptomOdds& odds, std::ostream& out, const Style& style)
{
    out << style.Head(
               fmt::format("{:>20}  {:>9}  {:>5}", "other from there on", "it came", "share"))
        << '\n';
    for (const auto& [ms, share] : odds.All())
    {
        const unsigned filled = (share.hits * BAR + share.runs / 2) / share.runs;
        out << fmt::format("{:>20}  {:>4}/{:<4}  {:>3} %  ", FormatDuration(ms), share.hits,
                           share.runs, share.hits * 100 / share.runs)
            << style.Warning(std::string(filled, '#')) << std::string(BAR - filled, '.') << '\n';
    }
}

void TellStep(const SymptomOdds& odds, std::ostream& out, const Style& style)
{
    if (odds.GetCause() == SymptomOdds::Cause::Start)
    {
        out << "It comes from the start on, whatever is drawn and handed in.\n";
        return;
    }
    if (odds.GetCause() == SymptomOdds::Cause::Inputs)
        out << "Chance has no part in it; here the inputs after each moment were left out.\n";
    out << style.Head(fmt::format("The step: up to {} it could be avoided, from {} on not.",
                                  Moment(odds.AvoidableMs()), Moment(odds.CertainMs())))
        << "\nWhat happened there:\n";
    for (const std::string& line :
         odds.LinesBetween(odds.AvoidableMs(), odds.CertainMs(), MOST_LINES))
        out << "  " << line << '\n';
}

int Why(const std::string& path, const WhyCommandOptions& options, std::ostream& out,
        std::ostream& err)
{
    const FlightRecord record = LoadRecord(path, err);
    PageFile page(options.page);
    Symptom symptom;
    symptom.conditions = ConditionsOf(options.until, record);
    SymptomOdds::Options how;
    how.folder = options.folder;
    how.jobs = options.jobs == 0 ? ForkedJobs::Cores() : options.jobs;
    how.draws = options.draws;
    how.withinMs = options.withinMs;
    how.stepMs = options.stepMs;
    auto shown = std::chrono::steady_clock::now();
    how.onProgress = [&](std::size_t runs)
    {
        const auto now = std::chrono::steady_clock::now();
        if (options.terminal && now - shown > SHOW_INTERVAL)
        {
            shown = now;
            err << fmt::format("\r\x1b[K{} runs", runs) << std::flush;
        }
        return StopSignals::Received() == 0;
    };
    SymptomOdds odds(record, std::move(symptom), how);
    if (!odds.FindSymptom())
    {
        (options.json ? err : out)
            << fmt::format("{}: it does not come up to {}\n", path, FormatDuration(record.endMs));
        return 1;
    }
    odds.Measure();
    if (options.terminal)
        err << "\r\x1b[K" << std::flush;
    if (odds.WasStopped())
        return StatusOfSignal(StopSignals::Received());
    page.Write(JsonOf(odds));
    if (options.json)
    {
        out << JsonOf(odds) << '\n';
        return 0;
    }
    out << fmt::format("{}: {} at {}\n", path, odds.Met().words, Moment(odds.Met().timeMs));
    TellShares(odds, out, options.style);
    TellStep(odds, out, options.style);
    return 0;
}
} // namespace

int RunWhy(const std::string& path, const WhyCommandOptions& options, std::ostream& out,
           std::ostream& err)
{
    try
    {
        return Why(path, options, out, err);
    }
    catch (const std::runtime_error& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return STATUS_CANNOT;
    }
}
} // namespace lighting_host

#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/LineReader.h"
#include "lighting_host/commands/RecordCommands.h"
#include "lighting_host/commands/Serve.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/HouseText.h"
#include "lighting_host/switchboard/Symptom.h"
#include "lighting_host/text/DidYouMean.h"
#include "lighting_host/text/Duration.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <system_error>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// How much house time is run between two looks for a signal.
constexpr std::int64_t STEP_MS = 600000;

std::string Count(std::uint64_t count, const char* one, const char* many)
{
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

// One record on its way.
class ReplayRun
{
public:
    ReplayRun(const std::string& path, const FlightRecord& record,
              const ReplayCommandOptions& options, std::ostream& out, const Style& style)
        : m_path(path), m_record(record), m_options(options), m_out(out), m_style(style),
          m_file(HouseOf(record, options.replay))
    {
        m_symptom.conditions = ConditionsOf(options.until, record);
        m_breaks = m_symptom.Watch();
        Replay::Hooks hooks;
        hooks.breaks = m_breaks.get();
        hooks.onOutput = [this](std::int64_t, const std::string& text)
        {
            if (m_byHand || m_options.outputs)
                m_out << text << '\n';
        };
        hooks.onAnswer = [this](const std::string& text)
        {
            if (m_byHand)
                m_out << text << '\n';
        };
        m_replay = std::make_unique<Replay>(record, m_file, RunOptionsOf(record), std::move(hooks));
    }

    // Runs as far as it is to go; what it tells goes to `told`. Gives the exit status.
    int Run(std::ostream& told)
    {
        const std::int64_t end = m_options.until.timeMs >= 0
                                     ? std::min(m_options.until.timeMs, m_record.endMs)
                                     : m_record.endMs;
        for (std::int64_t to = 0; to < end && !IsStopped(); to += STEP_MS)
            m_replay->RunTo(to);
        if (!IsStopped() && end == m_record.endMs)
            m_replay->RunToEnd();
        else if (!IsStopped())
            m_replay->RunTo(end);
        if (StopSignals::Received() != 0)
            return StatusOfSignal(StopSignals::Received());
        // Who was to hear it has gone: what came of the rest is not known.
        if (!m_out.good())
            return STATUS_CANNOT;
        if (m_replay->Found())
            return TellDifference(*m_replay->Found(), told);
        return TellEnd(end, told);
    }

    // Lines are handed in from now on; whether all were taken. Throws std::system_error.
    bool GoOnByHand(std::istream& in)
    {
        m_byHand = true;
        m_breaks->SetOn(false);
        LineReader lines(*in.rdbuf(), [this] { return m_out.flush().good(); });
        std::string line;
        bool allTaken = true;
        for (unsigned long number = 1; m_out.good(); ++number)
        {
            const LineReader::Result result = lines.Next(line);
            if (result == LineReader::Result::End || StopSignals::Received() != 0)
                break;
            if (result == LineReader::Result::Line && IsSkipped(line))
                continue;
            const bool isTaken = result == LineReader::Result::Line && HandIn(line, number);
            if (result == LineReader::Result::TooLong)
                m_out << "{\"error\":\"the line is too long\",\"line\":" << number << "}\n";
            m_out << "{\"done\":" << number << "}\n";
            allTaken = allTaken && isTaken;
        }
        m_replay->Run().Stop();
        return allTaken;
    }

private:
    bool IsStopped() const
    {
        return m_breaks->IsMet() || m_replay->Found() || !m_out.good() ||
               StopSignals::Received() != 0;
    }

    bool HandIn(const std::string& line, unsigned long number)
    {
        HouseRun& run = m_replay->Run();
        if (!IsHouseAction(line))
            return run.HandIn("stdio", line, number);
        try
        {
            run.Do("stdio", line, PrepareHouseAction(run, line));
            return true;
        }
        catch (const InputError& error)
        {
            std::string text = "{\"error\":";
            AppendJsonText(text, error.Message());
            m_out << text << fmt::format(",\"line\":{}}}\n", number);
            return false;
        }
    }

    int TellEnd(std::int64_t end, std::ostream& told)
    {
        const HouseRun& run = m_replay->Run();
        if (const auto met = m_breaks->Take())
        {
            told << fmt::format("{}: {} at {} ({} ms)\n", m_path, met->words,
                                FormatDuration(met->timeMs), met->timeMs);
            return 0;
        }
        if (m_options.until.HasSymptom())
        {
            told << fmt::format("{}: it does not come up to {}\n", m_path, FormatDuration(end));
            return 1;
        }
        if (m_options.until.timeMs > m_record.endMs)
        {
            told << fmt::format("{}: the record ends before that, at {} ({} ms)\n", m_path,
                                FormatDuration(end), end);
            return 1;
        }
        const std::string compared =
            m_record.digests.empty() ? "nothing to compare with" : m_style.Good("the same");
        told << fmt::format("{}: {} up to {}: {}, {}, {} compared\n", m_path, compared,
                            FormatDuration(end), Count(run.Digest().Count(), "output", "outputs"),
                            Count(m_replay->InputCount(), "input", "inputs"),
                            Count(m_replay->DigestsCompared(), "digest", "digests"));
        return 0;
    }

    int TellDifference(const Replay::Difference& found, std::ostream& told)
    {
        told << fmt::format("{}: {} in the minute up to {} ({} ms)", m_path, m_style.Bad("differs"),
                            FormatDuration(found.minuteMs), found.minuteMs);
        if (found.output == 0)
        {
            told << fmt::format(": {} outputs were recorded, here are {}\n", found.recordedCount,
                                found.hereCount);
            return 1;
        }
        told << fmt::format(", at output {}\n  recorded  {}\n  here      {}\n", found.output,
                            Recorded(found), found.here.empty() ? "nothing" : found.here);
        return 1;
    }

    // What the record has there, as far as it can be known.
    std::string Recorded(const Replay::Difference& found) const
    {
        if (found.recordedSum.empty())
            return "nothing";
        if (found.isKept)
            return found.recorded;
        std::string unknown = fmt::format(
            "an output with the sum {}; the record does not keep its outputs", found.recordedSum);
        if (m_options.replay.libraries.empty())
            return unknown;
        // With the drivers that it had, it may put it out again.
        try
        {
            const std::string output =
                OutputOf(m_record, m_options.replay.folder, found.output, found.minuteMs);
            return OutputDigest::SumOf(output) == found.recordedSum ? output : unknown;
        }
        catch (const std::exception& error)
        {
            return unknown + fmt::format(" ({})", error.what());
        }
    }

    const std::string& m_path;
    const FlightRecord& m_record;
    const ReplayCommandOptions& m_options;
    std::ostream& m_out;
    const Style& m_style;
    const HouseFile m_file;
    Symptom m_symptom;
    std::unique_ptr<Breaks> m_breaks;
    std::unique_ptr<Replay> m_replay;
    bool m_byHand = false;
};
} // namespace

FlightRecord LoadRecord(const std::string& path, std::ostream& err)
{
    try
    {
        FlightRecord record = ReadFlightRecord(path);
        for (const std::string& warning : record.warnings)
            err << fmt::format("{}: {}\n", path, warning);
        return record;
    }
    catch (const RecordError& error)
    {
        throw RecordError(fmt::format("{}: {}", path, error.what()));
    }
}

std::vector<BreakCondition> ConditionsOf(const Until& until, const FlightRecord& record)
{
    std::vector<BreakCondition> conditions;
    try
    {
        for (const std::string& event : until.events)
            conditions.push_back(ConditionOnEvent(event));
        if (until.warning)
            conditions.push_back(ConditionOnWarning());
        if (until.fault)
            for (BreakCondition& condition : ConditionsOnFault())
                conditions.push_back(std::move(condition));
        for (const std::string& when : until.whens)
            conditions.push_back(BreakCondition::Parse(when));
    }
    catch (const InputError& error)
    {
        throw RecordError(error.Message());
    }
    const std::vector<std::string> drivers = HouseText(record.head.houseText).Drivers();
    for (const BreakCondition& condition : conditions)
        if (!condition.Driver().empty() &&
            std::find(drivers.begin(), drivers.end(), condition.Driver()) == drivers.end())
            throw RecordError(fmt::format("there is no driver \"{}\" in the record's house{}",
                                          condition.Driver(),
                                          DidYouMeanClause(condition.Driver(), drivers)));
    return conditions;
}

int RunReplay(const std::string& path, const ReplayCommandOptions& options, std::istream& in,
              std::ostream& out, std::ostream& err, const Style& style)
{
    try
    {
        FlightRecord record = LoadRecord(path, err);
        if (options.stdio)
            record = WithoutOutputs(record);
        ReplayRun run(path, record, options, out, style);
        const int status = run.Run(options.stdio || options.outputs ? err : out);
        if (!options.stdio || status != 0)
            return status;
        const bool allTaken = run.GoOnByHand(in);
        if (StopSignals::Received() != 0)
            return StatusOfSignal(StopSignals::Received());
        return allTaken ? 0 : 1;
    }
    catch (const std::system_error& error)
    {
        err << fmt::format("standard input {}\n", error.what());
    }
    catch (const RecordError& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
    }
    return STATUS_CANNOT;
}

int RunReplayOnPage(const std::string& path, const ReplayCommandOptions& options,
                    const ServeOptions& serve, std::ostream& out, std::ostream& err)
{
    try
    {
        const FlightRecord record = WithoutOutputs(LoadRecord(path, err));
        Reliving reliving{record, record.endMs, ConditionsOf(options.until, record)};
        if (options.until.timeMs >= 0)
            reliving.toMs = std::min(reliving.toMs, options.until.timeMs);
        return RunServe(reliving, options.replay, serve, out, err);
    }
    catch (const RecordError& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return STATUS_CANNOT;
    }
}
} // namespace lighting_host

#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/RecordCommands.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/switchboard/RecordShrinker.h"
#include "lighting_host/text/Duration.h"

#include <chrono>
#include <filesystem>
#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::chrono::milliseconds SHRINK_INTERVAL(100);

std::string Words(const RecordShrinker::Progress& progress)
{
    const auto& [left, first, tries] = progress;
    return fmt::format("{} of {} drivers, {} of {} inputs, {} of {} faults, acts, scenes and load "
                       "groups; {} tries",
                       left.drivers, first.drivers, left.inputs, first.inputs, left.parts,
                       first.parts, tries);
}

int Shrink(const std::string& path, const ShrinkCommandOptions& options, std::ostream& out,
           std::ostream& err)
{
    // Told before the work, not after it.
    if (std::filesystem::exists(options.to))
        throw RecordError(
            fmt::format("{}: is there already; a record is never overwritten", options.to));
    const auto folder = std::filesystem::absolute(options.to).parent_path();
    if (!std::filesystem::is_directory(folder))
        throw RecordError(fmt::format("{}: there is no such folder", folder.string()));
    const FlightRecord record = LoadRecord(path, err);
    Symptom symptom;
    symptom.conditions = ConditionsOf(options.until, record);
    RecordShrinker::Options how;
    how.folder = options.folder;
    how.jobs = options.jobs == 0 ? ForkedJobs::Cores() : options.jobs;
    how.seeds = options.seeds;
    auto shown = std::chrono::steady_clock::now();
    how.onProgress = [&](const RecordShrinker::Progress& progress)
    {
        const auto now = std::chrono::steady_clock::now();
        if (options.terminal && now - shown > SHRINK_INTERVAL)
        {
            shown = now;
            err << "\r\x1b[K" << Words(progress) << std::flush;
        }
        return StopSignals::Received() == 0;
    };
    RecordShrinker shrinker(record, std::move(symptom), how);
    if (!shrinker.FindSymptom())
    {
        out << fmt::format("{}: it does not come up to {}\n", path, FormatDuration(record.endMs));
        return 1;
    }
    err << fmt::format("{}: {} at {} ({} ms)\n", path, shrinker.Met().words,
                       FormatDuration(shrinker.Met().timeMs), shrinker.Met().timeMs);
    shrinker.Shrink();
    if (options.terminal)
        err << "\r\x1b[K" << std::flush;
    shrinker.Write(options.to);
    out << fmt::format("{}: {}\n", options.to, Words(shrinker.GetProgress()));
    if (!shrinker.WasStopped())
        return 0;
    err << "stopped before its end; the record shows it, and may be smaller still\n";
    return StatusOfSignal(StopSignals::Received());
}
} // namespace

int RunShrink(const std::string& path, const ShrinkCommandOptions& options, std::ostream& out,
              std::ostream& err)
{
    try
    {
        return Shrink(path, options, out, err);
    }
    catch (const std::runtime_error& error)
    {
        err << fmt::format("lighting-host: {}\n", error.what());
        return STATUS_CANNOT;
    }
}
} // namespace lighting_host

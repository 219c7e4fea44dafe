#pragma once

#include "lighting_host/switchboard/Replay.h"
#include "lighting_host/text/Style.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace lighting_host
{
// The commands that work on flight records. Each returns the exit status: 0 when all is as hoped
// for, 1 when it is not (a run that differs, a symptom that does not come), 2 for a record that
// cannot be read or run, or what cannot be written, and 128 + n when signal n ended it before its
// time (see StopSignals).

// Up to where a record is run.
struct Until
{
    // In milliseconds of the house; -1 for none.
    std::int64_t timeMs = -1;
    // As in "hall:6001".
    std::vector<std::string> events;
    bool warning = false;
    bool fault = false;
    // Conditions as a break has them, as JSON.
    std::vector<std::string> whens;

    // Whether there is something else than a time.
    bool HasSymptom() const { return warning || fault || !events.empty() || !whens.empty(); }
};

struct ServeOptions;

struct ReplayCommandOptions
{
    Until until;
    ReplayOptions replay;
    // Writes every output as well, from the start on.
    bool outputs = false;
    // Goes on by hand: reads input lines once it is there.
    bool stdio = false;
};

// Runs a record again. Tells on `out` whether it is the same, or where it differs, or what it was
// stopped at. With `stdio` what the house puts out from there on goes to `out`, and all else to
// `err`; the record's outputs are not compared then.
int RunReplay(const std::string& path, const ReplayCommandOptions& options, std::istream& in,
              std::ostream& out, std::ostream& err, const Style& style = Style());

// Runs a record again and goes on from there on a web page, as serve does; the record's outputs are
// not compared. Of `serve` only what is about serving counts.
int RunReplayOnPage(const std::string& path, const ReplayCommandOptions& options,
                    const ServeOptions& serve, std::ostream& out, std::ostream& err);

struct ShrinkCommandOptions
{
    Until until;
    std::string folder;
    // Where the smaller record goes; it must not be there yet.
    std::string to;
    // 0 for as many as there are processors.
    unsigned jobs = 0;
    // How many seeds each try has.
    unsigned seeds = 32;
    // Whether `err` is a terminal, on which progress can be shown.
    bool terminal = false;
};

// Finds the least of a record that still shows a symptom, and writes it.
int RunShrink(const std::string& path, const ShrinkCommandOptions& options, std::ostream& out,
              std::ostream& err);

struct WhyCommandOptions
{
    Until until;
    std::string folder;
    unsigned jobs = 0;
    unsigned draws = 32;
    std::int64_t withinMs = 60000;
    std::int64_t stepMs = 1000;
    // One JSON object instead of text for a person.
    bool json = false;
    // A file that gets a page which draws it; it must not be there yet. Empty for none.
    std::string page;
    bool terminal = false;
    Style style;
};

// Finds out since when a symptom could not be avoided, and tells it on `out`.
int RunWhy(const std::string& path, const WhyCommandOptions& options, std::ostream& out,
           std::ostream& err);

// A record that is read, with a word on `err` for what was passed over. Throws RecordError, whose
// words begin with the path.
FlightRecord LoadRecord(const std::string& path, std::ostream& err);

// The conditions of `until`. Throws RecordError for those that are none, or that name a driver
// which is not in the record's house.
std::vector<BreakCondition> ConditionsOf(const Until& until, const FlightRecord& record);
} // namespace lighting_host

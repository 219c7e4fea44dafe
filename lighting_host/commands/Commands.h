#pragma once

#include "lighting_host/commands/LampBroker.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/text/Style.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace lighting_host
{
// The program's commands. Each returns the exit status: 0 for success; 1 for a wrong house, line or
// transcript; 2 for a failure of reading, writing or saving; 128 + n when signal n ended it early
// (see StopSignals).
//
// An `out` that goes bad ends a command; its states are still saved.
constexpr int STATUS_CANNOT = 2;

// Reads input objects from `in`, one a line, and writes output objects to `out`. `record` names a
// file to which the run is written as a transcript, empty for none; what is not protocol goes to
// `err`.
int RunStdio(const std::string& housePath, const SessionOptions& options, const std::string& record,
             std::istream& in, std::ostream& out, std::ostream& err);

// Replays transcripts and compares; tells on `out` which agree and where one differs.
int RunCheck(const std::vector<std::string>& transcripts, const SessionOptions& options,
             std::ostream& out, std::ostream& err, const Style& style = Style());

// Says on `out` what is wrong with a house file.
int RunValidate(const std::string& housePath, std::ostream& out, const Style& style = Style());

// How `run` runs.
struct RunOptions
{
    SessionOptions session;
    // How long, in milliseconds; 0 for no end in real time and for a day in virtual time.
    std::int64_t forMs = 0;
    // Whether `err` is a terminal, on which progress can be shown.
    bool terminal = false;
    Verbosity verbosity = Verbosity::Normal;
    FaultLevel faults = FaultLevel::None;
    // How what is told looks, and how many columns there are for it; 0 for as many as it takes.
    Style style;
    std::size_t columns = 0;
    // The broker of the house's own lamps.
    LampBrokerOptions lampBroker;
};

// Runs a house with its simulated devices and tells on `out` what happens.
int RunHouse(const std::string& housePath, const RunOptions& options, std::ostream& out,
             std::ostream& err);

// Reads a house and tells what is wrong with it on `err`; false when it cannot be run.
bool LoadHouse(const std::string& path, HouseFile& house, std::ostream& err);

// Tells what looks wrong in a house that can be run (see HouseDoubts.h); whether there was
// anything.
bool TellDoubts(const std::string& path, std::ostream& out);
} // namespace lighting_host

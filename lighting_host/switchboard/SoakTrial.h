#pragma once

#include "lighting_host/switchboard/FlightRecord.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lighting_host
{
// What a driver has done wrong in a soak.
struct SoakFinding
{
    // In words of one line.
    std::string words;
    // When, and by which input of the record, counted from 1.
    std::int64_t timeMs = 0;
    std::size_t inputs = 0;
    // What the child process told besides, of several lines: a sanitizer's report. Empty for
    // nothing.
    std::string told;
    // The same finding has the same key, whatever its figures are.
    std::string key;
};

// Runs records with a driver that nobody trusts, each in a child process, and says what the driver
// did wrong first:
// - it crashed, called exit(), or an operation did not come back;
// - a handler of it threw, or the library asserted;
// - its state after a restart is not its state before: the answers to "persist" directly before and
//   directly after a "restart", while no input line has left a binding made;
// - it runs more timers at once than it may, or left one behind when it was destroyed;
// - it keeps memory: the same record, run again and again, takes more each time.
class SoakTrial
{
public:
    struct Options
    {
        // What the house's own paths are relative to.
        std::string folder;
        // How many timers a house's drivers may have at once.
        unsigned mostTimers = 200;
        // How long an input and what comes of it may keep the processor busy.
        std::int64_t longestMs = 5000;
        // Asked now and then; false ends a run early, with no finding. Empty for never.
        std::function<bool()> goesOn;
    };

    explicit SoakTrial(Options options) : m_options(std::move(options)) {}

    // Throws RecordError for a house that is not right, std::system_error for no child.
    std::optional<SoakFinding> Run(const FlightRecord& record) const;

    // Only whether it keeps memory.
    std::optional<SoakFinding> RunForMemory(const FlightRecord& record) const;

    // The key of what that finds.
    static constexpr const char* MEMORY_KEY = "memory";

private:
    const Options m_options;
};
} // namespace lighting_host

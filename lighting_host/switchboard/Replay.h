#pragma once

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/Breaks.h"
#include "lighting_host/switchboard/FlightRecord.h"
#include "lighting_host/switchboard/HouseRun.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lighting_host
{
// What a record's house is run with otherwise than it was.
struct ReplayOptions
{
    // Drivers that come from another shared object: the name of a driver, or the type of all of
    // them, and the path.
    std::map<std::string, std::string> libraries;
    // The folder that the house file's own paths are relative to; empty for where it was.
    std::string folder;
};

// The house of a record. Throws RecordError when it is not right any more, or a driver of
// `options.libraries` is not there.
HouseFile HouseOf(const FlightRecord& record, const ReplayOptions& options);

// How the record's house was run. Throws RecordError for options that are none.
HouseRun::Options RunOptionsOf(const FlightRecord& record);

// Runs a record again, as fast as it goes, and compares it with what was recorded.
class Replay
{
public:
    // Who else wants to know; each may be empty. They must not call into the replay.
    struct Hooks
    {
        // Once one is met, the replay stops. Must outlive the replay.
        Breaks* breaks = nullptr;
        // Before an input of the record is handed in.
        std::function<void(const RecordInput&)> onInput;
        std::function<void(std::int64_t timeMs, const std::string& text)> onOutput;
        HouseRun::MinuteSink onMinute;
        std::function<void(const std::string& text)> onAnswer;
    };

    // `record` and `file` must outlive this. Makes the drivers; throws what HouseRun throws.
    Replay(const FlightRecord& record, const HouseFile& file, const HouseRun::Options& options,
           Hooks hooks);
    ~Replay();

    // Goes on to `ms` of the house at the latest, the inputs of that moment included; the record's
    // end when it is earlier. Returns whether there is more. Stops at a break, and at the end of a
    // minute whose outputs are not the recorded ones.
    bool RunTo(std::int64_t ms);

    // The whole record.
    void RunToEnd();

    // The inputs that were not handed in yet never are.
    void DropInputs() { m_inputs = m_next; }

    HouseRun& Run() { return *m_run; }
    const HouseRun& Run() const { return *m_run; }
    // How many of the record's inputs were handed in.
    std::size_t InputCount() const { return m_next; }

    // Where this run and the record part.
    struct Difference
    {
        // The end of the minute, or of the record.
        std::int64_t minuteMs = 0;
        // The number of the first output that differs, from 1; 0 when nothing tells.
        std::uint64_t output = 0;
        // Here; empty when there is no such output.
        std::string here;
        // There. Empty when there was no such output, and without `isKept`.
        std::string recorded;
        // Whether the record keeps its outputs, so that `recorded` says what it was.
        bool isKept = false;
        // What identifies the output of the record; empty when there was none.
        std::string recordedSum;
        std::uint64_t recordedCount = 0;
        std::uint64_t hereCount = 0;
    };
    const std::optional<Difference>& Found() const { return m_difference; }

    // How many of the record's digests agreed.
    std::size_t DigestsCompared() const { return m_nextDigest; }

private:
    void Compare(const RecordDigest& recorded, const OutputDigest& digest);
    void FindFirst(const std::string& sums, const std::string& recordedSums);
    void OnMinute(std::int64_t timeMs, const OutputDigest& digest);
    void HandIn(const RecordInput& input);

    const FlightRecord& m_record;
    Hooks m_hooks;
    // Only as many of the record's inputs are handed in.
    std::size_t m_inputs;
    std::size_t m_next = 0;
    std::size_t m_nextDigest = 0;
    // Outputs since the minute before, and the number of the first one; kept while there is
    // something to compare with.
    std::vector<std::string> m_minute;
    std::uint64_t m_minuteFirst = 1;
    std::optional<Difference> m_difference;
    bool m_stop = false;
    std::unique_ptr<HouseRun> m_run;
};

// The record without what a run is compared with.
FlightRecord WithoutOutputs(const FlightRecord& record);

// What the recorded house, run as it was, puts out as its output of that number; empty when it does
// not put out so many before `ms`. Throws what HouseOf and Replay throw.
std::string OutputOf(const FlightRecord& record, const std::string& folder, std::uint64_t number,
                     std::int64_t ms);
} // namespace lighting_host

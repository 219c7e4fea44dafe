#pragma once

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/Breaks.h"
#include "lighting_host/switchboard/FlightRecord.h"
#include "lighting_host/switchboard/HouseRun.h"

#include <cstdint>
#include <deque>
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
    // Drivers that come from another shared object: name and path.
    std::map<std::string, std::string> libraries;
    // The folder that the house file's own paths are relative to; empty for where it was.
    std::string folder;
};

// The house of a record. Throws RecordError when it is not right any more, or a driver of
// `options.libraries` is not there.
HouseFile HouseOf(const FlightRecord& record, const ReplayOptions& options);

// How the record's house was run. Throws RecordError for options that are none.
HouseRun::Options RunOptionsOf(const FlightRecord& record);

// Runs a record again, as fast as it goes.
class Replay
{
public:
    // `record` and `file` must outlive this. Breaks may be null; once one is met the replay stops.
    Replay(const FlightRecord& record, const HouseFile& file, const HouseRun::Options& options,
           Breaks* breaks);
    ~Replay();

    // Goes on to `ms` of the house at the latest, the inputs of that moment included; the record's
    // end when it is earlier. Returns whether there is more. Stops at a break and where the digest
    // of a minute is not the record's.
    bool RunTo(std::int64_t ms);

    // The whole record.
    void RunToEnd();

    HouseRun& Run() { return *m_run; }
    // How many of the record's inputs were handed in.
    std::size_t InputCount() const { return m_next; }

    // Where this run and the record part.
    struct Difference
    {
        // The minute's end.
        std::int64_t minuteMs = 0;
        // The number of the first output that differs, from 1; 0 when nothing tells.
        std::uint64_t output = 0;
        // Both sides; empty when there is none, or when the record does not keep its outputs.
        std::string recorded;
        std::string here;
        bool isKept = false;
        std::uint64_t recordedCount = 0;
        std::uint64_t hereCount = 0;
    };
    const std::optional<Difference>& Found() const { return m_difference; }

    // How many minutes agreed.
    std::size_t MinutesCompared() const { return m_nextDigest; }

private:
    void Compare(const RecordDigest& recorded, const OutputDigest& digest);
    void OnMinute(std::int64_t timeMs, const OutputDigest& digest);
    void HandIn(const RecordInput& input);

    const FlightRecord& m_record;
    Breaks* m_breaks;
    std::size_t m_next = 0;
    std::size_t m_nextDigest = 0;
    // Outputs since the minute before.
    std::vector<std::string> m_minute;
    std::uint64_t m_minuteFirst = 1;
    std::optional<Difference> m_difference;
    bool m_stop = false;
    std::unique_ptr<HouseRun> m_run;
};
} // namespace lighting_host

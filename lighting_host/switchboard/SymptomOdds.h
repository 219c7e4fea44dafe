#pragma once

#include "lighting_host/switchboard/FlightRecord.h"
#include "lighting_host/switchboard/ForkedJobs.h"
#include "lighting_host/switchboard/Symptom.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace lighting_host
{
// Finds out since when a symptom could not be avoided: runs a record up to many moments before it,
// and from each of them on with other random draws many times over.
//
// The draws of a moment are the same ones each time, so the same record gives the same answer,
// however many runs go at once. Where chance has no part in the symptom, the inputs are asked
// instead: each moment is then run on once, without the inputs that came after it.
class SymptomOdds
{
public:
    struct Options
    {
        // Where the house file's own paths are relative to; empty for where it was.
        std::string folder;
        unsigned jobs = 1;
        // How many runs each moment gets; the moments at the step get four times as many.
        unsigned draws = 32;
        // How much later than in the record the symptom still counts.
        std::int64_t withinMs = 60000;
        // How finely the step is looked for.
        std::int64_t stepMs = 1000;
        // Called after each run; may ask to stop with what is there by returning false. Empty for
        // nobody.
        std::function<bool(std::size_t runs)> onProgress;
    };
    // In how many runs from a moment the symptom came.
    struct Share
    {
        unsigned hits = 0;
        unsigned runs = 0;

        bool IsCertain() const { return hits == runs; }
    };
    using Shares = std::map<std::int64_t, Share>;

    enum class Cause
    {
        // It came in some runs and not in others.
        Chance,
        // Chance had no part in it; it came with some of the inputs and not with fewer.
        Inputs,
        // It comes from the start on, whatever the draws and inputs.
        Start,
    };

    // The record must outlive this.
    SymptomOdds(const FlightRecord& record, Symptom symptom, Options options);

    // Runs the record once; whether the symptom comes at all. Throws what Replay throws.
    bool FindSymptom();
    // What the record as it was has met; after FindSymptom.
    const Breaks::Met& Met() const { return m_met; }

    // Asks, after FindSymptom.
    void Measure();

    // Whether it was stopped before its end.
    bool WasStopped() const { return m_stopped; }
    Cause GetCause() const { return m_cause; }
    const Shares& All() const { return m_shares; }

    // Before the first of these moments it could still be avoided, after the second it could not;
    // both the same at the start.
    std::int64_t AvoidableMs() const;
    std::int64_t CertainMs() const;

    // The inputs and outputs of the record after the first of these moments and up to the second,
    // in their order, at most that many. Each as one JSON object.
    std::vector<std::string> LinesBetween(std::int64_t afterMs, std::int64_t upToMs,
                                          std::size_t most) const;

private:
    void RunFrom(const std::vector<std::int64_t>& moments, unsigned draws);
    void Take(const ForkedJobs::Done& done);
    std::vector<std::int64_t> Between(std::int64_t fromMs, std::int64_t toMs,
                                      std::int64_t parts) const;
    void Search(unsigned draws);

    const FlightRecord& m_record;
    Symptom m_symptom;
    const Options m_options;
    ForkedJobs m_jobs;
    // The record up to where the symptom counts, with nothing to compare.
    FlightRecord m_only;
    HouseFile m_file;
    Breaks::Met m_met;
    Cause m_cause = Cause::Chance;
    Shares m_shares;
    // The moment of each run, by its id.
    std::vector<std::int64_t> m_runs;
    std::size_t m_answered = 0;
    bool m_stopped = false;
};
} // namespace lighting_host

#pragma once

#include "lighting_host/switchboard/FlightRecord.h"
#include "lighting_host/switchboard/ForkedJobs.h"
#include "lighting_host/switchboard/Symptom.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lighting_host
{
// Finds the least of a record that still shows a symptom: delta debugging over its drivers, its
// inputs, and the faults, acts, scenes and load groups of its house.
//
// Each try runs a smaller record in a child process. What a try shows does not depend on how many
// run at once, and neither does the result. Nothing single can be left out of the result with the
// seeds that are tried; that nothing smaller shows the symptom at all it does not say.
class RecordShrinker
{
public:
    // How much is left, and how much there was.
    struct Size
    {
        std::size_t drivers = 0;
        std::size_t inputs = 0;
        std::size_t parts = 0;
    };
    struct Progress
    {
        Size left;
        Size first;
        std::size_t tries = 0;
    };
    // What a run up to its symptom has met, and how many inputs it took.
    struct Shown
    {
        Breaks::Met met;
        std::size_t inputs = 0;
    };
    struct Options
    {
        // Where the house file's own paths are relative to; empty for where it was.
        std::string folder;
        unsigned jobs = 1;
        // How many seeds each try has, the record's own first: what is left out takes its draws
        // with it, so that chance decides otherwise in what is left.
        unsigned seeds = 32;
        // Called after each try; may ask to stop with what is there by returning false. Empty for
        // nobody.
        std::function<bool(const Progress&)> onProgress;
        // Looks for the symptom instead, where it is none of what a house puts out; nothing when it
        // does not come. Also called in child processes. Empty for the symptom itself.
        std::function<std::optional<Shown>(const FlightRecord&)> look;
    };

    // The record must outlive this. Throws RecordError for a house that is not right any more.
    RecordShrinker(const FlightRecord& record, Symptom symptom, Options options);

    // Runs the record once; whether the symptom comes at all. Throws what Replay throws.
    bool FindSymptom();
    // What the record as it was has met; after FindSymptom.
    const Breaks::Met& Met() const { return m_met; }

    // Makes the record as small as it gets, after FindSymptom.
    void Shrink();

    // Whether it was stopped before its end.
    bool WasStopped() const { return m_stopped; }
    Progress GetProgress() const;

    // The record that is left, which ends at its symptom.
    FlightRecord Result() const { return Build(m_kept); }

    // Runs the record that is left and writes it, with the digests of its own outputs, to a new
    // file. Throws RecordError when that cannot be, or the symptom does not come.
    void Write(const std::string& path) const;

private:
    // Of each thing of the record whether it stays.
    struct Kept
    {
        std::vector<bool> drivers;
        std::vector<bool> inputs;
        std::vector<bool> parts;
        std::string faults;
        bool people = false;
        std::uint64_t seed = 0;
    };

    using Maker = std::function<Kept(std::size_t)>;

    std::optional<Shown> Look(const FlightRecord& record) const;
    FlightRecord Build(const Kept& kept) const;
    bool Shows(const Kept& kept) const;
    std::size_t FirstThatShows(std::size_t count, const Maker& make);
    bool ShrinkSet(std::vector<bool> Kept::*set, unsigned seeds);
    bool ShrinkWorld(unsigned seeds);
    std::uint64_t SeedAt(std::size_t place) const;
    void DropInputsOfNobody(Kept& kept) const;
    void CutAtSymptom();

    const FlightRecord& m_record;
    Symptom m_symptom;
    const Options m_options;
    ForkedJobs m_jobs;
    std::vector<std::string> m_drivers;
    // The driver that each input names; empty for none.
    std::vector<std::string> m_inputDrivers;
    Breaks::Met m_met;
    Kept m_kept;
    Size m_first;
    std::size_t m_tries = 0;
    bool m_stopped = false;
};
} // namespace lighting_host

#pragma once

#include "lighting_host/switchboard/Breaks.h"
#include "lighting_host/switchboard/Replay.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lighting_host
{
// What a record is searched for: the first output that meets one of some conditions.
struct Symptom
{
    std::vector<BreakCondition> conditions;
    // Once it was found in the record: only this driver's counts, and only in these words, figures
    // aside. Otherwise a house that was changed could be taken for showing it when it only shows
    // something like it.
    std::string driver;
    std::string words;

    // Breaks at this symptom, which must outlive them. What is met has no number.
    std::unique_ptr<Breaks> Watch() const;

    void PinTo(const Breaks::Met& met);
};

// The conditions as the command line has them: an event of a driver, as in "hall:6001"; a record
// of the log that warns, or worse; a failure of a driver, or an assertion of the library; the
// "when" of a break, as JSON. Throw InputError.
BreakCondition ConditionOnEvent(const std::string& driverAndEvent);
BreakCondition ConditionOnWarning();
std::vector<BreakCondition> ConditionsOnFault();

// A record's run up to its symptom: a replay that compares nothing and stops there.
class SymptomRun
{
public:
    // As Replay's; `symptom` must outlive this. The record must hold no digests.
    SymptomRun(const FlightRecord& record, const HouseFile& file, const HouseRun::Options& options,
               const Symptom& symptom, Replay::Hooks hooks = {});
    ~SymptomRun();
    SymptomRun(const SymptomRun&) = delete;
    SymptomRun& operator=(const SymptomRun&) = delete;

    // Runs on to `ms` or the symptom; whether it has come so far.
    bool RunTo(std::int64_t ms);

    // What was met; nothing before it is.
    const std::optional<Breaks::Met>& Met() const { return m_met; }

    Replay& GetReplay() { return *m_replay; }

private:
    std::unique_ptr<Breaks> m_breaks;
    std::optional<Breaks::Met> m_met;
    std::unique_ptr<Replay> m_replay;
};
} // namespace lighting_host

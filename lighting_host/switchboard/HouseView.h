#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lighting_host
{
// What is counted of one driver.
struct DriverFigures
{
    // Messages in the transmit queue; less than 0 for none.
    long queued = -1;
    std::uint64_t retries = 0;
    std::uint64_t repairs = 0;
    std::uint64_t powerFailures = 0;
    std::uint64_t warnings = 0;
};

// What a page shows of one run of a house, beside its lines: asked for whole, or for what has
// changed. Hears that run from its start, and belongs to it.
class HouseView : public HouseListener
{
public:
    // The members of the snapshot that this view knows, as JSON text: `"drivers":[...],...`,
    // without braces.
    virtual std::string Snapshot() = 0;

    // One change since the last call: the member `page` and the members beside `rev`, as JSON text:
    // `"page":"driver","driver":"hall","value":{...}`, without braces.
    virtual std::vector<std::string> TakeChanges() = 0;

    // A break was met: one more mark.
    virtual void NoteBreak(std::int64_t timeMs, const std::string& driver,
                           const std::string& words) = 0;

    // The drivers as they are, for DifferencesFrom of another run's view.
    virtual std::string Drivers() = 0;

    // For each driver that is otherwise in `drivers`, the members that differ, as they are there:
    // a JSON object by name.
    virtual std::string DifferencesFrom(const std::string& drivers) = 0;

    // What is counted of each driver, by name.
    virtual std::map<std::string, DriverFigures> Figures() = 0;
};
} // namespace lighting_host

#pragma once

#include "lighting_host/web/Metrics.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lighting_host
{
// What a page shows of one run of a house, beside its lines: asked for whole, or for what has
// changed. Belongs to that run.
class HouseView
{
public:
    virtual ~HouseView() = default;

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

    // What the metrics say of each driver, by name.
    virtual std::map<std::string, Metrics::Driver> DriverMetrics() = 0;
};
} // namespace lighting_host

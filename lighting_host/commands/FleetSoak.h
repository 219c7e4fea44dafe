#pragma once

#include "lighting_host/fleet/FleetBus.h"
#include "lighting_host/fleet/FleetTexts.h"

#include <condition_variable>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace lighting_host
{
// Asks the workers of a fleet to let houses live, and gathers what became of them. It must run as
// long as they live: when it ends, the workers give the soak up. Lives on one thread.
class FleetSoak
{
public:
    struct Options
    {
        FleetSoakEntry soak;
        // The folder for records of what went wrong.
        std::string to;
        // Whether standard error is a terminal, on which progress can be shown.
        bool terminal = false;
    };

    // All must outlive this. Throws FleetError when the bus cannot be used.
    FleetSoak(FleetBus& bus, Options options, std::ostream& out, std::ostream& err);
    ~FleetSoak();
    FleetSoak(const FleetSoak&) = delete;
    FleetSoak& operator=(const FleetSoak&) = delete;

    // Returns the exit status: 0 when nothing went wrong in any house, 1 when something did,
    // 128 + n when signal n ended it early. Throws FleetError for a house that cannot live, such as
    // for a library that a worker cannot load.
    int Run();

private:
    // A house that has ended, and what became of it.
    struct Ended
    {
        unsigned house = 0;
        std::string text;
    };

    void OnResult(const BucketEntry& entry);
    void Renew();
    std::vector<Ended> Next();
    void Gather(const Ended& ended);
    void TellFailure(unsigned house, const FleetTrialEntry& end);
    void Progress() const;
    void ClearProgress() const;
    void Summary() const;
    std::int64_t LivedMs() const;
    double YearsAnHour() const;
    std::uint64_t SeedOf(unsigned house) const;

    const Options m_options;
    std::ostream& m_out;
    std::ostream& m_err;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<Ended> m_ended;
    std::set<unsigned> m_houses;
    std::set<std::string> m_workers;
    unsigned m_failed = 0;
    std::int64_t m_begunMs = 0;
    std::int64_t m_renewMs = 0;
    std::uint64_t m_revision = 0;
    std::unique_ptr<Bucket> m_soakBucket;
    // Last: its watcher uses the rest.
    std::unique_ptr<Bucket> m_resultBucket;
};
} // namespace lighting_host

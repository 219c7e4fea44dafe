#pragma once

#include "lighting_host/fleet/FleetBus.h"
#include "lighting_host/fleet/FleetHouse.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace lighting_host
{
// The names of a fleet's buckets, and how long what is in them lives.
struct FleetBuckets
{
    static constexpr const char* HOUSES = "houses";
    static constexpr const char* LEASES = "leases";
    // On purpose not that of a record's head.
    static constexpr const char* STATES = "states";
    static constexpr const char* WORKERS = "workers";
    static constexpr std::int64_t LEASE_TTL_MS = 3000;
};

// Which worker each house is for, by the name of the worker: each house goes to the first in its
// own order of the workers that still has room. A worker that comes or goes moves few houses. A
// house for which there is no room is not among them.
std::map<std::string, std::string>
AssignHouses(const std::set<std::string>& houses,
             const std::map<std::string, unsigned>& roomOfWorkers);

// One worker: tells the others that it is there, and runs the houses that are for it. Lives on one
// thread, which calls Work again and again.
class FleetWorker
{
public:
    struct Options
    {
        std::string name;
        // The most houses that it runs.
        unsigned room = 100;
        // Tells this run apart from another one of the same name.
        std::string run;
        // Both as those of FleetShared.
        std::function<void(std::function<void()>)> post;
        std::function<void(const std::string&)> tell;
    };

    // `bus` must outlive this. Throws FleetError when the bus cannot be used.
    FleetWorker(FleetBus& bus, Options options);
    ~FleetWorker();

    // Does what is due. Returns when it wants to be called again, in milliseconds of the same
    // clock. Throws FleetError when there is another worker of that name.
    std::int64_t Work(std::int64_t nowMs);

    // From now on it wants no house any more, and tells the others that it goes.
    void Leave();
    // All houses have been handed over.
    bool HasLeft() const;

private:
    // What was seen last of a key that expires, and when.
    struct Seen
    {
        BucketEntry entry;
        std::int64_t atMs = 0;
    };

    struct Running
    {
        std::shared_ptr<FleetHouse> house;
        std::int64_t dueMs = 0;
    };

    void Watch(Bucket& bucket, void (FleetWorker::*onChange)(const BucketEntry&));
    void OnHouse(const BucketEntry& entry);
    void OnLease(const BucketEntry& entry);
    void OnWorker(const BucketEntry& entry);
    void Appear(std::int64_t nowMs);
    void OnAppeared(const BucketAnswer& answer);
    void Assign(std::int64_t nowMs);
    void Want(const std::string& id, bool wanted, std::int64_t nowMs);
    void Due(const std::string& id, std::int64_t atMs);
    bool IsOwnOrGone(const BucketEntry& worker) const;
    unsigned RoomOf(const BucketEntry& worker) const;
    bool IsAlive(const Seen& seen, std::int64_t nowMs) const;

    const Options m_options;
    std::unique_ptr<Bucket> m_houseBucket;
    std::unique_ptr<Bucket> m_leaseBucket;
    std::unique_ptr<Bucket> m_stateBucket;
    std::unique_ptr<Bucket> m_workerBucket;
    FleetShared m_shared;
    std::map<std::string, std::string> m_listed;
    std::map<std::string, Running> m_houses;
    // When each house wants to be worked on, soonest first.
    std::set<std::pair<std::int64_t, std::string>> m_due;
    std::map<std::string, Seen> m_leases;
    std::map<std::string, Seen> m_workers;
    std::uint64_t m_presence = 0;
    std::int64_t m_appearAtMs = 0;
    std::int64_t m_assignAtMs = 0;
    std::int64_t m_startedMs = -1;
    bool m_there = false;
    bool m_leaving = false;
    // Why it cannot be there.
    std::string m_failure;
    // What is posted after this is gone does nothing.
    std::shared_ptr<int> m_life = std::make_shared<int>(0);
};
} // namespace lighting_host

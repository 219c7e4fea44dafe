#pragma once

#include "lighting_host/fleet/FleetBus.h"
#include "lighting_host/fleet/FleetTexts.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <sys/types.h>

namespace lighting_host
{
// The names of the buckets of a soak, and how long what is in them lives.
struct SoakBuckets
{
    // The soak, which who asked for it writes again each second.
    static constexpr const char* SOAKS = "soaks";
    // Who lets which house live, written again each second.
    static constexpr const char* CLAIMS = "soak_claims";
    static constexpr const char* RESULTS = "soak_results";
    static constexpr std::int64_t TTL_MS = 3000;
    static constexpr std::int64_t RENEW_MS = 1000;
    static constexpr std::int64_t RESULTS_TTL_MS = 24 * 3600 * 1000;
};

// A worker's part in soaks: takes one house after the other, lets it live in a process of its own
// as fast as that goes, and tells its end. A claim only saves work: a house that lives twice,
// because its first worker was held up, ends the same way twice, and the first word counts.
//
// Lives on one thread, which calls Work again and again.
class FleetTrials
{
public:
    struct Options
    {
        // The worker's.
        std::string name;
        // Has work done on that thread. Any thread calls it, with work that may come late.
        std::function<void(std::function<void()>)> post;
        // Told of what went wrong here, in words.
        std::function<void(const std::string&)> tell;
    };

    // `bus` must outlive this. Throws FleetError when the bus cannot be used.
    FleetTrials(FleetBus& bus, Options options);
    // Kills the process that still runs. Its house is another worker's when the claim has expired.
    ~FleetTrials();
    FleetTrials(const FleetTrials&) = delete;
    FleetTrials& operator=(const FleetTrials&) = delete;

    // Does what is due. Returns when it wants to be called again, in milliseconds of the same
    // clock, which is the monotonic one.
    std::int64_t Work(std::int64_t nowMs);

    // From now on it takes no house; the one that lives is given up.
    void Leave();

private:
    struct Soak
    {
        FleetSoakEntry entry;
        // When it was written last.
        std::int64_t seenMs = 0;
        // Where the search for the next house begins.
        unsigned next = 0;
    };
    enum class Stage
    {
        Idle,
        Claiming,
        Living,
        Telling,
    };

    void Watch(Bucket& bucket, void (FleetTrials::*onChange)(const BucketEntry&));
    void OnSoak(const BucketEntry& entry);
    void OnClaim(const BucketEntry& entry);
    void OnResult(const BucketEntry& entry);
    void Write(Bucket& bucket, const std::string& value, std::uint64_t expected,
               void (FleetTrials::*onAnswer)(const BucketAnswer&));
    void OnClaimed(const BucketAnswer& answer);
    void OnRenewed(const BucketAnswer& answer);
    void OnTold(const BucketAnswer& answer);

    bool Take(std::int64_t nowMs);
    bool IsFree(const Soak& soak, unsigned house, std::int64_t nowMs) const;
    void Begin();
    void Look(std::int64_t nowMs);
    void End(int status);
    void Tell(std::int64_t nowMs);
    void GiveUp();
    std::string FileOf(const char* name) const;

    const Options m_options;
    std::unique_ptr<Bucket> m_soakBucket;
    std::unique_ptr<Bucket> m_claimBucket;
    std::unique_ptr<Bucket> m_resultBucket;
    std::map<std::string, Soak> m_soaks;
    // When each house was claimed last, by its key.
    std::map<std::string, std::int64_t> m_claims;
    std::set<std::string> m_results;

    Stage m_stage = Stage::Idle;
    // Of the present house.
    FleetSoakEntry m_soak;
    unsigned m_house = 0;
    std::string m_key;
    std::uint64_t m_claim = 0;
    std::int64_t m_writtenMs = 0;
    pid_t m_child = 0;
    // Where its process writes; empty for none.
    std::string m_folder;
    FleetTrialEntry m_end;
    bool m_leaving = false;
    // Answers that come after the house they are for are not heard.
    std::uint64_t m_turn = 0;
    // What is posted after this is gone does nothing.
    std::shared_ptr<int> m_life = std::make_shared<int>(0);
};
} // namespace lighting_host

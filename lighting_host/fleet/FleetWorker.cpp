#include "lighting_host/fleet/FleetWorker.h"

#include "lighting_host/fleet/FleetTexts.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <vector>
#include <xxhash.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t APPEAR_MS = 1000;
constexpr std::int64_t ASSIGN_MS = 200;
constexpr std::int64_t LEAST_SLEEP_MS = 1;
// A key that nobody has seen written for this long has expired.
constexpr std::int64_t EXPIRED_MS = FleetBuckets::LEASE_TTL_MS + 200;
// A house is handed over gently: so many at a time.
constexpr int MOST_HANDED_OVER = 5;

std::int64_t PresentMs()
{
    return MonotonicNs() / 1000000;
}

std::uint64_t WeightOf(const std::string& worker, const std::string& house)
{
    const std::string both = worker + '/' + house;
    return XXH64(both.data(), both.size(), 0);
}
} // namespace

std::map<std::string, std::string>
AssignHouses(const std::set<std::string>& houses,
             const std::map<std::string, unsigned>& roomOfWorkers)
{
    std::map<std::string, unsigned> left = roomOfWorkers;
    std::map<std::string, std::string> assigned;
    for (const std::string& house : houses)
    {
        const std::string* best = nullptr;
        for (const auto& worker : left)
        {
            if (worker.second > 0 &&
                (!best || WeightOf(worker.first, house) > WeightOf(*best, house)))
                best = &worker.first;
        }
        if (!best)
            break;
        assigned[house] = *best;
        --left[*best];
    }
    return assigned;
}

FleetWorker::FleetWorker(FleetBus& bus, Options options)
    : m_options(std::move(options)), m_houseBucket(bus.OpenBucket(FleetBuckets::HOUSES, 0)),
      m_leaseBucket(bus.OpenBucket(FleetBuckets::LEASES, FleetBuckets::LEASE_TTL_MS)),
      m_stateBucket(bus.OpenBucket(FleetBuckets::STATES, 0)),
      m_workerBucket(bus.OpenBucket(FleetBuckets::WORKERS, FleetBuckets::LEASE_TTL_MS)),
      m_shared{bus,
               *m_leaseBucket,
               *m_stateBucket,
               m_options.name,
               m_options.post,
               [this](const std::string& id) { Due(id, 0); },
               m_options.tell}
{
    Watch(*m_workerBucket, &FleetWorker::OnWorker);
    Watch(*m_leaseBucket, &FleetWorker::OnLease);
    Watch(*m_houseBucket, &FleetWorker::OnHouse);
}

FleetWorker::~FleetWorker() = default;

void FleetWorker::Watch(Bucket& bucket, void (FleetWorker::*onChange)(const BucketEntry&))
{
    bucket.Watch(
        [this, onChange, life = std::weak_ptr<int>(m_life),
         post = m_options.post](const BucketEntry& entry)
        {
            post(
                [this, onChange, life, entry]
                {
                    if (!life.expired())
                        (this->*onChange)(entry);
                });
        });
}

void FleetWorker::OnHouse(const BucketEntry& entry)
{
    if (entry.removed)
        m_listed.erase(entry.key);
    else
        m_listed[entry.key] = entry.value;
    const auto there = m_houses.find(entry.key);
    // Changed or removed: what runs is stopped first, and goes when it rests.
    if (there != m_houses.end())
        there->second.house->Retire();
}

void FleetWorker::Due(const std::string& id, std::int64_t atMs)
{
    const auto there = m_houses.find(id);
    if (there == m_houses.end())
        return;
    m_due.erase({there->second.dueMs, id});
    there->second.dueMs = atMs;
    m_due.insert({atMs, id});
}

unsigned FleetWorker::RoomOf(const BucketEntry& worker) const
try
{
    return ReadFleetWorker(worker.value).room;
}
catch (const FleetError& error)
{
    m_options.tell(fmt::format("worker {}: {}", worker.key, error.what()));
    return 0;
}

void FleetWorker::OnLease(const BucketEntry& entry)
{
    m_leases[entry.key] = {entry, PresentMs()};
}

void FleetWorker::OnWorker(const BucketEntry& entry)
{
    m_workers[entry.key] = {entry, PresentMs()};
}

bool FleetWorker::IsAlive(const Seen& seen, std::int64_t nowMs) const
{
    return !seen.entry.removed && nowMs - seen.atMs < EXPIRED_MS;
}

bool FleetWorker::IsOwnOrGone(const BucketEntry& worker) const
try
{
    return worker.removed || ReadFleetWorker(worker.value).run == m_options.run;
}
catch (const FleetError&)
{
    return false;
}

void FleetWorker::Appear(std::int64_t nowMs)
{
    m_appearAtMs = nowMs + APPEAR_MS;
    const auto mine = m_workers.find(m_options.name);
    const bool isSeen = mine != m_workers.end() && nowMs - mine->second.atMs < EXPIRED_MS;
    if (!m_there && isSeen && !IsOwnOrGone(mine->second.entry))
    {
        // One that was killed and begins anew waits for its own old word to expire.
        if (nowMs - m_startedMs > 2 * EXPIRED_MS)
            throw FleetError(fmt::format("there is another worker called {}", m_options.name));
        return;
    }
    if (!m_there)
        m_presence = isSeen ? mine->second.entry.revision : 0;
    const std::string word = WriteFleetWorker({m_options.run, m_options.room});
    m_workerBucket->Write(
        m_options.name, word, m_presence,
        [this, life = std::weak_ptr<int>(m_life), post = m_options.post](const BucketAnswer& answer)
        {
            post(
                [this, life, answer]
                {
                    if (!life.expired())
                        OnAppeared(answer);
                });
        });
}

void FleetWorker::OnAppeared(const BucketAnswer& answer)
{
    if (answer.outcome == BucketAnswer::Outcome::Written)
    {
        m_presence = answer.revision;
        m_there = true;
        if (m_leaving)
            m_workerBucket->Remove(m_options.name, m_presence, [](const BucketAnswer&) {});
    }
    // Its own word may have come there without an answer, or expired: it appears anew.
    else if (answer.outcome == BucketAnswer::Outcome::Refused)
        m_there = false;
}

void FleetWorker::Want(const std::string& id, bool wanted, std::int64_t nowMs)
{
    const auto lease = m_leases.find(id);
    const bool isSeen = lease != m_leases.end() && nowMs - lease->second.atMs < EXPIRED_MS;
    const bool isRemoved = isSeen && lease->second.entry.removed;
    auto there = m_houses.find(id);
    if (there == m_houses.end())
    {
        // Somebody else has it still.
        if (!wanted || (isSeen && !isRemoved))
            return;
        const auto house = std::make_shared<FleetHouse>(id, m_listed.at(id), m_shared);
        there = m_houses.emplace(id, Running{house, nowMs}).first;
        Due(id, nowMs);
    }
    there->second.house->SetWanted(wanted, isRemoved ? lease->second.entry.revision : 0);
}

void FleetWorker::Assign(std::int64_t nowMs)
{
    m_assignAtMs = nowMs + ASSIGN_MS;
    std::map<std::string, unsigned> rooms;
    for (const auto& worker : m_workers)
    {
        if (IsAlive(worker.second, nowMs))
            rooms[worker.first] = RoomOf(worker.second.entry);
    }
    std::set<std::string> houses;
    for (const auto& house : m_listed)
        houses.insert(house.first);
    std::map<std::string, std::string> assigned;
    if (!m_leaving && m_there)
        assigned = AssignHouses(houses, rooms);
    int handedOver = 0;
    for (const std::string& house : houses)
    {
        const auto to = assigned.find(house);
        const bool mine = to != assigned.end() && to->second == m_options.name;
        const auto there = m_houses.find(house);
        const bool runs = there != m_houses.end() && there->second.house->Runs();
        if (!mine && runs && !m_leaving && m_there && ++handedOver > MOST_HANDED_OVER)
            continue;
        // One that is gone from the others' sight keeps what it has while its leases hold.
        if (!mine && runs && !m_leaving && !m_there)
            continue;
        Want(house, mine, nowMs);
    }
}

std::int64_t FleetWorker::Work(std::int64_t nowMs)
{
    if (m_startedMs < 0)
        m_startedMs = nowMs;
    if (!m_leaving && nowMs >= m_appearAtMs)
        Appear(nowMs);
    if (nowMs >= m_assignAtMs)
        Assign(nowMs);
    while (!m_due.empty() && m_due.begin()->first <= nowMs)
    {
        const std::string id = m_due.begin()->second;
        m_due.erase(m_due.begin());
        const std::shared_ptr<FleetHouse> house = m_houses.at(id).house;
        const std::int64_t next = house->Work(nowMs);
        // What rests unwanted is made anew when it is wanted, from what is listed then.
        if (house->Rests() && !house->IsWanted())
            m_houses.erase(id);
        else
            Due(id, std::max(next, nowMs + LEAST_SLEEP_MS));
    }
    const std::int64_t next =
        m_due.empty() ? m_assignAtMs : std::min(m_assignAtMs, m_due.begin()->first);
    return m_leaving ? next : std::min(next, m_appearAtMs);
}

void FleetWorker::Leave()
{
    if (m_leaving)
        return;
    m_leaving = true;
    m_assignAtMs = 0;
    for (const auto& house : m_houses)
        house.second.house->Retire();
    if (m_there)
        m_workerBucket->Remove(m_options.name, m_presence, [](const BucketAnswer&) {});
}

bool FleetWorker::HasLeft() const
{
    return m_leaving && m_houses.empty();
}
} // namespace lighting_host

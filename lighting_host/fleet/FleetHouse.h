#pragma once

#include "lighting_host/fleet/Lease.h"
#include "lighting_host/house/HouseFile.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lighting_host
{
class HouseRun;

// What the houses of a worker share. All must outlive them.
struct FleetShared
{
    FleetBus& bus;
    Bucket& leases;
    Bucket& states;
    // The worker's name.
    std::string owner;
    // Runs something on the houses' thread, soon. Called on any thread.
    std::function<void(std::function<void()>)> post;
    // Has the house of that name worked on at once; on the houses' thread.
    std::function<void(const std::string&)> wake;
    // Told what goes wrong, and which house begins and ends; on the houses' thread.
    std::function<void(const std::string&)> tell;
};

// One house of the fleet at one worker: its lease, and while the worker owns it the house itself,
// alive in real time. Lines of the protocol come on the subject houses.ID.in and go out on
// houses.ID.out, with the token.
//
// Lives on the worker's thread, which calls Work again and again.
class FleetHouse : public std::enable_shared_from_this<FleetHouse>
{
public:
    // `text` is that of a FleetHouseEntry. A house that is not right is told and never claimed.
    FleetHouse(std::string id, const std::string& text, FleetShared& shared);
    ~FleetHouse();

    // From now on this worker wants the house, or does not: then it is stopped with its states
    // saved, and its lease is given back. `expected` is the revision of the removal that stands in
    // the place of the lease, 0 for nothing.
    void SetWanted(bool wanted, std::uint64_t expected);

    // It is not listed any more, or is another one: from now on never wanted.
    void Retire();

    // Does what is due. Returns when it wants to be called again, in milliseconds of the same
    // clock.
    std::int64_t Work(std::int64_t nowMs);

    bool IsWanted() const { return m_wanted; }
    bool Runs() const { return m_run != nullptr; }
    // Neither runs nor waits for the answer to a claim.
    bool Rests() const { return !m_run && m_lease.GetState().outstanding == 0; }

private:
    void Send(const std::optional<Lease::Request>& request);
    void Begin(std::int64_t nowMs);
    void End(std::int64_t nowMs, bool giveBack);
    void HandIn(const std::string& line);
    void PutOut(const std::string& line);

    const std::string m_id;
    FleetShared& m_shared;
    HouseFile m_file;
    bool m_isRight = false;
    bool m_wanted = false;
    bool m_retired = false;
    std::uint64_t m_expected = 0;
    Lease m_lease;
    std::int64_t m_since = 0;
    // While it runs.
    std::unique_ptr<HouseRun> m_run;
    std::unique_ptr<FleetBus::Subscription> m_input;
    std::int64_t m_beganMs = 0;
    std::int64_t m_tryAgainMs = 0;
    unsigned long m_lines = 0;
};
} // namespace lighting_host

#pragma once

#include "device_wire/AttachedDevice.h"
#include "embedded_host/Random.h"
#include "nxshared/ITimerManagerCallback.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
class Listeners;
class Session;

// How much goes wrong in a house.
enum class FaultLevel
{
    None,
    Light,
    Heavy,
};

// Random faults of a whole house: every link loses, delays and repeats messages, every device loses
// power now and then, and every device gets faults of its own kinds. The same seed gives the same
// faults.
//
// Has random numbers of its own, one sequence a link and one for the rest, so that faults which end
// leave the house's own draws as they were. Lives on the house's thread.
class HouseFaults : private ITimerManagerCallback
{
public:
    // What has become of one link's messages so far.
    struct Counts
    {
        unsigned long messages = 0;
        unsigned long lost = 0;
        unsigned long late = 0;
        unsigned long twice = 0;
        unsigned long powerFailures = 0;
    };

    // Both must outlive this or Stop. `listeners` are told of power failures.
    HouseFaults(Session& session, Listeners& listeners, FaultLevel level, std::uint64_t seed);
    ~HouseFaults() override;
    HouseFaults(const HouseFaults&) = delete;
    HouseFaults& operator=(const HouseFaults&) = delete;

    // Begins; called once, after the session has started.
    void Start();

    // Ends every fault. Messages that are already late still come.
    void Stop();

    // From now on everything that is drawn here is drawn from another seed.
    void Redraw(std::uint64_t seed);

    // The counts of the device at that place in the session's list.
    const Counts& Of(std::size_t device) const;

private:
    class FaultyLink;

    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void PlanFailure(std::size_t device);
    void FailPower(std::size_t device);
    void AddDeviceFaults(simulated::SimulatedDevice& device);

    Session& m_session;
    Listeners& m_listeners;
    const FaultLevel m_level;
    embedded_host::Random m_random;
    std::vector<std::unique_ptr<FaultyLink>> m_links;
    // The timer of each device's next power failure.
    std::vector<unsigned> m_failures;
};

// "none", "light" or "heavy".
std::string NameOf(FaultLevel level);
} // namespace lighting_host

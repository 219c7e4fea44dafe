#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
class Listeners;
class Session;

// What somebody has switched on a device or its link.
struct DeviceFaults
{
    // It hears nothing.
    bool deaf = false;
    // It has forgotten what it was told when it gets power.
    bool forgets = false;
    // What it sends arrives twice.
    bool repeats = false;
    // Of the messages in either direction, 0 to 100; and how much later the others arrive.
    unsigned lossPercent = 0;
    unsigned delayMs = 0;
};

// Power and faults of a house's devices as visitors switch them: each device's own, and those of
// the whole house on top. They come besides the random faults of HouseFaults.
//
// Devices are counted as in the session's list. Draws random numbers of its own, and only for
// messages of a link that has a loss: where nothing is switched, all is as without this. Lives on
// the house's thread.
class DeviceSwitches
{
public:
    static constexpr unsigned MOST_LOSS_PERCENT = 100;
    static constexpr unsigned MOST_DELAY_MS = 25000;

    // What one device, or the whole house, was switched to.
    struct Switched
    {
        DeviceFaults faults;
        bool power = true;
        // When power and deafness last changed; -1 for never.
        std::int64_t powerMs = -1;
        std::int64_t deafMs = -1;
    };

    // Both must outlive this. `listeners` are told of each loss of power.
    DeviceSwitches(Session& session, Listeners& listeners, std::uint64_t seed);
    ~DeviceSwitches();
    DeviceSwitches(const DeviceSwitches&) = delete;
    DeviceSwitches& operator=(const DeviceSwitches&) = delete;

    // Puts itself between the devices and the links that they have by then; called once.
    void Start();

    void SetPower(std::size_t device, bool on);
    // The house's main switch: all devices but real lamps, which nobody switches here.
    void SetPower(bool on);
    void SetFaults(std::size_t device, const DeviceFaults& faults);
    // Of the whole house, but for real lamps.
    void SetFaults(const DeviceFaults& faults);

    const Switched& Of(std::size_t device) const;
    const Switched& OfHouse() const { return m_house; }

    // Whether the device can forget, so that the fault has a meaning.
    bool CanForget(std::size_t device) const;

private:
    class SwitchedLink;

    bool IsReal(std::size_t device) const;
    void Apply(std::size_t device);
    std::int64_t NowMs() const;

    Session& m_session;
    Listeners& m_listeners;
    const std::uint64_t m_seed;
    std::vector<std::unique_ptr<SwitchedLink>> m_links;
    std::vector<Switched> m_switched;
    // Whether it was made to forget here.
    std::vector<bool> m_forgets;
    Switched m_house;
};
} // namespace lighting_host

#pragma once

#include "simulated_devices/FaultList.h"
#include "wire/BusFrame.h"
#include "wire/MibMessage.h"
#include "wire/ZclFrame.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace simulated
{
// The world around one simulated device: the wire to its driver, its own clock, chance, and the
// terminal on which a person's actions are told.
//
// Not the host: a device knows nothing else of what is at the other end. Everything happens on one
// thread. Must outlive the device.
class DeviceEnvironment
{
public:
    virtual ~DeviceEnvironment() = default;

    // Sends a message to the driver. It may arrive before this returns, and the driver may answer
    // before this returns: a device has brought its own state in order before it sends.
    virtual void Send(const wire::MibMessage& message) = 0;
    virtual void Send(const wire::ZclFrame& frame) = 0;
    virtual void Send(const wire::BusFrame& frame) = 0;

    // Calls `callback` once, `delay` from now on the device's clock; never inside
    // this call, 0 included. Callbacks that are due together come in the order in which they were
    // asked for. Devices use SimulatedDevice::After, which takes care of their own end.
    virtual void Schedule(std::chrono::milliseconds delay, std::function<void()> callback) = 0;

    // The time on the device's clock since the world began.
    virtual std::chrono::milliseconds Now() const = 0;

    // A uniformly random number from `min` to `max`, both included; repeats with the world's seed.
    virtual int Random(int min, int max) = 0;

    // Tells the terminal what a person just did at the device, for instance "presses contact 0".
    virtual void ReportPerson(const std::string& what) = 0;

    // The same in the words of whoever planned it, for instance "Ada comes home". What the device
    // itself reports of it comes besides.
    virtual void ReportAct(const std::string& words) { ReportPerson(words); }

    // Tells the controller that the device has come back to the network, as the network itself
    // does after a power failure; not for the start, when every device is there. Worlds without a
    // controller ignore it.
    virtual void Rejoin() {}
};

// How bright a lamp is at a moment: `level` of `full`, never more; 0 of anything is dark.
struct LampLevel
{
    unsigned level = 0;
    unsigned full = 1;
};

// Where a lamp is going to, of LampLevel::full, and when it is there.
struct LampRamp
{
    unsigned to = 0;
    std::chrono::milliseconds ends{};
};

// The base of every simulated device: what reaches it from the wire and from the controller.
//
// Holds no state of a device. Each device overrides what it listens to and what it can do; the rest
// is ignored, as hardware ignores what it does not understand. Nothing that arrives may do harm: a
// message, frame or parameter can be anything.
class SimulatedDevice
{
public:
    // `environment` is not owned and must outlive the device.
    explicit SimulatedDevice(DeviceEnvironment& environment) : m_environment(environment) {}
    SimulatedDevice(const SimulatedDevice&) = delete;
    SimulatedDevice& operator=(const SimulatedDevice&) = delete;
    virtual ~SimulatedDevice() = default;

    // Called when a message of the driver reaches the device. May be called while the device itself
    // is sending.
    virtual void OnMib(const wire::MibMessage&) {}
    virtual void OnZcl(const wire::ZclFrame&) {}
    virtual void OnBus(const wire::BusFrame&) {}

    // Called when the device gets power: once at the start, and again after each power failure.
    // What a device does not keep without power is at its start value afterwards. A device that
    // announces itself does it here.
    virtual void OnPowerOn() {}

    // What the controller tells all loads at once, over the air or the bus and past the drivers. A
    // device that does not hold the scene, or is not in the group, ignores it; so does, by default,
    // every device.
    //
    // The scene of that id is played as the device has stored it.
    virtual void RecallScene(std::uint16_t scene) { (void)scene; }
    // The lamp goes to `level` percent in `time`.
    virtual void GroupRampToLevel(std::uint16_t group, int level, std::chrono::milliseconds time)
    {
        (void)group;
        (void)level;
        (void)time;
    }
    // The lamp goes all the way up or down, at the device's own pace.
    virtual void GroupStartRamp(std::uint16_t group, bool up)
    {
        (void)group;
        (void)up;
    }
    // The lamp stays as bright as it is.
    virtual void GroupStopRamp(std::uint16_t group) { (void)group; }

    // What the controller tells this load alone: the lamp goes to `level` percent in
    // `time`. A device without a lamp ignores it, which is the default.
    virtual void RampToLevel(int level, std::chrono::milliseconds time)
    {
        (void)level;
        (void)time;
    }

    // What a person can do at a button or contact of the device, by its number there.
    enum class Touch
    {
        // From now on it is held, and the device reports so, until it is released.
        Press,
        Release,
        Click,
    };
    enum class Place
    {
        Button,
        Contact,
    };
    // Whether the device has it. Default: nothing can be touched.
    virtual bool HasPlace(Place place, int number) const
    {
        (void)place;
        (void)number;
        return false;
    }
    // A person touches a place that the device has.
    virtual void OnTouch(Place place, int number, Touch touch)
    {
        (void)place;
        (void)number;
        (void)touch;
    }

    // The faults that the device has and can have; null for a device that has none and can have
    // none, which is the default. Valid as long as the device.
    virtual FaultList* GetFaults() { return nullptr; }

    // Adds a fault of that kind, which from now on has its say; attributes that are not given have
    // their defaults. Faults combine, and the one that was added first is asked first. False, and
    // nothing is added, when the device knows no such kind or attribute or a value is out of range.
    bool AddFault(const std::string& kind, const FaultValues& values = {})
    {
        FaultList* const faults = GetFaults();
        return faults && faults->Add(kind, values);
    }

    // Ends every fault. What is already under way still comes.
    void ClearFaults()
    {
        if (FaultList* const faults = GetFaults())
            faults->Clear();
    }

    // How bright the device's lamp is at this moment. Default: dark, as of a device without one.
    virtual LampLevel PresentLevel() const { return {}; }

    // The ramp that is under way; nothing while the lamp stays as it is.
    virtual std::optional<LampRamp> PresentRamp() const { return std::nullopt; }

protected:
    // The world. Valid as long as the device.
    DeviceEnvironment& Environment() const { return m_environment; }

    // Calls `callback` `delay` from now, unless the device is gone by then or
    // CancelPending was called meanwhile.
    void After(std::chrono::milliseconds delay, std::function<void()> callback)
    {
        std::weak_ptr<int> life = m_life;
        m_environment.Schedule(delay,
                               [life, callback = std::move(callback)]
                               {
                                   if (!life.expired())
                                       callback();
                               });
    }

    // A uniformly random whole number of milliseconds, both ends included; beyond 24 days it is 24
    // days.
    std::chrono::milliseconds RandomTime(std::chrono::milliseconds min,
                                         std::chrono::milliseconds max) const
    {
        const auto toInt = [](std::chrono::milliseconds time)
        {
            return static_cast<int>(std::clamp<std::int64_t>(time.count(), 0, INT32_MAX));
        };
        return std::chrono::milliseconds(m_environment.Random(toInt(min), toInt(max)));
    }

    // Forgets every callback that After still has to make, as a power failure does.
    void CancelPending() { m_life = std::make_shared<int>(0); }

private:
    DeviceEnvironment& m_environment;
    // Lives as long as the callbacks asked for are wanted.
    std::shared_ptr<int> m_life = std::make_shared<int>(0);
};
} // namespace simulated

#pragma once

#include "embedded_host/DeviceLink.h"
#include "nxshared/ITimerManagerCallback.h"
#include "simulated_devices/SimulatedDevice.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace embedded_host
{
class House;
}
namespace nx
{
class DriverHost;
}

namespace lighting_host
{
// The octets of a base64 text without line breaks; what is no digit ends it.
std::vector<std::uint8_t> DecodeBase64(const std::string& text);

// What becomes of messages between a driver and its device, in either direction.
class Link
{
public:
    struct Fate
    {
        bool lost = false;
        // Whether nothing overtakes anything else on the link: then a message that is late holds up
        // those behind it, and a second copy comes right behind the first.
        bool inOrder = false;
        // How much later it arrives.
        std::uint64_t delayMs = 0;
        // Whether it arrives a second time, and how much later.
        bool twice = false;
        std::uint64_t secondMs = 0;
    };

    virtual ~Link() = default;

    // Called for each message.
    virtual Fate Next() = 0;
};

// Puts a simulated device at the other end of a driver's wire: the device's world on one side, the
// host's link on the other. What the driver sends reaches the device in a device timer of 0 ms, so
// that neither ever runs inside the other's call.
class AttachedDevice : public simulated::DeviceEnvironment,
                       public embedded_host::DeviceLink,
                       private ITimerManagerCallback
{
public:
    // Told what a person did at a device.
    using PersonReport = std::function<void(const nx::DriverHost&, const std::string&)>;
    // Told of a message from the bus that reached the driver, before the driver gets it.
    using BusReport = std::function<void(const nx::DriverHost&, const wire::BusFrame&)>;
    // The same for a MIB message.
    using MibReport = std::function<void(const nx::DriverHost&, const wire::MibMessage&)>;

    // `driver` must outlive this.
    explicit AttachedDevice(nx::DriverHost& driver);
    ~AttachedDevice() override;

    // The device itself; set once, before anything is sent.
    void SetDevice(std::unique_ptr<simulated::SimulatedDevice> device);
    simulated::SimulatedDevice* Device() const { return m_device.get(); }

    nx::DriverHost& Driver() const { return m_driver; }
    PersonReport onPerson;
    // The same in words of the house file; without it they go to onPerson.
    PersonReport onAct;
    BusReport onBus;
    MibReport onMib;

    // The link between the two; null for one that is perfect. Must outlive this or its own time.
    void SetLink(Link* link) { m_link = link; }

    // Something that reaches the device over the link from somebody else than its driver, as the
    // controller's own word to all loads does.
    void FromElsewhere(const std::function<void(simulated::SimulatedDevice&)>& arrive);

    // DeviceEnvironment.
    void Send(const wire::MibMessage& message) override;
    void Send(const wire::ZclFrame& frame) override;
    void Send(const wire::BusFrame& frame) override;
    void Schedule(std::uint64_t delayMs, std::function<void()> callback) override;
    std::uint64_t NowMs() const override;
    int Random(int min, int max) override;
    void ReportPerson(const std::string& what) override;
    void ReportAct(const std::string& words) override;
    void Rejoin() override;

    // DeviceLink.
    void OnMibSent(const NxMIBPacket& packet) override;
    void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                   std::size_t length) override;
    void OnGatewaySent(const ICmdMessage& command) override;

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void Deliver(const wire::MibMessage& message);
    void Deliver(const wire::ZclFrame& frame);
    void Deliver(const wire::BusFrame& frame);
    template <class Message>
    void ToDriver(const Message& message);
    void ToDevice(std::function<void()> arrive);
    void Carry(const Link::Fate& fate, std::uint64_t& lastArrivalMs, std::function<void()> arrive);

    nx::DriverHost& m_driver;
    Link* m_link = nullptr;
    // When the last message that keeps its turn arrives, in either direction.
    std::uint64_t m_lastAtDriverMs = 0;
    std::uint64_t m_lastAtDeviceMs = 0;
    std::unordered_map<unsigned, std::function<void()>> m_scheduled;
    std::unique_ptr<simulated::SimulatedDevice> m_device;
};
} // namespace lighting_host

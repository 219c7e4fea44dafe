#pragma once

#include "device_wire/HouseEnvironment.h"
#include "device_wire/Link.h"
#include "embedded_host/DeviceLink.h"

#include <functional>
#include <memory>
#include <string>

namespace nx
{
class DriverHost;
}

namespace device_wire
{
// Puts a simulated device at the other end of a driver's wire: the device's environment on one
// side, the host's link on the other. What the driver sends reaches the device in a device timer of
// 0 ms, so that neither ever runs inside the other's call.
//
// Owns the device. Lives on the house's thread.
//
// The functions below may be empty, which is the default. They are called on the house's thread,
// while the device is inside its own call; they must not call into the driver or the device, and
// must not throw. They may be set at any time, but none while it runs itself.
class AttachedDevice : public HouseEnvironment, public embedded_host::DeviceLink
{
public:
    using PersonReport = std::function<void(const nx::DriverHost&, const std::string&)>;
    using BusReport = std::function<void(const nx::DriverHost&, const wire::BusFrame&)>;
    using RefusedReport = std::function<void(const nx::DriverHost&, const char*)>;
    using MibReport = std::function<void(const nx::DriverHost&, const wire::MibMessage&)>;
    using ZclReport = std::function<void(const nx::DriverHost&, const wire::ZclFrame&)>;

    // `driver` must outlive this.
    explicit AttachedDevice(nx::DriverHost& driver);

    // Takes the device off the wire; what is under way in either direction never arrives.
    ~AttachedDevice() override;

    // Puts the device on the wire; called once. Null puts nothing there.
    void SetDevice(std::unique_ptr<simulated::SimulatedDevice> device);

    // Makes a device of that class in this environment and puts it on the wire.
    template <class DeviceClass, class... Arguments>
    DeviceClass& Make(Arguments&&... arguments)
    {
        auto made = std::make_unique<DeviceClass>(*this, std::forward<Arguments>(arguments)...);
        DeviceClass& device = *made;
        SetDevice(std::move(made));
        return device;
    }

    // Null before SetDevice.
    simulated::SimulatedDevice* Device() const { return m_device.get(); }

    nx::DriverHost& Driver() const { return m_driver; }

    // Told what a person did at the device.
    PersonReport onPerson;
    // The same in the words of the house file. When empty, those words go to onPerson.
    PersonReport onAct;
    // Told of a message from the bus that reached the driver, before the driver gets it.
    BusReport onBus;
    // The same for a MIB message, and for a ZCL frame.
    MibReport onMib;
    ZclReport onZcl;
    // Told in words why the host could not read a ZCL frame of the device, which reached nobody.
    RefusedReport onRefused;

    // The link between the two; null, which is the default, for one that is perfect. Must stay
    // valid until another one is set or this is destroyed.
    void SetLink(Link* link) { m_link = link; }
    Link* GetLink() const { return m_link; }

    // Gives the device power, or takes it: without, nothing reaches it or leaves it, and the
    // driver is told that it is offline. When it gets power it starts anew, also when it had
    // power, and joins the network again. It has power at first.
    void SetPower(bool on);
    bool HasPower() const { return m_power; }

    // How bright the device's lamp is at this moment; dark without power.
    simulated::LampLevel PresentLevel() const;

    // Carries something to the device that is not from its driver, for instance a broadcast of the
    // controller. The link decides about it as about messages: `arrive` is called when it arrives,
    // twice when the link repeats it, never when it is lost.
    void FromElsewhere(const std::function<void(simulated::SimulatedDevice&)>& arrive);

    // DeviceEnvironment.
    void Send(const wire::MibMessage& message) override;
    void Send(const wire::ZclFrame& frame) override;
    void Send(const wire::BusFrame& frame) override;
    void ReportPerson(const std::string& what) override;
    void ReportAct(const std::string& words) override;
    void Rejoin() override;

    // DeviceLink.
    void OnMibSent(const NxMIBPacket& packet) override;
    void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                   std::size_t length) override;

    // A payload that is not base64 is a DriverFault and does not reach the device.
    void OnGatewaySent(const ICmdMessage& command) override;

private:
    void Deliver(const wire::MibMessage& message);
    void Deliver(const wire::ZclFrame& frame);
    void Deliver(const wire::BusFrame& frame);
    template <class Message>
    void ToDriver(const Message& message);
    void ToDevice(std::function<void()> arrive);
    void Carry(const Link::Delivery& delivery, std::chrono::milliseconds& lastArrival,
               std::function<void()> arrive);
    Link::Delivery NextDelivery(Link::Way way);

    nx::DriverHost& m_driver;
    Link* m_link = nullptr;
    bool m_power = true;
    // When the last message that keeps its turn arrives, in either direction.
    std::chrono::milliseconds m_lastAtDriver{};
    std::chrono::milliseconds m_lastAtDevice{};
    std::unique_ptr<simulated::SimulatedDevice> m_device;
};
} // namespace device_wire

#pragma once

#include "embedded_host/DeviceLink.h"
#include "nxshared/ITimerManagerCallback.h"
#include "simulated_devices/SimulatedDevice.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

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

    // `driver` must outlive this.
    explicit AttachedDevice(nx::DriverHost& driver);
    ~AttachedDevice() override;

    // The device itself; set once, before anything is sent.
    void SetDevice(std::unique_ptr<simulated::SimulatedDevice> device);
    simulated::SimulatedDevice* Device() const { return m_device.get(); }

    nx::DriverHost& Driver() const { return m_driver; }
    PersonReport onPerson;

    // DeviceEnvironment.
    void Send(const wire::MibMessage& message) override;
    void Send(const wire::ZclFrame& frame) override;
    void Send(const wire::BusFrame& frame) override;
    void Schedule(std::uint64_t delayMs, std::function<void()> callback) override;
    std::uint64_t NowMs() const override;
    int Random(int min, int max) override;
    void ReportPerson(const std::string& what) override;
    void Rejoin() override;

    // DeviceLink.
    void OnMibSent(const NxMIBPacket& packet) override;
    void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                   std::size_t length) override;
    void OnGatewaySent(const ICmdMessage& command) override;

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    nx::DriverHost& m_driver;
    std::unordered_map<unsigned, std::function<void()>> m_scheduled;
    std::unique_ptr<simulated::SimulatedDevice> m_device;
};
} // namespace lighting_host

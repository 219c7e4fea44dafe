#pragma once

#include "nxshared/ITimerManagerCallback.h"
#include "simulated_devices/SimulatedDevice.h"

#include <functional>
#include <unordered_map>

namespace embedded_host
{
class House;
}

namespace device_wire
{
// A house as simulated devices see it: its clock, its random numbers, and callbacks as device
// timers. Has no driver at the other end, so messages and reports of persons go nowhere; that suits
// what several devices share, such as a bus line. AttachedDevice adds the driver.
//
// Lives on the house's thread.
class HouseEnvironment : public simulated::DeviceEnvironment, private ITimerManagerCallback
{
public:
    // `house` must outlive this.
    explicit HouseEnvironment(embedded_host::House& house);

    // Drops the callbacks that are still scheduled.
    ~HouseEnvironment() override;
    HouseEnvironment(const HouseEnvironment&) = delete;
    HouseEnvironment& operator=(const HouseEnvironment&) = delete;

    // DeviceEnvironment.
    void Send(const wire::MibMessage& message) override;
    void Send(const wire::ZclFrame& frame) override;
    void Send(const wire::BusFrame& frame) override;
    void Schedule(std::chrono::milliseconds delay, std::function<void()> callback) override;
    std::chrono::milliseconds Now() const override;
    int Random(int min, int max) override;
    void ReportPerson(const std::string& what) override;

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    embedded_host::House& m_house;
    std::unordered_map<unsigned, std::function<void()>> m_scheduled;
};
} // namespace device_wire

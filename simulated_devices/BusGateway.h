#pragma once

#include "simulated_devices/BusLine.h"

#include <functional>
#include <set>

namespace simulated
{
// The gateway between drivers and an RS-485 line: puts the drivers' messages on the line and hands
// what devices send back to their drivers.
//
// It waits for nobody: each message goes to the line when it comes, and whether it was answered is
// the driver's business. Without power it passes nothing on, in either direction.
class BusGateway : public BusStation
{
public:
    // Gets each frame that is for a driver; the frame's device says for which.
    using ToDriver = std::function<void(const wire::BusFrame&)>;

    // `line` must outlive the gateway.
    BusGateway(BusLine& line, ToDriver toDriver);
    ~BusGateway() override;
    BusGateway(const BusGateway&) = delete;
    BusGateway& operator=(const BusGateway&) = delete;

    // A device whose driver is told of the gateway's status.
    void AddDevice(std::uint32_t device) { m_devices.insert(device); }

    // Power comes or goes; every device's driver is told.
    void SetPower(bool on);

    // A driver's message to its device.
    void SendToDevice(const wire::BusFrame& frame);

    void OnLine(const Octets& octets) override;

private:
    BusLine& m_line;
    ToDriver m_toDriver;
    BusFrameReader m_reader;
    std::set<std::uint32_t> m_devices;
    bool m_power = false;
};
} // namespace simulated

#pragma once

#include <cstddef>
#include <cstdint>

class ICmdMessage;
class NxMIBPacket;

namespace embedded_host
{
// What stands at the other end of a driver's wire: nothing, a simulated device, later a broker.
//
// Gets everything that leaves for the device, inside the call that sends it. Must not call into the
// driver from there: what it answers, it answers later, from a device timer of the house.
class DeviceLink
{
public:
    virtual ~DeviceLink() = default;

    // A packet for the device. It is the driver's: valid during the call, and to be copied by who
    // keeps it.
    virtual void OnMibSent(const NxMIBPacket& packet) = 0;

    // A ZCL frame for an endpoint of the device; the bytes are valid during the call.
    virtual void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                           std::size_t length) = 0;

    // A command for the gateway of the bus that the device is on; valid during the call.
    virtual void OnGatewaySent(const ICmdMessage& command) = 0;
};
} // namespace embedded_host

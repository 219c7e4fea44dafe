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

    virtual void OnMibSent(const NxMIBPacket& packet) = 0;
    virtual void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                           std::size_t length) = 0;
    virtual void OnGatewaySent(const ICmdMessage& command) = 0;
};
} // namespace embedded_host

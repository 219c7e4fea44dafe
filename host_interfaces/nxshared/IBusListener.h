#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <cstdint>

// Gets what the RS-485 gateway hands on to a driver: the messages of the driver's own device, and
// the gateway's word about itself. A driver gives the host its listener through
// NxBaseDriver::GetBusListener.
class NX_HOST_API IBusListener
{
public:
    virtual ~IBusListener() = default;

    // Called by the host on the driver's thread for each message, in the order in which they
    // arrived, whether or not anything was asked; never inside another call of the host to this
    // driver. `payload` has `length` octets (null only when `length` is 0) and is valid during the
    // call. A message can be anything: the listener ignores what it does not understand. It may
    // send, and may start and stop timers. What it throws, the host reports; the driver goes on.
    virtual void OnBusMessage(int opcode, const std::uint8_t* payload, std::size_t length) = 0;
};

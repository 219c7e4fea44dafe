#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <cstdint>

// Gets the messages that the RS-485 gateway sends to a driver: those of the driver's device, and
// the gateway's reports about itself. NxBaseDriver::GetBusListener tells the host which listener a
// driver has.
class NX_HOST_API IBusListener
{
public:
    virtual ~IBusListener() = default;

    // Called by the host on the driver's thread once for each message, in order of arrival, asked
    // for or not. Never called inside another call of the host to this driver. `payload` has
    // `length` octets and is valid during the call; it may be null when `length` is 0. A message
    // can be anything: ignore what you do not understand. May send messages, and may start and stop
    // timers. The host catches and reports what is thrown, and the driver goes on.
    virtual void OnBusMessage(int opcode, const std::uint8_t* payload, std::size_t length) = 0;
};

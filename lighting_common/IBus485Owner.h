#pragma once

#include "lighting_common/Export.h"

#include <string>

#include <boost/shared_ptr.hpp>

class ICmdMessage;

// What a Bus485Helper needs of the driver of a device on an RS-485 bus. Called on the driver's
// thread.
class LIGHTING_COMMON_API IBus485Owner
{
public:
    virtual ~IBus485Owner() = default;

    // A new, empty command message, never null; the owner decides which command it is.
    virtual boost::shared_ptr<ICmdMessage> CreateMessage() = 0;

    // Hands a message to the gateway's driver. The answer may arrive inside this call.
    virtual void SendMessage(const boost::shared_ptr<ICmdMessage>& message) = 0;

    // The device's number on the bus.
    virtual unsigned long GetDeviceId() const = 0;

    // The driver's name, for the log.
    virtual const std::string& GetDriverName() const = 0;

    // Called once when the device was marked offline after three unanswered attempts. May use the
    // helper, or destroy it.
    virtual void OnDeviceOffline() = 0;
};

#pragma once

#include "lighting_common/Export.h"

#include <string>

#include <boost/shared_ptr.hpp>

class IBindMessage;

namespace nx
{
class XmlNode;
}

// What a button of the puck family asks of its driver. A button never talks to the host itself.
//
// All calls come from the button, on the driver's thread, and may come inside any call of the
// driver to the button. Must outlive its buttons. The order of the operations is part of the
// interface (do not change). What an operation throws goes on to the caller; what the device
// reported has taken effect by then.
class LIGHTING_COMMON_API IKeypadButtonOwner
{
public:
    virtual ~IKeypadButtonOwner() = default;

    // Starts a timer of the owner's hold time and returns its id, not 0. The owner calls the
    // button's OnHoldTimerExpired when that timer is due.
    virtual unsigned AddHoldTimer() = 0;

    // Stops a timer that AddHoldTimer started; 0 is ignored, and so is a timer that has fired. The
    // button has the id until this returns, so it must not be used inside the call.
    virtual void KillHoldTimer(unsigned id) = 0;

    // Fires a numbered event of the driver.
    virtual void FireButtonEvent(unsigned event) = 0;

    // Sends a button's status, as it is persisted, to the user interface.
    virtual void SendButtonStatusToUI(boost::shared_ptr<nx::XmlNode> status) = 0;

    // Whether the device reports again and again that a button is held. False: no hold timer runs.
    virtual bool HasButtonHoldFeedback() = 0;

    // Sends a bound command by its name ("DO_PUSH") to whoever is bound to that binding.
    virtual void SendButtonBoundCall(unsigned binding, const std::string& cmd) = 0;

    // Sends a message made with GetBindMessage to whoever is bound to that binding.
    virtual void SendButtonBoundCall(unsigned binding, boost::shared_ptr<IBindMessage>& msg) = 0;

    // Sends a setting to the device: three numbers, each cut to one byte.
    virtual void SetMIBForButton(std::string mib, int a, int b, int third) = 0;

    // Sends a setting to the device: two numbers, each cut to one byte, and a text as it is.
    virtual void SetMIBForButton(std::string mib, int a, int b, std::string text) = 0;

    // Asks the device to act: two or three numbers of 32 bits.
    virtual void InvokeMIBForButton(std::string mib, int a, int b) = 0;
    virtual void InvokeMIBForButton(std::string mib, int a, int b, int third) = 0;

    // Sets the driver's variable of that id.
    virtual void VariableChanged(unsigned varId, int value) = 0;

    // The next free id of a variable; each call gives another one.
    virtual unsigned GetNextVarID() = 0;

    // A new, empty message for SendButtonBoundCall, never null.
    virtual boost::shared_ptr<IBindMessage> GetBindMessage() = 0;
};

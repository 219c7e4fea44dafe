#pragma once

#include "lighting_common/Export.h"
#include "nxshared/Ids.h"

#include <string>

class Gen3Button;

// What a Gen3Button needs of its keypad driver: every effect on the hardware and every report to
// the controller goes through here.
//
// Called on the driver's thread, from inside the button's operations, its constructors included. A
// call may come back into the same button, KillButtonTimer included, but must not destroy it. What
// an operation throws goes on to the caller; the button stays usable. Indexes are signed because
// they are counted from a signed button id; an owner passes over those that its hardware does not
// have.
class LIGHTING_COMMON_API IGen3ButtonOwner
{
public:
    virtual ~IGen3ButtonOwner() = default;

    // Starts the hold timer of one button and returns its id; 0 when none could be started. At its
    // expiry the owner calls OnHoldTimerExpired of the button whose GetHoldTimer is that id.
    virtual ID::Timer StartButtonTimer() = 0;

    // Stops a timer that StartButtonTimer gave.
    virtual void KillButtonTimer(ID::Timer timer) = 0;

    // Whether buttons watch for a release that never arrives. When false, no timer is started.
    virtual bool UsesHoldTimer() = 0;

    // Makes the keypad act as if the button were used. `action` is 1 for a push, 0 for a release, 2
    // for a click; `behavior` is the button's.
    virtual void SendButtonAction(int buttonId, int action, int behavior) = 0;

    // Called when a button's behaviour was set. The button may still be under construction: only
    // its id, name, slots and behaviour are to be read.
    virtual void OnButtonBehaviorChanged(Gen3Button* button, int behavior) = 0;

    // Writes a number into an LED: parameter 0 the actuator that the LED is tied to (0 for none), 1
    // the LED behaviour and 2 the blink behaviour, both -128 to 127.
    virtual void SetLedParam(int led, int parameter, int value) = 0;

    // Writes a colour into an LED: parameter 3 the on colour, 4 the off colour, 5 the current one.
    virtual void SetLedColor(int led, int parameter, const std::string& colour) = 0;

    // Gives the backlight at that index its usual colour.
    virtual void SetBacklightDefault(int index) = 0;

    // Gives the backlight at that index a colour of its own.
    virtual void SetBacklightColor(int index, const std::string& colour) = 0;

    // Called after a remote click; `count` is the number of clicks (1).
    virtual void OnRemoteClick(int buttonId, int count) = 0;

    // Tells the controller a number. `group` names what it is about ("KEYPAD_BUTTON_INFO", or
    // "REQUEST_BUTTON_COLORS" to have the bound device asked for its colours), `item` the value.
    virtual void SendButtonNotification(int buttonId, const std::string& group,
                                        const std::string& item, int value) = 0;

    // The same with a text: the current colour.
    virtual void SendButtonTextNotification(int buttonId, const std::string& group,
                                            const std::string& item, const std::string& text) = 0;

    // Reports that the button was used: `event` 1 pressed, 0 released, 2 clicked.
    virtual void ReportButtonEvent(int buttonId, int event) = 0;

    // Whether the keypad's LEDs can follow a bound device. Asked when a settings command says that
    // the button was bound.
    virtual bool IsLedTrackingDevice() = 0;
};

#pragma once

#include "lighting_common/Export.h"
#include "nxshared/Ids.h"

#include <string>

class Gen3Button;

namespace gen3_lights
{
// What an LED can be given, by the keypad's numbers (wire values, do not change). The first three
// are numbers, for SetLedParam; the others are colors, for SetLedColor.
enum LedParameter : int
{
    // The actuator that the LED is tied to, 0 for none.
    LED_ACTUATOR = 0,
    LED_BEHAVIOR = 1,
    LED_BLINK = 2,
    LED_ON_COLOR = 3,
    LED_OFF_COLOR = 4,
    LED_CURRENT_COLOR = 5,
};

// How a button is used: the event that is reported, and the action that the keypad is made to act
// (wire values, do not change).
enum ButtonUse : int
{
    RELEASED = 0,
    PRESSED = 1,
    CLICKED = 2,
};
} // namespace gen3_lights

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

    // Makes the keypad act as if the button were used. `action` is a gen3_lights::ButtonUse;
    // `behavior` is the button's.
    virtual void SendButtonAction(int buttonId, int action, int behavior) = 0;

    // Called when a button's behaviour was set. The button may still be under construction: only
    // its id, name, slots and behaviour are to be read.
    virtual void OnButtonBehaviorChanged(Gen3Button* button, int behavior) = 0;

    // Writes a number, -128 to 127, into an LED. `parameter` is a gen3_lights::LedParameter, one of
    // the first three.
    virtual void SetLedParam(int led, int parameter, int value) = 0;

    // Writes a color into an LED. `parameter` is a gen3_lights::LedParameter, one of the last
    // three.
    virtual void SetLedColor(int led, int parameter, const std::string& color) = 0;

    // Gives the backlight at that index its usual color.
    virtual void SetBacklightDefault(int index) = 0;

    // Gives the backlight at that index a color of its own.
    virtual void SetBacklightColor(int index, const std::string& color) = 0;

    // Called after a remote click; `count` is the number of clicks (1).
    virtual void OnRemoteClick(int buttonId, int count) = 0;

    // Tells the controller a number. `group` names what it is about ("KEYPAD_BUTTON_INFO", or
    // "REQUEST_BUTTON_COLORS" to have the bound device asked for its colors), `item` the value.
    virtual void SendButtonNotification(int buttonId, const std::string& group,
                                        const std::string& item, int value) = 0;

    // The same with a text: the current color.
    virtual void SendButtonTextNotification(int buttonId, const std::string& group,
                                            const std::string& item, const std::string& text) = 0;

    // Reports that the button was used: `event` is a gen3_lights::ButtonUse.
    virtual void ReportButtonEvent(int buttonId, int event) = 0;

    // Whether the keypad's LEDs can follow a bound device. Asked when a settings command says that
    // the button was bound.
    virtual bool IsLedTrackingDevice() = 0;
};

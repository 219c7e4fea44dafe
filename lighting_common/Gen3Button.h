#pragma once

#include "lighting_common/Export.h"
#include "lighting_common/Gen3Lights.h"
#include "nxshared/Ids.h"

#include <string>

#include <boost/shared_ptr.hpp>

class ICmdMessage;
class IGen3ButtonOwner;

namespace nx
{
class XmlNode;
}

// One button of a third-generation keypad: id, name, behaviour, the LEDs that it covers with their
// behaviour and colors, and its hold timer.
//
// Created, owned and destroyed by the keypad driver, which is its IGen3ButtonOwner and must outlive
// it. The button talks to nobody but that owner. Lives on the driver's thread. The hold timer
// belongs to the owner: destroying a button calls nobody, so the owner stops a timer that is left.
//
// Any numbers are taken, as the controller sends them; no operation reports an error. Colors are
// texts of six lower-case hexadecimal digits: red, green, blue. `force` writes what has not changed
// too.
class LIGHTING_COMMON_API Gen3Button
{
public:
    static const std::string BLACK;
    static const std::string WHITE;
    // The binding of the button with the id 0.
    static constexpr int FIRST_BINDING = 203;

    // A button with that id and nothing else: no LED, no name, behaviour and LED state unknown.
    Gen3Button(IGen3ButtonOwner& owner, char id);

    // The upper (id 1) or lower button of a keypad with one LED each, behaviour 3, its LED on while
    // it is pressed. Writes the colors and the LED behaviour.
    Gen3Button(IGen3ButtonOwner& owner, int id, const std::string& onColor,
               const std::string& offColor);

    // The button that a command describes ("BUTTON_ID", "SLOTS", "NAME", "ON_COLOR", "OFF_COLOR",
    // "BUTTON_BEHAVIOR", "LED_BEHAVIOR"). Writes all of it to the hardware, shows the off color
    // and sets up the backlight.
    Gen3Button(IGen3ButtonOwner& owner, const ICmdMessage& msg);

    Gen3Button(const Gen3Button&) = delete;
    Gen3Button& operator=(const Gen3Button&) = delete;
    virtual ~Gen3Button() = default;

    // The button as a "KEYPAD_BUTTON_INFO" element.
    boost::shared_ptr<nx::XmlNode> toXml() const;

    // Takes both colors, the behaviour and the LED behaviour from such an element; a missing child
    // counts as empty or 0. Null is ignored.
    void applySettings(boost::shared_ptr<nx::XmlNode> settings);

    // Applies a settings command. Parameters that are empty or absent change nothing. Afterwards
    // the current color follows the on/off state where that is known and has changed.
    virtual void applySettings(const ICmdMessage& msg);

    // The button's id, -128 to 127; also the first index of its backlight.
    int GetBtnIndex() const { return m_id; }

    // How many LEDs the button covers: 0 none, 1, 2, or 3 for a position of a rocker.
    int GetSlots() const { return m_slots; }
    const std::string& GetName() const { return m_name; }

    // 0 for the behaviours 0 to 5, 1 for their second-channel forms 16 to 18, -1 for all others.
    int GetChannel() const;

    // The behaviour with its channel taken off (0 to 5), -1 for one that belongs to no channel.
    int GetCoreBehavior() const;

    // -1 until set.
    int GetBehavior() const { return m_behavior; }
    const std::string& GetOnColor() const { return m_onColor; }
    const std::string& GetOffColor() const { return m_offColor; }
    const std::string& GetCurColor() const { return m_curColor; }
    gen3_lights::Buttons::LEDBehavior GetLEDBehavior() const { return m_ledBehavior; }
    int GetLEDBlinkBehavior() const { return m_ledBlinkBehavior; }

    // The id of the button's binding: its id and FIRST_BINDING.
    int GetBinding() const;

    // The running hold timer, 0 when none runs.
    ID::Timer GetHoldTimer() const { return m_holdTimer; }

    // The number by which an LED knows the button: 1 and 5 for the halves of a rocker, by name,
    // else the id.
    int GetActuator() const;

    // Sets the behaviour and tells the owner.
    virtual void SetBehavior(int behavior, bool force);

    // Set a color and write it to the button's LEDs: at 80 per cent, but unchanged when there are
    // two. A button without LEDs keeps its old color. SetCurColor also tells the controller.
    void SetOnColor(const std::string& color, bool force);
    void SetOffColor(const std::string& color, bool force);
    void SetCurColor(const std::string& color, bool force);

    // Sets when the LED is on and ties it to the button or to nothing; a rocker position also
    // darkens the LEDs on both sides. Behaviour 0 asks for the bound device's colors every time,
    // changed or not.
    void SetLEDBehavior(gen3_lights::Buttons::LEDBehavior behavior, bool force);

    // Makes the LED blink; cut to 8 bits on the way. Not remembered.
    void SetLEDBlinkBehavior(int behavior);

    // Gives the backlights behind the button their usual color, or darkens those that a rocker
    // half or a button without LED does not show.
    void ConfigureBacklight() const;

    // Writes everything to the hardware again.
    void SendSettingsToHW();

    // Darkens the button and takes its behaviours off. Name and slots stay. Of more than 256 slots,
    // which no keypad can number, the first 256 are darkened, with a warning.
    void ResetButton();

    // The button was used by hand. They report it to the owner; with LED behaviour 2 the LED has
    // changed by itself and the controller is told.
    void DoPush();
    void DoRelease();
    void DoClick();

    // The controller uses the button: as above, but the keypad is made to act, and the current
    // color is written.
    void RemotePush();
    void RemoteRelease();
    void RemoteClick();

    // Starts the hold timer if the owner uses one.
    void StartHoldTimer();

    // Stops the hold timer; none running: nothing.
    void KillHoldTimer();

    // The hold timer ran out without a sign of life: the press ends as a release.
    void OnHoldTimerExpired();

    // The keypad reports the button still held: the hold timer starts again.
    void OnHoldReceived();

    // A bound load reports its level. Moves the LED's color in the behaviours that follow a level.
    void InformLightLevel(int level);

private:
    bool TakeState(const std::string& text);
    void UpdateCurrentColor(bool stateSupplied, bool onChanged, bool offChanged,
                            const char* operation);
    void ShowSuppliedState(const char* operation);
    void NoteState(bool on);
    void DarkenNeighbour(int led);
    void DarkenColors(int led);
    void WriteParam(int parameter, int value);
    void WriteColor(int parameter, const std::string& color);

    IGen3ButtonOwner& m_owner;
    signed char m_id = 0;
    int m_behavior = -1;
    gen3_lights::Buttons::LEDBehavior m_ledBehavior =
        gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE;
    int m_ledBlinkBehavior = 0;
    ID::Timer m_holdTimer = 0;
    std::string m_name;
    std::string m_onColor;
    std::string m_offColor;
    std::string m_curColor;
    int m_slots = 0;
    int m_ledIndex = 0;
    // -1 unknown, 0 off, 1 on.
    int m_state = -1;
    // The owner is being asked to stop the hold timer.
    bool m_killingTimer = false;
};

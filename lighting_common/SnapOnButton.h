#pragma once

#include "lighting_common/Export.h"
#include "lighting_common/PuckButton.h"

#include <string>

// A button of a snap-on keypad on a puck module.
//
// Adds to a button a name for users and an LED with an on color, an off color and a current color.
// Two switches say whether the module manages the LED by itself, and whether the colors come from
// the device bound to the button. Colors are six hexadecimal digits: red, green, blue; they are
// kept and sent as given. Created by concrete drivers. Thread and owner as for PuckButton.
class LIGHTING_COMMON_API SnapOnButton : public PuckButton
{
public:
    // The release event of button 0; each button has ten numbers (wire value, do not change).
    static constexpr int BASE_EVENT_NUM = 5000;

    // `number` is the button's binding. `state` is a snap-on button's persisted state or null;
    // without it the button is named after its place ("Button 1" for id 0). Sends nothing.
    SnapOnButton(int id, unsigned number, IKeypadButtonOwner& owner,
                 boost::shared_ptr<nx::XmlNode> state);
    ~SnapOnButton() override;

    // A node "BUTTON_STATUS" with the settings and the bound flag. State and current color are
    // not part of it.
    boost::shared_ptr<nx::XmlNode> GetPersistState() const override;

    void SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool force) override;

    // Sets the state and, when `send` is true, tells the device. A state that is set already is
    // never told again.
    void SetCurState(puck::MIBS::ButtonState newState, bool send) override;

    // As for PuckButton; then the device is told the state, if it manages the LED itself.
    void RemotePush() override;
    void RemoteRelease() override;
    void RemoteClick() override;

    // Sends state, behaviour, colors and who manages the LED.
    void SendSettingsToHW() override;

    // As for PuckButton, if the device manages the LED itself; else nothing.
    void LightLevel(int level) override;

    const std::string& GetVarName() const { return varName; }
    void SetVarName(std::string name);

    // Each sets its value and, when `send` is true, tells the device. A value that is set already
    // is never told again.
    void SetLocalLEDManaged(bool managed, bool send);
    void SetOnColor(const std::string& color, bool send);
    void SetOffColor(const std::string& color, bool send);
    void SetCurColor(const std::string& color, bool send);

    const std::string& GetOnColor() const { return onColor; }
    const std::string& GetOffColor() const { return offColor; }
    const std::string& GetCurColor() const { return curColor; }
    bool IsLocalLEDManaged() const { return localLEDManaged; }

    // The color that belongs to the state: the on color when it is 1, else the off color.
    const std::string& GetCurStateColor() const;

    // Whether the colors come from the bound device. A change to true asks it for them.
    bool FollowsBoundColor() const { return followBoundColor; }
    void SetFollowBoundColor(bool follow);

    // Asks the bound device for its colors, if the button follows them and somebody is bound. The
    // answer comes to the driver, which sets the colors here.
    void RequestBoundColors();

protected:
    std::string varName;
    std::string onColor;
    std::string offColor;
    std::string curColor;
    bool localLEDManaged;
    bool followBoundColor;

private:
    void SendNumber(int channel, int value);
    void SendColor(int channel, const std::string& color);
    void SetColor(std::string& held, const std::string& color, int channel, bool send);
    void SendStateIfManaged();
};

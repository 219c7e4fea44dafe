#pragma once

#include "lighting_common/Export.h"
#include "lighting_common/PuckButton.h"

// A contact input of a puck module ("Aux 1", "Aux 2") with the LED that belongs to it.
//
// Adds to a button what its LED shows: the contact, the load, the inverse of either, or what the
// controller sets. Settings go to the device at once; the state that follows from contact and load
// is only kept here, because the device works it out for itself. Thread and owner as for
// PuckButton.
class LIGHTING_COMMON_API ContactButton : public PuckButton
{
public:
    // The release event of contact 0; each contact has ten numbers (wire value, do not change).
    static constexpr int BASE_EVENT_NUM = 6000;

    // The device numbers its contacts from here (wire value, do not change).
    static constexpr unsigned FIRST_DEVICE_NUMBER = 7;

    // `number` is the contact's binding, counted from 1. `state` is a contact's persisted state or
    // null; without it behaviour and LED behaviour are 2.
    ContactButton(int id, unsigned number, IKeypadButtonOwner& owner,
                  boost::shared_ptr<nx::XmlNode> state);
    ~ContactButton() override;

    // A node "CONTACT_STATUS" with the contact's index and its two settings.
    boost::shared_ptr<nx::XmlNode> GetPersistState() const override;

    void SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool force) override;

    // Sets the state and sends the LED's color to the device: white for 1, black for anything
    // else. A state that is set already is sent again only when `force` is true.
    void SetCurState(puck::MIBS::ButtonState newState, bool force) override;

    // As for PuckButton, then the state follows the LED behaviour.
    void DoPush() override;
    void DoClick() override;
    void DoRelease() override;

    // As for PuckButton; in behaviours 4 and 5 they do nothing at all.
    void RemotePush() override;
    void RemoteRelease() override;

    // As for PuckButton. In behaviours 4 and 5 the next click that the device reports then leaves
    // the pressed flag as it is, unless the controller clicks once more before.
    void RemoteClick() override;

    // Sends both settings, and in LED behaviour 4 the state.
    void SendSettingsToHW() override;

    // The load's level was reported: kept, and the state follows it where the LED shows the load.
    void LightLevel(int level) override;

    // Sets what the LED shows and tells the device. A value that is set already is told again only
    // when `force` is true; one outside 0 to 4 is kept and not told.
    void SetLEDBehavior(puck::MIBS::LEDBehavior newBehavior, bool force);
    puck::MIBS::LEDBehavior GetLEDBehavior() const { return ledBehavior; }

    // Sets whether the contact is closed, as the device reported it otherwise than by a trap.
    // Fires nothing.
    void SetStatus(puck::ButtonStatus status);

    // Works the state out anew from LED behaviour, contact and load. Sends nothing.
    void UpdateState();

protected:
    puck::MIBS::LEDBehavior ledBehavior;
    // The load's last reported level.
    int loadLevel;
    // Whether the next click that the device reports leaves the pressed flag as it is.
    bool togglePending;

private:
    // The number that the device has for the contact itself; its LED has the plain id.
    int DeviceNumber() const;
};

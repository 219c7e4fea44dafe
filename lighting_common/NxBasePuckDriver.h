#pragma once

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "lighting_common/Export.h"
#include "lighting_common/IKeypadButtonOwner.h"

#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

class ContactButton;
class ICmdMessage;
class ICmdReturn;
class ICondMessage;
class PuckButton;

// The base of drivers for puck modules: small in-wall modules with two contact inputs.
//
// Owns a ContactButton for each input and is their owner towards the host: it takes the device's
// traps, the controller's commands and conditions, bound calls and timers to the right contact, and
// sends what the contacts ask for. Knows no load and no snap-on keypad; a derived driver adds them
// by overriding the handlers. Lives on the driver's thread. Registers its handlers when it is
// constructed and makes its contacts in Initialize; a contact that is not there (before Initialize,
// or because the persisted state holds fewer) is passed over everywhere.
class LIGHTING_COMMON_API NxBasePuckDriver : public NxBaseMibDriver, public IKeypadButtonOwner
{
public:
    // The value that addresses all LEDs; for derived drivers.
    static constexpr int ALL_LEDS = 255;
    static constexpr int NUM_CONTACTS = 2;
    // Milliseconds that the hold timer runs longer than the device's own hold time.
    static constexpr int HOLD_TIME_EXTRA = 300;
    // The link binding of contact 0; contact 1's is the next one.
    static constexpr int CONTACT_BINDING_ID = 1;
    // The first link binding of snap-on keypad buttons; for derived drivers.
    static constexpr int BUTTON_BINDING_ID = 300;

    // Registers all handlers with the driver's dispatchers. `instances` must outlive the driver.
    NxBasePuckDriver(IInstanceManager& instances, NxDriverType type);

    // Removes each contact's binding and variable from the host and deletes the contact.
    ~NxBasePuckDriver() override;

    // Makes the contacts, from `state` if there is one, and registers their variables and bindings.
    // Without a state, the contacts of a module that has no load are set to show themselves, and
    // the device is told. Returns what the base returned.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // A node "State" with the contacts' states in "ALL_CONTACTS".
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    // The device came online or went offline. Online: asks for its hold time and sends it every
    // setting of the contacts.
    void OnMIBDeviceOnlineStatusChanged(DeviceStatus status, const std::string& detail,
                                        const std::string& address) override;

    // A timer of this driver is due: passed to the contact whose hold timer it is.
    void OnTimerExpired(ID::Timer timerId, time_t time) override;

    // A call arrived on a binding. A "PROTOCOL_COMMAND" is run as a command with the binding as its
    // caller: 0, or -1 when no handler took it. Anything else is the base's.
    int BoundCall(ID::Binding binding, BindingType type, const std::string& name,
                  const IBindMessage& message, ICmdReturn* ret) override;

    // A binding was made or broken; a contact keeps whether somebody is bound to its link.
    void OnBindingChanged(unsigned id, const std::string& cls, bool bound, unsigned otherDevice,
                          unsigned otherBinding) override;

    // The services to the buttons, as IKeypadButtonOwner describes them.
    unsigned AddHoldTimer() override;
    void KillHoldTimer(unsigned id) override;
    void FireButtonEvent(unsigned event) override;
    void SendButtonStatusToUI(boost::shared_ptr<nx::XmlNode> status) override;
    bool HasButtonHoldFeedback() override;
    void SendButtonBoundCall(unsigned binding, const std::string& cmd) override;
    void SendButtonBoundCall(unsigned binding, boost::shared_ptr<IBindMessage>& msg) override;
    void SetMIBForButton(std::string mib, int a, int b, int third) override;
    void SetMIBForButton(std::string mib, int a, int b, std::string text) override;
    void InvokeMIBForButton(std::string mib, int a, int b) override;
    void InvokeMIBForButton(std::string mib, int a, int b, int third) override;
    void VariableChanged(unsigned varId, int value) override;
    unsigned GetNextVarID() override;
    boost::shared_ptr<IBindMessage> GetBindMessage() override;

    // The handlers that the dispatchers call.
    //
    // "GET_PROPERTIES": the device's information is queried and each contact's status goes to the
    // user interface.
    virtual void OnCmdGetProperties(const ICmdMessage& message, ICmdReturn* ret);

    // "PRESS_CNT", "RELEASE_CNT", "CLICK_CNT": remote actions of the contact "CONTACT_NUMBER". Also
    // called for the same commands of keypad buttons ("..._BTN"), which do nothing here.
    virtual void OnCmdRemoteAction(const ICmdMessage& message, ICmdReturn* ret);

    // "CONTACT_STATUS": sets "AUX_BEHAVIOR" and "AUX_LEDS" of the contact "CONTACT_NUMBER".
    virtual void OnCmdContactStatus(const ICmdMessage& message, ICmdReturn* ret);

    // "TURN_LED_ON", "TURN_LED_OFF": sets the state of the contact "CONTACT_NUMBER".
    virtual void OnCmdTurnLEDOn(const ICmdMessage& message, ICmdReturn* ret);
    virtual void OnCmdTurnLEDOff(const ICmdMessage& message, ICmdReturn* ret);

    // A button trap of the device; its first parameter is the device's number of the button.
    virtual void OnTrapBtnAction(const NxMIBPacket& trap);

    // The device's answer to the query for its hold time, in milliseconds; values below 1 are
    // ignored.
    virtual void OnRspDevInfoState(const NxMIBPacket& reply, const NxMIBPacket* request);

    // Conditions "ON" and "OFF": whether the contact "CONTACT_NUMBER" has that state.
    virtual bool OnCondButtonState(const ICondMessage& message, unsigned* reserved);

protected:
    // The button that the device's traps mean by a number, null when there is none. The contacts
    // are numbered from 7. An override puts its own buttons before this. The number can be
    // anything.
    virtual PuckButton* FindTrapButton(int number);

    // The contact with that index, null outside the sequence.
    ContactButton* FindContact(unsigned index) const;

    // The contacts in order, owned.
    std::vector<ContactButton*> buttons;
    // Whether the device has reported a hold time.
    bool holdFeedback = false;
    // The period of the hold timer, in milliseconds.
    unsigned holdTimeMs = 250;
    // Not used by this class; for derived drivers.
    unsigned driverWord = 0;
    // The variable id that GetNextVarID gives next.
    unsigned nextVarId = 1014;

private:
    void RegisterCommands();
    void RegisterTraps();
    void RegisterResponses();
    void RegisterConditionals();
    void RestoreContacts(const boost::shared_ptr<nx::XmlNode>& state);
    void MakeFreshContacts();
    void RegisterButtonVariables();
    void CreateButtonBindings();
    void TurnLed(const ICmdMessage& message, int state);
};

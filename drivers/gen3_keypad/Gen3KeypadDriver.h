#pragma once

#include "NxLibDriverBases/NxBaseDriver.h"
#include "drivers/gen3_keypad/Gen3KeypadSettings.h"
#include "drivers/gen3_keypad/KeypadOutbox.h"
#include "drivers/gen3_keypad/KeypadState.h"
#include "lighting_common/Bus485Helper.h"
#include "lighting_common/BusParsers.h"
#include "lighting_common/Gen3Button.h"
#include "lighting_common/IBus485Owner.h"
#include "lighting_common/IGen3ButtonOwner.h"
#include "nxshared/IBusListener.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The driver of a third-generation keypad on an RS-485 bus: its buttons, made by the controller's
// commands, in front; a transmit queue behind; the keypad's firmware version beside.
//
// Owns its buttons and the queue. Lives on the driver's thread. The driver keeps what the buttons
// write to LEDs and backlights as the keypad's wanted state. Each bus message holds all of one kind
// of state. State that could not leave while the keypad was offline follows when it is back.
//
// The driver hands one message at a time to the transmit queue. The others wait in an outbox, which
// holds each kind of state at most once, and a use of a button until its time limit. So the outbox
// stays small when a keypad answers late or seldom.
class Gen3KeypadDriver : public NxBaseDriver,
                         public IBusListener,
                         public IGen3ButtonOwner,
                         public IBus485Owner
{
public:
    // How long a button may be held without a sign of life, in milliseconds.
    static constexpr unsigned HOLD_TIME_MS = 1000;

    // How long a use of a button may wait for the keypad, in seconds: "USE_TIME_LIMIT" of the
    // configuration, from 1 to MAX_USE_TIME_LIMIT. Any other value logs a warning and counts as the
    // default.
    static constexpr int DEFAULT_USE_TIME_LIMIT = gen3_keypad::USE_TIME_LIMIT.usual;
    static constexpr int MAX_USE_TIME_LIMIT = gen3_keypad::USE_TIME_LIMIT.most;

    // `instances` must outlive the driver.
    explicit Gen3KeypadDriver(IInstanceManager& instances);
    ~Gen3KeypadDriver() override;

    // Takes the settings, and makes the buttons of the state anew, each as a command with its
    // settings would.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // "State" with "ALL_BUTTONS", in which each button stands, in order of id.
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    // A hold timer or the time limit of a use ran out.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // "NEW_KEYPAD_BUTTON" makes the button "BUTTON_ID", in place of one that has that id already;
    // "KEYPAD_BUTTON_INFO" applies settings to one; "DELETE_KEYPAD_BUTTON" removes one. The last
    // two refuse an id that no button has.
    virtual void OnCmdNewKeypadButton(const ICmdMessage& message, ICmdReturn* ret);
    virtual void OnCmdKeypadButtonInfo(const ICmdMessage& message, ICmdReturn* ret);
    virtual void OnCmdDeleteKeypadButton(const ICmdMessage& message, ICmdReturn* ret);

    // The button with that id, null when there is none. Valid until it is replaced or removed.
    Gen3Button* Button(int id) const;

    // All button ids, ascending.
    std::vector<int> ButtonIds() const;

    // A bound load reported its level: every button is told, in order of id.
    void ReportLightLevel(int level);

    // How many messages wait until the transmit queue takes them, and which.
    std::size_t WaitingCount() const { return m_outbox.Size(); }
    const KeypadOutbox& Outbox() const { return m_outbox; }

    // The transmit queue; who knows what is online tells it there.
    Bus485Helper& Bus() { return m_bus; }
    const Bus485Helper& Bus() const { return m_bus; }

    // The keypad's firmware version; empty until it has told.
    const BusParsers::FirmwareVersion& Firmware() const { return m_firmware; }

    // A firmware reply or an announce arrived. False, and nothing changes, when it is too short.
    bool OnFirmwareReply(const std::uint8_t* payload, std::size_t length);
    bool OnAnnounce(const std::uint8_t* payload, std::size_t length);

    // A message arrived from the bus: an answer, an announce, a used button, the gateway's status.
    // Anything else, and what is too short, is ignored. Every message of the keypad, also an
    // ignored one, shows that it is online. When it was offline before, or announces a restart, the
    // driver gives up the waiting uses and sends the states that the keypad has not confirmed
    // (after a restart: all of them).
    void OnBusMessage(int opcode, const std::uint8_t* payload, std::size_t length) override;
    IBusListener* GetBusListener() override { return this; }

    // Whether buttons watch for a missing release (default: yes), and whether the keypad's LEDs can
    // follow a bound device (default: no).
    void SetUsesHoldTimer(bool uses) { m_usesHoldTimer = uses; }
    void SetTracksLeds(bool tracks) { m_tracksLeds = tracks; }

    // Whether what buttons ask for goes to the bus (default: yes). Off where there is no keypad
    // that would understand this driver's opcodes: then the bus carries only what goes to Bus()
    // itself.
    void SetTellsKeypad(bool tells) { m_tellsKeypad = tells; }

    // IGen3ButtonOwner.
    ID::Timer StartButtonTimer() override;
    void KillButtonTimer(ID::Timer timer) override;
    bool UsesHoldTimer() override;
    void SendButtonAction(int buttonId, int action, int behavior) override;
    void OnButtonBehaviorChanged(Gen3Button* button, int behavior) override;
    void SetLedParam(int led, int parameter, int value) override;
    void SetLedColor(int led, int parameter, const std::string& color) override;
    void SetBacklightDefault(int index) override;
    void SetBacklightColor(int index, const std::string& color) override;
    void OnRemoteClick(int buttonId, int count) override;
    void SendButtonNotification(int buttonId, const std::string& group, const std::string& item,
                                int value) override;
    void SendButtonTextNotification(int buttonId, const std::string& group, const std::string& item,
                                    const std::string& text) override;
    void ReportButtonEvent(int buttonId, int event) override;
    bool IsLedTrackingDevice() override;

    // IBus485Owner.
    boost::shared_ptr<ICmdMessage> CreateMessage() override;
    void SendMessage(const boost::shared_ptr<ICmdMessage>& message) override;
    unsigned long GetDeviceId() const override { return NxBaseDriver::GetDeviceId(); }
    const std::string& GetDriverName() const override { return NxBaseDriver::GetDriverName(); }
    void OnDeviceOffline() override;

private:
    void MakeButton(const ICmdMessage& description);
    Gen3Button* RequireButton(const ICmdMessage& message, ICmdReturn* ret);
    void StopHold(const Gen3Button& button);
    void SendState(int opcode);
    void HandOver();
    void DropLateUse();
    void OnAnswer(unsigned number);
    void OnKeypadAnnounced(bool restarted);
    void StartAgain();
    void GiveUpUse(const KeypadOutbox::Entry& entry);
    void ReadSettings(const nx::XmlNode& config);
    void OnButtonUsed(int id, int use);
    void OnGatewayStatus(bool online);
    std::uint16_t NextNumber();

    // Before the buttons, which reach for it.
    KeypadState m_state;
    Bus485Helper m_bus;
    std::map<int, std::unique_ptr<Gen3Button>> m_buttons;
    BusParsers::FirmwareVersion m_firmware;
    // 0 before the first one.
    std::uint16_t m_lastNumber = 0;
    KeypadOutbox m_outbox;
    // The driver's own message in the queue, until the keypad has answered it. Its limit is 0 once
    // it has run out.
    std::optional<KeypadOutbox::Entry> m_handedOver;
    // The number of the message that is being handed to the queue; 0 for one that is not the
    // driver's own.
    unsigned m_numberToQueue = 0;
    // The number of the queue's front as it was sent last; 0 for none.
    unsigned m_numberInTransit = 0;
    int m_useTimeLimit = DEFAULT_USE_TIME_LIMIT;
    bool m_usesHoldTimer = true;
    bool m_tracksLeds = false;
    bool m_tellsKeypad = true;
};

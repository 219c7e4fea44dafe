#include "drivers/gen3_keypad/Gen3KeypadDriver.h"

#include "drivers/gen3_keypad/KeypadBus.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ICmdReturn.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/XmlNode.h"

#include <boost/bind.hpp>

namespace
{
const std::string ALL_BUTTONS = "ALL_BUTTONS";
const std::string STRING_TYPE = "STRING";

// The kinds of state, in the order in which a keypad gets them all.
constexpr int STATES[] = {keypad_bus::BUTTON_BEHAVIORS, keypad_bus::LED_SETUP,
                          keypad_bus::LED_COLORS, keypad_bus::BACKLIGHT};

constexpr int CURRENT_COLOR_PARAMETER = 5;

// The value of a base64 digit; 0 for anything else.
unsigned Base64Value(char digit)
{
    static const std::string digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t found = digits.find(digit);
    return found == std::string::npos ? 0 : static_cast<unsigned>(found);
}

// The number at the beginning of a message: its first two octets, which are two and two thirds of
// base64's digits. 0 when the payload is shorter.
unsigned NumberOf(const std::string& payload)
{
    if (payload.size() < 3)
        return 0;
    return Base64Value(payload[0]) << 10 | Base64Value(payload[1]) << 4 |
           Base64Value(payload[2]) >> 2;
}

// A button's id as the button itself keeps it: eight bits, signed.
int ButtonIdOf(const ICmdMessage& message)
{
    return static_cast<signed char>(message.GetParamInt(names::general::BUTTON_ID));
}
} // namespace

Gen3KeypadDriver::Gen3KeypadDriver(IInstanceManager& instances)
    : NxBaseDriver(instances, NX_DRIVER_KEYPAD), m_bus(instances)
{
    m_bus.setOwner(this);
    CmdDispatcher& commands = GetCmdDispatcher();
    commands.RegisterCmd(names::general::NEW_KEYPAD_BUTTON,
                         boost::bind(&Gen3KeypadDriver::OnCmdNewKeypadButton, this, _1, _2));
    commands.RegisterCmd(names::general::KEYPAD_BUTTON_INFO,
                         boost::bind(&Gen3KeypadDriver::OnCmdKeypadButtonInfo, this, _1, _2));
    commands.RegisterCmd(names::general::DELETE_KEYPAD_BUTTON,
                         boost::bind(&Gen3KeypadDriver::OnCmdDeleteKeypadButton, this, _1, _2));
}

Gen3KeypadDriver::~Gen3KeypadDriver() = default;

bool Gen3KeypadDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                                  boost::shared_ptr<nx::XmlNode> state)
{
    if (!NxBaseDriver::Initialize(id, config, state))
        return false;
    const boost::shared_ptr<nx::XmlNode> buttons =
        state ? state->GetChild(ALL_BUTTONS) : boost::shared_ptr<nx::XmlNode>();
    for (std::size_t i = 0; buttons && i < buttons->GetChildCount(); ++i)
    {
        const boost::shared_ptr<nx::XmlNode> button = buttons->GetChildAt(i);
        if (button->GetName() != names::general::KEYPAD_BUTTON_INFO)
            continue;
        const boost::shared_ptr<ICmdMessage> description =
            CreateCommandMessage(names::general::NEW_KEYPAD_BUTTON);
        for (std::size_t k = 0; k < button->GetChildCount(); ++k)
            description->AddParam(button->GetChildAt(k)->GetName(), STRING_TYPE,
                                  button->GetChildAt(k)->GetData());
        MakeButton(*description);
    }
    return true;
}

boost::shared_ptr<nx::XmlNode> Gen3KeypadDriver::GetPersistState(unsigned long)
{
    const boost::shared_ptr<nx::XmlNode> buttons = nx::CreateXmlNode();
    buttons->Initialize(ALL_BUTTONS, "");
    for (const auto& button : m_buttons)
        buttons->AddChild(button.second->toXml());
    boost::shared_ptr<nx::XmlNode> state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(buttons);
    return state;
}

void Gen3KeypadDriver::OnTimerExpired(ID::Timer timer, time_t)
{
    for (const auto& button : m_buttons)
    {
        if (button.second->GetHoldTimer() != timer)
            continue;
        button.second->OnHoldTimerExpired();
        return;
    }
}

// --- Commands ---

void Gen3KeypadDriver::OnCmdNewKeypadButton(const ICmdMessage& message, ICmdReturn*)
{
    MakeButton(message);
    RequestPersist();
}

void Gen3KeypadDriver::OnCmdKeypadButtonInfo(const ICmdMessage& message, ICmdReturn* ret)
{
    Gen3Button* button = RequireButton(message, ret);
    if (!button)
        return;
    button->applySettings(message);
    RequestPersist();
}

void Gen3KeypadDriver::OnCmdDeleteKeypadButton(const ICmdMessage& message, ICmdReturn* ret)
{
    const Gen3Button* button = RequireButton(message, ret);
    if (!button)
        return;
    const int id = button->GetBtnIndex();
    StopHold(*button);
    m_buttons.erase(id);
    m_state.RemoveBehavior(id);
    RequestPersist();
}

void Gen3KeypadDriver::MakeButton(const ICmdMessage& description)
{
    auto made = std::make_unique<Gen3Button>(*this, description);
    std::unique_ptr<Gen3Button>& place = m_buttons[made->GetBtnIndex()];
    if (place)
        StopHold(*place);
    place = std::move(made);
}

Gen3Button* Gen3KeypadDriver::RequireButton(const ICmdMessage& message, ICmdReturn* ret)
{
    const int id = ButtonIdOf(message);
    Gen3Button* button = Button(id);
    if (!button && ret)
        ret->Refuse("there is no button " + std::to_string(id));
    return button;
}

// Silently: a button that is going does not ask its owner for anything.
void Gen3KeypadDriver::StopHold(const Gen3Button& button)
{
    if (button.GetHoldTimer() != 0)
        KillTimer(button.GetHoldTimer());
}

// --- Buttons ---

Gen3Button* Gen3KeypadDriver::Button(int id) const
{
    const auto found = m_buttons.find(id);
    return found == m_buttons.end() ? nullptr : found->second.get();
}

std::vector<int> Gen3KeypadDriver::ButtonIds() const
{
    std::vector<int> ids;
    for (const auto& button : m_buttons)
        ids.push_back(button.first);
    return ids;
}

void Gen3KeypadDriver::ReportLightLevel(int level)
{
    for (const auto& button : m_buttons)
        button.second->InformLightLevel(level);
}

// --- What comes from the bus ---

bool Gen3KeypadDriver::OnFirmwareReply(const std::uint8_t* payload, std::size_t length)
{
    return m_firmware.FromOpcodeFwv(payload, length);
}

bool Gen3KeypadDriver::OnAnnounce(const std::uint8_t* payload, std::size_t length)
{
    return m_firmware.FromOpcodeAnnounce(payload, length);
}

void Gen3KeypadDriver::OnBusMessage(int opcode, const std::uint8_t* payload, std::size_t length)
{
    // What comes through the gateway shows that it is online, also after a restart of the driver.
    if (opcode != keypad_bus::GATEWAY_STATUS && !m_bus.isGatewayOnline())
        OnGatewayStatus(true);
    switch (opcode)
    {
    case keypad_bus::ANSWER:
        if (length >= 2)
            OnAnswer(payload[0] * 256u + payload[1]);
        return;
    case keypad_bus::ANNOUNCE:
        if (OnAnnounce(payload, length))
            OnKeypadAnnounced(payload[keypad_bus::ANNOUNCE_RESTARTED_AT] != 0);
        return;
    case keypad_bus::FIRMWARE:
        OnFirmwareReply(payload, length);
        return;
    case keypad_bus::BUTTON_USED:
        if (length >= 2)
            OnButtonUsed(static_cast<signed char>(payload[0]), payload[1]);
        return;
    case keypad_bus::GATEWAY_STATUS:
        if (length >= 1)
            OnGatewayStatus(payload[0] != 0);
        return;
    default:
        return;
    }
}

// Only the answer to the front moves the queue on; a second answer to a message that was sent twice
// comes too late. A keypad that was given up and answers after all is there again.
void Gen3KeypadDriver::OnAnswer(unsigned number)
{
    if (number == 0 || number != m_numberInTransit || m_bus.getQueuedCount() == 0)
        return;
    m_numberInTransit = 0;
    for (const int opcode : STATES)
    {
        const auto owed = m_owed.find(opcode);
        if (owed != m_owed.end() && owed->second == number)
            m_owed.erase(owed);
    }
    m_bus.resetRetryCounter();
    m_bus.sendNext();
    if (!m_bus.isDeviceOnline())
        StartAgain();
}

void Gen3KeypadDriver::OnKeypadAnnounced(bool restarted)
{
    if (m_bus.isDeviceOnline() && !restarted)
        return;
    if (restarted)
    {
        for (const int opcode : STATES)
            m_owed[opcode] = 0;
    }
    StartAgain();
}

// The keypad is there (again). What waited belongs to the past: a use of a button that comes late
// is worse than none, and states are sent whole. Those that the keypad has confirmed are not
// repeated, so that one which answers seldom gets on with the others.
void Gen3KeypadDriver::StartAgain()
{
    m_bus.setDeviceOnline(true);
    m_bus.resetQueue();
    for (auto& owed : m_owed)
        owed.second = 0;
    SendOwed();
}

void Gen3KeypadDriver::SendOwed()
{
    for (const int opcode : STATES)
    {
        const auto owed = m_owed.find(opcode);
        if (owed != m_owed.end() && owed->second == 0)
            SendState(opcode);
    }
}

void Gen3KeypadDriver::OnButtonUsed(int id, int use)
{
    Gen3Button* button = Button(id);
    if (!button)
        return;
    if (use == keypad_bus::PRESSED)
        button->DoPush();
    else if (use == keypad_bus::RELEASED)
        button->DoRelease();
    else if (use == keypad_bus::CLICKED)
        button->DoClick();
    else if (use == keypad_bus::STILL_HELD)
        button->OnHoldReceived();
}

void Gen3KeypadDriver::OnGatewayStatus(bool online)
{
    m_bus.setGatewayOnline(online);
    if (m_bus.getState() == Bus485Helper::State::Stalled)
        m_bus.sendQueueFront();
    SendOwed();
}

// --- What goes to the bus ---

std::uint16_t Gen3KeypadDriver::NextNumber()
{
    if (++m_lastNumber == 0)
        ++m_lastNumber;
    return m_lastNumber;
}

// A state is never lost: while the keypad cannot be reached it is owed, and follows when the keypad
// is back. So it is not even handed to the queue, which would only say that it dropped it.
void Gen3KeypadDriver::SendState(int opcode)
{
    m_owed[opcode] = 0;
    if (!m_tellsKeypad || !m_bus.isGatewayOnline() || !m_bus.isDeviceOnline())
        return;
    const std::uint16_t number = NextNumber();
    const KeypadState::Payload payload = m_state.Write(opcode, number);
    if (payload.empty())
        return;
    m_owed[opcode] = number;
    m_bus.queueMessage(opcode, payload.data(), static_cast<int>(payload.size()));
}

boost::shared_ptr<ICmdMessage> Gen3KeypadDriver::CreateMessage()
{
    return CreateCommandMessage(names::general::BUS_485_BUS_MESSAGE);
}

void Gen3KeypadDriver::SendMessage(const boost::shared_ptr<ICmdMessage>& message)
{
    // The queue starts a timer for each message that it sends; an instant message has none, and no
    // answer of its own.
    if (m_bus.getRetryTimer() != m_timerInTransit)
    {
        m_timerInTransit = m_bus.getRetryTimer();
        m_numberInTransit = NumberOf(message->GetParamString(names::general::PAYLOAD));
    }
    SendToGateway(*message);
}

// The queue has marked the keypad offline; it stays so until it announces itself.
void Gen3KeypadDriver::OnDeviceOffline() {}

// --- What buttons ask for ---

ID::Timer Gen3KeypadDriver::StartButtonTimer()
{
    return AddTimer(HOLD_TIME_MS, ITimerManager::UNIT_MILLISECONDS, 1);
}

void Gen3KeypadDriver::KillButtonTimer(ID::Timer timer)
{
    KillTimer(timer);
}

bool Gen3KeypadDriver::UsesHoldTimer()
{
    return m_usesHoldTimer;
}

bool Gen3KeypadDriver::IsLedTrackingDevice()
{
    return m_tracksLeds;
}

void Gen3KeypadDriver::SendButtonAction(int buttonId, int action, int behavior)
{
    if (!m_tellsKeypad)
        return;
    KeypadState::Payload payload;
    const auto append = [&payload](unsigned octet)
    {
        payload.push_back(static_cast<std::uint8_t>(octet));
    };
    const unsigned number = NextNumber();
    append(number >> 8);
    append(number);
    append(static_cast<unsigned>(buttonId));
    append(static_cast<unsigned>(action));
    for (unsigned shift : {24u, 16u, 8u, 0u})
        append(static_cast<unsigned>(behavior) >> shift);
    m_bus.queueMessage(keypad_bus::BUTTON_ACTION, payload.data(), static_cast<int>(payload.size()));
}

void Gen3KeypadDriver::OnButtonBehaviorChanged(Gen3Button* button, int behavior)
{
    m_state.SetBehavior(button->GetBtnIndex(), behavior);
    SendState(keypad_bus::BUTTON_BEHAVIORS);
}

void Gen3KeypadDriver::SetLedParam(int led, int parameter, int value)
{
    m_state.SetLedParam(led, parameter, value);
    SendState(keypad_bus::LED_SETUP);
}

void Gen3KeypadDriver::SetLedColor(int led, int parameter, const std::string& colour)
{
    m_state.SetLedColor(led, parameter, colour);
    SendState(parameter == CURRENT_COLOR_PARAMETER ? keypad_bus::LED_COLORS
                                                   : keypad_bus::LED_SETUP);
}

void Gen3KeypadDriver::SetBacklightDefault(int index)
{
    m_state.SetBacklightDefault(index);
    SendState(keypad_bus::BACKLIGHT);
}

void Gen3KeypadDriver::SetBacklightColor(int index, const std::string& colour)
{
    m_state.SetBacklightColor(index, colour);
    SendState(keypad_bus::BACKLIGHT);
}

// The controller's own business: this driver has nothing to add to what the button did.
void Gen3KeypadDriver::OnRemoteClick(int, int) {}
void Gen3KeypadDriver::SendButtonNotification(int, const std::string&, const std::string&, int) {}
void Gen3KeypadDriver::SendButtonTextNotification(int, const std::string&, const std::string&,
                                                  const std::string&)
{
}
void Gen3KeypadDriver::ReportButtonEvent(int, int) {}

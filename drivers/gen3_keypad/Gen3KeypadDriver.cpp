#include "drivers/gen3_keypad/Gen3KeypadDriver.h"

#include "drivers/DriverLog.h"
#include "drivers/gen3_keypad/Gen3KeypadSettings.h"
#include "drivers/gen3_keypad/KeypadBus.h"
#include "drivers/gen3_keypad/KeypadMessage.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ICmdReturn.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/XmlNode.h"

#include <boost/bind.hpp>
#include <boost/make_shared.hpp>

namespace
{
constexpr const char* SOURCE = "drivers/gen3_keypad/Gen3KeypadDriver";

// The kinds of state, in the order in which a keypad gets them all.
constexpr int STATES[] = {keypad_bus::BUTTON_BEHAVIORS, keypad_bus::LED_SETUP,
                          keypad_bus::LED_COLORS, keypad_bus::BACKLIGHT};

// Where a use of a button names the button.
constexpr std::size_t BUTTON_OF_USE = 0;

// A message: its number, then what it says.
KeypadState::Payload Numbered(std::uint16_t number, const KeypadState::Payload& content)
{
    KeypadState::Payload payload = {static_cast<std::uint8_t>(number >> 8),
                                    static_cast<std::uint8_t>(number)};
    payload.insert(payload.end(), content.begin(), content.end());
    return payload;
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
    if (config)
        ReadSettings(*config);
    const boost::shared_ptr<nx::XmlNode> buttons =
        state ? state->GetChild(names::parameter::ALL_BUTTONS) : boost::shared_ptr<nx::XmlNode>();
    for (std::size_t i = 0; buttons && i < buttons->GetChildCount(); ++i)
    {
        const boost::shared_ptr<nx::XmlNode> button = buttons->GetChildAt(i);
        if (button->GetName() != names::general::KEYPAD_BUTTON_INFO)
            continue;
        const boost::shared_ptr<ICmdMessage> description =
            CreateCommandMessage(names::general::NEW_KEYPAD_BUTTON);
        for (std::size_t k = 0; k < button->GetChildCount(); ++k)
            description->AddParam(button->GetChildAt(k)->GetName(), names::type::STRING,
                                  button->GetChildAt(k)->GetData());
        MakeButton(*description);
    }
    return true;
}

void Gen3KeypadDriver::ReadSettings(const nx::XmlNode& config)
{
    const drivers::Setting& limit = gen3_keypad::USE_TIME_LIMIT;
    const std::int64_t seconds = drivers::ReadSetting(&config, limit);
    if (seconds >= limit.least && seconds <= limit.most)
        m_useTimeLimit = static_cast<int>(seconds);
    else
        DRIVER_WARN(SOURCE, GetDriverName()
                                << ": " << limit.name << " is not " << limit.least << " to "
                                << limit.most << " seconds; it stays " << m_useTimeLimit);
}

boost::shared_ptr<nx::XmlNode> Gen3KeypadDriver::GetPersistState(unsigned long)
{
    const boost::shared_ptr<nx::XmlNode> buttons = nx::CreateXmlNode();
    buttons->Initialize(names::parameter::ALL_BUTTONS, "");
    for (const auto& button : m_buttons)
        buttons->AddChild(button.second->toXml());
    boost::shared_ptr<nx::XmlNode> state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(buttons);
    return state;
}

void Gen3KeypadDriver::OnTimerExpired(ID::Timer timer, time_t)
{
    if (m_outbox.RemoveUse(timer))
    {
        DRIVER_WARN(SOURCE, GetDriverName() << ": a use of a button was dropped, since it waited "
                                            << m_useTimeLimit << " seconds");
        return;
    }
    if (m_handedOver && m_handedOver->limit == timer)
    {
        // It may be under way; but it is not sent again.
        m_handedOver->limit = 0;
        return;
    }
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
    if (opcode == keypad_bus::GATEWAY_STATUS)
    {
        if (length >= 1)
            OnGatewayStatus(payload[0] != 0);
        return;
    }
    // What comes through the gateway shows that it is online, also after a restart of the driver.
    if (!m_bus.isGatewayOnline())
        OnGatewayStatus(true);
    // First what changes what a keypad that is back is sent: the answer confirms a state.
    if (opcode == keypad_bus::ANSWER && length >= keypad_bus::NUMBER_SIZE)
        OnAnswer(payload[0] * 256u + payload[1]);
    if (opcode == keypad_bus::ANNOUNCE && OnAnnounce(payload, length))
        OnKeypadAnnounced(payload[keypad_bus::ANNOUNCE_RESTARTED_AT] != 0);
    if (!m_bus.isDeviceOnline())
        StartAgain();
    if (opcode == keypad_bus::FIRMWARE)
        OnFirmwareReply(payload, length);
    if (opcode == keypad_bus::BUTTON_USED && length >= 2)
        OnButtonUsed(static_cast<signed char>(payload[0]), payload[1]);
}

// Only the answer to the front moves the queue on; a second answer to a message that was sent twice
// comes too late.
void Gen3KeypadDriver::OnAnswer(unsigned number)
{
    if (number == 0 || number != m_numberInTransit || m_bus.getQueuedCount() == 0)
        return;
    m_numberInTransit = 0;
    if (m_handedOver)
        KillTimer(m_handedOver->limit);
    m_handedOver.reset();
    m_bus.resetRetryCounter();
    m_bus.sendNext();
    HandOver();
}

void Gen3KeypadDriver::OnKeypadAnnounced(bool restarted)
{
    if (!restarted)
        return;
    for (const int opcode : STATES)
        m_outbox.AddState(opcode);
    StartAgain();
}

// The keypad is there (again). Uses of buttons that waited belong to the past, and one that was
// sent may have been done; states are sent whole. Those that the keypad has confirmed are not
// repeated, so that one which answers seldom gets on with the others.
void Gen3KeypadDriver::StartAgain()
{
    m_bus.setDeviceOnline(true);
    m_bus.resetQueue();
    m_numberInTransit = 0;
    if (m_handedOver && m_handedOver->use.empty())
        m_outbox.AddState(m_handedOver->opcode);
    else if (m_handedOver)
        GiveUpUse(*m_handedOver);
    m_handedOver.reset();
    KeypadOutbox waited;
    std::swap(waited, m_outbox);
    for (const int opcode : STATES)
    {
        if (waited.HasState(opcode))
            m_outbox.AddState(opcode);
    }
    for (const KeypadOutbox::Entry& entry : waited.TakeAll())
    {
        if (!entry.use.empty())
            GiveUpUse(entry);
    }
    HandOver();
}

void Gen3KeypadDriver::GiveUpUse(const KeypadOutbox::Entry& entry)
{
    KillTimer(entry.limit);
    DRIVER_WARN(SOURCE, GetDriverName()
                            << ": a use of button "
                            << static_cast<int>(static_cast<signed char>(entry.use[BUTTON_OF_USE]))
                            << " was given up, since the keypad was not there");
}

void Gen3KeypadDriver::OnButtonUsed(int id, int use)
{
    Gen3Button* button = Button(id);
    if (!button)
        return;
    if (use == gen3_lights::PRESSED)
        button->DoPush();
    else if (use == gen3_lights::RELEASED)
        button->DoRelease();
    else if (use == gen3_lights::CLICKED)
        button->DoClick();
    else if (use == keypad_bus::STILL_HELD)
        button->OnHoldReceived();
}

void Gen3KeypadDriver::OnGatewayStatus(bool online)
{
    m_bus.setGatewayOnline(online);
    if (m_bus.getState() == Bus485Helper::State::Stalled)
        m_bus.sendQueueFront();
    HandOver();
}

// --- What goes to the bus ---

// A keypad takes a use with the number of the one before for a repetition. So the first number is
// drawn: after a restart the driver does not know which one was the last.
std::uint16_t Gen3KeypadDriver::NextNumber()
{
    if (m_lastNumber == 0)
        m_lastNumber = static_cast<std::uint16_t>(nx::crypto::random(1, UINT16_MAX));
    else if (++m_lastNumber == 0)
        ++m_lastNumber;
    return m_lastNumber;
}

// A state is never lost: while the keypad cannot be reached it waits, and follows when the keypad
// is back. So it is not even handed to the queue, which would only say that it dropped it.
void Gen3KeypadDriver::SendState(int opcode)
{
    m_outbox.AddState(opcode);
    HandOver();
}

// Gives the queue the next message when it has none.
void Gen3KeypadDriver::HandOver()
{
    while (m_tellsKeypad && m_bus.isGatewayOnline() && m_bus.isDeviceOnline() &&
           m_bus.getQueuedCount() == 0 && !m_outbox.Empty())
    {
        KeypadOutbox::Entry next = m_outbox.Take();
        const KeypadState::Payload content =
            next.use.empty() ? m_state.Write(next.opcode) : next.use;
        if (content.empty())
            continue;
        const std::uint16_t number = NextNumber();
        const KeypadState::Payload payload = Numbered(number, content);
        const int opcode = next.opcode;
        m_handedOver = std::move(next);
        m_numberToQueue = number;
        m_bus.queueMessage(opcode, payload.data(), static_cast<int>(payload.size()));
        m_numberToQueue = 0;
    }
}

boost::shared_ptr<ICmdMessage> Gen3KeypadDriver::CreateMessage()
{
    return boost::make_shared<KeypadMessage>(
        CreateCommandMessage(names::general::BUS_485_BUS_MESSAGE), m_numberToQueue);
}

void Gen3KeypadDriver::SendMessage(const boost::shared_ptr<ICmdMessage>& message)
{
    // Every message comes from CreateMessage.
    const auto& own = static_cast<const KeypadMessage&>(*message);
    if (own.WasQueued())
    {
        const bool again = own.Number() != 0 && own.Number() == m_numberInTransit;
        m_numberInTransit = own.Number();
        if (again && m_handedOver && !m_handedOver->use.empty() && m_handedOver->limit == 0)
        {
            DropLateUse();
            return;
        }
    }
    SendToGateway(own.Command());
}

// The queue wants to send a use again whose time limit has run out. The attempts still count: a
// keypad that answers nothing is given up after three of them, whatever they were.
void Gen3KeypadDriver::DropLateUse()
{
    DRIVER_WARN(SOURCE, GetDriverName() << ": a use of a button is not sent again, since its "
                                        << m_useTimeLimit << " seconds are over");
    m_handedOver.reset();
    m_numberInTransit = 0;
    m_bus.sendNext();
    HandOver();
}

// The queue has marked the keypad offline; it stays so until it says anything.
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
    KeypadState::Payload use;
    const auto append = [&use](unsigned octet)
    {
        use.push_back(static_cast<std::uint8_t>(octet));
    };
    append(static_cast<unsigned>(buttonId));
    append(static_cast<unsigned>(action));
    for (unsigned shift : {24u, 16u, 8u, 0u})
        append(static_cast<unsigned>(behavior) >> shift);
    if (!m_bus.isGatewayOnline() || !m_bus.isDeviceOnline())
    {
        // The queue says that it drops it.
        const KeypadState::Payload payload = Numbered(NextNumber(), use);
        m_bus.queueMessage(keypad_bus::BUTTON_ACTION, payload.data(),
                           static_cast<int>(payload.size()));
        return;
    }
    m_outbox.AddUse(
        keypad_bus::BUTTON_ACTION, std::move(use),
        AddTimer(static_cast<unsigned long>(m_useTimeLimit), ITimerManager::UNIT_SECONDS, 1));
    HandOver();
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

void Gen3KeypadDriver::SetLedColor(int led, int parameter, const std::string& color)
{
    m_state.SetLedColor(led, parameter, color);
    SendState(parameter == gen3_lights::LED_CURRENT_COLOR ? keypad_bus::LED_COLORS
                                                          : keypad_bus::LED_SETUP);
}

void Gen3KeypadDriver::SetBacklightDefault(int index)
{
    m_state.SetBacklightDefault(index);
    SendState(keypad_bus::BACKLIGHT);
}

void Gen3KeypadDriver::SetBacklightColor(int index, const std::string& color)
{
    m_state.SetBacklightColor(index, color);
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

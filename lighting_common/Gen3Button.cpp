#include "lighting_common/Gen3Button.h"

#include "lighting_common/IGen3ButtonOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "lighting_common/internal/WhileSet.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

using gen3_lights::Buttons::LEDBehavior;
using gen3_lights::Buttons::scaleColor;

const std::string Gen3Button::BLACK = "000000";
const std::string Gen3Button::WHITE = "ffffff";

namespace
{
constexpr const char* SOURCE = "lighting_common/Gen3Button";

// Parameters and items that belong to no shared list.

const std::string TOP_BUTTON = "Top Button";
const std::string BOTTOM_BUTTON = "Bottom Button";

enum State : int
{
    STATE_UNKNOWN = -1,
    STATE_OFF = 0,
    STATE_ON = 1,
};

constexpr int ACTUATOR_ROCKER_TOP = 1;
constexpr int ACTUATOR_ROCKER_BOTTOM = 5;
constexpr int LAST_CORE_BEHAVIOR = 5;
constexpr int SECOND_CHANNEL_FIRST = 16;
constexpr int SECOND_CHANNEL_LAST = 18;
constexpr int ROCKER_SLOTS = 3;
constexpr int ID_WITHOUT_LED = 6;
constexpr int TWO_SLOTS = 2;
constexpr int SINGLE_LED_PERCENT = 80;
constexpr int TWO_LEDS_PERCENT = 100;
// No keypad has more LEDs than one octet can number.
constexpr int LED_NUMBERS = 256;

// Which of the backlights behind a button have their usual color; the others are dark. The first
// row that fits counts; a row without a name fits every name.
struct BacklightRow
{
    int slots;
    std::string name;
    std::array<bool, ROCKER_SLOTS> usual;
};

const std::array<BacklightRow, 5>& BacklightTable()
{
    static const std::array<BacklightRow, 5> table = {{
        {1, "", {true, false, false}},
        {2, "", {true, true, false}},
        {3, names::general::ROCKER_TOP_BUTTON, {false, false, true}},
        {3, names::general::ROCKER_BOTTOM_BUTTON, {true, false, false}},
        {3, "", {true, true, true}},
    }};
    return table;
}

bool IsTrue(const std::string& text)
{
    return !text.empty() && (text[0] == 'T' || text[0] == 't' || text[0] == '1');
}

int ToNumber(const std::string& text)
{
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}
} // namespace

Gen3Button::Gen3Button(IGen3ButtonOwner& owner, char id)
    : m_owner(owner), m_id(static_cast<signed char>(id))
{
}

Gen3Button::Gen3Button(IGen3ButtonOwner& owner, int id, const std::string& onColor,
                       const std::string& offColor)
    : m_owner(owner), m_id(static_cast<signed char>(id)),
      m_name(id == 1 ? TOP_BUTTON : BOTTOM_BUTTON), m_slots(1), m_ledIndex(id == 1 ? 1 : 4)
{
    SetOnColor(onColor, false);
    SetOffColor(offColor, false);
    Gen3Button::SetBehavior(3, false);
    SetLEDBehavior(gen3_lights::Buttons::LED_ON_WHILE_PRESSED, false);
}

Gen3Button::Gen3Button(IGen3ButtonOwner& owner, const ICmdMessage& msg)
    : m_owner(owner), m_id(static_cast<signed char>(msg.GetParamInt(names::general::BUTTON_ID))),
      m_name(msg.GetParamString(names::parameter::NAME)),
      m_slots(msg.GetParamInt(names::general::SLOTS)),
      m_ledIndex(m_slots >= ROCKER_SLOTS ? m_id + 1 : m_id)
{
    SetOnColor(msg.GetParamString(names::parameter::ON_COLOR), false);
    SetOffColor(msg.GetParamString(names::parameter::OFF_COLOR), false);
    Gen3Button::SetBehavior(msg.GetParamInt(names::general::BUTTON_BEHAVIOR), false);
    SetLEDBehavior(static_cast<LEDBehavior>(msg.GetParamInt(names::general::LED_BEHAVIOR)), true);
    SetCurColor(m_offColor, true);
    ConfigureBacklight();
}

boost::shared_ptr<nx::XmlNode> Gen3Button::toXml() const
{
    boost::shared_ptr<nx::XmlNode> node = nx::CreateXmlNode();
    node->Initialize(names::general::KEYPAD_BUTTON_INFO, "");
    node->AddChild(names::general::BUTTON_ID, static_cast<int>(m_id));
    node->AddChild(names::parameter::NAME, m_name);
    node->AddChild(names::general::LED_BEHAVIOR, static_cast<int>(m_ledBehavior));
    node->AddChild(names::general::LED_BLINK_BEHAVIOR, m_ledBlinkBehavior);
    node->AddChild(names::parameter::ON_COLOR, m_onColor);
    node->AddChild(names::parameter::OFF_COLOR, m_offColor);
    node->AddChild(names::general::BUTTON_BEHAVIOR, m_behavior);
    node->AddChild(names::general::SLOTS, m_slots);
    return node;
}

void Gen3Button::applySettings(boost::shared_ptr<nx::XmlNode> settings)
{
    if (!settings)
        return;
    SetOnColor(settings->GetChildData(names::parameter::ON_COLOR), false);
    SetOffColor(settings->GetChildData(names::parameter::OFF_COLOR), false);
    SetBehavior(settings->GetChildDataNumber(names::general::BUTTON_BEHAVIOR), false);
    SetLEDBehavior(
        static_cast<LEDBehavior>(settings->GetChildDataNumber(names::general::LED_BEHAVIOR)),
        false);
}

void Gen3Button::applySettings(const ICmdMessage& msg)
{
    const std::string& name = msg.GetParamString(names::parameter::NAME);
    if (!name.empty())
        m_name = name;

    if (IsTrue(msg.GetParamString(names::parameter::BOUND)) && m_owner.IsLedTrackingDevice())
        SetLEDBehavior(gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE, false);

    const std::string& behavior = msg.GetParamString(names::general::BUTTON_BEHAVIOR);
    if (!behavior.empty())
        SetBehavior(ToNumber(behavior), false);

    const std::string& ledBehavior = msg.GetParamString(names::general::LED_BEHAVIOR);
    if (!ledBehavior.empty())
        SetLEDBehavior(static_cast<LEDBehavior>(ToNumber(ledBehavior)), false);

    const std::string oldOnColor = m_onColor;
    const std::string& onColor = msg.GetParamString(names::parameter::ON_COLOR);
    if (!onColor.empty())
        SetOnColor(onColor, false);

    const std::string oldOffColor = m_offColor;
    const std::string& offColor = msg.GetParamString(names::parameter::OFF_COLOR);
    if (!offColor.empty())
        SetOffColor(offColor, false);

    bool stateSupplied = TakeState(msg.GetParamString(names::parameter::STATE));
    if (m_ledBehavior == gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE &&
        TakeState(msg.GetParamString(names::general::MATCH_LED_STATE)))
        stateSupplied = true;

    UpdateCurrentColor(stateSupplied, oldOnColor != m_onColor, oldOffColor != m_offColor,
                       __PRETTY_FUNCTION__);

    const std::string& current = msg.GetParamString(names::general::CURRENT_COLOR);
    if (!current.empty())
        SetCurColor(current, true);
}

bool Gen3Button::TakeState(const std::string& text)
{
    if (text.empty())
        return false;
    m_state = IsTrue(text) ? STATE_ON : STATE_OFF;
    return true;
}

// Logs in the name of `operation`.
void Gen3Button::UpdateCurrentColor(bool stateSupplied, bool onChanged, bool offChanged,
                                    const char* operation)
{
    if (stateSupplied)
    {
        ShowSuppliedState(operation);
        return;
    }
    if (m_state == STATE_UNKNOWN)
    {
        LIGHTING_LOG_FOR(
            WARN, SOURCE, __LINE__, operation, "Button: ", m_name,
            " state is unknown, it has not been set since centrix was started.  We can't "
            "properly update Bound LED state/color tracking devices when button/LED state "
            "is Unknown");
        return;
    }
    if (m_ledBehavior != gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE)
    {
        LIGHTING_LOG_FOR(
            TRACE, SOURCE, __LINE__, operation, "Button: ", m_name,
            " state did not change so we have to assume the keypads buttons LED is "
            "capable tracking on, off and current individually further down the chain.");
        return;
    }
    if (m_state == STATE_ON && onChanged)
        SetCurColor(m_onColor, false);
    else if (m_state == STATE_OFF && offChanged)
        SetCurColor(m_offColor, false);
    else
        LIGHTING_LOG_FOR(
            TRACE, SOURCE, __LINE__, operation, "Button: ", m_name,
            " LED Behavior is FOLLOW_BOUND_DEV set, but Active LED Color state did not "
            "change so not updating current color.");
}

void Gen3Button::ShowSuppliedState(const char* operation)
{
    if (m_state == STATE_ON)
        SetCurColor(m_onColor, false);
    else if (m_state == STATE_OFF)
        SetCurColor(m_offColor, false);
    else
        LIGHTING_LOG_FOR(WARN, SOURCE, __LINE__, operation, "Button: ", m_name,
                         " attempted to set current color on a button with an unknown state");
}

int Gen3Button::GetChannel() const
{
    if (m_behavior >= 0 && m_behavior <= LAST_CORE_BEHAVIOR)
        return 0;
    if (m_behavior >= SECOND_CHANNEL_FIRST && m_behavior <= SECOND_CHANNEL_LAST)
        return 1;
    return -1;
}

int Gen3Button::GetCoreBehavior() const
{
    switch (GetChannel())
    {
    case 0:
        return m_behavior;
    case 1:
        return m_behavior - SECOND_CHANNEL_FIRST;
    default:
        return -1;
    }
}

int Gen3Button::GetBinding() const
{
    return m_id + FIRST_BINDING;
}

int Gen3Button::GetActuator() const
{
    if (m_name == names::general::ROCKER_TOP_BUTTON)
        return ACTUATOR_ROCKER_TOP;
    if (m_name == names::general::ROCKER_BOTTOM_BUTTON)
        return ACTUATOR_ROCKER_BOTTOM;
    return m_id;
}

void Gen3Button::SetBehavior(int behavior, bool force)
{
    if (behavior == m_behavior && !force)
        return;
    m_behavior = behavior;
    m_owner.OnButtonBehaviorChanged(this, behavior);
}

void Gen3Button::SetOnColor(const std::string& color, bool force)
{
    if (m_slots <= 0 || (color == m_onColor && !force))
        return;
    m_onColor = color;
    WriteColor(gen3_lights::LED_ON_COLOR, m_onColor);
}

void Gen3Button::SetOffColor(const std::string& color, bool force)
{
    if (m_slots <= 0 || (color == m_offColor && !force))
        return;
    m_offColor = color;
    WriteColor(gen3_lights::LED_OFF_COLOR, m_offColor);
}

void Gen3Button::SetCurColor(const std::string& color, bool force)
{
    if (m_slots <= 0 || (color == m_curColor && !force))
        return;
    m_curColor = color;
    WriteColor(gen3_lights::LED_CURRENT_COLOR, m_curColor);
    m_owner.SendButtonTextNotification(m_id, names::general::KEYPAD_BUTTON_INFO,
                                       names::general::CURRENT_COLOR, m_curColor);
}

void Gen3Button::WriteColor(int parameter, const std::string& color)
{
    if (m_slots != TWO_SLOTS)
    {
        m_owner.SetLedColor(m_ledIndex, parameter, scaleColor(color, SINGLE_LED_PERCENT));
        return;
    }
    m_owner.SetLedColor(m_ledIndex, parameter, color);
    m_owner.SetLedColor(m_ledIndex + 1, parameter, scaleColor(color, TWO_LEDS_PERCENT));
}

void Gen3Button::WriteParam(int parameter, int value)
{
    m_owner.SetLedParam(m_ledIndex, parameter, value);
    if (m_slots == TWO_SLOTS)
        m_owner.SetLedParam(m_ledIndex + 1, parameter, value);
}

void Gen3Button::SetLEDBlinkBehavior(int behavior)
{
    if (m_slots < 1)
        return;
    // deliberate: the stored blink behaviour stays as it is.
    WriteParam(gen3_lights::LED_BLINK, static_cast<std::int8_t>(behavior));
}

void Gen3Button::SetLEDBehavior(LEDBehavior behavior, bool force)
{
    if (m_slots < 1 && m_id == ID_WITHOUT_LED)
        return;
    if (behavior != m_ledBehavior || force)
    {
        m_ledBehavior = behavior;
        const bool tied = behavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED;
        WriteParam(gen3_lights::LED_ACTUATOR, tied ? GetActuator() : 0);
        WriteParam(gen3_lights::LED_BEHAVIOR, static_cast<std::int8_t>(behavior));
        if (m_slots == ROCKER_SLOTS)
        {
            DarkenNeighbour(m_ledIndex + 1);
            DarkenNeighbour(m_ledIndex - 1);
        }
    }
    // deliberate: also when nothing changed, so that the bound device is asked again.
    if (m_ledBehavior == gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE)
    {
        m_owner.SendButtonNotification(m_id, names::general::KEYPAD_BUTTON_INFO,
                                       names::general::LED_BEHAVIOR, 0);
        m_owner.SendButtonNotification(m_id, names::general::REQUEST_BUTTON_COLORS, "", -1);
    }
}

void Gen3Button::DarkenNeighbour(int led)
{
    m_owner.SetLedParam(led, gen3_lights::LED_ACTUATOR, 0);
    m_owner.SetLedParam(led, gen3_lights::LED_BEHAVIOR, 0);
    DarkenColors(led);
}

void Gen3Button::DarkenColors(int led)
{
    m_owner.SetLedColor(led, gen3_lights::LED_ON_COLOR, BLACK);
    m_owner.SetLedColor(led, gen3_lights::LED_OFF_COLOR, BLACK);
    m_owner.SetLedColor(led, gen3_lights::LED_CURRENT_COLOR, BLACK);
}

void Gen3Button::ConfigureBacklight() const
{
    if (m_slots < 1)
    {
        m_owner.SetBacklightColor(m_id, BLACK);
        return;
    }
    for (const BacklightRow& row : BacklightTable())
    {
        if (row.slots != m_slots || (!row.name.empty() && row.name != m_name))
            continue;
        for (int i = 0; i < row.slots; ++i)
        {
            if (row.usual[static_cast<std::size_t>(i)])
                m_owner.SetBacklightDefault(m_id + i);
            else
                m_owner.SetBacklightColor(m_id + i, BLACK);
        }
        return;
    }
}

void Gen3Button::SendSettingsToHW()
{
    SetOnColor(m_onColor, true);
    SetOffColor(m_offColor, true);
    SetCurColor(m_curColor, true);
    SetBehavior(m_behavior, true);
    SetLEDBehavior(m_ledBehavior, true);
    ConfigureBacklight();
}

void Gen3Button::ResetButton()
{
    SetCurColor(BLACK, true);
    SetBehavior(0, true);
    SetLEDBehavior(gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE, true);
    // A command may claim any number of slots; each of them costs five calls.
    if (m_slots > LED_NUMBERS)
        LIGHTING_LOG(WARN, SOURCE, "Button: ", m_name, " claims ", m_slots,
                     " slots, more than a keypad can number; only the first ", LED_NUMBERS,
                     " are reset");
    // deliberate: counted from the button's id, not from its first LED.
    const int count = std::min(m_slots, LED_NUMBERS);
    for (int i = 0; i < count; ++i)
    {
        m_owner.SetLedParam(m_id + i, gen3_lights::LED_ACTUATOR, 0);
        DarkenColors(m_id + i);
        m_owner.SetBacklightColor(m_id + i, BLACK);
    }
}

void Gen3Button::NoteState(bool on)
{
    m_curColor = on ? m_onColor : m_offColor;
    m_owner.SendButtonNotification(m_id, names::general::KEYPAD_BUTTON_INFO,
                                   names::parameter::STATE, on ? 1 : 0);
}

void Gen3Button::DoPush()
{
    OnHoldReceived();
    m_owner.ReportButtonEvent(m_id, gen3_lights::PRESSED);
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED)
        NoteState(true);
}

void Gen3Button::DoRelease()
{
    KillHoldTimer();
    m_owner.ReportButtonEvent(m_id, gen3_lights::RELEASED);
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED)
        NoteState(false);
}

void Gen3Button::DoClick()
{
    KillHoldTimer();
    m_owner.ReportButtonEvent(m_id, gen3_lights::CLICKED);
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED)
        NoteState(false);
}

void Gen3Button::RemotePush()
{
    m_owner.SendButtonAction(m_id, gen3_lights::PRESSED, m_behavior);
    m_owner.ReportButtonEvent(m_id, gen3_lights::PRESSED);
    // deliberate: 51 here, 50 in RemoteRelease.
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED ||
        m_ledBehavior == gen3_lights::Buttons::LED_ON_ON_REMOTE_PUSH)
        SetCurColor(m_onColor, true);
}

void Gen3Button::RemoteRelease()
{
    m_owner.SendButtonAction(m_id, gen3_lights::RELEASED, m_behavior);
    m_owner.ReportButtonEvent(m_id, gen3_lights::RELEASED);
    // deliberate: 50 here, 51 in RemotePush.
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED ||
        m_ledBehavior == gen3_lights::Buttons::LED_OFF_ON_REMOTE_RELEASE)
        SetCurColor(m_offColor, true);
}

void Gen3Button::RemoteClick()
{
    m_owner.SendButtonAction(m_id, gen3_lights::CLICKED, m_behavior);
    m_owner.ReportButtonEvent(m_id, gen3_lights::CLICKED);
    m_owner.OnRemoteClick(m_id, 1);
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WHILE_PRESSED)
        SetCurColor(m_offColor, true);
}

void Gen3Button::StartHoldTimer()
{
    if (m_owner.UsesHoldTimer())
        m_holdTimer = m_owner.StartButtonTimer();
}

void Gen3Button::KillHoldTimer()
{
    // The owner may use the button inside the call: the same timer is not killed twice, and one
    // that was started meanwhile stays.
    if (m_holdTimer == 0 || m_killingTimer)
        return;
    const ID::Timer killed = m_holdTimer;
    const WhileSet killing(m_killingTimer);
    m_owner.KillButtonTimer(killed);
    if (m_holdTimer == killed)
        m_holdTimer = 0;
}

void Gen3Button::OnHoldTimerExpired()
{
    DoRelease(); // which kills the timer first
}

void Gen3Button::OnHoldReceived()
{
    KillHoldTimer();
    StartHoldTimer();
}

void Gen3Button::InformLightLevel(int level)
{
    if (m_ledBehavior == gen3_lights::Buttons::LED_ON_WITH_LOAD)
        NoteState(level > 0);
    else if (m_ledBehavior >= gen3_lights::Buttons::LED_AT_LEVEL_FIRST &&
             m_ledBehavior <= gen3_lights::Buttons::LED_AT_LEVEL_LAST)
        NoteState(level == m_ledBehavior - gen3_lights::Buttons::LED_AT_LEVEL_FIRST);
}

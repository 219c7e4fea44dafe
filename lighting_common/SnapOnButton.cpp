#include "lighting_common/SnapOnButton.h"

#include "lighting_common/IKeypadButtonOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/XmlNode.h"

#include <utility>

namespace
{
// The on color of a button that was never given one.
const std::string DEFAULT_ON_COLOR = "b00000";

// Persisted beside the shared names.

// The parameters of a button setting.
constexpr int CHANNEL_STATE = 0;
constexpr int CHANNEL_BEHAVIOR = 1;
constexpr int CHANNEL_LED_MANAGED = 2;
constexpr int CHANNEL_ON_COLOR = 3;
constexpr int CHANNEL_OFF_COLOR = 4;
constexpr int CHANNEL_CUR_COLOR = 5;
} // namespace

SnapOnButton::SnapOnButton(int newId, unsigned number, IKeypadButtonOwner& newOwner,
                           boost::shared_ptr<nx::XmlNode> state)
    : PuckButton(newId, puck::MIBS::TYPE_SNAP_ON, number, newOwner, state),
      onColor(DEFAULT_ON_COLOR), offColor(names::puck::DEFAULT_COLOR),
      curColor(names::puck::DEFAULT_COLOR), localLEDManaged(true), followBoundColor(false)
{
    eventBase = EVENTS_PER_BUTTON * static_cast<unsigned>(id) + BASE_EVENT_NUM;
    if (!state)
    {
        varName = diagnostics::Concat("Button ", static_cast<long long>(id) + 1);
        return;
    }
    varName = state->GetChildData(names::parameter::NAME);
    SetLocalLEDManaged(state->GetChildDataBool(names::puck::LED_MANAGED), false);
    SetOnColor(state->GetChildData(names::puck::LED_ON_COLOR), false);
    SetOffColor(state->GetChildData(names::puck::LED_OFF_COLOR), false);
    // deliberate: read, though never written; after a restart there is none until one is set
    SetCurColor(state->GetChildData(names::puck::LED_CUR_COLOR), false);
    SetFollowBoundColor(state->GetChildDataBool(names::puck::FOLLOW_BOUND_COLOR));
}

SnapOnButton::~SnapOnButton() = default;

boost::shared_ptr<nx::XmlNode> SnapOnButton::GetPersistState() const
{
    boost::shared_ptr<nx::XmlNode> node = nx::CreateXmlNode();
    node->Initialize(names::puck::BUTTON_STATUS, "");
    node->AddChild(names::puck::BUTTON_NUMBER, id);
    node->AddChild(names::parameter::NAME, varName);
    node->AddChild(names::puck::LED_MANAGED, localLEDManaged);
    node->AddChild(names::puck::LED_ON_COLOR, onColor);
    node->AddChild(names::puck::LED_OFF_COLOR, offColor);
    node->AddChild(names::puck::FOLLOW_BOUND_COLOR, followBoundColor);
    node->AddChild(names::puck::CONTROL_BOUND, controlBound);
    node->AddChild(names::parameter::BEHAVIOR, behavior);
    return node;
}

void SnapOnButton::SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool force)
{
    if (behavior == newBehavior && !force)
        return;
    behavior = newBehavior;
    SendNumber(CHANNEL_BEHAVIOR, behavior);
}

void SnapOnButton::SetCurState(puck::MIBS::ButtonState newState, bool send)
{
    // deliberate: the flag means send, not force as in SetBehavior
    if (curState == newState)
        return;
    curState = newState;
    if (send)
        SendNumber(CHANNEL_STATE, curState);
}

void SnapOnButton::RemotePush()
{
    PuckButton::RemotePush();
    SendStateIfManaged();
}

void SnapOnButton::RemoteRelease()
{
    PuckButton::RemoteRelease();
    SendStateIfManaged();
}

void SnapOnButton::RemoteClick()
{
    PuckButton::RemoteClick();
    SendStateIfManaged();
}

void SnapOnButton::SendSettingsToHW()
{
    SendNumber(CHANNEL_STATE, curState);
    SendNumber(CHANNEL_BEHAVIOR, behavior);
    SendColor(CHANNEL_ON_COLOR, onColor);
    SendColor(CHANNEL_OFF_COLOR, offColor);
    SendColor(CHANNEL_CUR_COLOR, curColor);
    SendNumber(CHANNEL_LED_MANAGED, localLEDManaged);
}

void SnapOnButton::LightLevel(int level)
{
    if (localLEDManaged)
        PuckButton::LightLevel(level);
}

void SnapOnButton::SetVarName(std::string name)
{
    varName = std::move(name);
}

void SnapOnButton::SetLocalLEDManaged(bool managed, bool send)
{
    if (localLEDManaged == managed)
        return;
    localLEDManaged = managed;
    if (send)
        SendNumber(CHANNEL_LED_MANAGED, localLEDManaged);
}

void SnapOnButton::SetOnColor(const std::string& color, bool send)
{
    SetColor(onColor, color, CHANNEL_ON_COLOR, send);
}

void SnapOnButton::SetOffColor(const std::string& color, bool send)
{
    SetColor(offColor, color, CHANNEL_OFF_COLOR, send);
}

void SnapOnButton::SetCurColor(const std::string& color, bool send)
{
    SetColor(curColor, color, CHANNEL_CUR_COLOR, send);
}

const std::string& SnapOnButton::GetCurStateColor() const
{
    return curState == puck::MIBS::STATE_ON ? onColor : offColor;
}

void SnapOnButton::SetFollowBoundColor(bool follow)
{
    if (followBoundColor == follow)
        return;
    followBoundColor = follow;
    RequestBoundColors();
}

void SnapOnButton::RequestBoundColors()
{
    if (followBoundColor && controlBound)
        owner.SendButtonBoundCall(linkControlBinding, names::general::REQUEST_BUTTON_COLORS);
}

void SnapOnButton::SendNumber(int channel, int value)
{
    owner.SetMIBForButton(names::mib::DMX_BTN, id, channel, value);
}

void SnapOnButton::SendColor(int channel, const std::string& color)
{
    owner.SetMIBForButton(names::mib::DMX_BTN, id, channel, color);
}

void SnapOnButton::SetColor(std::string& held, const std::string& color, int channel, bool send)
{
    if (held == color)
        return;
    held = color;
    if (send)
        SendColor(channel, held);
}

void SnapOnButton::SendStateIfManaged()
{
    if (localLEDManaged)
        SendNumber(CHANNEL_STATE, curState);
}

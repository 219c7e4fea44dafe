#include "lighting_common/PuckButton.h"

#include "lighting_common/IKeypadButtonOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/AtEnd.h"
#include "nxshared/XmlNode.h"

#include <iterator>
#include <utility>

namespace
{
// Persisted beside the shared names.

// The device's codes of remote actions; they are also the columns of the table below.
enum RemoteAction : int
{
    ACTION_RELEASE = 0,
    ACTION_PUSH = 1,
    ACTION_CLICK = 2,
};

constexpr int NO_TARGET = 0;

// Which target of the device a remote action goes to, by behaviour and action.
constexpr int REMOTE_TARGETS[][3] = {
    // release, push, click
    {13, 13, 13},
    {14, 14, 14},
    {15, 15, 15},
    {NO_TARGET, NO_TARGET, NO_TARGET},
    {NO_TARGET, NO_TARGET, 15}, // deliberate: only the click has a target here
};
constexpr int BEHAVIORS_WITH_TARGETS = std::size(REMOTE_TARGETS);
} // namespace

PuckButton::PuckButton(int newId, puck::MIBS::ButtonType type, unsigned binding,
                       IKeypadButtonOwner& newOwner, boost::shared_ptr<nx::XmlNode> state)
    : owner(newOwner), id(newId), curState(puck::MIBS::STATE_OFF),
      behavior(puck::MIBS::BEHAVIOR_TARGET_15), variableId(newOwner.GetNextVarID()),
      linkControlBinding(binding), eventBase(0), controlBound(false), holdTimerId(0), pressed(0),
      buttonType(type)
{
    if (!state)
        return;
    curState = state->GetChildDataNumber(names::puck::CURRENT_STATE);
    behavior = state->GetChildDataNumber(names::parameter::BEHAVIOR);
}

PuckButton::~PuckButton()
{
    KillHoldTimer();
}

void PuckButton::DoPush()
{
    if (pressed)
    {
        OnHoldReceived();
        return;
    }
    pressed = 1;
    StartHoldTimer();
    SendBoundCommand(names::general::DO_PUSH);
    FireButtonEvent(GetPressEventNum());
}

void PuckButton::DoClick()
{
    KillHoldTimer();
    if (OnlyClicks())
    {
        // The contact has moved, whatever comes of telling it.
        const AtEnd toggle([this] { pressed = !pressed; });
        SendBoundCommand(names::general::DO_CLICK);
        return;
    }
    pressed = 0;
    SendBoundCommand(names::general::DO_CLICK);
    FireButtonEvent(GetReleaseEventNum());
}

void PuckButton::DoMultipleClick(int count)
{
    FireButtonEvent(GetPressEventNum() + static_cast<unsigned>(count));
}

void PuckButton::DoRelease()
{
    pressed = 0;
    KillHoldTimer();
    SendBoundCommand(names::general::DO_RELEASE);
    FireButtonEvent(GetReleaseEventNum());
}

void PuckButton::RemotePush()
{
    InvokeRemoteAction(ACTION_PUSH);
    DoPush();
    KillHoldTimer();
}

void PuckButton::RemoteRelease()
{
    InvokeRemoteAction(ACTION_RELEASE);
    DoRelease();
}

void PuckButton::RemoteClick()
{
    InvokeRemoteAction(ACTION_CLICK);
    DoClick();
    DoMultipleClick(1);
}

void PuckButton::OnHoldReceived()
{
    KillHoldTimer();
    StartHoldTimer();
}

void PuckButton::OnHoldTimerExpired()
{
    KillHoldTimer();
    DoRelease();
}

void PuckButton::SendStatusToUI()
{
    owner.SendButtonStatusToUI(GetPersistState());
}

void PuckButton::LightLevel(int level)
{
    if (behavior == puck::MIBS::BEHAVIOR_NO_TARGET)
        return;
    curState = level > 0 ? puck::MIBS::STATE_ON : puck::MIBS::STATE_OFF;
}

void PuckButton::StartHoldTimer()
{
    if (owner.HasButtonHoldFeedback())
        holdTimerId = owner.AddHoldTimer();
}

void PuckButton::KillHoldTimer()
{
    if (holdTimerId == 0)
        return;
    owner.KillHoldTimer(holdTimerId);
    holdTimerId = 0;
}

void PuckButton::FireButtonEvent(unsigned event)
{
    owner.FireButtonEvent(event);
}

void PuckButton::SendBoundCommand(std::string cmd)
{
    if (controlBound)
        owner.SendButtonBoundCall(linkControlBinding, cmd);
}

bool PuckButton::OnlyClicks() const
{
    return behavior == puck::MIBS::BEHAVIOR_CLICK_TARGET_15 ||
           behavior == puck::MIBS::BEHAVIOR_CLICK_NO_TARGET;
}

void PuckButton::InvokeRemoteAction(int action)
{
    if (behavior < 0 || behavior >= BEHAVIORS_WITH_TARGETS)
        return;
    const int target = REMOTE_TARGETS[behavior][action];
    if (target != NO_TARGET)
        owner.InvokeMIBForButton(names::mib::DMX_RBP, target, action);
}

#pragma once

#include "lighting_common/Export.h"
#include "lighting_common/PuckTypes.h"

#include <string>

#include <boost/shared_ptr.hpp>

class IKeypadButtonOwner;

namespace nx
{
class XmlNode;
}

// A button of the puck family. The device reports pushes, releases, clicks and holds, and the
// controller makes requests. Both become events, bound commands and requests to the device.
//
// Drivers use ContactButton or SnapOnButton, which add the settings of a button and the way to send
// them. Talks only to its owner, on the driver's thread; every operation may call the owner back.
// While the button is pressed and the owner has hold feedback, a hold timer runs. When the device
// stops reporting, the timer expires and the button acts as if it were released. Invariant:
// holdTimerId is 0 when no hold timer runs. The order of the virtual operations must not change.
class LIGHTING_COMMON_API PuckButton
{
public:
    // How many event numbers each button has, from its first on (wire value, do not change).
    static constexpr int EVENTS_PER_BUTTON = 10;

    // `id` counts the owner's buttons from 0. `binding` is the binding on which bound commands go.
    // `owner` is not owned and must outlive the button; one variable id is taken from it. `state`
    // is what GetPersistState gave, or null; without it the state is 0 and the behaviour 2.
    PuckButton(int id, puck::MIBS::ButtonType type, unsigned binding, IKeypadButtonOwner& owner,
               boost::shared_ptr<nx::XmlNode> state);
    PuckButton(const PuckButton&) = delete;
    PuckButton& operator=(const PuckButton&) = delete;

    // Kills the hold timer, if one runs.
    virtual ~PuckButton();

    // What the button wants to find again in its next life, as a new node; never null.
    virtual boost::shared_ptr<nx::XmlNode> GetPersistState() const = 0;

    // Sets what the button acts on and tells the device. A value that is set already is told again
    // only when `force` is true.
    virtual void SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool force) = 0;

    // Sets the state that the button shows. What the flag means is the derived class's.
    virtual void SetCurState(puck::MIBS::ButtonState newState, bool flag) = 0;

    // The device reports that the button was pushed: press event and "DO_PUSH", unless it is
    // pressed already; then it counts as a report that it is held.
    virtual void DoPush();

    // The device reports a click: "DO_CLICK" and the release event. In behaviours 4 and 5 no event;
    // the pressed flag turns over.
    virtual void DoClick();

    // The device reports `count` clicks in a row: the event of that number of clicks. Any count is
    // taken; event numbers wrap.
    virtual void DoMultipleClick(int count);

    // The device reports a release, or one is made up: release event and "DO_RELEASE", whether or
    // not the button was pressed.
    virtual void DoRelease();

    // The controller pushes, releases or clicks the button: the device is asked to act, as far as
    // the behaviour has a target, then the same happens as for the device's own report. A remote
    // push never holds.
    virtual void RemotePush();
    virtual void RemoteRelease();
    virtual void RemoteClick();

    // The device reports that the button is still held: the hold timer starts anew.
    virtual void OnHoldReceived();

    // Called by the owner when the hold timer is due: the release that the device has not sent.
    virtual void OnHoldTimerExpired();

    // Sends the persisted state to the user interface.
    virtual void SendStatusToUI();

    // Sends every setting to the device, whether or not it has changed.
    virtual void SendSettingsToHW() = 0;

    // The load's level in percent was reported: the state follows it (above 0 is on), unless the
    // behaviour is 3. Sends nothing.
    virtual void LightLevel(int level);

    puck::MIBS::ButtonBehavior GetBehavior() const { return behavior; }
    puck::MIBS::ButtonState GetCurState() const { return curState; }
    unsigned GetLinkControlBinding() const { return linkControlBinding; }

    // Whether somebody is bound to the button's link; only then are bound commands sent.
    void SetControlBoundFlag(bool bound) { controlBound = bound; }
    bool IsControlBound() const { return controlBound; }

    // The numbers of the button's events. The event of n clicks is the press event's + n.
    unsigned GetPressEventNum() const { return eventBase + 1; }
    unsigned GetReleaseEventNum() const { return eventBase; }

    unsigned GetVariableID() const { return variableId; }

    // The id of the hold timer, 0 when none runs.
    unsigned GetTimerID() const { return holdTimerId; }

protected:
    // Starts the hold timer, if the owner has hold feedback. Kills none.
    void StartHoldTimer();

    // Kills the hold timer, if one runs.
    void KillHoldTimer();

    void FireButtonEvent(unsigned event);

    // Sends a bound command, if somebody is bound.
    void SendBoundCommand(std::string cmd);

    // Whether the button only knows clicks (behaviours 4 and 5).
    bool OnlyClicks() const;

    IKeypadButtonOwner& owner;
    int id;
    puck::MIBS::ButtonState curState;
    puck::MIBS::ButtonBehavior behavior;
    unsigned variableId;
    unsigned linkControlBinding;
    // The first of the button's event numbers; set by the derived class.
    unsigned eventBase;
    bool controlBound;
    unsigned holdTimerId;
    puck::ButtonStatus pressed;
    puck::MIBS::ButtonType buttonType;

private:
    // Asks the device to act, if the behaviour has a target for that action.
    void InvokeRemoteAction(int action);
};

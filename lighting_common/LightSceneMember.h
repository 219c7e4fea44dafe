#pragma once

#include "lighting_common/Export.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/IZclListener.h"
#include "nxshared/Ids.h"
#include "nxshared/NxTypes.h"

#include <boost/noncopyable.hpp>

class CmdDispatcher;
class ICmdMessage;
class ICmdReturn;
class ITimerManager;
class LightSceneMemberOwner;
class NxZclPacket;

namespace nx
{
class ZclMessage;
}

// The ids of `a` that are not in `b`, ascending; neither needs to be sorted. A multiset difference:
// duplicates in `a` beyond those in `b` are kept.
LIGHTING_COMMON_API SceneVec GetExtraScenes(const SceneVec& a, const SceneVec& b);

// Logs what a synchronisation asks for: the stall delay, then every wanted scene.
LIGHTING_COMMON_API void LogSyncData(const NxTypes::SynchronizeData& data);

// Makes one endpoint of a ZigBee light a member of the controller's scenes.
//
// Takes the controller's scene commands and, on request, walks the light's Groups and Scenes
// clusters and repairs every difference to the scenes that the driver wants. Builds no frames and
// keeps no scenes of its own: messages come from the host's builders, the scene map is the
// driver's.
//
// A synchronisation sends one request at a time, each a stall delay after the answer before it;
// repairs go out at once. Answers are not checked against what was asked: one that comes out of
// turn is taken for what it says. A watchdog of 16 stall delays ends a synchronisation that the
// light leaves unanswered. A stall delay of 0 means no pauses and no watchdog.
//
// Lives on the driver's thread. Owned by the driver, whose dispatcher it registers itself with.
class LIGHTING_COMMON_API LightSceneMember : public ITimerManagerCallback,
                                             public IZclListener,
                                             private boost::noncopyable
{
public:
    // Registers ADD_TO_SCENE, DELETE_FROM_SCENE and MODIFY_SCENE. `owner` and `timers` must outlive
    // this object; `endpoint` goes with every packet.
    LightSceneMember(LightSceneMemberOwner& owner, ITimerManager& timers, CmdDispatcher& dispatcher,
                     unsigned char endpoint);

    // Aborts a running synchronisation without telling the owner; kills every timer of this object.
    ~LightSceneMember() override;

    // Called by the timer manager, or by a driver that forwards its timers: takes the next step of
    // the synchronisation, or gives it up when it is the watchdog. Ids of others are ignored.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // The light's scenes of one group: removes those that are not wanted, stores those that are
    // missing, then views the wanted ones. Without a synchronisation: tells the owner that it is
    // done.
    void OnZclSceneMembership(unsigned short group, const SceneVec& scenes) override;

    // One scene of the light (percent, milliseconds): stores it again when level or time, in whole
    // seconds, differ, and goes on. A scene that is not wanted is removed, and nothing goes on from
    // there: the watchdog ends it. Without a synchronisation: tells the owner that it is done.
    void OnZclViewScene(unsigned scene, int level, int time) override;

    // The light's groups: joins those that are missing, and goes on to the scene count. The list is
    // expected to be ascending; from one that is not, groups may be joined once more. Without a
    // synchronisation: tells the owner that it is done, and goes on all the same.
    void OnZclGroupMembership(const nx::GroupIdVec& groups) override;

    // The number of scenes in the light. Keeps it without using it, and goes on to the groups'
    // scenes, also when no synchronisation runs.
    void OnZclSceneCount(int count) override;

    // The light refused to store a scene: tells the owner and does nothing else.
    void OnAddSceneFailure(unsigned scene, unsigned char status) override;

    // Starts a synchronisation with the wanted scenes in `data` (never null). The map must stay
    // valid until the next start or abort or the end of this object: it is looked at for answers
    // that come late. When one runs already, it starts over; timers that are running then go on
    // beside it.
    void SynchronizeStart(const NxTypes::SynchronizeData& data);

    // Stops a synchronisation at once and kills every timer of this object. The owner is not told.
    // May be called at any time, also when none runs.
    void AbortSynchronization();

    // Asks the light to join a group. `group` is a group id, or a scene id for that scene's group.
    void JoinGroup(unsigned group);

    // Asks the light to leave a group.
    void LeaveThisGroup(unsigned short group);

    // Asks the light to forget a scene.
    void LeaveScene(unsigned scene);

    // Asks the light to join the scene's group and then to store the scene, over an earlier one if
    // it has it. `level` is in percent, `time` in milliseconds; neither is checked.
    void SetRampDetails(unsigned scene, int level, int time);

private:
    // Handlers of the commands; parameters are not checked.
    void HandleCmdAddToScene(const ICmdMessage& message, ICmdReturn* ret);
    void HandleCmdDeleteFromScene(const ICmdMessage& message, ICmdReturn* ret);
    void HandleCmdModifyScene(const ICmdMessage& message, ICmdReturn* ret);

    // Wraps the message, which it takes, and hands it to the owner.
    void Send(nx::ZclMessage* message);

    // A timer of this object: `interval` in milliseconds, fires `count` times.
    ID::Timer AddTimer(unsigned long interval, unsigned count);
    // Stops it and sets `timer` to 0.
    void KillTimer(ID::Timer& timer);

    // The groups of the wanted scenes, ascending, without repeats. Without a map: ends the
    // synchronisation and gives none.
    nx::GroupIdVec GetAllSceneGroupsSorted();
    // Repairs by the light's report on one group.
    void RemoveExtraScenes();
    void AddMissingScenes();
    // On to the next view, the next group or the end.
    void SynchronizeNextScene();
    void NotifySynchronizationDone();

    // Each starts its one-shot timer and keeps the id; one that runs already is forgotten, not
    // killed.
    void StartGetSceneCountTimer();
    void StartSynchronizeGetSceneMembershipTimer();
    void StartSynchronizeViewSceneTimer();
    void StartSynchronizeWatchdogTimer();

    // What each timer's expiry does.
    void OnSceneCountTimer();
    void OnSceneMembershipTimer();
    void OnViewSceneTimer();
    void OnWatchdogTimer();

    LightSceneMemberOwner& m_owner;
    ITimerManager& m_timers;
    const unsigned char m_endpoint;
    // The wanted scenes of the running synchronisation, null when none runs. Not owned.
    const SceneDetailsLightMap* m_wantedScenes = nullptr;
    // No synchronisation may go on.
    bool m_aborted = false;
    int m_sceneCount = 0;
    // What the light said of the group that is being checked.
    SceneVec m_reportedScenes;
    // The wanted scenes of that group not yet viewed; the last one is next.
    SceneVec m_scenesToView;
    // 0 when not running.
    ID::Timer m_sceneCountTimer = 0;
    ID::Timer m_viewSceneTimer = 0;
    ID::Timer m_sceneMembershipTimer = 0;
    ID::Timer m_watchdogTimer = 0;
    // Milliseconds.
    unsigned m_stepDelay = 0;
    // The groups not yet finished; the last one is being checked or next.
    nx::GroupIdVec m_groupsToCheck;
};

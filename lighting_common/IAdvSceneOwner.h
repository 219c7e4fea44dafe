#pragma once

#include "lighting_common/Export.h"

#include <string>

#include <boost/shared_ptr.hpp>

class NxMIBPacket;

// What AdvSceneManager asks of the driver that owns it.
//
// Implemented by the driver, called by the manager alone, on the driver's thread. Must outlive the
// manager's last call. Every operation may re-enter the manager (queries, commands, replies); it
// must not destroy the manager.
class LIGHTING_COMMON_API IAdvSceneOwner
{
public:
    virtual ~IAdvSceneOwner() = default;

    // Carry out the activation of a scene. Called by "ACTIVATE_SCENE" for a scene that is held; the
    // manager itself sends nothing for it.
    virtual void ExecuteScene(unsigned sceneId) = 0;

    // A level that a scene brings, as the element holds it. Called by "ACTIVATE_SCENE" before
    // ExecuteScene, unless SceneModeEnabled, with the scene's last level; and when the device
    // reports that a scene has run, with the reported element's level.
    virtual void SetSceneLevel(unsigned char level) = 0;

    // Send a request to the device. Never null. The manager does not wait for the reply, which
    // comes through the MIB dispatcher or never.
    virtual void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) = 0;

    // The request that stops a scene's ramp has just been sent.
    virtual void SceneRampStopped() = 0;

    // A pushed scene is held already, but one comes from a load group and the other does not;
    // `reason` says which, in words. Either the push then goes on (a scene that joins as part of a
    // group), or nothing of it is applied, and then "REMOVE_SCENE" has no effect until this
    // returns.
    virtual void ScenePushConflict(unsigned sceneId, const std::string& reason) = 0;

    // Whether an element that the device holds unchanged is to be sent again. Asked for each such
    // element of a push.
    virtual bool ForceScenePush() = 0;

    // The driver's mode switch. Asked for each element of a push, and once by "ACTIVATE_SCENE".
    virtual bool SceneModeEnabled() = 0;

    // Start the timer that closes a synchronisation and return its id, not 0. The duration is the
    // driver's; the expiry must reach AdvSceneManager::OnTimerExpired.
    virtual unsigned StartSyncTimer() = 0;

    // Stop that timer. Called with 0 when none runs.
    virtual void KillSyncTimer(unsigned timerId) = 0;
};

#pragma once

#include "lighting_common/Export.h"

#include <string>

#include <boost/shared_ptr.hpp>

class ICmdMessage;
class NxMIBPacket;

// What LoadGroupManager asks of the driver that owns it.
//
// Implemented by the driver, called by the manager alone, on the driver's thread. Must outlive the
// manager's last call. Every operation may re-enter the manager (a forwarded command may come back
// at once); it must not destroy the manager.
class LIGHTING_COMMON_API ILoadGroupOwner
{
public:
    virtual ~ILoadGroupOwner() = default;

    // The device now has at least one keep-sync group. May come again without GroupSyncStopped in
    // between: when the groups are written to the device, and for a "JOIN_GROUP" that asks for sync
    // of a group already held without it.
    virtual void GroupSyncStarted() = 0;

    // The device has no keep-sync group. May come when it had none before.
    virtual void GroupSyncStopped() = 0;

    // A new outgoing command message with that name and no parameters. With null nothing is
    // forwarded.
    virtual boost::shared_ptr<ICmdMessage> CreateCommand(const std::string& name) = 0;

    // Hand the command to every member of that group. Called for each keep-sync group but the one
    // that the command was for, in ascending order.
    virtual void ForwardCommandToGroup(unsigned group, const ICmdMessage& command) = 0;

    // Bring the load to a level (in percent) within `time` milliseconds, 0 for at once. The group
    // need not be one that is held.
    virtual void GroupSetLevel(unsigned group, int level, int time) = 0;

    // Start a continuous ramp of the load; `rate` is the controller's, passed on as it came.
    virtual void GroupStartRamp(unsigned group, unsigned rate, bool up) = 0;

    // Stop the continuous ramp.
    virtual void GroupStopRamp(unsigned group) = 0;

    // Send a request to the device. Never null. The manager does not wait for the reply.
    virtual void SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet) = 0;

    // A scene was joined as part of a group, with its level in percent and ramp time in
    // milliseconds.
    virtual void GroupSceneAdded(unsigned scene, int level, int time) = 0;

    // Level or time of such a scene were given anew.
    virtual void GroupSceneModified(unsigned scene, int level, int time) = 0;

    // Such a scene was left: by itself or because its group is being left.
    virtual void GroupSceneRemoved(unsigned scene) = 0;
};

#pragma once

#include "lighting_common/Export.h"
#include "lighting_common/SceneManager.h"

#include <cstdint>
#include <map>
#include <string>

#include <boost/shared_ptr.hpp>

class CmdDispatcher;
class ICmdMessage;
class ILoadGroupOwner;
class MibDispatcher;
class NxMIBPacket;

// The load groups that one output of a wired device belongs to.
//
// A driver owns one and calls setOwner. Commands of the controller join and leave groups, and drive
// the load together with the rest of a group; the device's own group table follows by requests. A
// group with keep sync makes this device pass what it does for one group on to its other keep-sync
// groups. It waits for no reply, and does nothing with a light itself: everything outward goes
// through ILoadGroupOwner. All on the driver's thread.
//
// Group ids have 32 bits here; requests and checksum carry the low 16.
class LIGHTING_COMMON_API LoadGroupManager
{
public:
    // One membership.
    struct GroupInfo
    {
        // The key under which the membership is kept.
        unsigned groupId = 0;
        // Whether what is done for other groups is passed on to this one.
        bool keepSync = false;
        // The scenes that the device joins as part of this group.
        SceneManager scenes;
    };

    using GroupMap = std::map<unsigned, GroupInfo>;

    // Registers the command handlers and the response handlers, those of a null dispatcher
    // excepted, through the virtual operations below. Nothing may be dispatched before setOwner.
    LoadGroupManager(CmdDispatcher* commands, MibDispatcher* mibs);
    LoadGroupManager(const LoadGroupManager&) = delete;
    LoadGroupManager& operator=(const LoadGroupManager&) = delete;

    // Calls and sends nothing.
    virtual ~LoadGroupManager();

    // The device answered a request. Acts only when the request is known and of type Set; then logs
    // its group at debug level. Changes nothing.
    virtual void OnRspAddGroup(const NxMIBPacket& reply, const NxMIBPacket* request);
    virtual void OnRspLeaveGroup(const NxMIBPacket& reply, const NxMIBPacket* request);

    // The device wiped its table: logged at debug level.
    virtual void OnRspClearGroups(const NxMIBPacket& reply, const NxMIBPacket* request);

    // "JOIN_GROUP" with "GROUP_ID" and "KEEP_SYNC": joins, and always writes the group to the
    // device. A group already held keeps its flag and scenes.
    virtual void OnCmdJoinGroup(const ICmdMessage& message);

    // "LEAVE_GROUP" with "GROUP_ID": reports the group's scenes as removed and leaves. Nothing for
    // a group not held.
    virtual void OnCmdLeaveGroup(const ICmdMessage& message);

    // "SET_GROUP_SYNC" with "GROUP_ID" and "KEEP_SYNC": sets the flag of a group held. Sends
    // nothing, since the device does not hold the flag.
    virtual void OnCmdSetGroupSync(const ICmdMessage& message);

    // "GROUP_RAMP_TO_LEVEL" with "GROUP_ID", "LEVEL" and "TIME", "GROUP_SET_LEVEL" with "GROUP_ID"
    // and "LEVEL", "GROUP_START_RAMP" with "GROUP_ID", "RATE" and "RAMP_UP", and "GROUP_STOP_RAMP"
    // with "GROUP_ID": calls the owner, even for a group that is not held. If the group is one with
    // keep-sync, the other keep-sync groups then get the action too, each as a command.
    virtual void OnCmdGroupRampToLvl(const ICmdMessage& message);
    virtual void OnCmdGroupSetLvl(const ICmdMessage& message);
    virtual void OnCmdGroupStartRamp(const ICmdMessage& message);
    virtual void OnCmdGroupStopRamp(const ICmdMessage& message);

    // "GROUP_JOIN_SCENE" with "GROUP_ID", "SCENE_ID", "LEVEL" and "TIME": adds the scene to a group
    // held, or gives it anew.
    virtual void OnCmdJoinGroupScene(const ICmdMessage& message);

    // "GROUP_LEAVE_SCENE" with "GROUP_ID" and "SCENE_ID": takes a scene held out of a group held.
    virtual void OnCmdGroupLeaveScene(const ICmdMessage& message);

    // Whom to call; not owned. Must be set before any command or operation below that sends.
    void setOwner(ILoadGroupOwner* owner);

    // Whether any group has keep sync.
    bool haveSyncGroup() const;

    // Whether any group holds the scene.
    bool inScene(unsigned scene) const;

    // Every membership, by ascending id. Valid as long as the manager; changes with it.
    const GroupMap& getGroups() const;

    // Leaves every group, reporting each one's scenes as removed, and wipes the device's table.
    // GroupSyncStopped comes in any case.
    void clearAllGroups();

    // Writes the device's table anew: wipes it, tells the owner whether there is a keep-sync group,
    // and adds every group in ascending order.
    void syncGroupsToHW();

    // CRC-32 over the group ids, three bytes each: high byte, low byte, zero. 0 for none. The
    // device computes the same over its table.
    std::uint32_t getCRC() const;

protected:
    // Hands the command to every keep-sync group but `fromGroup`, in ascending order. Does nothing
    // when called while it is already under way, which is how a command that comes back ends.
    void sendCmdToSyncGroups(const ICmdMessage& command, unsigned fromGroup);

private:
    boost::shared_ptr<ICmdMessage> createForward(const std::string& name);
    void sendAddGroup(unsigned group);
    void reportScenesRemoved(unsigned group);
    void forwardButtonAction(bool up, int action, unsigned fromGroup);

    GroupMap m_groups;
    ILoadGroupOwner* m_owner = nullptr;
    bool m_forwarding = false;
    // Of the last continuous ramp that was started.
    bool m_lastRampUp = false;
};

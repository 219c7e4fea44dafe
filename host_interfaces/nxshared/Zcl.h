#pragma once

#include "nxshared/HostApi.h"

#include <cstdint>

namespace nx
{
// A ZCL message on its way to a light, as one of the builders below made it. Opaque to the library.
class NX_HOST_API ZclMessage
{
public:
    virtual ~ZclMessage() = default;
};

namespace Zmessage
{
// How a message is addressed (wire values of the host, do not change). 0 is to one endpoint.
enum MessageType : std::int32_t
{
    Unicast = 0,
};
} // namespace Zmessage

// The builders: each returns a new message that the caller owns, never null in this host.
// A `scene` is the controller's 32-bit scene id; `level` is in percent, `time` in milliseconds.
NX_HOST_API ZclMessage* MakeGetAllGroupMembership();
NX_HOST_API ZclMessage* MakeGetSceneCount();
NX_HOST_API ZclMessage* MakeGetSceneMembership(unsigned short group);
NX_HOST_API ZclMessage* MakeViewScene(unsigned scene);
NX_HOST_API ZclMessage* MakeRemoveScene(unsigned scene);
NX_HOST_API ZclMessage* MakeSceneRamp(unsigned scene, int level, int time);

// `groupOrScene` is a group id or a scene id; a scene id and its own group id name the same group.
NX_HOST_API ZclMessage* MakeJoinGroupPacket(unsigned groupOrScene);
NX_HOST_API ZclMessage* MakeLeaveThisGroupPacket(unsigned short group);

// The group that a scene id belongs to.
NX_HOST_API unsigned short GetGroupId(unsigned scene);

// Milliseconds as whole seconds, a half rounded up.
NX_HOST_API int GetNearestSeconds(int milliseconds);
} // namespace nx

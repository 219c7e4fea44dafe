#include "embedded_host/ZclMessages.h"

#include <chrono>
namespace
{
using namespace std::chrono_literals;
using embedded_host::zcl::Request;
using embedded_host::zcl::RequestKind;

nx::ZclMessage* Make(RequestKind kind, std::uint16_t group = 0)
{
    Request request;
    request.kind = kind;
    request.group = group;
    return new embedded_host::HostZclMessage(request);
}

nx::ZclMessage* MakeForScene(RequestKind kind, unsigned scene, int level = 0, int time = 0)
{
    Request request;
    request.kind = kind;
    request.group = nx::GetGroupId(scene);
    request.scene = scene;
    request.level = level;
    request.timeMs = time;
    return new embedded_host::HostZclMessage(request);
}
} // namespace

namespace nx
{
ZclMessage* MakeGetAllGroupMembership()
{
    return Make(RequestKind::GetGroupMembership);
}

ZclMessage* MakeGetSceneCount()
{
    return Make(RequestKind::GetSceneCount);
}

ZclMessage* MakeGetSceneMembership(unsigned short group)
{
    return Make(RequestKind::GetSceneMembership, group);
}

ZclMessage* MakeViewScene(unsigned scene)
{
    return MakeForScene(RequestKind::ViewScene, scene);
}

ZclMessage* MakeRemoveScene(unsigned scene)
{
    return MakeForScene(RequestKind::RemoveScene, scene);
}

ZclMessage* MakeSceneRamp(unsigned scene, int level, int time)
{
    return MakeForScene(RequestKind::AddScene, scene, level, time);
}

ZclMessage* MakeJoinGroupPacket(unsigned groupOrScene)
{
    return Make(RequestKind::AddGroup, GetGroupId(groupOrScene));
}

ZclMessage* MakeLeaveThisGroupPacket(unsigned short group)
{
    return Make(RequestKind::RemoveGroup, group);
}

unsigned short GetGroupId(unsigned scene)
{
    return static_cast<unsigned short>(scene & 0xFFFF);
}

int GetNearestSeconds(int milliseconds)
{
    // Durations count in 64 bits, so the half second does not overflow.
    const std::chrono::milliseconds time(milliseconds);
    return static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(time + 500ms).count());
}
} // namespace nx

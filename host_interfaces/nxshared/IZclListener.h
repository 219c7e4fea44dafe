#pragma once

#include "nxshared/HostApi.h"

#include <vector>

using SceneVec = std::vector<unsigned>;

namespace nx
{
// ZCL group ids.
using GroupIdVec = std::vector<unsigned short>;
} // namespace nx

// Gets what a ZigBee light answers, already decoded. Called by the host on the driver's thread, in
// the order in which the frames arrived, whether or not anything was asked.
class NX_HOST_API IZclListener
{
public:
    virtual ~IZclListener() = default;

    // The scenes that the light holds for one group. Empty also when the light refused.
    virtual void OnZclSceneMembership(unsigned short group, const SceneVec& scenes) = 0;

    // One scene as the light holds it: level in percent, ramp time in milliseconds. Level -1 and
    // time 0 when the light does not hold it or gives no level.
    virtual void OnZclViewScene(unsigned scene, int level, int time) = 0;

    // The groups that the light is in, in the order in which it reported them.
    virtual void OnZclGroupMembership(const nx::GroupIdVec& groups) = 0;

    // How many scenes the light holds in all.
    virtual void OnZclSceneCount(int count) = 0;

    // The light refused to store a scene; `status` is the ZCL status, never 0.
    virtual void OnAddSceneFailure(unsigned scene, unsigned char status) = 0;
};

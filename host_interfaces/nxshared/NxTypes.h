#pragma once

#include "nxshared/HostApi.h"

#include <map>

// One scene that a light should hold.
struct SceneDetailsLight
{
    // The controller's own; the library does not read it.
    unsigned reserved = 0;
    // The level in the scene, in percent.
    int level = 0;
    // The ramp time to that level, in milliseconds.
    int time = 0;
};

// The scenes that a light should hold, by the controller's scene id.
using SceneDetailsLightMap = std::map<unsigned, SceneDetailsLight>;

namespace NxTypes
{
// What a driver asks for when it starts a synchronisation.
struct SynchronizeData
{
    // The wanted scenes. Not owned; must outlive the synchronisation.
    const SceneDetailsLightMap* scenes = nullptr;
    // The pause before each step, in seconds; 0 means none, and no watchdog.
    unsigned stallDelay = 0;
};
} // namespace NxTypes

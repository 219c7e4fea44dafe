#pragma once

#include "NxLibDriverBases/NxBaseDriver.h"
#include "nxshared/HostApi.h"

class IInstanceManager;

// What a driver in a shared object of its own exports: makes the driver. The host deletes it,
// through NxBaseDriver's destructor, before it unloads the object. Called once for each driver of
// that type in a house, and again at a restart.
extern "C" NX_HOST_API NxBaseDriver* CreateDriver(IInstanceManager& instances);

#pragma once

#include "NxLibDriverBases/NxBaseDriver.h"
#include "nxshared/HostApi.h"

class IInstanceManager;

// The version of these headers, as far as a driver in a shared object of its own depends on them.
// It counts up whenever one that was built with the headers before could not run.
#define NX_DRIVER_INTERFACE_VERSION 1

// Exported by every source that includes this header, so by the one that defines CreateDriver. The
// host compares it before it calls anything of the object, and refuses one of another version.
extern "C" inline __attribute__((used)) NX_HOST_API const unsigned NxDriverInterfaceVersion =
    NX_DRIVER_INTERFACE_VERSION;

// What a driver in a shared object of its own exports: makes the driver. The host deletes it,
// through NxBaseDriver's destructor, before it unloads the object. Called once for each driver of
// that type in a house, and again at a restart.
extern "C" NX_HOST_API NxBaseDriver* CreateDriver(IInstanceManager& instances);

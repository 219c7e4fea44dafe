#pragma once

#include "nxshared/HostApi.h"

#include <string>

// Gives a driver the host's services by their interface id.
//
// One instance for each driver, made by the host, handed to the driver's constructor. Must outlive
// the driver.
class NX_HOST_API IInstanceManager
{
public:
    virtual ~IInstanceManager() = default;

    // The service with this interface id (for instance ITimerManager::INTERFACE_ID), as a pointer
    // to that interface; null when the host has no such service. The host owns it.
    virtual void* GetInterface(const std::string& interfaceId) = 0;
};

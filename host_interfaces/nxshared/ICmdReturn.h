#pragma once

#include "nxshared/HostApi.h"

#include <string>

// How a command handler answers the controller. The library's own handlers never do; a driver uses
// it to say that a command cannot be carried out.
class NX_HOST_API ICmdReturn
{
public:
    virtual ~ICmdReturn() = default;

    // Refuses the command: it has changed nothing, for the reason given, in words. The first reason
    // counts.
    virtual void Refuse(const std::string& reason) = 0;
};

#pragma once

#include "nxshared/HostApi.h"

#include <string>

#include <boost/function.hpp>

class NxMIBPacket;

// A driver's tables of handlers for what its device says, by MIB id: responses and traps apart.
//
// One for each driver that talks MIB, owned by the host. Lifetimes and rules are those of
// CmdDispatcher.
class NX_HOST_API MibDispatcher
{
public:
    // Gets the reply and the request that it answers; the request is null when the host knows none.
    using ResponseHandler = boost::function<void(const NxMIBPacket&, const NxMIBPacket*)>;
    using TrapHandler = boost::function<void(const NxMIBPacket&)>;

    virtual ~MibDispatcher() = default;

    // Adds a handler for replies with this id. Several under one id all run, in order.
    virtual void RegisterResponse(const std::string& mib, const ResponseHandler& handler) = 0;

    // Adds a handler for unsolicited packets with this id. Several under one id all run, in order.
    virtual void RegisterTrap(const std::string& mib, const TrapHandler& handler) = 0;

    // Removes every response handler of that id; unknown ids are ignored.
    virtual void RemoveResponse(const std::string& mib) = 0;

    // Removes every trap handler of that id; unknown ids are ignored.
    virtual void RemoveTrap(const std::string& mib) = 0;
};

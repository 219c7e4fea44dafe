#pragma once

#include "nxshared/HostApi.h"

#include <string>

#include <boost/function.hpp>

class ICmdMessage;
class ICmdReturn;

// A driver's table of command handlers, by command name.
//
// One for each driver, owned by the host. A handler stays until it is removed by name. The host
// calls no handler once the driver's destruction has begun, and drops the whole table after it. So
// an object that its driver owns may register itself and need not remove itself. Names are compared
// byte for byte.
class NX_HOST_API CmdDispatcher
{
public:
    using Handler = boost::function<void(const ICmdMessage&, ICmdReturn*)>;
    using Handler1 = boost::function<void(const ICmdMessage&)>;
    using Handler0 = boost::function<void()>;

    // The caller of a command that comes from the controller itself, not from a binding.
    static constexpr unsigned CONTROLLER = 0;

    virtual ~CmdDispatcher() = default;

    // Adds a handler. Several under one name all run, in order of registration. May be called
    // inside a handler; a handler added to the name that is being dispatched runs from the next
    // time on.
    virtual void RegisterCmd(const std::string& name, const Handler& handler) = 0;

    // The same for a handler that takes the message only.
    virtual void RegisterCmd1(const std::string& name, const Handler1& handler) = 0;

    // The same for a handler that takes nothing.
    virtual void RegisterCmd0(const std::string& name, const Handler0& handler) = 0;

    // Removes every handler of that name. Unknown names are ignored. May be called inside a
    // handler, also for its own name: the handlers of that name that have not yet run do not run.
    virtual void RemoveCmd(const std::string& name) = 0;

    // Runs the handlers of the message's name. `ret` may be null. `caller` is CONTROLLER or the
    // binding on which the command came. False when nobody handles that name.
    virtual bool Dispatch(const ICmdMessage& message, ICmdReturn* ret, unsigned caller) = 0;
};

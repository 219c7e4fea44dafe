#pragma once

#include "nxshared/HostApi.h"

#include <string>

#include <boost/function.hpp>

class ICondMessage;

// A driver's table of condition handlers, by condition name. Lifetimes and rules are those of
// CmdDispatcher; with several handlers under one name the last one's answer counts.
class NX_HOST_API CondDispatcher
{
public:
    // Answers whether the condition holds. The second argument is the controller's own and may be
    // null; a handler need not look at it.
    using Handler = boost::function<bool(const ICondMessage&, unsigned*)>;

    virtual ~CondDispatcher() = default;

    // Adds a handler for the condition of that name.
    virtual void RegisterCond(const std::string& name, const Handler& handler) = 0;

    // Removes every handler of that name; unknown names are ignored.
    virtual void RemoveCond(const std::string& name) = 0;
};

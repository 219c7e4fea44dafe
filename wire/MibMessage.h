#pragma once

#include <string>
#include <vector>

namespace wire
{
// A MIB message as it crosses the wire between a driver and its device.
struct MibMessage
{
    enum Type : int
    {
        Reply = 0,
        Trap = 1,
        Query = 2,
        Invoke = 3,
        Set = 4,
    };

    int type = Invoke;
    std::string mib;
    std::vector<std::string> params;
};
} // namespace wire

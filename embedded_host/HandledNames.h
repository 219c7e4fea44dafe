#pragma once

#include <string>
#include <vector>

namespace nx
{
class DriverHost;
}

namespace embedded_host
{
// The names that a driver has handlers for, each once and in alphabetical order. For tools that
// want to say something to a driver that they do not know.
struct HandledNames
{
    std::vector<std::string> commands;
    std::vector<std::string> conditions;
    // MIB ids of traps and of responses.
    std::vector<std::string> mibs;
};

// What the driver handles now; nothing when it does not run. Not inside one of its handlers.
HandledNames NamesHandledBy(nx::DriverHost& driver);
} // namespace embedded_host

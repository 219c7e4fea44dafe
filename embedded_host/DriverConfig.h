#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

class IInstanceManager;
class NxBaseDriver;

namespace nx
{
class XmlNode;
}

namespace embedded_host
{
// How a driver comes into a house.
struct DriverConfig
{
    std::string name;
    std::string type;
    unsigned id = 0;
    std::vector<std::pair<std::string, std::string>> capabilities;
    // What Initialize gets; an empty node when null.
    boost::shared_ptr<nx::XmlNode> config;
    // The state to start from, null for none.
    boost::shared_ptr<nx::XmlNode> state;
    // Makes the driver; called again at a restart.
    std::function<NxBaseDriver*(IInstanceManager&)> create;
    // Whether a simulated device is to be attached.
    bool simulatedDevice = false;
};

// A variable or a dynamic binding that a driver has at present.
struct Variable
{
    unsigned id;
    const std::string* name;
    std::string value;
};
struct Binding
{
    unsigned id;
    const std::string* name;
    const std::string* cls;
};
} // namespace embedded_host

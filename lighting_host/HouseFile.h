#pragma once

#include <string>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

namespace nx
{
class XmlNode;
}

namespace lighting_host
{
// One driver of a house file.
struct HouseFileDriver
{
    std::string name;
    std::string type;
    unsigned id = 0;
    // The shared object that makes the driver, resolved against the house file; empty for a type of
    // the program's own.
    std::string library;
    std::vector<std::pair<std::string, std::string>> capabilities;
    // Null when absent.
    boost::shared_ptr<nx::XmlNode> config;
    boost::shared_ptr<nx::XmlNode> state;
    // What stands in <device>; null when no simulated device is asked for.
    boost::shared_ptr<nx::XmlNode> device;
};

// One group of loads.
struct HouseFileGroup
{
    unsigned id = 0;
    std::vector<std::string> members;
};

// Something that is wrong with a house file.
struct HouseFileError
{
    // From 1; 0 when it is not about a line.
    int line = 0;
    std::string what;
};

// A house as its file describes it.
struct HouseFile
{
    std::vector<HouseFileDriver> drivers;
    std::vector<HouseFileGroup> groups;
    // Everything that is wrong; the rest is as complete as it can be. A house with errors is not
    // run.
    std::vector<HouseFileError> errors;
};

// Reads a house file. Never throws; what cannot be read is an error of the result.
HouseFile ReadHouseFile(const std::string& path);

// The same from a text; `folder` is what library paths are relative to.
HouseFile ParseHouseFile(const std::string& text, const std::string& folder);
} // namespace lighting_host

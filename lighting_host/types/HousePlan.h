#pragma once

#include <cstdint>
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
// What a house file says, piece by piece, in plain values.

// One driver of a house file.
struct HouseFileDriver
{
    std::string name;
    std::string type;
    // Where its device is; empty when the file does not say.
    std::string room;
    unsigned id = 0;
    // Where its <driver> is in the file, counted from 1.
    int line = 0;
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

// A use of a button on which the controller does something.
struct HouseFileUse
{
    // The largest number that a contact can have.
    static constexpr unsigned LAST_CONTACT = 1;
    // The same for a button of any type; on purpose not that of one kind of device.
    static constexpr unsigned LAST_BUTTON = 127;

    enum How
    {
        Release,
        Press,
        Click,
    };
    std::string driver;
    // A contact of a puck module, or else a button: of a puck module from 0, of a gen3_keypad by
    // its id.
    bool contact = false;
    unsigned number = 0;
    How how = Press;
};

// What the controller does with a group of loads on a use of a button.
struct HouseFileGroupAct
{
    enum What
    {
        ToLevel,
        RampUp,
        RampDown,
        StopRamp,
    };
    HouseFileUse use;
    What what = ToLevel;
    // For ToLevel, in percent and milliseconds.
    unsigned level = 0;
    std::int64_t timeMs = 0;
};

// One group of loads.
struct HouseFileGroup
{
    unsigned id = 0;
    // Empty when the file gives none.
    std::string name;
    std::vector<std::string> members;
    std::vector<HouseFileGroupAct> acts;
};

// One load in a scene: where it goes, in percent, how fast, and after what delay. A wired dimmer
// that stands there several times goes these steps one after the other.
struct HouseFileLoad
{
    std::string driver;
    unsigned level = 0;
    std::int64_t timeMs = 0;
    std::int64_t delayMs = 0;
};

// One scene of the controller.
struct HouseFileScene
{
    unsigned id = 0;
    std::string name;
    std::vector<HouseFileLoad> loads;
    // Each recalls it.
    std::vector<HouseFileUse> uses;
};

// Two bindings of two drivers that are linked to each other.
struct HouseFileBind
{
    std::string from;
    unsigned binding = 0;
    std::string to;
    unsigned toBinding = 0;
};

// A house as it is to be.
struct HousePlan
{
    std::vector<HouseFileDriver> drivers;
    std::vector<HouseFileGroup> groups;
    std::vector<HouseFileBind> binds;
    // What the controller knows of scenes, which only a run plays.
    std::vector<HouseFileScene> scenes;
};
} // namespace lighting_host

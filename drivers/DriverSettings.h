#pragma once

#include <cstdint>
#include <vector>

namespace nx
{
class XmlNode;
}

namespace drivers
{
// One setting of a type of driver: a whole number that stands in its configuration as
// <name>number</name>. From these rows come what a driver reads, what is told of a wrong one, and
// the table of its README.
struct Setting
{
    const char* name;
    // "milliseconds"
    const char* unit;
    // What makes sense; the driver itself takes what it is given, as its README says.
    std::int64_t least;
    std::int64_t most;
    // What holds without it.
    std::int64_t usual;
    const char* meaning;
};

// One element of what a type of driver keeps: its state, as it persists it and as it is given it
// back.
struct StateElement
{
    enum Kind
    {
        // Holds other elements.
        Group,
        // A whole number.
        Number,
        Text,
        // Begins with T, t or 1 for true, with F, f or 0 for false.
        Truth,
        // Six hexadecimal digits, or empty for one that was never set.
        Color,
    };
    // The element that it stands in; empty for the state itself.
    const char* parent;
    const char* name;
    Kind kind;
    // Of a number.
    std::int64_t least = INT32_MIN;
    std::int64_t most = INT32_MAX;
};

// All that the configuration and the state of a type may hold.
struct Schema
{
    std::vector<Setting> settings;
    std::vector<StateElement> state;
    // For a type with buttons, where their numbers come from. Either a setting counts them, from 0
    // on; or each element of this name in the state holds the number of one.
    const Setting* buttonCount = nullptr;
    const char* buttonElement = nullptr;
    const char* buttonNumber = nullptr;
    // The binding of contact 0, and of button 0, each the first of a row in the order of their
    // numbers; 0 for a type whose contacts or buttons have none.
    unsigned contactBinding = 0;
    unsigned buttonBinding = 0;
};

// The number that the configuration gives for a setting, else the usual one; to be cut to the type
// that the driver keeps it in. The configuration may be null.
std::int64_t ReadSetting(const nx::XmlNode* config, const Setting& setting);

// Rows that several types have in their states.
std::vector<StateElement> EnergyState();
std::vector<StateElement> SceneMapState();

// `rows` and then `more`.
std::vector<StateElement> Joined(std::vector<StateElement> rows,
                                 const std::vector<StateElement>& more);
} // namespace drivers

#pragma once

#include <string>
#include <vector>

namespace lighting_host
{
// What a driver has to offer to a program beside this one that shows the house, in plain values:
// its buttons, its settings and its figures. Each type's adapter fills them in; see DriverAdapter.

// A contact or a button, named as in a HouseFileUse.
struct ButtonOffer
{
    bool contact = false;
    unsigned number = 0;
    // As a person counts them, from 1.
    unsigned ordinal = 1;
    // What is written on it; empty for nothing.
    std::string name;
    // What its LED shows, six hexadecimal digits; empty when nobody can set it.
    std::string ledColor;
};

// What somebody did with one.
struct ButtonUse
{
    enum What
    {
        Released,
        Pressed,
        // Pressed and released `clicks` times, as the device has found.
        Clicked,
    };
    bool contact = false;
    unsigned number = 0;
    What what = Pressed;
    unsigned clicks = 1;
};

// Something that can be set. With `options` it is one of these, else a whole number of that unit.
struct SettingOffer
{
    // From [a-z0-9_], unique in its driver.
    std::string id;
    std::string name;
    // The number of the button that it is about, where it is about one.
    unsigned button = 0;
    std::string value;
    std::vector<std::string> options;
    long long least = 0;
    long long most = 0;
    std::string unit;
};

// A figure that tells how a driver and its device are doing.
struct FigureOffer
{
    // From [a-z0-9_], unique in its driver.
    std::string id;
    std::string name;
    std::string value;
    // Empty for a mere count.
    std::string unit;
    // Whether the value is "ON" or "OFF": whether the device can be reached.
    bool isLink = false;
    // Whether it counts up from the program's start.
    bool isTotal = false;
};
} // namespace lighting_host

#pragma once

#include "test_kit/AnyInput.h"
#include "test_kit/OneDriverHouse.h"

#include <ostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

// What every driver must do, whatever its device, as tests for a driver of one's own. One line does
// it, outside of every namespace:
//
//     HOLD_DRIVER_TO_ITS_CONTRACT(Doorbell, test_kit::ForDriver<Doorbell>({"RING"}));
//
// The rows of the list are the functions below. Each gives what is wrong, with the seed and the
// inputs that lead to it, or the empty text.
namespace test_kit
{
// A driver, and what the tests need to know of it.
struct DriverUnderTest
{
    OneDriverHouse::Create create;
    // What it finds: XML, empty for none; and capabilities by name.
    std::string config;
    OneDriverHouse::Params capabilities;
    // The words that its inputs are made of.
    Vocabulary words;
    // How many lives it is led through, and how many inputs each has.
    unsigned lives = 10;
    unsigned inputs = 150;
};

// A driver of this class, with the words of its own that its inputs are to have besides the usual
// ones: commands and conditions, their parameters, and ids of traps and replies.
template <class Driver>
DriverUnderTest ForDriver(const Lines& commands = {}, const Lines& params = {},
                          const Lines& mibs = {})
{
    DriverUnderTest driver;
    driver.create = [](IInstanceManager& instances)
    {
        return new Driver(instances);
    };
    driver.words.Add(commands, params, mibs);
    return driver;
}

// The constructor may register handlers, create objects and start timers. Nothing leaves the
// driver: Initialize is where it begins to speak.
std::string WhatConstructorCauses(const DriverUnderTest& driver);

// Nothing that arrives makes a handler throw.
std::string WhatInputsBreak(const DriverUnderTest& driver);

// No state does, also not one that is cut, spoilt or of somebody else; and what the driver then
// gives as its own state it reads back as it is.
std::string WhatStatesBreak(const DriverUnderTest& driver);

// A driver that is made anew with its state gives the same state. Bindings are broken before: they
// are the host's, which tells of them anew.
std::string WhatRestartLoses(const DriverUnderTest& driver);

// When the driver has been destroyed no timer of it or its objects still ran.
std::string WhatTimersAreLeft(const DriverUnderTest& driver);

// The same inputs cause the same effects: nothing depends on an address or on memory that nobody
// wrote.
std::string WhatDiffersTheSecondTime(const DriverUnderTest& driver);

class DriverContract : public testing::TestWithParam<DriverUnderTest>
{
};

// For GoogleTest: a name for the only value that the line above tests.
std::string ContractName(const testing::TestParamInfo<DriverUnderTest>& info);
inline void PrintTo(const DriverUnderTest&, std::ostream* out)
{
    *out << "the driver";
}
} // namespace test_kit

// `NAME` is a word that is unique in the program; what follows is a DriverUnderTest.
#define HOLD_DRIVER_TO_ITS_CONTRACT(NAME, ...)                                                     \
    namespace test_kit                                                                             \
    {                                                                                              \
    INSTANTIATE_TEST_SUITE_P(NAME, DriverContract, testing::Values(__VA_ARGS__), ContractName);    \
    }                                                                                              \
    static_assert(true, "")

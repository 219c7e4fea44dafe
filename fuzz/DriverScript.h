#pragma once

#include "fuzz/DriverRun.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzzing
{
// What a driver of one type listens to, so that inputs can name it in one letter.
struct DriverShape
{
    using Names = std::vector<std::string>;

    const char* type;
    // Its configuration, as XML.
    const char* config;
    Names traps;
    Names replies;
    Names commands;
    Names params;
    Names facts;
    Names bindings;
    // Asks the driver for something that it must answer whatever happened before.
    void (*probe)(DriverRun& run);
};

// Runs a driver of that shape through a script, asks it what it must still answer, and requires
// that its state is kept over a restart.
//
// A script has one event in each line: a letter, then words apart by single blanks. A word of one
// letter where a name is expected stands for one of the shape's names; any other word is the name
// itself.
//
//     t MIB PARAM...          a trap
//     r MIB PARAM...          a reply, paired with what was asked
//     q MIB PARAM... / PARAM...   a reply to a request with the second parameters
//     c NAME PARAM=VALUE...   a command; a word without "=" belongs to the value before it
//     x BINDING XML           a command that arrives on a binding, as XML (with blanks as they are)
//     k BINDING KIND NAME     a call of another kind that arrives on a binding
//     n NAME PARAM=VALUE...   a condition test
//     o 0|1                   the device goes offline or online
//     b BINDING 0|1           a BUTTON_LINK binding is broken or made
//     a MS                    time passes
//     f FACT JSON             a fact about the load or the device
//     i JSON                  an input of the driver's type, as the protocol has it
//     g OPCODE HEX            a message from the bus; the opcode in hexadecimal
//     z CLUSTER HEX           a ZCL frame from the light
//     p                       the state is asked for
//     s                       the driver is restarted
//
// A first line that begins with "!" says how it runs: "l" in it turns the library's log on, "d"
// attaches a simulated device beside whatever the script lets arrive.
void RunScript(const DriverShape& shape, const std::uint8_t* data, std::size_t size);
} // namespace fuzzing

#pragma once

#include <string>

namespace embedded_host
{
struct Output;
}

namespace test_kit
{
// An effect of a driver as one line of text, so that a test can spell out what it expects: a word
// for its kind, then what it carries, separated by blanks. Its time and its driver are left out.
//
//     mib 3 bell.chime 01                          type, id and parameters of a MIB packet
//     zcl add_group endpoint=1 group=5             kind, and what applies to it
//     gateway 485_BUS_MESSAGE OPCODE=4736          name and parameters of a command
//     event 6001
//     variable add 1014 'Aux 1' '0'                add, set or remove; id, name and value
//     binding add 1 'Aux 1' BUTTON_LINK
//     call 1 DO_PUSH                               binding, name and parameters of a bound call
//     result 0                                     what a bound call that arrived was answered
//     condition ON true
//     ui <CONTACT_STATUS>...</CONTACT_STATUS>
//     owner SetLedParam 3 0 0                      a library object called its owner
//     unhandled DING
//     log WARN <file>: <text>
//     assert <file> <line>
//     fault <what>                                 a handler threw, or the driver failed to start
//
// Empty for a frame of a stack in the log. What the effect refers to must be valid.
std::string EffectText(const embedded_host::Output& output);
} // namespace test_kit

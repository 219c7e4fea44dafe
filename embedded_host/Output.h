#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class ICmdMessage;
class IBindMessage;
class NxMIBPacket;

namespace nx
{
class XmlNode;
class DriverHost;
} // namespace nx

namespace embedded_host
{
class HostZclMessage;

// What a driver does to the world outside, as one value type. The house hands each effect to its
// one OutputSink, in the order in which they happen. Two things take other ways: a wish that the
// state be persisted (House::onPersistRequested), and a command to a group of loads, whose effects
// are those of its members (House::ForwardToGroup).
//
// The alternatives refer to what they describe instead of copying it: texts, packets and messages
// are valid only during OutputSink::Write. A sink that keeps something copies it.

// A MIB packet leaves for the device.
struct MibSent
{
    const NxMIBPacket& packet;
};

// A ZCL message leaves for the light, as these octets.
struct ZclSent
{
    const HostZclMessage& message;
    std::uint8_t endpoint;
    const std::uint8_t* frame;
    std::size_t length;
};

// A command leaves for the RS-485 gateway.
struct GatewaySent
{
    const ICmdMessage& command;
};

// A numbered event fired.
struct EventFired
{
    unsigned event;
};

// What happened to a variable or binding.
enum class Change
{
    Add,
    Set,
    Remove,
};

// A variable was added, set or removed.
struct VariableChanged
{
    unsigned id;
    const std::string& name;
    const std::string& value;
    Change change;
};

// A dynamic binding was added or removed.
struct BindingChanged
{
    unsigned id;
    const std::string& name;
    const std::string& cls;
    Change change;
};

// A bound call leaves on a binding.
struct BoundCallSent
{
    unsigned binding;
    const IBindMessage& message;
};

// What the driver answered to a bound call that arrived.
struct BoundCallResult
{
    int result;
};

// The answer to a condition test.
struct ConditionResult
{
    const std::string& name;
    bool result;
};

// Data for the user interface.
struct UiData
{
    const nx::XmlNode& data;
};

// One argument of an owner operation.
using CallArgument = std::variant<std::int64_t, bool, std::string>;

// A library object called an operation of its owner that is the driver's own business.
struct OwnerCall
{
    const char* operation;
    const std::vector<CallArgument>& arguments;
};

// Nobody handled a command.
struct CommandUnhandled
{
    const std::string& name;
};

// A record of the library's logger. `level` is log4cplus's number.
struct LogRecord
{
    const std::string& text;
    int level;
    const std::string& file;
    int line;
    const std::string& function;
};

// The assertion writer was called.
struct AssertRecord
{
    const char* file;
    int line;
};

// A handler of the driver threw, the driver failed to start or to stop, or it sent something
// unreadable.
struct DriverFault
{
    const std::string& what;
};

using Effect = std::variant<MibSent, ZclSent, GatewaySent, EventFired, VariableChanged,
                            BindingChanged, BoundCallSent, BoundCallResult, ConditionResult, UiData,
                            OwnerCall, CommandUnhandled, LogRecord, AssertRecord, DriverFault>;

// One effect: whose, and when, in milliseconds since the house started.
struct Output
{
    std::int64_t timeMs;
    const nx::DriverHost& driver;
    Effect effect;
};

// Where the effects of every driver of a house go. Must outlive the house.
class OutputSink
{
public:
    virtual ~OutputSink() = default;

    // Called for each effect, in order, while the driver is still inside the call that caused it.
    // Must not call into the house and must not throw.
    virtual void Write(const Output& output) = 0;
};
} // namespace embedded_host

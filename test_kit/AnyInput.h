#pragma once

#include "embedded_host/Random.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace test_kit
{
class OneDriverHouse;

// Needs no framework for tests: programs that are no tests draw inputs from here as well.

// The words that generated inputs are made of. Default: those that the library's own parts listen
// to; a test adds the words of its driver.
struct Vocabulary
{
    Vocabulary();

    // Adds words, each four times: inputs for the driver are to be more than one among many.
    void Add(const std::vector<std::string>& moreCommands,
             const std::vector<std::string>& moreParams, const std::vector<std::string>& moreMibs);

    // Names of commands and conditions, and of their parameters.
    std::vector<std::string> commands;
    std::vector<std::string> params;
    // Ids of traps and replies.
    std::vector<std::string> mibs;
    // Opcodes of bus messages.
    std::vector<int> opcodes;
    // Ids of bindings.
    std::vector<unsigned> bindings;
};

// One input. What a kind does not name below is empty or 0.
struct Input
{
    enum class Kind
    {
        Command,   // name, params
        Condition, // name, params
        BoundCall, // number (the binding), name (the kind of call), xml
        Binding,   // number, flag (made, or broken)
        Trap,      // name (the MIB id), hexParams
        Reply,     // name, hexParams
        Bus,       // number (the opcode), payload
        Online,    // flag
        Time,      // number (milliseconds that pass)
    };
    using Params = std::vector<std::pair<std::string, std::string>>;

    // The class that a binding is made with.
    static constexpr const char* BINDING_CLASS = "BUTTON_LINK";

    Kind kind = Kind::Time;
    std::string name;
    Params params;
    std::vector<std::string> hexParams;
    std::vector<std::uint8_t> payload;
    std::string xml;
    std::int64_t number = 0;
    bool flag = false;

    // What it is, in words.
    std::string Text() const;
};

// Hands an input in.
void HandIn(const Input& input, OneDriverHouse& house);

// Inputs of every kind, sensible and not: commands, conditions, bound calls, bindings, traps,
// replies, bus messages, online and offline, and time. Half of what they carry is drawn from what a
// device or controller might say, the rest are limits, other types, too few, too many and noise.
//
// The same seed and words give the same inputs in the same order. Never a restart: the test says
// when.
class AnyInput
{
public:
    explicit AnyInput(std::uint64_t seed, Vocabulary words = Vocabulary());

    Input Next();

    // Values alone, for tests that build inputs themselves: the text of a command's parameter, a
    // number near a limit as text, a hexadecimal parameter of a packet, and the ELEMENTS of an
    // advanced scene.
    std::string Value();
    std::string Limit();
    std::string HexValue();
    std::string Elements();

private:
    int Draw(int min, int max) { return m_random.Between(min, max); }
    bool OneIn(int n) { return Draw(1, n) == 1; }
    template <class T>
    const T& OneOf(const std::vector<T>& values);
    std::string Noise();
    Input::Params DrawParams();
    std::vector<std::string> DrawHexParams();
    std::string CommandXml();
    Input DrawCommand(Input::Kind kind);
    Input DrawBoundCall();
    Input DrawBinding();
    Input DrawPacket(Input::Kind kind);
    Input DrawBusMessage();

    embedded_host::Random m_random;
    Vocabulary m_words;
};
} // namespace test_kit

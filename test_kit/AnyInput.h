#pragma once

#include "embedded_host/Random.h"
#include "test_kit/OneDriverHouse.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace test_kit
{
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

// One input: what it is, in words, and how it is handed in.
struct Input
{
    std::string text;
    std::function<void(OneDriverHouse&)> handIn;
};

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
    OneDriverHouse::Params DrawParams();
    Lines DrawHexParams();
    std::string CommandXml();
    Input DrawCommand();
    Input DrawCondition();
    Input DrawBoundCall();
    Input DrawBinding();
    Input DrawTrap();
    Input DrawReply();
    Input DrawBusMessage();
    Input DrawOnline();
    Input DrawTime();

    embedded_host::Random m_random;
    Vocabulary m_words;
};
} // namespace test_kit

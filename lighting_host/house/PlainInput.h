#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lighting_host
{
// An input line of a form that most lines have, read without a JSON tree:
//
//     {"advance_ms":20}
//     {"driver":"hall","command":"SET_LEVEL","params":{"LEVEL":50,"NAME":"x"}}
//     {"driver":"hall","trap":"nx.dmx.bp","params":["00000007"]}
//
// and a reply, which is written like a trap. "params" may be missing; blanks may stand between. The
// fields come in this order, texts are ASCII without escapes, numbers are integers of at most 18
// digits. What is of no such form is not wrong: ParseJson reads every line, and these as well.
struct PlainInput
{
    enum class Kind
    {
        AdvanceMs,
        Command,
        Trap,
        Reply,
    };
    // A number stays as it was written, which is its shortest form.
    struct Value
    {
        std::string_view text;
        bool isNumber;
    };

    Kind kind = Kind::AdvanceMs;
    std::int64_t advanceMs = 0;
    std::string_view driver;
    // The command's name, or the id of the packet.
    std::string_view subject;
    // Of a command, in order, each name once; and of a packet.
    std::vector<std::pair<std::string_view, Value>> named;
    std::vector<std::string_view> params;
};

// More parameters than this are not plain.
constexpr std::size_t MOST_PLAIN_PARAMS = 16;

// False when the line has another form; what `input` holds is then of no use. What it holds points
// into the line.
bool ReadPlainInput(const std::string& line, PlainInput& input);
} // namespace lighting_host

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

// What the programs of this folder share. Each holds one entry that gets any octets:
// LLVMFuzzerTestOneInput, called by libFuzzer again and again in one process, and by the program in
// replay/ for each kept input. Inputs that do harm are told by the sanitizers or by abort().
namespace fuzzing
{
// Ends the process when what must hold does not, and says where.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    if (holds)
        return;
    std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
    std::abort();
}

// The same for two texts that must be one.
void RequireSame(const std::string& text, const std::string& other,
                 const char* file = __builtin_FILE(), int line = __builtin_LINE());

// Requires that what is done while it lives takes little of the processor's time, however busy the
// machine is: inputs are short, and what takes long for them takes for ever for longer ones.
class Quick
{
public:
    explicit Quick(const char* file = __builtin_FILE(), int line = __builtin_LINE())
        : m_file(file), m_line(line), m_begin(std::clock())
    {
    }
    ~Quick() { Require(std::clock() - m_begin < MOST, m_file, m_line); }
    Quick(const Quick&) = delete;
    Quick& operator=(const Quick&) = delete;

private:
    static constexpr std::clock_t MOST = 3 * CLOCKS_PER_SEC;

    const char* m_file;
    int m_line;
    std::clock_t m_begin;
};

// The octets as text.
inline std::string Text(const std::uint8_t* data, std::size_t size)
{
    return std::string(data, data + size);
}

// The parts of a text between separators, empty ones too; a text of nothing has none. Of more parts
// than `most` the rest is left out, so that the length of an input bounds its cost.
std::vector<std::string> Split(const std::string& text, char separator, std::size_t most);

// The leading decimal digits of a text as a number, held to `most`; 0 when there are none.
std::uint64_t Number(const std::string& text, std::uint64_t most);

// Pairs of hexadecimal digits as octets; ends at what is no such pair.
std::vector<std::uint8_t> Octets(const std::string& hex);

// Whether input lines of the protocol let more time pass at once than a fuzzer has, because every
// timer on the way fires.
bool TakesLong(const std::string& lines);

// Turns the library's log off, for programs whose subject it is not.
void SilenceLog();
} // namespace fuzzing

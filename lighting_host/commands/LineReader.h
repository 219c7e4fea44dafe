#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <streambuf>
#include <string>

namespace lighting_host
{
// Reads lines, and never holds more than one of them: a line beyond the limit, or beyond what
// memory can hold, is read to its end and reported instead of kept. A last line without a line end
// counts. Lives on one thread.
class LineReader
{
public:
    static constexpr std::size_t LONGEST_LINE = 64 * 1024 * 1024;

    enum class Result
    {
        Line,
        // The line was too long; its text is lost.
        TooLong,
        End,
    };

    // `in` must outlive this. `beforeWaiting` is called whenever more input is needed, before this
    // waits for it; the input ends there when it returns false. Empty for nobody.
    LineReader(std::streambuf& in, std::function<bool()> beforeWaiting,
               std::size_t longest = LONGEST_LINE);

    // Reads the next line, without its line end; one that was too long is left empty. Throws what
    // the input throws.
    Result Next(std::string& line);

private:
    bool Refill();

    std::streambuf& m_in;
    std::function<bool()> m_beforeWaiting;
    const std::size_t m_longest;
    std::unique_ptr<char[]> m_buffer;
    // What of the buffer was not handed out yet.
    const char* m_next = nullptr;
    const char* m_end = nullptr;
};
} // namespace lighting_host

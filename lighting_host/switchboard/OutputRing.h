#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

namespace lighting_host
{
// The last numbered lines of a house: outputs, and the causes that they name. Numbers count from 1
// without gaps.
//
// Bounded in lines and in octets, so that a house which runs for months takes no more memory than
// one that has just filled it.
class OutputRing
{
public:
    struct Line
    {
        std::uint64_t seq = 0;
        std::int64_t timeMs = 0;
        // The member that names the line ("mib", "cause"). Static text.
        const char* kind = "";
        // The driver's place in the house file; NO_DRIVER for lines that are no driver's.
        std::size_t driver = NO_DRIVER;
        // The whole object, without a line end.
        std::string text;
    };
    static constexpr std::size_t NO_DRIVER = static_cast<std::size_t>(-1);
    static constexpr std::size_t MOST_LINES = 65536;
    static constexpr std::size_t MOST_BYTES = 32 * 1024 * 1024;

    explicit OutputRing(std::size_t mostLines = MOST_LINES, std::size_t mostBytes = MOST_BYTES)
        : m_mostLines(mostLines), m_mostBytes(mostBytes)
    {
    }

    // Its number must be one above Last.
    void Add(Line line);

    // Forgets every line above `seq`; the next one is `seq` + 1 whatever was kept.
    void ResetTo(std::uint64_t seq);

    // The first number that is kept, one above Last when none is; the last one given, 0 for none.
    std::uint64_t First() const { return m_last + 1 - m_lines.size(); }
    std::uint64_t Last() const { return m_last; }

    // A line from First to Last.
    const Line& At(std::uint64_t seq) const { return m_lines[seq - First()]; }

private:
    std::size_t m_mostLines;
    std::size_t m_mostBytes;
    std::deque<Line> m_lines;
    std::size_t m_bytes = 0;
    std::uint64_t m_last = 0;
};
} // namespace lighting_host

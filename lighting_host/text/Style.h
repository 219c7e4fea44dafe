#pragma once

#include <cstddef>
#include <string>

namespace lighting_host
{
// How wide a column of names is at least, in lines and tables.
constexpr std::size_t MIN_NAME_WIDTH = 12;

// How text looks to a person: plain, or with the colors of a terminal. The colors only point out;
// nothing is said by them alone.
class Style
{
public:
    explicit Style(bool colored = false) : m_colored(colored) {}

    std::string Good(const std::string& text) const { return Wrap("32", text); }
    std::string Warning(const std::string& text) const { return Wrap("33", text); }
    std::string Bad(const std::string& text) const { return Wrap("31", text); }
    // What is there to find one's way: times, heads of tables.
    std::string Aside(const std::string& text) const { return Wrap("2", text); }
    std::string Head(const std::string& text) const { return Wrap("1", text); }

private:
    std::string Wrap(const char* attribute, const std::string& text) const
    {
        if (!m_colored || text.empty())
            return text;
        return std::string("\x1b[") + attribute + "m" + text + "\x1b[0m";
    }

    bool m_colored;
};
} // namespace lighting_host

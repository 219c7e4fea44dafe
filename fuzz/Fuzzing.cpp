#include "fuzz/Fuzzing.h"

#include "embedded_host/LibraryLog.h"

#include <algorithm>

#include <log4cplus/loglevel.h>

namespace fuzzing
{
namespace
{
int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}
} // namespace

void RequireSame(const std::string& text, const std::string& other, const char* file, int line)
{
    if (text == other)
        return;
    std::fprintf(stderr, "These differ:\n%s\n%s\n", text.c_str(), other.c_str());
    Require(false, file, line);
}

std::vector<std::string> Split(const std::string& text, char separator, std::size_t most)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size() && parts.size() < most;)
    {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

std::uint64_t Number(const std::string& text, std::uint64_t most)
{
    std::uint64_t number = 0;
    for (const char c : text)
    {
        if (c < '0' || c > '9')
            break;
        number = std::min(number * 10 + static_cast<std::uint64_t>(c - '0'), most);
    }
    return number;
}

std::vector<std::uint8_t> Octets(const std::string& hex)
{
    std::vector<std::uint8_t> octets;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2)
    {
        const int high = HexDigit(hex[at]);
        const int low = HexDigit(hex[at + 1]);
        if (high < 0 || low < 0)
            break;
        octets.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return octets;
}

bool TakesLong(const std::string& lines)
{
    constexpr std::size_t MOST_DIGITS = 5;
    std::size_t digits = 0;
    for (std::size_t at = std::min(lines.find("advance_ms"), lines.size()); at < lines.size(); ++at)
    {
        digits = lines[at] >= '0' && lines[at] <= '9' ? digits + 1 : 0;
        if (digits > MOST_DIGITS)
            return true;
    }
    return false;
}

void SilenceLog()
{
    static const bool silent = []
    {
        embedded_host::ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
        return true;
    }();
    Require(silent);
}
} // namespace fuzzing

#include "lighting_host/house/PlainInput.h"

#include <algorithm>
#include <charconv>

namespace lighting_host
{
namespace
{
using Kind = PlainInput::Kind;

constexpr std::size_t MOST_DIGITS = 18;

// Takes tokens from the front of a line. Each operation is false, and the scan is over, when
// something else stands there.
class Scanner
{
public:
    explicit Scanner(std::string_view line) : m_at(line.data()), m_end(m_at + line.size()) {}

    bool Take(char wanted)
    {
        SkipBlanks();
        if (m_at == m_end || *m_at != wanted)
            return false;
        ++m_at;
        return true;
    }

    bool Text(std::string_view& text)
    {
        if (!Take('"'))
            return false;
        const char* const begin = m_at;
        while (m_at != m_end && IsPlain(*m_at))
            ++m_at;
        text = std::string_view(begin, static_cast<std::size_t>(m_at - begin));
        return m_at != m_end && *m_at++ == '"';
    }

    // A name and the colon behind it.
    bool Name(std::string_view& name) { return Text(name) && Take(':'); }

    // As JSON writes it shortest: no zero before other digits, and none with a minus.
    bool Integer(std::string_view& text)
    {
        SkipBlanks();
        const char* const begin = m_at;
        if (m_at != m_end && *m_at == '-')
            ++m_at;
        const char* const digits = m_at;
        while (m_at != m_end && *m_at >= '0' && *m_at <= '9')
            ++m_at;
        const auto count = static_cast<std::size_t>(m_at - digits);
        text = std::string_view(begin, static_cast<std::size_t>(m_at - begin));
        return count > 0 && count <= MOST_DIGITS && (*digits != '0' || text == "0");
    }

    bool NextIsText()
    {
        SkipBlanks();
        return m_at != m_end && *m_at == '"';
    }

    bool AtEnd()
    {
        SkipBlanks();
        return m_at == m_end;
    }

private:
    static bool IsPlain(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

    void SkipBlanks()
    {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\t' || *m_at == '\r' || *m_at == '\n'))
            ++m_at;
    }

    const char* m_at;
    const char* m_end;
};

bool ReadAdvance(Scanner& in, PlainInput& input)
{
    std::string_view digits;
    if (!in.Integer(digits))
        return false;
    input.kind = Kind::AdvanceMs;
    std::from_chars(digits.data(), digits.data() + digits.size(), input.advanceMs);
    return true;
}

bool KindOf(std::string_view word, Kind& kind)
{
    if (word == "trap")
        kind = Kind::Trap;
    else if (word == "command")
        kind = Kind::Command;
    else if (word == "reply")
        kind = Kind::Reply;
    else
        return false;
    return true;
}

bool ReadList(Scanner& in, PlainInput& input)
{
    if (!in.Take('['))
        return false;
    if (in.Take(']'))
        return true;
    do
    {
        std::string_view text;
        if (!in.Text(text) || input.params.size() == MOST_PLAIN_PARAMS)
            return false;
        input.params.push_back(text);
    } while (in.Take(','));
    return in.Take(']');
}

bool ReadNamed(Scanner& in, PlainInput& input)
{
    if (!in.Take('{'))
        return false;
    if (in.Take('}'))
        return true;
    do
    {
        std::string_view name;
        if (!in.Name(name) || input.named.size() == MOST_PLAIN_PARAMS)
            return false;
        PlainInput::Value value{{}, !in.NextIsText()};
        if (value.isNumber ? !in.Integer(value.text) : !in.Text(value.text))
            return false;
        const auto same = [&name](const auto& earlier)
        {
            return earlier.first == name;
        };
        if (std::any_of(input.named.begin(), input.named.end(), same))
            return false;
        input.named.emplace_back(name, value);
    } while (in.Take(','));
    return in.Take('}');
}

bool ReadOfDriver(Scanner& in, PlainInput& input)
{
    std::string_view word;
    if (!in.Text(input.driver) || !in.Take(',') || !in.Name(word) || !KindOf(word, input.kind) ||
        !in.Text(input.subject))
        return false;
    if (!in.Take(','))
        return true;
    if (!in.Name(word) || word != "params")
        return false;
    return input.kind == Kind::Command ? ReadNamed(in, input) : ReadList(in, input);
}
} // namespace

bool ReadPlainInput(const std::string& line, PlainInput& input)
{
    input.named.clear();
    input.params.clear();
    Scanner in(line);
    std::string_view first;
    if (!in.Take('{') || !in.Name(first))
        return false;
    const bool read = first == "driver" ? ReadOfDriver(in, input)
                                        : first == "advance_ms" && ReadAdvance(in, input);
    return read && in.Take('}') && in.AtEnd();
}
} // namespace lighting_host

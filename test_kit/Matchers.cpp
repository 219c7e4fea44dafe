#include "test_kit/Matchers.h"

#include <utility>

namespace test_kit
{
namespace
{
bool BeginsWith(const std::string& line, const std::string& text)
{
    return line.compare(0, text.size(), text) == 0;
}

bool EndsWith(const std::string& line, const std::string& text)
{
    return line.size() >= text.size() &&
           line.compare(line.size() - text.size(), text.size(), text) == 0;
}

EffectMatcher First(Lines lines, const std::string& sentence)
{
    return EffectMatcher(EffectMatcher::Scope::First, "", std::move(lines), sentence);
}
} // namespace

EffectMatcher::EffectMatcher(Scope scope, std::string kind, Lines lines, std::string sentence)
    : m_scope(scope), m_kind(std::move(kind)), m_lines(std::move(lines)),
      m_sentence(std::move(sentence))
{
}

bool EffectMatcher::MatchAndExplain(const Caused& caused, std::ostream* why) const
{
    Lines& effects = caused.List();
    const bool agrees = m_scope == Scope::All ? MatchAll(effects) : MatchFirst(effects);
    if (!agrees && why)
        *why << (effects.empty() ? "nothing was left to look at" : "which was not yet looked at");
    return agrees;
}

bool EffectMatcher::MatchAll(Lines& effects) const
{
    Lines of;
    Lines others;
    for (const std::string& line : effects)
        (BeginsWith(line, m_kind) ? of : others).push_back(line);
    if (of != m_lines)
        return false;
    effects = std::move(others);
    return true;
}

bool EffectMatcher::MatchFirst(Lines& effects) const
{
    for (auto effect = effects.begin(); effect != effects.end(); ++effect)
    {
        for (const std::string& line : m_lines)
        {
            if (!Meets(*effect, line))
                continue;
            effects.erase(effect);
            return true;
        }
    }
    return false;
}

bool EffectMatcher::Meets(const std::string& effect, const std::string& line) const
{
    if (m_scope == Scope::Ending)
        return BeginsWith(effect, m_kind) && EndsWith(effect, line);
    const std::string whole = m_kind + line;
    return BeginsWith(effect, whole) &&
           (effect.size() == whole.size() || effect[whole.size()] == ' ');
}

void EffectMatcher::DescribeTo(std::ostream* out) const
{
    *out << m_sentence;
    // The sentence says it all: what is compared is a part of a line.
    if (m_scope == Scope::Ending)
        return;
    for (const std::string& line : m_lines)
        *out << (&line == &m_lines.front() ? ": " : ", ") << '"' << line << '"';
}

void EffectMatcher::DescribeNegationTo(std::ostream* out) const
{
    *out << "not: ";
    DescribeTo(out);
}

EffectMatcher Fired(unsigned event)
{
    return First({"event " + std::to_string(event)}, "fired the event");
}

EffectMatcher Sent(const std::string& mib)
{
    Lines lines;
    for (const char* const type : {"2", "3", "4", "0", "1"})
        lines.push_back(std::string("mib ") + type + " " + mib);
    return First(std::move(lines), "sent the packet, as one of");
}

EffectMatcher Sent(const std::string& mib, const std::string& params)
{
    return Sent(mib + " " + params);
}

EffectMatcher SentZcl(const std::string& kind, const std::string& details)
{
    return First({"zcl " + kind + (details.empty() ? "" : " " + details)}, "sent the ZCL message");
}

EffectMatcher SentToGateway(const std::string& command)
{
    return First({"gateway " + command}, "sent to the gateway");
}

EffectMatcher SetVariable(unsigned id, const std::string& value)
{
    const std::string begin = "variable set " + std::to_string(id) + " ";
    return EffectMatcher(EffectMatcher::Scope::Ending, begin, {" '" + value + "'"},
                         "set the variable " + std::to_string(id) + " to \"" + value + "\"");
}

EffectMatcher Did(const std::string& text)
{
    return First({text}, "did");
}

EffectMatcher NothingElse()
{
    return EffectMatcher(EffectMatcher::Scope::All, "", {}, "nothing else was caused");
}
} // namespace test_kit

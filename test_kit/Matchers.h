#pragma once

#include "test_kit/OneDriverHouse.h"

#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

// Sentences about what a driver did, for EXPECT_THAT over OneDriverHouse::Effects():
//
//     EXPECT_THAT(house.Effects(), FiredInOrder(6001, 7001));
//     EXPECT_THAT(house.Effects(), Sent("bell.chime", "01"));
//     EXPECT_THAT(house.Effects(), NothingElse());
//
// A matcher that agrees has looked at what it met, and takes it out of the list: what is left is
// what NothingElse tells of, and the house's end. One that does not agree takes nothing. Under
// Not() a matcher takes nothing when the sentence holds.
namespace test_kit
{
// What the matchers are made of: finds what the sentence is about, and takes it out.
class EffectMatcher
{
public:
    using is_gtest_matcher = void;

    enum class Scope
    {
        // Of the effects that begin with `kind`: exactly these lines, in this order.
        All,
        // The first effect that begins with `kind` and one of these lines, up to the end of a word.
        First,
        // The first effect that begins with `kind` and ends with one of these lines.
        Ending,
    };
    EffectMatcher(Scope scope, std::string kind, Lines lines, std::string sentence);

    bool MatchAndExplain(const Caused& caused, std::ostream* why) const;
    void DescribeTo(std::ostream* out) const;
    void DescribeNegationTo(std::ostream* out) const;

private:
    bool MatchAll(Lines& effects) const;
    bool MatchFirst(Lines& effects) const;
    bool Meets(const std::string& effect, const std::string& line) const;

    Scope m_scope;
    std::string m_kind;
    Lines m_lines;
    std::string m_sentence;
};

// The events that fired are these, in this order, and no others.
template <class... Events>
EffectMatcher FiredInOrder(Events... events)
{
    static_assert((std::is_integral_v<Events> && ...), "events are numbers");
    return {EffectMatcher::Scope::All, "event ", Lines{"event " + std::to_string(events)...},
            "fired exactly these events in this order"};
}

// That event fired; others may have.
EffectMatcher Fired(unsigned event);

// A MIB packet of that id was sent, whatever its type; with parameters, one whose parameters are
// these, separated by blanks.
EffectMatcher Sent(const std::string& mib);
EffectMatcher Sent(const std::string& mib, const std::string& params);

// A ZCL message of that kind was sent ("add_group"); with `details`, one with these ("endpoint=1
// group=5").
EffectMatcher SentZcl(const std::string& kind, const std::string& details = "");

// A command of that name left for the RS-485 gateway.
EffectMatcher SentToGateway(const std::string& command);

// The variable was set to that value.
EffectMatcher SetVariable(unsigned id, const std::string& value);

// An effect that reads so (see EffectText.h), or begins so and goes on behind a blank.
EffectMatcher Did(const std::string& text);

// All that was caused has been looked at.
EffectMatcher NothingElse();
} // namespace test_kit

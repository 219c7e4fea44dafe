#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lighting_host
{
class Fields;

// A condition on what a house puts out.
class BreakCondition
{
public:
    // The fields of "when": one of `event` (a number, null for any), `log` (a level: that one and
    // above), `assert`, `fault` (of a driver), `packet` (the name of a mib, zcl or gateway output),
    // `variable` (a name or id, with `above`, `below` or `is`), `text` (stands in the output's
    // JSON); with `driver` only that driver's outputs count. Throws InputError.
    static BreakCondition Read(Fields& when);

    // The same from a JSON text.
    static BreakCondition Parse(const std::string& when);

    // Whether an output meets it. `variable` is the name that a variable was added under, which
    // later outputs of it do not say.
    bool IsMetBy(const embedded_host::Output& output, const std::string& variable) const;

    // What a person is told: `hall fires event 6001`.
    std::string Describe(const embedded_host::Output& output) const;

    // As it was given, as JSON.
    const std::string& Json() const { return m_json; }

    // The driver it is about; empty for any.
    const std::string& Driver() const { return m_driver; }

private:
    using Test = std::function<bool(const embedded_host::Output&, const std::string& variable)>;

    std::string m_json;
    std::string m_driver;
    Test m_test;
};

// The breaks of a house: hears it, and remembers the first one that was met.
class Breaks : public HouseListener
{
public:
    struct Break
    {
        unsigned id = 0;
        BreakCondition condition;
        bool enabled = true;
        // When it was last met and by what number; -1 for not yet.
        std::int64_t metMs = -1;
        std::uint64_t metSeq = 0;
    };
    struct Met
    {
        unsigned id = 0;
        std::int64_t timeMs = 0;
        std::uint64_t seq = 0;
        std::string driver;
        std::string words;
    };

    // How many there may be.
    static constexpr std::size_t MOST = 100;

    // `lastNumber` tells the number of the output that is just being told.
    explicit Breaks(std::function<std::uint64_t()> lastNumber);

    // Returns the id, from 1. Throws InputError when there are too many.
    unsigned Add(BreakCondition condition);
    // Throw InputError for an id that there is not.
    void Enable(unsigned id, bool enabled);
    void Remove(unsigned id);

    const std::vector<Break>& All() const { return m_breaks; }

    // Whether an output has met a break since Take; stays where it is, so that a run can watch it.
    const bool& IsMet() const { return m_isMet; }

    // What was met first; then the next one counts.
    std::optional<Met> Take();

    // Only what this accepts counts as met; empty for everything.
    void SetFilter(std::function<bool(const Met&)> filter) { m_filter = std::move(filter); }

    // While off, nothing is met: a run that is only repeated meets nothing anew.
    void SetOn(bool on) { m_on = on; }

private:
    void OnOutput(const embedded_host::Output& output) override;
    Break& Find(unsigned id);
    void NoteName(const embedded_host::Output& output);
    const std::string& NameOfVariable(const embedded_host::Output& output) const;

    std::function<std::uint64_t()> m_lastNumber;
    std::function<bool(const Met&)> m_filter;
    std::vector<Break> m_breaks;
    // By driver and id.
    std::map<std::pair<std::string, unsigned>, std::string> m_variables;
    std::optional<Met> m_met;
    unsigned m_lastId = 0;
    bool m_isMet = false;
    bool m_on = true;
};
} // namespace lighting_host

#pragma once

#include "lighting_host/text/DidYouMean.h"
#include "lighting_host/text/Duration.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace lighting_host
{
// Options of the command line that say in plain words what is wrong with their value. Included by
// few sources: the parser compiles slowly.

// The words that an option takes, in the order in which they are told, and what they stand for.
template <class Value>
using Choices = std::vector<std::pair<std::string, Value>>;

[[noreturn]] inline void RefuseValue(const std::string& option, const std::string& why)
{
    throw CLI::ValidationError(option, why);
}

// An option whose value is one of some words. `value` must outlive the parser.
template <class Value>
void AddChoice(CLI::App& command, const std::string& option, Value& value,
               const Choices<Value>& choices, const std::string& description)
{
    std::vector<std::string> words;
    std::string list;
    std::string usual;
    for (const auto& choice : choices)
    {
        words.push_back(choice.first);
        list += (list.empty() ? "" : "|") + choice.first;
        if (choice.second == value)
            usual = choice.first;
    }
    command
        .add_option_function<std::string>(
            option,
            [option, &value, choices, words, list](const std::string& text)
            {
                for (const auto& choice : choices)
                {
                    if (choice.first == text)
                    {
                        value = choice.second;
                        return;
                    }
                }
                RefuseValue(option,
                            "\"" + text + "\" is none of " + list + DidYouMeanClause(text, words));
            },
            description)
        ->type_name(list)
        ->default_str(usual);
}

// An option whose value is text that must say something.
inline void AddText(CLI::App& command, const std::string& option, std::string& value,
                    const std::string& typeName, const std::string& description)
{
    command
        .add_option_function<std::string>(
            option,
            [option, &value, typeName](const std::string& text)
            {
                if (text.empty())
                    RefuseValue(option, "the " + typeName + " is empty");
                value = text;
            },
            description)
        ->type_name(typeName);
}

// An option whose value is a length of time, of at least so many milliseconds.
inline void AddTime(CLI::App& command, const std::string& option, std::int64_t& milliseconds,
                    std::int64_t least, const std::string& description)
{
    command
        .add_option_function<std::string>(
            option,
            [option, &milliseconds, least](const std::string& text)
            {
                if (!ParseDuration(text, milliseconds) || milliseconds < least)
                    RefuseValue(option, "\"" + text +
                                            "\" is no time like 90s, 1h30m or 30d (at least " +
                                            std::to_string(least) + "ms; 90 alone is 90 s)");
            },
            description)
        ->type_name("TIME");
}

// An option whose value is a number from 1 to `most`.
inline void AddCount(CLI::App& command, const std::string& option, unsigned& count, unsigned most,
                     const std::string& description)
{
    command
        .add_option_function<std::string>(
            option,
            [option, &count, most](const std::string& text)
            {
                const bool digits = !text.empty() && text.size() < 8 &&
                                    text.find_first_not_of("0123456789") == std::string::npos;
                const unsigned long value = digits ? std::strtoul(text.c_str(), nullptr, 10) : 0;
                if (value < 1 || value > most)
                    RefuseValue(option,
                                "\"" + text + "\" is no number from 1 to " + std::to_string(most));
                count = static_cast<unsigned>(value);
            },
            description)
        ->type_name("N");
}

// An option whose value is what random draws begin with.
inline void AddSeed(CLI::App& command, std::uint64_t& seed, const std::string& description)
{
    command
        .add_option_function<std::string>(
            "--seed",
            [&seed](const std::string& text)
            {
                const char* const end = text.data() + text.size();
                const auto read = std::from_chars(text.data(), end, seed);
                if (read.ec != std::errc() || read.ptr != end)
                    RefuseValue("--seed", "\"" + text + "\" is no whole number from 0 to " +
                                              std::to_string(UINT64_MAX));
            },
            description)
        ->type_name("N");
}
} // namespace lighting_host

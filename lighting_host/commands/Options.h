#pragma once

#include "lighting_host/text/DidYouMean.h"

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
} // namespace lighting_host

#include "lighting_host/commands/CommandTexts.h"

#include "lighting_host/text/Version.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <CLI/CLI.hpp>

namespace lighting_host
{
namespace
{
const std::string PROGRAM = "lighting-host";

// An option of a command as a user writes it.
struct OptionText
{
    std::vector<std::string> names; // with their dashes
    std::string value;              // what its value is called; empty for a flag
    std::vector<std::string> words; // the values that it takes, where they are few
    bool file = false;              // its value is a path
    std::string description;
};

// "a|b|c" in parts; nothing for a name that is no list.
std::vector<std::string> Words(const std::string& list)
{
    std::vector<std::string> words;
    if (list.find('|') == std::string::npos)
        return words;
    std::size_t begin = 0;
    while (begin <= list.size())
    {
        const std::size_t end = std::min(list.find('|', begin), list.size());
        words.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

OptionText TextOf(const CLI::Option& option)
{
    OptionText text;
    for (const std::string& name : option.get_snames())
        text.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        text.names.push_back("--" + name);
    if (option.get_items_expected_max() > 0)
        text.value = option.get_type_name().empty() ? "VALUE" : option.get_type_name();
    text.words = Words(text.value);
    text.file = text.value == "FILE" || text.value == "PATH";
    text.description = option.get_description();
    return text;
}

std::vector<OptionText> OptionsOf(const CLI::App& command)
{
    std::vector<OptionText> options;
    for (const CLI::Option* option : command.get_options())
    {
        if (!option->get_positional())
            options.push_back(TextOf(*option));
    }
    return options;
}

std::vector<const CLI::Option*> PositionalsOf(const CLI::App& command)
{
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string Joined(const std::vector<std::string>& parts, const std::string& between)
{
    std::string all;
    for (const std::string& part : parts)
        all += (all.empty() ? "" : between) + part;
    return all;
}

// `text` with every `character` written as `instead`.
std::string Replaced(const std::string& text, char character, const std::string& instead)
{
    std::string all;
    for (const char c : text)
    {
        if (c == character)
            all += instead;
        else
            all += c;
    }
    return all;
}

// Text as roff shows it unchanged: no escapes, no hyphens where a dash is meant, and no line that
// begins with a request.
std::string Roff(const std::string& text)
{
    std::string safe = Replaced(Replaced(text, '\\', "\\e"), '-', "\\-");
    if (!safe.empty() && (safe[0] == '.' || safe[0] == '\''))
        safe.insert(0, "\\&");
    return safe;
}

std::string ManualOptions(const CLI::App& command)
{
    std::string page;
    for (const OptionText& option : OptionsOf(command))
    {
        page += ".TP\n\\fB" + Roff(Joined(option.names, ", ")) + "\\fR";
        if (!option.value.empty())
            page += " " + (option.words.empty() ? "\\fI" + Roff(option.value) + "\\fR"
                                                : Roff(option.value));
        page += "\n" + Roff(option.description) + ".\n";
    }
    return page;
}

std::string Synopsis(const CLI::App& command)
{
    std::string line = ".B " + PROGRAM + " " + Roff(command.get_name()) + "\n[\\fIOPTION\\fR]...";
    for (const CLI::Option* positional : PositionalsOf(command))
    {
        const bool several = positional->get_items_expected_max() > 1;
        line += " \\fI" + Roff(positional->get_name()) + "\\fR" + (several ? "..." : "");
    }
    return line + "\n";
}

std::string ManualOfCommand(const CLI::App& command)
{
    std::string page = ".SH NAME\n" + Roff(PROGRAM + "-" + command.get_name()) + " \\- " +
                       Roff(command.get_description()) + "\n.SH SYNOPSIS\n" + Synopsis(command);
    page += ".SH DESCRIPTION\n" + Roff(command.get_description()) + ".\n";
    for (const CLI::Option* positional : PositionalsOf(command))
        page += ".TP\n\\fI" + Roff(positional->get_name()) + "\\fR\n" +
                Roff(positional->get_description()) + ".\n";
    return page + ".SH OPTIONS\n" + ManualOptions(command);
}

std::string ManualOfProgram(const CLI::App& app)
{
    std::string page = ".SH NAME\n" + Roff(PROGRAM) +
                       " \\- runs a house of lighting drivers on any machine\n.SH SYNOPSIS\n.B " +
                       Roff(PROGRAM) + "\n\\fICOMMAND\\fR [\\fIOPTION\\fR]...\n.SH DESCRIPTION\n" +
                       Roff(app.get_description()) + "\n.SH COMMANDS\n";
    for (const CLI::App* command : CommandsOf(app))
        page += ".TP\n\\fB" + Roff(command->get_name()) + "\\fR\n" +
                Roff(command->get_description()) + ".\n";
    return page + ".SH OPTIONS\n" + ManualOptions(app);
}

std::string PageName(const CLI::App* command)
{
    return command == nullptr ? PROGRAM : PROGRAM + "-" + command->get_name();
}

// The same on every page.
constexpr const char* STATUS = ".SH EXIT STATUS\n"
                               ".TP\n.B 0\nAll went well.\n"
                               ".TP\n.B 1\nA house, a line, a transcript or a record is wrong or "
                               "differs.\n"
                               ".TP\n.B 2\nThe command line is wrong, or something could not be "
                               "read, written or saved.\n"
                               ".TP\n.B 128+\\fIn\\fR\nSignal \\fIn\\fR ended it early.\n";

std::string SeeAlso(const CLI::App& app, const CLI::App* command)
{
    std::vector<std::string> pages;
    if (command != nullptr)
        pages.push_back("\\fB" + Roff(PROGRAM) + "\\fR(1)");
    for (const CLI::App* other : CommandsOf(app))
    {
        if (other != command && other->get_name() != "help")
            pages.push_back("\\fB" + Roff(PROGRAM + "-" + other->get_name()) + "\\fR(1)");
    }
    for (const char* format : {"-house", "-protocol"})
        pages.push_back("\\fB" + Roff(PROGRAM + format) + "\\fR(5)");
    return ".SH SEE ALSO\n" + Joined(pages, ",\n") + "\n";
}

// In single quotes of a shell.
std::string Quoted(const std::string& text)
{
    return "'" + Replaced(text, '\'', "'\\''") + "'";
}

// Bash: the words before the cursor decide; files where a file is wanted.
std::string Bash(const CLI::App& app)
{
    std::string commands;
    std::string options;
    std::string values;
    for (const CLI::App* command : CommandsOf(app))
    {
        commands += (commands.empty() ? "" : " ") + command->get_name();
        std::string names;
        for (const OptionText& option : OptionsOf(*command))
        {
            names += (names.empty() ? "" : " ") + Joined(option.names, " ");
            if (option.value.empty() || option.file)
                continue;
            values += "        \"" + command->get_name() + " " + option.names.back() +
                      "\") COMPREPLY=($(compgen -W " + Quoted(Joined(option.words, " ")) +
                      " -- \"$word\")); return ;;\n";
        }
        options += "        " + command->get_name() + ") options=" + Quoted(names) + " ;;\n";
    }
    return "# Completes " + PROGRAM +
           " in bash.\n"
           "_lighting_host()\n{\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} "
           "options=\n"
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "        COMPREPLY=($(compgen -W " +
           Quoted(commands + " " + Joined({"--help", "--help-all", "--version"}, " ")) +
           " -- \"$word\"))\n"
           "        return\n    fi\n"
           "    if [ \"${COMP_WORDS[1]}\" = help ] && [ \"${word#-}\" = \"$word\" ]; then\n"
           "        COMPREPLY=($(compgen -W " +
           Quoted(commands) +
           " -- \"$word\"))\n        return\n    fi\n"
           "    case \"${COMP_WORDS[1]} $before\" in\n" +
           values + "    esac\n    case ${COMP_WORDS[1]} in\n" + options +
           "    esac\n"
           "    if [ \"${word#-}\" != \"$word\" ]; then\n"
           "        COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
           "    else\n        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}\n"
           "complete -o filenames -F _lighting_host " +
           PROGRAM + "\n";
}

// What zsh's _arguments needs escaped inside an explanation.
std::string ZshText(const std::string& text)
{
    std::string safe;
    for (const char c : text)
    {
        if (c == '[' || c == ']' || c == ':' || c == '\\')
            safe += '\\';
        safe += c;
    }
    return safe;
}

std::string ZshOption(const OptionText& option, const std::string& name)
{
    std::string spec = name + "[" + ZshText(option.description) + "]";
    if (!option.words.empty())
        spec += ":" + option.names.back().substr(2) + ":(" + Joined(option.words, " ") + ")";
    else if (option.file)
        spec += ":file:_files";
    else if (!option.value.empty())
        spec += ":" + ZshText(option.value) + ": ";
    return "            " + Quoted(spec) + " \\\n";
}

std::string Zsh(const CLI::App& app)
{
    std::string commands;
    std::string cases;
    for (const CLI::App* command : CommandsOf(app))
    {
        commands += "        " +
                    Quoted(ZshText(command->get_name()) + ":" + command->get_description()) + "\n";
        cases += "        " + command->get_name() + ")\n            _arguments \\\n";
        for (const OptionText& option : OptionsOf(*command))
        {
            for (const std::string& name : option.names)
                cases += ZshOption(option, name);
        }
        cases += "            '*:file:_files' ;;\n";
    }
    return "#compdef " + PROGRAM + "\n# Completes " + PROGRAM +
           " in zsh.\n"
           "_lighting_host()\n{\n    local -a commands\n    commands=(\n" +
           commands +
           "    )\n    if (( CURRENT == 2 )); then\n"
           "        _describe command commands\n"
           "        _arguments '--help[Print the help]' '--help-all[Print the help of every "
           "command]' '--version[Print the versions]'\n        return\n    fi\n"
           "    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n" +
           cases + "    esac\n}\n_lighting_host \"$@\"\n";
}

std::string Fish(const CLI::App& app)
{
    std::string script = "# Completes " + PROGRAM + " in fish.\n";
    const std::string start = "complete -c " + PROGRAM;
    for (const char* option : {"help", "help-all", "version"})
        script += start + " -n __fish_use_subcommand -l " + option + "\n";
    for (const CLI::App* command : CommandsOf(app))
    {
        const std::string inside =
            start + " -n '__fish_seen_subcommand_from " + command->get_name() + "'";
        script += start + " -f -n __fish_use_subcommand -a " + command->get_name() + " -d " +
                  Quoted(command->get_description()) + "\n";
        for (const OptionText& option : OptionsOf(*command))
        {
            script += inside;
            for (const std::string& name : option.names)
                script += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
            if (!option.words.empty())
                script += " -x -a " + Quoted(Joined(option.words, " "));
            else if (!option.value.empty())
                script += option.file ? " -r -F" : " -x";
            script += " -d " + Quoted(option.description) + "\n";
        }
    }
    return script;
}

const std::vector<std::pair<std::string, std::string (*)(const CLI::App&)>> SCRIPTS = {
    {"bash", Bash},
    {"zsh", Zsh},
    {"fish", Fish},
};
} // namespace

std::string ManualPage(const CLI::App& app, const CLI::App* command)
{
    return ".TH \"" + Roff(PageName(command)) + "\" 1 \"\" \"" +
           Roff(PROGRAM + " " + ProgramVersion()) + "\" \"User Commands\"\n" +
           (command == nullptr ? ManualOfProgram(app) : ManualOfCommand(*command)) + STATUS +
           SeeAlso(app, command);
}

void WriteManualPages(const CLI::App& app, const std::string& folder)
{
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);
    std::vector<const CLI::App*> pages = CommandsOf(app);
    pages.push_back(nullptr);
    for (const CLI::App* command : pages)
    {
        const std::string path = folder + "/" + PageName(command) + ".1";
        std::ofstream out(path);
        out << ManualPage(app, command);
        out.close();
        if (!out)
            throw std::runtime_error(path + " cannot be written");
    }
}

const std::vector<std::string>& CompletionShells()
{
    static const std::vector<std::string> shells = []
    {
        std::vector<std::string> names;
        names.reserve(SCRIPTS.size());
        for (const auto& script : SCRIPTS)
            names.push_back(script.first);
        return names;
    }();
    return shells;
}

std::string CompletionScript(const CLI::App& app, const std::string& shell)
{
    for (const auto& script : SCRIPTS)
    {
        if (script.first == shell)
            return script.second(app);
    }
    throw std::invalid_argument("there is no completion for \"" + shell + "\"");
}
} // namespace lighting_host

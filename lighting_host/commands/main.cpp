#include "embedded_host/LocalTime.h"
#include "lighting_host/commands/CommandTexts.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/CrashReport.h"
#include "lighting_host/commands/DescriptorInput.h"
#include "lighting_host/commands/DescriptorOutput.h"
#include "lighting_host/commands/FleetCommand.h"
#include "lighting_host/commands/NewDriverCommand.h"
#include "lighting_host/commands/Options.h"
#include "lighting_host/commands/RecordCommandLine.h"
#include "lighting_host/commands/RecordedOptions.h"
#include "lighting_host/commands/Serve.h"
#include "lighting_host/commands/ServeBroker.h"
#include "lighting_host/commands/SoakCommand.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/commands/Terminal.h"
#include "lighting_host/text/Duration.h"
#include "lighting_host/text/Version.h"

#include <fcntl.h>
#include <istream>
#include <memory>
#include <ostream>
#include <random>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <log4cplus/loglevel.h>

namespace
{
using namespace lighting_host;

const Choices<int> LOG_LEVELS = {
    {"trace", log4cplus::TRACE_LOG_LEVEL}, {"debug", log4cplus::DEBUG_LOG_LEVEL},
    {"info", log4cplus::INFO_LOG_LEVEL},   {"warn", log4cplus::WARN_LOG_LEVEL},
    {"error", log4cplus::ERROR_LOG_LEVEL}, {"off", log4cplus::OFF_LOG_LEVEL},
};
const Choices<Verbosity> VERBOSITIES = {
    {"quiet", Verbosity::Quiet},
    {"normal", Verbosity::Normal},
    {"verbose", Verbosity::Verbose},
};
const Choices<FaultLevel> FAULTS = {
    {"none", FaultLevel::None},
    {"light", FaultLevel::Light},
    {"heavy", FaultLevel::Heavy},
};
const Choices<ColorChoice> COLORS = {
    {"auto", ColorChoice::Auto},
    {"always", ColorChoice::Always},
    {"never", ColorChoice::Never},
};
constexpr const char* HELP = "help";

// A file that is opened must not become standard input or output because that was closed; what is
// read from or written to one that was closed stays an error.
void OpenStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void AddDuration(CLI::App& command, const std::string& option, std::int64_t& milliseconds,
                 const std::string& description)
{
    command
        .add_option_function<std::string>(
            option,
            [option, &milliseconds](const std::string& text)
            {
                if (!ParseDuration(text, milliseconds) || milliseconds < 1)
                    RefuseValue(option, "\"" + text +
                                            "\" is no time like 90s, 1h30m or 30d (at least 1ms; "
                                            "90 alone is 90 s)");
            },
            description)
        ->type_name("TIME");
}

void AddStart(CLI::App& command, std::int64_t& startLocalSeconds)
{
    command
        .add_option_function<std::string>(
            "--start",
            [&startLocalSeconds](const std::string& text)
            {
                try
                {
                    startLocalSeconds = embedded_host::ParseLocalTime(text);
                }
                catch (const embedded_host::LocalTimeError& error)
                {
                    RefuseValue("--start", error.what());
                }
            },
            "Local time at virtual start; 2026-01-01T00:00:00 by default")
        ->type_name("TIME");
}

// The options that every command which runs a house has.
void AddSessionOptions(CLI::App& command, SessionOptions& options)
{
    options.startLocalSeconds = embedded_host::ParseLocalTime("2026-01-01T00:00:00");
    AddSeed(command, options.seed,
            "Makes every random draw repeat; 1 by default, but any for run and serve");
    AddChoice(command, "--draw", options.draw, DrawNames(),
              "What a random draw from a to b gives: any value, always a, always b");
    AddStart(command, options.startLocalSeconds);
    AddText(command, "--zone", options.zone, "ZONE",
            "The zone of the wall clock, as in Europe/Berlin: it then knows daylight saving; none "
            "by default, or the machine's in real time");
    AddText(command, "--state", options.statePath, "FILE",
            "The file that the drivers' states are kept in; none by default");
    AddDuration(command, "--persist-every", options.persistIntervalMs,
                "How often the states are saved, as in 10s or 5m; 60s by default");
    AddChoice(command, "--log-level", options.logLevel, LOG_LEVELS,
              "From which level on log records are reported");
}

// The command line: what was asked for, and how.
class CommandLine
{
public:
    CommandLine();

    // Reads the arguments, without the program's name. Throws CLI::ParseError.
    void Parse(std::vector<std::string> arguments);

    // What is wrong, or what was asked to be told, after Parse has thrown. Gives the exit status.
    int Tell(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const;

    // Does what was asked for.
    int Run(std::ostream& out, std::ostream& err);

private:
    void AddRun();
    void AddServe();
    void AddTexts();
    int PrintManual(std::ostream& out, std::ostream& err) const;
    int RunChecked(std::ostream& out, std::ostream& err);
    std::vector<std::string> Commands() const;
    std::string WhatIsWrong(const CLI::ParseError& error) const;

    CLI::App m_app{"Runs drivers of lighting products in an embedded controller host.",
                   "lighting-host"};
    CLI::App* m_stdio;
    CLI::App* m_run;
    CLI::App* m_serve;
    CLI::App* m_check;
    CLI::App* m_validate;
    std::unique_ptr<RecordCommandLine> m_records;
    std::unique_ptr<NewDriverCommand> m_newDriver;
    std::unique_ptr<SoakCommand> m_soak;
    std::unique_ptr<FleetCommand> m_fleet;
    CLI::App* m_manual;
    CLI::App* m_completion;
    std::string m_house;
    SessionOptions m_session;
    RunOptions m_runOptions;
    ServeOptions m_serveOptions;
    ColorChoice m_color = ColorChoice::Auto;
    std::string m_record;
    std::vector<std::string> m_transcripts;
    std::string m_topic;
    std::string m_manualFolder;
    std::string m_shell = CompletionShells().front();
    bool m_virtual = false;
};

CommandLine::CommandLine()
{
    m_app.require_subcommand(1);
    m_app.set_help_all_flag("--help-all", "Print the help of every command");
    m_app.set_version_flag("--version", VersionLine());
    m_session.logLevel = log4cplus::TRACE_LOG_LEVEL;

    m_stdio = m_app.add_subcommand(
        "stdio", "Read input objects from standard input, write output objects to standard output");
    m_stdio->add_option("HOUSE", m_house, "The house file")->required();
    AddText(*m_stdio, "--record", m_record, "FILE",
            "Write the run to this file as a transcript; no other file is overwritten than an "
            "older recording");
    AddSessionOptions(*m_stdio, m_session);

    AddRun();
    AddServe();

    m_check = m_app.add_subcommand("check", "Replay transcripts and compare");
    m_check->add_option("TRANSCRIPT", m_transcripts, "The transcripts")->required();
    AddSessionOptions(*m_check, m_session);

    m_validate = m_app.add_subcommand("validate", "Say what is wrong with a house file");
    m_validate->add_option("HOUSE", m_house, "The house file")->required();

    m_records = std::make_unique<RecordCommandLine>(m_app);
    m_newDriver = std::make_unique<NewDriverCommand>(m_app);
    m_soak = std::make_unique<SoakCommand>(m_app);
    m_fleet = std::make_unique<FleetCommand>(m_app);

    AddTexts();

    for (CLI::App* command : {m_run, m_serve, m_check, m_validate, m_app.get_subcommand("replay"),
                              m_app.get_subcommand("why")})
        AddChoice(*command, "--color", m_color, COLORS,
                  "Colors on a terminal without NO_COLOR in its environment, always or never");
    // Only so that it is listed: it is read before all others.
    m_app.add_subcommand(HELP, "Print the help, or that of a command: help run");
}

void CommandLine::AddRun()
{
    m_run = m_app.add_subcommand("run", "Run a house with its simulated devices");
    m_runOptions.session.logLevel = log4cplus::WARN_LOG_LEVEL;
    m_runOptions.session.seed = std::random_device()();
    m_run->add_option("HOUSE", m_house, "The house file")->required();
    CLI::Option* real = m_run->add_flag("--realtime", "Let time pass as it does (default)");
    m_run->add_flag("--virtual", m_virtual, "Let time pass as fast as it can")->excludes(real);
    AddDuration(*m_run, "--for", m_runOptions.forMs,
                "How long, as in 90s, 1h30m or 30d; a number alone is seconds");
    AddChoice(*m_run, "--tell", m_runOptions.verbosity, VERBOSITIES,
              "What is told as it happens: nothing but the tables at the end (quiet), what people "
              "and the controller do, or every event (verbose)");
    AddChoice(*m_run, "--faults", m_runOptions.faults, FAULTS,
              "Random faults on every link, and power failures");
    AddSessionOptions(*m_run, m_runOptions.session);
    AddLampBrokerOptions(*m_run, m_runOptions.lampBroker);
}

void CommandLine::AddServe()
{
    ServeOptions& options = m_serveOptions;
    m_serve = m_app.add_subcommand("serve", "Let a house live and be seen and used on a web page");
    options.session.logLevel = log4cplus::WARN_LOG_LEVEL;
    options.session.seed = std::random_device()();
    m_serve->add_option("HOUSE", m_house, "The house file")->required();
    m_serve
        ->add_option_function<std::string>(
            "--listen",
            [&options](const std::string& text)
            {
                if (!ParseListen(text, options.web))
                    RefuseValue("--listen", "\"" + text +
                                                "\" is no address and port like 127.0.0.1:8080, "
                                                "[::1]:8080 or 8080");
            },
            "Where the page is served; 127.0.0.1:8080 by default, and port 0 takes a free one")
        ->type_name("ADDRESS:PORT");
    m_serve
        ->add_option_function<std::string>(
            "--speed",
            [&options](const std::string& text)
            {
                if (!ParseSpeed(text, options))
                    RefuseValue("--speed", "\"" + text +
                                               "\" is neither pause nor a number above 0 and up to "
                                               "10000");
            },
            "House seconds a second, or pause to begin with; 1 by default")
        ->type_name("N");
    AddDuration(*m_serve, "--for", options.forMs,
                "How long the house lives on its own clock, as in 90s, 1h30m or 30d");
    AddChoice(*m_serve, "--tell", options.verbosity, VERBOSITIES,
              "What is told as it happens: nothing (quiet), what people and the controller do, or "
              "every event (verbose)");
    AddChoice(*m_serve, "--faults", options.faults, FAULTS,
              "Random faults on every link, and power failures");
    CLI::Option* const bare =
        m_serve->add_flag("--bare", options.bare,
                          "No controller of the house's own: whoever hands in lines is the "
                          "controller, as in stdio; without record and past");
    AddText(*m_serve, "--record", options.record, "FILE",
            "Write a flight record to this file, which must not be there yet");
    bare->excludes(m_serve->get_option("--record"));
    m_serve->add_flag("--record-outputs", options.recordOutputs,
                      "Keep every output in the record too, so that a replay can show both sides");
    AddText(*m_serve, "--token-file", options.tokenFile, "FILE",
            "A file that only you can read; its first line has to be shown by every visitor. "
            "Needed on any address but loopback");
    m_serve
        ->add_option("--host", options.web.hosts,
                     "A name of this machine by which the page may be opened, beside localhost "
                     "and addresses; may come again")
        ->type_name("NAME")
        ->allow_extra_args(false);
    AddBrokerOptions(*m_serve, options.broker);
    AddLampBrokerOptions(*m_serve, options.lampBroker);
    AddSessionOptions(*m_serve, options.session);
}

void CommandLine::AddTexts()
{
    m_manual = m_app.add_subcommand("manual", "Print a manual page, for \"man -l -\"");
    m_manual->add_option("COMMAND", m_topic, "The command that it is about; the program without");
    AddText(*m_manual, "--all", m_manualFolder, "FOLDER", "Write every page into this folder");

    m_completion =
        m_app.add_subcommand("completion", "Print the script that completes commands in a shell");
    m_completion->add_option("SHELL", m_shell, "bash, zsh or fish; bash without")
        ->check(CLI::IsMember(CompletionShells()));
}

int CommandLine::PrintManual(std::ostream& out, std::ostream& err) const
{
    if (!m_manualFolder.empty())
    {
        WriteManualPages(m_app, m_manualFolder);
        return 0;
    }
    const std::vector<std::string> commands = Commands();
    if (!m_topic.empty() && std::find(commands.begin(), commands.end(), m_topic) == commands.end())
    {
        err << "lighting-host: there is no command \"" << m_topic << "\""
            << DidYouMeanClause(m_topic, commands) << '\n';
        return STATUS_CANNOT;
    }
    out << ManualPage(m_app, m_topic.empty() ? nullptr : m_app.get_subcommand(m_topic));
    return 0;
}

std::vector<std::string> CommandLine::Commands() const
{
    std::vector<std::string> names;
    for (const CLI::App* command : m_app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

void CommandLine::Parse(std::vector<std::string> arguments)
{
    // Told before anything else is, such as that something is missing.
    if (!arguments.empty() && arguments.front() == HELP)
    {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    const std::vector<std::string> commands = Commands();
    const std::string word = arguments.empty() ? std::string() : arguments.front();
    if (arguments.empty())
        throw CLI::RequiredError("there is no command; say stdio, run, serve, check, validate, "
                                 "replay, shrink or why",
                                 CLI::ExitCodes::RequiredError);
    if (!word.empty() && word[0] != '-' &&
        std::find(commands.begin(), commands.end(), word) == commands.end())
        throw CLI::ExtrasError("there is no command \"" + word + "\"" +
                                   DidYouMeanClause(word, commands),
                               CLI::ExitCodes::ExtrasError);
    std::reverse(arguments.begin(), arguments.end());
    m_app.parse(std::move(arguments));
}

std::string CommandLine::WhatIsWrong(const CLI::ParseError& error) const
{
    const std::vector<std::string> left = m_app.remaining(true);
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError))
        return error.what();
    const auto chosen = m_app.get_subcommands();
    if (chosen.empty() || left.empty())
        return error.what();
    if (left.front()[0] != '-')
        return "\"" + left.front() + "\" is one word too many";
    std::vector<std::string> options;
    for (const CLI::Option* option : chosen.front()->get_options())
    {
        for (const std::string& name : option->get_lnames())
            options.push_back("--" + name);
    }
    return chosen.front()->get_name() + " has no option " + left.front() +
           DidYouMeanClause(left.front(), options);
}

int CommandLine::Tell(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const
{
    if (error.get_exit_code() == 0)
        return m_app.exit(error, out, err);
    err << "lighting-host: " << WhatIsWrong(error) << "\nRun with --help for more.\n";
    return STATUS_CANNOT;
}

int CommandLine::RunChecked(std::ostream& out, std::ostream& err)
{
    const Style style(HasColor(m_color, STDOUT_FILENO));
    if (*m_check)
    {
        m_session.given = {m_check->count("--seed") > 0, m_check->count("--draw") > 0,
                           m_check->count("--start") > 0, m_check->count("--zone") > 0};
        return RunCheck(m_transcripts, m_session, out, err, style);
    }
    if (*m_validate)
        return RunValidate(m_house, out, style);
    if (m_records->IsAsked())
        return m_records->Run(out, err, style);
    if (*m_newDriver)
        return m_newDriver->Run(out);
    if (*m_soak)
        return m_soak->Run(out, err);
    if (*m_fleet)
        return m_fleet->Run(out, err);
    if (*m_manual)
        return PrintManual(out, err);
    if (*m_completion)
    {
        out << CompletionScript(m_app, m_shell);
        return 0;
    }
    const StopSignals signals;
    if (*m_stdio)
    {
        DescriptorInput standardInput(STDIN_FILENO);
        std::istream in(&standardInput);
        return RunStdio(m_house, m_session, m_record, in, out, err);
    }
    if (*m_serve)
    {
        m_serveOptions.style = style;
        return RunServe(m_house, m_serveOptions, out, err);
    }
    m_runOptions.session.realTime = !m_virtual;
    m_runOptions.terminal = isatty(STDERR_FILENO) != 0;
    m_runOptions.style = style;
    m_runOptions.columns = ColumnsOf(STDOUT_FILENO);
    return RunHouse(m_house, m_runOptions, out, err);
}

int CommandLine::Run(std::ostream& out, std::ostream& err)
{
    const auto complain = [&err](const std::string& what)
    {
        err << "lighting-host: " << what << '\n';
    };
    m_session.complain = complain;
    m_runOptions.session.complain = complain;
    m_serveOptions.session.complain = complain;
    try
    {
        return RunChecked(out, err);
    }
    catch (const lighting_host::DriverNotMade& error)
    {
        err << error.what() << '\n';
        return 1;
    }
    catch (const std::exception& error)
    {
        complain(error.what());
        return STATUS_CANNOT;
    }
}
} // namespace

namespace
{
// What a crash must not take with it.
DescriptorOutput* g_finished = nullptr;
} // namespace

int main(int argc, char** argv)
{
    OpenStandardDescriptors();
    DescriptorOutput standardOutput(STDOUT_FILENO);
    g_finished = &standardOutput;
    lighting_host::CrashReport::Install([] { g_finished->WriteInCrash(); });
    DescriptorOutput standardError(STDERR_FILENO);
    std::ostream out(&standardOutput);
    std::ostream err(&standardError);
    err << std::unitbuf;
    CommandLine commandLine;
    int status = STATUS_CANNOT;
    try
    {
        commandLine.Parse(std::vector<std::string>(argv + 1, argv + argc));
        status = commandLine.Run(out, err);
    }
    catch (const CLI::ParseError& error)
    {
        status = commandLine.Tell(error, out, err);
    }
    // Nobody is told that all went well when some of it was not heard.
    out.flush();
    if (standardOutput.Failure().empty())
        return status;
    err << "lighting-host: standard output: " << standardOutput.Failure() << '\n';
    return STATUS_CANNOT;
}

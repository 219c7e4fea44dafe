#include "embedded_host/LocalTime.h"
#include "lighting_host/commands/Commands.h"
#include "lighting_host/text/Duration.h"

#include <iostream>
#include <map>
#include <random>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <log4cplus/loglevel.h>

namespace
{
using lighting_host::SessionOptions;

const std::map<std::string, int> LOG_LEVELS = {
    {"trace", log4cplus::TRACE_LOG_LEVEL}, {"debug", log4cplus::DEBUG_LOG_LEVEL},
    {"info", log4cplus::INFO_LOG_LEVEL},   {"warn", log4cplus::WARN_LOG_LEVEL},
    {"error", log4cplus::ERROR_LOG_LEVEL}, {"off", log4cplus::OFF_LOG_LEVEL},
};
const std::map<std::string, embedded_host::Draw> DRAWS = {
    {"random", embedded_host::Draw::Random},
    {"low", embedded_host::Draw::Low},
    {"high", embedded_host::Draw::High},
};
const std::map<std::string, lighting_host::Verbosity> VERBOSITIES = {
    {"quiet", lighting_host::Verbosity::Quiet},
    {"normal", lighting_host::Verbosity::Normal},
    {"verbose", lighting_host::Verbosity::Verbose},
};
const std::map<std::string, lighting_host::FaultLevel> FAULTS = {
    {"none", lighting_host::FaultLevel::None},
    {"light", lighting_host::FaultLevel::Light},
    {"heavy", lighting_host::FaultLevel::Heavy},
};

// The options that every command which runs a house has.
void AddSessionOptions(CLI::App& command, SessionOptions& options, std::string& start)
{
    // Without the check a negative number would wrap.
    command
        .add_option("--seed", options.seed,
                    "Makes every random draw repeat; 1 by default, but for run")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--draw", options.draw, "What a random draw gives: random, low or high")
        ->transform(CLI::CheckedTransformer(DRAWS).description("{random,low,high}"))
        ->default_str("random");
    command.add_option("--start", start, "Local time at virtual start")
        ->capture_default_str()
        ->check(
            [&options](const std::string& text)
            {
                try
                {
                    options.startLocalSeconds = embedded_host::ParseLocalTime(text);
                    return std::string();
                }
                catch (const embedded_host::LocalTimeError& error)
                {
                    return std::string(error.what());
                }
            });
    command.add_option("--zone", options.zone,
                       "The zone of the wall clock, as in Europe/Berlin: it then knows daylight "
                       "saving; none by default, or the machine's in real time");
    command.add_option("--state", options.statePath,
                       "The file that the drivers' states are kept in; none by default");
    command
        .add_option_function<std::string>(
            "--persist-every",
            [&options](const std::string& text)
            {
                if (!lighting_host::ParseDuration(text, options.persistIntervalMs) ||
                    options.persistIntervalMs < 1)
                    throw CLI::ValidationError("--persist-every",
                                               "\"" + text + "\" is no time like 10s or 5m");
            },
            "How often the states are saved, as in 10s or 5m; 60s by default")
        ->type_name("TIME");
    options.complain = [](const std::string& what)
    {
        std::cerr << "lighting-host: " << what << '\n';
    };
    command
        .add_option("--log-level", options.logLevel, "From which level log records are reported")
        ->transform(
            CLI::CheckedTransformer(LOG_LEVELS).description("{trace,debug,info,warn,error,off}"));
    options.startLocalSeconds = embedded_host::ParseLocalTime(start);
}
} // namespace

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    // Whoever reads decides when what was written is to be seen.
    std::cin.tie(nullptr);
    CLI::App app("Runs drivers of lighting products in an embedded controller host.",
                 "lighting-host");
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of every command");
    std::string house;
    std::string start = "2026-01-01T00:00:00";
    SessionOptions session;
    session.logLevel = log4cplus::TRACE_LOG_LEVEL;

    CLI::App* stdio = app.add_subcommand(
        "stdio", "Read input objects from standard input, write output objects to standard output");
    std::string record;
    stdio->add_option("HOUSE", house, "The house file")->required();
    stdio->add_option("--record", record, "Write the run to this file as a transcript");
    AddSessionOptions(*stdio, session, start);

    CLI::App* run = app.add_subcommand("run", "Run a house with its simulated devices");
    lighting_host::RunOptions runOptions;
    runOptions.session.logLevel = log4cplus::WARN_LOG_LEVEL;
    bool isVirtual = false;
    run->add_option("HOUSE", house, "The house file")->required();
    CLI::Option* real = run->add_flag("--realtime", "Let time pass as it does (default)");
    run->add_flag("--virtual", isVirtual, "Let time pass as fast as it can")->excludes(real);
    run->add_option_function<std::string>(
           "--for",
           [&runOptions](const std::string& text)
           {
               if (!lighting_host::ParseDuration(text, runOptions.forMs))
                   throw CLI::ValidationError("--for",
                                              "\"" + text + "\" is no time like 90s or 24h");
           },
           "How long, as in 90s, 24h or 30d")
        ->type_name("TIME");
    run->add_option("--tell", runOptions.verbosity,
                    "What is told as it happens: nothing but the tables at the end (quiet), what "
                    "people and the controller do, or every event (verbose)")
        ->transform(CLI::CheckedTransformer(VERBOSITIES).description("{quiet,normal,verbose}"))
        ->default_str("normal");
    run->add_option("--faults", runOptions.faults,
                    "Random faults on every link, and power failures: none, light or heavy")
        ->transform(CLI::CheckedTransformer(FAULTS).description("{none,light,heavy}"))
        ->default_str("none");
    runOptions.session.seed = std::random_device()();
    AddSessionOptions(*run, runOptions.session, start);

    CLI::App* check = app.add_subcommand("check", "Replay transcripts and compare");
    std::vector<std::string> transcripts;
    check->add_option("TRANSCRIPT", transcripts, "The transcripts")->required();
    AddSessionOptions(*check, session, start);

    CLI::App* validate = app.add_subcommand("validate", "Say what is wrong with a house file");
    validate->add_option("HOUSE", house, "The house file")->required();

    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        const int status = app.exit(error);
        return status == 0 ? 0 : 2;
    }
    try
    {
        if (*stdio)
            return lighting_host::RunStdio(house, session, record, std::cin, std::cout, std::cerr);
        if (*check)
            return lighting_host::RunCheck(transcripts, session, std::cout, std::cerr);
        if (*validate)
            return lighting_host::RunValidate(house, std::cout);
        runOptions.session.realTime = !isVirtual;
        runOptions.terminal = isatty(STDERR_FILENO) != 0;
        return lighting_host::RunHouse(house, runOptions, std::cout, std::cerr);
    }
    catch (const std::exception& error)
    {
        std::cerr << "lighting-host: " << error.what() << '\n';
        return 2;
    }
}

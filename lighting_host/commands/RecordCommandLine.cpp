#include "lighting_host/commands/RecordCommandLine.h"

#include "lighting_host/commands/DescriptorInput.h"
#include "lighting_host/commands/Options.h"
#include "lighting_host/commands/StopSignals.h"

#include <istream>
#include <unistd.h>

namespace lighting_host
{
namespace
{
constexpr unsigned MOST_JOBS = 1024;
constexpr unsigned MOST_DRAWS = 100000;

void AddSymptom(CLI::App& command, Until& until)
{
    command
        .add_option("--until-event", until.events, "Up to an event of a driver, as in hall:6001")
        ->type_name("DRIVER:EVENT")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command.add_flag("--until-warning", until.warning,
                     "Up to the first record of the log that warns, or worse");
    command.add_flag("--until-fault", until.fault,
                     "Up to the first failure of a driver, or assertion of the library");
    command
        .add_option("--until-break", until.whens,
                    R"(Up to what meets a break's "when", as in {"packet":"LV","driver":"hall"})")
        ->type_name("WHEN")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void RequireSymptom(const Until& until)
{
    if (!until.HasSymptom())
        throw CLI::RequiredError("say what to look for, with --until-event, --until-warning, "
                                 "--until-fault or --until-break",
                                 CLI::ExitCodes::RequiredError);
}
} // namespace

RecordCommandLine::RecordCommandLine(CLI::App& app)
{
    AddReplay(app);
    AddShrink(app);
    AddWhy(app);
}

void RecordCommandLine::AddReplay(CLI::App& app)
{
    m_replay = app.add_subcommand("replay", "Run a flight record again and compare");
    m_replay->add_option("FILE", m_record, "The flight record")->required();
    AddTime(*m_replay, "--until", m_replayOptions.until.timeMs, 0,
            "Only up to this time since the start, as in 3h14m7.250s");
    AddSymptom(*m_replay, m_replayOptions.until);
    m_replay
        ->add_option_function<std::vector<std::string>>(
            "--library",
            [this](const std::vector<std::string>& all)
            {
                for (const std::string& one : all)
                {
                    const std::size_t sign = one.find('=');
                    if (sign == std::string::npos || sign == 0 || sign + 1 == one.size())
                        RefuseValue("--library", "\"" + one + "\" is no NAME=PATH");
                    m_replayOptions.replay.libraries[one.substr(0, sign)] = one.substr(sign + 1);
                }
            },
            "The driver of that name, or all of that type, comes from another shared object")
        ->type_name("NAME=PATH")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddText(*m_replay, "--folder", m_replayOptions.replay.folder, "FOLDER",
            "What the house's own paths are relative to; where the house file was by default");
    m_replay->add_flag("--outputs", m_replayOptions.outputs,
                       "Write every output too, as one JSON object a line");
    CLI::Option* byHand =
        m_replay->add_flag("--stdio", m_replayOptions.stdio,
                           "Go on from there by hand: input lines from standard input");
    m_replay->add_flag("--serve", m_serves, "Go on from there on a web page, as serve does")
        ->excludes(byHand);
    m_replay
        ->add_option_function<std::string>(
            "--listen",
            [this](const std::string& text)
            {
                if (!ParseListen(text, m_serveOptions.web))
                    RefuseValue("--listen", "\"" + text +
                                                "\" is no address and port like 127.0.0.1:8080, "
                                                "[::1]:8080 or 8080");
            },
            "Where the page is served; 127.0.0.1:8080 by default, and port 0 takes a free one")
        ->type_name("ADDRESS:PORT");
    AddText(*m_replay, "--token-file", m_serveOptions.tokenFile, "FILE",
            "A file that only you can read; its first line has to be shown by every visitor");
}

void RecordCommandLine::AddShrink(CLI::App& app)
{
    m_shrink =
        app.add_subcommand("shrink", "Find the least of a flight record that still shows it");
    m_shrink->add_option("FILE", m_record, "The flight record")->required();
    AddSymptom(*m_shrink, m_shrinkOptions.until);
    AddText(*m_shrink, "--to", m_shrinkOptions.to, "FILE",
            "Where the smaller record goes; FILE.small by default");
    AddText(*m_shrink, "--folder", m_shrinkOptions.folder, "FOLDER",
            "What the house's own paths are relative to; where the house file was by default");
    AddCount(*m_shrink, "--seeds", m_shrinkOptions.seeds, MOST_DRAWS,
             "How many seeds each try has, since what is left out takes its draws with it; 32 by "
             "default");
    AddCount(*m_shrink, "--jobs", m_shrinkOptions.jobs, MOST_JOBS,
             "How many tries at once; as many as there are processors by default");
}

void RecordCommandLine::AddWhy(CLI::App& app)
{
    m_why = app.add_subcommand("why", "Find out since when it could not be avoided");
    m_why->add_option("FILE", m_record, "The flight record")->required();
    AddSymptom(*m_why, m_whyOptions.until);
    AddCount(*m_why, "--draws", m_whyOptions.draws, MOST_DRAWS,
             "How many runs from each moment, with other random draws each; 32 by default");
    AddTime(*m_why, "--within", m_whyOptions.withinMs, 0,
            "How much later than in the record it still counts; 1m by default");
    AddTime(*m_why, "--step", m_whyOptions.stepMs, 1,
            "How finely the moment is looked for; 1s by default");
    m_why->add_flag("--json", m_whyOptions.json, "Write one JSON object, for a plot");
    AddText(*m_why, "--html", m_whyOptions.page, "FILE",
            "Also draw it on a page, which any browser opens; the file must not be there yet");
    AddText(*m_why, "--folder", m_whyOptions.folder, "FOLDER",
            "What the house's own paths are relative to; where the house file was by default");
    AddCount(*m_why, "--jobs", m_whyOptions.jobs, MOST_JOBS,
             "How many runs at once; as many as there are processors by default");
}

bool RecordCommandLine::IsAsked() const
{
    if (*m_shrink)
        RequireSymptom(m_shrinkOptions.until);
    if (*m_why)
        RequireSymptom(m_whyOptions.until);
    return *m_replay || *m_shrink || *m_why;
}

int RecordCommandLine::Run(std::ostream& out, std::ostream& err, const Style& style)
{
    const StopSignals signals;
    const int status = RunAsked(out, err, style);
    // As long as a reader that has gone is no reason to be killed.
    out.flush();
    return status;
}

int RecordCommandLine::RunAsked(std::ostream& out, std::ostream& err, const Style& style)
{
    const bool terminal = isatty(STDERR_FILENO) != 0;
    if (*m_shrink)
    {
        if (m_shrinkOptions.to.empty())
            m_shrinkOptions.to = m_record + ".small";
        m_shrinkOptions.terminal = terminal;
        return RunShrink(m_record, m_shrinkOptions, out, err);
    }
    if (*m_why)
    {
        m_whyOptions.terminal = terminal;
        m_whyOptions.style = style;
        return RunWhy(m_record, m_whyOptions, out, err);
    }
    if (m_serves)
    {
        m_serveOptions.style = style;
        return RunReplayOnPage(m_record, m_replayOptions, m_serveOptions, out, err);
    }
    DescriptorInput standardInput(STDIN_FILENO);
    std::istream in(&standardInput);
    return RunReplay(m_record, m_replayOptions, in, out, err, style);
}
} // namespace lighting_host

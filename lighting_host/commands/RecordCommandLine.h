#pragma once

#include "lighting_host/commands/RecordCommands.h"
#include "lighting_host/commands/Serve.h"

#include <iosfwd>
#include <string>

namespace CLI
{
class App;
}

namespace lighting_host
{
// The part of the command line that is about flight records: replay, shrink and why.
class RecordCommandLine
{
public:
    // Adds the commands; `app` must outlive this.
    explicit RecordCommandLine(CLI::App& app);

    // Whether one of them was asked for; after the parse. Throws CLI::ParseError for options that
    // do not go together.
    bool IsAsked() const;

    // Does what was asked for. Gives the exit status.
    int Run(std::ostream& out, std::ostream& err, const Style& style);

private:
    int RunAsked(std::ostream& out, std::ostream& err, const Style& style);
    void AddReplay(CLI::App& app);
    void AddShrink(CLI::App& app);
    void AddWhy(CLI::App& app);

    CLI::App* m_replay = nullptr;
    CLI::App* m_shrink = nullptr;
    CLI::App* m_why = nullptr;
    std::string m_record;
    ReplayCommandOptions m_replayOptions;
    bool m_serves = false;
    ServeOptions m_serveOptions;
    ShrinkCommandOptions m_shrinkOptions;
    WhyCommandOptions m_whyOptions;
};
} // namespace lighting_host

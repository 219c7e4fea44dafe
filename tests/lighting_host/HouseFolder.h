#pragma once

#include "lighting_host/commands/Commands.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace lighting_host
{
// What one command of the program wrote and how it ended.
struct CommandRun
{
    int status = -1;
    // What went to standard output, line by line, and what went to standard error.
    std::vector<std::string> out;
    std::string err;
};

inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// A folder of its own for one test, in which house files and transcripts are written, and the
// program's commands, run in this process on what is there. Goes away with everything in it.
class HouseFolder
{
public:
    HouseFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "house-XXXXXX").string();
        if (!mkdtemp(&name[0]))
            throw std::runtime_error("no folder could be made for the test");
        m_path = name;
    }
    ~HouseFolder() { std::filesystem::remove_all(m_path); }
    HouseFolder(const HouseFolder&) = delete;
    HouseFolder& operator=(const HouseFolder&) = delete;

    // Writes a file and returns its path; the folders on the way are made.
    std::string Write(const std::string& name, const std::string& text) const
    {
        const std::filesystem::path path = m_path / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    }

    std::string Path(const std::string& name) const { return (m_path / name).string(); }

    std::string Read(const std::string& name) const
    {
        std::ifstream file(m_path / name, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // Feeds `input` to stdio over the house file of that name.
    CommandRun Stdio(const std::string& house, const std::string& input,
                     const SessionOptions& options = {}, const std::string& record = {}) const
    {
        std::istringstream in(input);
        return Run(
            [&](std::ostream& out, std::ostream& err) {
                return RunStdio(Path(house), options, record.empty() ? record : Path(record), in,
                                out, err);
            });
    }

    CommandRun Check(const std::vector<std::string>& transcripts,
                     const SessionOptions& options = {}) const
    {
        std::vector<std::string> paths;
        for (const std::string& name : transcripts)
            paths.push_back(Path(name));
        return Run([&](std::ostream& out, std::ostream& err)
                   { return RunCheck(paths, options, out, err); });
    }

    CommandRun Validate(const std::string& house) const
    {
        return Run([&](std::ostream& out, std::ostream&) { return RunValidate(Path(house), out); });
    }

private:
    template <class Command>
    static CommandRun Run(const Command& command)
    {
        std::ostringstream out;
        std::ostringstream err;
        CommandRun run;
        run.status = command(out, err);
        run.out = Lines(out.str());
        run.err = err.str();
        return run;
    }

    std::filesystem::path m_path;
};

// A house of one puck with a load, named "p"; and what it writes when it starts and ends.
inline const std::string ONE_PUCK = R"(<house>
  <driver name="p" type="puck" id="101"><capability name="load_present">true</capability></driver>
</house>
)";
inline const std::vector<std::string> PUCK_STARTS = {
    R"({"t_ms":0,"driver":"p","variable":1014,"name":"Aux 1","value":"0","op":"add"})",
    R"({"t_ms":0,"driver":"p","variable":1015,"name":"Aux 2","value":"0","op":"add"})",
    R"({"t_ms":0,"driver":"p","binding":1,"name":"Aux 1","class":"BUTTON_LINK","op":"add"})",
    R"({"t_ms":0,"driver":"p","binding":2,"name":"Aux 2","class":"BUTTON_LINK","op":"add"})",
};
inline std::vector<std::string> PuckEnds(long ms = 0)
{
    const std::string head = "{\"t_ms\":" + std::to_string(ms) + ",\"driver\":\"p\",";
    return {
        head + R"("binding":1,"name":"Aux 1","class":"BUTTON_LINK","op":"remove"})",
        head + R"("variable":1014,"op":"remove"})",
        head + R"("binding":2,"name":"Aux 2","class":"BUTTON_LINK","op":"remove"})",
        head + R"("variable":1015,"op":"remove"})",
    };
}
} // namespace lighting_host

// Any text as a transcript: it agrees, or differs, or cannot be used, and is told so in words, the
// same each time. A text whose first line is "r" is lines for a house instead: what is recorded of
// them agrees when it is replayed.

#include "fuzz/Fuzzing.h"
#include "lighting_host/commands/Commands.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include <log4cplus/loglevel.h>

namespace
{
using namespace fuzzing;

constexpr char HOUSE[] = R"(<house>
<driver name="p" type="puck" id="101"><config><NUM_BUTTONS>2</NUM_BUTTONS></config></driver>
<driver name="w" type="wired_dimmer" id="104"/>
</house>)";

// A folder of this process with a house and one transcript in it. It goes away at the end of the
// process, if that ends as it should.
class Folder
{
public:
    Folder()
        : m_path(std::filesystem::temp_directory_path() /
                 ("transcripts-" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(m_path);
        Write("house.xml", HOUSE);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Write(const char* name, const std::string& text) const
    {
        const std::string path = (m_path / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

private:
    std::filesystem::path m_path;
};

struct Result
{
    int status;
    std::string out;
    std::string err;

    bool operator==(const Result& other) const
    {
        return status == other.status && out == other.out && err == other.err;
    }
};

lighting_host::SessionOptions Options()
{
    lighting_host::SessionOptions options;
    options.logLevel = log4cplus::TRACE_LOG_LEVEL;
    return options;
}

Result Check(const std::string& path)
{
    std::ostringstream out;
    std::ostringstream err;
    const int status = lighting_host::RunCheck({path}, Options(), out, err);
    return {status, out.str(), err.str()};
}

// Runs the lines and returns the transcript of it.
std::string Record(const Folder& folder, const std::string& lines)
{
    std::istringstream in(lines);
    std::ostringstream out;
    std::ostringstream err;
    const std::string path = folder.Write("recorded.jsonl", "");
    const int status =
        lighting_host::RunStdio(folder.Write("house.xml", HOUSE), Options(), path, in, out, err);
    Require(status == 0 || status == 1);
    return path;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    static const Folder folder;
    const std::string text = Text(data, size);
    if (TakesLong(text))
        return 0;
    if (text.compare(0, 2, "r\n") == 0)
    {
        const Result result = Check(Record(folder, text.substr(2)));
        Require(result.status == 0);
        return 0;
    }
    // A house elsewhere is not the subject: paths lead anywhere, also to files without an end.
    if (text.find("\"house.xml\"") == std::string::npos)
        return 0;
    const std::string path = folder.Write("transcript.jsonl", text);
    const Result result = Check(path);
    Require(result.status >= 0 && result.status <= 2);
    Require(result.status == 0 || !result.out.empty() || !result.err.empty());
    Require(Check(path) == result);
    return 0;
}

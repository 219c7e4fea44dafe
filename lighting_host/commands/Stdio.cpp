#include "lighting_host/commands/Commands.h"
#include "lighting_host/house/Protocol.h"
#include "lighting_host/text/JsonWriter.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr const char* ERROR_KIND = "error";
constexpr const char* LOG_KIND = "log";

// Writes a run as a transcript that `check` can replay. Log records and the drivers' end are left
// out, and so are inputs that are no JSON, which a transcript cannot hold.
class Recorder
{
public:
    Recorder(const std::string& path, const std::string& housePath) : m_file(path)
    {
        const auto folder = std::filesystem::absolute(path).parent_path();
        const auto house = std::filesystem::absolute(housePath).lexically_relative(folder);
        std::string header = "{\"transcript\":\"recorded\",\"house\":";
        AppendJsonText(header, house.generic_string());
        m_file << header << "}\n";
    }

    bool Good() const { return m_file.good(); }

    // Writes what is left; false when not all of it could be written.
    bool Close()
    {
        m_file.close();
        return !m_file.fail();
    }

    void In(const std::string& line)
    {
        m_leftOut = !IsJson(line);
        if (m_leftOut)
            return;
        m_file << "{\"in\":" << WithoutLineEnd(line) << "}\n" << m_outs;
        m_outs.clear();
        m_open = true;
    }

    void Out(const char* kind, const std::string& text)
    {
        if (m_leftOut || std::strcmp(kind, LOG_KIND) == 0)
            return;
        const bool error = std::strcmp(kind, ERROR_KIND) == 0;
        const std::string out = "{\"out\":" + (error ? WithoutNumber(text) : text) + "}\n";
        if (m_open)
            m_file << out;
        else
            m_outs += out;
    }

private:
    static std::string WithoutLineEnd(const std::string& line)
    {
        return line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
    }

    // A transcript counts its inputs; what was skipped here is not among them.
    static std::string WithoutNumber(const std::string& error)
    {
        return error.substr(0, error.rfind(",\"line\":")) + "}";
    }

    std::ofstream m_file;
    // What came before the first input: a transcript has it under that input.
    std::string m_outs;
    bool m_open = false;
    // Whether the present input is left out.
    bool m_leftOut = false;
};
} // namespace

int RunStdio(const std::string& housePath, const SessionOptions& options, const std::string& record,
             std::istream& in, std::ostream& out, std::ostream& err)
{
    HouseFile house;
    if (!LoadHouse(housePath, house, err))
        return 1;
    std::unique_ptr<Recorder> recorder;
    if (!record.empty())
    {
        recorder = std::make_unique<Recorder>(record, housePath);
        if (!recorder->Good())
        {
            err << fmt::format("{}: cannot be written: {}\n", record, std::strerror(errno));
            return 2;
        }
    }
    Protocol protocol(house, options,
                      [&](const char* kind, const std::string& text)
                      {
                          out << text << '\n';
                          if (recorder)
                              recorder->Out(kind, text);
                      });
    protocol.Start();
    out.flush();
    bool allTaken = true;
    std::string line;
    for (unsigned long number = 1; std::getline(in, line); ++number)
    {
        if (IsSkipped(line))
            continue;
        if (recorder)
            recorder->In(line);
        allTaken = protocol.Handle(line, number) && allTaken;
        out << "{\"done\":" << number << "}\n";
        // Whoever waits for the answer gets it; a long input is not slowed by it.
        if (in.rdbuf()->in_avail() <= 0)
            out.flush();
    }
    const bool recorded = !recorder || recorder->Close();
    recorder.reset();
    protocol.Stop();
    out.flush();
    if (!recorded)
    {
        err << fmt::format("{}: could not be written to its end\n", record);
        return 2;
    }
    return allTaken ? 0 : 1;
}
} // namespace lighting_host

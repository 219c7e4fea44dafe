#include "lighting_host/Commands.h"
#include "lighting_host/JsonWriter.h"
#include "lighting_host/Protocol.h"

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
// Writes a run as a transcript that `check` can replay: log records and the drivers' end are left
// out.
class Recorder
{
public:
    Recorder(const std::string& path, const std::string& housePath) : m_file(path)
    {
        const auto folder = std::filesystem::absolute(path).parent_path();
        m_file << "{\"transcript\":\"recorded\",\"house\":" <<
            [&]
        {
            std::string text;
            AppendJsonText(
                text,
                std::filesystem::absolute(housePath).lexically_relative(folder).generic_string());
            return text;
        }() << "}\n";
    }

    bool Good() const { return m_file.good(); }

    void In(const std::string& line)
    {
        m_file << "{\"in\":" << line << "}\n" << m_outs;
        m_outs.clear();
        m_open = true;
    }

    void Out(const char* kind, const std::string& text)
    {
        if (std::strcmp(kind, "log") == 0)
            return;
        const std::string out = "{\"out\":" + text + "}\n";
        if (m_open)
            m_file << out;
        else
            m_outs += out;
    }

private:
    std::ofstream m_file;
    // What came before the first input: a transcript has it under that input.
    std::string m_outs;
    bool m_open = false;
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
    recorder.reset();
    protocol.Stop();
    out.flush();
    return allTaken ? 0 : 1;
}
} // namespace lighting_host

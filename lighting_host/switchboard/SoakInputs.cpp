#include "lighting_host/switchboard/SoakInputs.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/HandledNames.h"
#include "embedded_host/Output.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/switchboard/ChildRun.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <unistd.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using test_kit::Input;

constexpr const char* SOAK = "soak";
// How many inputs a driver lives through; one life in so many is a long one.
constexpr int SHORTEST_LIFE = 5;
constexpr int SHORT_LIFE = 300;
constexpr int LONG_LIFE = 3000;
constexpr int ONE_LONG_IN = 6;
// A handler may ask for more once it has got what it asked for first.
constexpr int ROUNDS = 3;

// --- What drivers listen to ----------------------------------------------------------------------

// What becomes of the house is of no interest.
class Nobody : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output&) override {}
};

// A command that has every parameter that it is asked for, and remembers for which it was asked.
class AskedCommand : public embedded_host::CmdMessage
{
public:
    AskedCommand(std::string name, int value, std::set<std::string>& asked)
        : CmdMessage(std::move(name)), m_value(value), m_text(std::to_string(value)), m_asked(asked)
    {
    }
    bool HasParam(const std::string& name) const override
    {
        m_asked.insert(name);
        return true;
    }
    const std::string& GetParamString(const std::string& name) const override
    {
        m_asked.insert(name);
        return m_text;
    }
    int GetParamInt(const std::string& name) const override
    {
        m_asked.insert(name);
        return m_value;
    }
    unsigned GetParamUInt(const std::string& name) const override
    {
        m_asked.insert(name);
        return static_cast<unsigned>(m_value);
    }
    bool GetParamBool(const std::string& name) const override
    {
        m_asked.insert(name);
        return m_value != 0;
    }

private:
    const int m_value;
    const std::string m_text;
    std::set<std::string>& m_asked;
};

// Words go to the parent as they are found, one a line with a letter for what it is.
void Tell(int answer, char kind, const std::string& word)
{
    if (word.find('\n') != std::string::npos)
        return;
    const std::string line = std::string(1, kind) + word + "\n";
    const ssize_t written = write(answer, line.data(), line.size());
    static_cast<void>(written);
}

void TellWords(int answer, nx::DriverHost& driver)
{
    const embedded_host::HandledNames names = embedded_host::NamesHandledBy(driver);
    for (const std::string& name : names.commands)
        Tell(answer, 'c', name);
    for (const std::string& name : names.conditions)
        Tell(answer, 'c', name);
    for (const std::string& mib : names.mibs)
        Tell(answer, 'm', mib);
    std::set<std::string> told;
    for (int value = 0; value < ROUNDS; ++value)
    {
        for (const std::string& name : names.commands)
        {
            std::set<std::string> asked;
            driver.Command(AskedCommand(name, value, asked), CmdDispatcher::CONTROLLER);
            for (const std::string& param : asked)
                if (told.insert(param).second)
                    Tell(answer, 'p', param);
        }
    }
}

void TellAllWords(int answer, const HouseFile& file, const std::vector<std::string>& drivers)
{
    Nobody nobody;
    SessionOptions options;
    Session session(file, options, nobody);
    session.Start();
    for (const std::string& name : drivers)
    {
        nx::DriverHost* const driver = session.House().Find(name);
        if (driver && driver->Driver())
            TellWords(answer, *driver);
    }
}

// --- Lines ---------------------------------------------------------------------------------------

void AppendMember(std::string& line, const char* name, const std::string& value)
{
    line += fmt::format(",\"{}\":", name);
    AppendJsonText(line, value);
}

std::string Begin(const std::string& driver)
{
    std::string line = "{\"driver\":";
    AppendJsonText(line, driver);
    return line;
}

std::string CommandLine(std::string line, const char* kind, const Input& input)
{
    AppendMember(line, kind, input.name);
    line += ",\"params\":{";
    std::set<std::string> given;
    for (const auto& [name, value] : input.params)
    {
        if (!given.insert(name).second)
            continue;
        line += given.size() > 1 ? "," : "";
        AppendJsonText(line, name);
        line += ':';
        AppendJsonText(line, value);
    }
    return line + "}}";
}

std::string PacketLine(std::string line, const char* kind, const Input& input)
{
    AppendMember(line, kind, input.name);
    line += ",\"params\":[";
    for (const std::string& param : input.hexParams)
    {
        line += &param == &input.hexParams.front() ? "" : ",";
        AppendJsonText(line, param);
    }
    return line + "]}";
}

std::string BoundCallLine(const std::string& line, const Input& input)
{
    std::string call = line + fmt::format(",\"bound_call\":{{\"binding\":{}", input.number);
    AppendMember(call, "kind", input.name);
    AppendMember(call, "xml", input.xml);
    return call + "}}";
}

std::string BindingLine(const std::string& line, std::int64_t binding, bool bound)
{
    return line + fmt::format(",\"binding\":{},\"class\":\"{}\",\"bound\":{}}}", binding,
                              Input::BINDING_CLASS, bound);
}

// The line of an input; empty for one that takes no line.
std::string LineOf(const std::string& driver, const Input& input)
{
    const std::string line = Begin(driver);
    switch (input.kind)
    {
    case Input::Kind::Command:
        return CommandLine(line, "command", input);
    case Input::Kind::Condition:
        return CommandLine(line, "condition", input);
    case Input::Kind::BoundCall:
        return BoundCallLine(line, input);
    case Input::Kind::Binding:
        return BindingLine(line, input.number, input.flag);
    case Input::Kind::Trap:
        return PacketLine(line, "trap", input);
    case Input::Kind::Reply:
        return PacketLine(line, "reply", input);
    case Input::Kind::Online:
        return line + fmt::format(",\"online\":{}}}", input.flag);
    case Input::Kind::Time:
        return fmt::format("{{\"advance_ms\":{}}}", input.number);
    default:
        return std::string();
    }
}

// Draws the lines of one soak.
class Drawing
{
public:
    Drawing(std::uint64_t seed, const test_kit::Vocabulary& words,
            const std::vector<std::string>& drivers)
        : m_words(words), m_drivers(drivers), m_draws(seed, words),
          m_random(~seed, embedded_host::Draw::Random)
    {
    }

    std::vector<RecordInput> Draw(std::int64_t forMs)
    {
        for (const std::string& driver : m_drivers)
            Add(Begin(driver) + ",\"online\":true}");
        int left = LifeLength();
        while (m_nowMs < forMs)
        {
            const std::string& driver = OneOfTheDrivers();
            const Input input = m_draws.Next();
            const std::string line = LineOf(driver, input);
            if (!line.empty())
                Add(line);
            if (input.kind == Input::Kind::Time)
                m_nowMs += input.number;
            if (--left > 0)
                continue;
            Restart(driver);
            left = LifeLength();
        }
        return std::move(m_inputs);
    }

private:
    const std::string& OneOfTheDrivers()
    {
        const int last = static_cast<int>(m_drivers.size()) - 1;
        return m_drivers[static_cast<std::size_t>(m_random.Between(0, last))];
    }

    int LifeLength()
    {
        const bool isLong = m_random.Between(1, ONE_LONG_IN) == 1;
        return m_random.Between(SHORTEST_LIFE, isLong ? LONG_LIFE : SHORT_LIFE);
    }

    // Bindings are broken first: a host tells of them anew.
    void Restart(const std::string& driver)
    {
        const std::string line = Begin(driver);
        for (const unsigned binding : m_words.bindings)
            Add(BindingLine(line, binding, false));
        Add(line + ",\"persist\":true}");
        Add(line + ",\"restart\":true}");
        Add(line + ",\"persist\":true}");
        Add(line + ",\"online\":true}");
    }

    void Add(const std::string& line) { m_inputs.push_back({m_nowMs, SOAK, line}); }

    const test_kit::Vocabulary& m_words;
    const std::vector<std::string>& m_drivers;
    test_kit::AnyInput m_draws;
    embedded_host::Random m_random;
    std::vector<RecordInput> m_inputs;
    std::int64_t m_nowMs = 0;
};
} // namespace

namespace
{
// Half of what is drawn is the driver's own.
void AddAsOften(std::vector<std::string>& words, const std::vector<std::string>& own)
{
    const std::size_t known = words.size();
    while (!own.empty() && words.size() < 2 * known)
        words.insert(words.end(), own.begin(), own.end());
}
} // namespace

test_kit::Vocabulary WordsOf(const HouseFile& file, const std::vector<std::string>& drivers,
                             const std::function<bool()>& goesOn)
{
    const ChildEnd child =
        RunInChild([&](int answer) { TellAllWords(answer, file, drivers); }, goesOn);
    std::vector<std::string> commands;
    std::vector<std::string> params;
    std::vector<std::string> mibs;
    std::istringstream lines(child.answer);
    for (std::string line; std::getline(lines, line);)
    {
        std::vector<std::string>& words = line[0] == 'c'   ? commands
                                          : line[0] == 'p' ? params
                                                           : mibs;
        words.push_back(line.substr(1));
    }
    test_kit::Vocabulary words;
    AddAsOften(words.commands, commands);
    AddAsOften(words.params, params);
    AddAsOften(words.mibs, mibs);
    return words;
}

std::vector<RecordInput> DrawSoakInputs(std::uint64_t seed, const test_kit::Vocabulary& words,
                                        const std::vector<std::string>& drivers, std::int64_t forMs)
{
    return Drawing(seed, words, drivers).Draw(forMs);
}

std::int64_t StampByLines(std::vector<RecordInput>& inputs)
{
    std::int64_t nowMs = 0;
    for (RecordInput& input : inputs)
    {
        input.timeMs = nowMs;
        const Json line = ParseJson(input.line);
        if (line.contains("advance_ms"))
            nowMs += line["advance_ms"].get<std::int64_t>();
    }
    return nowMs;
}
} // namespace lighting_host

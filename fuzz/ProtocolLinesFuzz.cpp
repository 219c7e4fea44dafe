// Any lines for a house of all five types: each is answered in ASCII JSON, a refused one with one
// error in words, and the house still answers afterwards.

#include "fuzz/Fuzzing.h"
#include "lighting_host/switchboard/Protocol.h"

#include <algorithm>

#include <log4cplus/loglevel.h>

namespace
{
using namespace fuzzing;

constexpr std::size_t MOST_LINES = 60;

// The drivers have names of one letter, which inputs find easily.
constexpr char HOUSE[] = R"(<house>
<driver name="p" type="puck" id="101"><config><NUM_BUTTONS>2</NUM_BUTTONS></config></driver>
<driver name="g" type="gen3_keypad" id="102"/>
<driver name="z" type="zigbee_light" id="103"/>
<driver name="w" type="wired_dimmer" id="104"/>
<driver name="v" type="wired_dimmer" id="106"/>
<driver name="e" type="energy_switch" id="105"/>
<load_group id="2"><member>w</member><member>v</member></load_group>
<load_group id="3"><member>v</member><member>w</member></load_group>
</house>)";

using Lines = std::vector<std::string>;

class Run
{
public:
    Run()
        : m_protocol(House(), Options(),
                     [this](const char* kind, const std::string& text) { Write(kind, text); })
    {
        m_protocol.Start();
    }

    void Line(const std::string& line)
    {
        if (lighting_host::IsSkipped(line) || TakesLong(line))
            return;
        m_errors = 0;
        const bool taken = m_protocol.Handle(line, ++m_number);
        Require(taken == (m_errors == 0));
    }

    // Asks what must always be answered, and how.
    void RequireAnswer(const std::string& line, const std::string& part)
    {
        Line(line);
        Require(m_errors == 0);
        Require(!m_written.empty() && m_written.back().find(part) != std::string::npos);
    }

    void Stop() { m_protocol.Stop(); }

    const Lines& Written() const { return m_written; }

private:
    static const lighting_host::HouseFile& House()
    {
        static const lighting_host::HouseFile house = lighting_host::ParseHouseFile(HOUSE, "");
        Require(house.errors.empty());
        return house;
    }

    static lighting_host::SessionOptions Options()
    {
        lighting_host::SessionOptions options;
        options.logLevel = log4cplus::TRACE_LOG_LEVEL;
        return options;
    }

    void Write(const std::string& kind, const std::string& text)
    {
        const bool printable =
            std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
        Require(printable && text.size() > 2 && text.front() == '{' && text.back() == '}');
        const bool error = kind == "error";
        m_errors += error ? 1 : 0;
        Require(text.compare(0, 8, error ? "{\"error\"" : "{\"t_ms\":") == 0);
        m_written.push_back(text);
    }

    Lines m_written;
    unsigned long m_number = 0;
    std::size_t m_errors = 0;
    lighting_host::Protocol m_protocol;
};

Lines RunAll(const Lines& lines)
{
    Run run;
    for (const std::string& line : lines)
        run.Line(line);
    run.RequireAnswer("{\"house\":\"list\"}", "\"name\":\"p\",\"type\":\"puck\",\"id\":101");
    run.RequireAnswer("{\"driver\":\"p\",\"query\":\"hold\"}", "\"answer\":\"hold\"");
    run.RequireAnswer("{\"driver\":\"g\",\"query\":\"bus\"}", "\"answer\":\"bus\"");
    run.RequireAnswer("{\"driver\":\"z\",\"query\":\"scene_map\"}", "\"answer\":\"scene_map\"");
    run.RequireAnswer("{\"driver\":\"w\",\"query\":\"groups\"}", "\"answer\":\"groups\"");
    run.RequireAnswer("{\"driver\":\"e\",\"query\":\"energy\"}", "\"answer\":\"energy\"");
    run.Stop();
    return run.Written();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    const Lines lines = Split(Text(data, size), '\n', MOST_LINES);
    // The same lines cause the same octets; looked at for some, because it costs a second run. Both
    // are called from one place, because records of the calls that led to a warning name it.
    Lines written;
    for (int runs = size % 8 == 0 ? 2 : 1; runs > 0; --runs)
    {
        Lines again = RunAll(lines);
        for (std::size_t i = 0; i < written.size(); ++i)
            RequireSame(i < again.size() ? again[i] : std::string(), written[i]);
        written = std::move(again);
    }
    for (const std::string& text : written)
        Require(lighting_host::IsJson(text));
    return 0;
}

// What it costs to keep a flight record: lines that are handed in as in stdio, with and without it.
// The record has each line and a digest of every output.

#include "bench/Bench.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/OutputDigest.h"
#include "lighting_host/switchboard/Protocol.h"

#include <filesystem>
#include <memory>
#include <unistd.h>

namespace
{
using namespace lighting_host;

// Of a house that does nothing but take them.
constexpr unsigned long LINES_A_MS = 100;
constexpr const char* PUCK_HOUSE = R"(<house><driver name="p" type="puck" id="1">
<capability name="load_present">true</capability></driver></house>)";
const std::string LINES[] = {R"({"driver":"p","trap":"nx.dmx.bp","params":["00000007"]})",
                             R"({"driver":"p","trap":"nx.dmx.he","params":["00000007"]})"};

// A record in a file that goes with it.
class Record
{
public:
    Record()
        : m_path(std::filesystem::temp_directory_path() /
                 ("record_bench." + std::to_string(getpid()))),
          m_recorder(std::make_unique<FlightRecorder>(m_path, RecordHead()))
    {
    }
    ~Record()
    {
        m_recorder.reset();
        std::filesystem::remove(m_path);
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    void OnInput(const RecordInput& input) { m_recorder->OnJsonInput(input); }
    void OnOutput(const std::string& text) { m_digest.Add(text); }
    // As at each minute of a house.
    void OnMinute(std::int64_t ms)
    {
        m_recorder->OnDigest({ms, m_digest.Count(), m_digest.Hex(), m_digest.Sums()});
        m_digest.Cut();
    }

private:
    const std::filesystem::path m_path;
    std::unique_ptr<FlightRecorder> m_recorder;
    OutputDigest m_digest;
};

void HandIn(benchmark::State& state, Record* record)
{
    const HouseFile house = ParseHouseFile(PUCK_HOUSE, ".");
    std::string out;
    Protocol protocol(house, SessionOptions(),
                      [&out, record](const char*, const std::string& text)
                      {
                          out += text;
                          out += '\n';
                          if (record)
                              record->OnOutput(text);
                      });
    protocol.Start();
    // A live house keeps its inputs whether it is recorded or not.
    RecordInput inputs[] = {{0, "desk", LINES[0]}, {0, "desk", LINES[1]}};
    unsigned long number = 0;
    for (auto _ : state)
    {
        out.clear();
        RecordInput& input = inputs[number++ % 2];
        protocol.Handle(input.line, number);
        if (!record)
            continue;
        input.timeMs = static_cast<std::int64_t>(number / LINES_A_MS);
        record->OnInput(input);
        if (number % 1000 == 0)
            record->OnMinute(input.timeMs);
    }
    protocol.Stop();
}

void HandInPlain(benchmark::State& state)
{
    HandIn(state, nullptr);
}

void HandInRecorded(benchmark::State& state)
{
    Record record;
    HandIn(state, &record);
}

BENCHMARK(HandInPlain)->Name("input_line/plain");
BENCHMARK(HandInRecorded)->Name("input_line/recorded");
} // namespace

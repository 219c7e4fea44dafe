#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lighting_host
{
// A flight record: everything that makes a run repeatable, as a file of JSON lines.
//
//     {"flight_record":2,"program":"1.0.0","path":"house.xml","house":"<house>...","house_digest":
//      "...","clock":"paced","seed":1,"draw":"random","start":"2026-01-01T00:00:00","zone":"",
//      "log_level":0,"people":true,"faults":"light","persist_ms":60000,"states":{"hall":"<State>..."}}
//     {"t_ms":1200,"from":"ws 1","in":{"driver":"hall",...}}
//     {"t_ms":60000,"outputs":412,"digest":"...","sums":"..."}
//     {"t_ms":61000,"dropped":{"to_ms":30000,"inputs":3,"outputs":200}}
//     {"t_ms":90000,"end":"SIGTERM","outputs":700,"digest":"...","sums":"..."}
//
// Lines may get new fields; a reader skips fields that it does not know, and refuses a version that
// it does not know.

// How the house of a record was moved on.
enum class RecordClock
{
    // By input lines ("advance_ms") alone, as in stdio.
    Lines,
    // By the program, at some speed: before each input, what was due was fired.
    Paced,
};

// The first line of a record.
struct RecordHead
{
    // Version 1 has digests of another form.
    static constexpr int VERSION = 2;
    static constexpr int FIRST_VERSION = 1;
    int version = VERSION;

    std::string program;
    // Where the house file was; what it names is relative to that folder.
    std::string housePath;
    std::string houseText;
    RecordClock clock = RecordClock::Paced;
    std::uint64_t seed = 1;
    // "random", "low" or "high".
    std::string draw = "random";
    // Local time, as in 2026-01-01T00:00:00.
    std::string start;
    std::string zone;
    // log4cplus's number.
    int logLevel = 0;
    // Whether the house had its people, controller and meters, as in `run` and `serve`.
    bool people = false;
    // "none", "light" or "heavy".
    std::string faults = "none";
    // How often the drivers' states were asked for to be saved, in milliseconds; 0 for never.
    std::int64_t persistMs = 0;
    // The state that each driver began with, as XML; absent for the house file's own.
    std::map<std::string, std::string> states;
};

// One input line.
struct RecordInput
{
    std::int64_t timeMs = 0;
    // Who handed it in: "stdio", "ws 3", "http 1".
    std::string from;
    // The line as it came. Text that is no JSON is kept as well.
    std::string line;
};

// A digest of all outputs before that time.
struct RecordDigest
{
    std::int64_t timeMs = 0;
    std::uint64_t outputs = 0;
    std::string digest;
    // Eight hexadecimal digits for each output since the digest before.
    std::string sums;
};

// A record that cannot be read or written: why, with the line where there is one.
class RecordError : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// A record as it was read.
struct FlightRecord
{
    RecordHead head;
    // Without those that a rewind dropped.
    std::vector<RecordInput> inputs;
    std::vector<RecordDigest> digests;
    // Every output, where the record keeps them; empty where it does not.
    std::vector<std::string> outputs;
    // When it ended; the time of its last line when nothing says so.
    std::int64_t endMs = 0;
    // Whether the run was ended in order.
    bool ended = false;
    // What a reader should be told: a torn last line, lines that were passed over. Empty when all
    // is well.
    std::vector<std::string> warnings;
};

// Reads a record. A last line without its end is passed over with a warning, as SIGKILL leaves it.
// Throws RecordError for anything else that is wrong, with the number of the line.
FlightRecord ReadFlightRecord(const std::string& path);
FlightRecord ParseFlightRecord(const std::string& text);

// The lines of a record, without their line end.
std::string HeadLine(const RecordHead& head);
std::string InputLine(const RecordInput& input);
// The same for a line that is known to be JSON: reading it costs more than all the rest.
std::string JsonInputLine(const RecordInput& input);

// The parts of that line, for who writes many: its head, which tells of time and visitor, as much
// of the input's line as InputSize says, its end.
std::string InputHead(const RecordInput& input);
std::size_t InputSize(const std::string& line);
constexpr std::string_view INPUT_END = "}";
std::string DigestLine(const RecordDigest& digest);
// `text` is the output as the protocol writes it.
std::string OutputLine(std::int64_t timeMs, const std::string& text);
// What a rewind drops: at `timeMs` the run went back to `toMs`, `inputs` inputs do not count any
// more, and `outputs` outputs are left.
struct RecordDrop
{
    std::int64_t timeMs = 0;
    std::int64_t toMs = 0;
    std::uint64_t inputs = 0;
    std::uint64_t outputs = 0;
};
std::string DroppedLine(const RecordDrop& drop);
std::string EndLine(const RecordDigest& digest, const std::string& why);
// The same for a run whose outputs nobody has counted.
std::string EndLine(std::int64_t timeMs, const std::string& why);
} // namespace lighting_host

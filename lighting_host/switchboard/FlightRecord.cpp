#include "lighting_host/switchboard/FlightRecord.h"

#include "lighting_host/house/InputLines.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include <fmt/format.h>
#include <sodium.h>

namespace lighting_host
{
namespace
{
constexpr long long LATEST = std::numeric_limits<long long>::max();
constexpr std::size_t PIECE = 65536;

// Tells a reader that the house's text is the one that was run.
std::string HouseDigest(const std::string& text)
{
    unsigned char hash[16];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(text.data()),
                       text.size(), nullptr, 0);
    char hex[2 * sizeof hash + 1];
    sodium_bin2hex(hex, sizeof hex, hash, sizeof hash);
    return hex;
}

RecordHead ReadHead(Fields& fields)
{
    const long long version = fields.Integer("flight_record", 1, LATEST);
    if (version < RecordHead::FIRST_VERSION || version > RecordHead::VERSION)
        throw InputError(fmt::format("version {} of the format is not known here", version));
    RecordHead head;
    head.version = static_cast<int>(version);
    head.program = fields.TextOr("program", std::string());
    head.housePath = fields.Text("path");
    head.houseText = fields.Text("house");
    if (fields.Text("house_digest") != HouseDigest(head.houseText))
        throw InputError("the house file's text does not agree with its digest");
    const std::string clock = fields.Text("clock");
    if (clock != "lines" && clock != "paced")
        throw InputError("\"clock\" is neither \"lines\" nor \"paced\"");
    head.clock = clock == "lines" ? RecordClock::Lines : RecordClock::Paced;
    head.seed = fields.Get("seed").get<std::uint64_t>();
    head.draw = fields.Text("draw");
    head.start = fields.Text("start");
    head.zone = fields.Text("zone");
    head.logLevel = static_cast<int>(fields.Integer("log_level", 0, 1000000));
    head.people = fields.Boolean("people");
    head.faults = fields.Text("faults");
    head.persistMs = fields.IntegerOr("persist_ms", 0, LATEST, 0);
    const Json& states = fields.Get("states");
    if (!states.is_object())
        throw InputError("\"states\" is no JSON object");
    for (const auto& state : states.items())
        head.states[state.key()] = ToText(state.value(), "states");
    return head;
}

// A digest of a line that has "outputs" and "digest".
RecordDigest ReadDigest(Fields& fields, std::int64_t timeMs)
{
    return {timeMs, static_cast<std::uint64_t>(fields.Integer("outputs", 0, LATEST)),
            fields.Text("digest"), fields.TextOr("sums", std::string())};
}

void Drop(FlightRecord& record, Fields& fields)
{
    Fields dropped(fields.Get("dropped"), "\"dropped\"");
    const std::int64_t toMs = dropped.Integer("to_ms", 0, LATEST);
    const long long inputs =
        dropped.Integer("inputs", 0, static_cast<long long>(record.inputs.size()));
    const auto left = static_cast<std::size_t>(dropped.Integer("outputs", 0, LATEST));
    record.inputs.resize(record.inputs.size() - static_cast<std::size_t>(inputs));
    if (record.outputs.size() > left)
        record.outputs.resize(left);
    while (!record.digests.empty() && record.digests.back().timeMs > toMs)
        record.digests.pop_back();
    record.endMs = toMs;
}

// The input as it came: read and written again, a number could be another.
std::string RawInput(const std::string& line, const Json& input)
{
    const std::string name = ",\"in\":";
    const std::size_t at = line.find(name);
    // Written by somebody else, with blanks or another order.
    const std::string raw = at == std::string::npos
                                ? std::string()
                                : line.substr(at + name.size(), line.rfind('}') - at - name.size());
    return IsJson(raw) ? raw : input.dump();
}

void ReadLine(FlightRecord& record, const std::string& line)
{
    const Json object = ParseJson(line);
    Fields fields(object, "the line");
    const std::int64_t timeMs = fields.Integer("t_ms", 0, LATEST);
    // Only "dropped" goes back.
    if (timeMs < record.endMs)
        throw InputError("the time goes back");
    record.endMs = timeMs;
    if (fields.Has("in"))
        record.inputs.push_back({timeMs, fields.Text("from"), RawInput(line, fields.Get("in"))});
    else if (fields.Has("text"))
        record.inputs.push_back({timeMs, fields.Text("from"), fields.Text("text")});
    else if (fields.Has("dropped"))
        Drop(record, fields);
    else if (fields.Has("out"))
        record.outputs.push_back(fields.Get("out").dump());
    else if (fields.Has("digest"))
        record.digests.push_back(ReadDigest(fields, timeMs));
    record.ended = fields.Has("end");
}
} // namespace

FlightRecord ParseFlightRecord(const std::string& text)
{
    FlightRecord record;
    std::size_t begin = 0;
    for (unsigned long number = 1; begin < text.size(); ++number)
    {
        const std::size_t end = text.find('\n', begin);
        if (end == std::string::npos)
        {
            record.warnings.push_back(
                fmt::format("line {}: is not whole; the record was cut off there", number));
            break;
        }
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        try
        {
            if (number > 1)
            {
                ReadLine(record, line);
                continue;
            }
            const Json object = ParseJson(line);
            Fields fields(object, "the first line");
            record.head = ReadHead(fields);
        }
        catch (const InputError& error)
        {
            throw RecordError(fmt::format("line {}: {}", number, error.Message()));
        }
        catch (const std::exception& error)
        {
            throw RecordError(fmt::format("line {}: {}", number, error.what()));
        }
    }
    if (record.head.houseText.empty())
        throw RecordError("this is no flight record: it has no first line");
    return record;
}

FlightRecord ReadFlightRecord(const std::string& path)
{
    // Not a stream, which would take a folder for an empty file.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               &std::fclose);
    std::string text;
    std::size_t got = file ? PIECE : 0;
    while (got == PIECE)
    {
        const std::size_t size = text.size();
        text.resize(size + PIECE);
        got = std::fread(&text[size], 1, PIECE, file.get());
        text.resize(size + got);
    }
    if (!file || std::ferror(file.get()) != 0)
        throw RecordError(fmt::format("cannot be read: {}", std::strerror(errno)));
    return ParseFlightRecord(text);
}

std::string HeadLine(const RecordHead& head)
{
    std::string line = fmt::format(
        "{{\"flight_record\":{},\"program\":{},\"path\":{},\"house\":{},\"house_digest\":\"{}\","
        "\"clock\":\"{}\",\"seed\":{},\"draw\":{},\"start\":{},\"zone\":{},\"log_level\":{},"
        "\"people\":{},\"faults\":{},\"persist_ms\":{},\"states\":{{",
        head.version, JsonText(head.program), JsonText(head.housePath), JsonText(head.houseText),
        HouseDigest(head.houseText), head.clock == RecordClock::Lines ? "lines" : "paced",
        head.seed, JsonText(head.draw), JsonText(head.start), JsonText(head.zone), head.logLevel,
        head.people, JsonText(head.faults), head.persistMs);
    const char* comma = "";
    for (const auto& [driver, state] : head.states)
    {
        line += fmt::format("{}{}:{}", comma, JsonText(driver), JsonText(state));
        comma = ",";
    }
    return line + "}}";
}

std::string InputLine(const RecordInput& input)
{
    if (IsJson(input.line))
        return JsonInputLine(input);
    return fmt::format("{{\"t_ms\":{},\"from\":{},\"text\":{}{}", input.timeMs,
                       JsonText(input.from), JsonText(input.line), INPUT_END);
}

std::string JsonInputLine(const RecordInput& input)
{
    return InputHead(input).append(input.line, 0, InputSize(input.line)).append(INPUT_END);
}

std::string InputHead(const RecordInput& input)
{
    return fmt::format("{{\"t_ms\":{},\"from\":{},\"in\":", input.timeMs, JsonText(input.from));
}

std::size_t InputSize(const std::string& line)
{
    std::size_t size = line.size();
    while (size > 0 && (line[size - 1] == ' ' || line[size - 1] == '\t' || line[size - 1] == '\r' ||
                        line[size - 1] == '\n'))
        --size;
    return size;
}

std::string DigestLine(const RecordDigest& digest)
{
    return fmt::format("{{\"t_ms\":{},\"outputs\":{},\"digest\":\"{}\",\"sums\":\"{}\"}}",
                       digest.timeMs, digest.outputs, digest.digest, digest.sums);
}

std::string OutputLine(std::int64_t timeMs, const std::string& text)
{
    return fmt::format("{{\"t_ms\":{},\"out\":{}}}", timeMs, text);
}

std::string DroppedLine(const RecordDrop& drop)
{
    return fmt::format("{{\"t_ms\":{},\"dropped\":{{\"to_ms\":{},\"inputs\":{},\"outputs\":{}}}}}",
                       drop.timeMs, drop.toMs, drop.inputs, drop.outputs);
}

std::string EndLine(const RecordDigest& digest, const std::string& why)
{
    return fmt::format(
        "{{\"t_ms\":{},\"end\":{},\"outputs\":{},\"digest\":\"{}\",\"sums\":\"{}\"}}",
        digest.timeMs, JsonText(why), digest.outputs, digest.digest, digest.sums);
}

std::string EndLine(std::int64_t timeMs, const std::string& why)
{
    return fmt::format("{{\"t_ms\":{},\"end\":{}}}", timeMs, JsonText(why));
}
} // namespace lighting_host

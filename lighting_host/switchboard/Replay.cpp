#include "lighting_host/switchboard/Replay.h"

#include "embedded_host/LocalTime.h"
#include "embedded_host/StateStore.h"
#include "lighting_host/switchboard/HouseActions.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
FaultLevel FaultLevelOf(const std::string& name)
{
    for (const FaultLevel level : {FaultLevel::None, FaultLevel::Light, FaultLevel::Heavy})
        if (NameOf(level) == name)
            return level;
    throw RecordError(fmt::format("\"{}\" is no level of faults", name));
}

embedded_host::Draw DrawOf(const std::string& name)
{
    if (name == "random")
        return embedded_host::Draw::Random;
    if (name == "low")
        return embedded_host::Draw::Low;
    if (name == "high")
        return embedded_host::Draw::High;
    throw RecordError(fmt::format("\"{}\" is none of random, low, high", name));
}

// What the drivers began with takes the place of what the house file says.
void ApplyStates(HouseFile& file, const std::map<std::string, std::string>& states)
{
    for (HouseFileDriver& driver : file.drivers)
    {
        const auto state = states.find(driver.name);
        if (state == states.end())
            continue;
        const auto document = nx::CreateXmlDocument(state->second);
        if (!document)
            throw RecordError(fmt::format("the state of \"{}\" is no XML", driver.name));
        driver.state = document->GetRoot();
    }
}
} // namespace

HouseFile HouseOf(const FlightRecord& record, const ReplayOptions& options)
{
    const std::string folder =
        options.folder.empty() ? std::filesystem::path(record.head.housePath).parent_path().string()
                               : options.folder;
    HouseFile file = ParseHouseFile(record.head.houseText, folder);
    if (!file.errors.empty())
        throw RecordError(fmt::format("the record's house is not right: line {}: {}",
                                      file.errors[0].line, file.errors[0].what));
    for (const auto& [name, path] : options.libraries)
    {
        const auto driver = std::find_if(file.drivers.begin(), file.drivers.end(),
                                         [&name = name](const HouseFileDriver& one)
                                         { return one.name == name || one.type == name; });
        if (driver == file.drivers.end())
            throw RecordError(fmt::format("there is no driver or type \"{}\"", name));
        for (HouseFileDriver& one : file.drivers)
            if (one.name == name || one.type == name)
                one.library = std::filesystem::absolute(path).string();
    }
    ApplyStates(file, record.head.states);
    return file;
}

HouseRun::Options RunOptionsOf(const FlightRecord& record)
{
    const RecordHead& head = record.head;
    HouseRun::Options options;
    options.session.seed = head.seed;
    options.session.draw = DrawOf(head.draw);
    options.session.startLocalSeconds = embedded_host::ParseLocalTime(head.start);
    options.session.zone = head.zone;
    options.session.logLevel = head.logLevel;
    if (head.persistMs > 0)
    {
        // Asked for as they were then, and kept nowhere.
        options.session.statePath = head.housePath;
        options.session.persistIntervalMs = head.persistMs;
        options.session.makeStore = []
        {
            return std::make_unique<embedded_host::NoStateStore>();
        };
        options.session.complain = [](const std::string&) {
        };
    }
    options.faults = FaultLevelOf(head.faults);
    options.people = head.people;
    options.linesMoveTime = head.clock == RecordClock::Lines;
    return options;
}

Replay::Replay(const FlightRecord& record, const HouseFile& file, const HouseRun::Options& options,
               Breaks* breaks)
    : m_record(record), m_breaks(breaks)
{
    HouseRun::Sinks sinks;
    sinks.onMinute = [this](std::int64_t timeMs, const OutputDigest& digest)
    {
        OnMinute(timeMs, digest);
    };
    sinks.onOutputText = [this](const char*, std::int64_t, const std::string& text)
    {
        m_minute.push_back(text);
    };
    m_run = std::make_unique<HouseRun>(file, options, std::move(sinks));
    if (m_breaks)
        m_run->AddListener(*m_breaks);
    m_run->Start();
}

Replay::~Replay()
{
    if (m_breaks)
        m_breaks->SetOn(false);
    m_run->Mute();
}

void Replay::OnMinute(std::int64_t timeMs, const OutputDigest& digest)
{
    if (m_nextDigest < m_record.digests.size() && m_record.digests[m_nextDigest].timeMs == timeMs &&
        !m_difference)
        Compare(m_record.digests[m_nextDigest], digest);
    m_minuteFirst += m_minute.size();
    m_minute.clear();
}

void Replay::Compare(const RecordDigest& recorded, const OutputDigest& digest)
{
    if (recorded.digest == digest.Hex() && recorded.outputs == digest.Count())
    {
        ++m_nextDigest;
        return;
    }
    Difference found;
    found.minuteMs = recorded.timeMs;
    found.recordedCount = recorded.outputs;
    found.hereCount = digest.Count();
    const std::string& here = digest.Sums();
    std::size_t index = 0;
    const auto same = [&](std::size_t at)
    {
        return here.compare(at * OutputDigest::SUM_DIGITS, OutputDigest::SUM_DIGITS, recorded.sums,
                            at * OutputDigest::SUM_DIGITS, OutputDigest::SUM_DIGITS) == 0;
    };
    const std::size_t both = std::min(here.size(), recorded.sums.size()) / OutputDigest::SUM_DIGITS;
    while (index < both && same(index))
        ++index;
    found.output = m_minuteFirst + index;
    if (index < m_minute.size())
        found.here = m_minute[index];
    found.isKept = !m_record.outputs.empty();
    if (found.isKept && found.output <= m_record.outputs.size())
        found.recorded = m_record.outputs[found.output - 1];
    m_difference = std::move(found);
    m_stop = true;
}

void Replay::HandIn(const RecordInput& input)
{
    const bool isAction = IsHouseAction(input.line);
    if (!isAction)
    {
        m_run->HandIn(input.from, input.line, m_next);
        return;
    }
    m_run->Do(input.from, input.line, PrepareHouseAction(*m_run, input.line));
}

bool Replay::RunTo(std::int64_t ms)
{
    const bool lines = m_record.head.clock == RecordClock::Lines;
    const bool never = false;
    const bool& isMet = m_breaks ? m_breaks->IsMet() : never;
    const std::int64_t end = std::min(ms, m_record.endMs);
    while (!m_stop && !isMet)
    {
        const bool hasInput =
            m_next < m_record.inputs.size() && m_record.inputs[m_next].timeMs <= end;
        const std::int64_t to = hasInput ? m_record.inputs[m_next].timeMs : end;
        if (!lines && m_breaks)
            m_run->AdvanceTo(to, isMet);
        else if (!lines)
            m_run->AdvanceTo(to);
        if (isMet || m_stop || !hasInput)
            break;
        HandIn(m_record.inputs[m_next++]);
    }
    return !m_stop && !isMet &&
           (m_run->NowMs() < m_record.endMs || m_next < m_record.inputs.size());
}

void Replay::RunToEnd()
{
    RunTo(m_record.endMs);
}
} // namespace lighting_host

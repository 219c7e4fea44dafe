#include "lighting_host/switchboard/Replay.h"

#include "embedded_host/LocalTime.h"
#include "embedded_host/StateStore.h"
#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/HouseText.h"
#include "lighting_host/text/Json.h"
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
    std::string text = record.head.houseText;
    if (!options.libraries.empty())
    {
        HouseText house(text);
        for (const auto& [name, path] : options.libraries)
            if (!house.SetLibrary(name, std::filesystem::absolute(path).string()))
                throw RecordError(fmt::format("there is no driver or type \"{}\" in it", name));
        text = house.Text();
    }
    HouseFile file = ParseHouseFile(text, folder);
    if (!file.errors.empty())
        throw RecordError(fmt::format("its house is not right: line {}: {}", file.errors[0].line,
                                      file.errors[0].what));
    ApplyStates(file, record.head.states);
    return file;
}

HouseRun::Options RunOptionsOf(const FlightRecord& record)
{
    const RecordHead& head = record.head;
    HouseRun::Options options;
    options.session.seed = head.seed;
    options.session.draw = DrawOf(head.draw);
    try
    {
        options.session.startLocalSeconds = embedded_host::ParseLocalTime(head.start);
    }
    catch (const embedded_host::LocalTimeError& error)
    {
        throw RecordError(error.what());
    }
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
    options.digest = head.version == 1 ? OutputDigest::Form::Text : OutputDigest::Form::Hashes;
    options.linesMoveTime = head.clock == RecordClock::Lines;
    return options;
}

Replay::Replay(const FlightRecord& record, const HouseFile& file, const HouseRun::Options& options,
               Hooks hooks)
    : m_record(record), m_hooks(std::move(hooks)), m_inputs(record.inputs.size())
{
    HouseRun::Sinks sinks;
    sinks.onMinute = [this](std::int64_t timeMs, const OutputDigest& digest)
    {
        OnMinute(timeMs, digest);
    };
    const bool compares = !record.digests.empty();
    if (compares || m_hooks.onOutput)
        sinks.onOutputText =
            [this, compares](const char*, std::int64_t timeMs, const std::string& text)
        {
            if (compares)
                m_minute.push_back(text);
            if (m_hooks.onOutput)
                m_hooks.onOutput(timeMs, text);
        };
    if (m_hooks.onAnswer)
        sinks.onAnswer = [this](const char*, const std::string& text)
        {
            m_hooks.onAnswer(text);
        };
    m_run = std::make_unique<HouseRun>(file, options, std::move(sinks));
    if (m_hooks.breaks)
        m_run->AddListener(*m_hooks.breaks);
    m_run->Start();
}

Replay::~Replay()
{
    if (m_hooks.breaks)
        m_hooks.breaks->SetOn(false);
    m_run->Mute();
}

void Replay::OnMinute(std::int64_t timeMs, const OutputDigest& digest)
{
    if (m_nextDigest < m_record.digests.size() && m_record.digests[m_nextDigest].timeMs == timeMs &&
        !m_difference)
        Compare(m_record.digests[m_nextDigest], digest);
    if (m_hooks.onMinute)
        m_hooks.onMinute(timeMs, digest);
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
    m_difference = Difference();
    m_difference->minuteMs = recorded.timeMs;
    m_difference->recordedCount = recorded.outputs;
    m_difference->hereCount = digest.Count();
    FindFirst(digest.Sums(), recorded.sums);
    m_stop = true;
}

void Replay::FindFirst(const std::string& sums, const std::string& recordedSums)
{
    constexpr std::size_t DIGITS = OutputDigest::SUM_DIGITS;
    Difference& found = *m_difference;
    const auto sumAt = [](const std::string& all, std::size_t index)
    {
        return index * DIGITS < all.size() ? all.substr(index * DIGITS, DIGITS) : std::string();
    };
    const std::size_t most = std::max(sums.size(), recordedSums.size()) / DIGITS;
    std::size_t index = 0;
    while (index < most && sumAt(sums, index) == sumAt(recordedSums, index))
        ++index;
    // The sums agree though the digests do not.
    if (index == most)
        return;
    found.output = m_minuteFirst + index;
    found.recordedSum = sumAt(recordedSums, index);
    if (index < m_minute.size())
        found.here = m_minute[index];
    found.isKept = !m_record.outputs.empty();
    if (found.isKept && !found.recordedSum.empty() && found.output <= m_record.outputs.size())
        found.recorded = m_record.outputs[found.output - 1];
}

void Replay::HandIn(const RecordInput& input)
{
    if (m_hooks.onInput)
        m_hooks.onInput(input);
    if (!IsHouseAction(input.line))
    {
        m_run->HandIn(input.from, input.line, m_next);
        return;
    }
    std::function<void()> action;
    try
    {
        action = PrepareHouseAction(*m_run, input.line);
    }
    catch (const InputError&)
    {
        // It was taken then; in this house, which may be another, it does nothing.
        return;
    }
    m_run->Do(input.from, input.line, action);
}

bool Replay::RunTo(std::int64_t ms)
{
    const bool lines = m_record.head.clock == RecordClock::Lines;
    const bool never = false;
    const bool& isMet = m_hooks.breaks ? m_hooks.breaks->IsMet() : never;
    const std::int64_t end = std::min(ms, m_record.endMs);
    const auto hasInput = [this, end]
    {
        return m_next < m_inputs && m_record.inputs[m_next].timeMs <= end;
    };
    while (!m_stop && !isMet)
    {
        const bool handsIn = hasInput();
        const std::int64_t to = handsIn ? m_record.inputs[m_next].timeMs : end;
        if (!lines && m_hooks.breaks)
            m_run->AdvanceTo(to, isMet);
        else if (!lines)
            m_run->AdvanceTo(to);
        if (isMet || m_stop || !handsIn)
            break;
        HandIn(m_record.inputs[m_next++]);
    }
    return !m_stop && !isMet && (m_run->NowMs() < m_record.endMs || m_next < m_inputs);
}

void Replay::RunToEnd()
{
    if (RunTo(m_record.endMs) || m_difference || m_nextDigest + 1 != m_record.digests.size())
        return;
    // What came after the last whole minute.
    const RecordDigest& last = m_record.digests.back();
    if (last.timeMs == m_run->NowMs() && !(m_hooks.breaks && m_hooks.breaks->IsMet()))
        Compare(last, m_run->Digest());
}

FlightRecord WithoutOutputs(const FlightRecord& record)
{
    FlightRecord only;
    only.head = record.head;
    only.inputs = record.inputs;
    only.endMs = record.endMs;
    only.ended = record.ended;
    return only;
}
std::string OutputOf(const FlightRecord& record, const std::string& folder, std::uint64_t number,
                     std::int64_t ms)
{
    const FlightRecord only = WithoutOutputs(record);
    const HouseFile file = HouseOf(only, {{}, folder});
    std::string found;
    std::uint64_t count = 0;
    Replay::Hooks hooks;
    hooks.onOutput = [&](std::int64_t, const std::string& text)
    {
        if (++count == number)
            found = text;
    };
    Replay(only, file, RunOptionsOf(only), std::move(hooks)).RunTo(ms);
    return found;
}
} // namespace lighting_host

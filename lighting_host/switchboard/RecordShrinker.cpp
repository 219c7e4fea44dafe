#include "lighting_host/switchboard/RecordShrinker.h"

#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/HouseText.h"
#include "lighting_host/text/Json.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
std::size_t CountOf(const std::vector<bool>& kept)
{
    return static_cast<std::size_t>(std::count(kept.begin(), kept.end(), true));
}

std::string DriverOf(const std::string& line)
{
    try
    {
        const Json input = ParseJson(line);
        if (input.is_object() && input.contains("driver") && input["driver"].is_string())
            return input["driver"].get<std::string>();
    }
    catch (const InputError&)
    {
        // It names nobody.
    }
    return std::string();
}

// Which of those that are kept a try leaves out: `size` of them from the one at `first` on.
std::vector<bool> Without(const std::vector<bool>& kept, std::size_t first, std::size_t size)
{
    std::vector<bool> left = kept;
    std::size_t place = 0;
    for (std::size_t i = 0; i < left.size(); ++i)
    {
        if (!left[i])
            continue;
        left[i] = place < first || place >= first + size;
        ++place;
    }
    return left;
}
} // namespace

RecordShrinker::RecordShrinker(const FlightRecord& record, Symptom symptom, Options options)
    : m_record(record), m_symptom(std::move(symptom)), m_options(std::move(options)),
      m_jobs(m_options.jobs)
{
    const HouseText house(record.head.houseText);
    m_drivers = house.Drivers();
    m_kept.drivers.assign(m_drivers.size(), true);
    m_kept.inputs.assign(record.inputs.size(), true);
    m_kept.parts.assign(house.Parts().size(), true);
    m_kept.faults = record.head.faults;
    m_kept.people = record.head.people;
    m_kept.seed = record.head.seed;
    m_first = {m_drivers.size(), record.inputs.size(), m_kept.parts.size()};
    for (const RecordInput& input : record.inputs)
        m_inputDrivers.push_back(DriverOf(input.line));
}

FlightRecord RecordShrinker::Build(const Kept& kept) const
{
    FlightRecord record;
    record.head = m_record.head;
    record.endMs = m_met.timeMs;
    record.head.faults = kept.faults;
    record.head.people = kept.people;
    record.head.seed = kept.seed;
    HouseText house(m_record.head.houseText);
    bool isWhole = true;
    for (std::size_t i = 0; i < kept.parts.size(); ++i)
    {
        if (kept.parts[i])
            continue;
        house.RemovePart(i);
        isWhole = false;
    }
    for (std::size_t i = 0; i < kept.drivers.size(); ++i)
    {
        if (kept.drivers[i])
            continue;
        house.RemoveDriver(m_drivers[i]);
        record.head.states.erase(m_drivers[i]);
        isWhole = false;
    }
    if (!isWhole)
        record.head.houseText = house.Text();
    for (std::size_t i = 0; i < kept.inputs.size(); ++i)
        if (kept.inputs[i])
            record.inputs.push_back(m_record.inputs[i]);
    return record;
}

std::optional<RecordShrinker::Shown> RecordShrinker::Look(const FlightRecord& record) const
{
    if (m_options.look)
        return m_options.look(record);
    const HouseFile file = HouseOf(record, {{}, m_options.folder});
    SymptomRun run(record, file, RunOptionsOf(record), m_symptom);
    if (!run.RunTo(record.endMs))
        return std::nullopt;
    return Shown{*run.Met(), run.GetReplay().InputCount()};
}

bool RecordShrinker::Shows(const Kept& kept) const
{
    return Look(Build(kept)).has_value();
}

bool RecordShrinker::FindSymptom()
{
    const std::optional<Shown> shown = Look(WithoutOutputs(m_record));
    if (!shown)
        return false;
    m_met = shown->met;
    m_symptom.PinTo(m_met);
    // Inputs that come after it do nothing for it.
    for (std::size_t i = shown->inputs; i < m_kept.inputs.size(); ++i)
        m_kept.inputs[i] = false;
    return true;
}

RecordShrinker::Progress RecordShrinker::GetProgress() const
{
    return {
        {CountOf(m_kept.drivers), CountOf(m_kept.inputs), CountOf(m_kept.parts)}, m_first, m_tries};
}

// The place of the first try that shows the symptom, `count` for none. Those that come after it may
// not be tried.
std::size_t RecordShrinker::FirstThatShows(std::size_t count, const Maker& make)
{
    std::size_t found = count;
    std::size_t next = 0;
    while (!m_stopped)
    {
        while (next < found && !m_jobs.IsFull())
        {
            m_jobs.Start(next, [this, &make, next] { return Shows(make(next)); });
            ++next;
        }
        const auto done = m_jobs.Wait();
        if (!done)
            return found;
        ++m_tries;
        if (done->answer == ForkedJobs::Answer::Yes)
            found = std::min(found, done->id);
        if (m_options.onProgress && !m_options.onProgress(GetProgress()))
            m_stopped = true;
    }
    m_jobs.KillAll();
    return count;
}

void RecordShrinker::DropInputsOfNobody(Kept& kept) const
{
    for (std::size_t i = 0; i < kept.inputs.size(); ++i)
    {
        const auto driver = std::find(m_drivers.begin(), m_drivers.end(), m_inputDrivers[i]);
        if (driver != m_drivers.end() &&
            !kept.drivers[static_cast<std::size_t>(driver - m_drivers.begin())])
            kept.inputs[i] = false;
    }
}

// The present seed, then others.
std::uint64_t RecordShrinker::SeedAt(std::size_t place) const
{
    return place == 0 ? m_kept.seed : m_record.head.seed + place;
}

// Leaves out as many as half of the set at once, then ever fewer, as long as the symptom stays;
// whether anything could go.
bool RecordShrinker::ShrinkSet(std::vector<bool> Kept::*set, unsigned seeds)
{
    bool changed = false;
    std::size_t first = 0;
    for (std::size_t size = CountOf(m_kept.*set); size > 0 && !m_stopped;)
    {
        const std::size_t left = CountOf(m_kept.*set);
        const std::size_t count = first < left ? (left - first + size - 1) / size : 0;
        const auto make = [this, set, first, size, seeds](std::size_t place)
        {
            Kept kept = m_kept;
            kept.*set = Without(m_kept.*set, first + place / seeds * size, size);
            kept.seed = SeedAt(place % seeds);
            DropInputsOfNobody(kept);
            return kept;
        };
        const std::size_t found = FirstThatShows(count * seeds, make);
        if (found < count * seeds)
        {
            m_kept = make(found);
            first += found / seeds * size;
            changed = true;
            continue;
        }
        first = 0;
        size /= 2;
    }
    return changed;
}

// Random faults, and that the house lives by itself.
bool RecordShrinker::ShrinkWorld(unsigned seeds)
{
    std::vector<Kept> tries;
    const auto add = [&](const std::string& faults, bool people)
    {
        if (faults == m_kept.faults && people == m_kept.people)
            return;
        tries.push_back(m_kept);
        tries.back().faults = faults;
        tries.back().people = people;
    };
    // Without people there are no random faults.
    add("none", false);
    if (m_kept.people)
    {
        add("none", true);
        if (m_kept.faults == "heavy")
            add("light", true);
    }
    const auto make = [this, &tries, seeds](std::size_t place)
    {
        Kept kept = tries[place / seeds];
        kept.seed = SeedAt(place % seeds);
        return kept;
    };
    const std::size_t found = FirstThatShows(tries.size() * seeds, make);
    if (found == tries.size() * seeds)
        return false;
    m_kept = make(found);
    return true;
}

// The smaller record may show it earlier.
void RecordShrinker::CutAtSymptom()
{
    const std::optional<Shown> shown = Look(Result());
    if (!shown)
        throw RecordError("what is left does not show it any more");
    m_met = shown->met;
    std::size_t handed = shown->inputs;
    for (std::size_t i = 0; i < m_kept.inputs.size(); ++i)
    {
        if (m_kept.inputs[i] && handed == 0)
            m_kept.inputs[i] = false;
        else if (m_kept.inputs[i])
            --handed;
    }
}

void RecordShrinker::Shrink()
{
    // Most of it goes without other seeds, and much faster.
    for (const unsigned seeds : {1u, m_options.seeds})
    {
        bool changed = true;
        while (changed && !m_stopped)
        {
            changed = ShrinkWorld(seeds);
            changed = ShrinkSet(&Kept::drivers, seeds) || changed;
            changed = ShrinkSet(&Kept::inputs, seeds) || changed;
            changed = ShrinkSet(&Kept::parts, seeds) || changed;
            CutAtSymptom();
        }
    }
}

void RecordShrinker::Write(const std::string& path) const
{
    const FlightRecord record = Result();
    const HouseFile file = HouseOf(record, {{}, m_options.folder});
    FlightRecorder recorder(path, record.head);
    Replay::Hooks hooks;
    hooks.onInput = [&recorder](const RecordInput& input)
    {
        recorder.OnInput(input);
    };
    // A minute without an output says nothing that the one before does not.
    hooks.onMinute = [&recorder](std::int64_t timeMs, const OutputDigest& digest)
    {
        if (!digest.IsCut())
            recorder.OnDigest({timeMs, digest.Count(), digest.Hex(), digest.Sums()});
    };
    Replay replay(record, file, RunOptionsOf(record), std::move(hooks));
    replay.RunToEnd();
    const HouseRun& run = replay.Run();
    recorder.Close({record.endMs, run.Digest().Count(), run.Digest().Hex(), run.Digest().Sums()},
                   "shrunk to its symptom");
    if (recorder.Failure().empty())
        return;
    // Half of it shows nothing.
    std::remove(path.c_str());
    throw RecordError(fmt::format("{}: could not be written: {}", path, recorder.Failure()));
}
} // namespace lighting_host

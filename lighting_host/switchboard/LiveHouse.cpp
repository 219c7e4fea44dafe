#include "lighting_host/switchboard/LiveHouse.h"

#include "embedded_host/FileStateStore.h"
#include "lighting_host/house/StateKeeper.h"
#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t NS_PER_MS = std::chrono::nanoseconds(std::chrono::milliseconds(1)).count();
// How long one call of Work may take before everybody else has a turn.
constexpr std::int64_t SLICE_NS = 20 * NS_PER_MS;
// How much house time is worked off between two looks at the clock.
constexpr std::int64_t MOST_AT_ONCE_MS = 60000;
constexpr std::int64_t FIRST_PROGRESS_NS = 200 * NS_PER_MS;
constexpr std::int64_t PROGRESS_NS = 250 * NS_PER_MS;
} // namespace

// A rewind under way: the house run anew, and how far that has come.
struct LiveHouse::Rewind
{
    Life life;
    OutputRing ring;
    // Up to there nobody hears the house: its lines would not be kept. Nothing once it is heard.
    std::optional<Milestones::Milestone> heardFrom;
    std::size_t next = 0;
    std::int64_t toMs = 0;
    // Stop right after the line of that number; 0 for the moment's end.
    std::uint64_t toSeq = 0;
    // Whether it leads back to the moment that is now.
    bool toNow = false;
    bool isThere = false;
    std::int64_t begunNs = 0;
    std::int64_t toldNs = 0;
};

LiveHouse::LiveHouse(const HouseFile& file, Options options, LiveListener* listener)
    : m_file(file), m_options(std::move(options)),
      m_breaks([this] { return m_life.run->LastNumber(); }), m_speed(m_options.speed),
      m_paused(m_options.paused)
{
    if (listener)
        m_listeners.push_back(listener);
    m_life = MakeLife(false);
    if (m_options.onPresent)
        m_options.onPresent(m_life.run.get());
}

LiveHouse::~LiveHouse()
{
    m_rewind.reset();
    m_breaks.SetOn(false);
    if (m_options.onPresent && !m_past)
        m_options.onPresent(nullptr);
    m_life.run->Mute();
}

void LiveHouse::RemoveListener(LiveListener& listener)
{
    m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), &listener),
                      m_listeners.end());
}

LiveHouse::Life LiveHouse::MakeLife(bool again)
{
    HouseRun::Options options = m_options.run;
    // A run that is repeated asks for the states when the first one did, and keeps none.
    if (again)
        options.session.makeStore = []
        {
            return std::make_unique<embedded_host::NoStateStore>();
        };
    HouseRun::Sinks sinks;
    sinks.onLine = [this](const OutputRing::Line& line)
    {
        OnLine(line);
    };
    sinks.onMinute = [this](std::int64_t timeMs, const OutputDigest& digest)
    {
        OnMinute(timeMs, digest);
    };
    if (m_options.recordOutputs)
        sinks.onOutputText = [this](const char*, std::int64_t timeMs, const std::string& text)
        {
            if (!m_rewind && !m_past)
                m_options.recorder->OnOutput(timeMs, text);
        };
    sinks.onAnswer = [this](const char*, const std::string& text)
    {
        if (m_answer)
            m_answer(text);
    };
    Life life;
    life.run = std::make_unique<HouseRun>(m_file, options, std::move(sinks));
    if (m_options.makeView)
    {
        life.view = m_options.makeView(*life.run);
        life.run->AddListener(*life.view);
    }
    life.run->AddListener(m_breaks);
    return life;
}

void LiveHouse::OnLine(const OutputRing::Line& line)
{
    if (!m_rewind)
    {
        m_ring.Add(line);
        Tell(&LiveListener::OnLines);
        return;
    }
    m_rewind->ring.Add(line);
    m_rewind->isThere = m_rewind->isThere || line.seq == m_rewind->toSeq;
}

void LiveHouse::OnMinute(std::int64_t timeMs, const OutputDigest& digest)
{
    // What is repeated has been recorded; what is in the past is not sure to stay.
    if (m_rewind || m_past)
        return;
    m_milestones.Note(timeMs, m_life.run->LastNumber(), digest);
    if (m_options.recorder)
        m_options.recorder->OnDigest({timeMs, digest.Count(), digest.Hex(), digest.Sums()});
}

void LiveHouse::Start(std::int64_t nowNs)
{
    m_nowNs = nowNs;
    m_life.run->Start();
    Anchor();
}

void LiveHouse::Stop(const std::string& why)
{
    m_rewind.reset();
    m_stopped = true;
    // What is due comes first here too: whoever runs this again up to now has it.
    if (!m_past)
        m_life.run->AdvanceTo(m_life.run->NowMs());
    const RecordDigest digest = m_past ? m_nowDigest : PresentDigest();
    m_life.run->Stop();
    if (m_options.recorder)
        m_options.recorder->Close(digest, why);
}

RecordDigest LiveHouse::PresentDigest()
{
    HouseRun& run = *m_life.run;
    return {run.NowMs(), run.Digest().Count(), run.Digest().Hex(), run.Digest().Sums()};
}

// --- Time ---

void LiveHouse::Anchor()
{
    m_anchorMs = m_life.run->NowMs();
    m_anchorNs = m_nowNs;
}

std::int64_t LiveHouse::WantedMs(std::int64_t nowNs) const
{
    const double passed = static_cast<double>(nowNs - m_anchorNs) / NS_PER_MS * m_speed;
    return m_anchorMs + static_cast<std::int64_t>(std::floor(passed));
}

std::int64_t LiveHouse::LagMs(std::int64_t nowNs) const
{
    if (m_paused || m_rewind)
        return 0;
    const std::int64_t behind = WantedMs(nowNs) - m_life.run->NowMs();
    return std::max<std::int64_t>(static_cast<std::int64_t>(static_cast<double>(behind) / m_speed),
                                  0);
}

void LiveHouse::AdvanceTo(std::int64_t ms)
{
    m_life.run->AdvanceTo(std::min(ms, embedded_host::Clock::LATEST.count()), m_breaks.IsMet());
    PauseAtBreak();
}

void LiveHouse::PauseAtBreak()
{
    const auto met = m_breaks.Take();
    if (!met)
        return;
    SetPaused(true);
    Tell(&LiveListener::OnBreak, *met);
}

void LiveHouse::SetPaused(bool paused)
{
    m_paused = paused;
    Anchor();
    Tell(&LiveListener::OnClock);
}

std::int64_t LiveHouse::Work(std::int64_t nowNs)
{
    m_nowNs = nowNs;
    if (m_options.recorder)
        m_options.recorder->Flush(false);
    if (m_rewind)
    {
        WorkOnRewind();
        return m_rewind ? nowNs : Work(MonotonicNs());
    }
    const std::int64_t due = m_paused ? -1 : NextWakeNs();
    if (due >= 0)
        m_worstLatenessNs = std::max(m_worstLatenessNs, nowNs - due);
    const std::int64_t endNs = MonotonicNs() + SLICE_NS;
    const std::int64_t wanted = WantedMs(nowNs);
    while (!m_paused && m_life.run->NowMs() < wanted)
    {
        AdvanceTo(std::min(wanted, m_life.run->NowMs() + MOST_AT_ONCE_MS));
        if (MonotonicNs() > endNs)
            return nowNs;
    }
    if (m_paused)
        return -1;
    return NextWakeNs();
}

std::int64_t LiveHouse::NextWakeNs() const
{
    const std::int64_t wake = m_life.run->NextWakeMs();
    if (wake < 0)
        return -1;
    const double waitMs = static_cast<double>(wake - m_anchorMs) / m_speed;
    return m_anchorNs + static_cast<std::int64_t>(std::ceil(waitMs * NS_PER_MS));
}

// --- What is handed in ---

bool LiveHouse::HandIn(HouseVisitor& visitor, const std::string& line, unsigned long number,
                       std::int64_t nowNs)
{
    if (m_stopped)
        return false;
    m_nowNs = nowNs;
    m_isHandingIn = true;
    if (!m_paused && !m_rewind)
        AdvanceTo(std::max(WantedMs(nowNs), m_life.run->NowMs()));
    m_handedInAfter = m_life.run->LastNumber();
    bool refused = false;
    m_answer = [&visitor](const std::string& text)
    {
        visitor.OnAnswer(text);
    };
    try
    {
        // Blanks in JSON may be line ends: in a record and in what hears causes they would be
        // lines.
        if (line.find_first_of("\r\n") != std::string::npos)
            throw InputError("an input is one line");
        refused = !Dispatch(visitor.Name(), line, number);
    }
    catch (const InputError& error)
    {
        refused = true;
        std::string text = "{\"error\":";
        AppendJsonText(text, error.Message());
        m_answer(text + fmt::format(",\"line\":{}}}", number));
    }
    m_isHandingIn = false;
    Tell(&LiveListener::OnHandedIn);
    m_answer(fmt::format("{{\"done\":{}}}", number));
    m_answer = nullptr;
    PauseAtBreak();
    return !refused;
}

std::size_t LiveHouse::InputsUpTo(std::int64_t ms, std::uint64_t seq) const
{
    const auto after =
        std::find_if(m_inputs.begin(), m_inputs.end(),
                     [ms, seq](const Input& input)
                     { return input.record.timeMs > ms || (seq != 0 && input.afterSeq >= seq); });
    return static_cast<std::size_t>(after - m_inputs.begin());
}

bool LiveHouse::Apply(HouseRun& run, const Input& input)
{
    if (!IsHouseAction(input.record.line))
        return run.HandIn(input.record.from, input.record.line, input.number);
    const auto action = PrepareHouseAction(run, input.record.line);
    run.Do(input.record.from, input.record.line, action);
    return true;
}

void LiveHouse::RequirePresent(const char* what) const
{
    if (m_rewind)
        throw InputError("a rewind is under way");
    if (m_past)
        throw InputError(
            fmt::format("{} is refused in the past: {{\"house\":\"go_on\"}} first", what));
}

void LiveHouse::RequireOwnTime(const char* what) const
{
    if (m_options.timeIsReal)
        throw InputError(fmt::format("{} is refused: a lamp of this house is behind a Zigbee2MQTT, "
                                     "and lives in real time",
                                     what));
}

// --- The past ---

void LiveHouse::BeginRewind(std::int64_t toMs, std::uint64_t toSeq, bool toNow)
{
    if (m_rewind)
        throw InputError("a rewind is under way");
    if (!m_past)
    {
        m_life.run->AdvanceTo(m_life.run->NowMs());
        Tell(&LiveListener::OnLeavingNow);
        if (m_options.onPresent)
            m_options.onPresent(nullptr);
        m_nowDigest = PresentDigest();
        m_pausedBefore = m_paused;
        m_past = Past{m_life.run->NowMs(), m_life.run->LastNumber(), 0, 0};
    }
    m_paused = true;
    m_breaks.SetOn(false);
    m_rewind = std::make_unique<Rewind>();
    m_rewind->toMs = toMs;
    // Now is later than its last output: the time after that counts too.
    m_rewind->toSeq = toNow ? 0 : toSeq;
    m_rewind->toNow = toNow;
    m_rewind->begunNs = m_rewind->toldNs = m_nowNs;
    m_rewind->life = MakeLife(true);
    m_rewind->heardFrom = m_milestones.Before(toMs, toSeq, OutputRing::MOST_LINES);
    if (m_rewind->heardFrom)
        m_rewind->life.run->BeSilent();
    m_rewind->life.run->Start();
}

void LiveHouse::WorkOnRewind()
{
    const std::int64_t endNs = MonotonicNs() + SLICE_NS;
    while (GoOnWithRewind())
    {
        const std::int64_t now = MonotonicNs();
        if (now < endNs)
            continue;
        if (now - m_rewind->begunNs > FIRST_PROGRESS_NS && now - m_rewind->toldNs > PROGRESS_NS)
        {
            m_rewind->toldNs = now;
            Tell(&LiveListener::OnRewind, m_rewind->toMs, m_rewind->life.run->NowMs());
        }
        return;
    }
    FinishRewind();
}

// A minute at the most; whether there is more to do.
bool LiveHouse::GoOnWithRewind()
{
    Rewind& rewind = *m_rewind;
    HouseRun& run = *rewind.life.run;
    const std::size_t inputs =
        rewind.toNow ? m_inputs.size() : InputsUpTo(rewind.toMs, rewind.toSeq);
    // A milestone is before anything of its moment.
    const std::int64_t toMs = rewind.heardFrom ? rewind.heardFrom->timeMs - 1 : rewind.toMs;
    const bool hasInput = rewind.next < inputs && m_inputs[rewind.next].record.timeMs <= toMs;
    const std::int64_t next = hasInput ? m_inputs[rewind.next].record.timeMs : toMs;
    const std::int64_t to = std::min(next, run.NowMs() + MOST_AT_ONCE_MS);
    if (rewind.toSeq != 0 && !rewind.heardFrom)
        run.AdvanceTo(to, rewind.isThere);
    else
        run.AdvanceTo(to);
    if (rewind.isThere)
        return false;
    if (run.NowMs() < next)
        return true;
    if (hasInput)
        Apply(run, m_inputs[rewind.next++]);
    else if (rewind.heardFrom)
    {
        run.Speak(rewind.heardFrom->digest);
        rewind.ring.ResetTo(run.LastNumber());
        rewind.heardFrom.reset();
        // There may be outputs of the milestone's moment, or it may be where a rewind was stopped.
        return run.NowMs() < rewind.toMs;
    }
    else
        return false;
    return !rewind.isThere;
}

void LiveHouse::StopRewind()
{
    Rewind& rewind = *m_rewind;
    if (rewind.heardFrom)
    {
        // On to where it can be heard; that is not far.
        rewind.heardFrom = m_milestones.After(rewind.life.run->NowMs());
        rewind.toMs = rewind.heardFrom->timeMs;
        rewind.toSeq = 0;
        rewind.toNow = false;
        while (GoOnWithRewind())
            ;
    }
    FinishRewind();
}

void LiveHouse::FinishRewind()
{
    const std::unique_ptr<Rewind> rewind = std::move(m_rewind);
    HouseRun& run = *rewind->life.run;
    // The run that was so far ends without a word.
    m_life.run->Mute();
    m_life.run.reset();
    m_life = std::move(rewind->life);
    m_ring = std::move(rewind->ring);
    m_breaks.SetOn(true);
    ++m_branch;
    const bool isNow = run.LastNumber() == m_past->nowSeq && run.NowMs() == m_past->nowMs;
    if (rewind->toNow && isNow)
    {
        m_past.reset();
        m_paused = m_pausedBefore;
        BecomePresent();
    }
    else
    {
        m_past->droppedInputs = m_inputs.size() - rewind->next;
        m_past->atBreak = 0;
        for (const Breaks::Break& one : m_breaks.All())
            if (one.metSeq == run.LastNumber() && one.metMs == run.NowMs())
                m_past->atBreak = one.id;
    }
    m_nowNs = MonotonicNs();
    Anchor();
    Tell(&LiveListener::OnMoment);
}

// From here on the states are the house's again.
void LiveHouse::BecomePresent()
{
    const SessionOptions& session = m_options.run.session;
    // A house of a record has none of its own.
    if (!session.statePath.empty() && !session.makeStore)
    {
        try
        {
            m_life.run->GetSession().Keeper()->SetStore(
                std::make_unique<embedded_host::FileStateStore>(session.statePath));
        }
        catch (const embedded_host::StateStoreError& error)
        {
            session.complain(error.what());
        }
    }
    if (m_options.onPresent)
        m_options.onPresent(m_life.run.get());
}

void LiveHouse::GoOn()
{
    const std::size_t dropped = m_past->droppedInputs;
    if (m_options.recorder)
        m_options.recorder->OnDropped(
            {m_past->nowMs, m_life.run->NowMs(), dropped, m_life.run->Digest().Count()});
    m_inputs.resize(m_inputs.size() - dropped);
    m_milestones.DropAfter(m_life.run->NowMs());
    m_past.reset();
    BecomePresent();
    ++m_branch;
    m_paused = true;
    Anchor();
    Tell(&LiveListener::OnMoment);
}
} // namespace lighting_host

#include "lighting_host/switchboard/SymptomOdds.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
// How many moments are asked at first, and into how many parts the step is cut each time after.
constexpr std::int64_t FIRST_MOMENTS = 24;
constexpr std::int64_t PARTS = 8;
// A moment is certain when as many times its runs agree.
constexpr unsigned SURE = 4;

// Far apart for moments and draws that are near each other.
std::uint64_t SeedOf(std::int64_t moment, unsigned draw)
{
    std::uint64_t x = static_cast<std::uint64_t>(moment) * 0x9E3779B97F4A7C15 + draw + 1;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return x ^ (x >> 31);
}
} // namespace

SymptomOdds::SymptomOdds(const FlightRecord& record, Symptom symptom, Options options)
    : m_record(record), m_symptom(std::move(symptom)), m_options(std::move(options)),
      m_jobs(m_options.jobs), m_only(WithoutOutputs(record)),
      m_file(HouseOf(m_only, {{}, m_options.folder}))
{
}

bool SymptomOdds::FindSymptom()
{
    SymptomRun run(m_only, m_file, RunOptionsOf(m_only), m_symptom);
    if (!run.RunTo(m_only.endMs))
        return false;
    m_met = *run.Met();
    m_symptom.PinTo(m_met);
    m_only.endMs = m_met.timeMs + m_options.withinMs;
    return true;
}

void SymptomOdds::Take(const ForkedJobs::Done& done)
{
    Share& share = m_shares[m_runs[done.id]];
    ++share.runs;
    share.hits += done.answer == ForkedJobs::Answer::Yes ? 1 : 0;
    ++m_answered;
    if (m_options.onProgress && !m_options.onProgress(m_answered))
        m_stopped = true;
}

// Runs the record once, and a copy of it from each of these moments, which are in order, on with as
// many other draws. A moment that was asked before gets further ones.
void SymptomOdds::RunFrom(const std::vector<std::int64_t>& moments, unsigned draws)
{
    SymptomRun run(m_only, m_file, RunOptionsOf(m_only), m_symptom);
    const auto goOn = [this, &run](std::int64_t moment, unsigned draw)
    {
        if (m_cause == Cause::Inputs)
            run.GetReplay().DropInputs();
        else
            run.GetReplay().Run().Redraw(SeedOf(moment, draw));
        return run.RunTo(m_only.endMs);
    };
    for (const std::int64_t moment : moments)
    {
        run.RunTo(moment);
        const unsigned first = m_shares[moment].runs;
        for (unsigned draw = first; draw < first + draws && !m_stopped; ++draw)
        {
            while (m_jobs.IsFull())
                Take(*m_jobs.Wait());
            m_runs.push_back(moment);
            m_jobs.Start(m_runs.size() - 1, [&] { return goOn(moment, draw); });
        }
    }
    while (!m_stopped && !m_jobs.IsEmpty())
        Take(*m_jobs.Wait());
    m_jobs.KillAll();
    // A moment without an answer says nothing.
    for (auto share = m_shares.begin(); share != m_shares.end();)
        share = share->second.runs == 0 ? m_shares.erase(share) : std::next(share);
}

std::int64_t SymptomOdds::CertainMs() const
{
    std::int64_t certain = m_met.timeMs;
    for (auto share = m_shares.rbegin(); share != m_shares.rend(); ++share)
    {
        if (!share->second.IsCertain())
            break;
        certain = share->first;
    }
    return certain;
}

std::int64_t SymptomOdds::AvoidableMs() const
{
    const auto certain = m_shares.lower_bound(CertainMs());
    return certain == m_shares.begin() ? CertainMs() : std::prev(certain)->first;
}

// Moments that cut the time between two of them, themselves not among them.
std::vector<std::int64_t> SymptomOdds::Between(std::int64_t fromMs, std::int64_t toMs,
                                               std::int64_t parts) const
{
    std::vector<std::int64_t> moments;
    for (std::int64_t part = 1; part < parts; ++part)
    {
        const std::int64_t moment = fromMs + (toMs - fromMs) * part / parts;
        if (moment > fromMs && moment < toMs && (moments.empty() || moments.back() != moment))
            moments.push_back(moment);
    }
    return moments;
}

void SymptomOdds::Search(unsigned draws)
{
    // The last millisecond before the symptom is a moment too.
    std::vector<std::int64_t> moments = Between(0, m_met.timeMs, FIRST_MOMENTS);
    moments.insert(moments.begin(), 0);
    if (m_met.timeMs - 1 > moments.back())
        moments.push_back(m_met.timeMs - 1);
    RunFrom(moments, draws);
    while (!m_stopped)
    {
        const std::int64_t certain = CertainMs();
        const std::int64_t avoidable = AvoidableMs();
        // What looks certain is asked again before it is believed.
        const auto share = m_shares.find(certain);
        if (share != m_shares.end() && share->second.runs < SURE * draws && draws > 1)
            RunFrom({certain}, SURE * draws - share->second.runs);
        else if (certain - avoidable > m_options.stepMs)
            RunFrom(Between(avoidable, certain, PARTS), draws);
        else
            return;
    }
}

void SymptomOdds::Measure()
{
    Search(m_options.draws);
    if (m_stopped || CertainMs() > 0)
        return;
    m_cause = Cause::Inputs;
    m_shares.clear();
    Search(1);
    if (!m_stopped && CertainMs() == 0)
        m_cause = Cause::Start;
}

std::vector<std::string> SymptomOdds::LinesBetween(std::int64_t afterMs, std::int64_t upToMs,
                                                   std::size_t most) const
{
    std::vector<std::string> lines;
    const auto add = [&lines, most](const std::string& line)
    {
        if (lines.size() < most)
            lines.push_back(line);
    };
    Replay::Hooks hooks;
    hooks.onInput = [&](const RecordInput& input)
    {
        if (input.timeMs > afterMs)
            add(InputLine(input));
    };
    hooks.onOutput = [&](std::int64_t timeMs, const std::string& text)
    {
        if (timeMs > afterMs)
            add(text);
    };
    Replay(m_only, m_file, RunOptionsOf(m_only), std::move(hooks)).RunTo(upToMs);
    return lines;
}
} // namespace lighting_host

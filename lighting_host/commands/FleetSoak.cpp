#include "lighting_host/commands/FleetSoak.h"

#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/fleet/FleetTrials.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <ostream>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::chrono::milliseconds SOAK_LOOK{200};
constexpr std::int64_t SOAK_WAIT_MS = 1000;
constexpr double MS_IN_YEAR = 365.25 * 24 * 3600 * 1000;
constexpr double MS_IN_HOUR = 3600.0 * 1000;

std::int64_t SoakNowMs()
{
    return MonotonicNs() / 1000000;
}

std::string FirstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

// A file that is there already is never overwritten.
void WriteNewFile(const std::string& path, const std::string& text)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    std::size_t done = 0;
    bool good = file >= 0;
    while (good && done < text.size())
    {
        const ssize_t written = write(file, text.data() + done, text.size() - done);
        good = written > 0 || (written < 0 && errno == EINTR);
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    const int error = errno;
    if (file >= 0)
        close(file);
    if (!good)
        throw FleetError(
            fmt::format("{}: the record was not written: {}", path, std::strerror(error)));
}
} // namespace

FleetSoak::FleetSoak(FleetBus& bus, Options options, std::ostream& out, std::ostream& err)
    : m_options(std::move(options)), m_out(out), m_err(err),
      m_soakBucket(bus.OpenBucket(SoakBuckets::SOAKS, SoakBuckets::TTL_MS)),
      m_resultBucket(bus.OpenBucket(SoakBuckets::RESULTS, SoakBuckets::RESULTS_TTL_MS))
{
    m_resultBucket->Watch([this](const BucketEntry& entry) { OnResult(entry); });
}

FleetSoak::~FleetSoak()
{
    if (m_revision != 0)
        RemoveAndWait(*m_soakBucket, m_options.soak.run, m_revision, SOAK_WAIT_MS);
}

void FleetSoak::OnResult(const BucketEntry& entry)
{
    std::string run;
    Ended ended;
    if (entry.removed || !ParseFleetTrialKey(entry.key, run, ended.house) ||
        run != m_options.soak.run)
        return;
    ended.text = entry.value;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ended.push_back(std::move(ended));
    m_wake.notify_one();
}

// Workers let go of a soak that is not written any more.
void FleetSoak::Renew()
{
    const std::int64_t nowMs = SoakNowMs();
    if (nowMs < m_renewMs)
        return;
    m_renewMs = nowMs + SoakBuckets::RENEW_MS;
    const std::string& run = m_options.soak.run;
    const BucketAnswer answer =
        WriteAndWait(*m_soakBucket, run, WriteFleetSoak(m_options.soak), m_revision, SOAK_WAIT_MS);
    if (answer.outcome == BucketAnswer::Outcome::Written)
    {
        m_revision = answer.revision;
        return;
    }
    // It has expired, or an answer was lost. Nobody else writes this key.
    try
    {
        m_revision = m_soakBucket->Get(run).revision;
    }
    catch (const FleetError&)
    {
        // It is tried again in a second.
    }
}

std::vector<FleetSoak::Ended> FleetSoak::Next()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait_for(lock, SOAK_LOOK, [this] { return !m_ended.empty(); });
    return std::exchange(m_ended, {});
}

int FleetSoak::Run()
{
    m_begunMs = SoakNowMs();
    while (m_houses.size() < m_options.soak.houses)
    {
        if (const int signal = StopSignals::Received())
        {
            ClearProgress();
            m_err << "stopped before its end\n";
            Summary();
            return StatusOfSignal(signal);
        }
        Renew();
        for (const Ended& ended : Next())
            Gather(ended);
        Progress();
    }
    ClearProgress();
    Summary();
    return m_failed == 0 ? 0 : 1;
}

void FleetSoak::Gather(const Ended& ended)
{
    if (ended.house >= m_options.soak.houses || m_houses.count(ended.house) > 0)
        return;
    const FleetTrialEntry end = ReadFleetTrial(ended.text);
    if (end.status > 1)
        throw FleetError(fmt::format("house {} cannot live at the worker {}: {}", ended.house,
                                     end.worker, FirstLine(end.told)));
    m_houses.insert(ended.house);
    m_workers.insert(end.worker);
    if (end.status == 1)
        TellFailure(ended.house, end);
}

void FleetSoak::TellFailure(unsigned house, const FleetTrialEntry& end)
{
    ++m_failed;
    ClearProgress();
    // The command soak tells its seed first.
    m_out << fmt::format("house {}, {}\n", house, FirstLine(end.told)) << std::flush;
    if (end.record.empty())
    {
        m_out << fmt::format("its record is too large to be sent; lighting-host soak --seed {} "
                             "finds it again\n",
                             SeedOf(house))
              << std::flush;
        return;
    }
    const std::string path = fmt::format("{}/soak-{}.jsonl", m_options.to, SeedOf(house));
    WriteNewFile(path, end.record);
    m_out << fmt::format("{}: the record, for lighting-host replay\n", path) << std::flush;
}

// Of a house in which something went wrong nobody has counted how long it lived.
std::int64_t FleetSoak::LivedMs() const
{
    return static_cast<std::int64_t>(m_houses.size() - m_failed) * m_options.soak.forMs;
}

double FleetSoak::YearsAnHour() const
{
    const std::int64_t tookMs = std::max<std::int64_t>(SoakNowMs() - m_begunMs, 1);
    return static_cast<double>(LivedMs()) / MS_IN_YEAR * MS_IN_HOUR / static_cast<double>(tookMs);
}

std::uint64_t FleetSoak::SeedOf(unsigned house) const
{
    return m_options.soak.seed + house * m_options.soak.seedStep;
}

void FleetSoak::Progress() const
{
    if (m_options.terminal)
        m_err << fmt::format("\r\x1b[K{} of {} houses, {} with something wrong, {:.1f} simulated "
                             "years an hour",
                             m_houses.size(), m_options.soak.houses, m_failed, YearsAnHour())
              << std::flush;
}

void FleetSoak::ClearProgress() const
{
    if (m_options.terminal)
        m_err << "\r\x1b[K" << std::flush;
}

void FleetSoak::Summary() const
{
    m_out << fmt::format("{} of {} houses, {} with something wrong; {:.2f} years of a house in "
                         "{:.1f} s on {} workers: {:.1f} simulated years an hour\n",
                         m_houses.size(), m_options.soak.houses, m_failed,
                         static_cast<double>(LivedMs()) / MS_IN_YEAR,
                         static_cast<double>(SoakNowMs() - m_begunMs) / 1000, m_workers.size(),
                         YearsAnHour())
          << std::flush;
}
} // namespace lighting_host

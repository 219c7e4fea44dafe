#include "lighting_host/fleet/FleetTrials.h"

#include "lighting_host/text/MonotonicClock.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <xxhash.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// A key that nobody has seen written for this long has expired.
constexpr std::int64_t CLAIM_EXPIRED_MS = SoakBuckets::TTL_MS + 200;
// How often a process that lives is looked at.
constexpr std::int64_t TRIAL_LOOK_MS = 5;
constexpr std::int64_t SEARCH_MS = 200;
constexpr std::int64_t QUIET_MS = 60000;
// A write without an answer is made again.
constexpr std::int64_t TRIAL_ANSWER_MS = 2000;
// The houses of a worker come first.
constexpr int NICENESS = 10;
// Statuses of the command soak.
constexpr int CANNOT_LIVE = 2;
constexpr int STOPPED = 128;
constexpr std::size_t MOST_TRIAL_TOLD = 4000;
// NATS takes 1 MB a message by default.
constexpr std::size_t MOST_RESULT = 1000000;
constexpr const char* RECORD_FILE = "record.jsonl";
constexpr const char* TOLD_FILE = "told";

std::int64_t TrialNowMs()
{
    return MonotonicNs() / 1000000;
}

std::string TextOfFile(const std::string& path, std::size_t most)
{
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (char c = 0; text.size() < most && file.get(c);)
        text += c;
    return text;
}

// Only what may be called in the child of a process with several threads.
[[noreturn]] void Become(const std::vector<char*>& arguments, int told, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    const int lowered = nice(NICENESS);
    static_cast<void>(lowered);
    dup2(told, STDOUT_FILENO);
    dup2(told, STDERR_FILENO);
    execv("/proc/self/exe", arguments.data());
    _exit(2);
}

pid_t StartProgram(std::vector<std::string> words, const std::string& toldPath)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int told = open(toldPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const pid_t parent = getpid();
    const pid_t child = told < 0 ? -1 : fork();
    if (child == 0)
        Become(arguments, told, parent);
    const int error = errno;
    if (told >= 0)
        close(told);
    if (child < 0)
        throw FleetError(fmt::format("no process for a house: {}", std::strerror(error)));
    return child;
}
} // namespace

FleetTrials::FleetTrials(FleetBus& bus, Options options)
    : m_options(std::move(options)),
      m_soakBucket(bus.OpenBucket(SoakBuckets::SOAKS, SoakBuckets::TTL_MS)),
      m_claimBucket(bus.OpenBucket(SoakBuckets::CLAIMS, SoakBuckets::TTL_MS)),
      m_resultBucket(bus.OpenBucket(SoakBuckets::RESULTS, SoakBuckets::RESULTS_TTL_MS))
{
    Watch(*m_resultBucket, &FleetTrials::OnResult);
    Watch(*m_claimBucket, &FleetTrials::OnClaim);
    Watch(*m_soakBucket, &FleetTrials::OnSoak);
}

FleetTrials::~FleetTrials()
{
    GiveUp();
}

void FleetTrials::Watch(Bucket& bucket, void (FleetTrials::*onChange)(const BucketEntry&))
{
    bucket.Watch(
        [this, onChange, life = std::weak_ptr<int>(m_life),
         post = m_options.post](const BucketEntry& entry)
        {
            post(
                [this, onChange, life, entry]
                {
                    if (!life.expired())
                        (this->*onChange)(entry);
                });
        });
}

void FleetTrials::OnSoak(const BucketEntry& entry)
try
{
    if (entry.removed)
    {
        m_soaks.erase(entry.key);
        return;
    }
    const auto added = m_soaks.try_emplace(entry.key);
    Soak& soak = added.first->second;
    soak.entry = ReadFleetSoak(entry.value);
    soak.seenMs = TrialNowMs();
    // Workers begin at different houses, so that they seldom meet.
    if (added.second && soak.entry.houses > 0)
        soak.next = static_cast<unsigned>(XXH64(m_options.name.data(), m_options.name.size(), 0) %
                                          soak.entry.houses);
}
catch (const FleetError& error)
{
    m_soaks.erase(entry.key);
    m_options.tell(error.what());
}

void FleetTrials::OnClaim(const BucketEntry& entry)
{
    m_claims[entry.key] = TrialNowMs();
}

void FleetTrials::OnResult(const BucketEntry& entry)
{
    m_claims.erase(entry.key);
    m_results.insert(entry.key);
}

void FleetTrials::Write(Bucket& bucket, const std::string& value, std::uint64_t expected,
                        void (FleetTrials::*onAnswer)(const BucketAnswer&))
{
    m_writtenMs = TrialNowMs();
    bucket.Write(m_key, value, expected,
                 [this, onAnswer, turn = m_turn, life = std::weak_ptr<int>(m_life),
                  post = m_options.post](const BucketAnswer& answer)
                 {
                     post(
                         [this, onAnswer, turn, life, answer]
                         {
                             if (!life.expired() && turn == m_turn)
                                 (this->*onAnswer)(answer);
                         });
                 });
}

bool FleetTrials::IsFree(const Soak& soak, unsigned house, std::int64_t nowMs) const
{
    const std::string key = FleetTrialKey(soak.entry.run, house);
    if (m_results.count(key) > 0)
        return false;
    const auto claim = m_claims.find(key);
    return claim == m_claims.end() || nowMs - claim->second > CLAIM_EXPIRED_MS;
}

bool FleetTrials::Take(std::int64_t nowMs)
{
    for (auto& named : m_soaks)
    {
        Soak& soak = named.second;
        for (unsigned tried = 0; tried < soak.entry.houses; ++tried)
        {
            const unsigned house = soak.next;
            soak.next = (soak.next + 1) % soak.entry.houses;
            if (!IsFree(soak, house, nowMs))
                continue;
            m_soak = soak.entry;
            m_house = house;
            m_key = FleetTrialKey(m_soak.run, house);
            m_stage = Stage::Claiming;
            Write(*m_claimBucket, m_options.name, 0, &FleetTrials::OnClaimed);
            return true;
        }
    }
    return false;
}

void FleetTrials::OnClaimed(const BucketAnswer& answer)
{
    if (m_stage != Stage::Claiming)
        return;
    // Another one was faster, or nobody knows: the next house, then.
    m_claims[m_key] = TrialNowMs();
    if (answer.outcome != BucketAnswer::Outcome::Written)
        return GiveUp();
    m_claim = answer.revision;
    Begin();
}

void FleetTrials::Begin()
try
{
    m_end = FleetTrialEntry();
    m_end.worker = m_options.name;
    std::string folder = (std::filesystem::temp_directory_path() / "soak-XXXXXX").string();
    if (!mkdtemp(folder.data()))
        throw FleetError(fmt::format("{}: {}", folder, std::strerror(errno)));
    m_folder = folder;
    std::vector<std::string> words = {
        "lighting-host", "soak",
        "--library",     m_soak.library,
        "--type",        m_soak.type,
        "--for",         fmt::format("{}ms", m_soak.forMs),
        "--seed",        std::to_string(m_soak.seed + m_house * m_soak.seedStep),
        "--to",          FileOf(RECORD_FILE)};
    if (!m_soak.house.empty())
        words.insert(words.end(), {"--house", m_soak.house});
    if (!m_soak.device.empty())
        words.insert(words.end(), {"--device", m_soak.device});
    m_child = StartProgram(std::move(words), FileOf(TOLD_FILE));
    m_stage = Stage::Living;
}
catch (const std::exception& error)
{
    // Said once, by who asked for the soak, and not for every house of it.
    m_end.status = CANNOT_LIVE;
    m_end.told = error.what();
    m_stage = Stage::Telling;
    m_writtenMs = 0;
}

void FleetTrials::Look(std::int64_t nowMs)
{
    int status = 0;
    if (waitpid(m_child, &status, WNOHANG) == m_child)
    {
        m_child = 0;
        return End(status);
    }
    if (nowMs - m_writtenMs >= SoakBuckets::RENEW_MS)
        Write(*m_claimBucket, m_options.name, m_claim, &FleetTrials::OnRenewed);
}

void FleetTrials::OnRenewed(const BucketAnswer& answer)
{
    if (answer.outcome == BucketAnswer::Outcome::Written)
        m_claim = answer.revision;
}

void FleetTrials::End(int status)
{
    const bool exited = WIFEXITED(status);
    // A signal for the whole group, as Ctrl-C sends it: nobody knows of this house yet.
    if (exited && WEXITSTATUS(status) >= STOPPED)
        return GiveUp();
    m_end.status = exited ? WEXITSTATUS(status) : CANNOT_LIVE;
    m_end.told = TextOfFile(FileOf(TOLD_FILE), MOST_TRIAL_TOLD);
    if (!exited)
        m_end.told += fmt::format("its process was ended: {}\n", strsignal(WTERMSIG(status)));
    m_end.record = TextOfFile(FileOf(RECORD_FILE), MOST_RESULT);
    if (WriteFleetTrial(m_end).size() > MOST_RESULT)
        m_end.record.clear();
    m_stage = Stage::Telling;
    m_writtenMs = 0;
}

void FleetTrials::Tell(std::int64_t nowMs)
{
    if (nowMs - m_writtenMs >= TRIAL_ANSWER_MS)
        Write(*m_resultBucket, WriteFleetTrial(m_end), 0, &FleetTrials::OnTold);
}

void FleetTrials::OnTold(const BucketAnswer& answer)
{
    if (m_stage != Stage::Telling || answer.outcome == BucketAnswer::Outcome::Unknown)
        return;
    // Refused: it is told already, by this worker or another one.
    m_results.insert(m_key);
    GiveUp();
}

void FleetTrials::GiveUp()
{
    ++m_turn;
    m_stage = Stage::Idle;
    if (m_child > 0)
    {
        kill(m_child, SIGKILL);
        while (waitpid(m_child, nullptr, 0) < 0 && errno == EINTR)
            ;
        m_child = 0;
    }
    std::error_code error;
    if (!m_folder.empty())
        std::filesystem::remove_all(m_folder, error);
    m_folder.clear();
}

std::int64_t FleetTrials::Work(std::int64_t nowMs)
{
    for (auto soak = m_soaks.begin(); soak != m_soaks.end();)
        soak =
            nowMs - soak->second.seenMs > CLAIM_EXPIRED_MS ? m_soaks.erase(soak) : std::next(soak);
    if (m_stage != Stage::Idle && m_soaks.count(m_soak.run) == 0)
        GiveUp();
    if (m_stage == Stage::Claiming && nowMs - m_writtenMs >= TRIAL_ANSWER_MS)
        GiveUp();
    if (m_stage == Stage::Living)
        Look(nowMs);
    if (m_stage == Stage::Telling)
        Tell(nowMs);
    if (m_stage == Stage::Idle && !m_leaving && Take(nowMs))
        return nowMs + SEARCH_MS;
    if (m_stage == Stage::Living)
        return nowMs + TRIAL_LOOK_MS;
    return nowMs + (m_soaks.empty() ? QUIET_MS : SEARCH_MS);
}

void FleetTrials::Leave()
{
    m_leaving = true;
    GiveUp();
}

std::string FleetTrials::FileOf(const char* name) const
{
    return m_folder + '/' + name;
}
} // namespace lighting_host

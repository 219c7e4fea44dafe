#include "lighting_host/fleet/FleetHouse.h"

#include "lighting_host/fleet/FleetStateStore.h"
#include "lighting_host/fleet/FleetTexts.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <utility>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t LOOK_MS = 200;
// A house that could not be begun is tried again by whoever gets it then.
constexpr std::int64_t TRY_AGAIN_MS = 5000;
const std::string VISITOR = "fleet";

std::int64_t NowMs()
{
    return MonotonicNs() / 1000000;
}
} // namespace

FleetHouse::FleetHouse(std::string id, const std::string& text, FleetShared& shared)
    : m_id(std::move(id)), m_shared(shared)
{
    try
    {
        const FleetHouseEntry entry = ReadFleetHouse(text);
        m_file = ParseHouseFile(entry.house, entry.folder);
    }
    catch (const FleetError& error)
    {
        m_file.errors.push_back({0, error.what()});
    }
    m_isRight = m_file.errors.empty();
    if (!m_isRight)
        m_shared.tell(fmt::format("house {} cannot be run: line {}: {}", m_id,
                                  m_file.errors.front().line, m_file.errors.front().what));
}

FleetHouse::~FleetHouse() = default;

void FleetHouse::SetWanted(bool wanted, std::uint64_t expected)
{
    m_wanted = wanted && !m_retired;
    m_expected = expected;
}

void FleetHouse::Retire()
{
    m_retired = true;
    m_wanted = false;
}

std::int64_t FleetHouse::Work(std::int64_t nowMs)
{
    bool owns = m_lease.Owns(nowMs);
    if (m_run && !owns)
        End(nowMs, false);
    // A claim that was answered when nobody wanted the house any more is given back too.
    if (owns && !m_wanted)
    {
        End(nowMs, true);
        owns = false;
    }
    if (owns && !m_run)
        Begin(nowMs);
    if (m_lease.Owns(nowMs))
        Send(m_lease.Renew(nowMs));
    else if (m_wanted && m_isRight && nowMs >= m_tryAgainMs)
        Send(m_lease.Claim(nowMs, m_expected));
    if (!m_run)
        return nowMs + LOOK_MS;
    m_run->AdvanceTo(nowMs - m_beganMs);
    const std::int64_t wake = m_run->NextWakeMs();
    return wake < 0 ? nowMs + LOOK_MS : std::min(nowMs + LOOK_MS, m_beganMs + wake);
}

void FleetHouse::Send(const std::optional<Lease::Request>& request)
{
    if (!request)
        return;
    if (!m_run)
        m_since = std::time(nullptr);
    const std::string lease = WriteFleetLease({m_shared.owner, m_since, m_lease.Token()});
    const auto done = [weak = weak_from_this(), number = request->number,
                       &shared = m_shared](const BucketAnswer& answer)
    {
        shared.post(
            [weak, number, answer, &shared]
            {
                const auto self = weak.lock();
                if (!self)
                    return;
                self->m_lease.OnAnswer(number, answer, NowMs());
                shared.wake(self->m_id);
            });
    };
    m_shared.leases.Write(m_id, lease, request->expected, done);
}

void FleetHouse::Begin(std::int64_t nowMs)
{
    const std::uint64_t token = m_lease.Token();
    HouseRun::Options options;
    options.numbered = false;
    SessionOptions& session = options.session;
    session.seed = std::hash<std::string>()(m_id) ^ token;
    session.startLocalSeconds = std::time(nullptr);
    session.logLevel = log4cplus::WARN_LOG_LEVEL;
    session.statePath = m_id;
    session.persistIntervalMs = 10000;
    session.complain = [this](const std::string& what)
    {
        m_shared.tell(fmt::format("house {}: {}", m_id, what));
    };
    session.makeStore = [this, token]
    {
        FleetStateStore::Owner owner;
        owner.token = token;
        owner.owns = [this, token]
        {
            return m_lease.Owns(NowMs()) && m_lease.Token() == token && m_shared.bus.IsConnected();
        };
        return std::make_unique<FleetStateStore>(m_shared.states, m_id, owner);
    };
    HouseRun::Sinks sinks;
    sinks.onOutputText = [this](const char*, std::int64_t, const std::string& line)
    {
        PutOut(line);
    };
    sinks.onAnswer = [this](const char*, const std::string& line)
    {
        PutOut(line);
    };
    try
    {
        m_run = std::make_unique<HouseRun>(m_file, options, std::move(sinks));
        m_beganMs = nowMs;
        m_lines = 0;
        m_run->Start();
        m_input = m_shared.bus.Subscribe(
            fmt::format("houses.{}.in", m_id),
            [weak = weak_from_this(), &shared = m_shared](const FleetMessage& message)
            {
                shared.post(
                    [weak, line = message.payload]
                    {
                        if (const auto self = weak.lock())
                            self->HandIn(line);
                    });
            });
        m_shared.tell(fmt::format("house {} runs here with token {}", m_id, token));
    }
    catch (const std::exception& error)
    {
        m_shared.tell(fmt::format("house {} cannot be begun: {}", m_id, error.what()));
        m_tryAgainMs = nowMs + TRY_AGAIN_MS;
        End(nowMs, true);
    }
}

void FleetHouse::End(std::int64_t nowMs, bool giveBack)
{
    m_input.reset();
    if (m_run)
    {
        // Without the lease nothing that it still says goes out.
        try
        {
            if (giveBack)
                m_run->Stop();
        }
        catch (const std::exception& error)
        {
            m_shared.tell(fmt::format("house {}: {}", m_id, error.what()));
        }
        m_run.reset();
        m_shared.tell(fmt::format("house {} {}", m_id,
                                  giveBack ? "was handed over" : "was stopped: its lease is lost"));
    }
    const std::uint64_t revision = m_lease.Owns(nowMs) ? m_lease.GiveUp() : 0;
    if (giveBack && revision != 0)
        m_shared.leases.Remove(m_id, revision, [](const BucketAnswer&) {});
}

void FleetHouse::HandIn(const std::string& line)
{
    if (!m_run || !m_lease.Owns(NowMs()))
        return;
    m_run->AdvanceTo(NowMs() - m_beganMs);
    m_run->HandIn(VISITOR, line, ++m_lines);
    m_shared.wake(m_id);
}

void FleetHouse::PutOut(const std::string& line)
{
    // Asked at every single line: the thread may have slept since the lease was looked at.
    if (m_lease.Owns(NowMs()))
        m_shared.bus.Publish({fmt::format("houses.{}.out", m_id), line, m_lease.Token()});
}
} // namespace lighting_host

#include "lighting_host/switchboard/CauseTracker.h"

#include "lighting_host/text/JsonWriter.h"
#include "wire/BusFrame.h"
#include "wire/MibMessage.h"
#include "wire/ZclFrame.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
void AppendHex(std::string& out, const std::vector<std::uint8_t>& bytes)
{
    for (const std::uint8_t byte : bytes)
        fmt::format_to(std::back_inserter(out), "{:02x}", byte);
}
} // namespace

CauseTracker::CauseTracker() : m_current(std::make_shared<Cause>()) {}

CauseTracker::Cause& CauseTracker::Begin(const char* kind, const nx::DriverHost* driver,
                                         const std::shared_ptr<Cause>& ledBy)
{
    std::shared_ptr<Cause> root;
    std::uint64_t of = 0;
    if (ledBy && ledBy->seq == 0 && ledBy->isRoot)
        root = ledBy;
    else if (ledBy)
    {
        of = ledBy->Number();
        if (ledBy->seq == 0)
            root = ledBy->root;
    }
    // One to which nothing leads back is taken again: most causes start no timer.
    if (m_current.use_count() > 1)
        m_current = std::make_shared<Cause>();
    Cause& begun = *m_current;
    begun.kind = kind;
    begun.driver = driver;
    begun.members.clear();
    begun.of = of;
    begun.seq = 0;
    begun.timeMs = -1;
    begun.root = std::move(root);
    begun.isRoot = false;
    return begun;
}

void CauseTracker::BeginWords(const char* kind, const nx::DriverHost* driver,
                              const std::string& words)
{
    if (m_inAct)
        return;
    Cause& cause = Begin(kind, driver, m_current);
    if (m_silent)
        return;
    cause.members = ",\"words\":";
    AppendJsonText(cause.members, words);
}

void CauseTracker::BeginInput(const std::string& visitor, const std::string& line,
                              std::int64_t nowMs)
{
    Cause& cause = Begin("visitor", nullptr, nullptr);
    cause.isRoot = true;
    cause.timeMs = nowMs;
    cause.members = ",\"visitor\":";
    AppendJsonText(cause.members, visitor);
    cause.members += ",\"line\":";
    cause.members += line;
}

void CauseTracker::BeginHouse(const nx::DriverHost* driver, const std::string& words)
{
    BeginWords("house", driver, words);
}

void CauseTracker::OnPerson(const nx::DriverHost& driver, const std::string& what)
{
    BeginWords("people", &driver, what);
}

void CauseTracker::OnAct(const nx::DriverHost& driver, const std::string& words)
{
    BeginWords("people", &driver, words);
}

void CauseTracker::OnControllerAct(const nx::DriverHost& driver, const std::string& what)
{
    BeginWords("house", &driver, what);
}

void CauseTracker::OnPowerFailure(const nx::DriverHost& driver)
{
    BeginWords("house", &driver, "its device lost its power and has it again");
}

void CauseTracker::BeginDevice(const nx::DriverHost& driver, const std::string& line)
{
    Cause& cause = Begin("device", &driver, m_current);
    if (!m_silent)
        cause.members = ",\"line\":" + line;
}

void CauseTracker::OnMib(const nx::DriverHost& driver, const wire::MibMessage& message)
{
    if (m_silent)
        return BeginDevice(driver, std::string());
    std::string line = message.type == wire::MibMessage::Trap ? "{\"trap\":" : "{\"reply\":";
    AppendJsonText(line, message.mib);
    line += ",\"params\":[";
    const char* comma = "";
    for (const std::string& param : message.params)
    {
        line += comma;
        AppendJsonText(line, param);
        comma = ",";
    }
    BeginDevice(driver, line + "]}");
}

void CauseTracker::OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame)
{
    if (m_silent)
        return BeginDevice(driver, std::string());
    std::string line = fmt::format("{{\"zcl_frame\":{{\"cluster\":{},\"hex\":\"", frame.cluster);
    AppendHex(line, frame.bytes);
    BeginDevice(driver, line + "\"}}");
}

void CauseTracker::OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    if (m_silent)
        return BeginDevice(driver, std::string());
    std::string line = fmt::format("{{\"bus_frame\":{{\"opcode\":{},\"payload\":\"", frame.opcode);
    AppendHex(line, frame.payload);
    BeginDevice(driver, line + "\"}}");
}

void CauseTracker::OnTimerAdded(unsigned id, std::int64_t dueMs, std::int64_t nowMs)
{
    if (m_spare.empty())
    {
        m_timers[id] = {m_current, nowMs, dueMs, dueMs - nowMs};
        return;
    }
    m_spare.key() = id;
    m_spare.mapped() = {m_current, nowMs, dueMs, dueMs - nowMs};
    m_timers.insert(std::move(m_spare));
}

// The place of one that has gone serves the next one.
void CauseTracker::Forget(Timers::const_iterator timer)
{
    m_spare = m_timers.extract(timer);
    m_spare.mapped().cause.reset();
}

bool CauseTracker::FindTimer(unsigned id, std::int64_t& startedMs, std::int64_t& dueMs) const
{
    const auto timer = m_timers.find(id);
    if (timer == m_timers.end())
        return false;
    startedMs = timer->second.ms;
    dueMs = timer->second.dueMs;
    return true;
}

std::int64_t CauseTracker::NextDueMs() const
{
    std::int64_t next = -1;
    for (const auto& [id, timer] : m_timers)
    {
        if (next < 0 || timer.dueMs < next)
            next = timer.dueMs;
    }
    return next;
}

void CauseTracker::OnTimerKilled(unsigned id, std::int64_t)
{
    const auto timer = m_timers.find(id);
    if (timer != m_timers.end())
        Forget(timer);
}

void CauseTracker::OnTimerFires(unsigned id, bool again, std::int64_t)
{
    ++m_fired;
    const auto timer = m_timers.find(id);
    const Started started = timer == m_timers.end() ? Started() : timer->second;
    // Timers of devices and of the house are nobody's business but their owner's.
    const bool isDevice = (id & DEVICE_BIT) != 0;
    Cause& cause = Begin(isDevice ? "house" : "timer", nullptr, started.cause);
    if (!m_silent)
        cause.members = isDevice ? ",\"words\":\"goes on by itself\""
                                 : fmt::format(",\"timer\":{},\"started_ms\":{}", id, started.ms);
    if (timer == m_timers.end())
        return;
    if (again)
        timer->second.dueMs += timer->second.periodMs;
    else
        Forget(timer);
}
} // namespace lighting_host

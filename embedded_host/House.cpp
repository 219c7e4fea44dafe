#include "embedded_host/House.h"

#include "embedded_host/LibraryLog.h"
#include "embedded_host/internal/HostedDriver.h"
#include "embedded_host/internal/TimerWheel.h"

#include <algorithm>

namespace embedded_host
{
namespace
{
// What a driver says to a group, and what its members are told.
const std::string RAMP_TO_LEVEL = "RAMP_TO_LEVEL";
const std::string GROUP_RAMP_TO_LEVEL = "GROUP_RAMP_TO_LEVEL";
const std::string SET_LEVEL = "SET_LEVEL";
const std::string GROUP_SET_LEVEL = "GROUP_SET_LEVEL";
const std::string BUTTON_ACTION = "BUTTON_ACTION";
const std::string GROUP_START_RAMP = "GROUP_START_RAMP";
const std::string GROUP_STOP_RAMP = "GROUP_STOP_RAMP";
const std::string GROUP_ID = "GROUP_ID";
const std::string BUTTON_ID = "BUTTON_ID";
const std::string ACTION = "ACTION";
const std::string RATE = "RATE";
const std::string RAMP_UP = "RAMP_UP";
const std::string INT = "INT";
const std::string BOOL = "BOOL";
constexpr int ACTION_STOP = 0;
constexpr int ACTION_START = 1;
constexpr int BUTTON_UP = 0;

// The group's form of a command; an empty name when the command has none.
CmdMessage ForGroup(const ICmdMessage& command)
{
    const std::string& name = command.GetName();
    if (name == BUTTON_ACTION)
    {
        const int action = command.GetParamInt(ACTION);
        if (action == ACTION_STOP)
            return CmdMessage(GROUP_STOP_RAMP);
        if (action != ACTION_START)
            return CmdMessage(std::string());
        CmdMessage start(GROUP_START_RAMP);
        start.AddParam(RATE, INT, 0LL);
        const bool up = command.GetParamInt(BUTTON_ID) == BUTTON_UP;
        start.AddParam(RAMP_UP, BOOL, std::string(up ? "true" : "false"));
        return start;
    }
    if (name != RAMP_TO_LEVEL && name != SET_LEVEL)
        return CmdMessage(std::string());
    CmdMessage message(name == SET_LEVEL ? GROUP_SET_LEVEL : GROUP_RAMP_TO_LEVEL);
    for (const MessageParam& param : ParamsOf(command))
    {
        if (param.name != GROUP_ID)
            message.Append(param);
    }
    return message;
}
} // namespace

// The house's wheel; takes each timer that is due to whose it is.
class House::HouseTimers : private TimerWheel::Sink
{
public:
    explicit HouseTimers(Clock& clock) : m_clock(clock) {}

    void Advance(std::int64_t untilMs) { wheel.Advance(untilMs, *this); }

    TimerWheel wheel;
    // Of the simulated devices' timers; without a context.
    TimerWheel::Owner devices{TimerWheel::DEVICE, nullptr};

private:
    void OnTimerDue(const TimerWheel::Due& due) override
    {
        m_clock.MoveTo(due.dueMs);
        const std::int64_t elapsedNs = m_clock.NowNs() - due.startedNs;
        if (due.context)
            static_cast<nx::DriverHost*>(due.context)->TimerDue(due.id, due.callback, elapsedNs);
        else
            due.callback->OnTimerExpired(due.id, static_cast<time_t>(elapsedNs));
    }

    Clock& m_clock;
};

House::House(Clock& clock, Random& random, OutputSink& sink)
    : m_clock(clock), m_random(random), m_sink(sink), m_timers(std::make_unique<HouseTimers>(clock))
{
    EnsureLibraryLog();
}

House::~House()
{
    StopAll();
}

nx::DriverHost* House::Add(DriverConfig config)
{
    if (m_byName.count(config.name) != 0 || m_byId.count(config.id) != 0)
        return nullptr;
    m_drivers.push_back(std::make_unique<HostedDriver>(*this, std::move(config)));
    nx::DriverHost* added = m_drivers.back().get();
    m_byName[added->Config().name] = added;
    m_byId[added->Config().id] = added;
    return added;
}

void House::AddGroup(unsigned id, const std::vector<std::string>& members)
{
    Group group;
    for (const std::string& name : members)
    {
        if (nx::DriverHost* member = Find(name))
            group.members.push_back(member);
    }
    m_groups[id] = group;
    m_groupMembers.insert(group.members.begin(), group.members.end());
}

void House::StartAll()
{
    for (const auto& driver : m_drivers)
        driver->Start(driver->Config().state);
}

void House::StopAll()
{
    for (const auto& driver : m_drivers)
        driver->Stop();
}

nx::DriverHost* House::Find(const std::string& name) const
{
    const auto found = m_byName.find(name);
    return found == m_byName.end() ? nullptr : found->second;
}

nx::DriverHost* House::FindId(unsigned deviceId) const
{
    const auto found = m_byId.find(deviceId);
    return found == m_byId.end() ? nullptr : found->second;
}

void House::Advance(std::int64_t ms)
{
    const std::int64_t now = m_clock.NowMs();
    const std::int64_t until = now + std::clamp<std::int64_t>(ms, 0, Clock::LATEST_MS - now);
    m_timers->Advance(until);
    m_clock.MoveTo(until);
}

std::int64_t House::NextWakeMs() const
{
    return m_timers->wheel.NextWakeMs();
}

TimerWheel& House::Timers()
{
    return m_timers->wheel;
}

void House::ObserveTimers(TimerObserver* observer)
{
    m_timers->wheel.Observe(observer);
}

unsigned House::AddDeviceTimer(std::uint64_t delayMs, ITimerManagerCallback* callback)
{
    return m_timers->wheel.Add(m_timers->devices, m_clock.NowNs(), delayMs, 1, callback);
}

void House::KillDeviceTimer(unsigned id)
{
    m_timers->wheel.Kill(m_timers->devices, id);
}

// Without a scope around it, a forward is a chain of its own.
bool House::ChainGoesOn()
{
    if (m_chain != HostScope::Chain() || !HostScope::Current())
        m_chainCommands = 0;
    m_chain = HostScope::Chain();
    const std::size_t most = std::max(SHORTEST_CUT, m_groups.size() * m_groupMembers.size());
    return m_chainCommands++ < most;
}

void House::ForwardToGroup(unsigned group, const ICmdMessage& command)
{
    const auto found = m_groups.find(group);
    if (found == m_groups.end() || found->second.delivering)
        return;
    CmdMessage message = ForGroup(command);
    if (message.GetName().empty())
        return;
    message.AddParam(GROUP_ID, INT, static_cast<long long>(group));
    found->second.delivering = true;
    for (nx::DriverHost* member : found->second.members)
    {
        if (ChainGoesOn())
            member->Command(message, CmdDispatcher::CONTROLLER);
    }
    found->second.delivering = false;
}

int House::AddVariable(unsigned deviceId, unsigned id, const std::string& name, unsigned,
                       const std::string& value, int, int, int)
{
    nx::DriverHost* driver = FindId(deviceId);
    return driver && driver->AddVariable(id, name, value) ? 0 : 1;
}

int House::SetVariable(unsigned deviceId, unsigned id, const std::string& value, unsigned, int)
{
    nx::DriverHost* driver = FindId(deviceId);
    return driver && driver->SetVariable(id, value) ? 0 : 1;
}

int House::RemoveVariable(unsigned deviceId, unsigned id)
{
    nx::DriverHost* driver = FindId(deviceId);
    return driver && driver->RemoveVariable(id) ? 0 : 1;
}
} // namespace embedded_host

#include "embedded_host/House.h"

#include "embedded_host/LibraryLog.h"

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
const std::string LEVEL = "LEVEL";
const std::string TIME = "TIME";
const std::string BUTTON_ID = "BUTTON_ID";
const std::string ACTION = "ACTION";
const std::string RATE = "RATE";
const std::string RAMP_UP = "RAMP_UP";
const std::string INT = "INT";
const std::string BOOL = "BOOL";

void CopyNumber(const ICmdMessage& from, const std::string& name, CmdMessage& to)
{
    to.AddParam(name, INT, static_cast<long long>(from.GetParamInt(name)));
}

// The group's form of a command; empty name when the command has none.
CmdMessage ForGroup(unsigned group, const ICmdMessage& command)
{
    const std::string& name = command.GetName();
    CmdMessage message{std::string()};
    if (name == RAMP_TO_LEVEL)
    {
        message = CmdMessage(GROUP_RAMP_TO_LEVEL);
        CopyNumber(command, LEVEL, message);
        CopyNumber(command, TIME, message);
    }
    else if (name == SET_LEVEL)
    {
        message = CmdMessage(GROUP_SET_LEVEL);
        CopyNumber(command, LEVEL, message);
    }
    else if (name == BUTTON_ACTION && command.GetParamInt(ACTION) == 1)
    {
        message = CmdMessage(GROUP_START_RAMP);
        message.AddParam(RATE, INT, 0LL);
        message.AddParam(RAMP_UP, BOOL,
                         std::string(command.GetParamInt(BUTTON_ID) == 0 ? "true" : "false"));
    }
    else if (name == BUTTON_ACTION)
        message = CmdMessage(GROUP_STOP_RAMP);
    message.AddParam(GROUP_ID, INT, static_cast<long long>(group));
    return message;
}
} // namespace

House::House(Clock& clock, Random& random, OutputSink& sink)
    : m_clock(clock), m_random(random), m_sink(sink)
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
    m_drivers.push_back(std::make_unique<nx::DriverHost>(*this, std::move(config)));
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
    const std::int64_t until = m_clock.NowMs() + std::max<std::int64_t>(ms, 0);
    m_timers.Advance(until, *this);
    m_clock.MoveTo(until);
}

void House::OnTimerDue(const TimerWheel::Due& due)
{
    m_clock.MoveTo(due.dueMs);
    if (due.context)
    {
        static_cast<nx::DriverHost*>(due.context)
            ->TimerDue(due.id, due.callback, m_clock.NowNs() - due.startedNs, due.last);
        return;
    }
    due.callback->OnTimerExpired(due.id, static_cast<time_t>(m_clock.NowNs() - due.startedNs));
}

unsigned House::AddDeviceTimer(std::uint64_t delayMs, ITimerManagerCallback* callback)
{
    return m_timers.Add(TimerWheel::DEVICE, m_clock.NowNs(), delayMs, 1, nullptr, callback);
}

void House::KillDeviceTimer(unsigned id)
{
    if ((id & TimerWheel::DEVICE) != 0)
        m_timers.Kill(id);
}

void House::ForwardToGroup(unsigned group, const ICmdMessage& command)
{
    const auto found = m_groups.find(group);
    if (found == m_groups.end() || found->second.delivering)
        return;
    const CmdMessage message = ForGroup(group, command);
    if (message.GetName().empty())
        return;
    found->second.delivering = true;
    for (nx::DriverHost* member : found->second.members)
        member->Command(message, CmdDispatcher::CONTROLLER);
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

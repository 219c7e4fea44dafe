#include "embedded_host/House.h"

#include "embedded_host/LibraryLog.h"
#include "embedded_host/internal/BindingLinks.h"
#include "embedded_host/internal/HostedDriver.h"
#include "embedded_host/internal/TimerWheel.h"

#include <algorithm>
#include <optional>
#include <utility>

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

// What a group can be told. Each is a bit of Group::delivered.
enum class GroupCommand
{
    RampToLevel,
    SetLevel,
    StartRamp,
    StopRamp,
};

// What a command is for a group; nothing when it is nothing for one.
std::optional<GroupCommand> AsGroupCommand(const ICmdMessage& command)
{
    const std::string& name = command.GetName();
    if (name == RAMP_TO_LEVEL)
        return GroupCommand::RampToLevel;
    if (name == SET_LEVEL)
        return GroupCommand::SetLevel;
    if (name != BUTTON_ACTION)
        return std::nullopt;
    const int action = command.GetParamInt(ACTION);
    if (action == ACTION_START)
        return GroupCommand::StartRamp;
    return action == ACTION_STOP ? std::optional(GroupCommand::StopRamp) : std::nullopt;
}

CmdMessage WithParams(const std::string& name, const ICmdMessage& command)
{
    CmdMessage message(name);
    for (const MessageParam& param : ParamsOf(command))
    {
        if (param.name != GROUP_ID)
            message.Append(param);
    }
    return message;
}

CmdMessage StartRamp(const ICmdMessage& command)
{
    CmdMessage start(GROUP_START_RAMP);
    start.AddParam(RATE, INT, 0LL);
    const bool up = command.GetParamInt(BUTTON_ID) == BUTTON_UP;
    start.AddParam(RAMP_UP, BOOL, std::string(up ? "true" : "false"));
    return start;
}

// The group's form of a command.
CmdMessage ForGroup(GroupCommand kind, const ICmdMessage& command)
{
    switch (kind)
    {
    case GroupCommand::RampToLevel:
        return WithParams(GROUP_RAMP_TO_LEVEL, command);
    case GroupCommand::SetLevel:
        return WithParams(GROUP_SET_LEVEL, command);
    case GroupCommand::StartRamp:
        return StartRamp(command);
    case GroupCommand::StopRamp:
        break;
    }
    return CmdMessage(GROUP_STOP_RAMP);
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
        m_clock.MoveTo(std::chrono::milliseconds(due.dueMs));
        const std::int64_t elapsedNs = m_clock.NowExactly().count() - due.startedNs;
        if (due.context)
            static_cast<nx::DriverHost*>(due.context)->TimerDue(due.id, due.callback, elapsedNs);
        else
            due.callback->OnTimerExpired(due.id, static_cast<time_t>(elapsedNs));
    }

    Clock& m_clock;
};

House::House(Clock& clock, Random& random, OutputSink& sink)
    : m_clock(clock), m_random(random), m_sink(sink),
      m_timers(std::make_unique<HouseTimers>(clock)), m_links(std::make_unique<BindingLinks>())
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
    m_groups[id] = std::move(group);
}

void House::Bind(const std::string& one, unsigned oneBinding, const std::string& other,
                 unsigned otherBinding)
{
    nx::DriverHost* const first = Find(one);
    nx::DriverHost* const second = Find(other);
    if (first && second)
        m_links->Add({first, oneBinding}, {second, otherBinding});
}

void House::StartAll()
{
    for (const auto& driver : m_drivers)
        driver->Start(static_cast<HostedDriver&>(*driver).TakeState());
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

void House::Advance(std::chrono::milliseconds time)
{
    const std::chrono::milliseconds now = m_clock.Now();
    const std::chrono::milliseconds until =
        now + std::clamp(time, std::chrono::milliseconds(0), Clock::LATEST - now);
    m_timers->Advance(until.count());
    m_clock.MoveTo(until);
}

std::optional<std::chrono::milliseconds> House::NextWake() const
{
    const std::int64_t wakeMs = m_timers->wheel.NextWakeMs();
    if (wakeMs < 0)
        return std::nullopt;
    return std::chrono::milliseconds(wakeMs);
}

TimerWheel& House::Timers()
{
    return m_timers->wheel;
}

void House::ObserveTimers(TimerObserver* observer)
{
    m_timers->wheel.Observe(observer);
}

unsigned House::AddDeviceTimer(std::chrono::milliseconds delay, ITimerManagerCallback* callback)
{
    const auto delayMs = static_cast<std::uint64_t>(std::max<std::int64_t>(delay.count(), 0));
    return m_timers->wheel.Add(m_timers->devices, m_clock.NowExactly().count(), delayMs, 1,
                               callback);
}

void House::KillDeviceTimer(unsigned id)
{
    m_timers->wheel.Kill(m_timers->devices, id);
}

void House::ForwardToGroup(unsigned group, const ICmdMessage& command)
{
    const auto found = m_groups.find(group);
    const std::optional<GroupCommand> kind = AsGroupCommand(command);
    if (found == m_groups.end() || !kind)
        return;
    const EffectChain chain;
    Group& target = found->second;
    if (target.chain != EffectChain::Number())
        target.delivered = 0;
    target.chain = EffectChain::Number();
    const unsigned bit = 1u << static_cast<unsigned>(*kind);
    if ((target.delivered & bit) != 0)
        return;
    CmdMessage message = ForGroup(*kind, command);
    message.AddParam(GROUP_ID, INT, static_cast<long long>(group));
    target.delivered |= bit;
    Deliver(target.members, std::move(message));
}

void House::Deliver(const std::vector<nx::DriverHost*>& members, CmdMessage message)
{
    if (m_nestedForwards == MAX_NESTED_FORWARDS)
    {
        m_postponed.emplace_back(members, std::move(message));
        return;
    }
    ++m_nestedForwards;
    for (nx::DriverHost* member : members)
        member->Command(message, CmdDispatcher::CONTROLLER);
    while (m_nestedForwards == 1 && !m_postponed.empty())
    {
        const auto next = std::move(m_postponed.front());
        m_postponed.pop_front();
        for (nx::DriverHost* member : next.first)
            member->Command(next.second, CmdDispatcher::CONTROLLER);
    }
    --m_nestedForwards;
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

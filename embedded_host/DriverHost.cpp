#include "embedded_host/DriverHost.h"

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "NxLibDriverBases/NxZclPacket.h"
#include "embedded_host/Clock.h"
#include "embedded_host/DeviceLink.h"
#include "embedded_host/House.h"
#include "embedded_host/internal/BindingLinks.h"
#include "embedded_host/internal/HostedDriver.h"
#include "embedded_host/internal/TimerWheel.h"
#include "nxshared/IBusListener.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <chrono>

namespace nx
{
using namespace embedded_host;

namespace
{
constexpr std::uint64_t SECOND_IN_MS = std::chrono::milliseconds(std::chrono::seconds(1)).count();
const std::string TOO_MANY_TIMERS =
    "its timers of 0 ms start each other without end; from now on each takes 1 ms";
} // namespace

DriverHost::DriverHost(House& house, DriverConfig config)
    : m_config(std::move(config)), m_house(house)
{
}

DriverHost::~DriverHost() = default;

HostedDriver& DriverHost::Parts()
{
    return static_cast<HostedDriver&>(*this);
}

CmdTable& DriverHost::Commands()
{
    return Parts().commands;
}

MibTable& DriverHost::Mibs()
{
    return Parts().mibs;
}

CondTable& DriverHost::Conditions()
{
    return Parts().conditions;
}

void DriverHost::Start(const boost::shared_ptr<XmlNode>& state)
{
    Stop();
    CallDriver("its constructor",
               [&]
               {
                   m_driver.reset(m_config.create(*this));
                   if (!m_driver)
                       Fault("it was not made");
               });
    if (!m_driver)
    {
        // What a half-made driver left behind refers to it.
        DropRegistrations();
        return;
    }
    CallDriver("Initialize",
               [&]
               {
                   boost::shared_ptr<XmlNode> config = m_config.config;
                   if (!config)
                       config = CreateXmlNode();
                   if (!m_driver->Initialize(m_config.id, config, state))
                       Fault("Initialize failed");
               });
    m_house.Links().OnStarted(*this);
    ShrinkToFit();
}

// Most drivers register once, when they are made: what their tables hold in reserve is given back.
void DriverHost::ShrinkToFit()
{
    Commands().ShrinkToFit();
    Mibs().ShrinkToFit();
    Conditions().ShrinkToFit();
    m_variables.shrink_to_fit();
    m_bindings.shrink_to_fit();
}

void DriverHost::Stop()
{
    if (!m_driver)
        return;
    CallDriver("its destructor", [&] { m_driver.reset(); });
    DropRegistrations();
}

void DriverHost::DropRegistrations()
{
    m_mibDriver = nullptr;
    m_house.Timers().KillAll(Parts().timers, nullptr);
    Commands().Clear();
    Mibs().Clear();
    Conditions().Clear();
    m_variables.clear();
    m_bindings.clear();
    m_requests.clear();
    Parts().timersWithoutDelay = TimersWithoutDelay();
    Parts().illegalGroups.TellCounts(m_config.name);
}

void DriverHost::Restart()
{
    const std::string persisted = Persist();
    Stop();
    const auto document = persisted.empty() ? nullptr : CreateXmlDocument(persisted);
    if (!persisted.empty() && !document)
        Fault("its state cannot be read back");
    Start(document ? document->GetRoot() : nullptr);
}

std::string DriverHost::Command(const ICmdMessage& message, unsigned caller)
{
    CmdReturn ret;
    if (m_driver)
        CallDriver("the command", message.GetName().c_str(),
                   [&] { Commands().Dispatch(message, &ret, caller); });
    return ret.Reason();
}

void DriverHost::Condition(const ICondMessage& message)
{
    if (m_driver)
        CallDriver("the condition", message.GetName().c_str(),
                   [&] {
                       Emit(ConditionResult{message.GetName(), Conditions().Test(message)});
                   });
}

void DriverHost::Trap(const NxMIBPacket& trap)
{
    if (m_driver)
        CallDriver("the trap", trap.GetMib().c_str(), [&] { Mibs().DispatchTrap(trap); });
}

void DriverHost::Reply(const NxMIBPacket& reply)
{
    boost::shared_ptr<NxMIBPacket> request;
    for (Requests& requests : m_requests)
    {
        if (requests.mib != reply.GetMib() || requests.unanswered.empty())
            continue;
        request = requests.unanswered.front();
        requests.unanswered.erase(requests.unanswered.begin());
        break;
    }
    ReplyTo(reply, request.get());
}

void DriverHost::ReplyTo(const NxMIBPacket& reply, const NxMIBPacket* request)
{
    if (m_driver)
        CallDriver("the reply", reply.GetMib().c_str(),
                   [&] { Mibs().DispatchResponse(reply, request); });
}

void DriverHost::Online(bool online)
{
    if (!m_driver)
        return;
    if (!m_told || m_told->online != online)
        m_told = Told{online, m_house.GetClock().Now().count()};
    CallDriver("the online status",
               [&]
               {
                   if (m_mibDriver)
                       m_mibDriver->OnMIBDeviceOnlineStatusChanged(
                           online ? DEVICE_ONLINE : DEVICE_OFFLINE, std::string(), std::string());
                   else
                       m_driver->OnDeviceOnlineChanged(online);
               });
}

void DriverHost::BindingMade(unsigned binding, const std::string& cls, bool bound)
{
    if (m_driver)
        CallDriver("a change of the binding", cls.c_str(),
                   [&] { m_driver->OnBindingChanged(binding, cls, bound, 0, 0); });
}

void DriverHost::BoundCall(unsigned binding, const IBindMessage& message)
{
    if (!m_driver)
        return;
    CallDriver("the bound call", message.GetName().c_str(),
               [&]
               {
                   CmdReturn ret;
                   const int result = m_driver->BoundCall(binding, NX_BINDING_CONTROL,
                                                          message.GetName(), message, &ret);
                   Emit(BoundCallResult{result});
               });
}

void DriverHost::BusMessage(int opcode, const std::uint8_t* payload, std::size_t length)
{
    if (!m_driver)
        return;
    CallDriver("a bus message",
               [&]
               {
                   if (IBusListener* listener = m_driver->GetBusListener())
                       listener->OnBusMessage(opcode, payload, length);
               });
}

std::string DriverHost::Persist()
{
    std::string text;
    if (m_driver)
        CallDriver("GetPersistState",
                   [&]
                   {
                       if (const auto state = m_driver->GetPersistState(0))
                           text = state->ToText();
                   });
    return text;
}

void DriverHost::TimerDue(unsigned id, ITimerManagerCallback* callback, std::int64_t elapsedNs)
{
    CallDriver("a timer", [&] { callback->OnTimerExpired(id, static_cast<time_t>(elapsedNs)); });
}

void DriverHost::Emit(Effect effect) const
{
    m_house.GetSink().Write({m_house.GetClock().Now().count(), *this, std::move(effect)});
}

void DriverHost::ReportCall(const char* operation, const std::vector<CallArgument>& arguments) const
{
    Emit(OwnerCall{operation, arguments});
}

Clock& DriverHost::GetClock()
{
    return m_house.GetClock();
}

Random& DriverHost::GetRandom()
{
    return m_house.GetRandom();
}

void DriverHost::OnAssert(const char* file, int line)
{
    Emit(AssertRecord{file, line});
}

void DriverHost::OnLog(const std::string& text, int level, const std::string& file, int line,
                       const std::string& function)
{
    Emit(LogRecord{text, level, file, line, function});
}

void* DriverHost::GetInterface(const std::string& interfaceId)
{
    if (interfaceId == ITimerManager::INTERFACE_ID)
        return static_cast<ITimerManager*>(this);
    if (interfaceId == INTERFACE_ID)
        return this;
    return nullptr;
}

bool DriverHost::AddVariable(unsigned id, const std::string& name, const std::string& value)
{
    if (FindVariable(id))
        return false;
    m_variables.push_back({id, InternName(name), value});
    Emit(VariableChanged{id, name, value, Change::Add});
    return true;
}

bool DriverHost::SetVariable(unsigned id, const std::string& value)
{
    Variable* variable = FindVariable(id);
    if (!variable)
        return false;
    variable->value = value;
    Emit(VariableChanged{id, *variable->name, value, Change::Set});
    return true;
}

bool DriverHost::RemoveVariable(unsigned id)
{
    Variable* variable = FindVariable(id);
    if (!variable)
        return false;
    const Variable removed = *variable;
    m_variables.erase(m_variables.begin() + (variable - m_variables.data()));
    Emit(VariableChanged{id, *removed.name, removed.value, Change::Remove});
    return true;
}

bool DriverHost::AddBinding(unsigned id, const std::string& name, const std::string& cls)
{
    const auto same = [id](const embedded_host::Binding& binding)
    {
        return binding.id == id;
    };
    if (std::any_of(m_bindings.begin(), m_bindings.end(), same))
        return false;
    m_bindings.push_back({id, InternName(name), InternName(cls)});
    Emit(BindingChanged{id, name, cls, Change::Add});
    return true;
}

bool DriverHost::RemoveBinding(unsigned id)
{
    const auto same = [id](const embedded_host::Binding& binding)
    {
        return binding.id == id;
    };
    const auto found = std::find_if(m_bindings.begin(), m_bindings.end(), same);
    if (found == m_bindings.end())
        return false;
    const embedded_host::Binding removed = *found;
    m_bindings.erase(found);
    Emit(BindingChanged{id, *removed.name, *removed.cls, Change::Remove});
    return true;
}

void DriverHost::SendBoundCall(unsigned binding, const IBindMessage& message)
{
    Emit(BoundCallSent{binding, message});
    m_house.Links().Carry(*this, binding, message);
}

const std::string* DriverHost::Capability(const std::string& name) const
{
    for (const auto& capability : m_config.capabilities)
    {
        if (capability.first == name)
            return &capability.second;
    }
    return nullptr;
}

// Only requests that somebody waits for are remembered: a reply that no handler takes needs none.
void DriverHost::SendMib(const boost::shared_ptr<NxMIBPacket>& packet)
{
    if (Mibs().HandlesResponse(packet->GetMib()))
    {
        const auto same = [&](const Requests& requests)
        {
            return requests.mib == packet->GetMib();
        };
        auto found = std::find_if(m_requests.begin(), m_requests.end(), same);
        if (found == m_requests.end())
            found = m_requests.insert(found, {packet->GetMib(), {}});
        if (found->unanswered.size() == MAX_REQUESTS)
            found->unanswered.erase(found->unanswered.begin());
        found->unanswered.push_back(packet);
    }
    Emit(MibSent{*packet});
    if (m_device)
        m_device->OnMibSent(*packet);
}

void DriverHost::SendGateway(const ICmdMessage& command)
{
    Emit(GatewaySent{command});
    if (m_device)
        m_device->OnGatewaySent(command);
}

ID::Timer DriverHost::AddTimer(std::uint64_t amount, unsigned unitFlags,
                               ITimerManagerCallback* callback)
{
    return StartTimer(amount, unitFlags & ~REPEAT,
                      (unitFlags & REPEAT) != 0 ? TimerWheel::FOREVER : 1, callback);
}

ID::Timer DriverHost::AddTimer(unsigned long intervalMs, int, unsigned count,
                               ITimerManagerCallback* callback)
{
    return StartTimer(intervalMs, UNIT_MILLISECONDS, count, callback);
}

void DriverHost::KillTimer(ID::Timer& timer)
{
    m_house.Timers().Kill(Parts().timers, timer);
    timer = 0;
}

void DriverHost::RemoveAllTimers(ITimerManagerCallback* callback)
{
    if (callback)
        m_house.Timers().KillAll(Parts().timers, callback);
}

ID::Timer DriverHost::StartTimer(std::uint64_t amount, unsigned unit, unsigned count,
                                 ITimerManagerCallback* callback)
{
    const std::uint64_t unitMs = unit == UNIT_SECONDS ? SECOND_IN_MS : 1;
    std::uint64_t delayMs = std::min(amount, UINT64_MAX / unitMs) * unitMs;
    if (delayMs == 0)
    {
        TimersWithoutDelay& timers = Parts().timersWithoutDelay;
        if (timers.StartAt(m_house.GetClock().Now().count()))
            Fault(TOO_MANY_TIMERS);
        delayMs = timers.TooMany() ? 1 : 0;
    }
    return m_house.Timers().Add(Parts().timers, m_house.GetClock().NowExactly().count(), delayMs,
                                count, callback);
}

void DriverHost::Fault(const std::string& what) const
{
    const std::string words = "the driver failed: " + what;
    Emit(DriverFault{words});
}

Variable* DriverHost::FindVariable(unsigned id)
{
    for (Variable& variable : m_variables)
    {
        if (variable.id == id)
            return &variable;
    }
    return nullptr;
}
} // namespace nx

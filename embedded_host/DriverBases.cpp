// The driver bases: each operation is handed to the host's side of the driver.

#include "NxLibDriverBases/NxBaseDriver.h"
#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/internal/Dispatchers.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <stdexcept>

#include <boost/make_shared.hpp>

using nx::DriverHost;

namespace
{
const std::string EMPTY;

DriverHost* FindHost(IInstanceManager& instances)
{
    void* host = instances.GetInterface(DriverHost::INTERFACE_ID);
    if (!host)
        throw std::logic_error("the instance manager is not this host's");
    return static_cast<DriverHost*>(host);
}
} // namespace

NxBaseDriver::NxBaseDriver(IInstanceManager& instances, NxDriverType) : m_host(FindHost(instances))
{
}

NxBaseDriver::~NxBaseDriver()
{
    m_host->Timers().RemoveAllTimers(this);
}

bool NxBaseDriver::Initialize(unsigned, boost::shared_ptr<nx::XmlNode>&,
                              boost::shared_ptr<nx::XmlNode>)
{
    return true;
}

boost::shared_ptr<nx::XmlNode> NxBaseDriver::GetPersistState(unsigned long)
{
    return nullptr;
}

int NxBaseDriver::BoundCall(ID::Binding, BindingType, const std::string&, const IBindMessage&,
                            ICmdReturn*)
{
    return 0;
}

void NxBaseDriver::OnBindingChanged(unsigned, const std::string&, bool, unsigned, unsigned) {}

void NxBaseDriver::OnDeviceOnlineChanged(bool) {}

void NxBaseDriver::OnTimerExpired(ID::Timer, time_t) {}

IZclListener* NxBaseDriver::GetZclListener()
{
    return nullptr;
}

IBusListener* NxBaseDriver::GetBusListener()
{
    return nullptr;
}

const std::string& NxBaseDriver::GetDriverName() const
{
    return m_host->Config().name;
}

unsigned NxBaseDriver::GetDeviceId() const
{
    return m_host->Config().id;
}

CmdDispatcher& NxBaseDriver::GetCmdDispatcher()
{
    return m_host->Commands();
}

CondDispatcher& NxBaseDriver::GetCondDispatcher()
{
    return m_host->Conditions();
}

ITimerManager& NxBaseDriver::GetTimerManager()
{
    return m_host->Timers();
}

nx::IVariableManager& NxBaseDriver::GetVariableManager()
{
    return m_host->GetHouse().Variables();
}

ID::Timer NxBaseDriver::AddTimer(unsigned long amount, unsigned unit, unsigned count)
{
    return m_host->StartTimer(amount, unit, count, this);
}

void NxBaseDriver::KillTimer(ID::Timer timer)
{
    m_host->Timers().KillTimer(timer);
}

void NxBaseDriver::FireEvent(unsigned event)
{
    m_host->Emit(embedded_host::EventFired{event});
}

bool NxBaseDriver::AddVariable(unsigned id, const std::string& name, const std::string& value,
                               unsigned)
{
    return m_host->AddVariable(id, name, value);
}

bool NxBaseDriver::SetVariable(unsigned id, const std::string& value)
{
    return m_host->SetVariable(id, value);
}

bool NxBaseDriver::RemoveVariable(unsigned id)
{
    return m_host->RemoveVariable(id);
}

bool NxBaseDriver::AddDynamicBinding(ID::Binding id, BindingType, int, const std::string& name,
                                     const std::string& cls, int, int)
{
    return m_host->AddBinding(id, name, cls);
}

bool NxBaseDriver::RemoveDynamicBinding(ID::Binding id)
{
    return m_host->RemoveBinding(id);
}

boost::shared_ptr<IBindMessage> NxBaseDriver::CreateBindMessage()
{
    return boost::make_shared<embedded_host::BindMessage>();
}

void NxBaseDriver::SendBoundCall(ID::Binding binding,
                                 const boost::shared_ptr<IBindMessage>& message)
{
    if (message)
        m_host->SendBoundCall(binding, *message);
}

bool NxBaseDriver::HasCapability(const std::string& name) const
{
    return m_host->Capability(name) != nullptr;
}

const std::string& NxBaseDriver::GetCapability(const std::string& name) const
{
    const std::string* value = m_host->Capability(name);
    return value ? *value : EMPTY;
}

bool NxBaseDriver::GetCapabilityBool(const std::string& name) const
{
    return embedded_host::LeadingTruth(GetCapability(name));
}

void NxBaseDriver::SendDataToUI(const boost::shared_ptr<nx::XmlNode>& data)
{
    if (data)
        m_host->Emit(embedded_host::UiData{*data});
}

boost::shared_ptr<ICmdMessage> NxBaseDriver::CreateCommandMessage(const std::string& name)
{
    return boost::make_shared<embedded_host::CmdMessage>(name);
}

boost::shared_ptr<ICmdMessage> NxBaseDriver::CreateCommandMessageFromXml(const std::string& xml)
{
    const auto document = nx::CreateXmlDocument(xml);
    const auto message = boost::make_shared<embedded_host::CmdMessage>(std::string());
    if (!document || !message->FromXml(document->GetRoot()))
        return nullptr;
    return message;
}

bool NxBaseDriver::DispatchCommand(const ICmdMessage& message, ICmdReturn* ret, unsigned caller)
{
    return m_host->Commands().Dispatch(message, ret, caller);
}

void NxBaseDriver::ForwardToGroup(unsigned group, const ICmdMessage& command)
{
    m_host->GetHouse().ForwardToGroup(group, command);
}

void NxBaseDriver::SendToGateway(const ICmdMessage& command)
{
    m_host->SendGateway(command);
}

void NxBaseDriver::SendZclPacket(NxZclPacket& packet, unsigned char endpoint)
{
    m_host->SendZcl(packet, endpoint);
}

void NxBaseDriver::RequestPersist()
{
    if (const auto& requested = m_host->GetHouse().onPersistRequested)
        requested(*m_host);
}

NxBaseMibDriver::NxBaseMibDriver(IInstanceManager& instances, NxDriverType type, int)
    : NxBaseDriver(instances, type)
{
    Host().SetMibDriver(this);
}

void NxBaseMibDriver::OnMIBDeviceOnlineStatusChanged(DeviceStatus, const std::string&,
                                                     const std::string&)
{
}

MibDispatcher& NxBaseMibDriver::GetMibDispatcher()
{
    return Host().Mibs();
}

void NxBaseMibDriver::SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet, int)
{
    if (packet)
        Host().SendMib(packet);
}

// The embedded host knows the device's information from the house file: there is nothing to ask.
void NxBaseMibDriver::QueryDeviceInfo() {}

#include "embedded_host/internal/Dispatchers.h"

#include "nxshared/ICmdMessage.h"
#include "nxshared/ICondMessage.h"
#include "nxshared/NxMIBPacket.h"

#include <unordered_set>

namespace embedded_host
{
const std::string* InternName(const std::string& name)
{
    static std::unordered_set<std::string> names;
    return &*names.insert(name).first;
}

void CmdTable::RegisterCmd(const std::string& name, const Handler& handler)
{
    m_table.Add(name, handler);
}

void CmdTable::RegisterCmd1(const std::string& name, const Handler1& handler)
{
    m_table.Add(name, [handler](const ICmdMessage& message, ICmdReturn*) { handler(message); });
}

void CmdTable::RegisterCmd0(const std::string& name, const Handler0& handler)
{
    m_table.Add(name, [handler](const ICmdMessage&, ICmdReturn*) { handler(); });
}

void CmdTable::RemoveCmd(const std::string& name)
{
    m_table.Remove(name);
}

bool CmdTable::Dispatch(const ICmdMessage& message, ICmdReturn* ret, unsigned)
{
    const bool handled = m_table.Run(message.GetName(), [&message, ret](const Handler& handler)
                                     { handler(message, ret); });
    if (!handled)
        m_unhandled.OnUnhandled(message.GetName());
    return handled;
}

void MibTable::RegisterResponse(const std::string& mib, const ResponseHandler& handler)
{
    m_responses.Add(mib, handler);
}

void MibTable::RegisterTrap(const std::string& mib, const TrapHandler& handler)
{
    m_traps.Add(mib, handler);
}

void MibTable::RemoveResponse(const std::string& mib)
{
    m_responses.Remove(mib);
}

void MibTable::RemoveTrap(const std::string& mib)
{
    m_traps.Remove(mib);
}

bool MibTable::DispatchResponse(const NxMIBPacket& reply, const NxMIBPacket* request)
{
    return m_responses.Run(reply.GetMib(), [&reply, request](const ResponseHandler& handler)
                           { handler(reply, request); });
}

bool MibTable::DispatchTrap(const NxMIBPacket& trap)
{
    return m_traps.Run(trap.GetMib(), [&](const TrapHandler& handler) { handler(trap); });
}

void MibTable::Clear()
{
    m_responses.Clear();
    m_traps.Clear();
}

void MibTable::ShrinkToFit()
{
    m_responses.ShrinkToFit();
    m_traps.ShrinkToFit();
}

void CondTable::RegisterCond(const std::string& name, const Handler& handler)
{
    m_table.Add(name, handler);
}

void CondTable::RemoveCond(const std::string& name)
{
    m_table.Remove(name);
}

bool CondTable::Test(const ICondMessage& message)
{
    bool answer = false;
    m_table.Run(message.GetName(),
                [&](const Handler& handler) { answer = handler(message, nullptr); });
    return answer;
}
} // namespace embedded_host

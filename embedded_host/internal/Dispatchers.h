#pragma once

#include "embedded_host/internal/HandlerTable.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/CondDispatcher.h"
#include "nxshared/MibDispatcher.h"

namespace embedded_host
{
// Told of commands that nobody handles.
class UnhandledSink
{
public:
    virtual ~UnhandledSink() = default;
    virtual void OnUnhandled(const std::string& name) = 0;
};

// The host's table of command handlers.
class CmdTable : public CmdDispatcher
{
public:
    // `unhandled` must outlive the table.
    explicit CmdTable(UnhandledSink& unhandled) : m_unhandled(unhandled) {}

    void RegisterCmd(const std::string& name, const Handler& handler) override;
    void RegisterCmd1(const std::string& name, const Handler1& handler) override;
    void RegisterCmd0(const std::string& name, const Handler0& handler) override;
    void RemoveCmd(const std::string& name) override;
    bool Dispatch(const ICmdMessage& message, ICmdReturn* ret, unsigned caller) override;

    std::vector<std::string> Names() const { return m_table.Names(); }

    // Drops every handler; gives back memory that further handlers would need.
    void Clear() { m_table.Clear(); }
    void ShrinkToFit() { m_table.ShrinkToFit(); }

private:
    UnhandledSink& m_unhandled;
    HandlerTable<Handler> m_table;
};

// The host's tables of response and trap handlers.
class MibTable : public MibDispatcher
{
public:
    void RegisterResponse(const std::string& mib, const ResponseHandler& handler) override;
    void RegisterTrap(const std::string& mib, const TrapHandler& handler) override;
    void RemoveResponse(const std::string& mib) override;
    void RemoveTrap(const std::string& mib) override;

    // Run the handlers of the packet's id; false when there are none.
    bool DispatchResponse(const NxMIBPacket& reply, const NxMIBPacket* request);
    bool DispatchTrap(const NxMIBPacket& trap);

    bool HandlesResponse(const std::string& mib) const { return m_responses.Has(mib); }
    std::vector<std::string> Traps() const { return m_traps.Names(); }
    std::vector<std::string> Responses() const { return m_responses.Names(); }

    // Drops every handler; gives back memory that further handlers would need.
    void Clear();
    void ShrinkToFit();

private:
    HandlerTable<TrapHandler> m_traps;
    HandlerTable<ResponseHandler> m_responses;
};

// The host's table of condition handlers.
class CondTable : public CondDispatcher
{
public:
    void RegisterCond(const std::string& name, const Handler& handler) override;
    void RemoveCond(const std::string& name) override;

    // The answer of the last handler of the message's name; false when there is none.
    bool Test(const ICondMessage& message);

    std::vector<std::string> Names() const { return m_table.Names(); }

    // Drops every handler; gives back memory that further handlers would need.
    void Clear() { m_table.Clear(); }
    void ShrinkToFit() { m_table.ShrinkToFit(); }

private:
    HandlerTable<Handler> m_table;
};
} // namespace embedded_host

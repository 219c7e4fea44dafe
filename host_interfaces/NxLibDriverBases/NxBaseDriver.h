#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/Ids.h"

#include <string>

#include <boost/shared_ptr.hpp>

class CmdDispatcher;
class CondDispatcher;
class IBindMessage;
class IBusListener;
class ICmdMessage;
class ICmdReturn;
class IInstanceManager;
class ITimerManager;
class IZclListener;
class NxZclPacket;

namespace nx
{
class DriverHost;
class IVariableManager;
class XmlNode;
} // namespace nx

// The controller's type codes of drivers and bindings (wire values of the host, do not change).
enum NxDriverType : int
{
    NX_DRIVER_LIGHT = 1,
    NX_DRIVER_KEYPAD = 2,
};
enum BindingType : int
{
    NX_BINDING_CONTROL = 1,
};

// The base of every driver: what the host calls, and what a driver asks of its host.
//
// Life: the host constructs the driver (which creates its objects and registers its handlers),
// calls Initialize once, then delivers commands, conditions, bound calls, device messages and
// timers one at a time, and destroys it. All of it happens on the driver's one thread. The host
// keeps the driver's dispatchers, timers and variables until after the destructor.
class NX_HOST_API NxBaseDriver : public ITimerManagerCallback
{
public:
    // `instances` gives out the host's services and must outlive the driver.
    NxBaseDriver(IInstanceManager& instances, NxDriverType type);
    NxBaseDriver(const NxBaseDriver&) = delete;
    NxBaseDriver& operator=(const NxBaseDriver&) = delete;

    // Kills what timers the driver itself has left.
    ~NxBaseDriver() override;

    // Called once, before anything else arrives. `id` is the device's id, `config` the driver's
    // configuration (never null), `state` what GetPersistState gave in an earlier life, null when
    // there is none. An override calls its base first. False makes the host report the failure; the
    // driver stays.
    virtual bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                            boost::shared_ptr<nx::XmlNode> state);

    // What the driver wants to find again after a restart, as one tree; null for nothing. Called
    // when the host persists; `flags` is 0.
    virtual boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags);

    // Called when another driver calls on a binding. Returns a result code; this base takes nothing
    // and returns 0.
    virtual int BoundCall(ID::Binding binding, BindingType type, const std::string& name,
                          const IBindMessage& message, ICmdReturn* ret);

    // Called when a binding of class `cls` was made or broken, repeated or not. The last two are
    // the other side's device and binding, 0 when unknown. This base does nothing.
    virtual void OnBindingChanged(unsigned id, const std::string& cls, bool bound,
                                  unsigned otherDevice, unsigned otherBinding);

    // Called when the device was reported online or offline, for devices that do not speak MIB.
    // This base does nothing.
    virtual void OnDeviceOnlineChanged(bool online);

    // Called when a timer started with AddTimer is due. This base does nothing.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // Who gets the decoded answers of this driver's ZigBee light; null (this base) when nobody
    // does.
    virtual IZclListener* GetZclListener();

    // Who gets what the RS-485 gateway hands on to this driver; null (this base) when nobody does.
    // Called by the host for each message, on the driver's thread; what it returns must stay valid
    // until the driver's destruction begins. Must not call back.
    virtual IBusListener* GetBusListener();

    // The driver's name and its device's id, as the controller has them. The id is valid from
    // construction on.
    const std::string& GetDriverName() const;
    unsigned GetDeviceId() const;

    CmdDispatcher& GetCmdDispatcher();
    CondDispatcher& GetCondDispatcher();
    ITimerManager& GetTimerManager();
    nx::IVariableManager& GetVariableManager();

protected:
    // Starts a timer whose expiry comes to OnTimerExpired of this driver, and returns its id.
    // `unit` is ITimerManager::UNIT_MILLISECONDS or UNIT_SECONDS; the timer fires `count` times, 0
    // meaning for ever.
    ID::Timer AddTimer(unsigned long amount, unsigned unit, unsigned count);

    // Stops a timer; 0, unknown ids and timers that have fired are ignored.
    void KillTimer(ID::Timer timer);

    // Fires a numbered event, which the controller's programming may react to.
    void FireEvent(unsigned event);

    // Adds, sets and removes variables of this driver's own device. `kind` is the host's code (4).
    // True on success.
    bool AddVariable(unsigned id, const std::string& name, const std::string& value, unsigned kind);
    bool SetVariable(unsigned id, const std::string& value);
    bool RemoveVariable(unsigned id);

    // Adds a binding to the driver while it runs. `type` is NX_BINDING_CONTROL; `flag` and the last
    // two are the host's own (0). True on success, false when the id is in use.
    bool AddDynamicBinding(ID::Binding id, BindingType type, int flag, const std::string& name,
                           const std::string& cls, int reserved1, int reserved2);
    bool RemoveDynamicBinding(ID::Binding id);

    // A new, empty message for SendBoundCall.
    boost::shared_ptr<IBindMessage> CreateBindMessage();

    // Sends the message to whoever is bound there; nobody being bound is no error.
    void SendBoundCall(ID::Binding binding, const boost::shared_ptr<IBindMessage>& message);

    // Whether the driver has that capability, and its value as a text (empty when absent) or
    // boolean.
    bool HasCapability(const std::string& name) const;
    const std::string& GetCapability(const std::string& name) const;
    bool GetCapabilityBool(const std::string& name) const;

    // Sends data to the user interface; null is ignored.
    void SendDataToUI(const boost::shared_ptr<nx::XmlNode>& data);

    // A new command message with that name and no parameters, never null.
    boost::shared_ptr<ICmdMessage> CreateCommandMessage(const std::string& name);

    // A command message from a "command" element; null when the text is no such element.
    boost::shared_ptr<ICmdMessage> CreateCommandMessageFromXml(const std::string& xml);

    // Runs a command through this driver's own dispatcher, as if the controller had sent it; the
    // host also notes it when nobody handles it. `caller` is CmdDispatcher::CONTROLLER or a
    // binding.
    bool DispatchCommand(const ICmdMessage& message, ICmdReturn* ret, unsigned caller);

    // Hands a command to every member of a group of loads. It may come back to this driver before
    // this returns.
    void ForwardToGroup(unsigned group, const ICmdMessage& command);

    // Hands a command to the driver of the RS-485 gateway.
    void SendToGateway(const ICmdMessage& command);

    // Sends a ZCL packet to an endpoint of this driver's light.
    void SendZclPacket(NxZclPacket& packet, unsigned char endpoint);

    // Asks for this driver's state to be persisted soon.
    void RequestPersist();

    // The host's side of this driver; for the driver bases only.
    nx::DriverHost& Host() const { return *m_host; }

private:
    // Not owned; outlives the driver.
    nx::DriverHost* m_host;
};

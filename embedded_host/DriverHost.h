#pragma once

// Long on purpose: every way into one driver, in one place.

#include "NxLibDriverBases/NxBaseDriver.h"
#include "embedded_host/CallScope.h"
#include "embedded_host/DriverConfig.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

class NxBaseMibDriver;
class NxMIBPacket;

namespace embedded_host
{
class CmdTable;
class CondTable;
class DeviceLink;
class House;
class HostedDriver;
class MibTable;

namespace zcl
{
struct Reply;
}
} // namespace embedded_host

namespace nx
{
// The host's side of one driver: its dispatchers, timers, variables and bindings; where its effects
// leave, and where everything for it comes in. Owned by a House; outlives its driver, which it
// makes, may make anew, and destroys.
//
// Every operation under "What comes in" runs the driver inside a HostScope and never throws: what a
// handler throws becomes a DriverFault. They do nothing before Start, while the driver is being
// made or destroyed, and after Stop: no handler runs before the driver is constructed or after its
// destruction begins.
class DriverHost : public IInstanceManager,
                   public embedded_host::HostServices,
                   private ITimerManager
{
public:
    // The interface id under which the driver bases find their DriverHost.
    static constexpr const char* INTERFACE_ID = "{8D0C3B0E-6C0B-4E43-9C0B-7F3C1A5F2D11}";

    // How many unanswered requests are remembered for each MIB id.
    static constexpr std::size_t MAX_REQUESTS = 16;

    ~DriverHost() override;

    const embedded_host::DriverConfig& Config() const { return m_config; }
    embedded_host::House& GetHouse() const { return m_house; }

    // Null before Start, after Stop, and when the driver could not be made.
    NxBaseDriver* Driver() const { return m_driver.get(); }
    const std::vector<embedded_host::Variable>& Variables() const { return m_variables; }
    const std::vector<embedded_host::Binding>& Bindings() const { return m_bindings; }

    // Makes and initialises the driver with this state (null for none), or destroys it, with its
    // handlers, timers, variables and bindings. Both may be called again; Start destroys a driver
    // that is there. A driver that cannot be made is a DriverFault, and none is there.
    void Start(const boost::shared_ptr<nx::XmlNode>& state);
    void Stop();

    // Takes the driver's state, destroys it, makes it anew and initialises it with that state, or
    // with none when it keeps none. A state that cannot be read back is a DriverFault.
    void Restart();

    // Runs `work`, which calls the driver, inside a HostScope of this and a CallScope that names
    // `operation`, as in "the command", and what it is about. Never throws: what `work` throws
    // becomes a DriverFault.
    template <class Work>
    void CallDriver(const char* operation, const char* subject, const Work& work)
    {
        const embedded_host::HostScope scope(*this);
        const embedded_host::CallScope call(m_config.name.c_str(), operation, subject);
        try
        {
            work();
        }
        catch (const std::exception& error)
        {
            Fault(error.what());
        }
        catch (...)
        {
            Fault("something that is no exception");
        }
    }
    template <class Work>
    void CallDriver(const char* operation, const Work& work)
    {
        CallDriver(operation, "", work);
    }

    // --- What comes in --------------------------------------------------------------------------

    // A command; `caller` is one of CmdDispatcher's. Returns why the driver refused it, empty when
    // it did not.
    std::string Command(const ICmdMessage& message, unsigned caller);

    // A condition test; the answer leaves as a ConditionResult.
    void Condition(const ICondMessage& message);

    // An unsolicited packet from the device.
    void Trap(const NxMIBPacket& trap);

    // A reply from the device, paired with the oldest unanswered request of its id, or with none.
    // Requests are remembered once a response handler of their id is registered.
    void Reply(const NxMIBPacket& reply);

    // A reply that answers this request; null for none.
    void ReplyTo(const NxMIBPacket& reply, const NxMIBPacket* request);

    // The device's online status; a binding made or broken; a call on a binding, whose result
    // leaves as a BoundCallResult.
    void Online(bool online);

    // What Online has told last, and since when it is so; nothing before it told anything.
    struct Told
    {
        bool online = false;
        std::int64_t sinceMs = 0;
    };
    const std::optional<Told>& LastTold() const { return m_told; }

    void BindingMade(unsigned binding, const std::string& cls, bool bound);
    void BoundCall(unsigned binding, const IBindMessage& message);

    // A ZCL frame from the light, for the driver's IZclListener. Null when it was taken; else what
    // is wrong with it, in words, and nothing happened.
    const char* ZclFrame(std::uint16_t cluster, const std::uint8_t* frame, std::size_t length);

    // The same, already decoded.
    void ZclReply(const embedded_host::zcl::Reply& reply);

    // A message that the RS-485 gateway hands on, for the driver's IBusListener; nothing happens
    // when it has none.
    void BusMessage(int opcode, const std::uint8_t* payload, std::size_t length);

    // The driver's state as XML text, empty when it keeps none.
    std::string Persist();

    // A timer of this driver is due.
    void TimerDue(unsigned id, ITimerManagerCallback* callback, std::int64_t elapsedNs);

    // What is attached at the other end; null for nothing. Must outlive this.
    void Attach(embedded_host::DeviceLink* device) { m_device = device; }

    // --- What goes out --------------------------------------------------------------------------

    void Emit(embedded_host::Effect effect) const;

    // Reports that a library object called an operation of its owner. For drivers that show such
    // calls.
    void ReportCall(const char* operation,
                    const std::vector<embedded_host::CallArgument>& arguments) const;

    // HostServices.
    embedded_host::Clock& GetClock() override;
    embedded_host::Random& GetRandom() override;
    void OnAssert(const char* file, int line) override;
    void OnLog(const std::string& text, int level, const std::string& file, int line,
               const std::string& function) override;

    // IInstanceManager.
    void* GetInterface(const std::string& interfaceId) override;

    // --- What the driver bases ask for (see NxBaseDriver) ---------------------------------------

    void SetMibDriver(NxBaseMibDriver* driver) { m_mibDriver = driver; }
    embedded_host::CmdTable& Commands();
    embedded_host::MibTable& Mibs();
    embedded_host::CondTable& Conditions();
    ITimerManager& Timers() { return *this; }
    ID::Timer StartTimer(std::uint64_t amount, unsigned unit, unsigned count,
                         ITimerManagerCallback* callback);
    bool AddVariable(unsigned id, const std::string& name, const std::string& value);
    bool SetVariable(unsigned id, const std::string& value);
    bool RemoveVariable(unsigned id);
    bool AddBinding(unsigned id, const std::string& name, const std::string& cls);
    bool RemoveBinding(unsigned id);
    void SendBoundCall(unsigned binding, const IBindMessage& message);
    const std::string* Capability(const std::string& name) const;
    void SendMib(const boost::shared_ptr<NxMIBPacket>& packet);
    void SendZcl(NxZclPacket& packet, unsigned char endpoint);
    void SendGateway(const ICmdMessage& command);

private:
    // Every DriverHost is a HostedDriver, which holds what only the host itself looks at: the
    // handlers and the timers. `house` must outlive this.
    friend class embedded_host::HostedDriver;
    DriverHost(embedded_host::House& house, embedded_host::DriverConfig config);
    embedded_host::HostedDriver& Parts();

    struct Requests
    {
        std::string mib;
        std::vector<boost::shared_ptr<NxMIBPacket>> unanswered;
    };

    // ITimerManager.
    ID::Timer AddTimer(std::uint64_t amount, unsigned unitFlags,
                       ITimerManagerCallback* callback) override;
    ID::Timer AddTimer(unsigned long intervalMs, int reserved, unsigned count,
                       ITimerManagerCallback* callback) override;
    void KillTimer(ID::Timer& timer) override;
    void RemoveAllTimers(ITimerManagerCallback* callback) override;

    void DropRegistrations();
    void ShrinkToFit();
    void Fault(const std::string& what) const;
    embedded_host::Variable* FindVariable(unsigned id);

    embedded_host::DriverConfig m_config;
    std::vector<embedded_host::Variable> m_variables;
    std::vector<embedded_host::Binding> m_bindings;
    std::vector<Requests> m_requests;
    embedded_host::DeviceLink* m_device = nullptr;
    NxBaseMibDriver* m_mibDriver = nullptr;
    std::uint8_t m_zclSequence = 0;
    // What every packet needs comes last, beside the handlers of packets.
    embedded_host::House& m_house;
    std::unique_ptr<NxBaseDriver> m_driver;
    std::optional<Told> m_told;
};
} // namespace nx

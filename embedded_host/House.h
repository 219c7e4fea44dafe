#pragma once

#include "embedded_host/Clock.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/Output.h"
#include "embedded_host/Random.h"
#include "nxshared/IVariableManager.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace embedded_host
{
class BindingLinks;
class TimerObserver;
class TimerWheel;

// The embedded host: the drivers of one house, their timers, their groups of loads and the one sink
// of their effects.
//
// Lives on one thread; nothing here waits or sleeps. A house on a VirtualClock moves only by
// Advance; for one on a RealClock somebody calls Advance when NextWake says so, and before
// handing anything in.
class House : private nx::IVariableManager
{
public:
    // All three must outlive the house. The library's log is connected to the house's drivers (see
    // ConnectLibraryLog) at the level TRACE unless it has been before.
    House(Clock& clock, Random& random, OutputSink& sink);

    // Destroys the drivers that are still there, in the order in which they were added.
    ~House() override;
    House(const House&) = delete;
    House& operator=(const House&) = delete;

    // Adds a driver; it is made by StartAll. Names and ids must be free: otherwise null, and
    // nothing changed.
    nx::DriverHost* Add(DriverConfig config);

    // A group of loads: its members in order. Unknown members are left out; a second group of the
    // same id replaces the first.
    void AddGroup(unsigned id, const std::vector<std::string>& members);

    // Links a binding of one driver to one of another: each is told that it is bound when it has
    // started, and what it calls there arrives at the other (see BindingLinks). An unknown driver:
    // nothing happens.
    void Bind(const std::string& one, unsigned oneBinding, const std::string& other,
              unsigned otherBinding);

    // Makes and initialises every driver, or destroys every driver, in the order in which they were
    // added.
    void StartAll();
    void StopAll();

    nx::DriverHost* Find(const std::string& name) const;
    const std::vector<std::unique_ptr<nx::DriverHost>>& Drivers() const { return m_drivers; }

    // Lets `time` pass, counted from the clock's own present: fires every timer that is due on the
    // way, the new time included, in order. Less than 0 is 0; time ends at Clock::LATEST. Not
    // inside a driver, a device or the sink.
    void Advance(std::chrono::milliseconds time);

    // A time since the start before which nothing is due; nothing when no timer runs.
    std::optional<std::chrono::milliseconds> NextWake() const;

    // A timer of a simulated device: fires once, after the drivers' timers of the same millisecond.
    // Less than 0 is 0. Its ids are apart from the drivers'. Killing one that is 0, unknown or has
    // fired does nothing.
    unsigned AddDeviceTimer(std::chrono::milliseconds delay, ITimerManagerCallback* callback);
    void KillDeviceTimer(unsigned id);

    // From now on `observer` is told of every timer; null for nobody. Must stay valid until another
    // one is set or the house is destroyed.
    void ObserveTimers(TimerObserver* observer);

    // Delivers a driver's command to every member of a group, in order and at once, in the group's
    // own vocabulary: RAMP_TO_LEVEL and SET_LEVEL with their parameters, BUTTON_ACTION as the start
    // or stop of a ramp. Other commands, and groups that nobody knows, reach nobody.
    //
    // In one chain (see EffectChain) a group gets each command name once; a later forward of that
    // name to that group delivers nothing. So every chain ends, delivers each name at most once to
    // each membership, and every load that it reaches acts. A call outside every chain is a chain
    // of its own. Deliveries nest as far as MAX_NESTED_FORWARDS, so that no house overflows the
    // stack; what would lie deeper is delivered when the outermost of them returns, in the same
    // chain.
    void ForwardToGroup(unsigned group, const ICmdMessage& command);
    static constexpr std::size_t MAX_NESTED_FORWARDS = 200;

    // Called when a driver asks for its state to be persisted soon, on the house's thread, from
    // inside the driver: note the wish and take the state (DriverHost::Persist) later. Must not
    // call into the house, must not throw and must not be replaced from inside itself. Empty for
    // nobody. What it refers to must outlive the house or be taken out before.
    std::function<void(nx::DriverHost&)> onPersistRequested;

    Clock& GetClock() const { return m_clock; }
    Random& GetRandom() const { return m_random; }
    OutputSink& GetSink() const { return m_sink; }
    // For the drivers' hosts.
    TimerWheel& Timers();
    BindingLinks& Links() { return *m_links; }
    nx::IVariableManager& Variables() { return *this; }

private:
    class HouseTimers;

    struct Group
    {
        std::vector<nx::DriverHost*> members;
        // The chain in which it got a command last, and a bit for each name that it got there.
        std::uint64_t chain = 0;
        unsigned delivered = 0;
    };

    int AddVariable(unsigned deviceId, unsigned id, const std::string& name, unsigned type,
                    const std::string& value, int hidden, int readOnly, int reserved) override;
    int SetVariable(unsigned deviceId, unsigned id, const std::string& value, unsigned source,
                    int notify) override;
    int RemoveVariable(unsigned deviceId, unsigned id) override;
    nx::DriverHost* FindId(unsigned deviceId) const;
    void Deliver(const std::vector<nx::DriverHost*>& members, CmdMessage message);

    Clock& m_clock;
    Random& m_random;
    OutputSink& m_sink;
    std::unique_ptr<HouseTimers> m_timers;
    std::vector<std::unique_ptr<nx::DriverHost>> m_drivers;
    std::unordered_map<std::string, nx::DriverHost*> m_byName;
    std::unordered_map<unsigned, nx::DriverHost*> m_byId;
    std::unordered_map<unsigned, Group> m_groups;
    std::unique_ptr<BindingLinks> m_links;
    std::size_t m_nestedForwards = 0;
    // What lies too deep to be delivered at once, in order.
    std::deque<std::pair<std::vector<nx::DriverHost*>, CmdMessage>> m_postponed;
};
} // namespace embedded_host

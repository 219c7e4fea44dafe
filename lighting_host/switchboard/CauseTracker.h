#pragma once

#include "embedded_host/TimerObserver.h"
#include "lighting_host/simulation/HouseListener.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace lighting_host
{
// Knows what causes what in a house: which input, timer or message of a device led to the outputs
// that come now, and what led to that.
//
// Hears the house as its first listener, and every timer. Lives on the house's thread.
class CauseTracker : public HouseListener, public embedded_host::TimerObserver
{
public:
    // One cause. Its line is written with its first output; a cause without outputs has none.
    struct Cause
    {
        // "visitor", "people", "house", "device", "timer"; "start" for what the start causes, which
        // has no line.
        const char* kind = "start";
        // Whose; null for none.
        const nx::DriverHost* driver = nullptr;
        // The cause's own members as JSON, each with a comma before it.
        std::string members;
        // The number of the line that led to this one; 0 for none.
        std::uint64_t of = 0;
        // The number of its own line; 0 before it is written.
        std::uint64_t seq = 0;

        // When it began; -1 for the moment of its first output.
        std::int64_t timeMs = -1;
        // What somebody did that led to this one, as long as that has no number: its line is
        // written together with the line of this one. Null for none.
        std::shared_ptr<Cause> root;
        // Whether it is something that a visitor did.
        bool isRoot = false;

        // What outputs name, once the line is written; for a cause without a line what led to it.
        std::uint64_t Number() const { return seq != 0 ? seq : of; }
    };

    CauseTracker();

    // While silent, causes have no members but those of visitors, which may be told of much later:
    // no line of the others is written. Default: not silent.
    void SetSilent(bool silent) { m_silent = silent; }

    // What causes the outputs that come now. Its `seq` is for the caller to set.
    Cause& Current() { return *m_current; }

    // A line of a visitor is about to be handed in. Until the next cause begins, all that comes is
    // its doing.
    void BeginInput(const std::string& visitor, const std::string& line, std::int64_t nowMs);

    // The house does something on its own, as the words say.
    void BeginHouse(const nx::DriverHost* driver, const std::string& words);

    // Between the two, what people, the controller and the power do is the doing of the visitor
    // whose input has begun, and no cause of its own.
    void BeginAct() { m_inAct = true; }
    void EndAct() { m_inAct = false; }

    // Of a timer that is outstanding: when it was started and is due; false when it is not.
    bool FindTimer(unsigned id, std::int64_t& startedMs, std::int64_t& dueMs) const;

    // When the next timer is due, -1 for none. Looks at every timer.
    std::int64_t NextDueMs() const;

    std::uint64_t FiredTimers() const { return m_fired; }
    std::size_t OutstandingTimers() const { return m_timers.size(); }

    // HouseListener.
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnControllerAct(const nx::DriverHost& driver, const std::string& what) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;
    void OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame) override;
    void OnMib(const nx::DriverHost& driver, const wire::MibMessage& message) override;
    void OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame) override;

    // TimerObserver.
    void OnTimerAdded(unsigned id, std::int64_t dueMs, std::int64_t nowMs) override;
    void OnTimerKilled(unsigned id, std::int64_t nowMs) override;
    void OnTimerFires(unsigned id, bool again, std::int64_t nowMs) override;

private:
    struct Started
    {
        std::shared_ptr<Cause> cause;
        std::int64_t ms = 0;
        std::int64_t dueMs = 0;
        std::int64_t periodMs = 0;
    };

    using Timers = std::unordered_map<unsigned, Started>;

    void Forget(Timers::const_iterator timer);
    Cause& Begin(const char* kind, const nx::DriverHost* driver,
                 const std::shared_ptr<Cause>& ledBy);
    void BeginDevice(const nx::DriverHost& driver, const std::string& line);
    void BeginWords(const char* kind, const nx::DriverHost* driver, const std::string& words);

    std::shared_ptr<Cause> m_current;
    // During what each timer was started; of timers that are outstanding.
    Timers m_timers;
    Timers::node_type m_spare;
    std::uint64_t m_fired = 0;
    bool m_inAct = false;
    bool m_silent = false;
};
} // namespace lighting_host

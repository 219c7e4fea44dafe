#pragma once

// Long on purpose: these templates are read and changed together.

#include "simulated_devices/FaultList.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Long on purpose: these templates are read and changed together.
//
// How devices misbehave. A fault is a class, a row in its device's table of faults, and a test.
//
// Each device has a base class for its faults (PuckModuleFault and its like), derived from
// WireFault. The device calls each operation at one place; an operation that is not overridden does
// nothing. Faults combine: the one that was added first is asked first. A fault belongs to the
// device that it was added to, and must not call it unless it is handed the device.
//
// Faults that any device can have are templates over the device's class of faults: see the end.
namespace simulated
{
// A message that leaves, and how long from now.
template <class Message>
struct Departure
{
    Message message;
    std::chrono::milliseconds delay;
};

// What a fault can do to the messages of a device.
template <class MessageType>
class WireFault
{
public:
    using Message = MessageType;
    using Departures = std::vector<Departure<Message>>;

    virtual ~WireFault() = default;

    // A message has arrived. False: the device has not heard it.
    virtual bool OnHeard(const Message& message)
    {
        (void)message;
        return true;
    }

    // A message is about to leave, `delay` from now, which may be changed. False loses it. What
    // is appended to `also` leaves too.
    virtual bool OnSend(const Message& message, std::chrono::milliseconds& delay, Departures& also)
    {
        (void)message;
        (void)delay;
        (void)also;
        return true;
    }
};

// A fault of a device that keeps something without power.
template <class MessageType, class KeptType>
class KeepingFault : public WireFault<MessageType>
{
public:
    using Kept = KeptType;

    // The device gets power; what it kept, as it survived the failure.
    virtual void OnPowerOn(Kept& kept) { (void)kept; }
};

// A row of a device's table of faults: the kind, and how one is made. Each attribute of the kind
// has a value.
template <class Fault>
struct FaultRow
{
    FaultKind kind;
    std::unique_ptr<Fault> (*make)(const FaultValues& values);
};

template <class Fault>
using FaultTable = std::vector<FaultRow<Fault>>;

// Makes a fault from the values of those attributes, for a row of a table.
template <class Fault, class Made>
std::unique_ptr<Fault> Make(const FaultValues&)
{
    return std::make_unique<Made>();
}
template <class Fault, class Made>
std::unique_ptr<Fault> MakeEvery(const FaultValues& values)
{
    return std::make_unique<Made>(static_cast<unsigned>(values.at("every")));
}
template <class Fault, class Made>
std::unique_ptr<Fault> MakeEveryBy(const FaultValues& values)
{
    return std::make_unique<Made>(static_cast<unsigned>(values.at("every")),
                                  FaultTime(values.at("by")));
}

// The faults of one device.
template <class Fault>
class Faults : public FaultList
{
public:
    using Shared = std::shared_ptr<Fault>;

    // `table` must outlive this; tables live as long as the program.
    explicit Faults(const FaultTable<Fault>& table) : m_table(table) {}

    // Told of each fault that was added; may be empty. Must not add or clear.
    std::function<void(const Shared&)> onAdded;

    using FaultList::Add;
    void Add(std::unique_ptr<Fault> fault)
    {
        m_faults.push_back(std::move(fault));
        if (onAdded)
            onAdded(m_faults.back());
    }
    void Clear() override
    {
        m_faults.clear();
        m_byName.clear();
    }
    bool RemoveLast(const std::string& kind) override
    {
        for (auto named = m_byName.rbegin(); named != m_byName.rend(); ++named)
        {
            if (kind != named->first->name)
                continue;
            m_faults.erase(std::find(m_faults.begin(), m_faults.end(), named->second));
            m_byName.erase(std::next(named).base());
            return true;
        }
        return false;
    }

    std::vector<const FaultKind*> Kinds() const override
    {
        std::vector<const FaultKind*> kinds;
        for (const FaultRow<Fault>& row : m_table)
            kinds.push_back(&row.kind);
        return kinds;
    }

    // The faults, the first added first.
    auto begin() const { return m_faults.begin(); }
    auto end() const { return m_faults.end(); }

    // Whether the device hears a message. The first fault that says no keeps it from the others.
    template <class Message>
    bool Hear(const Message& message) const
    {
        for (const Shared& fault : m_faults)
            if (!fault->OnHeard(message))
                return false;
        return true;
    }

    // What leaves when a message would leave `delay` from now: what faults add, then the message
    // itself unless one of them loses it. Every fault is asked.
    template <class Message>
    std::vector<Departure<Message>> Leave(const Message& message,
                                          std::chrono::milliseconds delay) const
    {
        std::vector<Departure<Message>> leaving;
        bool lost = false;
        for (const Shared& fault : m_faults)
            lost = !fault->OnSend(message, delay, leaving) || lost;
        if (!lost)
            leaving.push_back({message, delay});
        return leaving;
    }

private:
    void Make(const FaultKind& kind, const FaultValues& values) override
    {
        for (const FaultRow<Fault>& row : m_table)
        {
            if (&row.kind != &kind)
                continue;
            Add(row.make(values));
            m_byName.emplace_back(&kind, m_faults.back());
            return;
        }
    }

    const FaultTable<Fault>& m_table;
    std::vector<Shared> m_faults;
    // Those that were added by the name of their kind.
    std::vector<std::pair<const FaultKind*, Shared>> m_byName;
};

// Counts, and says of every nth that it is one; 1 is each one, 0 none.
class EveryNth
{
public:
    explicit EveryNth(unsigned n) : m_n(n) {}
    bool Next() { return m_n != 0 && ++m_count % m_n == 0; }

private:
    const unsigned m_n;
    unsigned m_count = 0;
};

// Which of a device's messages a fault is about; others neither count nor suffer.
struct AnyMessage
{
    template <class Message>
    static bool Includes(const Message&)
    {
        return true;
    }
};

// Every nth message never leaves.
template <class Fault, class Which = AnyMessage>
class Loses : public Fault
{
public:
    explicit Loses(unsigned every) : m_turn(every) {}
    bool OnSend(const typename Fault::Message& message, std::chrono::milliseconds&,
                typename Fault::Departures&) override
    {
        return !Which::Includes(message) || !m_turn.Next();
    }

private:
    EveryNth m_turn;
};

// Every nth message leaves that much later, so that it may arrive after others, out of turn.
template <class Fault, class Which = AnyMessage>
class Delays : public Fault
{
public:
    Delays(unsigned every, std::chrono::milliseconds by) : m_turn(every), m_by(by) {}
    bool OnSend(const typename Fault::Message& message, std::chrono::milliseconds& delay,
                typename Fault::Departures&) override
    {
        if (Which::Includes(message) && m_turn.Next())
            delay += m_by;
        return true;
    }

private:
    EveryNth m_turn;
    const std::chrono::milliseconds m_by;
};

// Every nth message leaves a second time, that much later.
template <class Fault, class Which = AnyMessage>
class Repeats : public Fault
{
public:
    explicit Repeats(unsigned every, std::chrono::milliseconds by = {}) : m_turn(every), m_by(by) {}
    bool OnSend(const typename Fault::Message& message, std::chrono::milliseconds& delay,
                typename Fault::Departures& also) override
    {
        if (Which::Includes(message) && m_turn.Next())
            also.push_back({message, delay + m_by});
        return true;
    }

private:
    EveryNth m_turn;
    const std::chrono::milliseconds m_by;
};

// Does not hear every nth message; 1 is deaf.
template <class Fault>
class HearsBadly : public Fault
{
public:
    explicit HearsBadly(unsigned every) : m_turn(every) {}
    bool OnHeard(const typename Fault::Message&) override { return !m_turn.Next(); }

private:
    EveryNth m_turn;
};

// Has lost what it kept when it gets power, and is as a new device.
template <class Fault>
class Forgets : public Fault
{
public:
    void OnPowerOn(typename Fault::Kept& kept) override { kept = typename Fault::Kept(); }
};
} // namespace simulated

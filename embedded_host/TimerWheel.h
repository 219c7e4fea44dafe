#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class ITimerManagerCallback;

namespace embedded_host
{
// Every timer of a house, the drivers' and the simulated devices': a hierarchical wheel of four
// levels of 256 slots of one millisecond, with a list for what is further away.
//
// Not a clock: the house says what time it is. Invariants: ids of either kind count up from 1 and
// are never reused; timers fire in order of due time, at one time the drivers' before the devices',
// and then in order of id; a timer may be started, killed and re-armed inside any callback.
// Starting, killing and firing allocate nothing once the wheel has held as many timers before.
class TimerWheel
{
public:
    // A timer that is due.
    struct Due
    {
        unsigned id;
        std::int64_t dueMs;
        std::int64_t startedNs;
        // Whether it will not fire again.
        bool last;
        void* context;
        ITimerManagerCallback* callback;
    };

    // Who is told about timers that are due. May call every operation of the wheel but Advance.
    class Sink
    {
    public:
        virtual ~Sink() = default;
        virtual void OnTimerDue(const Due& due) = 0;
    };

    // What a count of 0 means: the timer fires until it is killed.
    static constexpr std::uint32_t FOREVER = 0;

    // Ids of device timers have this bit, so that the two kinds never meet.
    static constexpr unsigned DEVICE = 0x80000000u;

    TimerWheel();

    // Starts a timer that is due `delayMs` after `nowNs` and then, `count` times in all, at that
    // interval. `kind` is 0 for a driver's timer, DEVICE for a device's. `nowNs` must not lie
    // before the time that Advance has reached. A repeating timer of 0 ms is one of 1 ms. Returns
    // the id.
    unsigned Add(unsigned kind, std::int64_t nowNs, std::uint64_t delayMs, std::uint32_t count,
                 void* context, ITimerManagerCallback* callback);

    // Stops a timer. False when there is none with that id.
    bool Kill(unsigned id);

    // Stops every timer with this context and, unless it is null, this callback; returns how many.
    // Walks all timers.
    std::size_t KillAll(const void* context, const ITimerManagerCallback* callback);

    // A time before which nothing is due, never earlier than the time reached; -1 when no timer
    // runs.
    std::int64_t NextWakeMs() const;

    // Moves the time to `ms`, not back, and tells `sink` of every timer that is due on the way, the
    // new time included; timers that this starts and that are due by then are among them.
    void Advance(std::int64_t ms, Sink& sink);

    std::size_t Count() const { return m_count; }

private:
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;
    static constexpr unsigned LEVELS = 4;
    static constexpr unsigned SLOTS = 256;
    static constexpr unsigned FAR = LEVELS * SLOTS;
    static constexpr std::int64_t REACH = std::int64_t{1} << 32;

    struct Node
    {
        std::int64_t due = 0;
        std::int64_t startedNs = 0;
        std::uint64_t interval = 0;
        void* context = nullptr;
        ITimerManagerCallback* callback = nullptr;
        std::uint32_t id = 0;
        std::uint32_t left = 0;
        std::uint32_t next = NONE;
        std::uint32_t previous = NONE;
        std::uint32_t slot = 0;
    };

    struct List
    {
        std::uint32_t first = NONE;
        std::uint32_t last = NONE;
        bool sorted = true;
    };

    unsigned SlotFor(std::int64_t due) const;
    void Link(std::uint32_t index);
    void Unlink(std::uint32_t index);
    void Cascade(unsigned slot);
    void EnterBlock(std::int64_t start);
    std::int64_t NextBlockStart() const;
    int NextUsed(unsigned level, unsigned from) const;
    void Sort(List& list);
    void FireFirst(unsigned slot, Sink& sink);
    std::uint32_t TakeNode();
    void Release(std::uint32_t index);

    // From id to node: open addressing, linear probing, a power of two of places, id 0 for free.
    std::size_t PlaceOf(unsigned id) const;
    void MapInsert(unsigned id, std::uint32_t index);
    void MapErase(std::size_t place);

    std::vector<Node> m_nodes;
    std::uint32_t m_free = NONE;
    std::size_t m_count = 0;
    std::uint32_t m_lastDriverId = 0;
    std::uint32_t m_lastDeviceId = DEVICE;
    std::int64_t m_now = 0;
    std::array<List, FAR + 1> m_slots;
    std::array<std::array<std::uint64_t, SLOTS / 64>, LEVELS> m_used{};
    std::vector<std::pair<unsigned, std::uint32_t>> m_map;
    std::vector<std::uint32_t> m_scratch;
};
} // namespace embedded_host

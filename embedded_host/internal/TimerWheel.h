#pragma once

#include "embedded_host/TimerObserver.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

class ITimerManagerCallback;

namespace embedded_host
{
// Every timer of a house, the drivers' and the simulated devices'. A hierarchical wheel of three
// levels of 1024 slots, the lowest of one millisecond, and a list of the timers beyond.
//
// Not a clock: the house says what time it is. Lives on the house's thread. Invariants: timers fire
// in order of due time; of those due together, the drivers' come before the devices', then the
// lower id first. A timer may be started, killed and re-armed inside any callback. Ids of either
// kind count up from 1. After 2^31 of a kind they begin again and skip those of running timers.
// Starting, killing and firing allocate nothing once the wheel has held as many timers before.
class TimerWheel
{
public:
    // The kinds of timers. Ids of device timers have this bit, so that the two never meet.
    static constexpr unsigned DRIVER = 0;
    static constexpr unsigned DEVICE = TimerObserver::DEVICE_BIT;

    // Whose timers they are: every driver's host is one, and all devices together. Not copied, not
    // moved; must outlive its timers.
    class Owner
    {
    public:
        // `kind` is DRIVER or DEVICE; `context` comes back with every timer that is due.
        Owner(unsigned kind, void* context) : m_kind(kind), m_context(context) {}
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;

    private:
        friend class TimerWheel;
        const unsigned m_kind;
        void* const m_context;
        std::uint32_t m_first = NONE;
    };

    // A timer that is due.
    struct Due
    {
        unsigned id;
        std::int64_t dueMs;
        std::int64_t startedNs;
        void* context;
        ITimerManagerCallback* callback;
    };

    // Who is told about timers that are due. May call every operation of the wheel but Advance; a
    // timer that fires for the last time does not run any more.
    class Sink
    {
    public:
        virtual ~Sink() = default;
        virtual void OnTimerDue(const Due& due) = 0;
    };

    // What a count of 0 means: the timer fires until it is killed.
    static constexpr std::uint32_t FOREVER = 0;

    // `lastId` is the number after which the ids of both kinds begin.
    explicit TimerWheel(unsigned lastId = 0);

    // Starts a timer that is due `delayMs` after `nowNs` (never before that, so a begun millisecond
    // counts in full) and then, `count` times in all, at that interval. A time before the one that
    // Advance has reached is taken as that one. A repeating timer of 0 ms is one of 1 ms. Returns
    // the id, never 0.
    unsigned Add(Owner& owner, std::int64_t nowNs, std::uint64_t delayMs, std::uint32_t count,
                 ITimerManagerCallback* callback);

    // Stops a timer. False, and nothing happens, when this owner has none with that id.
    bool Kill(const Owner& owner, unsigned id);

    // Stops every timer of this owner with this callback, or with any when it is null. Walks the
    // owner's timers only.
    void KillAll(const Owner& owner, const ITimerManagerCallback* callback);

    // A time before which nothing is due, never earlier than the time reached; -1 when no timer
    // runs.
    std::int64_t NextWakeMs() const;

    // Moves the time forwards to `ms` and tells `sink` of every timer due by then, `ms` included.
    // Timers that a callback starts and that are due by then are told too. A time before the
    // present one moves nothing.
    void Advance(std::int64_t ms, Sink& sink);

    std::size_t Count() const { return m_count; }

    // From now on `observer` is told; null for nobody. Must stay valid until the wheel is destroyed
    // or another one is set.
    void Observe(TimerObserver* observer) { m_observer = observer; }

private:
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;
    static constexpr unsigned LEVELS = 3;
    static constexpr unsigned SLOT_BITS = 10;
    static constexpr unsigned SLOTS = 1u << SLOT_BITS;
    // The devices have a lowest level of their own behind the others, so that theirs come second
    // and each of its lists stays in order by itself.
    static constexpr unsigned DEVICE_LEVEL = LEVELS;
    static constexpr unsigned FAR = (LEVELS + 1) * SLOTS;
    static constexpr std::int64_t REACH = std::int64_t{1} << (LEVELS * SLOT_BITS);

    // One cache line. `id` 0 is a free node; the free ones are chained by `next`.
    struct Node
    {
        std::int64_t due = 0;
        std::int64_t startedNs = 0;
        std::uint64_t interval = 0;
        Owner* owner = nullptr;
        ITimerManagerCallback* callback = nullptr;
        std::uint32_t id = 0;
        std::uint32_t left = 0;
        std::uint32_t next = NONE;
        std::uint32_t previous = NONE;
        std::uint32_t nextOfOwner = NONE;
        std::uint32_t previousOfOwner = NONE;
    };

    struct List
    {
        std::uint32_t first = NONE;
        std::uint32_t last = NONE;
        // Whether the ids count up.
        bool sorted = true;
    };

    static constexpr unsigned WORD = 64;
    static constexpr unsigned WORDS = SLOTS / WORD;

    // Which slots of a level hold timers, and which of the words are not 0.
    struct Used
    {
        std::array<std::uint64_t, WORDS> bits{};
        unsigned words = 0;
    };

    // How many low bits of a time a level leaves to the levels below it.
    static constexpr unsigned Shift(unsigned level) { return level * SLOT_BITS; }

    unsigned SlotFor(const Node& node) const;
    void Link(std::uint32_t index);
    void Unlink(std::uint32_t index);
    void LinkToOwner(std::uint32_t index);
    void UnlinkFromOwner(std::uint32_t index);
    void Cascade(unsigned slot);
    void EnterBlock(std::int64_t start, std::int64_t ms, Sink& sink);
    unsigned NextSlot() const;
    std::int64_t NextBlockStart() const;
    unsigned NextUsed(unsigned level, unsigned from) const;
    void MarkUsed(unsigned slot, bool isUsed);
    void Sort(List& list);
    void FireFirst(unsigned slot, Sink& sink);
    std::uint32_t TakeNode();
    void Release(std::uint32_t index);

    // From id to node: a power of two of chains. Ids are dense, so their low bits spread them, and
    // timers that were started together lie together.
    unsigned NewId(unsigned kind);
    std::size_t BucketOf(unsigned id) const;
    std::uint32_t Find(unsigned id) const;
    void LinkToBucket(std::uint32_t index);
    void UnlinkFromBucket(std::uint32_t index);
    void GrowMap();

    std::vector<Node> m_nodes;
    std::uint32_t m_free = NONE;
    std::size_t m_count = 0;
    std::uint32_t m_lastDriverId;
    std::uint32_t m_lastDeviceId;
    std::int64_t m_now = 0;
    std::array<List, FAR + 1> m_slots;
    std::array<Used, LEVELS + 1> m_used;
    std::vector<std::uint32_t> m_buckets;
    unsigned m_bucketMask;
    // The next node of the same bucket, beside every node.
    std::vector<std::uint32_t> m_nextInBucket;
    std::vector<std::uint32_t> m_scratch;
    TimerObserver* m_observer = nullptr;
};
} // namespace embedded_host

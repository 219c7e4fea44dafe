#include "embedded_host/internal/TimerWheel.h"

#include <algorithm>
#include <limits>

namespace embedded_host
{
namespace
{
constexpr std::int64_t NS_PER_MS = 1000000;
// Far enough to be never, near enough to add two of them.
constexpr std::int64_t LATEST = std::numeric_limits<std::int64_t>::max() / 4;
constexpr std::size_t FIRST_BUCKETS = 64;
constexpr unsigned NO_SLOT = 0xFFFFFFFF;
} // namespace

TimerWheel::TimerWheel(unsigned lastId)
    : m_lastDriverId(lastId), m_lastDeviceId(lastId | DEVICE), m_buckets(FIRST_BUCKETS, NONE),
      m_bucketMask(FIRST_BUCKETS - 1)
{
    static_assert(sizeof(Node) <= 64, "a timer fills one cache line");
}

unsigned TimerWheel::Add(Owner& owner, std::int64_t nowNs, std::uint64_t delayMs,
                         std::uint32_t count, ITimerManagerCallback* callback)
{
    const std::int64_t startedMs = nowNs / NS_PER_MS + (nowNs % NS_PER_MS > 0 ? 1 : 0);
    const std::int64_t nowMs = std::max(m_now, startedMs);
    const auto longest = static_cast<std::uint64_t>(LATEST - std::min(nowMs, LATEST));
    const std::uint64_t delay =
        std::min(count == 1 ? delayMs : std::max<std::uint64_t>(delayMs, 1), longest);
    const std::uint32_t index = TakeNode();
    Node& node = m_nodes[index];
    node.due = nowMs + static_cast<std::int64_t>(delay);
    node.startedNs = nowNs;
    node.interval = delay;
    node.owner = &owner;
    node.callback = callback;
    node.id = NewId(owner.m_kind);
    node.left = count;
    LinkToBucket(index);
    LinkToOwner(index);
    Link(index);
    if (m_observer)
        m_observer->OnTimerAdded(node.id, node.due, m_now);
    return node.id;
}

bool TimerWheel::Kill(const Owner& owner, unsigned id)
{
    const std::uint32_t index = Find(id);
    if (index == NONE || m_nodes[index].owner != &owner)
        return false;
    if (m_observer)
        m_observer->OnTimerKilled(id, m_now);
    Unlink(index);
    Release(index);
    return true;
}

void TimerWheel::KillAll(const Owner& owner, const ITimerManagerCallback* callback)
{
    std::uint32_t index = owner.m_first;
    while (index != NONE)
    {
        const std::uint32_t next = m_nodes[index].nextOfOwner;
        if (!callback || m_nodes[index].callback == callback)
        {
            if (m_observer)
                m_observer->OnTimerKilled(m_nodes[index].id, m_now);
            Unlink(index);
            Release(index);
        }
        index = next;
    }
}

std::int64_t TimerWheel::NextWakeMs() const
{
    const unsigned slot = NextSlot();
    if (slot == NO_SLOT)
        return NextBlockStart();
    return (m_now & ~std::int64_t{SLOTS - 1}) | (slot % SLOTS);
}

void TimerWheel::Advance(std::int64_t ms, Sink& sink)
{
    for (;;)
    {
        const unsigned slot = NextSlot();
        if (slot == NO_SLOT)
        {
            const std::int64_t block = NextBlockStart();
            if (block < 0 || block > ms)
                break;
            EnterBlock(block, ms, sink);
            continue;
        }
        const std::int64_t next = (m_now & ~std::int64_t{SLOTS - 1}) | (slot % SLOTS);
        if (next > ms)
            break;
        m_now = next;
        // A device may start a driver's timer of this millisecond, which comes first.
        const unsigned driversSlot = slot % SLOTS;
        do
            FireFirst(slot, sink);
        while (m_slots[slot].first != NONE &&
               (slot == driversSlot || m_slots[driversSlot].first == NONE));
    }
    m_now = std::max(m_now, ms);
}

// The first level whose slot number differs from now: so a level's slots never wrap, and a
// slot of the lowest level holds timers of one millisecond only. The answer stays the same until
// the time enters the block that the slot stands for, which empties it; so no node needs to
// remember its slot.
[[gnu::always_inline]] inline unsigned TimerWheel::SlotFor(const Node& node) const
{
    const std::int64_t differing = node.due ^ m_now;
    if (differing >= REACH)
        return FAR;
    const unsigned highest =
        63u -
        static_cast<unsigned>(__builtin_clzll(static_cast<unsigned long long>(differing) | 1));
    const unsigned level = highest / SLOT_BITS;
    const auto slot = static_cast<unsigned>((node.due >> Shift(level)) & (SLOTS - 1));
    if (level == 0 && (node.id & DEVICE) != 0)
        return DEVICE_LEVEL * SLOTS + slot;
    return level * SLOTS + slot;
}

[[gnu::always_inline]] inline void TimerWheel::Link(std::uint32_t index)
{
    Node& node = m_nodes[index];
    const unsigned slot = SlotFor(node);
    List& list = m_slots[slot];
    node.next = NONE;
    node.previous = list.last;
    if (list.last == NONE)
    {
        list.first = index;
        list.sorted = true;
        MarkUsed(slot, true);
    }
    else
    {
        list.sorted = list.sorted && m_nodes[list.last].id < node.id;
        m_nodes[list.last].next = index;
    }
    list.last = index;
}

inline void TimerWheel::Unlink(std::uint32_t index)
{
    const Node& node = m_nodes[index];
    const unsigned slot = SlotFor(node);
    List& list = m_slots[slot];
    (node.previous == NONE ? list.first : m_nodes[node.previous].next) = node.next;
    (node.next == NONE ? list.last : m_nodes[node.next].previous) = node.previous;
    if (list.first == NONE)
        MarkUsed(slot, false);
}

inline void TimerWheel::LinkToOwner(std::uint32_t index)
{
    Node& node = m_nodes[index];
    std::uint32_t& first = node.owner->m_first;
    node.previousOfOwner = NONE;
    node.nextOfOwner = first;
    if (first != NONE)
        m_nodes[first].previousOfOwner = index;
    first = index;
}

inline void TimerWheel::UnlinkFromOwner(std::uint32_t index)
{
    const Node& node = m_nodes[index];
    if (node.previousOfOwner == NONE)
        node.owner->m_first = node.nextOfOwner;
    else
        m_nodes[node.previousOfOwner].nextOfOwner = node.nextOfOwner;
    if (node.nextOfOwner != NONE)
        m_nodes[node.nextOfOwner].previousOfOwner = node.previousOfOwner;
}

inline void TimerWheel::Cascade(unsigned slot)
{
    std::uint32_t index = m_slots[slot].first;
    if (index == NONE)
        return;
    m_slots[slot] = List();
    MarkUsed(slot, false);
    while (index != NONE)
    {
        const std::uint32_t next = m_nodes[index].next;
        Link(index);
        index = next;
    }
}

// Moves the time to the first millisecond of a block of a higher level and spreads what that level
// holds for it over the levels below. In a quiet house that is often one timer: it fires from where
// it is when it is due by `ms`.
inline void TimerWheel::EnterBlock(std::int64_t start, std::int64_t ms, Sink& sink)
{
    const bool farther = start / REACH != m_now / REACH;
    m_now = start;
    if (farther)
        Cascade(FAR);
    // Blocks of a higher level begin where the slot numbers of the levels below are 0.
    const auto begins = [start](unsigned level)
    {
        return (start & ((std::int64_t{1} << Shift(level)) - 1)) == 0;
    };
    for (unsigned level = LEVELS - 1; level > 1; --level)
    {
        if (begins(level))
            Cascade(level * SLOTS + static_cast<unsigned>((start >> Shift(level)) & (SLOTS - 1)));
    }
    const unsigned slot = SLOTS + static_cast<unsigned>((start >> Shift(1)) & (SLOTS - 1));
    const List& list = m_slots[slot];
    if (!begins(2) && list.first != NONE && list.first == list.last &&
        m_nodes[list.first].due <= ms)
    {
        m_now = m_nodes[list.first].due;
        FireFirst(slot, sink);
    }
    else
        Cascade(slot);
}

// The slot of the present lowest block in which the next timers are due, the drivers' first.
inline unsigned TimerWheel::NextSlot() const
{
    const auto from = static_cast<unsigned>(m_now & (SLOTS - 1));
    const unsigned drivers = NextUsed(0, from);
    const unsigned devices = NextUsed(DEVICE_LEVEL, from);
    if (devices < drivers)
        return DEVICE_LEVEL * SLOTS + devices;
    return drivers < SLOTS ? drivers : NO_SLOT;
}

inline std::int64_t TimerWheel::NextBlockStart() const
{
    for (unsigned level = 1; level < LEVELS; ++level)
    {
        const auto current = static_cast<unsigned>((m_now >> Shift(level)) & (SLOTS - 1));
        const unsigned slot = NextUsed(level, current + 1);
        if (slot == SLOTS)
            continue;
        const std::int64_t within = (std::int64_t{1} << Shift(level + 1)) - 1;
        return (m_now & ~within) + (std::int64_t{slot} << Shift(level));
    }
    if (m_slots[FAR].first == NONE)
        return -1;
    return (m_now / REACH + 1) * REACH;
}

// SLOTS when there is none.
[[gnu::always_inline]] inline unsigned TimerWheel::NextUsed(unsigned level, unsigned from) const
{
    const Used& used = m_used[level];
    const unsigned word = from / WORD;
    const std::uint64_t bits =
        word < WORDS ? used.bits[word] & ~std::uint64_t{0} << from % WORD : 0;
    if (bits != 0)
        return word * WORD + static_cast<unsigned>(__builtin_ctzll(bits));
    const unsigned later = used.words & (~1u << word);
    if (later == 0)
        return SLOTS;
    const auto next = static_cast<unsigned>(__builtin_ctz(later));
    return next * WORD + static_cast<unsigned>(__builtin_ctzll(used.bits[next]));
}

[[gnu::always_inline]] inline void TimerWheel::MarkUsed(unsigned slot, bool isUsed)
{
    if (slot == FAR)
        return;
    Used& used = m_used[slot / SLOTS];
    const unsigned word = slot % SLOTS / WORD;
    const std::uint64_t bit = std::uint64_t{1} << slot % WORD;
    std::uint64_t& bits = used.bits[word];
    bits = isUsed ? bits | bit : bits & ~bit;
    used.words = bits != 0 ? used.words | 1u << word : used.words & ~(1u << word);
}

// Only timers that repeat come into a list behind younger ones.
void TimerWheel::Sort(List& list)
{
    m_scratch.clear();
    for (std::uint32_t index = list.first; index != NONE; index = m_nodes[index].next)
        m_scratch.push_back(index);
    std::sort(m_scratch.begin(), m_scratch.end(),
              [this](std::uint32_t a, std::uint32_t b) { return m_nodes[a].id < m_nodes[b].id; });
    std::uint32_t previous = NONE;
    for (const std::uint32_t index : m_scratch)
    {
        m_nodes[index].previous = previous;
        (previous == NONE ? list.first : m_nodes[previous].next) = index;
        previous = index;
    }
    m_nodes[previous].next = NONE;
    list.last = previous;
    list.sorted = true;
}

inline void TimerWheel::FireFirst(unsigned slot, Sink& sink)
{
    List& list = m_slots[slot];
    if (!list.sorted)
        Sort(list);
    const std::uint32_t index = list.first;
    Node& node = m_nodes[index];
    const Due due{node.id, node.due, node.startedNs, node.owner->m_context, node.callback};
    list.first = node.next;
    if (list.first == NONE)
    {
        list.last = NONE;
        MarkUsed(slot, false);
    }
    else
        m_nodes[list.first].previous = NONE;
    if (node.left == 1)
        Release(index);
    else
    {
        if (node.left != FOREVER)
            --node.left;
        node.due += static_cast<std::int64_t>(node.interval);
        Link(index);
    }
    if (m_observer)
        m_observer->OnTimerFires(due.id, node.id != 0, m_now);
    sink.OnTimerDue(due);
}

[[gnu::always_inline]] inline std::uint32_t TimerWheel::TakeNode()
{
    if (m_free == NONE)
    {
        m_nodes.emplace_back();
        m_nextInBucket.push_back(NONE);
        // Sorting must not allocate, however many timers meet in one millisecond.
        m_scratch.reserve(m_nodes.capacity());
        if (m_nodes.size() > m_buckets.size())
            GrowMap();
        m_free = static_cast<std::uint32_t>(m_nodes.size() - 1);
    }
    ++m_count;
    const std::uint32_t index = m_free;
    m_free = m_nodes[index].next;
    return index;
}

[[gnu::always_inline]] inline void TimerWheel::Release(std::uint32_t index)
{
    UnlinkFromOwner(index);
    Node& node = m_nodes[index];
    UnlinkFromBucket(index);
    node.id = 0;
    node.next = m_free;
    m_free = index;
    --m_count;
}

inline unsigned TimerWheel::NewId(unsigned kind)
{
    std::uint32_t& last = kind == DEVICE ? m_lastDeviceId : m_lastDriverId;
    do
        last = kind | ((last + 1) & ~DEVICE);
    while (last == kind || Find(last) != NONE);
    return last;
}

// The devices' ids count from the other end, so that they do not meet the drivers'.
inline std::size_t TimerWheel::BucketOf(unsigned id) const
{
    return ((id & DEVICE) != 0 ? ~id : id) & m_bucketMask;
}

inline std::uint32_t TimerWheel::Find(unsigned id) const
{
    std::uint32_t index = m_buckets[BucketOf(id)];
    while (index != NONE && m_nodes[index].id != id)
        index = m_nextInBucket[index];
    return index;
}

inline void TimerWheel::LinkToBucket(std::uint32_t index)
{
    std::uint32_t& first = m_buckets[BucketOf(m_nodes[index].id)];
    m_nextInBucket[index] = first;
    first = index;
}

inline void TimerWheel::UnlinkFromBucket(std::uint32_t index)
{
    std::uint32_t* link = &m_buckets[BucketOf(m_nodes[index].id)];
    while (*link != index)
        link = &m_nextInBucket[*link];
    *link = m_nextInBucket[index];
}

void TimerWheel::GrowMap()
{
    m_buckets.assign(m_buckets.size() * 2, NONE);
    m_bucketMask = static_cast<unsigned>(m_buckets.size() - 1);
    for (std::uint32_t index = 0; index < m_nodes.size(); ++index)
    {
        if (m_nodes[index].id != 0)
            LinkToBucket(index);
    }
}
} // namespace embedded_host

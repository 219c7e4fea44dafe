#include "embedded_host/TimerWheel.h"

#include <algorithm>
#include <limits>

namespace embedded_host
{
namespace
{
constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::int64_t LATEST = std::numeric_limits<std::int64_t>::max() / 4;
constexpr std::size_t FIRST_MAP_SIZE = 64;

// How many low bits of a time a level leaves to the levels below it.
unsigned Shift(unsigned level)
{
    return level * 8;
}
} // namespace

TimerWheel::TimerWheel() : m_map(FIRST_MAP_SIZE) {}

unsigned TimerWheel::Add(unsigned kind, std::int64_t nowNs, std::uint64_t delayMs,
                         std::uint32_t count, void* context, ITimerManagerCallback* callback)
{
    const std::int64_t nowMs = std::max(m_now, (nowNs + NS_PER_MS - 1) / NS_PER_MS);
    const auto longest = static_cast<std::uint64_t>(LATEST - std::min(nowMs, LATEST));
    const std::uint32_t index = TakeNode();
    Node& node = m_nodes[index];
    node.due = nowMs + static_cast<std::int64_t>(std::min(delayMs, longest));
    node.startedNs = nowNs;
    node.interval = std::clamp<std::uint64_t>(delayMs, 1, LATEST);
    node.context = context;
    node.callback = callback;
    node.id = kind == DEVICE ? ++m_lastDeviceId : ++m_lastDriverId;
    node.left = count;
    MapInsert(node.id, index);
    Link(index);
    return node.id;
}

bool TimerWheel::Kill(unsigned id)
{
    const std::size_t place = PlaceOf(id);
    if (id == 0 || m_map[place].first != id)
        return false;
    const std::uint32_t index = m_map[place].second;
    Unlink(index);
    Release(index);
    return true;
}

std::size_t TimerWheel::KillAll(const void* context, const ITimerManagerCallback* callback)
{
    std::size_t killed = 0;
    for (std::uint32_t index = 0; index < m_nodes.size(); ++index)
    {
        const Node& node = m_nodes[index];
        if (node.id == 0 || node.context != context || (callback && node.callback != callback))
            continue;
        Unlink(index);
        Release(index);
        ++killed;
    }
    return killed;
}

std::int64_t TimerWheel::NextWakeMs() const
{
    const int slot = NextUsed(0, static_cast<unsigned>(m_now & (SLOTS - 1)));
    if (slot >= 0)
        return (m_now & ~std::int64_t{SLOTS - 1}) | slot;
    return NextBlockStart();
}

void TimerWheel::Advance(std::int64_t ms, Sink& sink)
{
    for (;;)
    {
        const int slot = NextUsed(0, static_cast<unsigned>(m_now & (SLOTS - 1)));
        const std::int64_t due =
            slot >= 0 ? (m_now & ~std::int64_t{SLOTS - 1}) | slot : NextBlockStart();
        if (due < 0 || due > ms)
            break;
        if (slot < 0)
        {
            EnterBlock(due);
            continue;
        }
        m_now = due;
        FireFirst(static_cast<unsigned>(slot), sink);
    }
    m_now = std::max(m_now, ms);
}

// The first level whose byte of the time differs from now: so a level's slots never wrap, and a
// slot of the lowest level holds timers of one millisecond only.
unsigned TimerWheel::SlotFor(std::int64_t due) const
{
    const std::int64_t differing = due ^ m_now;
    if (differing >= REACH)
        return FAR;
    unsigned level = 0;
    while ((differing >> Shift(level + 1)) != 0)
        ++level;
    return level * SLOTS + static_cast<unsigned>((due >> Shift(level)) & (SLOTS - 1));
}

void TimerWheel::Link(std::uint32_t index)
{
    Node& node = m_nodes[index];
    const unsigned slot = SlotFor(node.due);
    List& list = m_slots[slot];
    node.slot = slot;
    node.next = NONE;
    node.previous = list.last;
    if (list.last == NONE)
    {
        list.first = index;
        list.sorted = true;
        if (slot < FAR)
            m_used[slot / SLOTS][slot % SLOTS / 64] |= std::uint64_t{1} << (slot % 64);
    }
    else
    {
        list.sorted = list.sorted && m_nodes[list.last].id < node.id;
        m_nodes[list.last].next = index;
    }
    list.last = index;
}

void TimerWheel::Unlink(std::uint32_t index)
{
    const Node& node = m_nodes[index];
    List& list = m_slots[node.slot];
    (node.previous == NONE ? list.first : m_nodes[node.previous].next) = node.next;
    (node.next == NONE ? list.last : m_nodes[node.next].previous) = node.previous;
    if (list.first == NONE && node.slot < FAR)
        m_used[node.slot / SLOTS][node.slot % SLOTS / 64] &=
            ~(std::uint64_t{1} << (node.slot % 64));
}

void TimerWheel::Cascade(unsigned slot)
{
    List& list = m_slots[slot];
    std::uint32_t index = list.first;
    list = List();
    if (slot < FAR)
        m_used[slot / SLOTS][slot % SLOTS / 64] &= ~(std::uint64_t{1} << (slot % 64));
    while (index != NONE)
    {
        const std::uint32_t next = m_nodes[index].next;
        Link(index);
        index = next;
    }
}

// Moves the time to the first millisecond of a block of a higher level and spreads what that level
// holds for it over the levels below.
void TimerWheel::EnterBlock(std::int64_t start)
{
    const bool farther = start / REACH != m_now / REACH;
    m_now = start;
    if (farther)
        Cascade(FAR);
    for (unsigned level = LEVELS - 1; level > 0; --level)
        Cascade(level * SLOTS + static_cast<unsigned>((m_now >> Shift(level)) & (SLOTS - 1)));
}

std::int64_t TimerWheel::NextBlockStart() const
{
    for (unsigned level = 1; level < LEVELS; ++level)
    {
        const auto current = static_cast<unsigned>((m_now >> Shift(level)) & (SLOTS - 1));
        const int slot = NextUsed(level, current + 1);
        if (slot < 0)
            continue;
        const std::int64_t block = std::int64_t{1} << Shift(level + 1);
        return m_now / block * block + (std::int64_t{slot} << Shift(level));
    }
    if (m_slots[FAR].first == NONE)
        return -1;
    return (m_now / REACH + 1) * REACH;
}

int TimerWheel::NextUsed(unsigned level, unsigned from) const
{
    for (unsigned word = from / 64; word < SLOTS / 64; ++word)
    {
        std::uint64_t bits = m_used[level][word];
        if (word == from / 64)
            bits &= ~std::uint64_t{0} << (from % 64);
        if (bits != 0)
            return static_cast<int>(word * 64) + __builtin_ctzll(bits);
    }
    return -1;
}

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

void TimerWheel::FireFirst(unsigned slot, Sink& sink)
{
    List& list = m_slots[slot];
    if (!list.sorted)
        Sort(list);
    const std::uint32_t index = list.first;
    Node& node = m_nodes[index];
    const bool last = node.left == 1;
    const Due due{node.id, node.due, node.startedNs, last, node.context, node.callback};
    Unlink(index);
    if (last)
        Release(index);
    else
    {
        if (node.left != FOREVER)
            --node.left;
        node.due += static_cast<std::int64_t>(node.interval);
        Link(index);
    }
    sink.OnTimerDue(due);
}

std::uint32_t TimerWheel::TakeNode()
{
    ++m_count;
    if (m_free == NONE)
    {
        m_nodes.emplace_back();
        return static_cast<std::uint32_t>(m_nodes.size() - 1);
    }
    const std::uint32_t index = m_free;
    m_free = m_nodes[index].next;
    return index;
}

void TimerWheel::Release(std::uint32_t index)
{
    Node& node = m_nodes[index];
    MapErase(PlaceOf(node.id));
    node.id = 0;
    node.next = m_free;
    m_free = index;
    --m_count;
}

std::size_t TimerWheel::PlaceOf(unsigned id) const
{
    const std::size_t mask = m_map.size() - 1;
    std::size_t place = id & mask;
    while (m_map[place].first != 0 && m_map[place].first != id)
        place = (place + 1) & mask;
    return place;
}

void TimerWheel::MapInsert(unsigned id, std::uint32_t index)
{
    if (m_count * 2 > m_map.size())
    {
        std::vector<std::pair<unsigned, std::uint32_t>> old(m_map.size() * 2);
        old.swap(m_map);
        for (const auto& entry : old)
        {
            if (entry.first != 0)
                m_map[PlaceOf(entry.first)] = entry;
        }
    }
    m_map[PlaceOf(id)] = {id, index};
}

// Closes the gap, so that no probing ever passes over a removed entry.
void TimerWheel::MapErase(std::size_t place)
{
    const std::size_t mask = m_map.size() - 1;
    std::size_t gap = place;
    for (std::size_t at = (gap + 1) & mask; m_map[at].first != 0; at = (at + 1) & mask)
    {
        const std::size_t home = m_map[at].first & mask;
        if (((at - home) & mask) < ((at - gap) & mask))
            continue;
        m_map[gap] = m_map[at];
        gap = at;
    }
    m_map[gap] = {0, 0};
}
} // namespace embedded_host

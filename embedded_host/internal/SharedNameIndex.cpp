#include "embedded_host/internal/SharedNameIndex.h"

#include <algorithm>
#include <stdexcept>

namespace embedded_host
{
const SharedNameIndex::Pointer& SharedNameIndex::Empty()
{
    static const Pointer empty(new SharedNameIndex);
    return empty;
}

SharedNameIndex::SharedNameIndex(Pointer before, const std::string& name)
    : m_before(std::move(before)), m_last(name), m_size(m_before->m_size + 1)
{
}

// Step by step, not one shape inside the other: a shape may be tens of thousands of names long.
SharedNameIndex::~SharedNameIndex()
{
    Pointer before = Detach();
    while (before && before.use_count() == 1)
        before = const_cast<SharedNameIndex&>(*before).Detach();
}

// Takes this shape out of the one that it continues, and returns that one.
SharedNameIndex::Pointer SharedNameIndex::Detach()
{
    if (m_before)
    {
        auto& siblings = m_before->m_longer;
        siblings.erase(std::find(siblings.begin(), siblings.end(), this));
    }
    return std::move(m_before);
}

SharedNameIndex::Pointer SharedNameIndex::With(const std::string& name) const
{
    for (const SharedNameIndex* longer : m_longer)
    {
        if (longer->m_last == name)
            return longer->shared_from_this();
    }
    if (m_size == NONE)
        throw std::length_error("too many handlers");
    const Pointer longer(new SharedNameIndex(shared_from_this(), name));
    m_longer.push_back(longer.get());
    return longer;
}

std::vector<const std::string*> SharedNameIndex::Names() const
{
    std::vector<const std::string*> names(m_size);
    for (const SharedNameIndex* shape = this; shape->m_before; shape = shape->m_before.get())
        names[shape->m_size - 1] = &shape->m_last;
    return names;
}

void SharedNameIndex::BuildIndex() const
{
    static_assert(sizeof(Slot) == 32, "two slots fill a cache line");
    m_names = Names();
    unsigned bits = 2;
    while ((std::size_t{1} << bits) < m_size * 2)
        ++bits;
    m_shift = 64 - bits;
    m_mask = (std::size_t{1} << bits) - 1;
    m_index.assign(m_mask + 1, Slot());
    m_next.assign(m_size, NONE);
    // From the last to the first, so that each new place stands before the ones behind it.
    for (std::size_t place = m_size; place-- > 0;)
    {
        const Key key(*m_names[place]);
        std::size_t at = key.Home(m_shift);
        while (m_index[at].found.first != NONE && !Holds(m_index[at], key, *m_names[place]))
            at = (at + 1) & m_mask;
        const std::uint16_t next = m_index[at].found.first;
        m_next[place] = next;
        static_cast<Key&>(m_index[at]) = key;
        m_index[at].found = {static_cast<std::uint16_t>(place), next == NONE};
    }
}
} // namespace embedded_host

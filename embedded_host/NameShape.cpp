#include "embedded_host/NameShape.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace embedded_host
{
namespace
{
std::uint64_t Word(const char* from)
{
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}
} // namespace

const NameShape::Pointer& NameShape::Empty()
{
    static const Pointer empty(new NameShape);
    return empty;
}

NameShape::NameShape(Pointer before, const std::string& name)
    : m_before(std::move(before)), m_last(name), m_size(m_before->m_size + 1)
{
}

// Step by step, not one shape inside the other: a shape may be tens of thousands of names long.
NameShape::~NameShape()
{
    Pointer before = Detach();
    while (before && before.use_count() == 1)
        before = const_cast<NameShape&>(*before).Detach();
}

// Takes this shape out of the one that it continues, and returns that one.
NameShape::Pointer NameShape::Detach()
{
    if (m_before)
    {
        auto& siblings = m_before->m_longer;
        siblings.erase(std::find(siblings.begin(), siblings.end(), this));
    }
    return std::move(m_before);
}

NameShape::Pointer NameShape::With(const std::string& name) const
{
    for (const NameShape* longer : m_longer)
    {
        if (longer->m_last == name)
            return longer->shared_from_this();
    }
    if (m_size == NONE)
        throw std::length_error("too many handlers");
    const Pointer longer(new NameShape(shared_from_this(), name));
    m_longer.push_back(longer.get());
    return longer;
}

std::vector<const std::string*> NameShape::Names() const
{
    std::vector<const std::string*> names(m_size);
    for (const NameShape* shape = this; shape->m_before; shape = shape->m_before.get())
        names[shape->m_size - 1] = &shape->m_last;
    return names;
}

// Both ends and the length: the vocabulary's names differ there. Names that agree in them only make
// a look-up longer.
std::uint32_t NameShape::Hash(const std::string& name)
{
    constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15;
    const std::size_t size = name.size();
    std::uint64_t ends = 0;
    if (size >= sizeof ends)
        ends = Word(name.data()) ^ (Word(name.data() + size - sizeof ends) * FACTOR);
    else
        std::memcpy(&ends, name.data(), size);
    return static_cast<std::uint32_t>(((ends + size) * FACTOR) >> 32);
}

void NameShape::BuildIndex() const
{
    const std::vector<const std::string*> names = Names();
    std::size_t slots = 4;
    while (slots < m_size * 2)
        slots *= 2;
    m_index.assign(slots, Slot());
    m_next.assign(m_size, NONE);
    // From the last to the first, so that each new place stands before the ones behind it.
    for (std::size_t place = m_size; place-- > 0;)
    {
        const std::uint32_t hash = Hash(*names[place]);
        std::size_t at = hash & (slots - 1);
        while (m_index[at].first != NONE &&
               (m_index[at].hash != hash || *m_index[at].name != *names[place]))
            at = (at + 1) & (slots - 1);
        m_next[place] = m_index[at].first;
        m_index[at] = {names[place], hash, static_cast<std::uint16_t>(place)};
    }
}
} // namespace embedded_host

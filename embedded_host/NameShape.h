#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
// A sequence of names, each of which may occur more than once, with the look-up from a name to its
// places in the sequence.
//
// Drivers of one class register the same names in the same order, so their tables share one shape:
// what differs from driver to driver is only the handlers. Shapes are immutable and counted by
// their users; a shape that nobody uses any more is gone. Single thread.
class NameShape : public std::enable_shared_from_this<NameShape>
{
public:
    using Pointer = std::shared_ptr<const NameShape>;

    // No place.
    static constexpr std::uint16_t NONE = 0xFFFF;

    // The shape of no names.
    static const Pointer& Empty();

    // The shape of these names and one more behind them; the same one for the same names.
    Pointer With(const std::string& name) const;

    ~NameShape();

    std::size_t Size() const { return m_size; }

    // The names in order; valid as long as the shape.
    std::vector<const std::string*> Names() const;

    // The first place of that name, NONE when it does not occur; the next place of the same name.
    std::uint16_t First(const std::string& name) const
    {
        if (m_size == 0)
            return NONE;
        if (m_index.empty())
            BuildIndex();
        const std::uint32_t hash = Hash(name);
        const std::size_t mask = m_index.size() - 1;
        for (std::size_t at = hash & mask;; at = (at + 1) & mask)
        {
            const Slot& slot = m_index[at];
            if (slot.first == NONE || (slot.hash == hash && *slot.name == name))
                return slot.first;
        }
    }
    std::uint16_t Next(std::uint16_t place) const
    {
        if (m_next.empty())
            BuildIndex();
        return m_next[place];
    }

private:
    struct Slot
    {
        const std::string* name = nullptr;
        std::uint32_t hash = 0;
        std::uint16_t first = NONE;
    };

    NameShape() = default;
    NameShape(Pointer before, const std::string& name);

    static std::uint32_t Hash(const std::string& name);
    void BuildIndex() const;
    Pointer Detach();

    // The shape of all names but the last; null for the empty shape.
    Pointer m_before;
    std::string m_last;
    std::size_t m_size = 0;
    // The shapes that continue this one and are in use. Not part of what the shape is.
    mutable std::vector<const NameShape*> m_longer;
    // Built when a name is first looked up: most shapes are only steps to longer ones.
    mutable std::vector<Slot> m_index;
    mutable std::vector<std::uint16_t> m_next;
};
} // namespace embedded_host

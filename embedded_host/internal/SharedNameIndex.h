#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
class SharedNameIndex : public std::enable_shared_from_this<SharedNameIndex>
{
public:
    using Pointer = std::shared_ptr<const SharedNameIndex>;

    // No place.
    static constexpr std::uint16_t NONE = 0xFFFF;

    // The shape of no names.
    static const Pointer& Empty();

    // The shape of these names and one more behind them; the same one for the same names.
    Pointer With(const std::string& name) const;

    ~SharedNameIndex();

    std::size_t Size() const { return m_size; }

    // The names in order; valid as long as the shape.
    std::vector<const std::string*> Names() const;

    // Where a name stands: its first place, NONE when it does not occur, and whether that is the
    // only one.
    struct Found
    {
        std::uint16_t first;
        bool only;
    };
    [[gnu::always_inline]] Found Find(const std::string& name) const
    {
        if (m_mask == 0)
            BuildIndex();
        const Key key(name);
        const Slot* const slots = m_index.data();
        for (std::size_t at = key.Home(m_shift);; at = (at + 1) & m_mask)
        {
            const Slot& slot = slots[at];
            // An unused slot has the key of no text at all, and no place.
            if (Holds(slot, key, name) || slot.found.first == NONE)
                return slot.found;
        }
    }
    std::uint16_t First(const std::string& name) const { return Find(name).first; }

    // The next place of the same name.
    std::uint16_t Next(std::uint16_t place) const
    {
        if (m_next.empty())
            BuildIndex();
        return m_next[place];
    }

private:
    // What a look-up compares first: the length and three words, which are all of a name of up to
    // 24 octets.
    struct Key
    {
        Key() = default;
        [[gnu::always_inline]] explicit Key(const std::string& name)
            : size(static_cast<std::uint32_t>(name.size()))
        {
            const char* text = name.data();
            if (size >= WORD)
            {
                head = Load<std::uint64_t>(text);
                middle = Load<std::uint64_t>(text + std::min(WORD, size - WORD));
                tail = Load<std::uint64_t>(text + size - WORD);
            }
            else if (size >= WORD / 2)
            {
                head = Load<std::uint32_t>(text);
                tail = Load<std::uint32_t>(text + size - WORD / 2);
            }
            else
            {
                for (std::size_t i = 0; i < size; ++i)
                    head = head << 8 | static_cast<unsigned char>(text[i]);
            }
        }
        // The place to begin at, in an index of 2^(64 - shift) slots.
        std::size_t Home(unsigned shift) const
        {
            constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15;
            return static_cast<std::size_t>(((head ^ (tail << 29 | tail >> 35)) + size) * FACTOR >>
                                            shift);
        }

        std::uint64_t head = 0;
        std::uint64_t middle = 0;
        std::uint64_t tail = 0;
        std::uint32_t size = 0;
    };

    struct Slot : Key
    {
        Found found{NONE, true};
    };

    static constexpr std::uint32_t WORD = sizeof(std::uint64_t);

    template <class Number>
    static Number Load(const char* from)
    {
        Number number;
        std::memcpy(&number, from, sizeof number);
        return number;
    }

    // Whether a slot's name is this one, which has this key.
    [[gnu::always_inline]] bool Holds(const Slot& slot, const Key& key,
                                      const std::string& name) const
    {
        return slot.head == key.head && slot.tail == key.tail && slot.middle == key.middle &&
               slot.size == key.size &&
               (key.size <= 3 * WORD || *m_names[slot.found.first] == name);
    }

    SharedNameIndex() = default;
    SharedNameIndex(Pointer before, const std::string& name);

    [[gnu::cold]] void BuildIndex() const;
    Pointer Detach();

    // The shape of all names but the last; null for the empty shape.
    Pointer m_before;
    std::string m_last;
    std::size_t m_size = 0;
    // The shapes that continue this one and are in use. Not part of what the shape is.
    mutable std::vector<const SharedNameIndex*> m_longer;
    // Built at the first look-up, because most shapes are only steps to longer ones.
    mutable std::vector<Slot> m_index;
    mutable std::vector<const std::string*> m_names;
    mutable std::vector<std::uint16_t> m_next;
    // The index is one of 2^(64 - shift) slots, and the mask one less; 0 while there is none.
    mutable unsigned m_shift = 0;
    mutable std::size_t m_mask = 0;
};
} // namespace embedded_host

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
// One copy of every name that a handler was registered under, for the life of the process. Single
// thread. Returns the copy that equals `name`.
const std::string* InternName(const std::string& name);

// Handlers by name: what all dispatchers are made of. Open addressing over a flat list of entries.
//
// Several handlers under one name run in order of registration. Handlers may add and remove
// handlers, also of the name that is running, and may run names again. Looking up and running
// allocate nothing. A table that grows while it runs copies its handlers, so they share nothing but
// what they point to.
template <class Handler>
class HandlerTable
{
public:
    // Adds a handler behind those of the same name. Throws std::length_error when the table holds
    // its 65535 handlers.
    void Add(const std::string& name, Handler handler)
    {
        if (m_entries.size() == NONE)
            throw std::length_error("too many handlers");
        if (m_depth > 0 && m_entries.size() == m_entries.capacity())
            GrowWhileRunning();
        const std::uint32_t hash = Hash(name);
        const auto added = static_cast<std::uint16_t>(m_entries.size());
        m_entries.push_back({std::move(handler), InternName(name), hash, NONE, false});
        if (m_entries.size() * 2 > m_places.size())
            Rebuild();
        else
            Link(added);
    }

    // Removes every handler of that name.
    void Remove(const std::string& name)
    {
        for (std::uint16_t at = Find(name); at != NONE; at = m_entries[at].next)
            m_entries[at].removed = m_removed = true;
        if (m_depth == 0)
            Tidy();
    }

    // Whether there is a handler of that name.
    bool Has(const std::string& name) const
    {
        for (std::uint16_t at = Find(name); at != NONE; at = m_entries[at].next)
        {
            if (!m_entries[at].removed)
                return true;
        }
        return false;
    }

    // Removes every handler. Not inside a handler.
    void Clear()
    {
        // What a handler holds may come back here when it goes: by then the table is empty.
        std::vector<Entry> dropped;
        dropped.swap(m_entries);
        m_places.clear();
    }

    // Calls call(handler) for every handler of that name that was there before; false when there is
    // none.
    template <class Call>
    bool Run(const std::string& name, const Call& call)
    {
        std::uint16_t at = Find(name);
        if (at == NONE)
            return false;
        const std::size_t before = m_entries.size();
        const Running running(*this);
        bool any = false;
        while (at != NONE && at < before)
        {
            if (!m_entries[at].removed)
            {
                any = true;
                call(static_cast<const Handler&>(m_entries[at].handler));
            }
            at = m_entries[at].next;
        }
        return any;
    }

private:
    static constexpr std::uint16_t NONE = 0xFFFF;

    struct Entry
    {
        Handler handler;
        const std::string* name;
        std::uint32_t hash;
        std::uint16_t next;
        bool removed;
    };

    // Entries must not move or go away under a handler that runs.
    struct Running
    {
        explicit Running(HandlerTable& ran) : table(ran) { ++table.m_depth; }
        ~Running()
        {
            if (--table.m_depth == 0)
                table.Tidy();
        }
        HandlerTable& table;
    };

    static std::uint32_t Hash(const std::string& name)
    {
        return static_cast<std::uint32_t>(std::hash<std::string>{}(name));
    }

    std::uint16_t Find(const std::string& name) const
    {
        if (m_places.empty())
            return NONE;
        const std::uint32_t hash = Hash(name);
        const std::size_t mask = m_places.size() - 1;
        for (std::size_t place = hash & mask; m_places[place] != NONE; place = (place + 1) & mask)
        {
            const Entry& entry = m_entries[m_places[place]];
            if (entry.hash == hash && *entry.name == name)
                return m_places[place];
        }
        return NONE;
    }

    // Enters an entry: at a free place, or at the end of the chain of its name.
    void Link(std::uint16_t index)
    {
        Entry& entry = m_entries[index];
        std::uint16_t head = Find(*entry.name);
        if (head != NONE)
        {
            while (m_entries[head].next != NONE)
                head = m_entries[head].next;
            m_entries[head].next = index;
            return;
        }
        const std::size_t mask = m_places.size() - 1;
        std::size_t place = entry.hash & mask;
        while (m_places[place] != NONE)
            place = (place + 1) & mask;
        m_places[place] = index;
    }

    void Rebuild()
    {
        std::size_t places = 4;
        while (places < m_entries.size() * 2)
            places *= 2;
        m_places.assign(places, NONE);
        for (std::uint16_t index = 0; index < m_entries.size(); ++index)
        {
            m_entries[index].next = NONE;
            Link(index);
        }
    }

    void GrowWhileRunning()
    {
        std::vector<Entry> grown;
        grown.reserve(m_entries.size() * 2 + 4);
        grown.assign(m_entries.begin(), m_entries.end());
        if (!m_retired)
            m_retired = std::make_unique<std::vector<std::vector<Entry>>>();
        m_retired->push_back(std::move(m_entries));
        m_entries = std::move(grown);
    }

    void Tidy()
    {
        m_retired.reset();
        if (!m_removed)
            return;
        m_removed = false;
        std::vector<Entry> kept;
        for (Entry& entry : m_entries)
        {
            if (!entry.removed)
                kept.push_back(std::move(entry));
        }
        // What goes with the removed handlers may come back here: the table is in order by then.
        m_entries.swap(kept);
        Rebuild();
    }

    std::vector<Entry> m_entries;
    std::vector<std::uint16_t> m_places;
    std::unique_ptr<std::vector<std::vector<Entry>>> m_retired;
    std::uint32_t m_depth = 0;
    bool m_removed = false;
};
} // namespace embedded_host

#pragma once

#include "embedded_host/internal/SharedNameIndex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
// One copy of every name that was handed in, for the life of the process. Single thread. Returns
// the copy that equals `name`.
const std::string* InternName(const std::string& name);

// Handlers by name: what all dispatchers are made of. The names and their look-up are a shared
// SharedNameIndex; the table's own are the handlers alone.
//
// Several handlers under one name run in order of registration. Handlers may add and remove
// handlers, also of the name that is running, and may run names again. Looking up and running
// allocate nothing but for a shape's first look-up. A table that grows while it runs copies its
// handlers, so they share nothing but what they point to. Owns its handlers.
template <class Handler>
class HandlerTable
{
public:
    // Adds a handler behind those of the same name. Throws std::length_error when the table holds
    // its 65535 handlers.
    void Add(const std::string& name, Handler handler)
    {
        SharedNameIndex::Pointer shape = m_shape->With(name);
        if (m_depth > 0 && m_handlers.size() == m_handlers.capacity())
            GrowWhileRunning();
        m_handlers.push_back(std::move(handler));
        m_shape = std::move(shape);
    }

    // Removes every handler of that name.
    void Remove(const std::string& name)
    {
        std::uint16_t place = m_shape->First(name);
        if (place == NONE)
            return;
        if (!m_changes)
            m_changes = std::make_unique<Changes>();
        m_changes->removed.resize(m_handlers.size());
        for (; place != NONE; place = m_shape->Next(place))
            m_changes->removed[place] = true;
        if (m_depth == 0)
            Tidy();
    }

    // Whether there is a handler of that name.
    bool Has(const std::string& name) const
    {
        for (std::uint16_t place = m_shape->First(name); place != NONE;
             place = m_shape->Next(place))
        {
            if (!IsRemoved(place))
                return true;
        }
        return false;
    }

    // The names that have handlers, each as often as it has some. Not inside a handler.
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const std::string* name : m_shape->Names())
            names.push_back(*name);
        return names;
    }

    // Removes every handler. Not inside a handler.
    void Clear()
    {
        // What a handler holds may come back here when it goes: by then the table is empty.
        std::vector<Handler> dropped;
        dropped.swap(m_handlers);
        m_shape = SharedNameIndex::Empty();
    }

    // Gives back memory that further handlers would need. Not inside a handler.
    void ShrinkToFit() { m_handlers.shrink_to_fit(); }

    // Calls call(handler) for every handler of that name that was there before; false when there is
    // none.
    template <class Call>
    bool Run(const std::string& name, Call call)
    {
        const SharedNameIndex::Found found = m_shape->Find(name);
        if (!found.only)
            return RunEach(found.first, call);
        if (found.first == NONE || IsRemoved(found.first))
            return false;
        const Running running(*this);
        call(static_cast<const Handler&>(m_handlers[found.first]));
        return true;
    }

private:
    static constexpr std::uint16_t NONE = SharedNameIndex::NONE;

    // What handlers did to their own table while it ran.
    struct Changes
    {
        std::vector<bool> removed;
        std::vector<std::vector<Handler>> retired;
    };

    // Handlers must not move or go away under one that runs.
    struct Running
    {
        explicit Running(HandlerTable& ran) : table(ran) { ++table.m_depth; }
        ~Running()
        {
            if (--table.m_depth == 0 && table.m_changes)
                table.Tidy();
        }
        HandlerTable& table;
    };

    bool IsRemoved(std::size_t place) const
    {
        return m_changes && place < m_changes->removed.size() && m_changes->removed[place];
    }

    // Runs the handlers of a name with several, from its first place on.
    template <class Call>
    [[gnu::noinline]] bool RunEach(std::uint16_t place, Call call)
    {
        const std::size_t before = m_handlers.size();
        const Running running(*this);
        bool any = false;
        // The shape may have grown meanwhile; what is new has higher places.
        for (; place < before; place = m_shape->Next(place))
        {
            if (IsRemoved(place))
                continue;
            any = true;
            call(static_cast<const Handler&>(m_handlers[place]));
        }
        return any;
    }

    void GrowWhileRunning()
    {
        std::vector<Handler> grown;
        grown.reserve(m_handlers.size() * 2 + 4);
        grown.assign(m_handlers.begin(), m_handlers.end());
        if (!m_changes)
            m_changes = std::make_unique<Changes>();
        m_changes->retired.push_back(std::move(m_handlers));
        m_handlers = std::move(grown);
    }

    // What goes with removed handlers may come back here: the table is in order by then.
    void Tidy()
    {
        const std::unique_ptr<Changes> changes = std::move(m_changes);
        const std::vector<const std::string*> names = m_shape->Names();
        std::vector<Handler> kept;
        SharedNameIndex::Pointer shape = SharedNameIndex::Empty();
        for (std::size_t place = 0; place < m_handlers.size(); ++place)
        {
            if (place < changes->removed.size() && changes->removed[place])
                continue;
            kept.push_back(std::move(m_handlers[place]));
            shape = shape->With(*names[place]);
        }
        m_shape = std::move(shape);
        m_handlers.swap(kept);
    }

    SharedNameIndex::Pointer m_shape = SharedNameIndex::Empty();
    std::vector<Handler> m_handlers;
    std::unique_ptr<Changes> m_changes;
    std::uint32_t m_depth = 0;
};
} // namespace embedded_host

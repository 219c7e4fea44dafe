#include "drivers/gen3_keypad/KeypadOutbox.h"

#include <algorithm>
#include <utility>

void KeypadOutbox::AddState(int opcode)
{
    if (!HasState(opcode))
        m_entries.push_back({opcode, {}, 0});
}

void KeypadOutbox::AddUse(int opcode, KeypadState::Payload use, ID::Timer limit)
{
    m_entries.push_back({opcode, std::move(use), limit});
}

bool KeypadOutbox::HasState(int opcode) const
{
    const auto same = [opcode](const Entry& entry)
    {
        return entry.use.empty() && entry.opcode == opcode;
    };
    return std::any_of(m_entries.begin(), m_entries.end(), same);
}

KeypadOutbox::Entry KeypadOutbox::Take()
{
    Entry taken = std::move(m_entries.front());
    m_entries.pop_front();
    return taken;
}

bool KeypadOutbox::RemoveUse(ID::Timer limit)
{
    const auto same = [limit](const Entry& entry)
    {
        return !entry.use.empty() && entry.limit == limit;
    };
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), same);
    if (found == m_entries.end())
        return false;
    m_entries.erase(found);
    return true;
}

std::deque<KeypadOutbox::Entry> KeypadOutbox::TakeAll()
{
    return std::exchange(m_entries, {});
}

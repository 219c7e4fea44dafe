#pragma once

#include "drivers/gen3_keypad/KeypadState.h"
#include "nxshared/Ids.h"

#include <cstddef>
#include <deque>

// The messages that wait for the transmit queue, oldest first: each kind of state at most once, and
// uses of buttons.
//
// A state is only a kind here: its content is written when its turn comes, so that it is always the
// newest. Starts and stops no timers; it keeps their ids for the driver.
class KeypadOutbox
{
public:
    struct Entry
    {
        // The opcode of the state, or of the use.
        int opcode = 0;
        // What a use says behind its message's number; empty for a state.
        KeypadState::Payload use;
        // The timer that runs out when the use is too late; 0 for a state.
        ID::Timer limit = 0;
    };

    // A state of that kind is to be sent. One that waits already keeps its place.
    void AddState(int opcode);

    // A use of a button, with what it says behind its number (not empty), and its limit.
    void AddUse(int opcode, KeypadState::Payload use, ID::Timer limit);

    bool Empty() const { return m_entries.empty(); }
    std::size_t Size() const { return m_entries.size(); }

    // The entries, oldest first. Valid until the next change.
    const std::deque<Entry>& Entries() const { return m_entries; }

    // Whether a state of that kind waits.
    bool HasState(int opcode) const;

    // Removes the oldest entry and returns it. Not while empty.
    Entry Take();

    // Removes the use with that limit. False, and nothing changes, when none has it.
    bool RemoveUse(ID::Timer limit);

    // Removes everything and returns it.
    std::deque<Entry> TakeAll();

private:
    std::deque<Entry> m_entries;
};

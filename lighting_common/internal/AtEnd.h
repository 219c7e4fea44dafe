#pragma once

#include <utility>

// Runs an action at the end of its scope, also when what happens meanwhile throws. The action must
// not throw.
template <class Action>
class AtEnd
{
public:
    explicit AtEnd(Action action) : m_action(std::move(action)) {}
    ~AtEnd() { m_action(); }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    Action m_action;
};

#pragma once

#include "lighting_host/house/Session.h"

#include <string>

namespace lighting_host
{
// Sees whether the saves of a session's states succeed: complaints about them are noted, and passed
// on to whoever the options name.
class SaveWatch
{
public:
    explicit SaveWatch(const SessionOptions& options);

    // Options for the session; this must outlive it.
    const SessionOptions& Options() const { return m_options; }

    // Forgets what was noted: called before the last save, which alone decides what is kept.
    void Restart() { m_failed = false; }
    bool Failed() const { return m_failed; }

private:
    SessionOptions m_options;
    bool m_failed = false;
};
} // namespace lighting_host

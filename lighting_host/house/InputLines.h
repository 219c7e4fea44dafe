#pragma once

#include "lighting_host/house/Session.h"

#include <functional>
#include <string>

namespace lighting_host
{
// What a visitor hands in: one line of the protocol at a time, carried out on a session.
//
// Knows nothing of where lines come from. What the drivers do goes to the session's sink; here only
// the answers are written: answers to queries, states, lists and errors.
class InputLines
{
public:
    // Gets one object: its kind ("answer", "error"), its text, without a line end, and the driver
    // that it is about, null for none. Called from inside Handle.
    using Writer = std::function<void(const char* kind, const std::string& text,
                                      const nx::DriverHost* driver)>;

    // `session` must outlive this.
    InputLines(Session& session, Writer writer);

    // Handles one input line; `number` counts lines from 1. False when the line was refused, which
    // an answer of the kind "error" has told; it then changed nothing. Lines to be skipped are the
    // caller's business.
    bool Handle(const std::string& line, unsigned long number);

    // Called by the session's sink for a fault of a driver: writes it as an error of the present
    // line.
    void WriteFault(const nx::DriverHost& driver, const std::string& what);

private:
    struct Inputs;

    void WriteError(const std::string& what);
    void Flush(const char* kind);
    void Dispatch(const std::string& line);

    Session& m_session;
    Writer m_writer;
    std::string m_line;
    unsigned long m_number = 0;
    bool m_refused = false;
    // Of the present line.
    const nx::DriverHost* m_driver = nullptr;
};

// Whether an input line, without its line end, is to be skipped: it is empty or begins with "#".
bool IsSkipped(const std::string& line);

// Whether a line is JSON that the protocol can read. Anything else is refused.
bool IsJson(const std::string& line);
} // namespace lighting_host

#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/house/Session.h"

#include <functional>
#include <memory>
#include <string>

namespace lighting_host
{
// The JSON protocol over a house: one object in, the objects that it causes out.
//
// Knows nothing of where lines come from or go to. Every output is handed on as text, without a
// line end, in the order in which it happened, from inside Start, Handle and Stop.
class Protocol : private embedded_host::OutputSink
{
public:
    // Gets one output object: its kind ("event", "error"; never "done") and its text.
    using Writer = std::function<void(const char* kind, const std::string& text)>;

    // A house with errors must not be given.
    Protocol(const HouseFile& file, const SessionOptions& options, Writer writer);
    ~Protocol() override;

    // Makes the drivers; then Handle may be called; at the end destroys them.
    void Start();
    void Stop();

    // Handles one input line; `number` counts lines from 1. False when the line was refused, which
    // an output of the kind "error" has told; it then changed nothing. Lines to be skipped are the
    // caller's business.
    bool Handle(const std::string& line, unsigned long number);

private:
    struct Inputs;

    void Write(const embedded_host::Output& output) override;
    void WriteError(const std::string& what);
    void Flush(const char* kind);
    void Dispatch(const std::string& line);

    Writer m_writer;
    std::string m_line;
    unsigned long m_number = 0;
    bool m_refused = false;
    // Last: its drivers still write while they are destroyed.
    Session m_session;
};

// Whether an input line, without its line end, is to be skipped: it is empty or begins with "#".
bool IsSkipped(const std::string& line);

// Whether a line is JSON that the protocol can read. Anything else is refused.
bool IsJson(const std::string& line);
} // namespace lighting_host

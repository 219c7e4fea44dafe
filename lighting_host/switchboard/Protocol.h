#pragma once

#include "lighting_host/switchboard/HouseRun.h"

#include <functional>
#include <string>

namespace lighting_host
{
// The JSON protocol over a house whose time its input lines move: one object in, the objects that
// it causes out. For one visitor, as in stdio and check; nothing is numbered.
//
// Knows nothing of where lines come from or go to. Every output is handed on as text, without a
// line end, in the order in which it happened, from inside Start, Handle and Stop.
class Protocol
{
public:
    // Gets one output object: its kind ("event", "error"; never "done") and its text.
    using Writer = std::function<void(const char* kind, const std::string& text)>;

    // A house with errors must not be given; it must outlive this.
    Protocol(const HouseFile& file, const SessionOptions& options, const Writer& writer);

    // Makes the drivers; then Handle may be called; at the end destroys them.
    void Start() { m_run.Start(); }
    void Stop() { m_run.Stop(); }

    // Handles one input line; `number` counts lines from 1. False when the line was refused, which
    // an output of the kind "error" has told; it then changed nothing. Lines to be skipped are the
    // caller's business.
    bool Handle(const std::string& line, unsigned long number);

private:
    HouseRun m_run;
};
} // namespace lighting_host

#pragma once

namespace lighting_host
{
// What the program says when it crashes (an invalid memory access, an abort, a stack overflow): in
// which driver and in which operation of it. Then it ends by the signal, as it would have.
//
// Does only what is safe in a signal handler, on a stack of its own. For the main thread, on which
// all drivers live.
class CrashReport
{
public:
    // Called before the report is written, to write out what was finished; may only do what is safe
    // in a signal handler. Null for nothing.
    using Flush = void (*)();

    // From now on crashes are reported. Called once.
    static void Install(Flush flush);
};
} // namespace lighting_host

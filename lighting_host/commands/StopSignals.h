#pragma once

namespace lighting_host
{
// The signals that ask the program to end: SIGTERM, SIGINT and SIGHUP. While one of these objects
// lives they only leave a note, so that whoever works can save what it holds and then end. SIGPIPE
// and SIGXFSZ are ignored meanwhile: a reader that went away, and a file that may not grow, are
// errors of the write. A signal that was ignored before, as by nohup, stays so.
//
// One at a time; signals are the process's, so what was noted is static. Without such an object
// nothing is ever noted.
class StopSignals
{
public:
    // Throws std::system_error when the process has no descriptors left.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // The number of the first signal that came, 0 for none yet.
    static int Received();

    // Becomes readable when a signal comes, and stays so; -1 without an object. For poll only.
    static int Descriptor();
};

// The exit status of a command that this signal ended before its time, as shells have it.
constexpr int StatusOfSignal(int signal)
{
    return 128 + signal;
}
} // namespace lighting_host

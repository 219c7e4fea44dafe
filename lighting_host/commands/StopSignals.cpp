#include "lighting_host/commands/StopSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace lighting_host
{
namespace
{
constexpr std::array<int, 3> SIGNALS = {SIGTERM, SIGINT, SIGHUP};

volatile std::sig_atomic_t g_received = 0;
volatile std::sig_atomic_t g_descriptor = -1;
std::array<struct sigaction, SIGNALS.size()> g_before;
struct sigaction g_pipeBefore;
struct sigaction g_sizeBefore;

// Runs at any moment of the program: only what is safe there.
void NoteSignal(int signal)
{
    const int before = errno;
    if (g_received == 0)
        g_received = signal;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_descriptor, &one, sizeof one);
    errno = before;
}
} // namespace

StopSignals::StopSignals()
{
    g_descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (g_descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    g_received = 0;
    struct sigaction note = {};
    // Without SA_RESTART, so that a read or write that waits is left.
    note.sa_handler = &NoteSignal;
    sigemptyset(&note.sa_mask);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i)
    {
        ::sigaction(SIGNALS[i], nullptr, &g_before[i]);
        if (g_before[i].sa_handler != SIG_IGN)
            ::sigaction(SIGNALS[i], &note, nullptr);
    }
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &g_pipeBefore);
    ::sigaction(SIGXFSZ, &ignore, &g_sizeBefore);
}

StopSignals::~StopSignals()
{
    for (std::size_t i = 0; i < SIGNALS.size(); ++i)
        ::sigaction(SIGNALS[i], &g_before[i], nullptr);
    ::sigaction(SIGPIPE, &g_pipeBefore, nullptr);
    ::sigaction(SIGXFSZ, &g_sizeBefore, nullptr);
    ::close(g_descriptor);
    g_descriptor = -1;
    g_received = 0;
}

int StopSignals::Received()
{
    return g_received;
}

int StopSignals::Descriptor()
{
    return g_descriptor;
}
} // namespace lighting_host

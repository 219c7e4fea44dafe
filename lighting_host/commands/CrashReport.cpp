#include "lighting_host/commands/CrashReport.h"

#include "embedded_host/CallScope.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace lighting_host
{
namespace
{
struct Crash
{
    int signal;
    const char* what;
};
constexpr std::array<Crash, 5> CRASHES = {{
    {SIGSEGV, "invalid memory access or stack overflow (SIGSEGV)"},
    {SIGBUS, "invalid memory access (SIGBUS)"},
    {SIGFPE, "invalid arithmetic (SIGFPE)"},
    {SIGILL, "invalid instruction (SIGILL)"},
    {SIGABRT, "abort (SIGABRT)"},
}};

constexpr std::size_t STACK_SIZE = 65536;
alignas(16) char g_stack[STACK_SIZE];
std::array<struct sigaction, CRASHES.size()> g_uncaught;
CrashReport::Flush g_flush = nullptr;

// A text of at most so many characters, put together without the heap.
class Text
{
public:
    void Add(const char* text)
    {
        const std::size_t size = std::min(std::strlen(text), m_text.size() - m_size);
        std::memcpy(m_text.data() + m_size, text, size);
        m_size += size;
    }
    void WriteTo(int descriptor) const
    {
        const ssize_t written = ::write(descriptor, m_text.data(), m_size);
        static_cast<void>(written);
    }

private:
    std::array<char, 512> m_text{};
    std::size_t m_size = 0;
};

void AddWhere(Text& text)
{
    const embedded_host::CallScope* const call = embedded_host::CallScope::Innermost();
    if (!call)
    {
        text.Add("crashed outside every driver: ");
        return;
    }
    text.Add("driver \"");
    text.Add(call->Driver());
    text.Add("\" crashed in ");
    text.Add(call->Operation());
    if (*call->Subject() != '\0')
    {
        text.Add(" \"");
        text.Add(call->Subject());
        text.Add("\"");
    }
    text.Add(": ");
}

void OnCrash(int signal)
{
    // First, so that a crash in here ends the program too.
    for (std::size_t i = 0; i < CRASHES.size(); ++i)
        ::sigaction(CRASHES[i].signal, &g_uncaught[i], nullptr);
    if (g_flush)
        g_flush();
    Text text;
    text.Add("lighting-host: ");
    AddWhere(text);
    for (const Crash& crash : CRASHES)
    {
        if (crash.signal == signal)
            text.Add(crash.what);
    }
    text.Add("\n");
    text.WriteTo(STDERR_FILENO);
    ::raise(signal);
}
} // namespace

void CrashReport::Install(Flush flush)
{
    g_flush = flush;
    stack_t stack{};
    stack.ss_sp = g_stack;
    stack.ss_size = sizeof g_stack;
    ::sigaltstack(&stack, nullptr);
    struct sigaction action
    {
    };
    action.sa_handler = &OnCrash;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < CRASHES.size(); ++i)
        ::sigaction(CRASHES[i].signal, &action, &g_uncaught[i]);
}
} // namespace lighting_host

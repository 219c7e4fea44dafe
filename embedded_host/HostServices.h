#pragma once

#include <cstdint>
#include <string>

namespace embedded_host
{
class Clock;
class Random;

// What the host's free functions (the time, random numbers, assertions, the log) need to know: on
// whose behalf they are called. A DriverHost is one; a test may bring its own.
class HostServices
{
public:
    virtual ~HostServices() = default;

    virtual Clock& GetClock() = 0;
    virtual Random& GetRandom() = 0;

    // The assertion writer was called.
    virtual void OnAssert(const char* file, int line) = 0;

    // The library's logger wrote a record; `level` is log4cplus's number.
    virtual void OnLog(const std::string& text, int level, const std::string& file, int line,
                       const std::string& function) = 0;
};

// Says whose turn it is on this thread, for as long as it lives. Nests: a forward that is delivered
// inside another driver's call has a scope of its own.
class HostScope
{
public:
    explicit HostScope(HostServices& services) : m_outer(s_current)
    {
        if (!m_outer)
            ++s_chain;
        s_current = &services;
    }
    ~HostScope() { s_current = m_outer; }
    HostScope(const HostScope&) = delete;
    HostScope& operator=(const HostScope&) = delete;

    // Null outside every scope.
    static HostServices* Current() { return s_current; }

    // Tells one chain of effects from the next: the same number inside an outermost scope and
    // everything nested in it, another one in the next outermost scope.
    static std::uint64_t Chain() { return s_chain; }

private:
    static thread_local HostServices* s_current;
    static thread_local std::uint64_t s_chain;
    HostServices* m_outer;
};
} // namespace embedded_host

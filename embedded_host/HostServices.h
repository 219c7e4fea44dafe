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

    // What the free functions take the time from, and what they draw random numbers from. Called
    // whenever a driver asks for either; both must stay valid as long as this.
    virtual Clock& GetClock() = 0;
    virtual Random& GetRandom() = 0;

    // The assertion writer was called.
    virtual void OnAssert(const char* file, int line) = 0;

    // The library's logger wrote a record; `level` is log4cplus's number.
    virtual void OnLog(const std::string& text, int level, const std::string& file, int line,
                       const std::string& function) = 0;
};

// One chain: all that follows from one input, timer or device message until the call from outside
// returns. Lives on the stack; inside another one of the same thread it is a part of that one.
class EffectChain
{
public:
    EffectChain()
    {
        if (s_depth++ == 0)
            ++s_number;
    }
    ~EffectChain() { --s_depth; }
    EffectChain(const EffectChain&) = delete;
    EffectChain& operator=(const EffectChain&) = delete;

    // A number that identifies the present chain of this thread; 0 before the first.
    static std::uint64_t Number() { return s_number; }

private:
    static thread_local std::uint64_t s_number;
    static thread_local unsigned s_depth;
};

// While it lives, this thread acts on behalf of that driver. Scopes nest: a command forwarded
// inside another driver's call has a scope of its own. The outermost scope begins a chain.
class HostScope
{
public:
    explicit HostScope(HostServices& services) : m_outer(s_current) { s_current = &services; }
    ~HostScope() { s_current = m_outer; }
    HostScope(const HostScope&) = delete;
    HostScope& operator=(const HostScope&) = delete;

    // Null outside every scope.
    static HostServices* Current() { return s_current; }

private:
    static thread_local HostServices* s_current;
    const EffectChain m_chain;
    HostServices* m_outer;
};
} // namespace embedded_host

#pragma once

#include "embedded_host/TimerObserver.h"
#include "lighting_host/commands/Commands.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

// The timers of a whole house over some hours, for a benchmark to replay.
namespace house_trace
{
struct Operation
{
    enum Kind : std::uint8_t
    {
        Add,
        Kill,
        // For the last time.
        Fire,
        // The timer goes on running, without an Add.
        FireAgain,
    };
    Kind kind;
    unsigned id;
    std::int64_t nowMs;
    // For Add only: when it is due first, and how often it fires, 0 for as long as nobody kills it.
    std::int64_t dueMs;
    std::uint32_t count;
};

class Trace : public embedded_host::TimerObserver
{
public:
    void OnTimerAdded(unsigned id, std::int64_t dueMs, std::int64_t nowMs) override
    {
        operations.push_back({Operation::Add, id, nowMs, dueMs, 1});
    }
    void OnTimerKilled(unsigned id, std::int64_t nowMs) override
    {
        operations.push_back({Operation::Kill, id, nowMs, 0, 0});
    }
    void OnTimerFires(unsigned id, bool again, std::int64_t nowMs) override
    {
        Fired& fired = m_fired[id];
        ++fired.times;
        fired.ended = !again;
        operations.push_back({again ? Operation::FireAgain : Operation::Fire, id, nowMs, 0, 0});
    }

    // What only turned out later: how often each timer fired.
    void Finish()
    {
        for (Operation& operation : operations)
        {
            if (operation.kind != Operation::Add)
                continue;
            const Fired& fired = m_fired[operation.id];
            if (fired.times > 0)
                operation.count = fired.ended ? fired.times : 0;
        }
    }

    std::vector<Operation> operations;

private:
    struct Fired
    {
        std::uint32_t times = 0;
        bool ended = false;
    };
    std::map<unsigned, Fired> m_fired;
};

// Takes what is written and keeps nothing. A stream without a buffer will not do: it is not good.
class Nowhere : public std::streambuf
{
    int_type overflow(int_type octet) override { return traits_type::not_eof(octet); }
    std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
};

// Runs the house for so many hours of virtual time, telling nothing; `timers` may be null. Throws
// std::runtime_error when the house cannot be run.
inline void RunQuietly(const std::string& path, unsigned hours,
                       embedded_host::TimerObserver* timers)
{
    lighting_host::RunOptions options;
    options.forMs = std::int64_t{hours} * 3600 * 1000;
    options.verbosity = lighting_host::Verbosity::Quiet;
    options.session.logLevel = 30000;
    options.session.timers = timers;
    Nowhere buffer;
    std::ostream nowhere(&buffer);
    if (lighting_host::RunHouse(path, options, nowhere, nowhere) != 0)
        throw std::runtime_error(path + " cannot be run");
}

inline std::vector<Operation> Record(const std::string& path, unsigned hours)
{
    Trace trace;
    RunQuietly(path, hours, &trace);
    trace.Finish();
    return std::move(trace.operations);
}
} // namespace house_trace

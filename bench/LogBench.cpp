// A log call that is switched off: the library's macro against the logger's own test.

#include "bench/Bench.h"
#include "lighting_common/internal/Diagnostics.h"

namespace diagnostics
{
// The library keeps its logger to itself; the macro under test works on this one.
const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("lighting_nl"));
} // namespace diagnostics

namespace
{
void Switch()
{
    log4cplus::Logger(diagnostics::logger).setLogLevel(log4cplus::OFF_LOG_LEVEL);
}

void LogOurs(benchmark::State& state)
{
    Switch();
    unsigned id = 7;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        LIGHTING_LOG(DEBUG, "bench", "joined group ", id);
        benchmark::DoNotOptimize(++id);
    }
}

void LogPeer(benchmark::State& state)
{
    Switch();
    unsigned id = 7;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(diagnostics::logger.isEnabledFor(log4cplus::DEBUG_LOG_LEVEL));
        benchmark::DoNotOptimize(++id);
    }
}

BENCHMARK(LogOurs)->Name("log_off/ours");
BENCHMARK(LogPeer)->Name("log_off/isEnabledFor");
} // namespace

#pragma once

#include "nxshared/Assert.h"

#include <string>

#include <fmt/format.h>
#include <log4cplus/logger.h>

// How the library logs and asserts.
//
// Every record goes to the one logger of the library, with the source's name, the line and the
// function's full signature. A level that is off costs one test and no formatting.
namespace diagnostics
{
// The library's logger, obtained once when the library is loaded.
extern const log4cplus::Logger logger;

// The pieces one after the other: texts as they are, whole numbers in decimal.
template <class... Pieces>
std::string Concat(const Pieces&... pieces)
{
    fmt::memory_buffer buffer;
    (fmt::format_to(fmt::appender(buffer), "{}", pieces), ...);
    return std::string(buffer.data(), buffer.size());
}
} // namespace diagnostics

// Logs the concatenated pieces at a level (TRACE, DEBUG, INFO, WARN or ERROR), for a source
// ("lighting_common/SceneManager"), a line of it and the signature of an operation. For helpers,
// which log in the name of the operation that called them.
#define LIGHTING_LOG_FOR(level, source, line, signature, ...)                                      \
    do                                                                                             \
    {                                                                                              \
        if (diagnostics::logger.isEnabledFor(log4cplus::level##_LOG_LEVEL))                        \
            diagnostics::logger.forcedLog(log4cplus::level##_LOG_LEVEL,                            \
                                          diagnostics::Concat(__VA_ARGS__), source, line,          \
                                          signature);                                              \
    } while (false)

// The same in the name of the function where it stands.
#define LIGHTING_LOG_LINE(level, source, line, ...)                                                \
    LIGHTING_LOG_FOR(level, source, line, __PRETTY_FUNCTION__, __VA_ARGS__)

// The same for the line where it stands.
#define LIGHTING_LOG(level, source, ...) LIGHTING_LOG_LINE(level, source, __LINE__, __VA_ARGS__)

// Reports to the host when `condition` does not hold, and goes on. `line` is the number that the
// report carries.
#define LIGHTING_ASSERT(condition, source, line)                                                   \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
            nx::AssertWrite(source, line, nx::StackTrace());                                       \
    } while (false)

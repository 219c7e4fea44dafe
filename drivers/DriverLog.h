#pragma once

#include <sstream>
#include <string>

// How the drivers log: to the library's logger, beside its records, with the source's name
// ("drivers/zigbee_light/ZigbeeLightDriver"), the line and the function's full signature.
namespace driver_log
{
// Whether anybody takes warnings; asked before a text is made.
bool WarningsAreOn();

void Warn(const std::string& text, const char* source, int line, const char* function);
} // namespace driver_log

// Logs a warning; `pieces` are joined by <<, which is why they stand without parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define DRIVER_WARN(source, pieces)                                                                \
    do                                                                                             \
    {                                                                                              \
        if (driver_log::WarningsAreOn())                                                           \
        {                                                                                          \
            std::ostringstream driverLogText;                                                      \
            driverLogText << pieces;                                                               \
            driver_log::Warn(driverLogText.str(), source, __LINE__, __PRETTY_FUNCTION__);          \
        }                                                                                          \
    } while (false)
// NOLINTEND(bugprone-macro-parentheses)

#pragma once

#include "embedded_host/LibraryLog.h"

#include <log4cplus/loglevel.h>

namespace test_support
{
// Switches the library's log off while it lives, and on with everything afterwards.
class LogSwitchedOff
{
public:
    LogSwitchedOff() { embedded_host::ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL); }
    ~LogSwitchedOff() { embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }
    LogSwitchedOff(const LogSwitchedOff&) = delete;
    LogSwitchedOff& operator=(const LogSwitchedOff&) = delete;
};
} // namespace test_support

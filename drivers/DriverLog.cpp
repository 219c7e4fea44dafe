#include "drivers/DriverLog.h"

#include "lighting_common/Names.h"

#include <log4cplus/logger.h>

namespace driver_log
{
namespace
{
const log4cplus::Logger& Logger()
{
    static const log4cplus::Logger logger = log4cplus::Logger::getInstance(names::LOGGER);
    return logger;
}
} // namespace

bool WarningsAreOn()
{
    return Logger().isEnabledFor(log4cplus::WARN_LOG_LEVEL);
}

void Warn(const std::string& text, const char* source, int line, const char* function)
{
    Logger().forcedLog(log4cplus::WARN_LOG_LEVEL, text, source, line, function);
}
} // namespace driver_log

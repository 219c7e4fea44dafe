#include "embedded_host/LibraryLog.h"

#include "embedded_host/HostServices.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

namespace embedded_host
{
namespace
{
const char LOGGER[] = "lighting_nl";
const char APPENDER[] = "embedded_host";

class LibraryAppender : public log4cplus::Appender
{
public:
    LibraryAppender() { setName(LOG4CPLUS_TEXT(APPENDER)); }
    ~LibraryAppender() override { destructorImpl(); }
    void close() override { closed = true; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        if (HostServices* services = HostScope::Current())
            services->OnLog(event.getMessage(), event.getLogLevel(), event.getFile(),
                            event.getLine(), event.getFunction());
    }
};
} // namespace

void ConnectLibraryLog(int level)
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(LOGGER));
    logger.setLogLevel(level);
    logger.setAdditivity(false);
    if (!logger.getAppender(LOG4CPLUS_TEXT(APPENDER)))
        logger.addAppender(log4cplus::SharedAppenderPtr(new LibraryAppender));
}

void EnsureLibraryLog()
{
    if (!log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(LOGGER))
             .getAppender(LOG4CPLUS_TEXT(APPENDER)))
        ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL);
}
} // namespace embedded_host

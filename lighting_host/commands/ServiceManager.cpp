#include "lighting_host/commands/ServiceManager.h"

#include <systemd/sd-daemon.h>

namespace lighting_host
{
ServiceManager::ServiceManager()
{
    std::uint64_t microseconds = 0;
    // Twice as often as it must be.
    if (sd_watchdog_enabled(0, &microseconds) > 0)
        m_intervalNs = static_cast<std::int64_t>(microseconds) * 1000 / 2;
}

void ServiceManager::TellReady(const std::string& status)
{
    sd_notifyf(0, "READY=1\nSTATUS=%s", status.c_str());
}

void ServiceManager::TellAlive(std::int64_t nowNs)
{
    if (m_intervalNs == 0 || nowNs < m_nextNs)
        return;
    m_nextNs = nowNs + m_intervalNs;
    sd_notify(0, "WATCHDOG=1");
}

void ServiceManager::TellStopping()
{
    sd_notify(0, "STOPPING=1");
}
} // namespace lighting_host

#include "lighting_host/simulation/RunStatistics.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Controller.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/TrafficWatch.h"

#include <cstring>

#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr const char* REPORT_BUTTON_EVENT = "ReportButtonEvent";

bool IsMessage(const Effect& effect)
{
    return std::holds_alternative<MibSent>(effect) || std::holds_alternative<ZclSent>(effect) ||
           std::holds_alternative<GatewaySent>(effect);
}
} // namespace

RunStatistics::RunStatistics(const Controller& controller, const Session& session)
    : m_controller(controller), m_session(session)
{
}

RunStatistics::~RunStatistics() = default;

RunStatistics::DriverStatistics& RunStatistics::StatisticsOf(const nx::DriverHost& driver)
{
    const auto [entry, isNew] = m_drivers.try_emplace(&driver);
    const DeviceKind* const kind = isNew ? m_session.KindOf(driver) : nullptr;
    if (kind && kind->watch)
        entry->second.watch = kind->watch();
    return entry->second;
}

void RunStatistics::OnOutput(const Output& output)
{
    if (IsMessage(output.effect))
    {
        DriverStatistics& driver = StatisticsOf(output.driver);
        ++driver.counts.sent;
        if (!driver.watch)
            return;
        const auto meaning = driver.watch->OnSent(output.effect, m_controller.IsSpeaking());
        driver.counts.repairs += meaning == TrafficWatch::Meaning::Repair ? 1 : 0;
        driver.counts.retries += meaning == TrafficWatch::Meaning::Retry ? 1 : 0;
    }
    else if (std::holds_alternative<EventFired>(output.effect))
        ++StatisticsOf(output.driver).counts.events;
    else if (const auto* call = std::get_if<OwnerCall>(&output.effect))
    {
        if (std::strcmp(call->operation, REPORT_BUTTON_EVENT) == 0)
            ++StatisticsOf(output.driver).counts.events;
    }
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
    {
        if (record->level >= log4cplus::WARN_LOG_LEVEL)
            ++StatisticsOf(output.driver).counts.warnings;
    }
}

void RunStatistics::OnPerson(const nx::DriverHost& driver, const std::string&)
{
    DriverStatistics& statistics = StatisticsOf(driver);
    statistics.counts.acts += statistics.hasWords ? 0 : 1;
}

void RunStatistics::OnAct(const nx::DriverHost& driver, const std::string&)
{
    DriverStatistics& statistics = StatisticsOf(driver);
    statistics.hasWords = true;
    ++statistics.counts.acts;
}

void RunStatistics::OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    if (TrafficWatch* const watch = StatisticsOf(driver).watch.get())
        watch->OnBus(frame);
}

RunStatistics::Counts RunStatistics::Of(const nx::DriverHost& driver) const
{
    const auto found = m_drivers.find(&driver);
    return found == m_drivers.end() ? Counts() : found->second.counts;
}
} // namespace lighting_host

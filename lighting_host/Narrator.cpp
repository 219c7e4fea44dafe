#include "lighting_host/Narrator.h"

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/Duration.h"
#include "lighting_host/Session.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <ostream>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t NAME_WIDTH = 12;
constexpr std::size_t TIME_OF_DAY = 11;

// "12 d 03:45", days left out when there are none.
std::string Minutes(int minutes)
{
    constexpr int MINUTES_PER_DAY = 24 * 60;
    const std::string time =
        fmt::format("{:02}:{:02}", minutes % MINUTES_PER_DAY / 60, minutes % 60);
    return minutes < MINUTES_PER_DAY ? time
                                     : fmt::format("{} d {}", minutes / MINUTES_PER_DAY, time);
}

std::string KilowattHours(double hundredthsOfAWattHour)
{
    return fmt::format("{:.3f} kWh", hundredthsOfAWattHour / 100000);
}
} // namespace

Narrator::Narrator(std::ostream& out, std::function<void()> clearProgress)
    : m_out(out), m_clearProgress(std::move(clearProgress))
{
}

std::string Narrator::DescribeEvent(const nx::DriverHost& driver, unsigned event) const
{
    const DriverAdapter* adapter = m_session ? m_session->AdapterOf(driver) : nullptr;
    const std::string words = adapter ? adapter->DescribeEvent(event) : std::string();
    return words.empty() ? "an event fires" : words;
}

void Narrator::Write(const Output& output)
{
    const nx::DriverHost& driver = output.driver;
    Counts& counts = m_counts[driver.Config().name];
    if (const auto* fired = std::get_if<EventFired>(&output.effect))
    {
        ++counts.events;
        Line(driver, DescribeEvent(driver, fired->event), fmt::format("event {}", fired->event));
    }
    else if (std::holds_alternative<MibSent>(output.effect) ||
             std::holds_alternative<ZclSent>(output.effect) ||
             std::holds_alternative<GatewaySent>(output.effect))
        ++counts.sent;
    else if (const auto* call = std::get_if<BoundCallSent>(&output.effect))
        Line(driver, "tells its bound device " + call->message.GetName(),
             fmt::format("binding {}", call->binding));
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
        Line(driver, record->level >= log4cplus::WARN_LOG_LEVEL ? "warns" : "notes", record->text);
    else if (const auto* assertion = std::get_if<AssertRecord>(&output.effect))
        Line(driver, "an assertion failed", fmt::format("{}:{}", assertion->file, assertion->line));
    else if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        Line(driver, fault->what, std::string());
    else if (const auto* unhandled = std::get_if<CommandUnhandled>(&output.effect))
        Line(driver, "does not know the command", unhandled->name);
}

void Narrator::Person(const nx::DriverHost& driver, const std::string& what)
{
    Line(driver, "somebody " + what, std::string());
}

void Narrator::Line(const nx::DriverHost& driver, const std::string& what,
                    const std::string& detail)
{
    const Clock& clock = driver.GetHouse().GetClock();
    const std::string when =
        FormatLocalTime(clock.LocalSeconds(), static_cast<int>(clock.NowMs() % 1000));
    m_clearProgress();
    m_out << fmt::format("{}  {:<{}}  {}", when.substr(TIME_OF_DAY), driver.Config().name,
                         NAME_WIDTH, what);
    if (!detail.empty())
        m_out << fmt::format("  ({})", detail);
    m_out << '\n';
}

void Narrator::WriteTable() const
{
    m_out << fmt::format("\n{:<{}}  {:<14}  {:>6}  {:>7}  {}\n", "driver", NAME_WIDTH, "type",
                         "events", "sent", "state");
    for (const auto& driver : m_session->House().Drivers())
    {
        const DriverConfig& config = driver->Config();
        const auto found = m_counts.find(config.name);
        const Counts counts = found == m_counts.end() ? Counts() : found->second;
        const DriverAdapter* adapter = m_session->AdapterOf(*driver);
        std::string state;
        if (adapter)
        {
            for (const auto& fact : adapter->Summary())
                state +=
                    fmt::format("{}{}: {}", state.empty() ? "" : "; ", fact.first, fact.second);
        }
        else
            state = driver->Driver() ? "runs" : "does not run";
        m_out << fmt::format("{:<{}}  {:<14}  {:>6}  {:>7}  {}\n", config.name, NAME_WIDTH,
                             config.type, counts.events, counts.sent, state);
    }
}

void Narrator::WriteEnergyTable() const
{
    const char* const row = "{:<{}}  {:<14}  {:>12}  {:>12}  {:>8}  {:>12}  {:>12}\n";
    std::int64_t hundredths = 0;
    bool any = false;
    for (const auto& driver : m_session->House().Drivers())
    {
        const DriverAdapter* adapter = m_session->AdapterOf(*driver);
        const auto figures = adapter ? adapter->EnergyOfLoad() : std::nullopt;
        if (!figures)
            continue;
        if (!any)
            m_out << '\n'
                  << fmt::format(row, "load", NAME_WIDTH, "type", "on", "off", "now", "used",
                                 "used today");
        any = true;
        hundredths += std::int64_t{figures->wattHours} * 100 + figures->hundredths;
        m_out << fmt::format(row, driver->Config().name, NAME_WIDTH, driver->Config().type,
                             Minutes(figures->minutesOn), Minutes(figures->minutesOff),
                             fmt::format("{} W", figures->powerWatts),
                             KilowattHours(figures->wattHours * 100.0 + figures->hundredths),
                             KilowattHours(figures->wattHoursToday * 100.0));
    }
    if (any)
        m_out << fmt::format(row, "all", NAME_WIDTH, "", "", "", "",
                             KilowattHours(static_cast<double>(hundredths)), "");
}
} // namespace lighting_host

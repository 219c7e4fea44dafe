#include "lighting_host/simulation/ConsoleReport.h"

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/text/Duration.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <ostream>
#include <tuple>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr const char* DIGITS = "0123456789";

// "17# Function(int)"
bool IsStackFrame(const std::string& text)
{
    const auto end = text.find_first_not_of(DIGITS);
    return end != std::string::npos && end > 0 && text.compare(end, 2, "# ") == 0;
}

// Records that differ in their numbers alone are of one kind.
std::string WithoutNumbers(const std::string& text)
{
    std::string kind;
    for (const char c : text)
    {
        const bool digit = c >= '0' && c <= '9';
        if (!digit)
            kind += c;
        else if (kind.empty() || kind.back() != '#')
            kind += '#';
    }
    return kind;
}
} // namespace

ConsoleReport::ConsoleReport(std::ostream& out, Verbosity verbosity, const Style& style,
                             const Session& session, Listeners& listeners,
                             std::function<void()> clearProgress)
    : m_out(out), m_verbosity(verbosity), m_style(style), m_session(session),
      m_listeners(listeners), m_clearProgress(std::move(clearProgress)), m_nameWidth(MIN_NAME_WIDTH)
{
    for (const auto& driver : session.House().Drivers())
    {
        m_nameWidth = std::max(m_nameWidth, driver->Config().name.size());
        m_roomWidth = std::max(m_roomWidth, session.RoomOf(*driver).size());
    }
    m_listeners.Add(*this);
}

ConsoleReport::~ConsoleReport()
{
    m_listeners.Remove(*this);
}

std::string ConsoleReport::DescribeEvent(const nx::DriverHost& driver, unsigned event) const
{
    const DriverAdapter* adapter = m_session.AdapterOf(driver);
    const std::string words = adapter ? adapter->DescribeEvent(event) : std::string();
    return words.empty() ? "an event fires" : words;
}

void ConsoleReport::OnOutput(const Output& output)
{
    const nx::DriverHost& driver = output.driver;
    if (const auto* fired = std::get_if<EventFired>(&output.effect))
    {
        if (m_verbosity == Verbosity::Verbose)
            Detail(driver, DescribeEvent(driver, fired->event),
                   fmt::format("event {}", fired->event));
    }
    else if (const auto* call = std::get_if<BoundCallSent>(&output.effect))
        Detail(driver, "tells its bound device " + call->message.GetName(),
               fmt::format("binding {}", call->binding));
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
        Record(driver, *record);
    else if (const auto* assertion = std::get_if<AssertRecord>(&output.effect))
        Line(driver, m_style.Bad("an assertion failed"),
             fmt::format("{}:{}", assertion->file, assertion->line));
    else if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        Line(driver, m_style.Bad(fault->what), std::string());
    else if (const auto* unhandled = std::get_if<CommandUnhandled>(&output.effect))
        Line(driver, "does not know the command", unhandled->name);
}

void ConsoleReport::Record(const nx::DriverHost& driver, const LogRecord& record)
{
    const bool warning = record.level >= log4cplus::WARN_LOG_LEVEL;
    const char* const what = warning ? "warns" : "notes";
    if (m_verbosity == Verbosity::Verbose)
        return Line(driver, Colored(warning, what), record.text);
    if (IsStackFrame(record.text))
        return;
    const Kind kind(&driver, WithoutNumbers(record.text));
    const auto known = m_records.find(kind);
    if (known != m_records.end())
    {
        ++known->second.times;
        return;
    }
    if (m_records.size() < MOST_RECORDS)
        m_records.emplace(kind, RepeatedRecord{driver.Config().name, record.text, 1});
    Line(driver, Colored(warning, what), record.text);
}

std::string ConsoleReport::Colored(bool warning, const std::string& text) const
{
    return warning ? m_style.Warning(text) : text;
}

std::vector<RepeatedRecord> ConsoleReport::Repeated() const
{
    std::vector<RepeatedRecord> repeated;
    for (const auto& record : m_records)
    {
        if (record.second.times > 1)
            repeated.push_back(record.second);
    }
    std::sort(repeated.begin(), repeated.end(),
              [](const RepeatedRecord& a, const RepeatedRecord& b)
              { return std::tie(a.driver, a.text) < std::tie(b.driver, b.text); });
    return repeated;
}

void ConsoleReport::OnPerson(const nx::DriverHost& driver, const std::string& what)
{
    if (m_told.count(&driver) != 0)
    {
        Detail(driver, "somebody " + what, std::string());
        return;
    }
    Line(driver, "somebody " + what, std::string());
}

void ConsoleReport::OnAct(const nx::DriverHost& driver, const std::string& words)
{
    m_told.insert(&driver);
    Line(driver, words, std::string());
}

void ConsoleReport::OnControllerAct(const nx::DriverHost& driver, const std::string& what)
{
    Line(driver, "the house " + what, std::string());
}

void ConsoleReport::OnPowerFailure(const nx::DriverHost& driver)
{
    Line(driver, "has no power for a moment", std::string());
}

void ConsoleReport::Detail(const nx::DriverHost& driver, const std::string& what,
                           const std::string& detail)
{
    if (m_verbosity == Verbosity::Verbose)
        Line(driver, what, detail);
}

void ConsoleReport::Line(const nx::DriverHost& driver, const std::string& what,
                         const std::string& detail)
{
    if (m_verbosity == Verbosity::Quiet)
        return;
    const Clock& clock = driver.GetHouse().GetClock();
    std::string when = TimeOfDay(clock.LocalSeconds());
    if (m_verbosity != Verbosity::Normal)
        when += fmt::format(".{:03}", clock.Now().count() % 1000);
    std::string line = m_style.Aside(when) + "  ";
    if (m_roomWidth > 0)
        line += fmt::format("{:<{}}  ", m_session.RoomOf(driver), m_roomWidth);
    line += fmt::format("{:<{}}  {}", driver.Config().name, m_nameWidth, what);
    if (!detail.empty())
        line += fmt::format("  ({})", detail);
    m_clearProgress();
    // At once: a stream that writes on at once then does so for whole lines.
    m_out << line + '\n';
}
} // namespace lighting_host

#include "lighting_host/simulation/Narrator.h"

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Controller.h"
#include "lighting_host/text/Duration.h"
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
// Without the milliseconds.
constexpr std::size_t TIME_WIDTH = 8;
} // namespace

Narrator::Narrator(std::ostream& out, Telling telling, std::function<void()> clearProgress)
    : m_out(out), m_telling(telling), m_clearProgress(std::move(clearProgress))
{
}

void Narrator::Follow(const Session* session, Controller* controller)
{
    m_session = session;
    m_controller = controller;
    if (!session)
        return;
    m_nameWidth = NAME_WIDTH;
    for (const auto& driver : session->House().Drivers())
    {
        m_nameWidth = std::max(m_nameWidth, driver->Config().name.size());
        m_roomWidth = std::max(m_roomWidth, session->RoomOf(*driver).size());
    }
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
    m_tally.Note(output, m_controller && m_controller->IsSpeaking());
    if (m_controller)
        m_controller->Hear(output);
    if (const auto* fired = std::get_if<EventFired>(&output.effect))
    {
        if (m_telling == Telling::Verbose)
            Detail(driver, DescribeEvent(driver, fired->event),
                   fmt::format("event {}", fired->event));
    }
    else if (const auto* call = std::get_if<BoundCallSent>(&output.effect))
        Detail(driver, "tells its bound device " + call->message.GetName(),
               fmt::format("binding {}", call->binding));
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
        Record(driver, *record);
    else if (const auto* assertion = std::get_if<AssertRecord>(&output.effect))
        Line(driver, "an assertion failed", fmt::format("{}:{}", assertion->file, assertion->line));
    else if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        Line(driver, fault->what, std::string());
    else if (const auto* unhandled = std::get_if<CommandUnhandled>(&output.effect))
        Line(driver, "does not know the command", unhandled->name);
}

void Narrator::Record(const nx::DriverHost& driver, const LogRecord& record)
{
    const unsigned long nth = ++m_records[&driver];
    if (m_telling != Telling::Verbose && nth > RECORDS_TOLD)
        return;
    Line(driver, record.level >= log4cplus::WARN_LOG_LEVEL ? "warns" : "notes", record.text);
}

void Narrator::Person(const nx::DriverHost& driver, const std::string& what)
{
    if (m_told.count(&driver) != 0)
    {
        Detail(driver, "somebody " + what, std::string());
        return;
    }
    m_tally.NoteAct(driver);
    Line(driver, "somebody " + what, std::string());
}

void Narrator::Act(const nx::DriverHost& driver, const std::string& words)
{
    m_told.insert(&driver);
    m_tally.NoteAct(driver);
    Line(driver, words, std::string());
}

void Narrator::ControllerActs(const nx::DriverHost& driver, const std::string& what)
{
    Line(driver, "the house " + what, std::string());
}

void Narrator::PowerFailure(const nx::DriverHost& driver)
{
    Line(driver, "has no power for a moment", std::string());
}

void Narrator::Bus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    m_tally.NoteBus(driver, frame);
}

void Narrator::Detail(const nx::DriverHost& driver, const std::string& what,
                      const std::string& detail)
{
    if (m_telling == Telling::Verbose)
        Line(driver, what, detail);
}

void Narrator::Line(const nx::DriverHost& driver, const std::string& what,
                    const std::string& detail)
{
    if (m_telling == Telling::Quiet)
        return;
    const Clock& clock = driver.GetHouse().GetClock();
    std::string when = FormatLocalTime(clock.LocalSeconds(), static_cast<int>(clock.NowMs() % 1000))
                           .substr(TIME_OF_DAY);
    if (m_telling == Telling::Normal)
        when.resize(TIME_WIDTH);
    m_clearProgress();
    m_out << when << "  ";
    if (m_roomWidth > 0)
        m_out << fmt::format("{:<{}}  ", m_session->RoomOf(driver), m_roomWidth);
    m_out << fmt::format("{:<{}}  {}", driver.Config().name, m_nameWidth, what);
    if (!detail.empty())
        m_out << fmt::format("  ({})", detail);
    m_out << '\n';
}
} // namespace lighting_host

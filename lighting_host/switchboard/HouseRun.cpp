#include "lighting_host/switchboard/HouseRun.h"

#include "embedded_host/DriverHost.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t MINUTE_MS = std::chrono::milliseconds(std::chrono::minutes(1)).count();
constexpr const char* CAUSE_KIND = "cause";

SessionOptions WithObserver(SessionOptions options, embedded_host::TimerObserver& observer)
{
    options.timers = &observer;
    return options;
}

void AppendOf(std::string& text, std::uint64_t of)
{
    text += ",\"of\":";
    text += of == 0 ? std::string("null") : std::to_string(of);
}
} // namespace

HouseRun::HouseRun(const HouseFile& file, const Options& options, Sinks sinks)
    : m_file(file), m_linesMoveTime(options.linesMoveTime), m_numbered(options.numbered),
      m_sinks(std::move(sinks)), m_digest(options.digest), m_nextMinuteMs(MINUTE_MS)
{
    // Causes are known before what they cause is written.
    if (m_numbered)
        m_listeners.Add(m_causes);
    if (m_numbered || m_sinks.onOutputText)
        m_listeners.Add(*this);
    m_session = std::make_unique<Session>(
        file, m_numbered ? WithObserver(options.session, m_causes) : options.session, m_listeners);
    m_inputs = std::make_unique<InputLines>(
        *m_session, [this](const char* kind, const std::string& text, const nx::DriverHost*)
        { OnAnswer(kind, text); });
    const auto& drivers = m_session->House().Drivers();
    for (std::size_t place = 0; place < drivers.size(); ++place)
        m_places[drivers[place].get()] = place;
    if (options.people)
        m_simulation = std::make_unique<Simulation>(file, *m_session, m_listeners, options.faults,
                                                    options.session.seed);
    else if (m_numbered)
        m_listeners.HearDevices(*m_session);
}

HouseRun::~HouseRun()
{
    // The simulation knows the session; the session's drivers still speak while they end.
    m_simulation.reset();
    m_session.reset();
}

void HouseRun::Start()
{
    m_session->Start();
    if (m_simulation)
        m_simulation->Start();
}

void HouseRun::BeSilent()
{
    m_silent = true;
    m_causes.SetSilent(true);
}

void HouseRun::Speak(const OutputDigest& digest)
{
    m_silent = false;
    m_causes.SetSilent(false);
    m_digest = digest;
}

void HouseRun::Stop()
{
    if (m_numbered)
        m_causes.BeginHouse(nullptr, "the house ends");
    m_session->Stop();
}

std::int64_t HouseRun::NextWakeMs() const
{
    const auto wake = m_session->House().NextWake();
    return wake ? wake->count() : -1;
}

void HouseRun::AdvanceTo(std::int64_t ms)
{
    m_session->House().Advance(std::chrono::milliseconds(ms - NowMs()));
    TellMinutes(NowMs());
}

void HouseRun::AdvanceTo(std::int64_t ms, const bool& stop)
{
    while (!stop)
    {
        const std::int64_t wake = NextWakeMs();
        if (wake < 0 || wake >= ms)
        {
            AdvanceTo(ms);
            return;
        }
        AdvanceTo(wake);
    }
}

bool HouseRun::HandIn(const std::string& visitor, const std::string& line, unsigned long number)
{
    if (!m_linesMoveTime)
        m_session->House().Advance({});
    if (m_numbered)
        m_causes.BeginInput(visitor, IsJson(line) ? line : "null", NowMs());
    const bool taken = m_inputs->Handle(line, number);
    TellMinutes(NowMs());
    return taken;
}

void HouseRun::Do(const std::string& visitor, const std::string& line,
                  const std::function<void()>& action)
{
    m_session->House().Advance({});
    m_causes.BeginInput(visitor, line, NowMs());
    m_causes.BeginAct();
    action();
    m_causes.EndAct();
    TellMinutes(NowMs());
}

void HouseRun::Redraw(std::uint64_t seed)
{
    m_session->Redraw(seed);
    if (m_simulation)
        m_simulation->Faults().Redraw(seed);
}

std::size_t HouseRun::PlaceOf(const nx::DriverHost* driver) const
{
    // What is told one after the other is often one driver's.
    if (driver == m_lastDriver)
        return m_lastPlace;
    const auto place = m_places.find(driver);
    m_lastDriver = driver;
    m_lastPlace = place == m_places.end() ? OutputRing::NO_DRIVER : place->second;
    return m_lastPlace;
}

void HouseRun::OnOutput(const embedded_host::Output& output)
{
    if (!m_numbered)
        return WritePlain(output);
    TellMinutes(output.timeMs);
    WriteCause(output.timeMs);
    if (m_silent)
    {
        ++m_seq;
        return;
    }
    m_line.text.clear();
    if (const auto* fault = std::get_if<embedded_host::DriverFault>(&output.effect))
    {
        AppendHead(m_line.text, output.timeMs, output.driver.Config().name);
        m_line.text += "\"error\":";
        AppendJsonText(m_line.text, fault->what);
        m_line.text += '}';
    }
    else
        AppendOutput(m_line.text, output);
    m_digest.Add(m_line.text);
    if (m_sinks.onOutputText)
        m_sinks.onOutputText(KindOf(output.effect), output.timeMs, m_line.text);
    m_line.text.pop_back();
    AppendOf(m_line.text, m_causes.Current().Number());
    WriteLine(KindOf(output.effect), output.timeMs, &output.driver);
}

// For one visitor alone, whose line is wrong when a driver fails at it.
void HouseRun::WritePlain(const embedded_host::Output& output)
{
    if (const auto* fault = std::get_if<embedded_host::DriverFault>(&output.effect))
        return m_inputs->WriteFault(output.driver, fault->what);
    m_line.text.clear();
    AppendOutput(m_line.text, output);
    m_sinks.onOutputText(KindOf(output.effect), output.timeMs, m_line.text);
}

void HouseRun::WriteCause(std::int64_t timeMs)
{
    CauseTracker::Cause& cause = m_causes.Current();
    if (cause.seq != 0 || std::strcmp(cause.kind, "start") == 0)
        return;
    if (cause.root)
    {
        if (cause.root->seq == 0)
            WriteCauseLine(*cause.root, timeMs);
        cause.of = cause.root->seq;
        cause.root.reset();
    }
    WriteCauseLine(cause, timeMs);
}

void HouseRun::WriteCauseLine(CauseTracker::Cause& cause, std::int64_t timeMs)
{
    cause.seq = m_seq + 1;
    if (m_silent)
    {
        ++m_seq;
        return;
    }
    const std::int64_t begun = cause.timeMs < 0 ? timeMs : cause.timeMs;
    m_line.text = fmt::format("{{\"t_ms\":{}", begun);
    if (cause.driver)
    {
        m_line.text += ",\"driver\":";
        AppendJsonText(m_line.text, cause.driver->Config().name);
    }
    m_line.text += fmt::format(",\"cause\":\"{}\"", cause.kind);
    AppendOf(m_line.text, cause.of);
    m_line.text += cause.members;
    WriteLine(CAUSE_KIND, begun, cause.driver);
}

// The text lacks only its number and its end.
void HouseRun::WriteLine(const char* kind, std::int64_t timeMs, const nx::DriverHost* driver)
{
    m_line.seq = ++m_seq;
    m_line.timeMs = timeMs;
    m_line.kind = kind;
    m_line.driver = PlaceOf(driver);
    m_line.text += ",\"seq\":";
    m_line.text += std::to_string(m_line.seq);
    m_line.text += '}';
    if (m_sinks.onLine)
        m_sinks.onLine(m_line);
}

void HouseRun::TellMinutes(std::int64_t upToMs)
{
    if (!m_numbered)
        return;
    while (m_nextMinuteMs <= upToMs)
    {
        if (m_sinks.onMinute && !m_silent)
            m_sinks.onMinute(m_nextMinuteMs, m_digest);
        m_digest.Cut();
        m_nextMinuteMs += MINUTE_MS;
    }
}

void HouseRun::OnAnswer(const char* kind, const std::string& text)
{
    if (m_sinks.onAnswer)
        m_sinks.onAnswer(kind, text);
}
} // namespace lighting_host

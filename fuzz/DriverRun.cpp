#include "fuzz/DriverRun.h"

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "fuzz/Fuzzing.h"
#include "lighting_host/types/DriverAdapter.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>

#include <log4cplus/loglevel.h>

namespace fuzzing
{
using namespace embedded_host;

namespace
{
constexpr std::int64_t BEFORE_MIDNIGHT_S = 24 * 3600 - 180;
constexpr std::uint64_t MOST_ADVANCE_MS = 15 * 60 * 1000;

// No input that this folder's programs read has reason to cause more.
constexpr std::size_t MOST_EFFECTS = 200000;

lighting_host::SessionOptions Options(bool logs)
{
    lighting_host::SessionOptions options;
    options.startLocalSeconds = BEFORE_MIDNIGHT_S;
    options.logLevel = logs ? log4cplus::TRACE_LOG_LEVEL : log4cplus::OFF_LOG_LEVEL;
    return options;
}

// What must hold of an effect of any driver.
struct Sound
{
    template <class Kind>
    bool operator()(const Kind&) const
    {
        return true;
    }
    bool operator()(const DriverFault&) const { return false; }
    bool operator()(const MibSent& sent) const { return !sent.packet.GetMib().empty(); }
    bool operator()(const ZclSent& sent) const { return sent.frame && sent.length >= 3; }
    bool operator()(const GatewaySent& sent) const
    {
        return !sent.command.GetName().empty() && ReadsBack(sent.command.ToXml());
    }
    bool operator()(const UiData& data) const { return ReadsBack(data.data.ToText()); }
    bool operator()(const OwnerCall& call) const { return call.operation && *call.operation; }
    bool operator()(const LogRecord& record) const { return !record.file.empty(); }

    static bool ReadsBack(const std::string& xml)
    {
        const auto document = nx::CreateXmlDocument(xml);
        return document && document->GetRoot()->ToText() == xml;
    }
};
} // namespace

DriverRun::DriverRun(lighting_host::HouseFileDriver driver, bool logs)
{
    driver.name = "d";
    driver.id = 101;
    lighting_host::HouseFile house;
    house.drivers.push_back(std::move(driver));
    embedded_host::OutputSink& sink = *this;
    m_session = std::make_unique<lighting_host::Session>(house, Options(logs), sink);
    m_host = m_session->House().Find("d");
    Require(m_host != nullptr);
    m_session->Start();
}

DriverRun::~DriverRun()
{
    m_session.reset();
}

void DriverRun::Advance(std::uint64_t ms)
{
    ms = std::min(ms, MOST_ADVANCE_MS - m_advancedMs);
    m_advancedMs += ms;
    m_session->House().Advance(std::chrono::milliseconds(ms));
}

void DriverRun::Fact(const std::string& name, const std::string& json)
{
    using namespace lighting_host;
    DriverAdapter* const adapter = m_session->AdapterOf(*m_host);
    try
    {
        if (const auto action = adapter->PrepareFact(name, ParseJson(json)))
            m_host->CallDriver("the fact", name.c_str(), action);
    }
    catch (const InputError&)
    {
    }
}

void DriverRun::Input(const std::string& json)
{
    using namespace lighting_host;
    DriverAdapter* const adapter = m_session->AdapterOf(*m_host);
    try
    {
        const Json input = ParseJson(json);
        Fields fields(input, "the input");
        if (input.empty())
            return;
        const auto action = adapter->PrepareInput(input.items().begin().key(), fields);
        fields.Finish();
        if (action)
            m_host->CallDriver("the input", action);
    }
    catch (const InputError&)
    {
    }
}

void DriverRun::BusMessage(std::uint16_t opcode, const std::vector<std::uint8_t>& payload)
{
    m_host->BusMessage(opcode, payload.data(), payload.size());
}

void DriverRun::RequireStateKept()
{
    // What is bound is written down, but after a restart nothing is.
    constexpr unsigned FIRST_BUTTON = 300;
    constexpr unsigned MOST_BUTTONS = 6;
    for (unsigned contact = 1; contact <= 2; ++contact)
        m_host->BindingMade(contact, "BUTTON_LINK", false);
    for (unsigned button = 0; button < MOST_BUTTONS; ++button)
        m_host->BindingMade(FIRST_BUTTON + button, "BUTTON_LINK", false);

    const std::string kept = m_host->Persist();
    Require(Sound::ReadsBack(kept));
    RequireSame(m_host->Persist(), kept);
    m_host->Restart();
    Require(m_host->Driver() != nullptr);
    RequireSame(m_host->Persist(), kept);
}

void DriverRun::Write(const Output& output)
{
    Require(&output.driver == m_host || !m_host);
    Require(output.timeMs >= m_nowMs);
    m_nowMs = output.timeMs;
    Require(std::visit(Sound(), output.effect));
    std::size_t& count = m_counts[output.effect.index()];
    Require(++count < MOST_EFFECTS);
}
} // namespace fuzzing

#include "lighting_host/simulation/RunStatistics.h"

#include "embedded_host/ZclMessages.h"
#include "lighting_common/Names.h"
#include "lighting_host/simulation/Controller.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/NxMIBPacket.h"
#include "wire/BusFrame.h"

#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t NUMBER_SIZE = 2;
constexpr std::uint16_t BUS_ANSWER = 0x9000;
const std::string REPORT_BUTTON_EVENT = "ReportButtonEvent";

unsigned NumberOf(const std::vector<std::uint8_t>& payload)
{
    return payload.size() < NUMBER_SIZE ? 0 : payload[0] * 256u + payload[1];
}

std::vector<std::uint8_t> ContentOf(const std::vector<std::uint8_t>& payload)
{
    return {payload.begin() + NUMBER_SIZE, payload.end()};
}
} // namespace

void RunStatistics::OnOutput(const Output& output)
{
    DriverStatistics& driver = m_drivers[&output.driver];
    const bool asked = m_controller.IsSpeaking();
    if (const auto* mib = std::get_if<MibSent>(&output.effect))
        NoteMib(driver, mib->packet, asked);
    else if (const auto* zcl = std::get_if<ZclSent>(&output.effect))
        NoteZcl(driver, zcl->message, asked);
    else if (const auto* gateway = std::get_if<GatewaySent>(&output.effect))
        NoteGateway(driver, gateway->command, asked);
    else if (std::holds_alternative<EventFired>(output.effect))
        ++driver.counts.events;
    else if (const auto* call = std::get_if<OwnerCall>(&output.effect))
        driver.counts.events += call->operation == REPORT_BUTTON_EVENT ? 1 : 0;
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
        driver.counts.warnings += record->level >= log4cplus::WARN_LOG_LEVEL ? 1 : 0;
}

// An element of a scene that was sent before, or that goes; groups are always written anew.
void RunStatistics::NoteMib(DriverStatistics& driver, const NxMIBPacket& packet, bool asked)
{
    ++driver.counts.sent;
    if (packet.GetMib() == names::mib::ALS_SAD)
    {
        const bool before = !driver.elements.insert(packet.GetParams()[0]).second;
        driver.counts.repairs += before && !asked ? 1 : 0;
    }
    else if (packet.GetMib() == names::mib::ALS_SRM)
        driver.counts.repairs += asked ? 0 : 1;
}

void RunStatistics::NoteZcl(DriverStatistics& driver, const HostZclMessage& message, bool asked)
{
    ++driver.counts.sent;
    switch (message.Kind())
    {
    case zcl::RequestKind::AddGroup:
    case zcl::RequestKind::RemoveGroup:
    case zcl::RequestKind::AddScene:
    case zcl::RequestKind::RemoveScene:
        driver.counts.repairs += asked ? 0 : 1;
        return;
    default:
        return;
    }
}

void RunStatistics::NoteGateway(DriverStatistics& driver, const ICmdMessage& command, bool asked)
{
    ++driver.counts.sent;
    std::vector<std::uint8_t> payload;
    nx::crypto::base64Decode(command.GetParamString(names::general::PAYLOAD), payload);
    if (payload.size() < NUMBER_SIZE)
        return;
    if (payload == driver.onTheWay)
    {
        ++driver.counts.retries;
        return;
    }
    driver.onTheWay = payload;
    driver.opcodeOnTheWay = command.GetParamInt(names::general::OPCODE);
    const auto confirmed = driver.confirmed.find(driver.opcodeOnTheWay);
    const bool again =
        confirmed != driver.confirmed.end() && confirmed->second == ContentOf(payload);
    driver.counts.repairs += again && !asked ? 1 : 0;
}

void RunStatistics::OnPerson(const nx::DriverHost& driver, const std::string&)
{
    DriverStatistics& statistics = m_drivers[&driver];
    statistics.counts.acts += statistics.hasWords ? 0 : 1;
}

void RunStatistics::OnAct(const nx::DriverHost& driver, const std::string&)
{
    DriverStatistics& statistics = m_drivers[&driver];
    statistics.hasWords = true;
    ++statistics.counts.acts;
}

void RunStatistics::OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    if (frame.opcode != BUS_ANSWER)
        return;
    DriverStatistics& statistics = m_drivers[&driver];
    if (NumberOf(statistics.onTheWay) != 0 &&
        NumberOf(statistics.onTheWay) == NumberOf(frame.payload))
        statistics.confirmed[statistics.opcodeOnTheWay] = ContentOf(statistics.onTheWay);
}

RunStatistics::Counts RunStatistics::Of(const nx::DriverHost& driver) const
{
    const auto found = m_drivers.find(&driver);
    return found == m_drivers.end() ? Counts() : found->second.counts;
}
} // namespace lighting_host

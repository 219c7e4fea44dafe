#include "lighting_host/simulation/Tally.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_common/Names.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/NxMIBPacket.h"

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

void Tally::Note(const Output& output, bool asked)
{
    Book& book = m_books[&output.driver];
    if (const auto* mib = std::get_if<MibSent>(&output.effect))
        NoteMib(book, mib->packet, asked);
    else if (const auto* zcl = std::get_if<ZclSent>(&output.effect))
        NoteZcl(book, zcl->message, asked);
    else if (const auto* gateway = std::get_if<GatewaySent>(&output.effect))
        NoteGateway(book, gateway->command, asked);
    else if (std::holds_alternative<EventFired>(output.effect))
        ++book.counts.events;
    else if (const auto* call = std::get_if<OwnerCall>(&output.effect))
        book.counts.events += call->operation == REPORT_BUTTON_EVENT ? 1 : 0;
    else if (const auto* record = std::get_if<LogRecord>(&output.effect))
        book.counts.warnings += record->level >= log4cplus::WARN_LOG_LEVEL ? 1 : 0;
}

// An element of a scene that was sent before, or that goes; groups are always written anew.
void Tally::NoteMib(Book& book, const NxMIBPacket& packet, bool asked)
{
    ++book.counts.sent;
    if (packet.GetMib() == names::mib::ALS_SAD)
    {
        const bool before = !book.elements.insert(packet.GetParams()[0]).second;
        book.counts.repairs += before && !asked ? 1 : 0;
    }
    else if (packet.GetMib() == names::mib::ALS_SRM)
        book.counts.repairs += asked ? 0 : 1;
}

void Tally::NoteZcl(Book& book, const HostZclMessage& message, bool asked)
{
    ++book.counts.sent;
    switch (message.Kind())
    {
    case zcl::RequestKind::AddGroup:
    case zcl::RequestKind::RemoveGroup:
    case zcl::RequestKind::AddScene:
    case zcl::RequestKind::RemoveScene:
        book.counts.repairs += asked ? 0 : 1;
        return;
    default:
        return;
    }
}

void Tally::NoteGateway(Book& book, const ICmdMessage& command, bool asked)
{
    ++book.counts.sent;
    std::vector<std::uint8_t> payload;
    nx::crypto::base64Decode(command.GetParamString(names::general::PAYLOAD), payload);
    if (payload.size() < NUMBER_SIZE)
        return;
    if (payload == book.onTheWay)
    {
        ++book.counts.retries;
        return;
    }
    book.onTheWay = payload;
    book.opcodeOnTheWay = command.GetParamInt(names::general::OPCODE);
    const auto confirmed = book.confirmed.find(book.opcodeOnTheWay);
    const bool again = confirmed != book.confirmed.end() && confirmed->second == ContentOf(payload);
    book.counts.repairs += again && !asked ? 1 : 0;
}

void Tally::NoteBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    if (frame.opcode != BUS_ANSWER)
        return;
    Book& book = m_books[&driver];
    if (NumberOf(book.onTheWay) != 0 && NumberOf(book.onTheWay) == NumberOf(frame.payload))
        book.confirmed[book.opcodeOnTheWay] = ContentOf(book.onTheWay);
}

Tally::Counts Tally::Of(const nx::DriverHost& driver) const
{
    const auto book = m_books.find(&driver);
    return book == m_books.end() ? Counts() : book->second.counts;
}
} // namespace lighting_host

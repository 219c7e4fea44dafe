// The ZigBee side of a driver's host.

#include "NxLibDriverBases/NxZclPacket.h"
#include "embedded_host/DeviceLink.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/ZclMessages.h"
#include "embedded_host/internal/HostedDriver.h"

namespace nx
{
using namespace embedded_host;

void DriverHost::SendZcl(NxZclPacket& packet, unsigned char endpoint)
{
    // An empty packet has been reported as an assertion; there is nothing to send.
    const auto* message = dynamic_cast<const HostZclMessage*>(packet.GetMessage());
    if (!message)
        return;
    if (message->Kind() == zcl::RequestKind::AddGroup)
        Parts().illegalGroups.Asked(m_config.name, message->Request().group);
    std::uint8_t frame[HostZclMessage::MAX_FRAME];
    const std::size_t length = message->Encode(m_zclSequence++, frame, sizeof frame);
    Emit(ZclSent{*message, endpoint, frame, length});
    if (m_device)
        m_device->OnZclSent(message->Cluster(), endpoint, frame, length);
}

const char* DriverHost::ZclFrame(std::uint16_t cluster, const std::uint8_t* frame,
                                 std::size_t length)
{
    zcl::Reply reply;
    const char* const error = zcl::DecodeReply(cluster, frame, length, reply);
    if (!error)
        ZclReply(reply);
    return error;
}

void DriverHost::ZclReply(const zcl::Reply& reply)
{
    if (!m_driver)
        return;
    CallDriver("a ZCL reply",
               [&]
               {
                   if (IZclListener* const listener = m_driver->GetZclListener())
                       zcl::Deliver(reply, *listener);
               });
}
} // namespace nx

#include "NxLibDriverBases/NxZclPacket.h"

#include "lighting_common/internal/Diagnostics.h"

namespace
{
constexpr const char* ZCL_PACKET_SOURCE = "NxLibDriverBases/NxZclPacket";
constexpr int LINE_NULL_MESSAGE = 28;
} // namespace

NxZclPacket::NxZclPacket(nx::ZclMessage* message, nx::Zmessage::MessageType type)
    : m_type(type), m_message(message)
{
    LIGHTING_ASSERT(m_message != nullptr, ZCL_PACKET_SOURCE, LINE_NULL_MESSAGE);
}

NxZclPacket::~NxZclPacket()
{
    delete m_message;
}

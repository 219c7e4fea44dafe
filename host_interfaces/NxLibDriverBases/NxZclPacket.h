#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/Zcl.h"

// A ZCL message on its way to a light: made, handed to SendZclMessage and gone. Defined by the
// library. Not copyable; owns its message.
class NX_HOST_API NxZclPacket
{
public:
    // Takes ownership of `message`. Null is an assertion; the packet is then empty and sending it
    // does nothing.
    NxZclPacket(nx::ZclMessage* message, nx::Zmessage::MessageType type);
    NxZclPacket(const NxZclPacket&) = delete;
    NxZclPacket& operator=(const NxZclPacket&) = delete;

    // Destroys the message.
    ~NxZclPacket();

    nx::Zmessage::MessageType GetType() const { return m_type; }

    // The message, null only after a failed assertion.
    nx::ZclMessage* GetMessage() const { return m_message; }

private:
    nx::Zmessage::MessageType m_type;
    nx::ZclMessage* m_message;
};

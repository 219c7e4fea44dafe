// The ZigBee side of a driver's host.

#include "embedded_host/DriverHost.h"

namespace nx
{
void DriverHost::SendZcl(NxZclPacket&, unsigned char)
{
    Fault("this host has no ZigBee radio");
}
} // namespace nx

#include "simulated_devices/BusGateway.h"

namespace simulated
{
namespace
{
// The gateway's own message to a driver: 1 with power, 0 without.
constexpr std::uint16_t GATEWAY_STATUS = 0x9100;
} // namespace

BusGateway::BusGateway(BusLine& line, ToDriver toDriver)
    : m_line(line), m_toDriver(std::move(toDriver)),
      m_reader(
          [this](BusDirection direction, const wire::BusFrame& frame)
          {
              // Nobody on the line speaks for the gateway.
              const bool fromDevice =
                  direction == BusDirection::FromDevice && frame.opcode != GATEWAY_STATUS;
              if (m_power && fromDevice)
                  m_toDriver(frame);
          })
{
    m_line.Attach(*this);
}

BusGateway::~BusGateway()
{
    m_line.Detach(*this);
}

void BusGateway::SetPower(bool on)
{
    m_power = on;
    for (std::uint32_t device : m_devices)
        m_toDriver({device, GATEWAY_STATUS, {std::uint8_t{on}}});
}

void BusGateway::SendToDevice(const wire::BusFrame& frame)
{
    if (m_power)
        m_line.Transmit(*this, EncodeBusFrame(BusDirection::ToDevice, frame));
}

void BusGateway::OnLine(const Octets& octets)
{
    m_reader.Read(octets.data(), octets.size());
}
} // namespace simulated

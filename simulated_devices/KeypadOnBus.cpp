#include "simulated_devices/KeypadOnBus.h"

namespace simulated
{
namespace
{
constexpr int LONGEST_HOLD_MS = 4000;
} // namespace

KeypadOnBus::KeypadOnBus(DeviceEnvironment& world, std::uint32_t address)
    : SimulatedDevice(world), m_line(world),
      m_gateway(m_line, [this](const wire::BusFrame& frame) { Environment().Send(frame); }),
      m_keypad(world, m_line, address)
{
    m_gateway.AddDevice(address);
}

void KeypadOnBus::OnBus(const wire::BusFrame& frame)
{
    m_gateway.SendToDevice(frame);
}

void KeypadOnBus::OnPowerOn()
{
    m_gateway.SetPower(true);
    m_keypad.OnPowerOn();
}

void KeypadOnBus::LetAPersonPlay(int firstButton, int lastButton, int minMs, int maxMs)
{
    After(static_cast<std::uint64_t>(Environment().Random(minMs, maxMs)),
          [this, firstButton, lastButton, minMs, maxMs]
          {
              const int button = Environment().Random(firstButton, lastButton);
              if (Environment().Random(0, 2) != 0)
                  m_keypad.Click(button);
              else
                  m_keypad.Hold(
                      button, static_cast<std::uint64_t>(Environment().Random(1, LONGEST_HOLD_MS)));
              LetAPersonPlay(firstButton, lastButton, minMs, maxMs);
          });
}
} // namespace simulated

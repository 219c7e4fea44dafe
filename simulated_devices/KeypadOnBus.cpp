#include "simulated_devices/KeypadOnBus.h"

namespace simulated
{
namespace
{
constexpr std::chrono::milliseconds SHORTEST_HOLD{1};
constexpr std::chrono::milliseconds LONGEST_HOLD = std::chrono::seconds(4);
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

void KeypadOnBus::LetAPersonPlay(int firstButton, int lastButton,
                                 std::chrono::milliseconds shortest,
                                 std::chrono::milliseconds longest)
{
    After(RandomTime(shortest, longest),
          [this, firstButton, lastButton, shortest, longest]
          {
              const int button = Environment().Random(firstButton, lastButton);
              if (Environment().Random(0, 2) != 0)
                  m_keypad.Click(button);
              else
                  m_keypad.Hold(button, RandomTime(SHORTEST_HOLD, LONGEST_HOLD));
              LetAPersonPlay(firstButton, lastButton, shortest, longest);
          });
}
} // namespace simulated

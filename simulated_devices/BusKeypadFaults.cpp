#include "simulated_devices/BusKeypadFaults.h"

namespace simulated
{
namespace
{
constexpr int LONGEST_NOISE = 60;
} // namespace

LateKeypad::LateKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address)
    : BusKeypad(world, line, address)
{
    SetAnswerDelay(DELAY_MS);
}

NthReplyKeypad::NthReplyKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address,
                               unsigned n)
    : BusKeypad(world, line, address), m_n(n)
{
}

void NthReplyKeypad::Answer(std::uint16_t number)
{
    if (++m_heard % m_n == 0)
        BusKeypad::Answer(number);
}

void ForgetfulKeypad::OnPowerOn()
{
    BusKeypad::OnPowerOn();
    After(RESTART_EVERY_MS, [this] { OnPowerOn(); });
}

void BabblingKeypad::OnPowerOn()
{
    BusKeypad::OnPowerOn();
    BabbleLater();
}

void BabblingKeypad::BabbleLater()
{
    After(BABBLE_EVERY_MS,
          [this]
          {
              Babble();
              BabbleLater();
          });
}

Octets BabblingKeypad::Noise()
{
    Octets noise;
    for (int i = World().Random(1, LONGEST_NOISE); i > 0; --i)
        noise.push_back(static_cast<std::uint8_t>(World().Random(0, 255)));
    return noise;
}

void BabblingKeypad::Babble()
{
    switch (World().Random(0, 4))
    {
    case 0:
        Line().Transmit(*this, Noise());
        return;
    case 1:
    {
        Octets half = EncodeBusFrame(BusDirection::FromDevice, {Address(), 0x9010, Noise()});
        half.resize(half.size() / 2);
        Line().Transmit(*this, half);
        return;
    }
    case 2:
        SendAnswer(static_cast<std::uint16_t>(World().Random(0, 65535)));
        return;
    case 3:
        SendFrame(static_cast<std::uint16_t>(World().Random(0, 65535)), Noise());
        return;
    default:
        SendFrame(static_cast<std::uint16_t>(0x9000 + 16 * World().Random(0, 3)), {});
        return;
    }
}
} // namespace simulated

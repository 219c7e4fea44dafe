#include "simulated_devices/BusKeypadFaults.h"

#include <algorithm>

namespace simulated
{
namespace
{
using Base = BusKeypadFault;

constexpr int LONGEST_NOISE = 60;
constexpr int ANY_OPCODE = 0xFFFF;
constexpr std::uint16_t OPCODES_A_STEP = 16;

bool IsAnswer(const wire::BusFrame& frame)
{
    return frame.opcode == BusKeypad::ANSWER;
}

Octets Noise(DeviceEnvironment& world)
{
    Octets noise;
    for (int i = world.Random(1, LONGEST_NOISE); i > 0; --i)
        noise.push_back(static_cast<std::uint8_t>(world.Random(0, UINT8_MAX)));
    return noise;
}

Octets Frame(const BusKeypad& keypad, int opcode, Octets payload)
{
    return EncodeBusFrame(
        BusDirection::FromDevice,
        {keypad.Address(), static_cast<std::uint16_t>(opcode), std::move(payload)});
}
} // namespace

const FaultTable<BusKeypadFault>& BusKeypadFaultTable()
{
    static const FaultTable<Base> table = {
        {{"deaf", {}, "hears nothing; it still announces itself"}, &Make<Base, HearsNothing>},
        {{"late", {}, "answers after 25 seconds"}, &Make<Base, AnswersLate>},
        {{"seldom", {Every(3)}, "answers every nth message only"}, &MakeEvery<Base, AnswersSeldom>},
        {{"forgetful", {}, "restarts every hour and has then forgotten everything"},
         &Make<Base, RestartsHourly>},
        {{"babbling", {}, "talks in between: noise, halves of frames, messages that do not exist"},
         &Make<Base, Babbles>},
    };
    return table;
}

bool AnswersLate::OnSend(const Message& message, std::chrono::milliseconds& delay, Departures&)
{
    if (IsAnswer(message))
        delay = std::max(delay, DELAY);
    return true;
}

bool AnswersSeldom::OnSend(const Message& message, std::chrono::milliseconds&, Departures&)
{
    return !IsAnswer(message) || m_turn.Next();
}

void RestartsHourly::OnPeriod(BusKeypad& keypad, DeviceEnvironment&)
{
    keypad.OnPowerOn();
}

void Babbles::OnPeriod(BusKeypad& keypad, DeviceEnvironment& world)
{
    switch (world.Random(0, 4))
    {
    case 0:
        keypad.Transmit(Noise(world));
        return;
    case 1:
    {
        Octets half = Frame(keypad, BusKeypad::ANNOUNCE, Noise(world));
        half.resize(half.size() / 2);
        keypad.Transmit(half);
        return;
    }
    case 2:
    {
        const int number = world.Random(0, ANY_OPCODE);
        keypad.Transmit(
            Frame(keypad, BusKeypad::ANSWER,
                  {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)}));
        return;
    }
    case 3:
    {
        Octets payload = Noise(world);
        keypad.Transmit(Frame(keypad, world.Random(0, ANY_OPCODE), std::move(payload)));
        return;
    }
    default:
        keypad.Transmit(Frame(keypad, BusKeypad::ANSWER + OPCODES_A_STEP * world.Random(0, 3), {}));
        return;
    }
}
} // namespace simulated

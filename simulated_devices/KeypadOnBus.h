#pragma once

#include "simulated_devices/BusGateway.h"
#include "simulated_devices/BusKeypad.h"

#include <functional>
#include <memory>

namespace simulated
{
// A gateway, a line and one keypad on it: what is at the other end of one driver's wire.
class KeypadOnBus : public SimulatedDevice
{
public:
    // Makes the keypad, sound or faulty, in that world, on that line, with that address.
    using MakeKeypad =
        std::function<std::unique_ptr<BusKeypad>(DeviceEnvironment&, BusLine&, std::uint32_t)>;

    // `address` is the device's number in the driver's messages.
    KeypadOnBus(DeviceEnvironment& world, std::uint32_t address, const MakeKeypad& makeKeypad);

    // A message of the driver reaches the gateway.
    void OnBus(const wire::BusFrame& frame) override;

    // Gateway and keypad get power.
    void OnPowerOn() override;

    // Lets a person use one of these buttons now and then, the pauses being `minMs` to `maxMs`.
    void LetAPersonPlay(int firstButton, int lastButton, int minMs, int maxMs);

    BusKeypad& Keypad() { return *m_keypad; }

private:
    SimulatedLine m_line;
    BusGateway m_gateway;
    std::unique_ptr<BusKeypad> m_keypad;
};
} // namespace simulated

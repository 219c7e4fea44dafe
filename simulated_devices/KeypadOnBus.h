#pragma once

#include "simulated_devices/BusGateway.h"
#include "simulated_devices/BusKeypad.h"

#include <cstdint>

namespace simulated
{
// A gateway, a line and one keypad on it: what is at the other end of one driver's wire.
class KeypadOnBus : public SimulatedDevice
{
public:
    // `address` is the device's number in the driver's messages.
    KeypadOnBus(DeviceEnvironment& world, std::uint32_t address);

    // A message of the driver reaches the gateway.
    void OnBus(const wire::BusFrame& frame) override;

    // Gateway and keypad get power.
    void OnPowerOn() override;

    // Lets a person use one of these buttons now and then, the pauses being `shortest` to
    // `longest`, at most some 24 days.
    void LetAPersonPlay(int firstButton, int lastButton, std::chrono::milliseconds shortest,
                        std::chrono::milliseconds longest);

    // The keypad's.
    bool HasPlace(Place place, int number) const override
    {
        return m_keypad.HasPlace(place, number);
    }
    void OnTouch(Place place, int number, Touch touch) override
    {
        m_keypad.OnTouch(place, number, touch);
    }

    // The keypad's: gateway and line are sound.
    FaultList* GetFaults() override { return m_keypad.GetFaults(); }

    BusKeypad& Keypad() { return m_keypad; }
    const BusKeypad& Keypad() const { return m_keypad; }

private:
    SimulatedLine m_line;
    BusGateway m_gateway;
    BusKeypad m_keypad;
};
} // namespace simulated

#include "drivers/gen3_keypad/KeypadState.h"

#include "drivers/gen3_keypad/KeypadBus.h"

using gen3_lights::crc::colorToHex;
using gen3_lights::crc::HexColor;

namespace
{
// The parameters of an LED.
enum LedParameter : int
{
    ACTUATOR = 0,
    BEHAVIOR = 1,
    BLINK = 2,
    ON_COLOR = 3,
    OFF_COLOR = 4,
    CURRENT_COLOR = 5,
};

bool IsOctet(int index)
{
    return index >= 0 && index <= UINT8_MAX;
}

void Append(KeypadState::Payload& payload, const HexColor& colour)
{
    payload.insert(payload.end(), {colour.red, colour.green, colour.blue});
}

void AppendBigEndian(KeypadState::Payload& payload, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        payload.push_back(static_cast<std::uint8_t>(value >> shift));
}
} // namespace

void KeypadState::SetLedParam(int led, int parameter, int value)
{
    if (!IsOctet(led))
        return;
    Led& entry = m_leds[static_cast<std::uint8_t>(led)];
    const auto octet = static_cast<std::uint8_t>(value);
    if (parameter == ACTUATOR)
        entry.actuator = octet;
    else if (parameter == BEHAVIOR)
        entry.behavior = octet;
    else if (parameter == BLINK)
        entry.blink = octet;
}

void KeypadState::SetLedColor(int led, int parameter, const std::string& colour)
{
    if (!IsOctet(led))
        return;
    const auto index = static_cast<std::uint8_t>(led);
    if (parameter == ON_COLOR)
        m_leds[index].on = colorToHex(colour);
    else if (parameter == OFF_COLOR)
        m_leds[index].off = colorToHex(colour);
    else if (parameter == CURRENT_COLOR)
        m_currentColours[index] = colorToHex(colour);
}

void KeypadState::SetBacklightDefault(int index)
{
    if (IsOctet(index))
        m_backlights[static_cast<std::uint8_t>(index)] = Backlight();
}

void KeypadState::SetBacklightColor(int index, const std::string& colour)
{
    if (IsOctet(index))
        m_backlights[static_cast<std::uint8_t>(index)] = Backlight{false, colorToHex(colour)};
}

void KeypadState::SetBehavior(int buttonId, int behavior)
{
    m_behaviors[static_cast<std::int8_t>(buttonId)] = behavior;
}

void KeypadState::RemoveBehavior(int buttonId)
{
    m_behaviors.erase(static_cast<std::int8_t>(buttonId));
}

KeypadState::Payload KeypadState::Write(int opcode) const
{
    Payload payload;
    switch (opcode)
    {
    case keypad_bus::BACKLIGHT:
        for (const auto& entry : m_backlights)
        {
            payload.insert(payload.end(), {entry.first, std::uint8_t{!entry.second.usual}});
            Append(payload, entry.second.colour);
        }
        break;
    case keypad_bus::LED_COLORS:
        for (const auto& entry : m_currentColours)
        {
            payload.push_back(entry.first);
            Append(payload, entry.second);
        }
        break;
    case keypad_bus::LED_SETUP:
        for (const auto& entry : m_leds)
        {
            const Led& led = entry.second;
            payload.insert(payload.end(), {entry.first, led.actuator, led.behavior, led.blink});
            Append(payload, led.on);
            Append(payload, led.off);
        }
        break;
    case keypad_bus::BUTTON_BEHAVIORS:
        for (const auto& entry : m_behaviors)
        {
            payload.push_back(static_cast<std::uint8_t>(entry.first));
            AppendBigEndian(payload, static_cast<std::uint32_t>(entry.second));
        }
        break;
    default:
        break;
    }
    return payload;
}

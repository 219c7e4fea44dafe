#include "drivers/gen3_keypad/KeypadState.h"

#include "drivers/gen3_keypad/KeypadBus.h"
#include "lighting_common/IGen3ButtonOwner.h"

using gen3_lights::crc::colorToHex;
using gen3_lights::crc::HexColor;

namespace
{
bool IsOctet(int index)
{
    return index >= 0 && index <= UINT8_MAX;
}

void Append(KeypadState::Payload& payload, const HexColor& color)
{
    payload.insert(payload.end(), {color.red, color.green, color.blue});
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
    if (parameter == gen3_lights::LED_ACTUATOR)
        entry.actuator = octet;
    else if (parameter == gen3_lights::LED_BEHAVIOR)
        entry.behavior = octet;
    else if (parameter == gen3_lights::LED_BLINK)
        entry.blink = octet;
}

void KeypadState::SetLedColor(int led, int parameter, const std::string& color)
{
    if (!IsOctet(led))
        return;
    const auto index = static_cast<std::uint8_t>(led);
    if (parameter == gen3_lights::LED_ON_COLOR)
        m_leds[index].on = colorToHex(color);
    else if (parameter == gen3_lights::LED_OFF_COLOR)
        m_leds[index].off = colorToHex(color);
    else if (parameter == gen3_lights::LED_CURRENT_COLOR)
        m_currentColors[index] = colorToHex(color);
}

void KeypadState::SetBacklightDefault(int index)
{
    if (IsOctet(index))
        m_backlights[static_cast<std::uint8_t>(index)] = Backlight();
}

void KeypadState::SetBacklightColor(int index, const std::string& color)
{
    if (IsOctet(index))
        m_backlights[static_cast<std::uint8_t>(index)] = Backlight{false, colorToHex(color)};
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
            Append(payload, entry.second.color);
        }
        break;
    case keypad_bus::LED_COLORS:
        for (const auto& entry : m_currentColors)
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

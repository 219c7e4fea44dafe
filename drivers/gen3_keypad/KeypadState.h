#pragma once

#include "lighting_common/Gen3Lights.h"

#include <cstdint>
#include <map>
#include <vector>

// What the keypad's LEDs, backlights and buttons are meant to be, and its form on the bus.
//
// The whole state of one kind goes into one message, so that the newest message replaces all older
// ones. A plain value without a thread of its own. LEDs and backlights that the keypad cannot
// number (0 to 255) are passed over.
class KeypadState
{
public:
    using Payload = std::vector<std::uint8_t>;

    // The parameters of an LED as a Gen3Button writes them (gen3_lights::LedParameter); unknown
    // ones are ignored. Texts that are no color are black.
    void SetLedParam(int led, int parameter, int value);
    void SetLedColor(int led, int parameter, const std::string& color);

    // The backlight's usual color, or one of its own.
    void SetBacklightDefault(int index);
    void SetBacklightColor(int index, const std::string& color);

    void SetBehavior(int buttonId, int behavior);
    void RemoveBehavior(int buttonId);

    // What a message with the state of one kind (a keypad_bus opcode) says behind its number. Empty
    // when nothing of that kind has been set, and for other opcodes.
    Payload Write(int opcode) const;

private:
    struct Led
    {
        std::uint8_t actuator = 0;
        std::uint8_t behavior = 0;
        std::uint8_t blink = 0;
        gen3_lights::crc::HexColor on;
        gen3_lights::crc::HexColor off;
    };
    struct Backlight
    {
        bool usual = true;
        gen3_lights::crc::HexColor color;
    };

    std::map<std::uint8_t, Led> m_leds;
    // Apart from the rest of an LED, because it changes most often.
    std::map<std::uint8_t, gen3_lights::crc::HexColor> m_currentColors;
    std::map<std::uint8_t, Backlight> m_backlights;
    std::map<std::int8_t, std::int32_t> m_behaviors;
};

#pragma once

#include "lighting_common/Export.h"

#include <cstdint>
#include <string>

// Colors and texts of third-generation keypads: color texts to bytes and back, dimming a color
// for an LED, dumps of buffers and addresses, and where a keypad may use its high radio power.
//
// Free functions without state, callable from any thread. A color text is six hexadecimal digits,
// red, green and blue with two digits each; it is produced in lower case. No function fails: what
// cannot be read gives the result documented at the function.
namespace gen3_lights
{
// Every byte as "0x%02x " (the blank also after the last one). With `perLine` above 0 a line feed
// follows every perLine-th byte but never the last. A null buffer or a length of 0 gives "".
LIGHTING_COMMON_API std::string buffToString(const void* buffer, unsigned length, int perLine);

// Whether the two-letter country code, compared exactly, is one where keypads may use their high
// radio power.
LIGHTING_COMMON_API bool highPowerRF(const std::string& countryCode);

namespace crc
{
// A color as three bytes.
struct HexColor
{
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

// The bytes of a color text. Each pair of characters is read up to the first that is no
// hexadecimal digit. A text that is not exactly six characters long is black.
LIGHTING_COMMON_API HexColor colorToHex(const std::string& color);

// The color as six lower-case digits.
LIGHTING_COMMON_API std::string hexToColor(HexColor color);
} // namespace crc

namespace Buttons
{
// When the LED of a keypad button is on (wire values, do not change). Values without a name here
// are kept and passed on as they are.
enum LEDBehavior : std::int32_t
{
    // The LED shows the color of a bound device.
    LED_FOLLOWS_BOUND_DEVICE = 0,
    // On when the bound load is on.
    LED_ON_WITH_LOAD = 1,
    // On while the button is pressed.
    LED_ON_WHILE_PRESSED = 2,
    // From here to LED_AT_LEVEL_LAST: on while the load is exactly at level 0, 1, 2, 3 or 4.
    LED_AT_LEVEL_FIRST = 3,
    LED_AT_LEVEL_LAST = 7,
    // Showing its off color after a remote release.
    LED_OFF_ON_REMOTE_RELEASE = 50,
    // Showing its on color after a remote push.
    LED_ON_ON_REMOTE_PUSH = 51,
};

// The color dimmed to `percent`, each part rounded down. With a percentage outside 0 to 99, or a
// text that is not six characters long, the text comes back as it is.
LIGHTING_COMMON_API std::string scaleColor(const std::string& color, int percent);
} // namespace Buttons

namespace wired_keypads
{
// The bytes of a raw (binary) address as two hexadecimal digits each, `separator` between them.
LIGHTING_COMMON_API std::string macAddrToReadableString(const std::string& mac,
                                                        const std::string& separator);
} // namespace wired_keypads
} // namespace gen3_lights

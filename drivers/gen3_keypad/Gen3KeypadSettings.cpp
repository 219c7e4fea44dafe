#include "drivers/gen3_keypad/Gen3KeypadSettings.h"

#include "lighting_common/Gen3Button.h"

namespace gen3_keypad
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {USE_TIME_LIMIT},
        {
            {"", "ALL_BUTTONS", StateElement::Group},
            {"ALL_BUTTONS", "KEYPAD_BUTTON_INFO", StateElement::Group},
            {"KEYPAD_BUTTON_INFO", "BUTTON_ID", StateElement::Number, INT8_MIN, INT8_MAX},
            {"KEYPAD_BUTTON_INFO", "NAME", StateElement::Text},
            {"KEYPAD_BUTTON_INFO", "SLOTS", StateElement::Text},
            {"KEYPAD_BUTTON_INFO", "BUTTON_BEHAVIOR", StateElement::Number},
            {"KEYPAD_BUTTON_INFO", "LED_BEHAVIOR", StateElement::Number},
            {"KEYPAD_BUTTON_INFO", "LED_BLINK_BEHAVIOR", StateElement::Number},
            {"KEYPAD_BUTTON_INFO", "ON_COLOR", StateElement::Color},
            {"KEYPAD_BUTTON_INFO", "OFF_COLOR", StateElement::Color},
            {"KEYPAD_BUTTON_INFO", "STATE", StateElement::Number},
            {"KEYPAD_BUTTON_INFO", "MATCH_LED_STATE", StateElement::Truth},
            {"KEYPAD_BUTTON_INFO", "BOUND", StateElement::Truth},
            {"KEYPAD_BUTTON_INFO", "CURRENT_COLOR", StateElement::Color},
        },
        nullptr,
        "KEYPAD_BUTTON_INFO",
        "BUTTON_ID",
        0,
        Gen3Button::FIRST_BINDING,
    };
    return schema;
}
} // namespace gen3_keypad

#include "drivers/puck/PuckSettings.h"

#include "lighting_common/NxBasePuckDriver.h"

namespace puck
{
const drivers::Schema& Settings()
{
    using drivers::StateElement;
    static const drivers::Schema schema = {
        {NUM_BUTTONS},
        {
            {"", "ALL_CONTACTS", StateElement::Group},
            {"ALL_CONTACTS", "CONTACT_STATUS", StateElement::Group},
            {"CONTACT_STATUS", "CONTACT_NUMBER", StateElement::Number, 0, 1},
            {"CONTACT_STATUS", "AUX_BEHAVIOR", StateElement::Number},
            {"CONTACT_STATUS", "AUX_LEDS", StateElement::Number},
            {"", "ALL_BUTTONS", StateElement::Group},
            {"ALL_BUTTONS", "BUTTON_STATUS", StateElement::Group},
            {"BUTTON_STATUS", "BUTTON_NUMBER", StateElement::Number, 0, 5},
            {"BUTTON_STATUS", "NAME", StateElement::Text},
            {"BUTTON_STATUS", "LED_MANAGED", StateElement::Truth},
            {"BUTTON_STATUS", "LED_ON_COLOR", StateElement::Color},
            {"BUTTON_STATUS", "LED_OFF_COLOR", StateElement::Color},
            {"BUTTON_STATUS", "LED_CUR_COLOR", StateElement::Color},
            {"BUTTON_STATUS", "FOLLOW_BOUND_COLOR", StateElement::Truth},
            {"BUTTON_STATUS", "CONTROL_BOUND", StateElement::Truth},
            {"BUTTON_STATUS", "CURRENT_STATE", StateElement::Number},
            {"BUTTON_STATUS", "BEHAVIOR", StateElement::Number},
        },
        &NUM_BUTTONS,
        nullptr,
        nullptr,
        NxBasePuckDriver::CONTACT_BINDING_ID,
        NxBasePuckDriver::BUTTON_BINDING_ID,
    };
    return schema;
}
} // namespace puck

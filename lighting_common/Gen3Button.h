#pragma once

#include "lighting_common/Export.h"

#include <string>

// A button of a third-generation keypad. Here: the two colours that every lighting driver shares.
class LIGHTING_COMMON_API Gen3Button
{
public:
    // Colours as six lower-case hexadecimal digits: red, green, blue.
    static const std::string BLACK;
    static const std::string WHITE;
};

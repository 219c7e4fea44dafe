#pragma once

#include <cstddef>

namespace lighting_host
{
// When text for a person has colors.
enum class ColorChoice
{
    // On a terminal that can show them, unless the environment has NO_COLOR.
    Auto,
    Always,
    Never,
};

// Whether what is written to this descriptor has colors.
bool HasColor(ColorChoice choice, int descriptor);

// How many columns the terminal on this descriptor has; 0 when there is none and lines may be as
// long as they are. The environment's COLUMNS goes before what the terminal says.
std::size_t ColumnsOf(int descriptor);
} // namespace lighting_host

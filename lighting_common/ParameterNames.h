#pragma once

#include "lighting_common/Export.h"

#include <string>

// The parameters of commands and items of states that the library and its drivers share, and the
// controller's names of their types, beside the vocabulary of Names.h (wire values, do not change).
// Not for use before main: the texts are made in no given order with those of other sources.
namespace names
{
// The types of a command's parameters.
namespace type
{
extern LIGHTING_COMMON_API const std::string INT;
extern LIGHTING_COMMON_API const std::string STRING;
extern LIGHTING_COMMON_API const std::string BOOL;
} // namespace type

namespace parameter
{
// A load's level in percent and the time to it in milliseconds.
extern LIGHTING_COMMON_API const std::string LEVEL;
extern LIGHTING_COMMON_API const std::string TIME;

// What is done to the button of "BUTTON_ACTION": 1 a press, 0 a release.
extern LIGHTING_COMMON_API const std::string ACTION;

// A button's name, behavior, state and colors, and whether it is bound.
extern LIGHTING_COMMON_API const std::string NAME;
extern LIGHTING_COMMON_API const std::string BEHAVIOR;
extern LIGHTING_COMMON_API const std::string STATE;
extern LIGHTING_COMMON_API const std::string BOUND;
extern LIGHTING_COMMON_API const std::string ON_COLOR;
extern LIGHTING_COMMON_API const std::string OFF_COLOR;

// The buttons in a driver's state.
extern LIGHTING_COMMON_API const std::string ALL_BUTTONS;

// Watt-hours in all: a variable, and an item of the state.
extern LIGHTING_COMMON_API const std::string ENERGY_USED;
} // namespace parameter

// What a command to a group of loads is forwarded as.
namespace forwarded
{
extern LIGHTING_COMMON_API const std::string RAMP_TO_LEVEL;
extern LIGHTING_COMMON_API const std::string SET_LEVEL;
extern LIGHTING_COMMON_API const std::string BUTTON_ACTION;
} // namespace forwarded
} // namespace names

#include "lighting_common/ParameterNames.h"

namespace names
{
namespace type
{
const std::string INT = "INT";
const std::string STRING = "STRING";
const std::string BOOL = "BOOL";
} // namespace type

namespace parameter
{
const std::string LEVEL = "LEVEL";
const std::string TIME = "TIME";
const std::string ACTION = "ACTION";
const std::string NAME = "NAME";
const std::string BEHAVIOR = "BEHAVIOR";
const std::string STATE = "STATE";
const std::string BOUND = "BOUND";
const std::string ON_COLOR = "ON_COLOR";
const std::string OFF_COLOR = "OFF_COLOR";
const std::string ALL_BUTTONS = "ALL_BUTTONS";
const std::string ENERGY_USED = "ENERGY_USED";
} // namespace parameter

namespace forwarded
{
const std::string RAMP_TO_LEVEL = "RAMP_TO_LEVEL";
const std::string SET_LEVEL = "SET_LEVEL";
const std::string BUTTON_ACTION = "BUTTON_ACTION";
} // namespace forwarded
} // namespace names

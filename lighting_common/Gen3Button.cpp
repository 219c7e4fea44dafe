#include "lighting_common/Gen3Button.h"

const std::string Gen3Button::BLACK = "000000";
const std::string Gen3Button::WHITE = "ffffff";

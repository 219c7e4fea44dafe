#include "lighting_common/AdvSceneElement.h"

namespace gen3_lights
{
namespace scenes
{
bool AdvSceneElement::SameStep(const AdvSceneElement& other) const
{
    return id == other.id && delay == other.delay && levelEnabled == other.levelEnabled &&
           levelRate == other.levelRate && level == other.level && flags == other.flags &&
           colorEnabled == other.colorEnabled && colorRate == other.colorRate &&
           color.GetX() == other.color.GetX() && color.GetY() == other.color.GetY();
}
} // namespace scenes
} // namespace gen3_lights

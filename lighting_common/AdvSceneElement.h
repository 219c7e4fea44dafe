#pragma once

#include "lighting_common/Export.h"
#include "nxshared/NxColor.h"

#include <cstdint>
#include <string>

namespace gen3_lights
{
namespace scenes
{
// One step of an advanced scene: after a delay, ramp the load to a level.
//
// A plain value, copied freely, with no thread and no life of its own. AdvSceneManager keeps the
// driver's copy of every element; the device keeps its own. The color fields, `text` and
// `levelEnabled` belong to the record but are neither set by a push nor sent to the device.
struct LIGHTING_COMMON_API AdvSceneElement
{
    // Bits of `flags` (wire values, do not change). Mode: the driver's scene mode was on. Flash:
    // the last step of a scene that flashes. Ignore ramp: on the first step of a scene. Pushed: on
    // every step that the controller pushed.
    static constexpr std::uint8_t FLAG_MODE = 0x01;
    static constexpr std::uint8_t FLAG_FLASH = 0x02;
    static constexpr std::uint8_t FLAG_IGNORE_RAMP = 0x04;
    static constexpr std::uint8_t FLAG_PUSHED = 0x08;

    // What an element that was not found has as its id.
    static constexpr std::uint16_t NOT_FOUND = 0xffff;

    // How `id` is made (wire values, do not change): the scene id in bits 0 to 11, the step's index
    // within the scene in bits 12 to 15.
    static constexpr unsigned INDEX_SHIFT = 12;
    static constexpr unsigned SCENE_MASK = 0xfff;

    // See above.
    std::uint16_t id = 0;
    // The delay before this step, in the device's units.
    std::uint32_t delay = 0;
    // Whether the step sets a level.
    bool levelEnabled = true;
    // The ramp rate of the step, in the device's units.
    std::uint32_t levelRate = 1000;
    // A text carried with the step.
    std::string text;
    // The level that the step goes to.
    std::uint8_t level = 0;
    // FLAG_ bits.
    std::uint8_t flags = 0;
    // The controller has sent this step.
    bool pushedByController = false;
    // The device is known to hold this step exactly as it is here.
    bool onHardware = false;
    // The scene was pushed on behalf of a load group that the device is a member of.
    bool fromGroup = false;
    // The color fade rate, in the device's units.
    std::uint32_t colorRate = 1000;
    // Whether the step sets a color.
    bool colorEnabled = false;
    // The color that the step goes to.
    NxColor color = NxColor(0);
    // The controller's color preset, and the value that goes with it.
    std::uint32_t colorPresetID = 0;
    std::uint32_t colorPresetAux = 1;

    // Whether both make the device do the same: equal in id, delay, levelEnabled, levelRate, level,
    // flags, colorEnabled, colorRate and the color's x and y. Where the step came from, whether it
    // has reached the device, the text and the preset do not count.
    bool SameStep(const AdvSceneElement& other) const;
};
} // namespace scenes
} // namespace gen3_lights

#include "lighting_host/web/DevicePicture.h"

#include "device_wire/AttachedDevice.h"
#include "simulated_devices/KeypadOnBus.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/ZigbeeLight.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr unsigned PERCENT = 100;
constexpr unsigned MS_PER_SECOND = 1000;
constexpr unsigned MS_PER_TENTH = 100;
// How long an LED that blinks is on, and off.
constexpr int HALF_BLINK_MS = 500;

template <class Device>
const Device* As(const device_wire::AttachedDevice& device)
{
    return dynamic_cast<const Device*>(device.Device());
}

Json LightTablesOf(const simulated::LightTables& tables)
{
    Json scenes = Json::array();
    for (const simulated::LightScene& scene : tables.scenes)
        scenes.push_back(
            {{"group", scene.group},
             {"number", scene.number},
             {"level", scene.level ? Json(*scene.level) : Json()},
             {"time_ms", scene.seconds * MS_PER_SECOND + scene.tenths * MS_PER_TENTH}});
    return {{"groups", tables.groups}, {"scenes", scenes}};
}

Json DimmerTablesOf(const simulated::WiredDimmer& dimmer)
{
    Json elements = Json::array();
    for (const auto& [id, element] : dimmer.Tables().elements)
        elements.push_back({{"id", id},
                            {"delay_ms", element.delay},
                            {"rate_ms", element.rate},
                            {"level", element.level},
                            {"flags", element.flags}});
    return {{"groups", dimmer.Tables().groups},
            {"elements", elements},
            {"group_crc", dimmer.GroupChecksum()},
            {"scene_crc", dimmer.ElementChecksum()}};
}
} // namespace

Json HeldBy(const device_wire::AttachedDevice& device)
{
    if (const auto* light = As<simulated::ZigbeeLight>(device))
    {
        Json held = LightTablesOf(light->Tables());
        held["group_capacity"] = light->GetSettings().groupTableSize;
        held["scene_capacity"] = light->GetSettings().sceneTableSize;
        return held;
    }
    if (const auto* dimmer = As<simulated::WiredDimmer>(device))
        return DimmerTablesOf(*dimmer);
    return nullptr;
}

Json RampOf(const device_wire::AttachedDevice& device)
{
    const auto ramp = device.HasPower() ? device.Device()->PresentRamp() : std::nullopt;
    if (!ramp)
        return nullptr;
    return {{"to", ramp->to}, {"ends_ms", ramp->endsMs}};
}

Json LevelOf(const device_wire::AttachedDevice& device)
{
    const simulated::LampLevel lamp = device.PresentLevel();
    return (lamp.level * PERCENT + lamp.full / 2) / lamp.full;
}

Json PuckLedOf(const device_wire::AttachedDevice& device, int button)
{
    const auto* puck = As<simulated::PuckModule>(device);
    const std::string led =
        puck && device.HasPower() ? puck->ButtonLed(static_cast<std::size_t>(button)) : "";
    return led.empty() ? Json() : Json(led);
}

Json KeypadLedOf(const device_wire::AttachedDevice& device, int actuator)
{
    auto* keypad = dynamic_cast<simulated::KeypadOnBus*>(device.Device());
    if (!keypad || !device.HasPower())
        return nullptr;
    const auto& colors = keypad->Keypad().CurrentColours();
    const auto color = colors.find(static_cast<std::uint8_t>(actuator));
    if (color == colors.end())
        return nullptr;
    return fmt::format("{:02x}{:02x}{:02x}", color->second[0], color->second[1], color->second[2]);
}

int BlinkMsOf(const device_wire::AttachedDevice& device, int actuator)
{
    auto* keypad = dynamic_cast<simulated::KeypadOnBus*>(device.Device());
    if (!keypad || !device.HasPower())
        return 0;
    const auto& leds = keypad->Keypad().Leds();
    const auto led = leds.find(static_cast<std::uint8_t>(actuator));
    return led == leds.end() || led->second.blink == 0 ? 0 : HALF_BLINK_MS;
}
} // namespace lighting_host

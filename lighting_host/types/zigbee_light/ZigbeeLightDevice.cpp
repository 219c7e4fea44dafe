// The <device> element of a ZigBee light's driver: a simulated light and what happens to it.

#include "lighting_host/types/DeviceChildren.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/ZigbeeLight.h"
#include "simulated_devices/ZigbeeLightFaults.h"

namespace lighting_host
{
namespace
{
using simulated::ZigbeeLight;

// <scene group="5" number="1" [level="127"] [seconds="2"]/>, in the light before it starts.
simulated::LightScene ReadScene(const nx::XmlNode& node)
{
    DeviceElement element(node);
    simulated::LightScene scene;
    scene.group = static_cast<std::uint16_t>(element.RequireNumber("group", 0, 0xFFF7));
    scene.number = static_cast<std::uint8_t>(element.RequireNumber("number", 0, 0xFF));
    scene.level = static_cast<std::uint8_t>(element.Number("level", 0, 0xFF, 0));
    scene.seconds = static_cast<std::uint16_t>(element.Number("seconds", 0, 0xFFFF, 0));
    element.Finish();
    return scene;
}

// <act at="2h" do="lose_power"/>
void ReadAct(const nx::XmlNode& node, ZigbeeLight& light, simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    ActTable acts;
    acts.Add("lose_power",
             [&light, &world]
             {
                 world.ReportPerson("switches the lamp off at the wall and on again");
                 light.OnPowerOn();
                 world.Rejoin();
             });
    PlanAct(act, world, "lose_power", acts);
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice>
MakeZigbeeLightDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world)
{
    DeviceElement device(*driver.device);
    device.Kind();
    device.Number("watts", 0, MOST_LAMP_WATTS, 0);
    ZigbeeLight::Settings settings;
    // Whatever endpoint the driver is configured for, the light has it.
    settings.endpoint = 0;
    settings.groupTableSize = device.Number("groups", 1, ZigbeeLight::LARGEST_TABLE, 16);
    settings.sceneTableSize = device.Number("scenes", 1, ZigbeeLight::LARGEST_TABLE, 32);
    settings.answerDelay = device.Time("answer", settings.answerDelay);
    device.Finish();
    auto light = std::make_unique<ZigbeeLight>(world, settings);
    std::vector<simulated::LightScene> scenes;
    ChildTable children;
    children.Add("scene", [&](const auto& node) { scenes.push_back(ReadScene(node)); });
    children.Add("act", [&](const auto& node) { ReadAct(node, *light, world); });
    children.Add("fault", [&](const auto& node) { ReadFault(node, *light); });
    ReadChildren(*driver.device, children);
    simulated::HoldsForeignScenes(scenes).OnPowerOn(light->Tables());
    return light;
}
} // namespace lighting_host

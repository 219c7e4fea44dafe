// The <device> element of a ZigBee light's driver: a simulated light and what happens to it.

#include "lighting_host/types/ActTime.h"
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

// What a table can hold and a light can count.
constexpr unsigned LARGEST_TABLE = 250;
constexpr unsigned ANY_EVERY = 1000000;
constexpr std::uint64_t LATE_MS = 200;

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
void PlanAct(const nx::XmlNode& node, ZigbeeLight& light, simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    const ActTime time(act);
    const std::string what = act.Word("do", "lose_power");
    act.Finish();
    if (what != "lose_power")
        act.Fail("\"do\" is not lose_power");
    time.Plan(world,
              [&light, &world]
              {
                  world.ReportPerson("switches the lamp off at the wall and on again");
                  light.OnPowerOn();
                  world.Rejoin();
              });
}

// <fault kind="loses|late|repeats|forgets|unsorted|small_tables|rounds_levels|drops_on_off|
// keeps_old_sets" .../>
std::unique_ptr<simulated::ZigbeeLightFault> ReadFault(const nx::XmlNode& node)
{
    using namespace simulated;
    DeviceElement fault(node);
    const std::string kind = fault.Word("kind", std::string());
    const unsigned every = fault.Number("every", 1, ANY_EVERY, 10);
    const std::uint64_t by = fault.Time("by", LATE_MS);
    const unsigned step = fault.Number("step", 1, 0xFF, 10);
    const unsigned groups = fault.Number("groups", 0, LARGEST_TABLE, 2);
    const unsigned scenes = fault.Number("scenes", 0, LARGEST_TABLE, 2);
    fault.Finish();
    if (kind == "loses")
        return std::make_unique<LosesAnswers>(every);
    if (kind == "late")
        return std::make_unique<AnswersLate>(every, by);
    if (kind == "repeats")
        return std::make_unique<RepeatsAnswers>(every, by);
    if (kind == "forgets")
        return std::make_unique<ForgetsWithoutPower>();
    if (kind == "unsorted")
        return std::make_unique<ReportsGroupsUnsorted>();
    if (kind == "small_tables")
        return std::make_unique<SmallTables>(groups, scenes);
    if (kind == "rounds_levels")
        return std::make_unique<RoundsLevels>(static_cast<std::uint8_t>(step));
    if (kind == "drops_on_off")
        return std::make_unique<DropsOnOffSets>();
    if (kind == "keeps_old_sets")
        return std::make_unique<KeepsOldSets>();
    fault.Fail("\"kind\" is not loses, late, repeats, forgets, unsorted, small_tables, "
               "rounds_levels, drops_on_off or keeps_old_sets");
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice>
MakeZigbeeLightDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world)
{
    DeviceElement device(*driver.device);
    device.Word("simulated", std::string());
    device.Number("watts", 0, MOST_LAMP_WATTS, 0);
    ZigbeeLight::Settings settings;
    // Whatever endpoint the driver is configured for, the light has it.
    settings.endpoint = 0;
    settings.groupTableSize = device.Number("groups", 1, LARGEST_TABLE, 16);
    settings.sceneTableSize = device.Number("scenes", 1, LARGEST_TABLE, 32);
    settings.answerDelayMs = device.Time("answer", settings.answerDelayMs);
    device.Finish();
    auto light = std::make_unique<ZigbeeLight>(world, settings);
    std::vector<simulated::LightScene> scenes;
    for (std::size_t i = 0; i < driver.device->GetChildCount(); ++i)
    {
        const auto child = driver.device->GetChildAt(i);
        if (child->GetName() == "scene")
            scenes.push_back(ReadScene(*child));
        else if (child->GetName() == "act")
            PlanAct(*child, *light, world);
        else if (child->GetName() == "fault")
            light->Misbehave(ReadFault(*child));
        else
            device.Fail("unknown element <" + child->GetName() + ">");
    }
    simulated::HoldsForeignScenes(scenes).OnPowerOn(light->Tables());
    return light;
}
} // namespace lighting_host

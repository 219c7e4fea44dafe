// The <device> element of a wired_dimmer driver: a simulated dimmer, what happens to it, and the
// people at the keypads of its bus.

#include "lighting_host/types/DeviceChildren.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/WiredDimmer.h"

namespace lighting_host
{
namespace
{
using simulated::WiredDimmer;

constexpr unsigned HIGHEST_SCENE = 4095;
constexpr Pauses USUAL_PAUSES = {std::chrono::seconds(10), std::chrono::minutes(5)};
constexpr const char* PLAY = "play";

// <act at="2s" do="play" scene="5"/>, <act at="2s" do="power_failure"/>
void ReadAct(const nx::XmlNode& node, WiredDimmer& dimmer, simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    const unsigned scene =
        act.Word("do", PLAY) == PLAY ? act.RequireNumber("scene", 0, HIGHEST_SCENE) : 0;
    ActTable acts;
    acts.Add(PLAY, [&dimmer, scene] { dimmer.RecallScene(static_cast<std::uint16_t>(scene)); });
    acts.Add("power_failure", [&dimmer] { dimmer.OnPowerOn(); });
    PlanAct(act, world, PLAY, acts);
}

// <person pause_min="10s" pause_max="5m"/>: starts one of the stored scenes now and then.
void ReadPerson(const nx::XmlNode& node, WiredDimmer& dimmer)
{
    DeviceElement person(node);
    const Pauses pauses = ReadPauses(person, USUAL_PAUSES, {{}, std::chrono::milliseconds(1)});
    person.Finish();
    dimmer.LetAPersonPlay(pauses.min, pauses.max);
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice>
MakeWiredDimmerDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world)
{
    DeviceElement device(*driver.device);
    device.Kind();
    device.Number("watts", 0, MOST_LAMP_WATTS, 0);
    device.Finish();
    auto dimmer = std::make_unique<WiredDimmer>(world);
    ChildTable children;
    children.Add("act", [&](const auto& node) { ReadAct(node, *dimmer, world); });
    children.Add("person", [&](const auto& node) { ReadPerson(node, *dimmer); });
    children.Add("fault", [&](const auto& node) { ReadFault(node, *dimmer); });
    ReadChildren(*driver.device, children);
    return dimmer;
}
} // namespace lighting_host

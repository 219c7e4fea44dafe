// The <device> element of an energy_switch driver: a plug that meters the load in it.

#include "lighting_host/types/DeviceChildren.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/MeteringPlug.h"

namespace lighting_host
{
namespace
{
using simulated::LoadCurve;

constexpr unsigned MOST_WATTS = 100000;

// <step at="7h" watts="2200"/>: from that time of day on, the load draws that much.
LoadCurve::Step ReadStep(const nx::XmlNode& node)
{
    DeviceElement step(node);
    const std::chrono::milliseconds at = step.RequireTime("at");
    const unsigned watts = step.RequireNumber("watts", 0, MOST_WATTS);
    step.Finish();
    if (at >= LoadCurve::DAY)
        step.Fail("\"at\" is not within a day");
    return {at, watts};
}
} // namespace

// <device simulated="true" load="fridge|washing_machine|kettle|tv"/>, or with steps of its own.
std::unique_ptr<simulated::SimulatedDevice> MakeMeteringPlug(const HouseFileDriver& driver,
                                                             simulated::DeviceEnvironment& world)
{
    DeviceElement device(*driver.device);
    device.Kind();
    const std::string load = device.Word("load", std::string());
    device.Finish();
    std::vector<LoadCurve::Step> steps;
    ChildTable children;
    children.Add("step", [&](const auto& node) { steps.push_back(ReadStep(node)); });
    ReadChildren(*driver.device, children);
    if (!load.empty() && !steps.empty())
        device.Fail("has a load by name and steps of its own");
    LoadCurve curve(steps);
    if (!load.empty() && !LoadCurve::ByName(load, curve))
        device.Fail("\"load\" is not fridge, washing_machine, kettle or tv");
    return std::make_unique<simulated::MeteringPlug>(world, curve);
}
} // namespace lighting_host

// The <device> element of a wired_dimmer driver: a simulated dimmer, what happens to it, and the
// people at the keypads of its bus.

#include "lighting_host/types/ActTime.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/WiredDimmerFaults.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
using simulated::WiredDimmer;

constexpr unsigned HIGHEST_SCENE = 4095;
constexpr unsigned ANY_EVERY = 1000000;
constexpr std::uint64_t SHORTEST_PAUSE_MS = 10000;
constexpr std::uint64_t LONGEST_PAUSE_MS = 300000;

// <act at="2s" do="play" scene="5"/>, <act at="2s" do="power_failure"/>
void PlanAct(const nx::XmlNode& node, WiredDimmer& dimmer, simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    const ActTime time(act);
    const std::string what = act.Word("do", "play");
    if (what == "play")
    {
        const auto scene = static_cast<std::uint16_t>(act.RequireNumber("scene", 0, HIGHEST_SCENE));
        act.Finish();
        time.Plan(world, [&dimmer, scene] { dimmer.RecallScene(scene); });
        return;
    }
    act.Finish();
    if (what != "power_failure")
        act.Fail("\"do\" is not play or power_failure");
    time.Plan(world, [&dimmer] { dimmer.OnPowerOn(); });
}

// <person pause_min="10s" pause_max="5m"/>: starts one of the stored scenes now and then.
WiredDimmer::Settings ReadPerson(const nx::XmlNode& node)
{
    DeviceElement person(node);
    const std::uint64_t min = person.Time("pause_min", SHORTEST_PAUSE_MS);
    const std::uint64_t max = person.Time("pause_max", std::max(min, LONGEST_PAUSE_MS));
    person.Finish();
    if (max < min || max == 0 || max > INT32_MAX)
        person.Fail("the pauses are not a range");
    return {static_cast<int>(min), static_cast<int>(max)};
}

// <fault kind="loses_requests|loses_answers|loses_traps|repeats_traps|reorders_traps|forgets|
// keeps_stale" every="10"/>
std::unique_ptr<simulated::WiredDimmerFault> ReadFault(const nx::XmlNode& node)
{
    using namespace simulated;
    DeviceElement fault(node);
    const std::string kind = fault.Word("kind", std::string());
    const unsigned every = fault.Number("every", 1, ANY_EVERY, 10);
    fault.Finish();
    if (kind == "loses_requests")
        return std::make_unique<DimmerLosesRequests>(every);
    if (kind == "loses_answers")
        return std::make_unique<DimmerLosesAnswers>(every);
    if (kind == "loses_traps")
        return std::make_unique<DimmerLosesTraps>(every);
    if (kind == "repeats_traps")
        return std::make_unique<DimmerRepeatsTraps>(every);
    if (kind == "reorders_traps")
        return std::make_unique<DimmerReordersTraps>(every);
    if (kind == "forgets")
        return std::make_unique<DimmerForgets>();
    if (kind == "keeps_stale")
        return std::make_unique<DimmerKeepsStaleElements>(every);
    fault.Fail("\"kind\" is not loses_requests, loses_answers, loses_traps, repeats_traps, "
               "reorders_traps, forgets or keeps_stale");
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice>
MakeWiredDimmerDevice(const HouseFileDriver& driver, simulated::DeviceEnvironment& world)
{
    DeviceElement device(*driver.device);
    device.Word("simulated", std::string());
    device.Number("watts", 0, MOST_LAMP_WATTS, 0);
    device.Finish();
    WiredDimmer::Settings settings;
    if (const auto person = driver.device->GetChild("person"))
        settings = ReadPerson(*person);
    auto dimmer = std::make_unique<WiredDimmer>(world, settings);
    for (std::size_t i = 0; i < driver.device->GetChildCount(); ++i)
    {
        const auto child = driver.device->GetChildAt(i);
        if (child->GetName() == "act")
            PlanAct(*child, *dimmer, world);
        else if (child->GetName() == "fault")
            dimmer->Misbehave(ReadFault(*child));
        else if (child->GetName() != "person")
            device.Fail("unknown element <" + child->GetName() + ">");
    }
    return dimmer;
}
} // namespace lighting_host

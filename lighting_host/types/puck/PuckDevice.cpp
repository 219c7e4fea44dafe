// The <device> element of a puck driver: a simulated module and the people who use it.

#include "lighting_host/types/ActTime.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/PuckModuleFaults.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
using simulated::PuckModule;

constexpr unsigned HOLD_INTERVAL_MS = 500;
constexpr unsigned LONGEST_HOLD_INTERVAL_MS = 60000;
constexpr unsigned MOST_CLICKS = 20;
constexpr unsigned MOST_BOUNCES = 20;
constexpr unsigned ANY_EVERY = 1000000;
constexpr std::uint64_t HOLD_MS = 1500;
constexpr std::uint64_t LATE_MS = 200;
constexpr std::uint64_t SHORTEST_PAUSE_MS = 5000;
constexpr std::uint64_t LONGEST_PAUSE_MS = 120000;

// The device's number of the contact or snap-on button that an <act> is about.
int ReadPlace(DeviceElement& act, unsigned buttons)
{
    if (act.Has("button") == act.Has("contact"))
        act.Fail("says neither which contact nor which button, or both");
    if (act.Has("contact"))
        return PuckModule::FIRST_CONTACT +
               static_cast<int>(act.Number("contact", 0, simulated::PuckSettings::CONTACTS - 1, 0));
    if (buttons == 0)
        act.Fail("the module has no buttons");
    return PuckModule::FIRST_BUTTON + static_cast<int>(act.Number("button", 0, buttons - 1, 0));
}

// <act at="2s" do="press|release|click|hold" contact="0" [clicks="2"] [for="800ms"]/>
void PlanAct(const nx::XmlNode& node, PuckModule& module, unsigned buttons,
             simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    const ActTime time(act);
    const int number = ReadPlace(act, buttons);
    const std::string what = act.Word("do", "click");
    const unsigned clicks = act.Number("clicks", 1, MOST_CLICKS, 1);
    const std::uint64_t holdMs = act.Time("for", HOLD_MS);
    act.Finish();
    if (what == "press")
        time.Plan(world, [&module, number] { module.Push(number); });
    else if (what == "release")
        time.Plan(world, [&module, number] { module.Release(number); });
    else if (what == "click")
        time.Plan(world, [&module, number, clicks] { module.Click(number, clicks); });
    else if (what == "hold")
        time.Plan(world, [&module, number, holdMs] { module.Hold(number, holdMs); });
    else
        act.Fail("\"do\" is not press, release, click or hold");
}

// <person pause_min="5s" pause_max="2m"/>
void PlanPerson(const nx::XmlNode& node, PuckModule& module)
{
    DeviceElement person(node);
    const std::uint64_t min = person.Time("pause_min", SHORTEST_PAUSE_MS);
    const std::uint64_t max = person.Time("pause_max", std::max(min, LONGEST_PAUSE_MS));
    person.Finish();
    if (max < min || max > INT32_MAX)
        person.Fail("the pauses are not a range");
    module.LetAPersonPlay(static_cast<std::uint32_t>(min), static_cast<std::uint32_t>(max));
}

// <fault kind="loses|late|repeats|loses_releases|chatters|hears_badly|forgets" .../>
std::unique_ptr<simulated::PuckModuleFault> ReadFault(const nx::XmlNode& node)
{
    using namespace simulated::puck;
    DeviceElement fault(node);
    const std::string kind = fault.Word("kind", std::string());
    const unsigned every = fault.Number("every", 1, ANY_EVERY, 10);
    const std::uint64_t by = fault.Time("by", LATE_MS);
    const unsigned bounces = fault.Number("bounces", 1, MOST_BOUNCES, 3);
    fault.Finish();
    if (kind == "loses")
        return std::make_unique<LosesMessages>(every);
    if (kind == "late")
        return std::make_unique<SendsLate>(every, by);
    if (kind == "repeats")
        return std::make_unique<RepeatsMessages>(every, by);
    if (kind == "loses_releases")
        return std::make_unique<LosesReleases>();
    if (kind == "chatters")
        return std::make_unique<Chatters>(bounces);
    if (kind == "hears_badly")
        return std::make_unique<HearsBadly>(every);
    if (kind == "forgets")
        return std::make_unique<ForgetsSettings>();
    fault.Fail("\"kind\" is not loses, late, repeats, loses_releases, chatters, hears_badly or "
               "forgets");
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice> MakePuckModule(const HouseFileDriver& driver,
                                                           simulated::DeviceEnvironment& world)
{
    const int wanted = driver.config ? driver.config->GetChildDataNumber("NUM_BUTTONS") : 0;
    const auto buttons = static_cast<unsigned>(
        std::clamp(wanted, 0, static_cast<int>(simulated::PuckSettings::BUTTONS)));
    DeviceElement device(*driver.device);
    device.Word("simulated", std::string());
    const auto interval = device.Time("hold_interval", HOLD_INTERVAL_MS);
    device.Finish();
    if (interval > LONGEST_HOLD_INTERVAL_MS)
        device.Fail("the hold interval is longer than a minute");
    auto module =
        std::make_unique<PuckModule>(world, buttons, static_cast<std::uint32_t>(interval));
    for (std::size_t i = 0; i < driver.device->GetChildCount(); ++i)
    {
        const auto child = driver.device->GetChildAt(i);
        if (child->GetName() == "act")
            PlanAct(*child, *module, buttons, world);
        else if (child->GetName() == "person")
            PlanPerson(*child, *module);
        else if (child->GetName() == "fault")
            module->Misbehave(ReadFault(*child));
        else
            device.Fail("unknown element <" + child->GetName() + ">");
    }
    return module;
}
} // namespace lighting_host

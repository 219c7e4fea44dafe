// The <device> element of a puck driver: a simulated module and the people who use it.

#include "lighting_host/types/DeviceChildren.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/PuckModule.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
using simulated::PuckModule;

constexpr std::chrono::milliseconds HOLD_INTERVAL{500};
constexpr std::chrono::milliseconds LONGEST_HOLD_INTERVAL = std::chrono::minutes(1);
constexpr unsigned MOST_CLICKS = 20;

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
void ReadAct(const nx::XmlNode& node, PuckModule& module, unsigned buttons,
             simulated::DeviceEnvironment& world)
{
    DeviceElement act(node);
    const int number = ReadPlace(act, buttons);
    const unsigned clicks = act.Number("clicks", 1, MOST_CLICKS, 1);
    const std::chrono::milliseconds hold = act.Time("for", BUTTON_HOLD);
    ActTable acts;
    acts.Add("press", [&module, number] { module.Push(number); });
    acts.Add("release", [&module, number] { module.Release(number); });
    acts.Add("click", [&module, number, clicks] { module.Click(number, clicks); });
    acts.Add("hold", [&module, number, hold] { module.Hold(number, hold); });
    PlanAct(act, world, "click", acts);
}

// <person pause_min="5s" pause_max="2m"/>
void ReadPerson(const nx::XmlNode& node, PuckModule& module)
{
    DeviceElement person(node);
    const Pauses pauses = ReadPauses(person, PAUSES_AT_BUTTONS, {});
    person.Finish();
    module.LetAPersonPlay(pauses.min, pauses.max);
}
} // namespace

std::unique_ptr<simulated::SimulatedDevice> MakePuckModule(const HouseFileDriver& driver,
                                                           simulated::DeviceEnvironment& world)
{
    const int wanted = driver.config ? driver.config->GetChildDataNumber("NUM_BUTTONS") : 0;
    const auto buttons = static_cast<unsigned>(
        std::clamp(wanted, 0, static_cast<int>(simulated::PuckSettings::BUTTONS)));
    DeviceElement device(*driver.device);
    device.Kind();
    const std::chrono::milliseconds interval = device.Time("hold_interval", HOLD_INTERVAL);
    device.Finish();
    if (interval > LONGEST_HOLD_INTERVAL)
        device.Fail("the hold interval is longer than a minute");
    auto module = std::make_unique<PuckModule>(world, buttons, interval);
    ChildTable children;
    children.Add("act", [&](const auto& node) { ReadAct(node, *module, buttons, world); });
    children.Add("person", [&](const auto& node) { ReadPerson(node, *module); });
    children.Add("fault", [&](const auto& node) { ReadFault(node, *module); });
    ReadChildren(*driver.device, children);
    return module;
}
} // namespace lighting_host

// The <device> element of a gen3_keypad driver: a simulated keypad on a bus, and the people who use
// it.

#include "lighting_host/types/DeviceChildren.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/KeypadOnBus.h"

namespace lighting_host
{
namespace
{
using namespace simulated;

// <act at="2s" do="press|release|click|hold" button="1" [for="800ms"]/>
void ReadAct(const nx::XmlNode& node, BusKeypad& keypad, DeviceEnvironment& world)
{
    DeviceElement act(node);
    const int button = static_cast<int>(act.RequireNumber("button", 0, HouseFileUse::LAST_BUTTON));
    const std::chrono::milliseconds hold = act.Time("for", BUTTON_HOLD);
    ActTable acts;
    acts.Add("press", [&keypad, button] { keypad.Press(button); });
    acts.Add("release", [&keypad, button] { keypad.Release(button); });
    acts.Add("click", [&keypad, button] { keypad.Click(button); });
    acts.Add("hold", [&keypad, button, hold] { keypad.Hold(button, hold); });
    PlanAct(act, world, "click", acts);
}

// <person first_button="1" last_button="4" pause_min="5s" pause_max="2m"/>
void ReadPerson(const nx::XmlNode& node, KeypadOnBus& device)
{
    DeviceElement person(node);
    const unsigned first = person.Number("first_button", 0, HouseFileUse::LAST_BUTTON, 1);
    const unsigned last = person.Number("last_button", 0, HouseFileUse::LAST_BUTTON, first);
    const Pauses pauses = ReadPauses(person, PAUSES_AT_BUTTONS,
                                     {std::chrono::milliseconds(1), std::chrono::milliseconds(1)});
    person.Finish();
    if (last < first)
        person.Fail("the last button is below the first");
    device.LetAPersonPlay(static_cast<int>(first), static_cast<int>(last), pauses.min, pauses.max);
}
} // namespace

std::unique_ptr<SimulatedDevice> MakeKeypadDevice(const HouseFileDriver& driver,
                                                  DeviceEnvironment& world)
{
    DeviceElement element(*driver.device);
    element.Kind();
    const std::chrono::milliseconds delay =
        element.Time("answer_delay", BusKeypad::DEFAULT_ANSWER_DELAY);
    element.Finish();

    auto device = std::make_unique<KeypadOnBus>(world, driver.id);
    device->Keypad().SetAnswerDelay(delay);
    ChildTable children;
    children.Add("act", [&](const auto& node) { ReadAct(node, device->Keypad(), world); });
    children.Add("person", [&](const auto& node) { ReadPerson(node, *device); });
    children.Add("fault", [&](const auto& node) { ReadFault(node, *device); });
    ReadChildren(*driver.device, children);
    return device;
}
} // namespace lighting_host

// The <device> element of a gen3_keypad driver: a simulated keypad on a bus, and the people who use
// it.

#include "lighting_host/types/ActTime.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/BusKeypadFaults.h"
#include "simulated_devices/KeypadOnBus.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
using namespace simulated;

constexpr unsigned LAST_BUTTON = 127;
constexpr unsigned ANY_EVERY = 1000000;
constexpr std::uint64_t HOLD_MS = 1500;
constexpr std::uint64_t SHORTEST_PAUSE_MS = 5000;
constexpr std::uint64_t LONGEST_PAUSE_MS = 120000;

template <class Keypad>
std::unique_ptr<BusKeypad> Make(DeviceEnvironment& world, BusLine& line, std::uint32_t address)
{
    return std::make_unique<Keypad>(world, line, address);
}

// <fault kind="deaf|late|seldom|forgetful|babbling" .../>
KeypadOnBus::MakeKeypad ReadFault(const nx::XmlNode& node)
{
    DeviceElement fault(node);
    const std::string kind = fault.Word("kind", std::string());
    const unsigned every = fault.Number("every", 1, ANY_EVERY, 3);
    fault.Finish();
    if (kind == "deaf")
        return &Make<DeafKeypad>;
    if (kind == "late")
        return &Make<LateKeypad>;
    if (kind == "forgetful")
        return &Make<ForgetfulKeypad>;
    if (kind == "babbling")
        return &Make<BabblingKeypad>;
    if (kind == "seldom")
        return [every](DeviceEnvironment& world, BusLine& line, std::uint32_t address)
        {
            return std::make_unique<NthReplyKeypad>(world, line, address, every);
        };
    fault.Fail("\"kind\" is not deaf, late, seldom, forgetful or babbling");
}

// <act at="2s" do="press|release|click|hold" button="1" [for="800ms"]/>
void PlanAct(const nx::XmlNode& node, BusKeypad& keypad, DeviceEnvironment& world)
{
    DeviceElement act(node);
    const ActTime time(act);
    const int button = static_cast<int>(act.RequireNumber("button", 0, LAST_BUTTON));
    const std::string what = act.Word("do", "click");
    const std::uint64_t holdMs = act.Time("for", HOLD_MS);
    act.Finish();
    if (what == "press")
        time.Plan(world, [&keypad, button] { keypad.Press(button); });
    else if (what == "release")
        time.Plan(world, [&keypad, button] { keypad.Release(button); });
    else if (what == "click")
        time.Plan(world, [&keypad, button] { keypad.Click(button); });
    else if (what == "hold")
        time.Plan(world, [&keypad, button, holdMs] { keypad.Hold(button, holdMs); });
    else
        act.Fail("\"do\" is not press, release, click or hold");
}

// <person first_button="1" last_button="4" pause_min="5s" pause_max="2m"/>
void PlanPerson(const nx::XmlNode& node, KeypadOnBus& device)
{
    DeviceElement person(node);
    const unsigned first = person.Number("first_button", 0, LAST_BUTTON, 1);
    const unsigned last = person.Number("last_button", 0, LAST_BUTTON, first);
    const std::uint64_t min = person.Time("pause_min", SHORTEST_PAUSE_MS);
    const std::uint64_t max = person.Time("pause_max", std::max(min, LONGEST_PAUSE_MS));
    person.Finish();
    if (last < first)
        person.Fail("the last button is below the first");
    if (max < min || min == 0 || max > INT32_MAX)
        person.Fail("the pauses are not a range");
    device.LetAPersonPlay(static_cast<int>(first), static_cast<int>(last), static_cast<int>(min),
                          static_cast<int>(max));
}
} // namespace

std::unique_ptr<SimulatedDevice> MakeKeypadDevice(const HouseFileDriver& driver,
                                                  DeviceEnvironment& world)
{
    DeviceElement element(*driver.device);
    element.Word("simulated", std::string());
    const bool hasDelay = element.Has("answer_delay");
    const std::uint64_t delay = element.Time("answer_delay", BusKeypad::DEFAULT_ANSWER_DELAY_MS);
    element.Finish();

    KeypadOnBus::MakeKeypad make = &Make<BusKeypad>;
    unsigned faults = 0;
    for (std::size_t i = 0; i < driver.device->GetChildCount(); ++i)
    {
        const auto child = driver.device->GetChildAt(i);
        if (child->GetName() != "fault")
            continue;
        make = ReadFault(*child);
        if (++faults > 1)
            element.Fail("a keypad has one fault at most");
    }
    auto device = std::make_unique<KeypadOnBus>(world, driver.id, make);
    if (hasDelay)
        device->Keypad().SetAnswerDelay(delay);
    for (std::size_t i = 0; i < driver.device->GetChildCount(); ++i)
    {
        const auto child = driver.device->GetChildAt(i);
        if (child->GetName() == "act")
            PlanAct(*child, device->Keypad(), world);
        else if (child->GetName() == "person")
            PlanPerson(*child, *device);
        else if (child->GetName() != "fault")
            element.Fail("unknown element <" + child->GetName() + ">");
    }
    return device;
}
} // namespace lighting_host

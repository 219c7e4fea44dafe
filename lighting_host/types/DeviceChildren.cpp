#include "lighting_host/types/DeviceChildren.h"

#include "lighting_host/types/ActTime.h"
#include "lighting_host/types/DeviceElement.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// "a, b or c".
std::string AnyOf(const std::vector<const char*>& names)
{
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 < names.size() ? ", " : " or ") + std::string(names[i]);
    return text;
}

std::uint64_t ReadAttribute(DeviceElement& fault, const simulated::FaultAttribute& attribute)
{
    if (attribute.unit == simulated::FaultAttribute::Unit::Milliseconds)
        return static_cast<std::uint64_t>(
            fault.Time(attribute.name, std::chrono::milliseconds(attribute.byDefault)).count());
    return fault.Number(attribute.name, static_cast<unsigned>(attribute.min),
                        static_cast<unsigned>(attribute.max),
                        static_cast<unsigned>(attribute.byDefault));
}

void ReadChild(const nx::XmlNode& device, const nx::XmlNode& child, const ChildTable& table)
{
    for (const auto& [name, read] : table.rows)
    {
        if (child.GetName() != name)
            continue;
        if (child.GetChildCount() != 0)
            DeviceElement(child).Fail("unknown element <" + child.GetChildAt(0)->GetName() + ">");
        return read(child);
    }
    std::vector<std::string> taken;
    for (const auto& row : table.rows)
        taken.push_back(fmt::format("<{}>", row.first));
    DeviceElement(device).Fail(
        fmt::format("unknown element <{}>; it takes {}", child.GetName(), fmt::join(taken, ", ")));
}
} // namespace

void ReadChildren(const nx::XmlNode& device, const ChildTable& table)
{
    for (std::size_t i = 0; i < device.GetChildCount(); ++i)
    {
        try
        {
            ReadChild(device, *device.GetChildAt(i), table);
        }
        catch (DeviceError& error)
        {
            error.child = static_cast<int>(i);
            throw;
        }
    }
}

void PlanAct(DeviceElement& act, simulated::DeviceEnvironment& world, const char* byDefault,
             const ActTable& table)
{
    const ActTime time(act);
    const std::string wanted = act.Word("do", byDefault);
    act.Finish();
    std::vector<const char*> names;
    for (const auto& [name, action] : table.rows)
    {
        if (wanted == name)
            return time.Plan(world, action);
        names.push_back(name);
    }
    act.Fail("\"do\" is not " + AnyOf(names));
}

void ReadFault(const nx::XmlNode& node, simulated::SimulatedDevice& device)
{
    DeviceElement fault(node);
    const std::string name = fault.Word("kind", std::string());
    const simulated::FaultList* const faults = device.GetFaults();
    if (!faults)
        fault.Fail("the device can have no faults");
    const simulated::FaultKind* const kind = faults->FindKind(name);
    if (!kind)
    {
        std::vector<const char*> names;
        for (const simulated::FaultKind* const known : faults->Kinds())
            names.push_back(known->name);
        fault.Fail("\"kind\" is not " + AnyOf(names));
    }
    simulated::FaultValues values;
    for (const simulated::FaultAttribute& attribute : kind->attributes)
        values[attribute.name] = ReadAttribute(fault, attribute);
    fault.Finish();
    if (!device.AddFault(name, values))
        fault.Fail(fmt::format("\"{}\" cannot be so", name));
}

Pauses ReadPauses(DeviceElement& person, Pauses byDefault, Pauses least)
{
    constexpr std::chrono::milliseconds LONGEST{INT32_MAX};
    const std::chrono::milliseconds min = person.Time("pause_min", byDefault.min);
    const std::chrono::milliseconds max = person.Time("pause_max", std::max(min, byDefault.max));
    if (max < min || max > LONGEST || min < least.min || max < least.max)
        person.Fail("the pauses are not a range");
    return {min, max};
}
} // namespace lighting_host

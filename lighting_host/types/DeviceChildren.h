#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace nx
{
class XmlNode;
}

namespace simulated
{
class DeviceEnvironment;
class SimulatedDevice;
} // namespace simulated

namespace lighting_host
{
class DeviceElement;

// What may stand inside a <device> of a house file, read by tables. Anything else is a DeviceError,
// which names what is allowed.

// Reads the elements inside a <device>, in their order, each with the reader of its name.
struct ChildTable
{
    using Reader = std::function<void(const nx::XmlNode& child)>;
    void Add(const char* name, Reader read) { rows.emplace_back(name, std::move(read)); }
    std::vector<std::pair<const char*, Reader>> rows;
};
void ReadChildren(const nx::XmlNode& device, const ChildTable& table);

// <act at="2s" do="..." .../>: plans what its "do" says, `byDefault` when it does not say. The
// caller has read the attributes that the act has besides; the rest is refused.
struct ActTable
{
    using Action = std::function<void()>;
    void Add(const char* name, Action act) { rows.emplace_back(name, std::move(act)); }
    std::vector<std::pair<const char*, Action>> rows;
};
void PlanAct(DeviceElement& act, simulated::DeviceEnvironment& world, const char* byDefault,
             const ActTable& table);

// <fault kind="..." .../>: adds a fault of a kind that the device knows.
void ReadFault(const nx::XmlNode& node, simulated::SimulatedDevice& device);

// The pauses of somebody who uses a device now and then.
struct Pauses
{
    std::chrono::milliseconds min;
    std::chrono::milliseconds max;
};

// Those of somebody at a keypad or a wall switch, when the file does not say.
constexpr Pauses PAUSES_AT_BUTTONS = {std::chrono::seconds(5), std::chrono::minutes(2)};
// How long a button is held, when the file does not say.
constexpr std::chrono::milliseconds BUTTON_HOLD{1500};

// "pause_min" and "pause_max". `byDefault` holds for an absent one; when "pause_min" alone is given
// and is longer than that, it is also the longest pause. Neither may be below that of `least`.
Pauses ReadPauses(DeviceElement& person, Pauses byDefault, Pauses least);
} // namespace lighting_host

#pragma once

#include "drivers/DriverSettings.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "lighting_host/types/TypeTables.h"

#include <memory>
#include <string>
#include <vector>

class IInstanceManager;

namespace simulated
{
class DeviceEnvironment;
class SimulatedDevice;
} // namespace simulated

namespace lighting_host
{
struct HouseFileDriver;
struct HouseFileUse;
struct HousePlan;
struct LoadFacts;
struct MadeDriver;
class TrafficWatch;
class TypePicture;

// A kind of simulated device, as <device kind="..."> names it.
struct DeviceKind
{
    const char* name;

    // Makes the device of a driver in that environment, as the driver's <device> element says: its
    // settings, its faults and what people do to it. Throws DeviceError when the element cannot be
    // understood. The environment outlives the device.
    std::unique_ptr<simulated::SimulatedDevice> (*make)(const HouseFileDriver& driver,
                                                        simulated::DeviceEnvironment& environment);

    // Whether its messages travel over the air, where they can overtake each other.
    bool overTheAir;

    // Whether it has a lamp, of which "watts" says what it draws at full level.
    bool hasLamp;

    // Makes the watch of one driver's traffic with such a device. Null when no message to it is a
    // repair or a retry.
    std::unique_ptr<TrafficWatch> (*watch)();

    // The fewest messages that bring a device to what the plan wants a driver's load to hold, for
    // whatever it holds now: no controller can do with less. Null for a kind that keeps nothing of
    // the plan.
    unsigned (*distance)(const simulated::SimulatedDevice& device, const HousePlan& plan,
                         const std::string& driver);

    // Whether an effect is a message that changes what such a device keeps of the plan. Null where
    // `distance` is.
    bool (*isWrite)(const embedded_host::Effect& effect);
};

// All that the program knows of one type of its own drivers. Each type's row is made in the type's
// own folder; DriverTypes.cpp lists them.
struct DriverType
{
    const char* name;

    // What a person calls it: "ZigBee light".
    const char* words;

    // Makes a driver of this type with its adapter (see DriverAdapter). `facts` outlives the
    // driver.
    MadeDriver (*make)(IInstanceManager& instances, LoadFacts& facts);

    // What the configuration and the state of a driver may hold.
    const drivers::Schema& (*schema)();

    // The inputs, facts and queries that only such drivers know.
    TypeTables tables;

    // The simulated device at the other end of its wire, unless the house file names another kind.
    DeviceKind device;

    // What the controller of a run tells a driver of that name whenever it has started: the groups
    // and scenes that it does not keep by itself, in order. Null for a type that is told nothing.
    std::vector<embedded_host::CmdMessage> (*provision)(const HousePlan& plan,
                                                        const std::string& driver);

    // Makes the picture of one driver of this type for a page. Null when its page shows only what
    // holds for every driver.
    std::unique_ptr<TypePicture> (*picture)(const HouseFileDriver& driver);

    // Whether a driver can be a load in a scene; and the command by which it is told that the scene
    // of its SCENE_ID is recalled, null when only its device is.
    bool keepsScenes;
    const char* recallCommand;

    // Whether an effect of a driver is that use of one of its buttons. Null for a type without
    // buttons.
    bool (*isUse)(const embedded_host::Effect& effect, const HouseFileUse& use);
};

// The types of the program's own, in the order in which they are told to a person.
const std::vector<DriverType>& DriverTypes();

// Their names.
std::vector<std::string> DriverTypeNames();

// The type of that name; null when there is none.
const DriverType* FindDriverType(const std::string& name);

// The kind of a driver's device: the one that its <device> names, else that of its type. Null when
// neither is known.
const DeviceKind* DeviceKindOf(const HouseFileDriver& driver);
} // namespace lighting_host

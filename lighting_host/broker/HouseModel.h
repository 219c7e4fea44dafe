#pragma once

#include "lighting_host/types/DriverOffers.h"

#include <string>
#include <vector>

namespace lighting_host
{
struct HouseFileDriver;
struct HousePlan;
class Session;

// What kind of thing an entity is; the tables of Discovery and BrokerCommands have a row for each.
enum class EntityKind
{
    Button,
    Contact,
    Led,
    Light,
    Group,
    Scene,
    AdvScene,
    Power,
    Energy,
    Figure,
    Link,
    Setting,
};

// One thing that a device shows to the broker's users. Which members count follows from its kind.
struct Entity
{
    EntityKind kind = EntityKind::Figure;
    // An id, unique in its device: a level of its topics.
    std::string id;
    // Empty for a device's main one.
    std::string name;
    // Button, Contact, Led.
    ButtonOffer button;
    // Setting.
    SettingOffer setting;
    // Figure, Link.
    FigureOffer figure;
    // Group, Scene: its number in the house. AdvScene: in its driver.
    unsigned number = 0;
    // Group: the ids of the devices whose lights are its members, and their drivers.
    std::vector<std::string> members;
    std::vector<std::string> memberDrivers;
};

// One device: a driver with its hardware or, with an empty driver, the house itself.
struct DeviceModel
{
    std::string id;
    std::string name;
    std::string driver;
    std::string type;
    // Empty for none.
    std::string room;
    std::string serial;
    std::vector<Entity> entities;
};

// Everything that a house shows on a broker, in the order of its file, the house itself first.
struct HouseModel
{
    std::vector<DeviceModel> devices;

    const DeviceModel* Find(const std::string& device) const;
    static const Entity* Find(const DeviceModel& device, const std::string& entity);

    // Whether both show the same, but for the values: else it is to be told of anew.
    static bool IsSameShape(const HouseModel& one, const HouseModel& other);
    static bool IsSameShape(const DeviceModel& one, const DeviceModel& other);
};

// The house as it is at this moment, its drivers started. `name` is the house's. Energy totals are
// part of it only `withEnergy`: where they outlive the program.
HouseModel MakeHouseModel(const HousePlan& plan, const Session& session, const std::string& name,
                          bool withEnergy);

// One driver of it.
DeviceModel MakeDeviceModel(const HouseFileDriver& driver, const Session& session, bool withEnergy);
} // namespace lighting_host

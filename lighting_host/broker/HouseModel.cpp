#include "lighting_host/broker/HouseModel.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "lighting_host/broker/BrokerNames.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/types/DriverType.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
std::string ButtonId(const ButtonOffer& button)
{
    return fmt::format("{}_{}", button.contact ? "contact" : "button", button.ordinal);
}

void AddButtons(const DriverAdapter& adapter, DeviceModel& device)
{
    for (const ButtonOffer& button : adapter.Buttons())
    {
        Entity entity;
        entity.kind = EntityKind::Button;
        entity.id = ButtonId(button);
        entity.name = button.name.empty() ? fmt::format("Button {}", button.ordinal) : button.name;
        entity.button = button;
        device.entities.push_back(entity);
        if (button.contact)
        {
            entity.kind = EntityKind::Contact;
            entity.id += "_state";
            entity.name += " state";
            device.entities.push_back(entity);
        }
        else if (!button.ledColor.empty())
        {
            entity.kind = EntityKind::Led;
            entity.id += "_led";
            entity.name += " LED";
            device.entities.push_back(entity);
        }
    }
}

void AddEntity(DeviceModel& device, EntityKind kind, const std::string& id, const std::string& name)
{
    Entity entity;
    entity.kind = kind;
    entity.id = id;
    entity.name = name;
    device.entities.push_back(entity);
}

void AddFigure(DeviceModel& device, const FigureOffer& figure)
{
    AddEntity(device, figure.isLink ? EntityKind::Link : EntityKind::Figure, figure.id,
              figure.name);
    device.entities.back().figure = figure;
}

bool HasLamp(const HouseFileDriver& driver)
{
    const DeviceKind* const kind = driver.device ? DeviceKindOf(driver) : nullptr;
    return kind && kind->hasLamp;
}

// The house itself: what is no single driver's.
DeviceModel MakeHouseDevice(const HousePlan& plan, const std::string& name)
{
    DeviceModel house;
    house.id = HOUSE_DEVICE;
    house.name = name;
    for (const HouseFileGroup& group : plan.groups)
    {
        AddEntity(house, EntityKind::Group, fmt::format("group_{}", group.id),
                  group.name.empty() ? fmt::format("Load group {}", group.id) : group.name);
        Entity& entity = house.entities.back();
        entity.number = group.id;
        for (const HouseFileDriver& driver : plan.drivers)
        {
            const bool isMember = std::find(group.members.begin(), group.members.end(),
                                            driver.name) != group.members.end();
            if (!isMember || !HasLamp(driver))
                continue;
            entity.members.push_back(BrokerId(driver.name));
            entity.memberDrivers.push_back(driver.name);
        }
    }
    for (const HouseFileScene& scene : plan.scenes)
    {
        AddEntity(house, EntityKind::Scene, fmt::format("scene_{}", scene.id),
                  scene.name.empty() ? fmt::format("Scene {}", scene.id) : scene.name);
        house.entities.back().number = scene.id;
    }
    return house;
}
} // namespace

const DeviceModel* HouseModel::Find(const std::string& device) const
{
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const DeviceModel& one) { return one.id == device; });
    return found == devices.end() ? nullptr : &*found;
}

const Entity* HouseModel::Find(const DeviceModel& device, const std::string& entity)
{
    const auto found = std::find_if(device.entities.begin(), device.entities.end(),
                                    [&](const Entity& one) { return one.id == entity; });
    return found == device.entities.end() ? nullptr : &*found;
}

bool HouseModel::IsSameShape(const DeviceModel& one, const DeviceModel& other)
{
    return std::equal(one.entities.begin(), one.entities.end(), other.entities.begin(),
                      other.entities.end(),
                      [](const Entity& a, const Entity& b)
                      { return a.kind == b.kind && a.id == b.id && a.name == b.name; });
}

bool HouseModel::IsSameShape(const HouseModel& one, const HouseModel& other)
{
    return std::equal(one.devices.begin(), one.devices.end(), other.devices.begin(),
                      other.devices.end(),
                      [](const DeviceModel& a, const DeviceModel& b) { return IsSameShape(a, b); });
}

DeviceModel MakeDeviceModel(const HouseFileDriver& driver, const Session& session, bool withEnergy)
{
    DeviceModel device;
    device.id = BrokerId(driver.name);
    device.name = driver.name;
    device.driver = driver.name;
    device.type = driver.type;
    device.room = driver.room;
    device.serial = std::to_string(driver.id);
    if (HasLamp(driver))
        AddEntity(device, EntityKind::Light, "light", std::string());
    nx::DriverHost* const host = session.House().Find(driver.name);
    const DriverAdapter* const adapter =
        host && host->Driver() ? session.AdapterOf(*host) : nullptr;
    if (!adapter)
        return device;
    AddButtons(*adapter, device);
    if (adapter->EnergyOfLoad())
    {
        AddEntity(device, EntityKind::Power, "power", "Power");
        if (withEnergy)
            AddEntity(device, EntityKind::Energy, "energy", "Energy");
    }
    for (const SettingOffer& setting : adapter->Settings())
    {
        AddEntity(device, EntityKind::Setting, setting.id, setting.name);
        device.entities.back().setting = setting;
    }
    for (const unsigned scene : adapter->PlayedScenes())
    {
        AddEntity(device, EntityKind::AdvScene, fmt::format("scene_{}", scene),
                  fmt::format("Advanced scene {}", scene));
        device.entities.back().number = scene;
    }
    for (const FigureOffer& figure : adapter->Figures())
        AddFigure(device, figure);
    AddFigure(device, {"repairs", "Repairs", "", "", false, true});
    AddFigure(device, {"retries", "Retries", "", "", false, true});
    AddFigure(device, {"warnings", "Warnings", "", "", false, true});
    return device;
}

HouseModel MakeHouseModel(const HousePlan& plan, const Session& session, const std::string& name,
                          bool withEnergy)
{
    HouseModel model;
    model.devices.push_back(MakeHouseDevice(plan, name));
    for (const HouseFileDriver& driver : plan.drivers)
        model.devices.push_back(MakeDeviceModel(driver, session, withEnergy));
    return model;
}
} // namespace lighting_host

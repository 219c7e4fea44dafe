#include "lighting_host/broker/HouseWatch.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "lighting_host/broker/EntityValues.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/types/HousePlan.h"

#include <algorithm>

namespace lighting_host
{
void HouseWatch::Begin(const HousePlan& plan, const Session& session, const std::string& name,
                       bool withEnergy, std::int64_t nowNs)
{
    m_plan = &plan;
    m_session = &session;
    m_withEnergy = withEnergy;
    const HouseModel before = std::move(m_model);
    m_model = MakeHouseModel(plan, session, name, withEnergy);
    m_looks.assign(m_model.devices.size(), State());
    m_places.clear();
    for (std::size_t place = 0; place < m_looks.size(); ++place)
    {
        DeviceModel& device = m_model.devices[place];
        m_places[device.driver] = place;
        const DeviceModel* const old = IsGone(device) ? before.Find(device.id) : nullptr;
        if (old)
            device.entities = old->entities;
        // Spread over the time, so that not all are looked at together.
        m_looks[place].dueNs = nowNs + REST_NS * static_cast<std::int64_t>(place) /
                                           static_cast<std::int64_t>(m_looks.size());
    }
    for (const auto& device : session.Devices())
        m_looks[PlaceOf(device->Driver().Config().name)].device = device.get();
}

std::vector<std::size_t> HouseWatch::Look(std::int64_t nowNs, bool& isSameShape)
{
    std::vector<std::size_t> seen;
    isSameShape = true;
    for (std::size_t place = 0; place < m_looks.size(); ++place)
    {
        State& state = m_looks[place];
        const int level = LampLevelOf(state.device);
        // The house itself follows its lamps.
        const bool isHouse = place == 0;
        if (!isHouse && !state.isDue && level == state.level && nowNs >= state.untilNs &&
            nowNs < state.dueNs)
            continue;
        state.level = level;
        state.dueNs = nowNs + REST_NS;
        seen.push_back(place);
        DeviceModel& device = m_model.devices[place];
        if (isHouse || IsGone(device))
            continue;
        DeviceModel now = MakeDeviceModel(m_plan->drivers[place - 1], *m_session, m_withEnergy);
        isSameShape = HouseModel::IsSameShape(device, now) && isSameShape;
        device = std::move(now);
    }
    return seen;
}

std::size_t HouseWatch::PlaceOf(const std::string& driver) const
{
    const auto found = m_places.find(driver);
    return found == m_places.end() ? 0 : found->second;
}

int HouseWatch::LevelOf(std::size_t place, const Entity& entity) const
{
    if (entity.kind == EntityKind::Light)
        return LampLevelOf(m_looks[place].device);
    int level = 0;
    for (const std::string& driver : entity.memberDrivers)
        level = std::max(level, LampLevelOf(m_looks[PlaceOf(driver)].device));
    return level;
}

bool HouseWatch::IsGone(const DeviceModel& device) const
{
    const nx::DriverHost* const driver =
        device.driver.empty() ? nullptr : m_session->House().Find(device.driver);
    return driver && !driver->Driver();
}
} // namespace lighting_host

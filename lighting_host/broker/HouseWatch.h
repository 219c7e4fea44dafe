#pragma once

#include "lighting_host/broker/HouseModel.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
// What a house shows, kept up to date at a cost that follows what happens in it: a device is looked
// at again when it has done something, while its lamp moves or a button of it is in use, and once a
// second anyway, since inputs can change it without a word.
//
// Devices are known by their places in the model: the house itself first, then its drivers. Lives
// on the house's thread.
class HouseWatch
{
public:
    static constexpr std::int64_t REST_NS = 1000000000;
    // For so long after a use of a button its device is looked at each time: what the use becomes
    // follows from time alone.
    static constexpr std::int64_t USE_NS = 2 * REST_NS;

    const HouseModel& Model() const { return m_model; }
    std::size_t Count() const { return m_looks.size(); }

    // Looks at all of it from scratch. `session` must outlive the next calls, or Begin be called
    // again. A device whose driver has gone goes on showing what it showed before.
    void Begin(const HousePlan& plan, const Session& session, const std::string& name,
               bool withEnergy, std::int64_t nowNs);

    // Looks again at what may have changed, and returns the places of that; `isSameShape`: whether
    // it still shows the same, but for the values.
    std::vector<std::size_t> Look(std::int64_t nowNs, bool& isSameShape);

    // What is at that place is looked at the next time, or needs no look.
    void SetDue(std::size_t place, bool isDue = true) { m_looks[place].isDue = isDue; }

    // A button of it is in use.
    void SetInUse(std::size_t place, std::int64_t nowNs)
    {
        m_looks[place].untilNs = nowNs + USE_NS;
    }

    // Where a driver's device is; 0, the house itself, for a driver that is none of the house.
    std::size_t PlaceOf(const std::string& driver) const;

    // How bright a light is, in percent; a group is as bright as its brightest member.
    int LevelOf(std::size_t place, const Entity& entity) const;

private:
    struct State
    {
        bool isDue = true;
        std::int64_t untilNs = 0;
        // When it is looked at in any case.
        std::int64_t dueNs = 0;
        int level = 0;
        // Null without a device.
        const device_wire::AttachedDevice* device = nullptr;
    };

    bool IsGone(const DeviceModel& device) const;

    const HousePlan* m_plan = nullptr;
    const Session* m_session = nullptr;
    bool m_withEnergy = false;
    HouseModel m_model;
    std::vector<State> m_looks;
    std::unordered_map<std::string, std::size_t> m_places;
};
} // namespace lighting_host

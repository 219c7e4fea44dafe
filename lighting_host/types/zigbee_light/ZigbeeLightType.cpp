// The row of the type zigbee_light, what the controller tells such a light, and what its frames
// mean.

#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TrafficWatch.h"
#include "lighting_host/types/zigbee_light/ZigbeeLight.h"
#include "simulated_devices/ZigbeeLight.h"

#include <map>
#include <set>

namespace lighting_host
{
namespace
{
using embedded_host::CmdMessage;

// The id of a scene is its ZigBee group, in which it is number 0.
std::vector<CmdMessage> Provision(const HousePlan& plan, const std::string& driver)
{
    std::vector<CmdMessage> commands;
    for (const HouseFileScene& scene : plan.scenes)
    {
        for (const HouseFileLoad& load : scene.loads)
        {
            if (load.driver != driver)
                continue;
            CmdMessage add(names::general::ADD_TO_SCENE);
            add.AddParam(names::general::SCENE_ID, names::type::INT,
                         static_cast<long long>(scene.id));
            add.AddParam(names::parameter::LEVEL, names::type::INT,
                         static_cast<long long>(load.level));
            add.AddParam(names::parameter::TIME, names::type::INT,
                         static_cast<long long>(load.timeMs));
            commands.push_back(add);
        }
    }
    return commands;
}

bool IsWrite(const embedded_host::Effect& effect)
{
    namespace zcl = embedded_host::zcl;
    const auto* const sent = std::get_if<embedded_host::ZclSent>(&effect);
    if (!sent)
        return false;
    switch (sent->message.Kind())
    {
    case zcl::RequestKind::AddGroup:
    case zcl::RequestKind::RemoveGroup:
    case zcl::RequestKind::AddScene:
    case zcl::RequestKind::RemoveScene:
        return true;
    default:
        return false;
    }
}

// A scene as light and plan can agree on it: percent and whole seconds.
using Scene = std::pair<unsigned, unsigned>;

Scene SceneOf(const simulated::LightScene& stored)
{
    constexpr unsigned FULL_LIGHT = 254;
    // On purpose not that of a LED.
    constexpr unsigned FULL_PERCENT = 100;
    const unsigned octet = stored.level.value_or(0);
    return {(octet * FULL_PERCENT + FULL_LIGHT / 2) / FULL_LIGHT, stored.seconds};
}

// A message each for a group to join and for a scene to store; one message can clear a group of all
// its scenes that nobody wants.
unsigned Distance(const simulated::SimulatedDevice& device, const HousePlan& plan,
                  const std::string& driver)
{
    constexpr unsigned HALF_A_SECOND = 500;
    constexpr unsigned SECOND = 1000;
    const auto& tables = static_cast<const simulated::ZigbeeLight&>(device).Tables();
    std::map<unsigned, Scene> wanted;
    for (const HouseFileScene& scene : plan.scenes)
    {
        for (const HouseFileLoad& load : scene.loads)
        {
            if (load.driver == driver)
                wanted[scene.id] = {load.level,
                                    static_cast<unsigned>((load.timeMs + HALF_A_SECOND) / SECOND)};
        }
    }
    unsigned messages = 0;
    for (const auto& [id, scene] : wanted)
    {
        const auto group = static_cast<std::uint16_t>(id);
        const auto* const stored = tables.Find(group, 0);
        messages += tables.InGroup(group) ? 0 : 1;
        messages += stored && SceneOf(*stored) == scene ? 0 : 1;
    }
    std::set<unsigned> toClear;
    for (const simulated::LightScene& stored : tables.scenes)
    {
        if (stored.number != 0 || wanted.count(stored.group) == 0)
            toClear.insert(stored.group);
    }
    return messages + static_cast<unsigned>(toClear.size());
}

class ZigbeeWatch : public TrafficWatch
{
public:
    Meaning OnSent(const embedded_host::Effect& effect, bool asked) override
    {
        return IsWrite(effect) && !asked ? Meaning::Repair : Meaning::Message;
    }
};

std::unique_ptr<TrafficWatch> Watch()
{
    return std::make_unique<ZigbeeWatch>();
}
} // namespace

DriverType ZigbeeLightType()
{
    DriverType type{};
    type.name = "zigbee_light";
    type.words = "ZigBee light";
    type.make = &MakeZigbeeLight;
    type.tables = ZigbeeLightTables();
    type.picture = &MakeZigbeeLightPicture;
    type.schema = &zigbee_light::Settings;
    type.device.name = "zigbee_light";
    type.device.make = &MakeZigbeeLightDevice;
    type.device.overTheAir = true;
    type.device.hasLamp = true;
    type.device.watch = &Watch;
    type.device.distance = &Distance;
    type.device.isWrite = &IsWrite;
    type.provision = &Provision;
    type.keepsScenes = true;
    return type;
}
} // namespace lighting_host

// The row of the type zigbee_light, what the controller tells such a light, and what its frames
// mean.

#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_common/Names.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TrafficWatch.h"
#include "lighting_host/types/zigbee_light/ZigbeeLight.h"

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
            add.AddParam(names::general::SCENE_ID, "INT", static_cast<long long>(scene.id));
            add.AddParam("LEVEL", "INT", static_cast<long long>(load.level));
            add.AddParam("TIME", "INT", static_cast<long long>(load.timeMs));
            commands.push_back(add);
        }
    }
    return commands;
}

class ZigbeeWatch : public TrafficWatch
{
public:
    Meaning OnSent(const embedded_host::Effect& effect, bool asked) override
    {
        namespace zcl = embedded_host::zcl;
        const auto* const sent = std::get_if<embedded_host::ZclSent>(&effect);
        if (!sent || asked)
            return Meaning::Message;
        switch (sent->message.Kind())
        {
        case zcl::RequestKind::AddGroup:
        case zcl::RequestKind::RemoveGroup:
        case zcl::RequestKind::AddScene:
        case zcl::RequestKind::RemoveScene:
            return Meaning::Repair;
        default:
            return Meaning::Message;
        }
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
    type.provision = &Provision;
    type.keepsScenes = true;
    return type;
}
} // namespace lighting_host

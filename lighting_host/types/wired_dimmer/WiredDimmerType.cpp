// The row of the type wired_dimmer, what the controller tells such a dimmer, and what its messages
// mean.

#include "drivers/wired_dimmer/WiredDimmerSettings.h"
#include "lighting_common/Names.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TrafficWatch.h"
#include "lighting_host/types/wired_dimmer/WiredDimmer.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using embedded_host::CmdMessage;

// The elements of a scene for one dimmer, as a controller writes them.
std::string StepsOf(const HouseFileScene& scene, const std::string& driver)
{
    std::string steps;
    for (const HouseFileLoad& load : scene.loads)
    {
        if (load.driver == driver)
            steps += fmt::format("<element><delay>{}</delay><level>{}</level><rate>{}</rate>"
                                 "</element>",
                                 load.delayMs, load.level, load.timeMs);
    }
    return steps;
}

// Groups and scenes are not kept by the driver.
std::vector<CmdMessage> Provision(const HousePlan& plan, const std::string& driver)
{
    std::vector<CmdMessage> commands;
    for (const HouseFileGroup& group : plan.groups)
    {
        if (std::find(group.members.begin(), group.members.end(), driver) == group.members.end())
            continue;
        CmdMessage join(names::general::JOIN_GROUP);
        join.AddParam(names::general::GROUP_ID, "INT", static_cast<long long>(group.id));
        join.AddParam(names::general::KEEP_SYNC, "BOOL", std::string("false"));
        commands.push_back(join);
    }
    for (const HouseFileScene& scene : plan.scenes)
    {
        const std::string steps = StepsOf(scene, driver);
        if (steps.empty())
            continue;
        CmdMessage push(names::general::PUSH_SCENE);
        push.AddParam(names::general::SCENE_ID, "INT", static_cast<long long>(scene.id));
        push.AddParam(names::general::ELEMENTS, "STRING", steps);
        commands.push_back(push);
    }
    commands.emplace_back(names::general::ALL_SCENES_PUSHED);
    return commands;
}

// An element of a scene that was sent before, or that goes, is a repair; groups are always written
// anew.
class DimmerWatch : public TrafficWatch
{
public:
    Meaning OnSent(const embedded_host::Effect& effect, bool asked) override
    {
        const auto* const sent = std::get_if<embedded_host::MibSent>(&effect);
        if (!sent)
            return Meaning::Message;
        const NxMIBPacket& packet = sent->packet;
        bool again = packet.GetMib() == names::mib::ALS_SRM;
        if (packet.GetMib() == names::mib::ALS_SAD && !packet.GetParams().empty())
            again = !m_elements.insert(packet.GetParams()[0]).second;
        return again && !asked ? Meaning::Repair : Meaning::Message;
    }

private:
    // The ids of elements that the dimmer was sent.
    std::set<std::string> m_elements;
};

std::unique_ptr<TrafficWatch> Watch()
{
    return std::make_unique<DimmerWatch>();
}
} // namespace

DriverType WiredDimmerType()
{
    DriverType type{};
    type.name = "wired_dimmer";
    type.words = "wired dimmer";
    type.make = &MakeWiredDimmer;
    type.tables = WiredDimmerTables();
    type.picture = &MakeWiredDimmerPicture;
    type.schema = &wired_dimmer::Settings;
    type.device.name = "wired_dimmer";
    type.device.make = &MakeWiredDimmerDevice;
    type.device.hasLamp = true;
    type.device.watch = &Watch;
    type.provision = &Provision;
    type.keepsScenes = true;
    type.recallCommand = "ACTIVATE_SCENE";
    return type;
}
} // namespace lighting_host

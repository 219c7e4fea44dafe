// Any ZCL frames, commands, facts and expiries for the driver of a ZigBee light.

#include "embedded_host/Messages.h"
#include "fuzz/DriverScript.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"

namespace
{
using namespace fuzzing;

// A scene is kept and, once the light is asked what it holds, leaves for it.
void Probe(DriverRun& run)
{
    const std::size_t sent = run.Count<embedded_host::ZclSent>();
    embedded_host::CmdMessage add(names::general::ADD_TO_SCENE);
    add.AddParam(names::general::SCENE_ID, "INT", 424242LL);
    add.AddParam("LEVEL", "INT", 50LL);
    add.AddParam("TIME", "INT", 1000LL);
    run.Host().Command(add, CmdDispatcher::CONTROLLER);
    Require(run.Host().Persist().find(">424242<") != std::string::npos);
    run.Host().Online(true);
    Require(run.Count<embedded_host::ZclSent>() > sent);
}

const DriverShape& Shape()
{
    using namespace names;
    static const DriverShape shape = {
        "zigbee_light",
        "<config><endpoint>1</endpoint></config>",
        {},
        {},
        {general::ADD_TO_SCENE, general::MODIFY_SCENE, general::DELETE_FROM_SCENE,
         general::SYNCHRONIZE, general::RESET_ENERGY_USED},
        {general::SCENE_ID, "LEVEL", "TIME", "STALL_DELAY"},
        {"load_on", "power_watts", "energy_wh", "fault", "energy_ready", "auto_update_energy"},
        {"1", "300"},
        &Probe,
    };
    return shape;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    RunScript(Shape(), data, size);
    return 0;
}

// Any traps, replies, commands and expiries for the driver of a wired dimmer.

#include "embedded_host/Messages.h"
#include "fuzz/DriverScript.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"

namespace
{
using namespace fuzzing;

// A scene is kept, and a device that comes online is asked for its scenes.
void Probe(DriverRun& run)
{
    embedded_host::CmdMessage add(names::general::ADD_TO_SCENE);
    add.AddParam(names::general::SCENE_ID, "INT", 424242LL);
    run.Host().Command(add, CmdDispatcher::CONTROLLER);
    Require(run.Host().Persist().find(">424242<") != std::string::npos);
    const std::size_t sent = run.Count<embedded_host::MibSent>();
    run.Host().Online(true);
    Require(run.Count<embedded_host::MibSent>() > sent);
}

const DriverShape& Shape()
{
    using namespace names;
    static const DriverShape shape = {
        "wired_dimmer",
        "<config><sync_timer_ms>5000</sync_timer_ms></config>",
        {mib::ALS_SGA, mib::ALS_SAC},
        {mib::ALS_SGA, mib::ALS_SGT, mib::ALS_SAD, mib::ALS_GAD, mib::ALS_GRM, mib::ALS_GRA},
        {general::PUSH_SCENE,
         general::REMOVE_SCENE,
         "ACTIVATE_SCENE",
         general::RAMP_SCENE_UP,
         general::RAMP_SCENE_DOWN,
         general::STOP_SCENE_RAMP,
         general::ALL_SCENES_PUSHED,
         general::CLEAR_ALL_SCENES,
         general::JOIN_GROUP,
         general::LEAVE_GROUP,
         general::SET_GROUP_SYNC,
         general::GROUP_JOIN_SCENE,
         general::GROUP_LEAVE_SCENE,
         general::CLEAR_ALL_GROUPS,
         general::GROUP_RAMP_TO_LEVEL,
         general::GROUP_SET_LEVEL,
         general::GROUP_START_RAMP,
         general::GROUP_STOP_RAMP,
         general::ADD_TO_SCENE,
         general::MODIFY_SCENE,
         general::DELETE_FROM_SCENE,
         general::RESET_ENERGY_USED,
         "RAMP_TO_LEVEL",
         "SET_LEVEL",
         "BUTTON_ACTION"},
        {general::SCENE_ID, general::GROUP_ID, general::ELEMENTS, general::FLASH,
         general::FROM_GROUP, general::IGNORE_RAMP, general::RATE, general::RAMP_UP,
         general::KEEP_SYNC, "LEVEL", "TIME"},
        {"load_on", "power_watts", "energy_wh", "fault", "energy_ready", "auto_update_energy",
         "scene_mode", "force_scene_push"},
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

// Any traps, replies, commands and expiries for the driver of a puck module with two contacts and
// two snap-on buttons.

#include "embedded_host/Messages.h"
#include "fuzz/DriverScript.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/NxMIBPacket.h"

namespace
{
using namespace fuzzing;

// Both contacts and both buttons tell their status, and a release is an event in any state.
void Probe(DriverRun& run)
{
    const std::size_t shown = run.Count<embedded_host::UiData>();
    run.Host().Command(embedded_host::CmdMessage(names::general::GET_PROPERTIES),
                       CmdDispatcher::CONTROLLER);
    Require(run.Count<embedded_host::UiData>() == shown + 4);

    const std::size_t fired = run.Count<embedded_host::EventFired>();
    NxMIBPacket release(NxMIB::Trap, names::mib::DMX_HE);
    release.AddHexParam<int>(7);
    run.Host().Trap(release);
    Require(run.Count<embedded_host::EventFired>() == fired + 1);
}

const DriverShape& Shape()
{
    using namespace names;
    static const DriverShape shape = {
        "puck",
        "<config><NUM_BUTTONS>2</NUM_BUTTONS></config>",
        {mib::DMX_BP, mib::DMX_HB, mib::DMX_HC, mib::DMX_HE, mib::DMX_SC, mib::DMX_CC},
        {mib::DMX_BMC},
        {general::GET_PROPERTIES, puck::PRESS_BTN, puck::RELEASE_BTN, puck::CLICK_BTN,
         puck::PRESS_CNT, puck::RELEASE_CNT, puck::CLICK_CNT, puck::CONTACT_STATUS,
         puck::TURN_LED_ON, puck::TURN_LED_OFF, condition::ON, condition::OFF},
        {puck::BUTTON_NUMBER, puck::CONTACT_NUMBER, puck::AUX_BEHAVIOR, puck::AUX_LEDS},
        {},
        {"1", "2", "300", "301"},
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

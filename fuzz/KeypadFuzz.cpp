// Any bus messages, commands, actions of buttons and expiries for the driver of a keypad on the
// RS-485 bus.

#include "embedded_host/Messages.h"
#include "fuzz/DriverScript.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"

namespace
{
using namespace fuzzing;

// A new button is made and kept, and a use of it is told.
void Probe(DriverRun& run)
{
    constexpr std::uint16_t BUTTON_USED = 0x9030;
    constexpr std::uint8_t BUTTON = 99;
    embedded_host::CmdMessage make(names::general::NEW_KEYPAD_BUTTON);
    make.AddParam(names::general::BUTTON_ID, "INT", static_cast<long long>(BUTTON));
    make.AddParam("NAME", "STRING", std::string("Still here"));
    make.AddParam(names::general::SLOTS, "INT", 1LL);
    run.Host().Command(make, CmdDispatcher::CONTROLLER);
    Require(run.Host().Persist().find("Still here") != std::string::npos);

    const std::size_t calls = run.Count<embedded_host::OwnerCall>();
    run.BusMessage(BUTTON_USED, {BUTTON, 1});
    run.BusMessage(BUTTON_USED, {BUTTON, 0});
    Require(run.Count<embedded_host::OwnerCall>() > calls);
}

const DriverShape& Shape()
{
    using namespace names;
    static const DriverShape shape = {
        "gen3_keypad",
        "<config/>",
        {},
        {},
        {general::NEW_KEYPAD_BUTTON, general::KEYPAD_BUTTON_INFO, general::DELETE_KEYPAD_BUTTON},
        {general::BUTTON_ID, "NAME", general::SLOTS, general::BUTTON_BEHAVIOR,
         general::LED_BEHAVIOR, "ON_COLOR", "OFF_COLOR", general::CURRENT_COLOR, "BOUND", "STATE",
         general::MATCH_LED_STATE, general::LED_BLINK_BEHAVIOR},
        {"uses_hold_timer", "led_tracking", "gateway_online", "device_online", "min_retry_ms",
         "max_retry_ms"},
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

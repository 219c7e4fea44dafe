// Any reports of the meter, facts, commands and expiries for the driver of a switch that meters its
// load.

#include "embedded_host/Messages.h"
#include "fuzz/DriverScript.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"

namespace
{
using namespace fuzzing;

// A reset tells the user interface all six figures.
void Probe(DriverRun& run)
{
    const std::size_t told = run.Count<embedded_host::OwnerCall>();
    run.Host().Command(embedded_host::CmdMessage(names::general::RESET_ENERGY_USED),
                       CmdDispatcher::CONTROLLER);
    Require(run.Count<embedded_host::OwnerCall>() == told + 6);
    run.Fact("energy_wh", "7");
    Require(run.Host().Persist().find("<ENERGY_USED>7</ENERGY_USED>") != std::string::npos);
}

const DriverShape& Shape()
{
    using namespace names;
    static const DriverShape shape = {
        "energy_switch",
        "<config/>",
        {mib::DMX_PWR},
        {mib::DMX_PWR},
        {general::RESET_ENERGY_USED},
        {},
        {"load_on", "power_watts", "energy_wh", "fault", "energy_ready"},
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

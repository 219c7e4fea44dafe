#include "drivers/energy_switch/EnergySwitchSettings.h"
#include "drivers/gen3_keypad/Gen3KeypadSettings.h"
#include "drivers/puck/PuckSettings.h"
#include "drivers/wired_dimmer/WiredDimmerSettings.h"
#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "lighting_host/types/Adapters.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/DriverSchemas.h"

namespace lighting_host
{
namespace
{
using Maker = NxBaseDriver* (*)(IInstanceManager&, LoadFacts&);

struct Type
{
    const char* name;
    Maker make;
    const drivers::Schema& (*schema)();
};

// The types of the program's own.
const std::vector<Type>& Types()
{
    static const std::vector<Type> types = {
        {"puck", &MakePuck, &puck::Settings},
        {"gen3_keypad", &MakeGen3Keypad, &gen3_keypad::Settings},
        {"zigbee_light", &MakeZigbeeLight, &zigbee_light::Settings},
        {"wired_dimmer", &MakeWiredDimmer, &wired_dimmer::Settings},
        {"energy_switch", &MakeEnergySwitch, &energy_switch::Settings},
    };
    return types;
}
} // namespace

NxBaseDriver* MakeDriver(const std::string& type, IInstanceManager& instances, LoadFacts& facts)
{
    for (const Type& known : Types())
    {
        if (type == known.name)
            return known.make(instances, facts);
    }
    return nullptr;
}

const drivers::Schema* SchemaOf(const std::string& type)
{
    for (const Type& known : Types())
    {
        if (type == known.name)
            return &known.schema();
    }
    return nullptr;
}

const std::vector<std::string>& DriverTypes()
{
    static const std::vector<std::string> names = []
    {
        std::vector<std::string> all;
        for (const Type& known : Types())
            all.emplace_back(known.name);
        return all;
    }();
    return names;
}
} // namespace lighting_host

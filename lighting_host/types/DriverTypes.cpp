#include "lighting_host/types/Adapters.h"
#include "lighting_host/types/DriverAdapter.h"

namespace lighting_host
{
namespace
{
using Maker = NxBaseDriver* (*)(IInstanceManager&, LoadFacts&);

struct Type
{
    const char* name;
    Maker make;
};

// The types of the program's own.
const std::vector<Type>& Types()
{
    static const std::vector<Type> types = {
        {"puck", &MakePuck},
        {"gen3_keypad", &MakeGen3Keypad},
        {"zigbee_light", &MakeZigbeeLight},
        {"wired_dimmer", &MakeWiredDimmer},
        {"energy_switch", &MakeEnergySwitch},
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

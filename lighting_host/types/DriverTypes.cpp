#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"

namespace lighting_host
{
// Each is made in the folder of its type.
DriverType PuckType();
DriverType Gen3KeypadType();
DriverType ZigbeeLightType();
DriverType WiredDimmerType();
DriverType EnergySwitchType();

const std::vector<DriverType>& DriverTypes()
{
    static const std::vector<DriverType> types = {
        PuckType(), Gen3KeypadType(), ZigbeeLightType(), WiredDimmerType(), EnergySwitchType(),
    };
    return types;
}

std::vector<std::string> DriverTypeNames()
{
    std::vector<std::string> names;
    for (const DriverType& type : DriverTypes())
        names.emplace_back(type.name);
    return names;
}

const DriverType* FindDriverType(const std::string& name)
{
    for (const DriverType& type : DriverTypes())
    {
        if (name == type.name)
            return &type;
    }
    return nullptr;
}

const DeviceKind* DeviceKindOf(const HouseFileDriver& driver)
{
    if (driver.device && IsRemoteLight(*driver.device))
        return &RemoteLightKind();
    const std::string kind = driver.device ? DeviceElement(*driver.device).Kind() : std::string();
    for (const DriverType& type : DriverTypes())
    {
        if (kind.empty() ? driver.type == type.name : kind == type.device.name)
            return &type.device;
    }
    return nullptr;
}
} // namespace lighting_host

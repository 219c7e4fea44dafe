#include "lighting_host/AttachedDevice.h"

namespace lighting_host
{
std::unique_ptr<simulated::SimulatedDevice>
MakeDevice(const std::string&, simulated::DeviceEnvironment&, const nx::XmlNode&)
{
    return nullptr;
}
} // namespace lighting_host

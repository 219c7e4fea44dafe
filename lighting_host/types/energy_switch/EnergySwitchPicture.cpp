// What a page shows of a metering plug beside its energy: what hangs on it.

#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/energy_switch/EnergySwitch.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <memory>
#include <string>

namespace lighting_host
{
namespace
{
// Empty when nothing is known.
std::string LoadIn(const HouseFileDriver& driver)
{
    if (!driver.device)
        return std::string();
    std::string load = DeviceElement(*driver.device).Word("load", std::string());
    std::replace(load.begin(), load.end(), '_', ' ');
    if (load.empty() && driver.device->GetChildCount() > 0)
        return "steps of the house file";
    return load;
}

class EnergySwitchPicture : public TypePicture
{
public:
    explicit EnergySwitchPicture(const HouseFileDriver& driver) : m_load(LoadIn(driver)) {}

    void Describe(const Sides&, Json& members) const override
    {
        // All that the table at the end of a run says stands elsewhere on the page.
        members["facts"] = Json::array();
        if (!m_load.empty())
            members["load"] = m_load;
    }

private:
    const std::string m_load;
};
} // namespace

std::unique_ptr<TypePicture> MakeEnergySwitchPicture(const HouseFileDriver& driver)
{
    return std::make_unique<EnergySwitchPicture>(driver);
}
} // namespace lighting_host

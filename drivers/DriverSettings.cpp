#include "drivers/DriverSettings.h"

#include "nxshared/XmlNode.h"

#include <cstdlib>

namespace drivers
{
std::int64_t ReadSetting(const nx::XmlNode* config, const Setting& setting)
{
    if (!config || !config->HasChild(setting.name))
        return setting.usual;
    // The host's own readers give what a long holds, which is less on machines with 32 bits.
    return std::strtoll(config->GetChildData(setting.name).c_str(), nullptr, 10);
}

std::vector<StateElement> EnergyState()
{
    constexpr std::int64_t MOST_HUNDREDTHS = 99;
    return {
        {"", "ENERGY_DATA", StateElement::Group},
        {"ENERGY_DATA", "MINUTES_ON", StateElement::Number, 0},
        {"ENERGY_DATA", "MINUTES_ON_TODAY", StateElement::Number, 0},
        {"ENERGY_DATA", "MINUTES_OFF", StateElement::Number, 0},
        {"ENERGY_DATA", "ENERGY_USED", StateElement::Number},
        {"ENERGY_DATA", "ENERGY_USED_TODAY", StateElement::Number},
        {"ENERGY_DATA", "ENERGY_FRAC", StateElement::Number, 0, MOST_HUNDREDTHS},
        {"ENERGY_DATA", "TODAY_FRAC", StateElement::Number, 0, MOST_HUNDREDTHS},
    };
}

std::vector<StateElement> SceneMapState()
{
    constexpr std::int64_t FULL_LEVEL = 100;
    return {
        {"", "SceneMap", StateElement::Group},
        {"SceneMap", "SceneMapEntry", StateElement::Group},
        {"SceneMapEntry", "SceneID", StateElement::Number, 0, UINT32_MAX},
        {"SceneMapEntry", "Level", StateElement::Number, 0, FULL_LEVEL},
        {"SceneMapEntry", "Time", StateElement::Number, 0},
    };
}

std::vector<StateElement> Joined(std::vector<StateElement> rows,
                                 const std::vector<StateElement>& more)
{
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}
} // namespace drivers

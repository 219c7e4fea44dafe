#pragma once

#include "lighting_common/EnergyInfoCollector.h"
#include "lighting_common/SceneManager.h"
#include "lighting_host/DriverAdapter.h"
#include "lighting_host/Json.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

// What adapters of drivers with a load share: its facts and the answers about its energy and its
// scenes.
namespace lighting_host
{
// A watt-hour fact: an integer adds whole watt-hours, any other number goes to `addFraction`.
template <class AddWhole, class AddFraction>
DriverAdapter::Action PrepareEnergy(const Json& value, AddWhole addWhole, AddFraction addFraction)
{
    if (!value.is_number_float())
    {
        const auto whole = static_cast<int>(ToInteger(value, "energy_wh", INT32_MIN, INT32_MAX));
        return [addWhole, whole]
        {
            addWhole(whole);
        };
    }
    const double number = value.get<double>();
    if (!(std::fabs(number) <= std::numeric_limits<float>::max()))
        throw InputError("\"energy_wh\" is too large");
    const auto fraction = static_cast<float>(number);
    return [addFraction, fraction]
    {
        addFraction(fraction);
    };
}

// A fact of a driver with an EnergyInfoCollector (Energy), SetLoadOn and SetEnergyReady. An empty
// action for any other name.
template <class Driver>
DriverAdapter::Action PrepareLoadFact(Driver& driver, LoadFacts& facts, const std::string& name,
                                      const Json& value)
{
    EnergyInfoCollector& energy = driver.Energy();
    if (name == "energy_wh")
        return PrepareEnergy(
            value, [&energy](int whole) { energy.increaseEnergyUsed(whole); },
            [&energy](float fraction) { energy.increaseEnergyUsed(fraction); });
    if (name == "power_watts" || name == "fault")
    {
        const auto number = static_cast<int>(ToInteger(value, name, INT32_MIN, INT32_MAX));
        if (name == "fault")
            return [&energy, number]
            {
                energy.SetFault(number);
            };
        return [&energy, number]
        {
            energy.newCurrentPower(number);
        };
    }
    if (name != "load_on" && name != "energy_ready" && name != "auto_update_energy")
        return nullptr;
    const bool on = ToBoolean(value, name);
    if (name == "auto_update_energy")
        return [&energy, on]
        {
            energy.SetAutoUpdateEnergy(on);
        };
    if (name == "load_on")
        return [&driver, &facts, on]
        {
            driver.SetLoadOn(facts.loadOn = on);
        };
    return [&driver, &facts, on]
    {
        driver.SetEnergyReady(facts.energyReady = on);
    };
}

// The answer to the query "energy".
inline Json EnergyAnswer(const EnergyInfoCollector& energy)
{
    return {{"minutes_on", energy.GetMinutesOn()},
            {"minutes_off", energy.GetMinutesOff()},
            {"minutes_on_today", energy.GetMinutesOnToday()},
            {"current_power", energy.GetCurrentPower()},
            {"energy_used", energy.GetEnergyUsed()},
            {"energy_used_today", energy.GetEnergyUsedToday()},
            {"energy_fraction", energy.GetEnergyFraction()},
            {"today_fraction", energy.GetTodayFraction()}};
}

// The answer to the query "scene_map".
inline Json SceneMapAnswer(const SceneManager& scenes)
{
    Json list = Json::array();
    for (const auto& [id, detail] : scenes.getAllScenes())
        list.push_back({{"id", id}, {"level", detail.level}, {"time_ms", detail.time}});
    return list;
}
} // namespace lighting_host

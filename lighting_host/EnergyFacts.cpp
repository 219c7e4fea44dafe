#include "lighting_host/EnergyFacts.h"

#include "lighting_common/EnergyInfoCollector.h"

#include <cfloat>
#include <cmath>

namespace lighting_host
{
namespace
{
DriverAdapter::Action PrepareEnergyUsed(EnergyInfoCollector& energy, const Json& value)
{
    if (!value.is_number_float())
    {
        const int whole = static_cast<int>(ToInteger(value, "energy_wh", INT32_MIN, INT32_MAX));
        return [&energy, whole]
        {
            energy.increaseEnergyUsed(whole);
        };
    }
    const double wattHours = value.get<double>();
    if (!(std::fabs(wattHours) <= static_cast<double>(FLT_MAX)))
        throw InputError("\"energy_wh\" is too large");
    return [&energy, wattHours]
    {
        energy.increaseEnergyUsed(static_cast<float>(wattHours));
    };
}
} // namespace

DriverAdapter::Action PrepareEnergyFact(EnergyInfoCollector& energy, const std::string& name,
                                        const Json& value)
{
    if (name == "energy_wh")
        return PrepareEnergyUsed(energy, value);
    if (name == "power_watts")
    {
        const int watts = static_cast<int>(ToInteger(value, name, INT32_MIN, INT32_MAX));
        return [&energy, watts]
        {
            energy.newCurrentPower(watts);
        };
    }
    if (name == "fault")
    {
        const int fault = static_cast<int>(ToInteger(value, name, INT32_MIN, INT32_MAX));
        return [&energy, fault]
        {
            energy.SetFault(fault);
        };
    }
    if (name == "auto_update_energy")
    {
        const bool on = ToBoolean(value, name);
        return [&energy, on]
        {
            energy.SetAutoUpdateEnergy(on);
        };
    }
    return nullptr;
}

Json EnergyAnswer(const EnergyInfoCollector& energy)
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
} // namespace lighting_host

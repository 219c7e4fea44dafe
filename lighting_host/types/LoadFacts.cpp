#include "lighting_host/types/LoadFacts.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace lighting_host
{
namespace
{
LoadFact ReadEnergy(const std::string& name, const Json& value)
{
    LoadFact fact{LoadFact::EnergyWhole};
    if (!value.is_number_float())
    {
        fact.number = static_cast<int>(ToInteger(value, name, INT32_MIN, INT32_MAX));
        return fact;
    }
    const double number = value.get<double>();
    if (!(std::fabs(number) <= std::numeric_limits<float>::max()))
        throw InputError("\"energy_wh\" is too large");
    fact.kind = LoadFact::EnergyFraction;
    fact.fraction = static_cast<float>(number);
    return fact;
}

template <class Energy>
Json WholeFigures(const Energy& energy)
{
    return {{"minutes_on", energy.GetMinutesOn()},
            {"minutes_off", energy.GetMinutesOff()},
            {"minutes_on_today", energy.GetMinutesOnToday()},
            {"current_power", energy.GetCurrentPower()},
            {"energy_used", energy.GetEnergyUsed()},
            {"energy_used_today", energy.GetEnergyUsedToday()}};
}

template <class Energy>
EnergyFigures Figures(const Energy& energy)
{
    EnergyFigures figures;
    figures.minutesOn = energy.GetMinutesOn();
    figures.minutesOff = energy.GetMinutesOff();
    figures.powerWatts = energy.GetCurrentPower();
    figures.wattHours = energy.GetEnergyUsed();
    figures.wattHoursToday = energy.GetEnergyUsedToday();
    return figures;
}
} // namespace

std::optional<LoadFact> ReadLoadFact(const std::string& name, const Json& value)
{
    static const std::pair<const char*, LoadFact::Kind> FLAGS[] = {
        {"load_on", LoadFact::LoadOn},
        {"energy_ready", LoadFact::EnergyReady},
        {"auto_update_energy", LoadFact::AutoUpdateEnergy},
    };
    static const std::pair<const char*, LoadFact::Kind> NUMBERS[] = {
        {"power_watts", LoadFact::PowerWatts},
        {"fault", LoadFact::Fault},
    };
    for (const auto& [known, kind] : FLAGS)
    {
        if (name == known)
            return LoadFact{kind, ToBoolean(value, name)};
    }
    for (const auto& [known, kind] : NUMBERS)
    {
        if (name == known)
            return LoadFact{kind, false,
                            static_cast<int>(ToInteger(value, name, INT32_MIN, INT32_MAX))};
    }
    if (name == "energy_wh")
        return ReadEnergy(name, value);
    return std::nullopt;
}

void TakeEnergyFact(EnergyInfoCollector& energy, const LoadFact& fact)
{
    switch (fact.kind)
    {
    case LoadFact::AutoUpdateEnergy:
        return energy.SetAutoUpdateEnergy(fact.flag);
    case LoadFact::PowerWatts:
        return energy.newCurrentPower(fact.number);
    case LoadFact::Fault:
        return energy.SetFault(fact.number);
    case LoadFact::EnergyWhole:
        return energy.increaseEnergyUsed(fact.number);
    case LoadFact::EnergyFraction:
        return energy.increaseEnergyUsed(fact.fraction);
    case LoadFact::LoadOn:
    case LoadFact::EnergyReady:
        return;
    }
}

void TakeEnergyFact(NxBaseEnergyDevice& energy, const LoadFact& fact)
{
    switch (fact.kind)
    {
    case LoadFact::PowerWatts:
        return energy.newPowerReading(fact.number);
    case LoadFact::Fault:
        return energy.SetFault(fact.number);
    case LoadFact::EnergyWhole:
        return energy.increaseEnergyUsed(fact.number);
    case LoadFact::AutoUpdateEnergy:
    case LoadFact::EnergyFraction:
    case LoadFact::LoadOn:
    case LoadFact::EnergyReady:
        return;
    }
}

Json EnergyAnswer(const EnergyInfoCollector& energy)
{
    Json answer = WholeFigures(energy);
    answer["energy_fraction"] = energy.GetEnergyFraction();
    answer["today_fraction"] = energy.GetTodayFraction();
    return answer;
}

Json EnergyAnswer(const NxBaseEnergyDevice& energy)
{
    return WholeFigures(energy);
}

EnergyFigures FiguresOf(const EnergyInfoCollector& energy)
{
    EnergyFigures figures = Figures(energy);
    figures.hundredths = energy.GetEnergyFraction();
    return figures;
}

EnergyFigures FiguresOf(const NxBaseEnergyDevice& energy)
{
    return Figures(energy);
}

Json SceneMapAnswer(const SceneManager& scenes)
{
    Json list = Json::array();
    for (const auto& [id, detail] : scenes.getAllScenes())
        list.push_back({{"id", id}, {"level", detail.level}, {"time_ms", detail.time}});
    return list;
}
} // namespace lighting_host

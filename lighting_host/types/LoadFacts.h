#pragma once

#include "lighting_common/EnergyInfoCollector.h"
#include "lighting_common/NxBaseEnergyDevice.h"
#include "lighting_common/SceneManager.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/TypeTables.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

// What adapters of drivers with a load share: its facts, and the answers about its energy and its
// scenes. Both forms of the energy statistics fit: a driver that owns an EnergyInfoCollector, and
// one that derives from NxBaseEnergyDevice.
//
// An adapter of such a driver, which has Energy(), SetLoadOn and SetEnergyReady, puts LOAD_FACTS
// and ENERGY_QUERY into its tables, and hands LoadFacts to the driver in its constructor.
namespace lighting_host
{
// The rows that all of them share.
inline constexpr TypeWord LOAD_FACTS[] = {
    {"load_on", "", "boolean: the load is on"},
    {"power_watts", "", "whole number: what it draws"},
    {"energy_wh", "",
     "energy used since the last time. A JSON integer is counted in whole watt-hours; a number "
     "with "
     "a fraction or an exponent with its fraction, and is an error on `energy_switch`, which "
     "counts "
     "whole ones."},
    {"fault", "", "whole number: the load's fault, 0 for none"},
    {"energy_ready", "", "boolean, true at start: the driver knows enough to count"},
    {"auto_update_energy", "", "boolean: energy is computed from the power"},
};
inline constexpr TypeWord ENERGY_QUERY = {
    "energy", "",
    "`minutes_on`, `minutes_off`, `minutes_on_today`, `current_power`, `energy_used`, "
    "`energy_used_today`; `energy_fraction` and `today_fraction` where the type has them"};
inline constexpr TypeWord SCENE_MAP_QUERY = {"scene_map", "", "a list of `id`, `level`, `time_ms`"};

// LOAD_FACTS as rows of an adapter's table, each prepared by that operation.
template <class FactRow, class Prepare>
std::vector<FactRow> LoadFactRows(Prepare prepare)
{
    std::vector<FactRow> rows;
    for (const TypeWord& word : LOAD_FACTS)
        rows.push_back({word, prepare});
    return rows;
}

// One fact of a load, as "set" gives it.
struct LoadFact
{
    enum Kind
    {
        LoadOn,
        EnergyReady,
        AutoUpdateEnergy,
        PowerWatts,
        Fault,
        // Watt-hours as a whole number, and as any other number.
        EnergyWhole,
        EnergyFraction,
    };
    Kind kind;
    bool flag = false;
    int number = 0;
    float fraction = 0;
};

// The fact of that name; nothing when a load has no such fact. Throws InputError for a value of
// another kind.
std::optional<LoadFact> ReadLoadFact(const std::string& name, const Json& value);

// Hands a fact other than LoadOn and EnergyReady to the energy statistics.
void TakeEnergyFact(EnergyInfoCollector& energy, const LoadFact& fact);

// The same for the older form, which makes no energy from power: it is told and does nothing. It
// counts whole watt-hours only: EnergyFraction must not be given.
void TakeEnergyFact(NxBaseEnergyDevice& energy, const LoadFact& fact);

// Whether the statistics know parts of a watt-hour.
constexpr bool KnowsFractions(const EnergyInfoCollector&)
{
    return true;
}
constexpr bool KnowsFractions(const NxBaseEnergyDevice&)
{
    return false;
}

// What is to be done for a fact of a load. An empty action for any other name.
template <class Driver>
DriverAdapter::Action PrepareLoadFact(Driver& driver, LoadFacts& facts, const std::string& name,
                                      const Json& value)
{
    const std::optional<LoadFact> fact = ReadLoadFact(name, value);
    if (!fact)
        return nullptr;
    if (fact->kind == LoadFact::EnergyFraction && !KnowsFractions(driver.Energy()))
        throw InputError("\"energy_wh\" is not an integer");
    return [&driver, &facts, fact = *fact]
    {
        if (fact.kind == LoadFact::LoadOn)
            driver.SetLoadOn(facts.loadOn = fact.flag);
        else if (fact.kind == LoadFact::EnergyReady)
            driver.SetEnergyReady(facts.energyReady = fact.flag);
        else
            TakeEnergyFact(driver.Energy(), fact);
    };
}

// The answer to the query "energy".
Json EnergyAnswer(const EnergyInfoCollector& energy);
Json EnergyAnswer(const NxBaseEnergyDevice& energy);

// What the table at the end of a run says of a load's energy.
EnergyFigures FiguresOf(const EnergyInfoCollector& energy);
EnergyFigures FiguresOf(const NxBaseEnergyDevice& energy);

// The answer to the query "scene_map".
Json SceneMapAnswer(const SceneManager& scenes);
} // namespace lighting_host

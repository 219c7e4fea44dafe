#include "simulated_devices/ZigbeeLightFaults.h"

#include <algorithm>

namespace simulated
{
namespace
{
using Base = ZigbeeLightFault;
using Unit = FaultAttribute::Unit;

constexpr FaultAttribute GROUPS = {"groups", Unit::Count, 0, ZigbeeLight::LARGEST_TABLE, 2};
constexpr FaultAttribute SCENES = {"scenes", Unit::Count, 0, ZigbeeLight::LARGEST_TABLE, 2};
constexpr FaultAttribute STEP = {"step", Unit::Count, 1, UINT8_MAX, 10};

std::unique_ptr<Base> MakeSmallTables(const FaultValues& values)
{
    return std::make_unique<SmallTables>(values.at(GROUPS.name), values.at(SCENES.name));
}

std::unique_ptr<Base> MakeRoundsLevels(const FaultValues& values)
{
    return std::make_unique<RoundsLevels>(static_cast<std::uint8_t>(values.at(STEP.name)));
}
} // namespace

const FaultTable<ZigbeeLightFault>& ZigbeeLightFaultTable()
{
    static const FaultTable<Base> table = {
        {{"loses", {Every()}, "loses every nth answer"}, &MakeEvery<Base, Loses<Base>>},
        {{"late", {Every(), By()}, "gives every nth answer that much later"},
         &MakeEveryBy<Base, Delays<Base>>},
        {{"repeats", {Every(), By()}, "gives every nth answer again, that much later"},
         &MakeEveryBy<Base, Repeats<Base>>},
        {{"forgets", {}, "has empty tables after a power failure"}, &Make<Base, Forgets<Base>>},
        {{"unsorted", {}, "reports its groups from last to first"},
         &Make<Base, ReportsGroupsUnsorted>},
        {{"small_tables", {GROUPS, SCENES}, "takes no more entries than that"}, &MakeSmallTables},
        {{"rounds_levels", {STEP}, "stores levels in steps, rounded down"}, &MakeRoundsLevels},
        {{"drops_on_off", {}, "stores scenes without their On/Off part"},
         &Make<Base, DropsOnOffSets>},
        {{"keeps_old_sets", {}, "keeps those parts of an old scene that a new one does not bring"},
         &Make<Base, KeepsOldSets>},
    };
    return table;
}

void ReportsGroupsUnsorted::OnGroupReport(std::vector<std::uint16_t>& groups)
{
    std::reverse(groups.begin(), groups.end());
}

void HoldsForeignScenes::OnPowerOn(LightTables& tables)
{
    for (const LightScene& scene : m_scenes)
    {
        if (scene.group != 0 && !tables.InGroup(scene.group))
            tables.groups.push_back(scene.group);
        if (!tables.Find(scene.group, scene.number))
            tables.scenes.push_back(scene);
    }
}

void SmallTables::OnTableSizes(std::size_t& groups, std::size_t& scenes) const
{
    groups = std::min(groups, m_groups);
    scenes = std::min(scenes, m_scenes);
}

void RoundsLevels::OnStore(LightScene& scene, const LightScene*)
{
    if (scene.level)
        scene.level = static_cast<std::uint8_t>(*scene.level / m_step * m_step);
}

void DropsOnOffSets::OnStore(LightScene& scene, const LightScene*)
{
    scene.onOff.reset();
}

void KeepsOldSets::OnStore(LightScene& scene, const LightScene* old)
{
    if (!old)
        return;
    if (!scene.onOff)
        scene.onOff = old->onOff;
    if (!scene.level)
        scene.level = old->level;
}
} // namespace simulated

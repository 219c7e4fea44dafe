#include "simulated_devices/ZigbeeLightFaults.h"

#include <algorithm>

namespace simulated
{
namespace
{
// Counts one more; true at every nth.
bool IsTurn(unsigned& count, unsigned every)
{
    ++count;
    return every != 0 && count % every == 0;
}
} // namespace

bool LosesAnswers::OnAnswer(const wire::ZclFrame&, std::uint64_t&, Extra&)
{
    return !IsTurn(m_answers, m_every);
}

bool AnswersLate::OnAnswer(const wire::ZclFrame&, std::uint64_t& delayMs, Extra&)
{
    if (IsTurn(m_answers, m_every))
        delayMs += m_lateMs;
    return true;
}

bool RepeatsAnswers::OnAnswer(const wire::ZclFrame& answer, std::uint64_t& delayMs, Extra& also)
{
    if (IsTurn(m_answers, m_every))
        also.emplace_back(answer, delayMs + m_laterMs);
    return true;
}

void ForgetsWithoutPower::OnPowerOn(LightTables& tables)
{
    tables = LightTables();
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

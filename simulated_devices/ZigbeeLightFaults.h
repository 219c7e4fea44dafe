#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/ZigbeeLight.h"
#include "wire/ZclFrame.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace simulated
{
// One way in which a light misbehaves.
class ZigbeeLightFault : public KeepingFault<wire::ZclFrame, LightTables>
{
public:
    // The groups that the light is about to report.
    virtual void OnGroupReport(std::vector<std::uint16_t>& groups) { (void)groups; }

    // A scene is about to be stored, over `old` if that is not null.
    virtual void OnStore(LightScene& scene, const LightScene* old)
    {
        (void)scene;
        (void)old;
    }

    // How many entries the tables take.
    virtual void OnTableSizes(std::size_t& groups, std::size_t& scenes) const
    {
        (void)groups;
        (void)scenes;
    }
};

// The kinds of them; all but HoldsForeignScenes, which is no matter of numbers.
const FaultTable<ZigbeeLightFault>& ZigbeeLightFaultTable();

// Reports its groups from last to first joined.
class ReportsGroupsUnsorted : public ZigbeeLightFault
{
public:
    void OnGroupReport(std::vector<std::uint16_t>& groups) override;
};

// Comes up with groups and scenes of somebody else in its tables.
class HoldsForeignScenes : public ZigbeeLightFault
{
public:
    // The scenes' groups are joined too; what does not fit the tables is still put there.
    explicit HoldsForeignScenes(std::vector<LightScene> scenes) : m_scenes(std::move(scenes)) {}
    void OnPowerOn(LightTables& tables) override;

private:
    const std::vector<LightScene> m_scenes;
};

// Takes no more entries than that, whatever its tables' size. What is there stays.
class SmallTables : public ZigbeeLightFault
{
public:
    SmallTables(std::size_t groups, std::size_t scenes) : m_groups(groups), m_scenes(scenes) {}
    void OnTableSizes(std::size_t& groups, std::size_t& scenes) const override;

private:
    const std::size_t m_groups;
    const std::size_t m_scenes;
};

// Stores levels in steps only, rounded down.
class RoundsLevels : public ZigbeeLightFault
{
public:
    // `step` of 0 counts as 1.
    explicit RoundsLevels(std::uint8_t step) : m_step(step == 0 ? std::uint8_t{1} : step) {}
    void OnStore(LightScene& scene, const LightScene* old) override;

private:
    const std::uint8_t m_step;
};

// Stores scenes without their On/Off set.
class DropsOnOffSets : public ZigbeeLightFault
{
public:
    void OnStore(LightScene& scene, const LightScene* old) override;
};

// Keeps the sets of the old scene that the new one does not bring.
class KeepsOldSets : public ZigbeeLightFault
{
public:
    void OnStore(LightScene& scene, const LightScene* old) override;
};
} // namespace simulated

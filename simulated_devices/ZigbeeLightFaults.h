#pragma once

#include "simulated_devices/ZigbeeLight.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace simulated
{
// One way in which a light misbehaves. Each operation has its say at one place of the light and
// does nothing unless overridden. Owned by the light that it was added to; must not call the light.
class ZigbeeLightFault
{
public:
    virtual ~ZigbeeLightFault() = default;

    // The light gets power; its tables as they survived the failure.
    virtual void OnPowerOn(LightTables&) {}

    // An answer is about to leave, `delayMs` from now. False loses it. What is appended to `also`
    // leaves too, as a frame and its delay.
    using Extra = std::vector<std::pair<wire::ZclFrame, std::uint64_t>>;
    virtual bool OnAnswer(const wire::ZclFrame& answer, std::uint64_t& delayMs, Extra& also)
    {
        (void)answer;
        (void)delayMs;
        (void)also;
        return true;
    }

    // The groups that the light is about to report.
    virtual void OnGroupReport(std::vector<std::uint16_t>&) {}

    // A scene is about to be stored, over `old` if that is not null.
    virtual void OnStore(LightScene&, const LightScene* old) { (void)old; }

    // How many entries the tables take.
    virtual void OnTableSizes(std::size_t& groups, std::size_t& scenes) const
    {
        (void)groups;
        (void)scenes;
    }
};

// Every nth answer never leaves; 1 is a light that is deaf or dumb, 0 loses none.
class LosesAnswers : public ZigbeeLightFault
{
public:
    explicit LosesAnswers(unsigned every) : m_every(every) {}
    bool OnAnswer(const wire::ZclFrame& answer, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    unsigned m_answers = 0;
};

// Every nth answer leaves that much later, so that it may arrive after others, out of turn.
class AnswersLate : public ZigbeeLightFault
{
public:
    AnswersLate(unsigned every, std::uint64_t lateMs) : m_every(every), m_lateMs(lateMs) {}
    bool OnAnswer(const wire::ZclFrame& answer, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    const std::uint64_t m_lateMs;
    unsigned m_answers = 0;
};

// Every nth answer leaves a second time, that much later.
class RepeatsAnswers : public ZigbeeLightFault
{
public:
    RepeatsAnswers(unsigned every, std::uint64_t laterMs) : m_every(every), m_laterMs(laterMs) {}
    bool OnAnswer(const wire::ZclFrame& answer, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    const std::uint64_t m_laterMs;
    unsigned m_answers = 0;
};

// Comes back from a power failure with empty tables, dark.
class ForgetsWithoutPower : public ZigbeeLightFault
{
public:
    void OnPowerOn(LightTables& tables) override;
};

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

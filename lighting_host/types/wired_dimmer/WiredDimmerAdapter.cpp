#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/types/LoadFacts.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/wired_dimmer/WiredDimmer.h"
#include "nxshared/ICmdMessage.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using embedded_host::CallArgument;

Json GroupList(const LoadGroupManager& groups)
{
    Json list = Json::array();
    for (const auto& group : groups.getGroups())
        list.push_back({{"id", group.second.groupId},
                        {"keep_sync", group.second.keepSync},
                        {"scenes", SceneMapAnswer(group.second.scenes)}});
    return list;
}

Json ElementFields(const gen3_lights::scenes::AdvSceneElement& element)
{
    return {{"id", element.id},
            {"delay", element.delay},
            {"levelEnabled", element.levelEnabled},
            {"levelRate", element.levelRate},
            {"text", element.text},
            {"level", element.level},
            {"flags", element.flags},
            {"pushedByController", element.pushedByController},
            {"onHardware", element.onHardware},
            {"fromGroup", element.fromGroup},
            {"colorRate", element.colorRate},
            {"colorEnabled", element.colorEnabled},
            {"color", {{"x", element.color.GetX()}, {"y", element.color.GetY()}}},
            {"colorPresetID", element.colorPresetID},
            {"colorPresetAux", element.colorPresetAux}};
}

unsigned Id(Fields& fields, const char* name)
{
    return static_cast<unsigned>(fields.Integer(name, 0, UINT32_MAX));
}

// The wired dimmer's driver as the protocol sees it.
class WiredDimmerAdapter : public WiredDimmerDriver, public TabledAdapter<WiredDimmerAdapter>
{
public:
    WiredDimmerAdapter(IInstanceManager& instances, LoadFacts& facts)
        : WiredDimmerDriver(instances), m_facts(facts)
    {
        SetLoadOn(m_facts.loadOn);
        SetEnergyReady(m_facts.energyReady);
    }

    static std::vector<InputRow> Inputs()
    {
        return {{{"do", "", "`mark_all_synced` or `push_all_elements` of the advanced scenes"},
                 &WiredDimmerAdapter::PrepareDo}};
    }

    static std::vector<FactRow> Facts()
    {
        auto rows = LoadFactRows<FactRow>(&WiredDimmerAdapter::PrepareLoad);
        rows.push_back({{"scene_mode", "", "boolean"}, &WiredDimmerAdapter::PrepareSceneMode});
        rows.push_back(
            {{"force_scene_push", "", "boolean"}, &WiredDimmerAdapter::PrepareForcePush});
        return rows;
    }

    static std::vector<QueryRow> Queries()
    {
        using Self = WiredDimmerAdapter;
        return {
            {SCENE_MAP_QUERY, &Self::QuerySceneMap},
            {{"group_crc", "", "unsigned number"}, &Self::QueryGroupCrc},
            {{"scene_crc", "", "unsigned number"}, &Self::QuerySceneCrc},
            {{"have_sync_group", "", "boolean"}, &Self::QueryHaveSyncGroup},
            {{"group_in_scene", "`scene`", "boolean"}, &Self::QueryGroupInScene},
            {{"in_scene", "`id`", "boolean"}, &Self::QueryInScene},
            {{"is_flash_scene", "`id`", "boolean"}, &Self::QueryIsFlashScene},
            {{"scene_ids", "", "a list"}, &Self::QuerySceneIds},
            {{"element", "`id`", "the element's fields by their names"}, &Self::QueryElement},
            {{"groups", "", "a list of `id`, `keep_sync`, `scenes` (as in `scene_map`)"},
             &Self::QueryGroupsHeld},
            {ENERGY_QUERY, &Self::QueryEnergyFigures},
        };
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        return {{"level", fmt::format("{}", GetLevel())},
                {"load groups", fmt::format("{}", Groups().getGroups().size())},
                {"advanced scenes", fmt::format("{}", AdvScenes().GetAllSceneIDs().size())},
                {"energy", fmt::format("{} Wh", Energy().GetEnergyUsed())}};
    }

    std::optional<EnergyFigures> EnergyOfLoad() const override { return FiguresOf(Energy()); }

    // Not those whose id does not fit into an element's.
    std::vector<unsigned> PlayedScenes() const override
    {
        std::vector<unsigned> scenes;
        for (const unsigned scene : AdvScenes().GetAllSceneIDs())
        {
            if (scene <= gen3_lights::scenes::AdvSceneElement::SCENE_MASK)
                scenes.push_back(scene);
        }
        std::sort(scenes.begin(), scenes.end());
        return scenes;
    }

    // --- ILoadGroupOwner: told, then done -------------------------------------------------------

    void GroupSyncStarted() override
    {
        Report("GroupSyncStarted");
        WiredDimmerDriver::GroupSyncStarted();
    }
    void GroupSyncStopped() override
    {
        Report("GroupSyncStopped");
        WiredDimmerDriver::GroupSyncStopped();
    }
    void ForwardCommandToGroup(unsigned group, const ICmdMessage& command) override
    {
        Report("ForwardCommandToGroup", group, command.ToXml());
        WiredDimmerDriver::ForwardCommandToGroup(group, command);
    }
    void GroupSetLevel(unsigned group, int level, int time) override
    {
        Report("GroupSetLevel", group, level, time);
        WiredDimmerDriver::GroupSetLevel(group, level, time);
    }
    void GroupStartRamp(unsigned group, unsigned rate, bool up) override
    {
        Report("GroupStartRamp", group, rate, up);
        WiredDimmerDriver::GroupStartRamp(group, rate, up);
    }
    void GroupStopRamp(unsigned group) override
    {
        Report("GroupStopRamp", group);
        WiredDimmerDriver::GroupStopRamp(group);
    }
    void GroupSceneAdded(unsigned scene, int level, int time) override
    {
        Report("GroupSceneAdded", scene, level, time);
        WiredDimmerDriver::GroupSceneAdded(scene, level, time);
    }
    void GroupSceneModified(unsigned scene, int level, int time) override
    {
        Report("GroupSceneModified", scene, level, time);
        WiredDimmerDriver::GroupSceneModified(scene, level, time);
    }
    void GroupSceneRemoved(unsigned scene) override
    {
        Report("GroupSceneRemoved", scene);
        WiredDimmerDriver::GroupSceneRemoved(scene);
    }

    // --- IAdvSceneOwner -------------------------------------------------------------------------

    void ExecuteScene(unsigned sceneId) override
    {
        Report("ExecuteScene", sceneId);
        WiredDimmerDriver::ExecuteScene(sceneId);
    }
    void SetSceneLevel(unsigned char level) override
    {
        Report("SetSceneLevel", static_cast<unsigned>(level));
        WiredDimmerDriver::SetSceneLevel(level);
    }
    void SceneRampStopped() override
    {
        Report("SceneRampStopped");
        WiredDimmerDriver::SceneRampStopped();
    }
    void ScenePushConflict(unsigned sceneId, const std::string& reason) override
    {
        Report("ScenePushConflict", sceneId, reason);
        WiredDimmerDriver::ScenePushConflict(sceneId, reason);
    }
    bool ForceScenePush() override
    {
        Report("ForceScenePush");
        return WiredDimmerDriver::ForceScenePush();
    }
    bool SceneModeEnabled() override
    {
        Report("SceneModeEnabled");
        return WiredDimmerDriver::SceneModeEnabled();
    }
    unsigned StartSyncTimer() override
    {
        Report("StartSyncTimer");
        return WiredDimmerDriver::StartSyncTimer();
    }
    void KillSyncTimer(unsigned timerId) override
    {
        Report("KillSyncTimer", timerId);
        WiredDimmerDriver::KillSyncTimer(timerId);
    }

    // --- IEnergyOwner ---------------------------------------------------------------------------

    void EnergyValueToUI(const std::string& name, int value) override
    {
        Report("EnergyValueToUI", name, value);
        WiredDimmerDriver::EnergyValueToUI(name, value);
    }

private:
    static CallArgument Argument(const std::string& text) { return text; }
    static CallArgument Argument(bool flag) { return flag; }
    static CallArgument Argument(int number) { return std::int64_t{number}; }
    static CallArgument Argument(unsigned number) { return std::int64_t{number}; }

    template <class... Arguments>
    void Report(const char* operation, const Arguments&... arguments) const
    {
        Host().ReportCall(operation, {Argument(arguments)...});
    }

    Action PrepareDo(Fields& fields)
    {
        const std::string what = fields.Text("do");
        if (what == "mark_all_synced")
            return [this]
            {
                AdvScenes().MarkAllSynced();
            };
        if (what == "push_all_elements")
            return [this]
            {
                AdvScenes().PushAllElements();
            };
        throw InputError(fmt::format("a wired dimmer cannot do \"{}\"", what));
    }

    Action PrepareSceneMode(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            SetSceneMode(on);
        };
    }

    Action PrepareForcePush(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            SetForceScenePush(on);
        };
    }

    Action PrepareLoad(const std::string& name, const Json& value)
    {
        return PrepareLoadFact(*this, m_facts, name, value);
    }

    Json QuerySceneMap(Fields&) const { return SceneMapAnswer(Scenes()); }
    Json QueryGroupCrc(Fields&) const { return Groups().getCRC(); }
    Json QuerySceneCrc(Fields&) const { return AdvScenes().getCRC(); }
    Json QueryHaveSyncGroup(Fields&) const { return Groups().haveSyncGroup(); }
    Json QueryGroupInScene(Fields& fields) const { return Groups().inScene(Id(fields, "scene")); }
    Json QueryInScene(Fields& fields) const { return AdvScenes().InScene(Id(fields, "id")); }
    Json QueryIsFlashScene(Fields& fields) const
    {
        return AdvScenes().IsFlashScene(Id(fields, "id"));
    }
    Json QuerySceneIds(Fields&) const { return AdvScenes().GetAllSceneIDs(); }
    Json QueryElement(Fields& fields) const
    {
        return ElementFields(AdvScenes().getElement(Id(fields, "id")));
    }
    Json QueryGroupsHeld(Fields&) const { return GroupList(Groups()); }
    Json QueryEnergyFigures(Fields&) const { return EnergyAnswer(Energy()); }

    LoadFacts& m_facts;
};
} // namespace

TypeTables WiredDimmerTables()
{
    return WiredDimmerAdapter::Tables();
}

MadeDriver MakeWiredDimmer(IInstanceManager& instances, LoadFacts& facts)
{
    return MadeDriver(std::make_unique<WiredDimmerAdapter>(instances, facts));
}
} // namespace lighting_host

#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/ZclCodec.h"
#include "lighting_host/types/LoadFacts.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/zigbee_light/ZigbeeLight.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
namespace zcl = embedded_host::zcl;

int ReadInt(Fields& fields, const char* name)
{
    return static_cast<int>(fields.Integer(name, INT32_MIN, INT32_MAX));
}

unsigned ReadUnsigned(Fields& fields, const char* name)
{
    return static_cast<unsigned>(fields.Integer(name, 0, UINT32_MAX));
}

// A list of whole numbers, 0 to `max`.
template <class Vector>
Vector ReadList(Fields& fields, const char* name, long long max)
{
    const Json& list = fields.Get(name);
    if (!list.is_array())
        throw InputError(fmt::format("\"{}\" is no JSON array", name));
    Vector values;
    for (const Json& value : list)
        values.push_back(static_cast<typename Vector::value_type>(ToInteger(value, name, 0, max)));
    return values;
}

// The wanted scenes of a synchronisation; of an id given twice the first wins.
SceneDetailsLightMap ReadScenes(const Json& list)
{
    if (!list.is_array())
        throw InputError("\"scenes\" is no JSON array");
    SceneDetailsLightMap scenes;
    for (const Json& item : list)
    {
        Fields scene(item, "a scene");
        SceneDetailsLight details;
        const unsigned id = ReadUnsigned(scene, "id");
        details.level = ReadInt(scene, "level");
        details.time = ReadInt(scene, "time_ms");
        scene.Finish();
        scenes.emplace(id, details);
    }
    return scenes;
}

// A reply of the light in the protocol's words: one of five.
zcl::Reply ReadReply(Fields& fields)
{
    zcl::Reply reply;
    if (fields.Has("group_membership"))
    {
        reply.kind = zcl::Reply::Kind::GroupMembership;
        reply.groups = ReadList<nx::GroupIdVec>(fields, "group_membership", UINT16_MAX);
        return reply;
    }
    if (fields.Has("scene_count"))
    {
        reply.kind = zcl::Reply::Kind::SceneCount;
        reply.count = ReadInt(fields, "scene_count");
        return reply;
    }
    if (fields.Has("scene_membership"))
    {
        Fields membership(fields.Get("scene_membership"), "\"scene_membership\"");
        reply.kind = zcl::Reply::Kind::SceneMembership;
        reply.group = static_cast<std::uint16_t>(membership.Integer("group", 0, UINT16_MAX));
        reply.scenes = ReadList<SceneVec>(membership, "scenes", UINT32_MAX);
        membership.Finish();
        return reply;
    }
    if (fields.Has("view_scene"))
    {
        Fields view(fields.Get("view_scene"), "\"view_scene\"");
        reply.kind = zcl::Reply::Kind::ViewScene;
        reply.scene = ReadUnsigned(view, "scene");
        reply.level = ReadInt(view, "level");
        reply.timeMs = ReadInt(view, "time_ms");
        view.Finish();
        return reply;
    }
    if (!fields.Has("add_scene_failure"))
        throw InputError("\"zcl_reply\" names no reply that is known");
    Fields failure(fields.Get("add_scene_failure"), "\"add_scene_failure\"");
    reply.kind = zcl::Reply::Kind::AddSceneFailure;
    reply.scene = ReadUnsigned(failure, "scene");
    reply.status = static_cast<std::uint8_t>(failure.Integer("status", 0, UINT8_MAX));
    failure.Finish();
    return reply;
}

// A frame of the light; refused as the host refuses it.
zcl::Reply ReadFrame(Fields& fields)
{
    const auto cluster = static_cast<std::uint16_t>(fields.Integer("cluster", 0, UINT16_MAX));
    const std::string bytes = HexToBytes(fields.Text("hex"), "hex");
    zcl::Reply reply;
    const char* const error = zcl::DecodeReply(
        cluster, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), reply);
    if (error)
        throw InputError(error);
    return reply;
}

// The driver of a ZigBee light as the protocol sees it.
class ZigbeeLightAdapter : public ZigbeeLightDriver, public TabledAdapter<ZigbeeLightAdapter>
{
public:
    ZigbeeLightAdapter(IInstanceManager& instances, LoadFacts& facts)
        : ZigbeeLightDriver(instances), m_facts(facts)
    {
        SetLoadOn(facts.loadOn);
        SetEnergyReady(facts.energyReady);
    }

    void SynchronizationDone() override
    {
        Host().ReportCall("SynchronizationDone", {});
        ZigbeeLightDriver::SynchronizationDone();
    }

    void AddSceneFailed(unsigned scene, unsigned char status, unsigned char endpoint) override
    {
        Host().ReportCall("AddSceneFailed",
                          {std::int64_t{scene}, std::int64_t{status}, std::int64_t{endpoint}});
        ZigbeeLightDriver::AddSceneFailed(scene, status, endpoint);
    }

    void EnergyValueToUI(const std::string& name, int value) override
    {
        Host().ReportCall("EnergyValueToUI", {name, std::int64_t{value}});
        ZigbeeLightDriver::EnergyValueToUI(name, value);
    }

    static std::vector<InputRow> Inputs()
    {
        return {
            {{"synchronize", "`stall_delay_s`, `scenes`", "brings the light to hold these scenes"},
             &ZigbeeLightAdapter::PrepareSynchronize},
            {{"abort_synchronization", "", "gives the synchronisation up"},
             &ZigbeeLightAdapter::PrepareAbort},
            {{"zcl_reply", "", "a reply of the light, already decoded"},
             &ZigbeeLightAdapter::PrepareDecoded},
            {{"zcl_frame", "`cluster`, `hex`", "a frame of the light, which the host decodes"},
             &ZigbeeLightAdapter::PrepareFrame},
        };
    }

    static std::vector<FactRow> Facts()
    {
        return LoadFactRows<FactRow>(&ZigbeeLightAdapter::PrepareLoad);
    }

    static std::vector<QueryRow> Queries()
    {
        return {{SCENE_MAP_QUERY, &ZigbeeLightAdapter::QuerySceneMap},
                {ENERGY_QUERY, &ZigbeeLightAdapter::QueryEnergy}};
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        return {{"scenes", std::to_string(Scenes().NumScenes())},
                {"minutes on", std::to_string(Energy().GetMinutesOn())},
                {"energy", fmt::format("{} Wh", Energy().GetEnergyUsed())}};
    }

    std::optional<EnergyFigures> EnergyOfLoad() const override { return FiguresOf(Energy()); }

private:
    Action PrepareAbort(Fields& fields)
    {
        if (!fields.Boolean("abort_synchronization"))
            throw InputError("\"abort_synchronization\" can only be true");
        return [this]
        {
            AbortSynchronization();
        };
    }

    Action PrepareDecoded(Fields& fields)
    {
        Fields reply(fields.Get("zcl_reply"), "\"zcl_reply\"");
        Action action = PrepareReply(ReadReply(reply));
        reply.Finish();
        return action;
    }

    Action PrepareFrame(Fields& fields)
    {
        Fields frame(fields.Get("zcl_frame"), "\"zcl_frame\"");
        Action action = PrepareReply(ReadFrame(frame));
        frame.Finish();
        return action;
    }

    Action PrepareLoad(const std::string& name, const Json& value)
    {
        return PrepareLoadFact(*this, m_facts, name, value);
    }

    Json QuerySceneMap(Fields&) const { return SceneMapAnswer(Scenes()); }
    Json QueryEnergy(Fields&) const { return EnergyAnswer(Energy()); }

    Action PrepareSynchronize(Fields& fields)
    {
        Fields request(fields.Get("synchronize"), "\"synchronize\"");
        const auto stallDelay =
            static_cast<unsigned>(request.IntegerOr("stall_delay_s", 0, UINT32_MAX, 0));
        Action action = [this, stallDelay]
        {
            SynchronizeOwnScenes(stallDelay);
        };
        if (request.Has("scenes"))
            action = [this, stallDelay, scenes = ReadScenes(request.Get("scenes"))]
            {
                Synchronize(scenes, stallDelay);
            };
        request.Finish();
        return action;
    }

    Action PrepareReply(zcl::Reply reply)
    {
        return [this, reply = std::move(reply)]
        {
            if (IZclListener* const listener = GetZclListener())
                zcl::Deliver(reply, *listener);
        };
    }

    LoadFacts& m_facts;
};
} // namespace

TypeTables ZigbeeLightTables()
{
    return ZigbeeLightAdapter::Tables();
}

MadeDriver MakeZigbeeLight(IInstanceManager& instances, LoadFacts& facts)
{
    return MadeDriver(std::make_unique<ZigbeeLightAdapter>(instances, facts));
}
} // namespace lighting_host

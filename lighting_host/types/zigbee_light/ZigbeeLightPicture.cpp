// What a page shows of a ZigBee light: its tables beside the driver's scenes, and the repair under
// way.

#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "embedded_host/ZclCodec.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/LoadFacts.h"
#include "lighting_host/types/SyncFrames.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "lighting_host/types/zigbee_light/ZigbeeLight.h"
#include "simulated_devices/ZigbeeLight.h"
#include "wire/ZclFrame.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lighting_host
{
namespace
{
using namespace embedded_host;

constexpr std::int64_t MS_A_SECOND = 1000;
constexpr std::int64_t MS_A_TENTH = 100;
// A synchronisation is given up after so many of its pauses.
constexpr std::int64_t PAUSES_OF_WATCHDOG = 16;

Json Holds(const simulated::ZigbeeLight& light)
{
    Json scenes = Json::array();
    for (const simulated::LightScene& scene : light.Tables().scenes)
    {
        // Off is dark, whatever level is stored.
        const bool off = scene.onOff && *scene.onOff == 0;
        scenes.push_back({{"group", scene.group},
                          {"number", scene.number},
                          {"level", off           ? Json(0)
                                    : scene.level ? Json(*scene.level)
                                                  : Json(nullptr)},
                          {"time_ms", scene.seconds * MS_A_SECOND + scene.tenths * MS_A_TENTH}});
    }
    return {{"groups", light.Tables().groups},
            {"scenes", std::move(scenes)},
            {"group_capacity", light.GetSettings().groupTableSize},
            {"scene_capacity", light.GetSettings().sceneTableSize}};
}

// What a real lamp has told of itself; null for what it has not.
Json Answered(const RemoteLight& lamp)
{
    const AnsweredTables& tables = lamp.Answered();
    Json held = {{"groups", nullptr}, {"scenes", nullptr}, {"answered_ms", nullptr}};
    if (!tables.Groups())
        return held;
    held["groups"] = *tables.Groups();
    held["answered_ms"] = lamp.AnsweredAt().count();
    if (!tables.GetScenes())
        return held;
    held["scenes"] = Json::array();
    for (const auto& [place, content] : *tables.GetScenes())
    {
        const bool hasLevel = content && content->level;
        held["scenes"].push_back(
            {{"group", place.first},
             {"number", place.second},
             {"level", hasLevel ? Json(*content->level) : Json(nullptr)},
             {"time_ms", content ? Json(content->seconds * MS_A_SECOND) : Json(nullptr)}});
    }
    return held;
}

// Whether a frame of the light answers a question of the walk, so that the walk goes on.
bool IsAnswer(const wire::ZclFrame& frame)
{
    zcl::Reply reply;
    return zcl::DecodeReply(frame.cluster, frame.bytes.data(), frame.bytes.size(), reply) ==
               nullptr &&
           reply.kind != zcl::Reply::Kind::AddSceneFailure;
}

bool IsQuestion(zcl::RequestKind kind)
{
    return kind == zcl::RequestKind::GetGroupMembership ||
           kind == zcl::RequestKind::GetSceneCount ||
           kind == zcl::RequestKind::GetSceneMembership || kind == zcl::RequestKind::ViewScene;
}

class ZigbeeLightPicture : public TypePicture
{
public:
    explicit ZigbeeLightPicture(const HouseFileDriver& driver)
        : m_lampWatts(LampWatts(driver)), m_isReal(driver.device && IsRemoteLight(*driver.device))
    {
    }

    void OnOutput(const Output& output, std::uint64_t seq) override
    {
        const auto* const call = std::get_if<OwnerCall>(&output.effect);
        if (call && call->operation == std::string("SynchronizationDone"))
            m_sync.End(output.timeMs);
        if (const auto* const sent = std::get_if<ZclSent>(&output.effect))
            OnSent(*sent, output.timeMs, seq);
    }

    void OnZcl(std::int64_t nowMs, const wire::ZclFrame& frame) override
    {
        if (!m_sync.IsRunning())
            return;
        m_sync.AddZcl(nowMs, "in", 0, frame.cluster, frame.bytes.data(), frame.bytes.size());
        if (IsAnswer(frame))
            m_answeredMs = nowMs;
    }

    void Describe(const Sides& sides, Json& members) const override
    {
        const auto& driver = static_cast<const ZigbeeLightDriver&>(sides.driver);
        // All that the table at the end of a run says stands elsewhere on the page.
        members["facts"] = Json::array();
        members["lamp_watts"] = m_lampWatts;
        members["scene_map"] = SceneMapAnswer(driver.Scenes());
        if (sides.device && m_isReal)
            DescribeReal(static_cast<const RemoteLight&>(*sides.device), members);
        else if (sides.device)
            members["holds"] = Holds(static_cast<const simulated::ZigbeeLight&>(*sides.device));
        SyncFrames::Course course;
        course.pauseMs = driver.LastStallDelay() * MS_A_SECOND;
        if (course.pauseMs > 0)
        {
            course.watchdogMs = m_sync.SinceMs() + PAUSES_OF_WATCHDOG * course.pauseMs;
            if (m_answeredMs)
                course.nextMs = *m_answeredMs + course.pauseMs;
            if (m_sync.EndedMs() && *m_sync.EndedMs() >= *course.watchdogMs)
                course.how = "given up";
        }
        members["sync"] = m_sync.Describe(course);
    }

private:
    static void DescribeReal(const RemoteLight& lamp, Json& members)
    {
        const LampPlace& place = lamp.Place();
        members["facts"] = Json::array(
            {Json::array({"real lamp", place.ieee}), Json::array({"behind", place.base})});
        members["holds"] = Answered(lamp);
    }

    void OnSent(const ZclSent& sent, std::int64_t nowMs, std::uint64_t seq)
    {
        // Each walk begins with this question.
        if (sent.message.Kind() == zcl::RequestKind::GetGroupMembership)
            m_sync.Begin(nowMs);
        if (IsQuestion(sent.message.Kind()))
            m_answeredMs.reset();
        if (m_sync.IsRunning())
            m_sync.AddZcl(nowMs, "out", seq, sent.message.Cluster(), sent.frame, sent.length);
    }

    const unsigned m_lampWatts;
    const bool m_isReal;
    SyncFrames m_sync;
    // When the last question was answered; nothing while one is open.
    std::optional<std::int64_t> m_answeredMs;
};
} // namespace

std::unique_ptr<TypePicture> MakeZigbeeLightPicture(const HouseFileDriver& driver)
{
    return std::make_unique<ZigbeeLightPicture>(driver);
}
} // namespace lighting_host

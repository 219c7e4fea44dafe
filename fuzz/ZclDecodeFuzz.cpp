// Any octets as a ZCL frame from a light: the host may refuse them, in words, and must not do harm.
// The same octets go to the simulated light as a request, since it reads what others write too, and
// what it answers must be understood. At last they are numbers of a scene: what the host writes of
// it, the light takes, and tells again.

#include "embedded_host/ZclCodec.h"
#include "fuzz/Fuzzing.h"
#include "simulated_devices/ZigbeeLight.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using fuzzing::Require;

namespace
{
namespace zcl = embedded_host::zcl;

// A world that delivers nothing and lets callbacks run at once. What the light sends, the host must
// understand.
class ImpatientWorld : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::BusFrame&) override {}
    void Send(const wire::ZclFrame& frame) override
    {
        const bool silent = last.kind == zcl::Reply::Kind::Silent;
        zcl::Reply reply;
        Require(!zcl::DecodeReply(frame.cluster, frame.bytes.data(), frame.bytes.size(), reply));
        if (silent)
            last = reply;
    }
    void Schedule(std::chrono::milliseconds, std::function<void()> callback) override
    {
        callback();
    }
    std::chrono::milliseconds Now() const override { return {}; }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string&) override {}

    // The first answer that says anything.
    zcl::Reply last;
};

// Notes that there was a call.
class CountingListener : public IZclListener
{
public:
    void OnZclSceneMembership(unsigned short, const SceneVec&) override { ++calls; }
    void OnZclViewScene(unsigned, int level, int time) override
    {
        ++calls;
        Require(level >= -1 && level <= 100 && time >= 0);
    }
    void OnZclGroupMembership(const nx::GroupIdVec&) override { ++calls; }
    void OnZclSceneCount(int count) override
    {
        ++calls;
        Require(count >= 0);
    }
    void OnAddSceneFailure(unsigned, unsigned char status) override
    {
        ++calls;
        Require(status != 0);
    }

    int calls = 0;
};

// A light and what it answers to requests of the host.
class Light
{
public:
    zcl::Reply Ask(const zcl::Request& request)
    {
        std::uint8_t frame[zcl::MAX_FRAME];
        const std::size_t length = zcl::EncodeRequest(request, m_sequence++, frame, sizeof frame);
        Require(length >= 3 && length <= sizeof frame);
        // A byte less is too little, and nothing is written to it.
        std::vector<std::uint8_t> small(length - 1, 0xA5);
        Require(zcl::EncodeRequest(request, 0, small.data(), small.size()) == 0);
        Require(std::all_of(small.begin(), small.end(), [](auto octet) { return octet == 0xA5; }));
        m_world.last = zcl::Reply();
        m_light.OnZcl({zcl::RequestCluster(request.kind), 1, {frame, frame + length}});
        return m_world.last;
    }

private:
    ImpatientWorld m_world;
    simulated::ZigbeeLight m_light{m_world};
    std::uint8_t m_sequence = 0;
};

int Number(const std::uint8_t* octets)
{
    std::int32_t number = 0;
    std::memcpy(&number, octets, sizeof number);
    return number;
}

// A scene that the light was given is the scene that it tells of.
void TellAgain(const std::uint8_t* octets)
{
    constexpr int SECOND_MS = 1000;
    zcl::Request request;
    request.group = static_cast<std::uint16_t>(Number(octets));
    request.scene = zcl::SceneId(request.group, octets[2]);
    request.level = Number(octets + 4);
    request.timeMs = Number(octets + 8);
    Light light;
    request.kind = zcl::RequestKind::AddGroup;
    light.Ask(request);
    request.kind = zcl::RequestKind::GetGroupMembership;
    const zcl::Reply groups = light.Ask(request);
    Require(groups.kind == zcl::Reply::Kind::GroupMembership);
    if (groups.groups != nx::GroupIdVec{request.group})
        return; // not a group that one can join

    request.kind = zcl::RequestKind::AddScene;
    Require(light.Ask(request).kind == zcl::Reply::Kind::Silent);
    request.kind = zcl::RequestKind::ViewScene;
    const zcl::Reply view = light.Ask(request);
    const std::int64_t seconds = (std::int64_t{request.timeMs} + SECOND_MS / 2) / SECOND_MS;
    Require(view.kind == zcl::Reply::Kind::ViewScene && view.scene == request.scene);
    Require(view.level == std::clamp(request.level, 0, 100));
    Require(view.timeMs == std::clamp<std::int64_t>(seconds, 0, UINT16_MAX) * SECOND_MS);
    request.kind = zcl::RequestKind::GetSceneMembership;
    Require(light.Ask(request).scenes == SceneVec{request.scene});
    request.kind = zcl::RequestKind::GetSceneCount;
    Require(light.Ask(request).count == 1);
    request.kind = zcl::RequestKind::RemoveScene;
    light.Ask(request);
    request.kind = zcl::RequestKind::ViewScene;
    Require(light.Ask(request).level == -1);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    constexpr std::size_t SCENE_OCTETS = 12;
    if (size == 0)
        return 0;
    // The first octet says the cluster; the rest is the frame.
    const auto cluster = static_cast<std::uint16_t>(data[0] % 8);
    zcl::Reply reply;
    const char* const error = zcl::DecodeReply(cluster, data + 1, size - 1, reply);
    CountingListener listener;
    zcl::Deliver(reply, listener);
    // A refused frame leaves the reply silent, and no frame says two things.
    Require(listener.calls <= (error ? 0 : 1));

    ImpatientWorld world;
    simulated::ZigbeeLight light(world);
    light.Tables().groups = {1, 5};
    light.OnZcl({cluster, 1, {data + 1, data + size}});
    Require(light.Tables().groups.size() <= 3 && light.Tables().scenes.size() <= 1);
    if (size > SCENE_OCTETS)
        TellAgain(data + 1);
    return 0;
}

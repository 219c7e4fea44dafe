#pragma once

#include "nxshared/IZclListener.h"

#include <cstddef>
#include <cstdint>

// ZCL frames of the Groups and Scenes clusters: what a driver asks of a light, as bytes, and what
// the light answers, from bytes.
//
// Not a ZCL stack: no other clusters, no manufacturer's commands, nothing of the layers below.
// Plain functions without state, for any thread. Numbers in a frame are least significant byte
// first. Frames from outside can be anything: reading never goes past their end and refuses, in
// words, what it does not understand.
namespace embedded_host
{
namespace zcl
{
constexpr std::uint16_t CLUSTER_GROUPS = 0x0004;
constexpr std::uint16_t CLUSTER_SCENES = 0x0005;

// The statuses that the host itself knows (wire values, do not change).
constexpr std::uint8_t STATUS_SUCCESS = 0x00;

// What a driver can ask of a light.
enum class RequestKind : std::uint8_t
{
    GetGroupMembership,
    AddGroup,
    RemoveGroup,
    GetSceneCount,
    GetSceneMembership,
    ViewScene,
    RemoveScene,
    AddScene,
};

// One request, as the driver asked for it: nothing rounded, nothing held to a range. Fields that
// the kind does not use are 0.
struct Request
{
    RequestKind kind = RequestKind::GetGroupMembership;
    // The ZCL group; for requests about a scene, that of the scene.
    std::uint16_t group = 0;
    // The controller's scene id.
    std::uint32_t scene = 0;
    // Percent.
    int level = 0;
    // Milliseconds.
    int timeMs = 0;
};

// The longest frame that EncodeRequest writes.
constexpr std::size_t MAX_FRAME = 17;

// The kind's name in the host's protocol, for instance "add_scene".
const char* RequestName(RequestKind kind);

// The cluster that answers the kind.
std::uint16_t RequestCluster(RequestKind kind);

// Whether that kind is about a group, a scene, or a scene's level and time.
bool RequestHasGroup(RequestKind kind);
bool RequestHasScene(RequestKind kind);
bool RequestHasDetails(RequestKind kind);

// Writes the whole frame with that sequence number to `out` and returns its length. A level is held
// to 0 to 100 percent and a time to 0 to 65535 seconds. Returns 0 and writes nothing when
// `capacity` is less than the frame needs; MAX_FRAME always suffices. Allocates nothing.
std::size_t EncodeRequest(const Request& request, std::uint8_t sequence, std::uint8_t* out,
                          std::size_t capacity);

// One answer of a light, decoded.
struct Reply
{
    enum class Kind : std::uint8_t
    {
        // Understood, and nobody needs to hear of it.
        Silent,
        GroupMembership,
        SceneCount,
        SceneMembership,
        ViewScene,
        AddSceneFailure,
    };

    Kind kind = Kind::Silent;
    // GroupMembership, in the light's order.
    nx::GroupIdVec groups;
    // SceneMembership: the group and the controller's ids of its scenes, in the light's order.
    std::uint16_t group = 0;
    SceneVec scenes;
    // SceneCount.
    int count = 0;
    // ViewScene and AddSceneFailure: the controller's scene id.
    std::uint32_t scene = 0;
    // ViewScene: percent and milliseconds; -1 and 0 when the light does not hold the scene or tells
    // no level.
    int level = 0;
    int timeMs = 0;
    // AddSceneFailure: the ZCL status, never 0.
    std::uint8_t status = 0;
};

// Reads a frame that came from a light's `cluster`. Direction, default-response and sequence bits
// are not looked at; octets after what a response is known to hold are skipped. Null when it was
// understood; else what is wrong, in words that stay valid, and `reply` is as it was.
const char* DecodeReply(std::uint16_t cluster, const std::uint8_t* frame, std::size_t size,
                        Reply& reply);

// Hands the answer to the listener's operation for it; a silent one to none.
void Deliver(const Reply& reply, IZclListener& listener);

// A level on the wire, 0 to 254, for 0 to 100 percent, and back: the nearest whole number, a half
// rounded up. Percents outside 0 to 100 are held to it.
std::uint8_t LevelFromPercent(int percent);
int PercentFromLevel(std::uint8_t level);

// The controller's scene id for a ZCL group and the number of a scene in it.
std::uint32_t SceneId(std::uint16_t group, std::uint8_t number);
} // namespace zcl
} // namespace embedded_host

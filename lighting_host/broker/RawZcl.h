#pragma once

#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "wire/ZclFrame.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace lighting_host
{
// ZCL frames as Zigbee2MQTT's action "raw" takes and gives them. Plain functions without state.

// The request that sends `frame` to the lamp, which is at `address` now, as JSON. Empty for a frame
// that cannot be sent in this way: one that is no request to groups or scenes, no read of the scene
// count, and no move of the lamp.
std::string RawRequest(const LampPlace& place, std::uint16_t address, const wire::ZclFrame& frame,
                       const std::string& transaction);

// What Zigbee2MQTT answers to a request.
struct RequestAnswer
{
    std::string transaction;
    // What went wrong, in its words; empty when nothing did.
    std::string error;
    // The lamp's frame; nothing when none came back.
    std::optional<wire::ZclFrame> frame;
};

// Reads an answer to any request; nothing for what is none, or is of somebody without transactions.
std::optional<RequestAnswer> ReadRequestAnswer(const std::string& text);

// The status of a Default Response, which a lamp gives that does not obey; nothing for any other
// frame.
std::optional<std::uint8_t> DefaultResponseStatus(const wire::ZclFrame& frame);

// The group of a request to join or leave one; nothing for any other frame.
struct GroupChange
{
    std::uint16_t group = 0;
    bool joins = false;
};
std::optional<GroupChange> GroupChangeOf(const wire::ZclFrame& frame);

// The scene of a request to store one was refused in that way: the answer that says so, as a lamp
// should have given it. Nothing for a request of another kind.
std::optional<wire::ZclFrame> SceneRefusal(const wire::ZclFrame& request, std::uint8_t status);

// Whether the lamp moves by it, and for how long about.
std::optional<std::chrono::milliseconds> MoveTime(const wire::ZclFrame& request);
} // namespace lighting_host

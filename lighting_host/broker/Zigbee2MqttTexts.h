#pragma once

#include "lighting_host/broker/Zigbee2Mqtt.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lighting_host
{
// What Zigbee2MQTT publishes, read into plain values. Plain functions without state; any text may
// be given.

// A device of its list.
struct LampDevice
{
    std::uint16_t address = 0;
    std::string name;
    // It is known to the end, and not put aside.
    bool isReady = false;
    // What Zigbee2MQTT calls its endpoints ("l1"), where it has names for them.
    std::map<unsigned, std::string> endpoints;
};

// "bridge/devices", by address ("0x00124b0012345678"); nothing when it is no list.
std::optional<std::map<std::string, LampDevice>> ReadLampDevices(const std::string& text);

// The numbers in "bridge/groups"; none when it is no list.
std::vector<std::uint16_t> ReadGroupNumbers(const std::string& text);

// The address in a "bridge/event" of a device that announced itself; empty for any other.
std::string AnnouncedLamp(const std::string& text);

// "bridge/state" and "<name>/availability": {"state":"online"}, or that word alone.
bool IsOnlineText(const std::string& text);

// "<name>"; nothing when it is no object. Of an endpoint with a name, what is said of that endpoint
// ("state_l1") goes before what is said of the whole lamp.
std::optional<LampState> ReadLampState(const std::string& text, const std::string& endpoint);

// For "<name>/get": asks how the lamp, or its endpoint of that name, stands.
std::string StateRequest(const std::string& endpoint);

// For "bridge/request/group/members/add" or "remove".
std::string MemberRequest(const LampPlace& place, std::uint16_t group,
                          const std::string& transaction);
} // namespace lighting_host

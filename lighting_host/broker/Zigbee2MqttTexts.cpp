#include "lighting_host/broker/Zigbee2MqttTexts.h"

#include "lighting_host/text/Json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr int FULL_BRIGHTNESS = 254;
// On purpose not that of a LED.
constexpr int FULL_PERCENT = 100;
constexpr double MOST_WATTS = 1000000;

// These lists tell at length what each device can do, which nobody here reads: it is left out while
// the text is read.
Json ParseWithoutDefinitions(const std::string& text)
{
    static const std::set<std::string> LEFT_OUT = {"definition", "bindings", "clusters",
                                                   "configured_reportings", "scenes"};
    const auto keep = [](int, Json::parse_event_t event, Json& parsed)
    {
        return event != Json::parse_event_t::key ||
               LEFT_OUT.count(parsed.get_ref<const std::string&>()) == 0;
    };
    return Json::parse(text, keep, false);
}

std::string TextOf(const Json& object, const char* name)
{
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool IsTrue(const Json& object, const char* name)
{
    const auto found = object.find(name);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

std::optional<std::uint16_t> Number16(const Json& object, const char* name)
{
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number_unsigned() ||
        found->get<std::uint64_t>() > UINT16_MAX)
        return std::nullopt;
    return found->get<std::uint16_t>();
}

// The names of a device's endpoints, by their numbers.
std::map<unsigned, std::string> EndpointNames(const Json& device)
{
    std::map<unsigned, std::string> names;
    const auto endpoints = device.find("endpoints");
    if (endpoints == device.end() || !endpoints->is_object())
        return names;
    for (const auto& [key, endpoint] : endpoints->items())
    {
        const std::string name = endpoint.is_object() ? TextOf(endpoint, "name") : std::string();
        unsigned number = 0;
        const auto read = std::from_chars(key.data(), key.data() + key.size(), number);
        if (!name.empty() && read.ec == std::errc() && read.ptr == key.data() + key.size())
            names[number] = name;
    }
    return names;
}

std::string NameOf(const char* member, const std::string& endpoint)
{
    return endpoint.empty() ? member : fmt::format("{}_{}", member, endpoint);
}

// What is said of the endpoint, else of the whole lamp; null when nothing is.
const Json* Said(const Json& object, const char* member, const std::string& endpoint)
{
    for (const std::string& name : {NameOf(member, endpoint), std::string(member)})
    {
        const auto found = object.find(name);
        if (found != object.end())
            return &*found;
    }
    return nullptr;
}

// Held to 0 to `most`.
std::optional<double> Amount(const Json* found, double most)
{
    if (!found || !found->is_number())
        return std::nullopt;
    const double amount = found->get<double>();
    return std::isfinite(amount) ? std::optional(std::clamp(amount, 0.0, most)) : std::nullopt;
}
} // namespace

std::optional<std::map<std::string, LampDevice>> ReadLampDevices(const std::string& text)
{
    const Json list = ParseWithoutDefinitions(text);
    if (!list.is_array())
        return std::nullopt;
    std::map<std::string, LampDevice> devices;
    for (const Json& item : list)
    {
        const auto address = item.is_object() ? Number16(item, "network_address") : std::nullopt;
        if (!address)
            continue;
        LampDevice device;
        device.address = *address;
        device.name = TextOf(item, "friendly_name");
        device.isReady = IsTrue(item, "interview_completed") && !IsTrue(item, "disabled") &&
                         !device.name.empty() &&
                         device.name.find_first_of("+#") == std::string::npos;
        device.endpoints = EndpointNames(item);
        devices[TextOf(item, "ieee_address")] = std::move(device);
    }
    return devices;
}

std::vector<std::uint16_t> ReadGroupNumbers(const std::string& text)
{
    std::vector<std::uint16_t> numbers;
    const Json list = Json::parse(text, nullptr, false);
    if (!list.is_array())
        return numbers;
    for (const Json& group : list)
    {
        if (const auto number = group.is_object() ? Number16(group, "id") : std::nullopt)
            numbers.push_back(*number);
    }
    return numbers;
}

std::string AnnouncedLamp(const std::string& text)
{
    const Json event = Json::parse(text, nullptr, false);
    if (!event.is_object() || TextOf(event, "type") != "device_announce")
        return std::string();
    const auto data = event.find("data");
    return data != event.end() && data->is_object() ? TextOf(*data, "ieee_address") : std::string();
}

bool IsOnlineText(const std::string& text)
{
    if (text == "online")
        return true;
    const Json state = Json::parse(text, nullptr, false);
    return state.is_object() && TextOf(state, "state") == "online";
}

std::optional<LampState> ReadLampState(const std::string& text, const std::string& endpoint)
{
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object())
        return std::nullopt;
    LampState state;
    const Json* const onOff = Said(json, "state", endpoint);
    if (onOff && (*onOff == "ON" || *onOff == "OFF"))
        state.isOn = *onOff == "ON";
    if (const auto brightness = Amount(Said(json, "brightness", endpoint), FULL_BRIGHTNESS))
        state.level = static_cast<int>(std::lround(*brightness * FULL_PERCENT / FULL_BRIGHTNESS));
    if (const auto watts = Amount(Said(json, "power", endpoint), MOST_WATTS))
        state.watts = static_cast<int>(std::lround(*watts));
    return state;
}

std::string StateRequest(const std::string& endpoint)
{
    return Json({{NameOf("state", endpoint), ""}, {NameOf("brightness", endpoint), ""}}).dump();
}

std::string MemberRequest(const LampPlace& place, std::uint16_t group,
                          const std::string& transaction)
{
    return Json({{"group", group},
                 {"device", place.ieee},
                 {"endpoint", place.endpoint},
                 {"transaction", transaction}})
        .dump();
}
} // namespace lighting_host

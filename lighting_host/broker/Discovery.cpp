#include "lighting_host/broker/Discovery.h"

#include "lighting_host/text/Json.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// What the functions below write of one entity: its own members of a component.
struct Component
{
    const DeviceModel& device;
    const Entity& entity;
    const BrokerTopics& topics;
    Json& json;

    void AddState() const { json["state_topic"] = topics.State(device.id, entity.id); }
    void AddCommand() const { json["command_topic"] = topics.Command(device.id, entity.id); }
};

constexpr int FULL_BRIGHTNESS = 100;
constexpr const char* MILLISECONDS = "ms";

void DescribeButton(const Component& component)
{
    Json& json = component.json;
    json["device_class"] = "button";
    json["state_topic"] = component.topics.Event(component.device.id, component.entity.id);
    json["event_types"] = {"press_start",    "press_end",           "long_press_start",
                           "long_press_end", "multi_press_ongoing", "multi_press_end"};
}

void DescribeContact(const Component& component)
{
    component.AddState();
    component.json["payload_on"] = "ON";
    component.json["payload_off"] = "OFF";
}

void DescribeLed(const Component& component)
{
    component.json["schema"] = "json";
    component.json["supported_color_modes"] = {"rgb"};
    component.json["icon"] = "mdi:led-on";
    component.json["entity_category"] = "config";
    component.AddState();
    component.AddCommand();
}

void DescribeLight(const Component& component)
{
    component.json["schema"] = "json";
    component.json["brightness"] = true;
    component.json["brightness_scale"] = FULL_BRIGHTNESS;
    component.json["supported_color_modes"] = {"brightness"};
    component.json["transition"] = true;
    component.AddState();
    component.AddCommand();
}

void DescribeGroup(const Component& component)
{
    DescribeLight(component);
    Json members = Json::array();
    for (const std::string& member : component.entity.members)
        members.push_back(component.topics.UniqueId(member, "light"));
    component.json["group"] = members;
}

void DescribeScene(const Component& component)
{
    component.AddCommand();
    component.json["payload_on"] = "ON";
}

void DescribePower(const Component& component)
{
    component.AddState();
    component.json["device_class"] = "power";
    component.json["state_class"] = "measurement";
    component.json["unit_of_measurement"] = "W";
}

void DescribeEnergy(const Component& component)
{
    component.AddState();
    component.json["device_class"] = "energy";
    component.json["state_class"] = "total_increasing";
    component.json["unit_of_measurement"] = "kWh";
    component.json["suggested_display_precision"] = 2;
}

void DescribeFigure(const Component& component)
{
    const FigureOffer& figure = component.entity.figure;
    component.AddState();
    component.json["entity_category"] = "diagnostic";
    if (figure.unit == MILLISECONDS)
        component.json["device_class"] = "duration";
    if (!figure.unit.empty())
        component.json["unit_of_measurement"] = figure.unit;
    else
        component.json["state_class"] = figure.isTotal ? "total_increasing" : "measurement";
}

// It must be there to say that its device is not, so the house alone decides whether it is.
void DescribeLink(const Component& component)
{
    DescribeContact(component);
    component.json["availability"] = Json::array({{{"topic", component.topics.Status()}}});
    component.json["device_class"] = "connectivity";
    component.json["entity_category"] = "diagnostic";
}

void DescribeSetting(const Component& component)
{
    component.AddState();
    component.AddCommand();
    component.json["entity_category"] = "config";
    const SettingOffer& setting = component.entity.setting;
    if (!setting.options.empty())
    {
        component.json["options"] = setting.options;
        return;
    }
    component.json["min"] = setting.least;
    component.json["max"] = setting.most;
    component.json["mode"] = "box";
    if (!setting.unit.empty())
        component.json["unit_of_measurement"] = setting.unit;
}

// How each kind of entity is told of.
struct Row
{
    EntityKind kind;
    const char* platform;
    void (*describe)(const Component& component);
};

constexpr Row ROWS[] = {
    {EntityKind::Button, "event", &DescribeButton},
    {EntityKind::Contact, "binary_sensor", &DescribeContact},
    {EntityKind::Led, "light", &DescribeLed},
    {EntityKind::Light, "light", &DescribeLight},
    {EntityKind::Group, "light", &DescribeGroup},
    {EntityKind::Scene, "scene", &DescribeScene},
    {EntityKind::AdvScene, "scene", &DescribeScene},
    {EntityKind::Power, "sensor", &DescribePower},
    {EntityKind::Energy, "sensor", &DescribeEnergy},
    {EntityKind::Figure, "sensor", &DescribeFigure},
    {EntityKind::Link, "binary_sensor", &DescribeLink},
    {EntityKind::Setting, "select", &DescribeSetting},
};

const Row& RowOf(EntityKind kind)
{
    for (const Row& row : ROWS)
    {
        if (row.kind == kind)
            return row;
    }
    return ROWS[0];
}

// What automations can be triggered by, with the payload of each.
constexpr std::pair<const char*, const char*> TRIGGERS[] = {
    {"button_short_press", "short_press"},         {"button_short_release", "short_release"},
    {"button_long_press", "long_press"},           {"button_long_release", "long_release"},
    {"button_double_press", "double_press"},       {"button_triple_press", "triple_press"},
    {"button_quadruple_press", "quadruple_press"}, {"button_quintuple_press", "quintuple_press"},
};

class Message
{
public:
    Message(const DeviceModel& device, const BrokerTopics& topics)
        : m_device(device), m_topics(topics)
    {
    }

    void Add(const Entity& entity)
    {
        const Row& row = RowOf(entity.kind);
        const bool isNumber = entity.kind == EntityKind::Setting && entity.setting.options.empty();
        Json component = Begin(entity.id, isNumber ? "number" : row.platform);
        const std::string uniqueId = m_topics.UniqueId(m_device.id, entity.id);
        component["unique_id"] = uniqueId;
        component["name"] = entity.name.empty() ? Json(nullptr) : Json(entity.name);
        row.describe({m_device, entity, m_topics, component});
        components[entity.id] = component;
        if (entity.kind == EntityKind::Button)
            AddTriggers(entity);
    }

    void Remove(const std::string& id, const std::string& platform)
    {
        components[id] = {{"platform", platform}};
    }

    Json components = Json::object();
    std::vector<std::pair<std::string, std::string>> list;

private:
    Json Begin(const std::string& id, const char* platform)
    {
        list.emplace_back(id, platform);
        return {{"platform", platform}};
    }

    void AddTriggers(const Entity& entity)
    {
        for (const auto& [type, payload] : TRIGGERS)
        {
            const std::string id = entity.id + "_" + payload;
            Json trigger = Begin(id, "device_automation");
            trigger["automation_type"] = "trigger";
            trigger["type"] = type;
            trigger["subtype"] = entity.id;
            trigger["topic"] = m_topics.Trigger(m_device.id, entity.id);
            trigger["payload"] = payload;
            components[id] = trigger;
        }
    }

    const DeviceModel& m_device;
    const BrokerTopics& m_topics;
};

Json DescribeDevice(const DeviceModel& device, const BrokerTopics& topics,
                    const DiscoveryFacts& facts)
{
    Json json = {{"identifiers", {topics.UniqueId(device.id)}}, {"name", device.name}};
    if (!device.type.empty())
        json["model"] = device.type;
    if (!device.serial.empty())
        json["serial_number"] = device.serial;
    json["sw_version"] = facts.version;
    if (!device.room.empty())
        json["suggested_area"] = device.room;
    if (!device.driver.empty())
        json["via_device"] = topics.UniqueId(HOUSE_DEVICE);
    if (!facts.pageUrl.empty())
        json["configuration_url"] = facts.pageUrl;
    return json;
}
} // namespace

DiscoveryMessage MakeDiscovery(const DeviceModel& device, const BrokerTopics& topics,
                               const DiscoveryFacts& facts,
                               const std::vector<std::pair<std::string, std::string>>& removed)
{
    Message message(device, topics);
    for (const Entity& entity : device.entities)
        message.Add(entity);
    for (const auto& [id, platform] : removed)
        message.Remove(id, platform);
    Json availability = Json::array({{{"topic", topics.Status()}}});
    if (!device.driver.empty())
        availability.push_back({{"topic", topics.Availability(device.id)}});
    const Json json = {{"device", DescribeDevice(device, topics, facts)},
                       {"origin", {{"name", "lighting-host"}, {"sw_version", facts.version}}},
                       {"availability", availability},
                       {"availability_mode", "all"},
                       {"components", message.components}};
    DiscoveryMessage made;
    made.topic = topics.Discovery(device.id);
    AppendJson(made.payload, json);
    made.components = message.list;
    return made;
}
} // namespace lighting_host

#include "lighting_host/broker/BrokerMemory.h"

#include "lighting_host/text/Json.h"

namespace lighting_host
{
namespace
{
constexpr int TEXT_VERSION = 1;
const std::vector<BrokerMemory::Component> NO_COMPONENTS;
} // namespace

BrokerMemory::BrokerMemory(Store store) : m_store(std::move(store))
{
    const std::string text = m_store.load();
    if (!text.empty())
        Read(text);
}

void BrokerMemory::Save() const
{
    if (m_store.save)
        m_store.save(Text());
}

void BrokerMemory::RemoveTopic(const std::string& topic)
{
    m_topics.erase(topic);
    m_components.erase(topic);
}

const std::vector<BrokerMemory::Component>&
BrokerMemory::ComponentsOf(const std::string& topic) const
{
    const auto found = m_components.find(topic);
    return found == m_components.end() ? NO_COMPONENTS : found->second;
}

void BrokerMemory::SetComponents(const std::string& topic, const std::vector<Component>& components)
{
    m_components[topic] = components;
}

std::int64_t BrokerMemory::TotalOf(const std::string& driver, std::int64_t count)
{
    Total& total = m_totals[driver];
    if (count < total.count)
        total.before += total.count;
    total.count = count;
    return total.before + total.count;
}

std::string BrokerMemory::Text() const
{
    Json totals = Json::object();
    for (const auto& [driver, total] : m_totals)
        totals[driver] = {total.count, total.before};
    Json components = Json::object();
    for (const auto& [topic, list] : m_components)
        components[topic] = list;
    const Json json = {{"version", TEXT_VERSION},
                       {"topics", m_topics},
                       {"components", components},
                       {"energy", totals}};
    // Names that are no UTF-8 must not stop the rest.
    return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

// By the JSON library alone: the limits of inputs do not hold for what we wrote ourselves.
void BrokerMemory::Read(const std::string& text)
{
    try
    {
        const Json json = Json::parse(text);
        if (json.at("version") != TEXT_VERSION)
            return;
        const auto topics = json.at("topics").get<std::set<std::string>>();
        std::map<std::string, std::vector<Component>> components;
        for (const auto& [topic, list] : json.at("components").items())
            components[topic] = list.get<std::vector<Component>>();
        std::map<std::string, Total> totals;
        for (const auto& [driver, total] : json.at("energy").items())
            totals[driver] = {total.at(0).get<std::int64_t>(), total.at(1).get<std::int64_t>()};
        m_topics = topics;
        m_components = components;
        m_totals = totals;
    }
    catch (const Json::exception&)
    {
        // Somebody else's text: there is nothing to remember.
    }
}
} // namespace lighting_host

#include "lighting_host/broker/BrokerNames.h"

#include "lighting_host/types/HousePlan.h"

#include <map>

#include <fmt/format.h>

namespace lighting_host
{
const char* const HOUSE_DEVICE = "house";

namespace
{
constexpr const char* ID_CHARACTERS = "abcdefghijklmnopqrstuvwxyz0123456789_-";

// Levels beside those of the devices.
constexpr const char* TAKEN[] = {"house", "status", "protocol"};

bool IsIdCharacter(char c)
{
    return std::string(ID_CHARACTERS).find(c) != std::string::npos;
}
} // namespace

std::string BrokerId(const std::string& name)
{
    std::string id;
    bool gap = false;
    for (const char c : name)
    {
        const char small = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (IsIdCharacter(small))
        {
            id += small;
            gap = false;
        }
        else if (!gap)
        {
            id += '_';
            gap = true;
        }
    }
    return id.empty() ? "_" : id;
}

bool IsBrokerId(const std::string& text)
{
    return !text.empty() && text.find_first_not_of(ID_CHARACTERS) == std::string::npos;
}

std::string FindIdCollision(const HousePlan& plan)
{
    std::map<std::string, std::string> names;
    for (const char* const taken : TAKEN)
        names.emplace(taken, std::string());
    for (const HouseFileDriver& driver : plan.drivers)
    {
        const std::string id = BrokerId(driver.name);
        const auto [found, isNew] = names.emplace(id, driver.name);
        if (isNew)
            continue;
        if (found->second.empty())
            return fmt::format("the driver \"{}\" would be \"{}\" on the broker, which is taken: "
                               "give it another name",
                               driver.name, id);
        return fmt::format("the drivers \"{}\" and \"{}\" would both be \"{}\" on the broker: give "
                           "one of them another name",
                           found->second, driver.name, id);
    }
    return std::string();
}

std::string BrokerTopics::House() const
{
    return base + "/" + house;
}

std::string BrokerTopics::Status() const
{
    return House() + "/status";
}

std::string BrokerTopics::Availability(const std::string& device) const
{
    return fmt::format("{}/{}/availability", House(), device);
}

std::string BrokerTopics::State(const std::string& device, const std::string& entity) const
{
    return fmt::format("{}/{}/{}", House(), device, entity);
}

std::string BrokerTopics::Event(const std::string& device, const std::string& entity) const
{
    return State(device, entity) + "/event";
}

std::string BrokerTopics::Trigger(const std::string& device, const std::string& entity) const
{
    return State(device, entity) + "/trigger";
}

std::string BrokerTopics::Command(const std::string& device, const std::string& entity) const
{
    return State(device, entity) + "/set";
}

std::string BrokerTopics::Error(const std::string& commandTopic) const
{
    return commandTopic + "/error";
}

std::string BrokerTopics::Commands() const
{
    return House() + "/+/+/set";
}

bool BrokerTopics::SplitCommand(const std::string& topic, std::string& device,
                                std::string& entity) const
{
    const std::string before = House() + "/";
    const std::string after = "/set";
    if (topic.size() <= before.size() + after.size() ||
        topic.compare(0, before.size(), before) != 0 ||
        topic.compare(topic.size() - after.size(), after.size(), after) != 0)
        return false;
    const std::string between =
        topic.substr(before.size(), topic.size() - before.size() - after.size());
    const std::size_t slash = between.find('/');
    if (slash == std::string::npos || between.find('/', slash + 1) != std::string::npos)
        return false;
    device = between.substr(0, slash);
    entity = between.substr(slash + 1);
    return true;
}

std::string BrokerTopics::ProtocolIn() const
{
    return House() + "/protocol/in";
}

std::string BrokerTopics::ProtocolOut() const
{
    return House() + "/protocol/out";
}

std::string BrokerTopics::UniqueId(const std::string& device) const
{
    return fmt::format("lh_{}_{}", house, device);
}

std::string BrokerTopics::UniqueId(const std::string& device, const std::string& entity) const
{
    return fmt::format("lh_{}_{}_{}", house, device, entity);
}

std::string BrokerTopics::Discovery(const std::string& device) const
{
    return fmt::format("{}/device/{}/config", discovery, UniqueId(device));
}

std::string BrokerTopics::Birth() const
{
    return discovery + "/status";
}
} // namespace lighting_host

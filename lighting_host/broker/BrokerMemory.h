#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lighting_host
{
// What a house must remember of what it has told a broker, from one life of the program to the
// next: which retained messages are there, and its energy totals.
//
// A broker never sees a total that could be smaller after a crash: a total is kept before it is
// told, and one that begins anew in its driver goes on from where it was. Kept as one text.
class BrokerMemory
{
public:
    // What loads the text of earlier, empty when there is none; and what keeps one for later.
    // Either may throw std::exception.
    struct Store
    {
        std::function<std::string()> load;
        std::function<void(const std::string&)> save;
    };

    // A component of a device that was told of, and its platform.
    using Component = std::pair<std::string, std::string>;

    // Remembers nothing beyond its own life.
    BrokerMemory() = default;

    // Reads what was kept; a text that cannot be read counts as none.
    explicit BrokerMemory(Store store);

    // Throws what the store throws; what was kept before stays then.
    void Save() const;

    // --- Retained messages ---

    // Every retained topic that was ever told and not cleared since.
    const std::set<std::string>& Topics() const { return m_topics; }
    // True when it was not there.
    bool AddTopic(const std::string& topic) { return m_topics.insert(topic).second; }
    void RemoveTopic(const std::string& topic);

    // The components that the message on that topic told of.
    const std::vector<Component>& ComponentsOf(const std::string& topic) const;
    void SetComponents(const std::string& topic, const std::vector<Component>& components);

    // --- Energy ---

    // Takes the count of a driver, in hundredths of a watt-hour; returns the total, which is never
    // smaller than any before.
    std::int64_t TotalOf(const std::string& driver, std::int64_t count);

private:
    struct Total
    {
        // The driver's last count, and what was counted before it last began anew.
        std::int64_t count = 0;
        std::int64_t before = 0;
    };

    std::string Text() const;
    void Read(const std::string& text);

    Store m_store;
    std::set<std::string> m_topics;
    std::map<std::string, std::vector<Component>> m_components;
    std::map<std::string, Total> m_totals;
};
} // namespace lighting_host

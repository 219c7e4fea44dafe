#pragma once

#include "wire/ZclFrame.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace lighting_host
{
// What a light's own answers say of its tables of groups and scenes: nothing is known before it was
// asked, and what somebody else has changed since is not known either.
//
// Hears what is sent to the light and what it answers, and believes success alone. Bounded; frames
// may be anything. Lives on the house's thread.
class AnsweredTables
{
public:
    static constexpr std::size_t MOST_SCENES = 4096;

    // What a scene holds.
    struct Content
    {
        std::uint16_t seconds = 0;
        // 0 to 254, 0 where the light is off; nothing where the scene has no level.
        std::optional<std::uint8_t> level;
    };
    // A scene's group, and its number there.
    using Place = std::pair<std::uint16_t, std::uint8_t>;
    // Of each scene that the light holds, its content where the light has told it.
    using Scenes = std::map<Place, std::optional<Content>>;

    // A frame that leaves for the light.
    void OnSent(const wire::ZclFrame& frame);

    // A frame of the light. Whether it told something of its tables.
    bool OnAnswer(const wire::ZclFrame& frame);

    // In the light's order; null before it told them.
    const std::vector<std::uint16_t>* Groups() const { return m_groups ? &*m_groups : nullptr; }

    // Null before it told those of each of its groups.
    const Scenes* GetScenes() const;

private:
    class Reader;

    bool OnGroupAnswer(std::uint8_t command, Reader& in);
    bool OnSceneAnswer(std::uint8_t command, Reader& in);
    bool OnGroupList(Reader& in);
    bool OnSceneList(Reader& in);
    bool OnView(Reader& in);
    void Join(std::uint16_t group);
    void Leave(std::uint16_t group);
    void DropScenes(std::uint16_t group);
    void Put(const Place& place, std::optional<Content> content);

    std::optional<std::vector<std::uint16_t>> m_groups;
    // The groups whose scenes are known.
    std::set<std::uint16_t> m_listed;
    Scenes m_scenes;
    // What is on its way to the light.
    std::map<Place, Content> m_sent;
};
} // namespace lighting_host

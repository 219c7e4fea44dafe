#include "lighting_host/types/zigbee_light/AnsweredTables.h"

#include "embedded_host/ZclCodec.h"
#include "lighting_host/types/zigbee_light/LampCommands.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
namespace zcl = embedded_host::zcl;

// Frame control: the type, and that a manufacturer's code follows.
constexpr std::uint8_t CONTROL_MASK = 0x07;
constexpr std::uint8_t CLUSTER_COMMAND = 0x01;

// Other responses (wire values, do not change).
constexpr std::uint8_t GROUP_MEMBERSHIP = 0x02;
constexpr std::uint8_t VIEW_SCENE = 0x01;
constexpr std::uint8_t REMOVE_SCENE = 0x02;
constexpr std::uint8_t SCENE_MEMBERSHIP = 0x06;

constexpr std::uint8_t DUPLICATE_EXISTS = 0x8A;
constexpr std::uint8_t NOT_FOUND = 0x8B;

constexpr std::uint8_t NO_VALUE = 0xFF;
} // namespace

// Reads a frame from its front. Past its end every value is 0, and it is not good any more.
class AnsweredTables::Reader
{
public:
    explicit Reader(const std::vector<std::uint8_t>& bytes) : m_bytes(bytes) {}

    std::uint8_t U8()
    {
        Skip(1);
        return m_good ? m_bytes[m_at - 1] : std::uint8_t{0};
    }
    std::uint16_t U16()
    {
        const std::uint8_t low = U8();
        return static_cast<std::uint16_t>(low | (U8() << 8));
    }
    void Skip(std::size_t count)
    {
        m_good = m_good && count <= Left();
        m_at += m_good ? count : 0;
    }
    std::size_t Left() const { return m_bytes.size() - m_at; }
    bool Good() const { return m_good; }

    Place ReadPlace()
    {
        const std::uint16_t group = U16();
        return {group, U8()};
    }

    // Time, name and sets of fields, to the end.
    Content ReadContent()
    {
        Content content;
        content.seconds = U16();
        const std::uint8_t name = U8();
        Skip(name == NO_VALUE ? 0 : name);
        bool isOff = false;
        while (m_good && Left() > 0)
        {
            const std::uint16_t cluster = U16();
            const std::uint8_t length = U8();
            const std::uint8_t first = length > 0 ? U8() : std::uint8_t{0};
            Skip(length > 0 ? length - 1U : 0U);
            if (length > 0 && cluster == lamp_command::CLUSTER_LEVEL && !content.level)
                content.level = first;
            isOff = isOff || (length > 0 && cluster == lamp_command::CLUSTER_SWITCH && first == 0);
        }
        if (isOff)
            content.level = std::uint8_t{0};
        return content;
    }

private:
    const std::vector<std::uint8_t>& m_bytes;
    std::size_t m_at = 0;
    bool m_good = true;
};

const AnsweredTables::Scenes* AnsweredTables::GetScenes() const
{
    const bool isListed =
        m_groups && std::all_of(m_groups->begin(), m_groups->end(),
                                [this](std::uint16_t group) { return m_listed.count(group) > 0; });
    return isListed ? &m_scenes : nullptr;
}

// The answer to a store does not repeat what was stored.
void AnsweredTables::OnSent(const wire::ZclFrame& frame)
{
    Reader in(frame.bytes);
    const bool isCommand = (in.U8() & CONTROL_MASK) == CLUSTER_COMMAND;
    in.U8(); // sequence
    if (!isCommand || frame.cluster != zcl::CLUSTER_SCENES || in.U8() != lamp_command::ADD_SCENE)
        return;
    const Place place = in.ReadPlace();
    const Content content = in.ReadContent();
    if (in.Good() && (m_sent.size() < MOST_SCENES || m_sent.count(place) > 0))
        m_sent[place] = content;
}

bool AnsweredTables::OnAnswer(const wire::ZclFrame& frame)
{
    Reader in(frame.bytes);
    const bool isCommand = (in.U8() & CONTROL_MASK) == CLUSTER_COMMAND;
    in.U8(); // sequence
    const std::uint8_t command = in.U8();
    if (!isCommand || !in.Good())
        return false;
    if (frame.cluster == zcl::CLUSTER_GROUPS)
        return OnGroupAnswer(command, in);
    return frame.cluster == zcl::CLUSTER_SCENES && OnSceneAnswer(command, in);
}

bool AnsweredTables::OnGroupAnswer(std::uint8_t command, Reader& in)
{
    if (command == GROUP_MEMBERSHIP)
        return OnGroupList(in);
    const std::uint8_t status = in.U8();
    const std::uint16_t group = in.U16();
    if (!in.Good() || !m_groups)
        return false;
    if (command == lamp_command::ADD_GROUP &&
        (status == zcl::STATUS_SUCCESS || status == DUPLICATE_EXISTS))
    {
        // One that was not there holds no scenes.
        if (status == zcl::STATUS_SUCCESS)
            m_listed.insert(group);
        Join(group);
        return true;
    }
    if (command != lamp_command::REMOVE_GROUP ||
        (status != zcl::STATUS_SUCCESS && status != NOT_FOUND))
        return false;
    Leave(group);
    return true;
}

bool AnsweredTables::OnGroupList(Reader& in)
{
    in.U8(); // capacity
    std::vector<std::uint16_t> groups;
    for (std::size_t left = in.U8(); left > 0 && in.Good(); --left)
        groups.push_back(in.U16());
    if (!in.Good())
        return false;
    for (const std::uint16_t group : m_groups.value_or(groups))
    {
        if (std::count(groups.begin(), groups.end(), group) == 0)
            DropScenes(group);
    }
    m_groups = std::move(groups);
    return true;
}

bool AnsweredTables::OnSceneAnswer(std::uint8_t command, Reader& in)
{
    if (command == SCENE_MEMBERSHIP)
        return OnSceneList(in);
    if (command == VIEW_SCENE)
        return OnView(in);
    const std::uint8_t status = in.U8();
    const Place place = in.ReadPlace();
    if (!in.Good())
        return false;
    if (command == REMOVE_SCENE && (status == zcl::STATUS_SUCCESS || status == NOT_FOUND))
    {
        m_scenes.erase(place);
        return true;
    }
    if (command != lamp_command::ADD_SCENE)
        return false;
    const auto sent = m_sent.find(place);
    const auto content = sent == m_sent.end() ? std::nullopt : std::optional(sent->second);
    if (sent != m_sent.end())
        m_sent.erase(sent);
    if (status != zcl::STATUS_SUCCESS)
        return false;
    // A light stores scenes of its own groups alone.
    if (m_groups)
        Join(place.first);
    Put(place, content);
    return true;
}

bool AnsweredTables::OnSceneList(Reader& in)
{
    const std::uint8_t status = in.U8();
    in.U8(); // capacity
    const std::uint16_t group = in.U16();
    std::set<Place> told;
    for (std::size_t left = status == zcl::STATUS_SUCCESS ? in.U8() : 0; left > 0 && in.Good();
         --left)
        told.emplace(group, in.U8());
    if (!in.Good())
        return false;
    const Scenes known = m_scenes;
    DropScenes(group);
    for (const Place& place : told)
    {
        const auto before = known.find(place);
        Put(place, before == known.end() ? std::nullopt : before->second);
    }
    m_listed.insert(group);
    return true;
}

bool AnsweredTables::OnView(Reader& in)
{
    const std::uint8_t status = in.U8();
    const Place place = in.ReadPlace();
    if (!in.Good())
        return false;
    if (status != zcl::STATUS_SUCCESS)
    {
        m_scenes.erase(place);
        return true;
    }
    const Content content = in.ReadContent();
    if (in.Good())
        Put(place, content);
    return in.Good();
}

void AnsweredTables::Join(std::uint16_t group)
{
    if (std::count(m_groups->begin(), m_groups->end(), group) == 0 &&
        m_groups->size() < MOST_SCENES)
        m_groups->push_back(group);
}

void AnsweredTables::Leave(std::uint16_t group)
{
    m_groups->erase(std::remove(m_groups->begin(), m_groups->end(), group), m_groups->end());
    DropScenes(group);
}

void AnsweredTables::DropScenes(std::uint16_t group)
{
    m_scenes.erase(m_scenes.lower_bound({group, 0}), m_scenes.upper_bound({group, UINT8_MAX}));
    m_listed.erase(group);
}

void AnsweredTables::Put(const Place& place, std::optional<Content> content)
{
    if (m_scenes.size() < MOST_SCENES || m_scenes.count(place) > 0)
        m_scenes[place] = content;
}
} // namespace lighting_host

#include "lighting_common/SceneManager.h"

#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/XmlNode.h"

#include <string>

namespace
{
constexpr const char* SCENE_MANAGER_SOURCE = "lighting_common/SceneManager";

// The persisted form.
const char* const NODE_MAP = "SceneMap";
const char* const NODE_ENTRY = "SceneMapEntry";
const char* const NODE_ID = "SceneID";
const char* const NODE_LEVEL = "Level";
const char* const NODE_TIME = "Time";
} // namespace

SceneManager::SceneManager() = default;

SceneManager::~SceneManager() = default;

void SceneManager::addScene(unsigned id, int level, int time)
{
    LIGHTING_ASSERT(!inScene(id), SCENE_MANAGER_SOURCE, __LINE__);
    m_scenes.emplace(id, SceneDetail{level, time});
}

void SceneManager::modifyScene(unsigned id, int level, int time)
{
    const auto found = m_scenes.find(id);
    LIGHTING_ASSERT(found != m_scenes.end(), SCENE_MANAGER_SOURCE, __LINE__);
    if (found != m_scenes.end())
        found->second = SceneDetail{level, time};
}

void SceneManager::deleteScene(unsigned id)
{
    m_scenes.erase(id);
}

void SceneManager::deleteAllScenes()
{
    m_scenes.clear();
}

bool SceneManager::inScene(unsigned id) const
{
    return m_scenes.count(id) != 0;
}

SceneDetail SceneManager::getDetail(unsigned id) const
{
    const auto found = m_scenes.find(id);
    LIGHTING_ASSERT(found != m_scenes.end(), SCENE_MANAGER_SOURCE, __LINE__);
    return found != m_scenes.end() ? found->second : SceneDetail();
}

const SceneManager::SceneMap& SceneManager::getAllScenes() const
{
    return m_scenes;
}

std::size_t SceneManager::NumScenes() const
{
    return m_scenes.size();
}

boost::shared_ptr<nx::XmlNode> SceneManager::ToXML() const
{
    const boost::shared_ptr<nx::XmlNode> map = nx::CreateXmlNode();
    map->Initialize(NODE_MAP, "");
    for (const auto& [id, detail] : m_scenes)
    {
        const boost::shared_ptr<nx::XmlNode> entry = nx::CreateXmlNode();
        entry->Initialize(NODE_ENTRY, "");
        entry->AddChild(NODE_ID, id);
        entry->AddChild(NODE_LEVEL, detail.level);
        entry->AddChild(NODE_TIME, detail.time);
        map->AddChild(entry);
    }
    return map;
}

void SceneManager::FromXML(const boost::shared_ptr<nx::XmlNode>& node)
{
    if (!node)
        return;
    const boost::shared_ptr<nx::XmlNode> map = node->GetChild(NODE_MAP);
    if (!map)
        return;
    m_scenes.clear();
    for (std::size_t index = 0; const auto entry = map->GetChildAt(index); ++index)
    {
        if (entry->GetName() != NODE_ENTRY)
            continue;
        // Deliberate: level and time are read as unsigned and stored as they are, so a negative
        // number comes back through the same bits. The first entry of an id wins, unasserted.
        m_scenes.emplace(static_cast<unsigned>(entry->GetChildDataULONG(NODE_ID)),
                         SceneDetail{static_cast<int>(entry->GetChildDataULONG(NODE_LEVEL)),
                                     static_cast<int>(entry->GetChildDataULONG(NODE_TIME))});
    }
}

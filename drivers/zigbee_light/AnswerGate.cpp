#include "drivers/zigbee_light/AnswerGate.h"

#include "nxshared/Zcl.h"

#include <algorithm>
#include <cstddef>
#include <set>

namespace
{
// More answers than this are not under way in any network.
constexpr std::size_t MAX_STALE = 16;
} // namespace

void AnswerGate::Begin(const SceneDetailsLightMap& wanted)
{
    if (m_awaited.kind == Kind::Nothing)
        m_stale.clear();
    else
        m_stale.push_back(m_awaited);
    if (m_stale.size() > MAX_STALE)
        m_stale.erase(m_stale.begin());
    m_wanted = &wanted;
    m_awaited = {Kind::Groups, 0};
}

void AnswerGate::OnZclGroupMembership(const nx::GroupIdVec& groups)
{
    const Question answered = {Kind::Groups, 0};
    if (IsAwaited(answered))
    {
        std::set<unsigned short> toCheck(groups.begin(), groups.end());
        for (const auto& wanted : *m_wanted)
            toCheck.insert(nx::GetGroupId(wanted.first));
        m_groups.assign(toCheck.begin(), toCheck.end());
        m_awaited = {Kind::SceneCount, 0};
    }
    else if (IsStale(answered))
        return;
    m_listener.OnZclGroupMembership(groups);
}

void AnswerGate::OnZclSceneCount(int count)
{
    const Question answered = {Kind::SceneCount, 0};
    if (IsAwaited(answered))
        AwaitGroup();
    else if (IsStale(answered))
        return;
    m_listener.OnZclSceneCount(count);
}

void AnswerGate::OnZclSceneMembership(unsigned short group, const SceneVec& scenes)
{
    const Question answered = {Kind::SceneMembership, group};
    if (IsAwaited(answered))
    {
        m_scenesToView.clear();
        for (const auto& wanted : *m_wanted)
            if (nx::GetGroupId(wanted.first) == group)
                m_scenesToView.push_back(wanted.first);
        AwaitScene();
    }
    else if (IsStale(answered))
        return;
    m_listener.OnZclSceneMembership(group, scenes);
}

void AnswerGate::OnZclViewScene(unsigned scene, int level, int time)
{
    const Question answered = {Kind::ViewScene, scene};
    if (IsAwaited(answered))
    {
        m_scenesToView.pop_back();
        AwaitScene();
    }
    else if (IsStale(answered))
        return;
    m_listener.OnZclViewScene(scene, level, time);
}

void AnswerGate::OnAddSceneFailure(unsigned scene, unsigned char status)
{
    m_listener.OnAddSceneFailure(scene, status);
}

// Whether it answers a walk that was cut short; counts for that walk then, and for no other.
bool AnswerGate::IsStale(const Question& answered)
{
    const auto stale = std::find(m_stale.begin(), m_stale.end(), answered);
    if (stale == m_stale.end())
        return false;
    m_stale.erase(stale);
    return true;
}

// The highest group that is left, or nothing.
void AnswerGate::AwaitGroup()
{
    m_awaited = m_groups.empty() ? Question{Kind::Nothing, 0}
                                 : Question{Kind::SceneMembership, m_groups.back()};
}

// The highest scene that is left in the group, or the next group.
void AnswerGate::AwaitScene()
{
    if (!m_scenesToView.empty())
    {
        m_awaited = {Kind::ViewScene, m_scenesToView.back()};
        return;
    }
    m_groups.pop_back();
    AwaitGroup();
}

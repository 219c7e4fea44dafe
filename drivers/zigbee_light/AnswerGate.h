#pragma once

#include "nxshared/IZclListener.h"
#include "nxshared/NxTypes.h"

#include <vector>

// Stands between a light's answers and the LightSceneMember that walks its tables, and drops the
// answer to a question of an earlier walk.
//
// LightSceneMember does not check which question an answer belongs to. When a walk is cut short,
// the answer to its last question may still be under way. The next walk would take it as its own,
// step on a second time, and skip groups and scenes. So this follows each walk and knows what it
// waits for. It drops an answer that an earlier walk waited for and the present one does not: one
// answer for each walk that was cut short. Everything else passes. Owned by the driver; lives on
// its thread.
class AnswerGate : public IZclListener
{
public:
    // `listener` gets what passes; it must outlive this.
    explicit AnswerGate(IZclListener& listener) : m_listener(listener) {}

    // A walk begins. `wanted` are its scenes; they must not change until the next one begins.
    void Begin(const SceneDetailsLightMap& wanted);

    void OnZclSceneMembership(unsigned short group, const SceneVec& scenes) override;
    void OnZclViewScene(unsigned scene, int level, int time) override;
    void OnZclGroupMembership(const nx::GroupIdVec& groups) override;
    void OnZclSceneCount(int count) override;

    // No part of a walk; always passes.
    void OnAddSceneFailure(unsigned scene, unsigned char status) override;

private:
    enum class Kind
    {
        Nothing,
        Groups,
        SceneCount,
        SceneMembership,
        ViewScene,
    };

    // What the light was asked; `id` is the group or the scene, if any.
    struct Question
    {
        Kind kind;
        unsigned id;
        bool operator==(const Question& other) const
        {
            return kind == other.kind && id == other.id;
        }
    };

    bool IsAwaited(const Question& answered) const { return answered == m_awaited; }
    bool IsStale(const Question& answered);
    void AwaitGroup();
    void AwaitScene();

    IZclListener& m_listener;
    const SceneDetailsLightMap* m_wanted = nullptr;
    // What the walk waits for, Nothing when all is answered.
    Question m_awaited = {Kind::Nothing, 0};
    // What walks waited for when they were cut short.
    std::vector<Question> m_stale;
    // Not yet finished, ascending; the last one is next.
    nx::GroupIdVec m_groups;
    SceneVec m_scenesToView;
};

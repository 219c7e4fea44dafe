#pragma once

#include "nxshared/IZclListener.h"
#include "nxshared/NxTypes.h"

#include <vector>

// Stands between a light's answers and the LightSceneMember that walks its tables, and drops the
// answer to a question of an earlier walk.
//
// A walk takes every answer for what it says. After one that was cut short, the answer to its last
// question may still be under way; taken by the next walk it would drive that walk a second time,
// past groups and scenes that nobody asked for. So this follows each walk, knows what it waits for,
// and drops an answer that a walk before waited for and the present one does not: one for each walk
// that was cut short. Everything else comes through. Owned by the driver; lives on its thread.
class AnswerGate : public IZclListener
{
public:
    // `listener` gets what comes through; it must outlive this.
    explicit AnswerGate(IZclListener& listener) : m_listener(listener) {}

    // A walk begins. `wanted` are its scenes and must stand still until the next one begins.
    void Begin(const SceneDetailsLightMap& wanted);

    void OnZclSceneMembership(unsigned short group, const SceneVec& scenes) override;
    void OnZclViewScene(unsigned scene, int level, int time) override;
    void OnZclGroupMembership(const nx::GroupIdVec& groups) override;
    void OnZclSceneCount(int count) override;

    // No part of a walk; always comes through.
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

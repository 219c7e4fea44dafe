#pragma once

#include "SceneDoubles.h"
#include "lighting_common/AdvSceneManager.h"
#include "lighting_common/IAdvSceneOwner.h"

#include <functional>
#include <memory>

namespace scene_test
{
// Writes down what the manager asks of its driver. The two questions are written down only while
// `noteQuestions`; the hooks run inside the operation that they are
// named after, as copies, so that they may clear themselves.
class RecordingAdvOwner : public IAdvSceneOwner
{
public:
    explicit RecordingAdvOwner(Record& record) : m_record(record) {}

    void ExecuteScene(unsigned sceneId) override
    {
        m_record.Note("execute " + std::to_string(sceneId));
    }
    void SetSceneLevel(unsigned char level) override
    {
        m_record.Note("level " + std::to_string(level));
    }
    void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) override
    {
        EXPECT_EQ(packet->GetType(), NxMIB::Invoke);
        m_record.Note(packet->ProperToString());
        if (const auto hook = onSend)
            hook(*packet);
    }
    void SceneRampStopped() override { m_record.Note("ramp stopped"); }
    void ScenePushConflict(unsigned sceneId, const std::string& reason) override
    {
        m_record.Note("conflict " + std::to_string(sceneId) + " " + reason);
        if (const auto hook = onConflict)
            hook();
    }
    bool ForceScenePush() override
    {
        if (noteQuestions)
            m_record.Note("force?");
        if (const auto hook = onForce)
            hook();
        return force;
    }
    bool SceneModeEnabled() override
    {
        if (noteQuestions)
            m_record.Note("mode?");
        if (const auto hook = onMode)
            hook();
        return mode;
    }
    unsigned StartSyncTimer() override
    {
        if (const auto hook = onStart)
            hook();
        m_record.Note("start timer " + std::to_string(++m_timers));
        return m_timers;
    }
    void KillSyncTimer(unsigned timerId) override
    {
        m_record.Note("kill timer " + std::to_string(timerId));
    }

    bool mode = false;
    bool force = false;
    bool noteQuestions = false;
    std::function<void(const NxMIBPacket&)> onSend;
    std::function<void()> onConflict;
    std::function<void()> onStart;
    std::function<void()> onForce;
    std::function<void()> onMode;

private:
    Record& m_record;
    unsigned m_timers = 0;
};

// One step as the controller writes it.
inline std::string Step(int level, long long delay = 0, long long rate = 1000)
{
    return "<e><delay>" + std::to_string(delay) + "</delay><level>" + std::to_string(level) +
           "</level><rate>" + std::to_string(rate) + "</rate></e>";
}

// Steps that go to these levels.
inline std::string Steps(const std::vector<int>& levels)
{
    std::string steps;
    for (const int level : levels)
        steps += Step(level);
    return steps;
}

// The requests for a step with rate 1000 and no delay, for removing one, for one as it is held.
inline std::string Sad(const std::string& id, const std::string& level,
                       const std::string& flags = "08")
{
    return "nx.als.sad " + id + " 00000000 000003e8 " + level + " " + flags;
}
inline std::string Srm(const std::string& key)
{
    return "nx.als.srm 0000" + key;
}

// An AdvSceneManager between recording doubles.
class AdvSceneFixture : public testing::Test
{
protected:
    AdvSceneFixture() { m_manager.setOwner(&m_owner); }

    // --- the controller -------------------------------------------------------------------------

    void Push(const std::string& scene, const std::string& elements, const Params& more = {})
    {
        Params params = {{"SCENE_ID", scene}, {"ELEMENTS", elements}};
        params.insert(params.end(), more.begin(), more.end());
        m_host.Command("PUSH_SCENE", params);
    }
    void Push(int scene, const std::vector<int>& levels, const Params& more = {})
    {
        Push(std::to_string(scene), Steps(levels), more);
    }
    void Remove(const std::string& scene) { m_host.Command("REMOVE_SCENE", {{"SCENE_ID", scene}}); }
    void Activate(const std::string& scene)
    {
        m_host.Command("ACTIVATE_SCENE", {{"SCENE_ID", scene}});
    }
    void AllPushed() { m_host.Command("ALL_SCENES_PUSHED"); }

    // --- the device -----------------------------------------------------------------------------

    void Acknowledge(const std::string& key) { m_host.Reply("nx.als.sad", {key}); }
    void HasElement(const std::string& sequence, const std::string& id)
    {
        m_host.Trap("nx.als.sga", {sequence, id});
    }
    void Report(const std::string& id, const std::string& level, const std::string& flags = "08")
    {
        m_host.Reply("nx.als.sgt", {id, "00000000", "000003e8", level, flags});
    }
    void TimerExpires() { m_manager.OnTimerExpired(1, 0); }

    // --- what happened --------------------------------------------------------------------------

    Lines Happened() { return m_record.Take(); }

    // Nothing is looked at: for what a test builds on.
    void Forget() { m_record.Take(); }

    bool Holds(unsigned key) const { return m_manager.getElement(key).id == key; }

    Record m_record;
    TestHost m_host;
    RecordingAdvOwner m_owner{m_record};
    AdvSceneManager m_manager{&m_host.Commands(), &m_host.Mibs()};
};
} // namespace scene_test

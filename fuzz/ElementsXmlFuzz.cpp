// Any text as the elements of a pushed scene, with the first octets as the push's other
// parameters: the store stays one that can be walked, summed and emptied.

#include "embedded_host/Messages.h"
#include "embedded_host/internal/Dispatchers.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/AdvSceneManager.h"
#include "lighting_common/IAdvSceneOwner.h"
#include "nxshared/NxMIBPacket.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace
{
constexpr std::size_t HEAD_OCTETS = 4;

class NoOneUnhandled : public embedded_host::UnhandledSink
{
public:
    void OnUnhandled(const std::string&) override { fuzzing::Require(false); }
};

// A driver that answers every question from the octets and removes the scene inside a conflict, as
// the wired dimmer's driver does.
class FuzzedOwner : public IAdvSceneOwner
{
public:
    explicit FuzzedOwner(CmdDispatcher& commands) : m_commands(commands) {}

    void ExecuteScene(unsigned) override {}
    void SetSceneLevel(unsigned char) override {}
    void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) override
    {
        fuzzing::Require(packet && !packet->GetMib().empty());
    }
    void SceneRampStopped() override {}
    void ScenePushConflict(unsigned sceneId, const std::string&) override
    {
        embedded_host::CmdMessage remove("REMOVE_SCENE");
        remove.AddParam("SCENE_ID", "INT", static_cast<long long>(sceneId));
        m_commands.Dispatch(remove, nullptr, CmdDispatcher::CONTROLLER);
    }
    bool ForceScenePush() override { return flags & 1; }
    bool SceneModeEnabled() override { return flags & 2; }
    unsigned StartSyncTimer() override { return 1; }
    void KillSyncTimer(unsigned) override {}

    unsigned flags = 0;

private:
    CmdDispatcher& m_commands;
};

void Push(CmdDispatcher& commands, long long scene, unsigned flags, const std::string& elements)
{
    embedded_host::CmdMessage push("PUSH_SCENE");
    push.AddParam("SCENE_ID", "INT", scene);
    push.AddParam("FLASH", "BOOL", std::string(flags & 4 ? "true" : "false"));
    push.AddParam("FROM_GROUP", "BOOL", std::string(flags & 8 ? "true" : "false"));
    push.AddParam("IGNORE_RAMP", "BOOL", std::string(flags & 16 ? "true" : "false"));
    push.AddParam("ELEMENTS", "STRING", elements);
    commands.Dispatch(push, nullptr, CmdDispatcher::CONTROLLER);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    fuzzing::SilenceLog();
    if (size < HEAD_OCTETS)
        return 0;
    NoOneUnhandled unhandled;
    embedded_host::CmdTable commands(unhandled);
    embedded_host::MibTable mibs;
    FuzzedOwner owner(commands);
    AdvSceneManager manager(&commands, &mibs);
    manager.setOwner(&owner);

    const auto scene = static_cast<long long>(data[0] | data[1] << 8 | data[2] << 16) - 0x800000;
    owner.flags = data[3];
    const std::string elements(reinterpret_cast<const char*>(data) + HEAD_OCTETS,
                               size - HEAD_OCTETS);
    Push(commands, scene, data[3], elements);
    Push(commands, scene, data[3] >> 2, elements);
    manager.getCRC();
    for (unsigned key = 0; key <= UINT16_MAX; key += 0x800)
        manager.IsFlashScene(key);
    manager.OnCmdAllScenesPushed();
    manager.OnTimerExpired(1, 0);
    manager.ClearAllScenes();
    fuzzing::Require(manager.getCRC() == 0);
    return 0;
}

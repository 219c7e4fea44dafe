// Any sequence of traps, replies, commands and expiries around advanced scenes, with parameters of
// any text. One line of the input is one of them: its first letter says which, the rest are its
// parameters, separated by blanks.

#include "embedded_host/Messages.h"
#include "embedded_host/internal/Dispatchers.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/AdvSceneManager.h"
#include "lighting_common/IAdvSceneOwner.h"
#include "nxshared/NxMIBPacket.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

namespace
{
class IgnoresUnhandled : public embedded_host::UnhandledSink
{
public:
    void OnUnhandled(const std::string&) override {}
};

// A driver that does nothing but check what it is given.
class QuietOwner : public IAdvSceneOwner
{
public:
    void ExecuteScene(unsigned) override {}
    void SetSceneLevel(unsigned char) override {}
    void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) override
    {
        fuzzing::Require(packet && packet->GetType() == NxMIB::Invoke);
    }
    void SceneRampStopped() override {}
    void ScenePushConflict(unsigned, const std::string&) override {}
    bool ForceScenePush() override { return false; }
    bool SceneModeEnabled() override { return false; }
    unsigned StartSyncTimer() override { return ++m_timers; }
    void KillSyncTimer(unsigned timerId) override { fuzzing::Require(timerId <= m_timers); }

private:
    unsigned m_timers = 0;
};

class Exchange
{
public:
    Exchange() { m_manager.setOwner(&m_owner); }

    void Line(const std::string& line)
    {
        std::istringstream words(line.substr(1));
        NxMIBPacket packet(NxMIB::Trap, "nx.als");
        std::string word;
        std::string first;
        while (std::getline(words, word, ' '))
        {
            if (packet.GetParamCount() == 0)
                first = word;
            packet.AddParam(word);
        }
        Happen(line[0], packet, first);
    }

    void End()
    {
        m_manager.getCRC();
        m_manager.ClearAllScenes();
        fuzzing::Require(m_manager.getCRC() == 0);
    }

private:
    void Happen(char kind, const NxMIBPacket& packet, const std::string& first)
    {
        switch (kind)
        {
        case 't':
            return m_manager.OnTrapGetAll(packet);
        case 'd':
            return m_manager.OnTrapSceneDone(packet);
        case 'o':
            return m_manager.OnRspGetOne(packet, nullptr);
        case 'a':
            return m_manager.OnRspSceneAdd(packet, nullptr);
        case 'g':
            return m_manager.OnRspGetAll(packet, &packet);
        case 'n':
            return m_manager.Online();
        case 'x':
            return m_manager.OnTimerExpired(1, 0);
        case 'p':
            return m_manager.OnCmdAllScenesPushed();
        case 'm':
            return m_manager.MarkAllSynced();
        default:
            return Command(kind, first);
        }
    }

    void Command(char kind, const std::string& scene)
    {
        const char* name = kind == 'P'   ? "PUSH_SCENE"
                           : kind == 'R' ? "REMOVE_SCENE"
                           : kind == 'A' ? "ACTIVATE_SCENE"
                           : kind == 'U' ? "RAMP_SCENE_UP"
                                         : "STOP_SCENE_RAMP";
        embedded_host::CmdMessage message(name);
        message.AddParam("SCENE_ID", "STRING", scene);
        message.AddParam("RATE", "STRING", scene);
        message.AddParam("ELEMENTS", "STRING", std::string("<e><level>1</level></e><e/>"));
        m_commands.Dispatch(message, nullptr, CmdDispatcher::CONTROLLER);
    }

    IgnoresUnhandled m_unhandled;
    embedded_host::CmdTable m_commands{m_unhandled};
    embedded_host::MibTable m_mibs;
    QuietOwner m_owner;
    AdvSceneManager m_manager{&m_commands, &m_mibs};
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    fuzzing::SilenceLog();
    Exchange exchange;
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    std::string line;
    while (std::getline(lines, line))
        if (!line.empty())
            exchange.Line(line);
    exchange.End();
    return 0;
}

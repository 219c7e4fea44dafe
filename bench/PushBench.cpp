// A push of a scene with 16 elements, from the command to the last packet, against pugixml parsing
// the same text alone.

#include "bench/Bench.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Messages.h"
#include "lighting_common/AdvSceneManager.h"
#include "lighting_common/IAdvSceneOwner.h"
#include "nxshared/NxMIBPacket.h"

#include <string>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>
#include <pugixml.hpp>

namespace
{
std::string Elements()
{
    std::string text;
    for (int i = 0; i < 16; ++i)
        text += fmt::format("<element><delay>{}</delay><level>{}</level><rate>{}</rate></element>",
                            i * 100, i * 6, 1000 + i);
    return text;
}

class Owner : public IAdvSceneOwner
{
public:
    void ExecuteScene(unsigned) override {}
    void SetSceneLevel(unsigned char) override {}
    void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) override
    {
        benchmark::DoNotOptimize(packet->GetParamCount());
        ++packets;
    }
    void SceneRampStopped() override {}
    void ScenePushConflict(unsigned, const std::string&) override {}
    // Everything is sent again each time.
    bool ForceScenePush() override { return true; }
    bool SceneModeEnabled() override { return false; }
    unsigned StartSyncTimer() override { return 0; }
    void KillSyncTimer(unsigned) override {}
    std::size_t packets = 0;
};

void PushOurs(benchmark::State& state)
{
    embedded_host::ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
    AdvSceneManager manager(nullptr, nullptr);
    Owner owner;
    manager.setOwner(&owner);
    embedded_host::CmdMessage push("PUSH_SCENE");
    push.AddParam("SCENE_ID", "INT", 5LL);
    push.AddParam("ELEMENTS", "STRING", Elements());
    const bench::CountAllocations count(state);
    for (auto _ : state)
        manager.OnCmdPushScene(push);
    if (owner.packets != static_cast<std::size_t>(state.iterations()) * 16)
        state.SkipWithError("not every element was sent");
}

void PushPugixml(benchmark::State& state)
{
    const std::string text = "<static>" + Elements() + "</static>";
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        pugi::xml_document document;
        benchmark::DoNotOptimize(static_cast<bool>(document.load_buffer(text.data(), text.size())));
    }
}

BENCHMARK(PushOurs)->Name("push/ours");
BENCHMARK(PushPugixml)->Name("push/pugixml");
} // namespace

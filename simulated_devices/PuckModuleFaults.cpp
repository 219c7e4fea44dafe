#include "simulated_devices/PuckModuleFaults.h"

namespace simulated
{
namespace
{
using Base = PuckModuleFault;

constexpr std::chrono::milliseconds BOUNCE_TIME{3};
constexpr FaultAttribute BOUNCES = {"bounces", FaultAttribute::Unit::Count, 1, 20, 3};

std::unique_ptr<Base> MakeChatters(const FaultValues& values)
{
    return std::make_unique<Chatters>(static_cast<unsigned>(values.at(BOUNCES.name)));
}
} // namespace

const FaultTable<PuckModuleFault>& PuckModuleFaultTable()
{
    static const FaultTable<Base> table = {
        {{"loses", {Every()}, "loses every nth message"}, &MakeEvery<Base, Loses<Base>>},
        {{"late", {Every(), By()}, "sends every nth message that much later"},
         &MakeEveryBy<Base, Delays<Base>>},
        {{"repeats", {Every(), By()}, "sends every nth message again, that much later"},
         &MakeEveryBy<Base, Repeats<Base>>},
        {{"loses_releases", {}, "never reports the end of a push or hold, nor a click"},
         &Make<Base, LosesReleases>},
        {{"chatters", {BOUNCES}, "reports so many hold ends and pushes after each push"},
         &MakeChatters},
        {{"hears_badly", {Every()}, "does not hear every nth message"},
         &MakeEvery<Base, HearsBadly<Base>>},
        {{"forgets", {}, "has the settings of the factory after a power failure"},
         &Make<Base, Forgets<Base>>},
    };
    return table;
}

bool LosesReleases::OnSend(const Message& message, std::chrono::milliseconds&, Departures&)
{
    return message.mib != "nx.dmx.he" && message.mib != "nx.dmx.sc";
}

bool Chatters::OnSend(const Message& message, std::chrono::milliseconds& delay, Departures& also)
{
    if (message.mib != "nx.dmx.bp")
        return true;
    Message end = message;
    end.mib = "nx.dmx.he";
    std::chrono::milliseconds at = delay;
    for (unsigned i = 0; i < m_bounces; ++i)
    {
        also.push_back({end, at += BOUNCE_TIME});
        also.push_back({message, at += BOUNCE_TIME});
    }
    return true;
}
} // namespace simulated

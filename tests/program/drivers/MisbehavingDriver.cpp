// Driver libraries that are wrong in one way each; which one, the build says.

#include "NxLibDriverBases/NxBaseDriver.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"

#ifdef OTHER_FACTS
extern "C" __attribute__((visibility("default"))) const unsigned NxDriverFactsVersion = 999;
class IDriverFacts;
#elif defined(NO_FACTS) || defined(FACTS)
#include "NxLibDriverBases/DriverFacts.h"
#endif

#include <cstdlib>
#include <stdexcept>

#ifdef OTHER_VERSION
extern "C" __attribute__((visibility("default"))) const unsigned NxDriverInterfaceVersion = 999;
#elif !defined(NO_VERSION)
#include "NxLibDriverBases/CreateDriver.h"
#endif

namespace
{
volatile unsigned g_depth = 0;

unsigned Recurse(unsigned depth)
{
    volatile char block[1024] = {};
    block[depth % sizeof block] = 1;
    ++g_depth;
    return Recurse(depth + 1) + static_cast<unsigned>(block[0]);
}

class Misbehaving : public NxBaseDriver
{
public:
    explicit Misbehaving(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_LIGHT)
    {
        CmdDispatcher& commands = GetCmdDispatcher();
        commands.RegisterCmd0("FINE", [this] { FireEvent(1); });
        commands.RegisterCmd0("ABORT", [] { std::abort(); });
        commands.RegisterCmd0("READ_NOWHERE", [] { g_depth = *g_nowhere; });
        commands.RegisterCmd0("RECURSE", [] { Recurse(0); });
        commands.RegisterCmd0("CRASH_LATER", [this] { AddTimer(5, UNIT_MILLISECONDS, 1); });
        commands.RegisterCmd0("SPIN",
                              [this]
                              {
                                  m_spins = true;
                                  AddTimer(0, UNIT_MILLISECONDS, 1);
                              });
    }
    void OnTimerExpired(ID::Timer, time_t) override
    {
        if (!m_spins)
            std::abort();
        AddTimer(0, UNIT_MILLISECONDS, 1);
    }

private:
    static inline const volatile unsigned* volatile g_nowhere = nullptr;
    static constexpr unsigned UNIT_MILLISECONDS = ITimerManager::UNIT_MILLISECONDS;
    bool m_spins = false;
};
} // namespace

#ifdef FACTS
// Knows one fact, which it fails to take, and one query, which it fails to answer.
class FailingFacts : public IDriverFacts
{
public:
    std::string WhyNot(const std::string& fact, const NxDriverValue&) const override
    {
        return fact == "weather" ? "" : "no such fact";
    }
    void SetFact(const std::string&, const NxDriverValue&) override
    {
        throw std::runtime_error("it rains");
    }
    bool Answer(const std::string& query, const NxDriverValues& params,
                NxDriverValues& answer) const override
    {
        if (query == "fails")
            throw std::runtime_error("no idea");
        answer.emplace_back("", params.empty() ? NxDriverValue(1.5) : params.front().second);
        return query == "echo";
    }
};

extern "C" __attribute__((visibility("default"))) IDriverFacts* GetDriverFacts(NxBaseDriver&)
{
    static FailingFacts facts;
    return &facts;
}
#endif

#ifndef NO_ENTRY_POINT
extern "C" __attribute__((visibility("default"))) NxBaseDriver*
CreateDriver(IInstanceManager& instances)
{
#ifdef MAKES_NONE
    static_cast<void>(instances);
    return nullptr;
#elif defined(THROWS)
    throw std::runtime_error("no licence for \"it\"");
#else
    return new Misbehaving(instances);
#endif
}
#endif

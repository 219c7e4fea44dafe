// Driver libraries that are wrong in one way each; which one, the build says.

#include "NxLibDriverBases/NxBaseDriver.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"

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

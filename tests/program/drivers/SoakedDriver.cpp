// A driver with one defect of several; which one, the house file says in <DEFECT>. Without one it
// is in order.

#include "NxLibDriverBases/CreateDriver.h"
#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "nxshared/Assert.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
// What is kept for ever. Somebody knows it still, so that no other checker finds it first.
std::vector<std::string*>& Forgotten()
{
    static auto* const forgotten = new std::vector<std::string*>;
    return *forgotten;
}

// Whose timer the driver forgets.
class Blinker : public ITimerManagerCallback
{
public:
    void OnTimerExpired(ID::Timer, time_t) override {}
};

class Soaked : public NxBaseMibDriver
{
public:
    explicit Soaked(IInstanceManager& instances) : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, 1)
    {
        CmdDispatcher& commands = GetCmdDispatcher();
        commands.RegisterCmd1("STORE", [this](const ICmdMessage& message) { Store(message); });
        commands.RegisterCmd0("RECALL", [this] { Recall(); });
        GetMibDispatcher().RegisterTrap("soaked.report",
                                        [this](const NxMIBPacket& trap) { OnReport(trap); });
    }
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        const bool done = NxBaseMibDriver::Initialize(id, config, state);
        m_defect = config->GetChildData("DEFECT");
        if (state)
            m_shelf = state->GetChildDataNumber("SHELF");
        return done;
    }
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long) override
    {
        const auto state = nx::CreateXmlNode();
        if (m_defect != "forgets")
            state->AddChild("SHELF", m_shelf);
        else if (m_shelf != 0)
            state->AddChild("FULL", true);
        return state;
    }
    void OnTimerExpired(ID::Timer, time_t) override
    {
        if (m_defect == "crashes_later")
            std::abort();
    }

private:
    void Store(const ICmdMessage& message)
    {
        m_shelf = message.GetParamInt("SHELF_NUMBER");
        if (m_defect == "leaks")
            Forgotten().push_back(new std::string(100, 'x'));
        if (m_defect == "starts_timers")
            AddTimer(1, ITimerManager::UNIT_SECONDS, 0);
        if (m_defect == "leaves_timer")
            GetTimerManager().AddTimer(60000ul, 0, 0u, &m_blinker);
        if (m_defect == "crashes_later" && m_shelf > 4)
            AddTimer(5, ITimerManager::UNIT_SECONDS, 1);
    }

    void Recall()
    {
        if (m_defect == "crashes" && m_shelf > 99)
            std::abort();
        if (m_defect == "exits" && m_shelf > 99)
            std::exit(0);
        while (m_defect == "spins" && m_shelf > 99)
            ++g_turns;
        if (m_defect == "reads_beyond" && m_shelf > 99)
            ReadBeyond();
    }

    // Nobody but a sanitizer notices it.
    static void ReadBeyond()
    {
        const std::vector<unsigned> numbers(4);
        const volatile unsigned* const end = numbers.data() + numbers.size();
        g_turns = *end;
    }

    void OnReport(const NxMIBPacket& trap)
    {
        if (m_defect == "reports")
            nx::AssertWrite(__FILE__, __LINE__, nx::StackTrace());
        if (m_defect == "throws" && trap.GetParams().size() > 2)
            throw std::length_error("too long a report");
    }

    static inline volatile unsigned g_turns = 0;
    static inline Blinker m_blinker;
    std::string m_defect;
    int m_shelf = 0;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new Soaked(instances);
}

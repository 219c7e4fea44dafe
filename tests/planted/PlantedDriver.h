#pragma once

#include "NxLibDriverBases/CreateDriver.h"
#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ITimerManager.h"

#include <functional>
#include <map>
#include <string>

namespace planted
{
// The base of small drivers, each of which has one defect that shows itself long after it has
// struck, and only when chance has it so. What they stand for is in each one's own words; what is
// tested is that the tools for flight records find it.
//
// Each tells in the variable TRUTH when its defect strikes, which a driver in the field would not,
// and fires the event SYMPTOM when the harm is seen.
class PlantedDriver : public NxBaseMibDriver
{
public:
    static constexpr unsigned SYMPTOM = 9000;
    static constexpr unsigned TRUTH = 1;

    explicit PlantedDriver(IInstanceManager& instances)
        : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, 1)
    {
    }

    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        AddVariable(TRUTH, "Truth", "", 4);
        return NxBaseMibDriver::Initialize(id, config, state);
    }

    void OnTimerExpired(ID::Timer timer, time_t) override
    {
        const auto found = m_timers.find(timer);
        if (found == m_timers.end())
            return;
        const std::function<void()> what = std::move(found->second);
        m_timers.erase(found);
        what();
    }

protected:
    void On(const std::string& command, const std::function<void(const ICmdMessage&)>& what)
    {
        GetCmdDispatcher().RegisterCmd1(command, what);
    }

    void After(int ms, std::function<void()> what)
    {
        const ID::Timer timer =
            AddTimer(static_cast<unsigned long>(ms), ITimerManager::UNIT_MILLISECONDS, 1);
        m_timers[timer] = std::move(what);
    }

    static int Random(int min, int max) { return nx::crypto::random(min, max); }

    void TellTruth(const std::string& what) { SetVariable(TRUTH, what); }
    void ShowSymptom() { FireEvent(SYMPTOM); }

private:
    std::map<ID::Timer, std::function<void()>> m_timers;
};
} // namespace planted

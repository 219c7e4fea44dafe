#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"
#include "tests/planted/PlantedDriver.h"

#include <boost/make_shared.hpp>

namespace
{
const std::string HOLD_TIME = "nx.dmx.bmc";

// A keypad whose driver asks it for its settings and waits for the reply. The defect: that it waits
// is kept over a restart, so that when the reply comes after one, nothing was asked by this life
// and the reply is taken for a change at the keypad. It is seen when somebody looks.
class ReplyMeetsRestart : public planted::PlantedDriver
{
public:
    explicit ReplyMeetsRestart(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("ASK", [this](const ICmdMessage&) { Ask(); });
        On("LOOK", [this](const ICmdMessage&) { Look(); });
        GetMibDispatcher().RegisterResponse(
            HOLD_TIME, [this](const NxMIBPacket&, const NxMIBPacket*) { TakeReply(); });
    }

    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        m_waitsSinceBefore = state && state->GetChildDataBool("WAITS");
        m_changed = state && state->GetChildDataBool("CHANGED");
        return PlantedDriver::Initialize(id, config, state);
    }

    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long) override
    {
        const auto state = nx::CreateXmlNode();
        state->Initialize("State", "");
        state->AddChild("WAITS", m_waits);
        state->AddChild("CHANGED", m_changed);
        return state;
    }

private:
    void Ask()
    {
        m_waits = true;
        const auto query = boost::make_shared<NxMIBPacket>(NxMIB::Query, HOLD_TIME);
        query->AddHexParam<char>(1);
        SendMibPacket(query, QUEUE_RULE_DEFAULT);
    }

    void TakeReply()
    {
        if (m_waitsSinceBefore && !m_waits)
        {
            m_changed = true;
            TellTruth("reply taken for a change");
        }
        m_waits = m_waitsSinceBefore = false;
    }

    void Look()
    {
        if (m_changed)
            ShowSymptom();
    }

    // Whether this life waits for a reply, and whether the life before did when it ended.
    bool m_waits = false;
    bool m_waitsSinceBefore = false;
    bool m_changed = false;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new ReplyMeetsRestart(instances);
}

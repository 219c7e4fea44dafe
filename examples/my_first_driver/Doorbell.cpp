#include "Doorbell.h"

#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

namespace
{
// What goes over the wire: the chime's own message, with 01 for on and 00 for off.
const std::string CHIME = "bell.chime";
// The push at the door, as the module numbers its contacts, and what it reports of it.
constexpr int DOOR_CONTACT = 7;
const std::string PUSHED = "nx.dmx.bp";

constexpr unsigned DEFAULT_RING_SECONDS = 3;
constexpr unsigned MAX_RING_SECONDS = 60;

const std::string CHIME_CONNECTED = "chime_connected";
const std::string BELL = "bell";

constexpr unsigned PUSHES_VARIABLE = 2000;
constexpr unsigned VARIABLE_KIND = 4;
} // namespace

Doorbell::Doorbell(IInstanceManager& instances)
    : NxBasePuckDriver(instances, NX_DRIVER_LIGHT), m_ringSeconds(DEFAULT_RING_SECONDS)
{
    CmdDispatcher& commands = GetCmdDispatcher();
    commands.RegisterCmd0("RING", boost::bind(&Doorbell::Ring, this));
    commands.RegisterCmd1("SET_QUIET",
                          boost::bind(&Doorbell::OnCmdSetQuiet, this, boost::placeholders::_1));
}

Doorbell::~Doorbell()
{
    KillTimer(m_ringTimer);
    RemoveVariable(PUSHES_VARIABLE);
}

bool Doorbell::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                          boost::shared_ptr<nx::XmlNode> state)
{
    const bool result = NxBasePuckDriver::Initialize(id, config, state);
    const unsigned long seconds = config->GetChildDataULONG("RING_SECONDS");
    if (seconds >= 1 && seconds <= MAX_RING_SECONDS)
        m_ringSeconds = static_cast<unsigned>(seconds);
    if (state)
        m_quiet = state->GetChildDataBool("QUIET");
    AddVariable(PUSHES_VARIABLE, "Pushes", "0", VARIABLE_KIND);
    return result;
}

boost::shared_ptr<nx::XmlNode> Doorbell::GetPersistState(unsigned long flags)
{
    const auto state = NxBasePuckDriver::GetPersistState(flags);
    state->AddChild("QUIET", m_quiet);
    return state;
}

void Doorbell::OnTrapBtnAction(const NxMIBPacket& trap)
{
    NxBasePuckDriver::OnTrapBtnAction(trap);
    int contact = 0;
    if (trap.GetMib() != PUSHED || !trap.GetHexParams(contact) || contact != DOOR_CONTACT)
        return;
    SetVariable(PUSHES_VARIABLE, std::to_string(++m_pushes));
    if (!m_quiet)
        Ring();
}

void Doorbell::OnTimerExpired(ID::Timer timer, time_t time)
{
    if (timer == m_ringTimer)
        Silence();
    else
        NxBasePuckDriver::OnTimerExpired(timer, time);
}

std::string Doorbell::WhyNot(const std::string& fact, const NxDriverValue& value) const
{
    if (fact != CHIME_CONNECTED)
        return "a doorbell has no fact \"" + fact + "\"";
    return std::holds_alternative<bool>(value) ? "" : "\"" + fact + "\" is true or false";
}

void Doorbell::SetFact(const std::string&, const NxDriverValue& value)
{
    m_hasChime = std::get<bool>(value);
    if (!m_hasChime && m_ringTimer != 0)
        Silence();
}

bool Doorbell::Answer(const std::string& query, const NxDriverValues& params,
                      NxDriverValues& answer) const
{
    if (query != BELL || !params.empty())
        return false;
    answer.emplace_back("pushes", std::int64_t{m_pushes});
    answer.emplace_back("quiet", m_quiet);
    answer.emplace_back("ringing", m_ringTimer != 0);
    return true;
}

void Doorbell::OnCmdSetQuiet(const ICmdMessage& message)
{
    m_quiet = message.GetParamBool("QUIET");
    if (m_quiet && m_ringTimer != 0)
        Silence();
    RequestPersist();
}

void Doorbell::Ring()
{
    if (!m_hasChime)
        return;
    const bool ringing = m_ringTimer != 0;
    KillTimer(m_ringTimer);
    m_ringTimer = AddTimer(m_ringSeconds, ITimerManager::UNIT_SECONDS, 1);
    if (ringing)
        return;
    SendChime(true);
    FireEvent(EVENT_RINGING);
}

void Doorbell::Silence()
{
    KillTimer(m_ringTimer);
    m_ringTimer = 0;
    SendChime(false);
    FireEvent(EVENT_SILENT);
}

void Doorbell::SendChime(bool on)
{
    const auto packet = boost::make_shared<NxMIBPacket>(NxMIB::Invoke, CHIME);
    packet->AddHexParam<char>(on ? 1 : 0);
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

// What the host looks for and can do without: what a doorbell can be told and asked.
extern "C" IDriverFacts* GetDriverFacts(NxBaseDriver& driver)
{
    return dynamic_cast<Doorbell*>(&driver);
}

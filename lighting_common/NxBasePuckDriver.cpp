#include "lighting_common/NxBasePuckDriver.h"

#include "lighting_common/ContactButton.h"
#include "lighting_common/Names.h"
#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/CondDispatcher.h"
#include "nxshared/IBindMessage.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ICondMessage.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"

#include <utility>

#include <boost/bind.hpp>
#include <boost/make_shared.hpp>

namespace
{
constexpr const char* SOURCE = "lighting_common/NxBasePuckDriver";

// The line that a report about a wrong child of the persisted contacts carries.
constexpr int LINE_WRONG_CONTACT_CHILD = 63;

// The host's code of the protocol that puck modules speak.
// The host's code of a variable that programming may read only.
constexpr unsigned VARIABLE_KIND = 4;

// The number after those of the contacts is never a button.
constexpr int FIRST_CONTACT_NUMBER = ContactButton::FIRST_DEVICE_NUMBER;
constexpr int NO_BUTTON_NUMBER = 9;

// What the device is asked when its hold time is wanted.
constexpr char HOLD_TIME_QUERY = 1;

// Marks the remote actions that mean contacts.
const std::string CONTACT_ACTION = "_CNT";

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// A decimal number of a message, cut to 32 bits; a negative one is far outside every sequence.
unsigned ToIndex(const std::string& text)
{
    return static_cast<unsigned>(nx::ToInt(text));
}

// What a button does about a trap.
void ActOnTrap(PuckButton& button, const NxMIBPacket& trap)
{
    const std::string& mib = trap.GetMib();
    if (mib == names::mib::DMX_BP)
    {
        const puck::MIBS::ButtonBehavior behavior = button.GetBehavior();
        if (behavior != puck::MIBS::BEHAVIOR_CLICK_TARGET_15 &&
            behavior != puck::MIBS::BEHAVIOR_CLICK_NO_TARGET)
            button.DoPush();
    }
    else if (mib == names::mib::DMX_HB || mib == names::mib::DMX_HC)
        button.OnHoldReceived();
    else if (mib == names::mib::DMX_HE)
        button.DoRelease();
    else if (mib == names::mib::DMX_SC)
        button.DoClick();
    else if (mib == names::mib::DMX_CC)
    {
        int count = 0;
        trap.GetHexParam<int>(count, 1); // deliberate: an unreadable count is 0
        button.DoMultipleClick(count);
    }
}
} // namespace

NxBasePuckDriver::NxBasePuckDriver(IInstanceManager& instances, NxDriverType type)
    : NxBaseMibDriver(instances, type, PROTOCOL_MIB)
{
    RegisterCommands();
    RegisterTraps();
    RegisterResponses();
    RegisterConditionals();
}

NxBasePuckDriver::~NxBasePuckDriver()
{
    for (ContactButton* button : buttons)
    {
        RemoveDynamicBinding(button->GetLinkControlBinding());
        RemoveVariable(button->GetVariableID());
        delete button;
    }
}

void NxBasePuckDriver::RegisterCommands()
{
    CmdDispatcher& dispatcher = GetCmdDispatcher();
    dispatcher.RegisterCmd(names::general::GET_PROPERTIES,
                           boost::bind(&NxBasePuckDriver::OnCmdGetProperties, this, _1, _2));
    for (const std::string* name :
         {&names::puck::PRESS_BTN, &names::puck::RELEASE_BTN, &names::puck::CLICK_BTN,
          &names::puck::PRESS_CNT, &names::puck::RELEASE_CNT, &names::puck::CLICK_CNT})
        dispatcher.RegisterCmd(*name,
                               boost::bind(&NxBasePuckDriver::OnCmdRemoteAction, this, _1, _2));
    dispatcher.RegisterCmd(names::puck::CONTACT_STATUS,
                           boost::bind(&NxBasePuckDriver::OnCmdContactStatus, this, _1, _2));
    dispatcher.RegisterCmd(names::puck::TURN_LED_ON,
                           boost::bind(&NxBasePuckDriver::OnCmdTurnLEDOn, this, _1, _2));
    dispatcher.RegisterCmd(names::puck::TURN_LED_OFF,
                           boost::bind(&NxBasePuckDriver::OnCmdTurnLEDOff, this, _1, _2));
}

void NxBasePuckDriver::RegisterTraps()
{
    for (const std::string* mib : {&names::mib::DMX_BP, &names::mib::DMX_HB, &names::mib::DMX_HC,
                                   &names::mib::DMX_HE, &names::mib::DMX_SC, &names::mib::DMX_CC})
        GetMibDispatcher().RegisterTrap(*mib,
                                        boost::bind(&NxBasePuckDriver::OnTrapBtnAction, this, _1));
}

void NxBasePuckDriver::RegisterResponses()
{
    GetMibDispatcher().RegisterResponse(
        names::mib::DMX_BMC, boost::bind(&NxBasePuckDriver::OnRspDevInfoState, this, _1, _2));
}

void NxBasePuckDriver::RegisterConditionals()
{
    for (const std::string* name : {&names::condition::ON, &names::condition::OFF})
        GetCondDispatcher().RegisterCond(
            *name, boost::bind(&NxBasePuckDriver::OnCondButtonState, this, _1, _2));
}

bool NxBasePuckDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                                  boost::shared_ptr<nx::XmlNode> state)
{
    const bool result = NxBaseDriver::Initialize(id, config, state);
    if (state)
        RestoreContacts(state);
    else
        MakeFreshContacts();
    RegisterButtonVariables();
    CreateButtonBindings();
    return result;
}

void NxBasePuckDriver::RestoreContacts(const boost::shared_ptr<nx::XmlNode>& state)
{
    const boost::shared_ptr<nx::XmlNode> all = state->GetChild(names::puck::ALL_CONTACTS);
    if (!all)
        return;
    for (int k = 0; k < NUM_CONTACTS; ++k)
    {
        const boost::shared_ptr<nx::XmlNode> child = all->GetChildAt(static_cast<std::size_t>(k));
        if (!child)
            return;
        LIGHTING_ASSERT(child->GetName() == names::puck::CONTACT_STATUS, SOURCE,
                        LINE_WRONG_CONTACT_CHILD);
        // deliberate: a child of another name still makes a contact
        buttons.push_back(new ContactButton(k, static_cast<unsigned>(k) + 1, *this, child));
    }
}

void NxBasePuckDriver::MakeFreshContacts()
{
    for (int i = 0; i < NUM_CONTACTS; ++i)
        buttons.push_back(new ContactButton(i, static_cast<unsigned>(i) + 1, *this,
                                            boost::shared_ptr<nx::XmlNode>()));
    if (HasCapability(names::capability::LOAD_PRESENT) &&
        GetCapabilityBool(names::capability::LOAD_PRESENT))
        return;
    for (ContactButton* button : buttons)
    {
        button->SetBehavior(puck::MIBS::BEHAVIOR_NO_TARGET, false);
        button->SetLEDBehavior(puck::MIBS::LED_CONTACT, false);
    }
}

void NxBasePuckDriver::RegisterButtonVariables()
{
    for (std::size_t i = 0; i < buttons.size(); ++i)
        AddVariable(buttons[i]->GetVariableID(),
                    diagnostics::Concat(names::puck::AUX_PREFIX, i + 1),
                    diagnostics::Concat(buttons[i]->GetCurState()), VARIABLE_KIND);
}

void NxBasePuckDriver::CreateButtonBindings()
{
    for (std::size_t i = 0; i < buttons.size(); ++i)
        AddDynamicBinding(buttons[i]->GetLinkControlBinding(), NX_BINDING_CONTROL, 0,
                          diagnostics::Concat(names::puck::AUX_PREFIX, i + 1),
                          names::puck::BUTTON_LINK, 0, 0);
}

boost::shared_ptr<nx::XmlNode> NxBasePuckDriver::GetPersistState(unsigned long)
{
    boost::shared_ptr<nx::XmlNode> contacts = nx::CreateXmlNode();
    contacts->Initialize(names::puck::ALL_CONTACTS, "");
    for (const ContactButton* button : buttons)
        contacts->AddChild(button->GetPersistState());
    boost::shared_ptr<nx::XmlNode> state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(contacts);
    return state;
}

void NxBasePuckDriver::OnTrapBtnAction(const NxMIBPacket& trap)
{
    int number = 0;
    if (!trap.GetHexParams<int>(number) || number == NO_BUTTON_NUMBER || trap.GetParamCount() > 2)
        return;
    if (trap.GetParamCount() == 2 && trap.GetMib() != names::mib::DMX_CC)
        return;
    PuckButton* button = FindTrapButton(number);
    if (!button)
    {
        LIGHTING_LOG(WARN, SOURCE, "Got in a button trap that doesn't map to a button ",
                     static_cast<long long>(number) - FIRST_CONTACT_NUMBER);
        return;
    }
    ActOnTrap(*button, trap);
}

PuckButton* NxBasePuckDriver::FindTrapButton(int number)
{
    // A number below the first wraps to an index far outside.
    return FindContact(static_cast<unsigned>(number) - FIRST_CONTACT_NUMBER);
}

ContactButton* NxBasePuckDriver::FindContact(unsigned index) const
{
    return index < buttons.size() ? buttons[index] : nullptr;
}

void NxBasePuckDriver::OnRspDevInfoState(const NxMIBPacket& reply, const NxMIBPacket*)
{
    int interval = 0;
    if (!reply.GetHexParams<int>(interval) || interval < 1)
        return;
    holdFeedback = true;
    holdTimeMs = static_cast<unsigned>(interval) + HOLD_TIME_EXTRA;
}

void NxBasePuckDriver::OnMIBDeviceOnlineStatusChanged(DeviceStatus status,
                                                      const std::string& detail,
                                                      const std::string& address)
{
    NxBaseMibDriver::OnMIBDeviceOnlineStatusChanged(status, detail, address);
    if (status != DEVICE_ONLINE)
        return;
    QueryDeviceInfo();
    auto query = boost::make_shared<NxMIBPacket>(NxMIB::Query, names::mib::DMX_BMC);
    query->AddHexParam<char>(HOLD_TIME_QUERY);
    SendMibPacket(query, QUEUE_RULE_DEFAULT);
    for (ContactButton* button : buttons)
        button->SendSettingsToHW();
}

void NxBasePuckDriver::OnTimerExpired(ID::Timer timerId, time_t)
{
    if (timerId == 0)
        return;
    for (ContactButton* button : buttons)
    {
        if (button->GetTimerID() != timerId)
            continue;
        button->OnHoldTimerExpired();
        return;
    }
}

void NxBasePuckDriver::OnCmdGetProperties(const ICmdMessage&, ICmdReturn*)
{
    QueryDeviceInfo();
    for (ContactButton* button : buttons)
        button->SendStatusToUI();
}

void NxBasePuckDriver::OnCmdRemoteAction(const ICmdMessage& message, ICmdReturn*)
{
    const std::string& name = message.GetName();
    if (!Contains(name, CONTACT_ACTION))
        return;
    ContactButton* button = FindContact(message.GetParamUInt(names::puck::CONTACT_NUMBER));
    if (!button)
        return;
    if (Contains(name, names::puck::PRESS_PREFIX))
        button->RemotePush();
    if (Contains(name, names::puck::RELEASE_PREFIX))
        button->RemoteRelease();
    if (Contains(name, names::puck::CLICK_PREFIX))
        button->RemoteClick();
}

void NxBasePuckDriver::OnCmdContactStatus(const ICmdMessage& message, ICmdReturn*)
{
    const std::string& text = message.GetParamString(names::puck::CONTACT_NUMBER);
    LIGHTING_ASSERT(!text.empty(), SOURCE, __LINE__);
    const unsigned index = ToIndex(text);
    LIGHTING_ASSERT(index < NUM_CONTACTS, SOURCE, __LINE__);
    ContactButton* button = FindContact(index);
    if (!button)
        return;
    button->SetBehavior(static_cast<int>(message.GetParamUInt(names::puck::AUX_BEHAVIOR)), true);
    button->SetLEDBehavior(static_cast<int>(message.GetParamUInt(names::puck::AUX_LEDS)), true);
}

void NxBasePuckDriver::OnCmdTurnLEDOn(const ICmdMessage& message, ICmdReturn*)
{
    TurnLed(message, puck::MIBS::STATE_ON);
}

void NxBasePuckDriver::OnCmdTurnLEDOff(const ICmdMessage& message, ICmdReturn*)
{
    TurnLed(message, puck::MIBS::STATE_OFF);
}

void NxBasePuckDriver::TurnLed(const ICmdMessage& message, int state)
{
    if (!message.HasParam(names::puck::CONTACT_NUMBER))
        return;
    const unsigned index = message.GetParamUInt(names::puck::CONTACT_NUMBER);
    LIGHTING_ASSERT(index < NUM_CONTACTS, SOURCE, __LINE__);
    if (ContactButton* button = FindContact(index))
        button->SetCurState(state, true);
}

bool NxBasePuckDriver::OnCondButtonState(const ICondMessage& message, unsigned*)
{
    const std::string& text = message.GetParamString(names::puck::CONTACT_NUMBER);
    if (text.empty())
        return false;
    const unsigned index = ToIndex(text);
    LIGHTING_ASSERT(index < NUM_CONTACTS, SOURCE, __LINE__);
    const ContactButton* button = FindContact(index);
    if (!button)
        return false;
    const std::string& name = message.GetName();
    if (button->GetCurState() == puck::MIBS::STATE_ON)
        return name == names::condition::ON;
    if (button->GetCurState() == puck::MIBS::STATE_OFF)
        return name == names::condition::OFF;
    return false;
}

int NxBasePuckDriver::BoundCall(ID::Binding binding, BindingType type, const std::string& name,
                                const IBindMessage& message, ICmdReturn* ret)
{
    if (message.GetKind() != names::general::PROTOCOL_COMMAND)
        return NxBaseDriver::BoundCall(binding, type, name, message, ret);
    const boost::shared_ptr<ICmdMessage> command = CreateCommandMessageFromXml(message.GetXml());
    if (command && DispatchCommand(*command, ret, binding))
        return 0;
    LIGHTING_LOG(WARN, SOURCE, "last command wasn't handled");
    return -1;
}

void NxBasePuckDriver::OnBindingChanged(unsigned id, const std::string& cls, bool bound,
                                        unsigned otherDevice, unsigned otherBinding)
{
    NxBaseMibDriver::OnBindingChanged(id, cls, bound, otherDevice, otherBinding);
    if (cls != names::puck::BUTTON_LINK)
        return;
    // An id below the first wraps to an index far outside.
    if (ContactButton* button = FindContact(id - CONTACT_BINDING_ID))
        button->SetControlBoundFlag(bound);
}

unsigned NxBasePuckDriver::AddHoldTimer()
{
    return AddTimer(holdTimeMs, ITimerManager::UNIT_MILLISECONDS, 1);
}

void NxBasePuckDriver::KillHoldTimer(unsigned id)
{
    if (id != 0)
        KillTimer(id);
}

void NxBasePuckDriver::FireButtonEvent(unsigned event)
{
    FireEvent(event);
}

void NxBasePuckDriver::SendButtonStatusToUI(boost::shared_ptr<nx::XmlNode> status)
{
    SendDataToUI(status);
}

bool NxBasePuckDriver::HasButtonHoldFeedback()
{
    return holdFeedback;
}

void NxBasePuckDriver::SendButtonBoundCall(unsigned binding, const std::string& cmd)
{
    boost::shared_ptr<IBindMessage> message = GetBindMessage();
    message->SetName(cmd);
    SendBoundCall(binding, message);
}

void NxBasePuckDriver::SendButtonBoundCall(unsigned binding, boost::shared_ptr<IBindMessage>& msg)
{
    SendBoundCall(binding, msg);
}

void NxBasePuckDriver::SetMIBForButton(std::string mib, int a, int b, int third)
{
    auto packet = boost::make_shared<NxMIBPacket>(NxMIB::Set, std::move(mib));
    // deliberate: the device takes one byte, so the numbers are cut
    packet->AddHexParam<char>(static_cast<char>(a));
    packet->AddHexParam<char>(static_cast<char>(b));
    packet->AddHexParam<char>(static_cast<char>(third));
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void NxBasePuckDriver::SetMIBForButton(std::string mib, int a, int b, std::string text)
{
    auto packet = boost::make_shared<NxMIBPacket>(NxMIB::Set, std::move(mib));
    packet->AddHexParam<char>(static_cast<char>(a));
    packet->AddHexParam<char>(static_cast<char>(b));
    packet->AddParam(std::move(text));
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void NxBasePuckDriver::InvokeMIBForButton(std::string mib, int a, int b)
{
    auto packet = boost::make_shared<NxMIBPacket>(NxMIB::Invoke, std::move(mib));
    packet->AddHexParam<int>(a);
    packet->AddHexParam<int>(b);
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void NxBasePuckDriver::InvokeMIBForButton(std::string mib, int a, int b, int third)
{
    auto packet = boost::make_shared<NxMIBPacket>(NxMIB::Invoke, std::move(mib));
    packet->AddHexParam<int>(a);
    packet->AddHexParam<int>(b);
    packet->AddHexParam<int>(third);
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void NxBasePuckDriver::VariableChanged(unsigned varId, int value)
{
    SetVariable(varId, diagnostics::Concat(value));
}

unsigned NxBasePuckDriver::GetNextVarID()
{
    return nextVarId++;
}

boost::shared_ptr<IBindMessage> NxBasePuckDriver::GetBindMessage()
{
    return CreateBindMessage();
}

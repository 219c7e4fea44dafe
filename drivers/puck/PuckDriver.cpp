#include "drivers/puck/PuckDriver.h"

#include "drivers/puck/PuckSettings.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/SnapOnButton.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/XmlNode.h"

#include <algorithm>

namespace
{

// Marks the remote actions that mean buttons of the snap-on keypad.
const std::string BUTTON_ACTION = "_BTN";

// The device numbers the buttons of its keypad from here.
constexpr unsigned FIRST_BUTTON_NUMBER = 1;

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
} // namespace

PuckDriver::PuckDriver(IInstanceManager& instances) : NxBasePuckDriver(instances, NX_DRIVER_LIGHT)
{
}

PuckDriver::~PuckDriver() = default;

bool PuckDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                            boost::shared_ptr<nx::XmlNode> state)
{
    const bool result = NxBasePuckDriver::Initialize(id, config, state);
    const auto wanted = static_cast<int>(drivers::ReadSetting(config.get(), puck::NUM_BUTTONS));
    const int count = std::clamp(wanted, 0, static_cast<int>(MAX_BUTTONS));
    const auto all = state ? state->GetChild(names::parameter::ALL_BUTTONS) : nullptr;
    for (int k = 0; k < count; ++k)
        m_snapOns.push_back(std::make_unique<SnapOnButton>(
            k, static_cast<unsigned>(BUTTON_BINDING_ID + k), *this,
            all ? all->GetChildAt(static_cast<std::size_t>(k)) : nullptr));
    return result;
}

boost::shared_ptr<nx::XmlNode> PuckDriver::GetPersistState(unsigned long flags)
{
    const auto state = NxBasePuckDriver::GetPersistState(flags);
    if (m_snapOns.empty())
        return state;
    const auto all = nx::CreateXmlNode();
    all->Initialize(names::parameter::ALL_BUTTONS, "");
    for (const auto& button : m_snapOns)
        all->AddChild(button->GetPersistState());
    state->AddChild(all);
    return state;
}

SnapOnButton* PuckDriver::SnapOn(unsigned index) const
{
    return index < m_snapOns.size() ? m_snapOns[index].get() : nullptr;
}

PuckButton* PuckDriver::FindTrapButton(int number)
{
    // A number below the first wraps to an index far outside.
    if (SnapOnButton* button = SnapOn(static_cast<unsigned>(number) - FIRST_BUTTON_NUMBER))
        return button;
    return NxBasePuckDriver::FindTrapButton(number);
}

void PuckDriver::OnTimerExpired(ID::Timer timer, time_t time)
{
    if (timer == 0)
        return;
    const bool contacts =
        std::any_of(buttons.begin(), buttons.end(),
                    [timer](const auto* contact) { return contact->GetTimerID() == timer; });
    if (contacts)
    {
        NxBasePuckDriver::OnTimerExpired(timer, time);
        return;
    }
    for (const auto& button : m_snapOns)
    {
        if (button->GetTimerID() != timer)
            continue;
        button->OnHoldTimerExpired();
        return;
    }
}

void PuckDriver::OnBindingChanged(unsigned id, const std::string& cls, bool bound,
                                  unsigned otherDevice, unsigned otherBinding)
{
    NxBasePuckDriver::OnBindingChanged(id, cls, bound, otherDevice, otherBinding);
    if (cls != names::puck::BUTTON_LINK)
        return;
    if (SnapOnButton* button = SnapOn(id - BUTTON_BINDING_ID))
        button->SetControlBoundFlag(bound);
}

void PuckDriver::OnCmdGetProperties(const ICmdMessage& message, ICmdReturn* ret)
{
    NxBasePuckDriver::OnCmdGetProperties(message, ret);
    for (const auto& button : m_snapOns)
        button->SendStatusToUI();
}

void PuckDriver::OnCmdRemoteAction(const ICmdMessage& message, ICmdReturn* ret)
{
    NxBasePuckDriver::OnCmdRemoteAction(message, ret);
    const std::string& name = message.GetName();
    if (!Contains(name, BUTTON_ACTION))
        return;
    SnapOnButton* button = SnapOn(message.GetParamUInt(names::puck::BUTTON_NUMBER));
    if (!button)
        return;
    if (Contains(name, names::puck::PRESS_PREFIX))
        button->RemotePush();
    if (Contains(name, names::puck::RELEASE_PREFIX))
        button->RemoteRelease();
    if (Contains(name, names::puck::CLICK_PREFIX))
        button->RemoteClick();
}

void PuckDriver::OnCmdContactStatus(const ICmdMessage& message, ICmdReturn* ret)
{
    NxBasePuckDriver::OnCmdContactStatus(message, ret);
    SettingsChanged();
}

void PuckDriver::ReportLightLevel(int level)
{
    for (ContactButton* contact : buttons)
        contact->LightLevel(level);
    for (const auto& button : m_snapOns)
        button->LightLevel(level);
}

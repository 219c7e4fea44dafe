#include "lighting_common/NxBaseEnergyDevice.h"

#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "lighting_common/internal/SaturatingAdd.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/IVariableManager.h"
#include "nxshared/XmlNode.h"

#include <cstdlib>

#include <fmt/format.h>

namespace
{
const char* const ENERGY_DEVICE_SOURCE = "lighting_common/NxBaseEnergyDevice";

// The device's variables (wire values, do not change).
constexpr unsigned VAR_MINUTES_ON = 10000;
constexpr unsigned VAR_MINUTES_OFF = 10001;
constexpr unsigned VAR_MINUTES_ON_TODAY = 10002;
constexpr unsigned VAR_CURRENT_POWER = 10003;
constexpr unsigned VAR_ENERGY_USED = 10004;
constexpr unsigned VAR_ENERGY_USED_TODAY = 10005;

constexpr int REGISTRATION_ASSERT_LINE = 144;

int ChildNumber(const nx::XmlNode& data, const std::string& name)
{
    // Cut to 32 bits as the host's own readers do.
    const long long number = std::strtoll(data.GetChildData(name).c_str(), nullptr, 10);
    return static_cast<int>(static_cast<unsigned>(number));
}

// Counts one tick; whether it completed a minute.
bool CompletesMinute(int& ticks)
{
    if (++ticks < NxBaseEnergyDevice::TIMER_TICKS_PER_MINUTE)
        return false;
    ticks = 0;
    return true;
}
} // namespace

// As text, not as the name of the vocabulary: sources are initialised in no given order.
const std::string NxBaseEnergyDevice::ENERGY_NODE_DATA = "ENERGY_DATA";

NxBaseEnergyDevice::NxBaseEnergyDevice(nx::IVariableManager* vars, ITimerManager& timers)
    : m_timers(timers), m_vars(vars), m_lastDayTime(NxTime::GetCurrentTime())
{
    // Last of all: no timer is left behind by a construction that fails.
    m_timer = timers.AddTimer(TIMER_INTERVAL,
                              ITimerManager::UNIT_MILLISECONDS | ITimerManager::REPEAT, this);
}

NxBaseEnergyDevice::~NxBaseEnergyDevice()
{
    m_timers.KillTimer(m_timer);
}

void NxBaseEnergyDevice::Initialize(unsigned deviceId, boost::shared_ptr<nx::XmlNode> state)
{
    m_deviceId = deviceId;

    const boost::shared_ptr<nx::XmlNode> data =
        state ? state->GetChild(ENERGY_NODE_DATA) : boost::shared_ptr<nx::XmlNode>();
    if (data)
    {
        m_minutesOn = ChildNumber(*data, names::general::MINUTES_ON);
        m_minutesOnToday = ChildNumber(*data, names::general::MINUTES_ON_TODAY);
        m_minutesOff = ChildNumber(*data, names::general::MINUTES_OFF);
        m_energyUsed = ChildNumber(*data, names::parameter::ENERGY_USED);
        m_energyUsedToday = ChildNumber(*data, names::general::ENERGY_USED_TODAY);
    }

    RegisterEnergyVar(VAR_MINUTES_ON, names::general::MINUTES_ON, m_minutesOn);
    RegisterEnergyVar(VAR_MINUTES_OFF, names::general::MINUTES_OFF, m_minutesOff);
    RegisterEnergyVar(VAR_MINUTES_ON_TODAY, names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    RegisterEnergyVar(VAR_CURRENT_POWER, names::general::CURRENT_POWER, m_currentPower);
    RegisterEnergyVar(VAR_ENERGY_USED, names::parameter::ENERGY_USED, m_energyUsed);
    RegisterEnergyVar(VAR_ENERGY_USED_TODAY, names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void NxBaseEnergyDevice::RegisterEnergyVar(unsigned id, const std::string& name, int value)
{
    const bool added = m_vars != nullptr &&
                       m_vars->AddVariable(m_deviceId, id, name, nx::IVariableManager::TYPE_NUMBER,
                                           fmt::format_int(value).str(), 0, 1, 0) == 0;
    LIGHTING_ASSERT(added, ENERGY_DEVICE_SOURCE, REGISTRATION_ASSERT_LINE);
}

void NxBaseEnergyDevice::updateEnergyVar(unsigned id, int value)
{
    if (m_vars != nullptr)
        m_vars->SetVariable(m_deviceId, id, fmt::format_int(value).str(), m_deviceId, 1);
}

void NxBaseEnergyDevice::OnTimerExpired(ID::Timer timer, time_t)
{
    if (timer != m_timer || !IsEnergyReady())
        return;

    const NxTime now = NxTime::GetCurrentTime();
    if (now.GetDay() != m_lastDayTime.GetDay())
        StartDay(now);

    if (IsLoadOn() && m_fault == 0)
        CountOnTick();
    else
        CountOffTick();
}

void NxBaseEnergyDevice::StartDay(const NxTime& now)
{
    m_lastDayTime = now;
    m_minutesOnToday = 0;
    m_onTodayTicks = 0;
    m_energyUsedToday = 0;
    updateEnergyVar(VAR_MINUTES_ON_TODAY, 0);
    updateEnergyVar(VAR_ENERGY_USED_TODAY, 0);
    EnergyValueToUI(names::general::MINUTES_ON_TODAY, 0);
    EnergyValueToUI(names::general::ENERGY_USED_TODAY, 0);
}

void NxBaseEnergyDevice::CountOnTick()
{
    // Two counters: a change of day takes the ticks of today only.
    if (CompletesMinute(m_onTicks))
    {
        SaturatingAdd(m_minutesOn, 1);
        try
        {
            Publish(VAR_MINUTES_ON, names::general::MINUTES_ON, m_minutesOn);
        }
        catch (...)
        {
            CountOnTodayTick();
            throw;
        }
    }
    if (CountOnTodayTick())
        Publish(VAR_MINUTES_ON_TODAY, names::general::MINUTES_ON_TODAY, m_minutesOnToday);
}

// Counts the tick for today; whether a minute is complete.
bool NxBaseEnergyDevice::CountOnTodayTick()
{
    if (!CompletesMinute(m_onTodayTicks))
        return false;
    SaturatingAdd(m_minutesOnToday, 1);
    return true;
}

void NxBaseEnergyDevice::CountOffTick()
{
    if (CompletesMinute(m_offTicks))
    {
        SaturatingAdd(m_minutesOff, 1);
        Publish(VAR_MINUTES_OFF, names::general::MINUTES_OFF, m_minutesOff);
    }
}

void NxBaseEnergyDevice::Publish(unsigned id, const std::string& name, int value)
{
    updateEnergyVar(id, value);
    EnergyValueToUI(name, value);
}

void NxBaseEnergyDevice::newPowerReading(int watts)
{
    if (watts == m_currentPower)
        return;
    m_currentPower = watts;
    Publish(VAR_CURRENT_POWER, names::general::CURRENT_POWER, watts);
}

void NxBaseEnergyDevice::increaseEnergyUsed(int wattHours)
{
    // Deliberate: whatever the number is.
    SaturatingAdd(m_energyUsed, wattHours);
    SaturatingAdd(m_energyUsedToday, wattHours);
    updateEnergyVar(VAR_ENERGY_USED, m_energyUsed);
    updateEnergyVar(VAR_ENERGY_USED_TODAY, m_energyUsedToday);
    EnergyValueToUI(names::parameter::ENERGY_USED, m_energyUsed);
    EnergyValueToUI(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void NxBaseEnergyDevice::allEnergyValuesToUI()
{
    EnergyValueToUI(names::general::MINUTES_ON, m_minutesOn);
    EnergyValueToUI(names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    EnergyValueToUI(names::general::MINUTES_OFF, m_minutesOff);
    EnergyValueToUI(names::general::CURRENT_POWER, m_currentPower);
    EnergyValueToUI(names::parameter::ENERGY_USED, m_energyUsed);
    EnergyValueToUI(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void NxBaseEnergyDevice::resetEnergyUsed()
{
    // Deliberate: the ticks that wait stay, and no variable is set.
    m_minutesOn = 0;
    m_minutesOff = 0;
    m_minutesOnToday = 0;
    m_energyUsed = 0;
    m_energyUsedToday = 0;
    allEnergyValuesToUI();
}

void NxBaseEnergyDevice::SetFault(int fault)
{
    m_fault = fault;
}

int NxBaseEnergyDevice::GetFault() const
{
    return m_fault;
}

boost::shared_ptr<nx::XmlNode> NxBaseEnergyDevice::GetPersistState() const
{
    boost::shared_ptr<nx::XmlNode> data = nx::CreateXmlNode();
    data->Initialize(ENERGY_NODE_DATA, "");
    data->AddChild(names::general::MINUTES_ON, m_minutesOn);
    data->AddChild(names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    data->AddChild(names::general::MINUTES_OFF, m_minutesOff);
    data->AddChild(names::parameter::ENERGY_USED, m_energyUsed);
    data->AddChild(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
    return data;
}

boost::shared_ptr<nx::XmlNode> NxBaseEnergyDevice::GetPersistStateForUI() const
{
    return GetPersistState();
}

#include "lighting_common/EnergyInfoCollector.h"

#include "lighting_common/IEnergyOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "lighting_common/internal/SaturatingAdd.h"
#include "nxshared/Crypto.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/IVariableManager.h"
#include "nxshared/XmlNode.h"

#include <cmath>

#include <fmt/format.h>

namespace
{
const char* const SOURCE = "lighting_common/EnergyInfoCollector";

const std::string ENERGY_FRACTION = "ENERGY_FRAC";
const std::string TODAY_FRACTION = "TODAY_FRAC";

const char* const REFUSED_INCREMENT = "told to increase energy by a non-positive value ";

// The device's variables (wire values, do not change).
constexpr unsigned VAR_MINUTES_ON = 4567;
constexpr unsigned VAR_MINUTES_OFF = 4568;
constexpr unsigned VAR_MINUTES_ON_TODAY = 4569;
constexpr unsigned VAR_CURRENT_POWER = 4570;
constexpr unsigned VAR_ENERGY_USED = 4571;
constexpr unsigned VAR_ENERGY_USED_TODAY = 4572;

constexpr int REGISTRATION_ASSERT_LINE = 202;

constexpr unsigned FIRST_MINUTE_MS = 60000;
constexpr int SECONDS_PER_MINUTE = 60;
constexpr double MINUTES_PER_HOUR = 60.0;
constexpr int HUNDREDTHS = 100;

// The first whole number of watt-hours that is too large for a total.
constexpr float TOO_LARGE = 2147483648.0F;

// Adds hundredths to a fraction and carries one watt-hour to the total when they make one; whether
// they did. One carry is enough for fractions that this class has kept itself.
bool AddHundredths(int hundredths, int& fraction, int& total)
{
    SaturatingAdd(fraction, hundredths);
    if (fraction < HUNDREDTHS)
        return false;
    SaturatingAdd(total, 1);
    fraction -= HUNDREDTHS;
    return true;
}
} // namespace

// As text, not as the name of the vocabulary: sources are initialised in no given order.
const std::string EnergyInfoCollector::ENERGY_NODE_DATA = "ENERGY_DATA";

EnergyInfoCollector::EnergyInfoCollector(nx::IVariableManager* vars, ITimerManager& timers)
    : m_timers(timers), m_vars(vars), m_secondOffset(nx::crypto::random(0, SECONDS_PER_MINUTE)),
      m_lastDayTime(NxTime::GetCurrentTime())
{
    // Last of all: no timer is left behind by a construction that fails.
    m_timer = timers.AddTimer(FIRST_MINUTE_MS, ITimerManager::UNIT_MILLISECONDS, this);
}

EnergyInfoCollector::~EnergyInfoCollector()
{
    // All of them: a timer id that was not its own has left an earlier timer running.
    m_timers.RemoveAllTimers(this);
}

void EnergyInfoCollector::setOwner(IEnergyOwner* owner)
{
    m_owner = owner;
}

void EnergyInfoCollector::Initialize(unsigned deviceId, boost::shared_ptr<nx::XmlNode> state)
{
    m_deviceId = deviceId;

    const boost::shared_ptr<nx::XmlNode> data =
        state ? state->GetChild(ENERGY_NODE_DATA) : boost::shared_ptr<nx::XmlNode>();
    if (data)
    {
        m_minutesOn = data->GetChildDataNumber(names::general::MINUTES_ON);
        m_minutesOnToday = data->GetChildDataNumber(names::general::MINUTES_ON_TODAY);
        m_minutesOff = data->GetChildDataNumber(names::general::MINUTES_OFF);
        m_energyUsed = data->GetChildDataNumber(names::parameter::ENERGY_USED);
        m_energyUsedToday = data->GetChildDataNumber(names::general::ENERGY_USED_TODAY);
        m_energyFraction = data->GetChildDataNumber(ENERGY_FRACTION);
        m_todayFraction = data->GetChildDataNumber(TODAY_FRACTION);
    }

    RegisterEnergyVar(VAR_MINUTES_ON, names::general::MINUTES_ON, m_minutesOn);
    RegisterEnergyVar(VAR_MINUTES_OFF, names::general::MINUTES_OFF, m_minutesOff);
    RegisterEnergyVar(VAR_MINUTES_ON_TODAY, names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    RegisterEnergyVar(VAR_CURRENT_POWER, names::general::CURRENT_POWER, m_currentPower);
    RegisterEnergyVar(VAR_ENERGY_USED, names::parameter::ENERGY_USED, m_energyUsed);
    RegisterEnergyVar(VAR_ENERGY_USED_TODAY, names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void EnergyInfoCollector::RegisterEnergyVar(unsigned id, const std::string& name, int value)
{
    const bool added = m_vars != nullptr &&
                       m_vars->AddVariable(m_deviceId, id, name, nx::IVariableManager::TYPE_NUMBER,
                                           fmt::format_int(value).str(), 0, 1, 0) == 0;
    LIGHTING_ASSERT(added, SOURCE, REGISTRATION_ASSERT_LINE);
}

void EnergyInfoCollector::updateEnergyVar(unsigned id, int value)
{
    if (m_vars != nullptr)
        m_vars->SetVariable(m_deviceId, id, fmt::format_int(value).str(), m_deviceId, 1);
}

void EnergyInfoCollector::newCurrentPower(int watts)
{
    if (watts != m_currentPower)
    {
        m_currentPower = watts;
        updateEnergyVar(VAR_CURRENT_POWER, watts);
    }
    ToUI(names::general::CURRENT_POWER, m_currentPower);
}

void EnergyInfoCollector::increaseEnergyUsed(int wattHours)
{
    if (wattHours < 0)
    {
        LIGHTING_LOG(ERROR, SOURCE, REFUSED_INCREMENT, wattHours);
        return;
    }
    if (wattHours == 0)
        return;
    SaturatingAdd(m_energyUsedToday, wattHours);
    SaturatingAdd(m_energyUsed, wattHours);
    PublishEnergy();
}

void EnergyInfoCollector::increaseEnergyUsed(float wattHours)
{
    // Put this way round, NaN is refused too.
    if (!(wattHours >= 0 && wattHours < TOO_LARGE))
    {
        LIGHTING_LOG(ERROR, SOURCE, REFUSED_INCREMENT, fmt::format("{:g}", wattHours));
        return;
    }
    if (wattHours == 0)
        return;

    float whole = 0;
    const float fraction = std::modf(wattHours, &whole);
    const int hundredths = static_cast<int>(std::lround(fraction * HUNDREDTHS));
    const bool totalGrew = AddHundredths(hundredths, m_energyFraction, m_energyUsed);
    const bool todayGrew = AddHundredths(hundredths, m_todayFraction, m_energyUsedToday);
    if (whole > 0)
        increaseEnergyUsed(static_cast<int>(whole));
    else if (totalGrew || todayGrew)
        PublishEnergy();
}

void EnergyInfoCollector::OnTimerExpired(ID::Timer timer, time_t)
{
    const NxTime now = NxTime::GetCurrentTime();
    try
    {
        if (timer == m_timer && m_owner != nullptr && m_owner->IsEnergyReady())
            CountMinute(now);
    }
    catch (...)
    {
        // What the owner throws costs one minute, not all that follow.
        StartNextTimer(now);
        throw;
    }
    // Deliberate: re-armed for any timer id, also one that is not its own.
    StartNextTimer(now);
}

void EnergyInfoCollector::CountMinute(const NxTime& now)
{
    if (now.GetDay() != m_lastDayTime.GetDay())
        StartDay(now);

    if (m_owner->IsLoadOn() && m_fault == 0)
    {
        SaturatingAdd(m_minutesOn, 1);
        updateEnergyVar(VAR_MINUTES_ON, m_minutesOn);
        SaturatingAdd(m_minutesOnToday, 1);
        updateEnergyVar(VAR_MINUTES_ON_TODAY, m_minutesOnToday);
        if (m_autoUpdateEnergy)
            increaseEnergyUsed(static_cast<float>(m_currentPower / MINUTES_PER_HOUR));
    }
    else
    {
        SaturatingAdd(m_minutesOff, 1);
        updateEnergyVar(VAR_MINUTES_OFF, m_minutesOff);
    }
}

void EnergyInfoCollector::StartDay(const NxTime& now)
{
    // Deliberate: the hundredths of today stay, so that none is lost at midnight.
    m_lastDayTime = now;
    m_minutesOnToday = 0;
    m_energyUsedToday = 0;
    updateEnergyVar(VAR_MINUTES_ON_TODAY, 0);
    updateEnergyVar(VAR_ENERGY_USED_TODAY, 0);
}

void EnergyInfoCollector::StartNextTimer(const NxTime& now)
{
    int delay = m_secondOffset - now.GetSecond();
    if (delay < 1)
        delay += SECONDS_PER_MINUTE;
    m_timer = m_timers.AddTimer(delay, ITimerManager::UNIT_SECONDS, this);
}

void EnergyInfoCollector::PublishEnergy()
{
    updateEnergyVar(VAR_ENERGY_USED, m_energyUsed);
    updateEnergyVar(VAR_ENERGY_USED_TODAY, m_energyUsedToday);
    ToUI(names::parameter::ENERGY_USED, m_energyUsed);
    ToUI(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void EnergyInfoCollector::ToUI(const std::string& name, int value) const
{
    if (m_owner != nullptr)
        m_owner->EnergyValueToUI(name, value);
}

void EnergyInfoCollector::allEnergyValuesToUI() const
{
    ToUI(names::general::MINUTES_ON, m_minutesOn);
    ToUI(names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    ToUI(names::general::MINUTES_OFF, m_minutesOff);
    ToUI(names::general::CURRENT_POWER, m_currentPower);
    ToUI(names::parameter::ENERGY_USED, m_energyUsed);
    ToUI(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
}

void EnergyInfoCollector::resetEnergyUsed()
{
    m_minutesOn = 0;
    m_minutesOff = 0;
    m_minutesOnToday = 0;
    m_energyUsed = 0;
    m_energyFraction = 0;
    m_energyUsedToday = 0;
    m_todayFraction = 0;
    // Deliberate: only the user interface is told; no variable is set here.
    allEnergyValuesToUI();
}

void EnergyInfoCollector::SetFault(int fault)
{
    m_fault = fault;
}

int EnergyInfoCollector::GetFault() const
{
    return m_fault;
}

void EnergyInfoCollector::SetAutoUpdateEnergy(bool on)
{
    m_autoUpdateEnergy = on;
}

boost::shared_ptr<nx::XmlNode> EnergyInfoCollector::GetPersistState() const
{
    boost::shared_ptr<nx::XmlNode> data = nx::CreateXmlNode();
    data->Initialize(ENERGY_NODE_DATA, "");
    data->AddChild(names::general::MINUTES_ON, m_minutesOn);
    data->AddChild(names::general::MINUTES_ON_TODAY, m_minutesOnToday);
    data->AddChild(names::general::MINUTES_OFF, m_minutesOff);
    data->AddChild(names::parameter::ENERGY_USED, m_energyUsed);
    data->AddChild(names::general::ENERGY_USED_TODAY, m_energyUsedToday);
    data->AddChild(ENERGY_FRACTION, m_energyFraction);
    data->AddChild(TODAY_FRACTION, m_todayFraction);
    return data;
}

boost::shared_ptr<nx::XmlNode> EnergyInfoCollector::GetPersistStateForUI() const
{
    return GetPersistState();
}

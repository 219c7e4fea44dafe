#include "lighting_host/simulation/Listeners.h"

#include <algorithm>

namespace lighting_host
{
void Listeners::Add(HouseListener& listener)
{
    m_listeners.push_back(&listener);
}

void Listeners::Remove(HouseListener& listener)
{
    m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), &listener),
                      m_listeners.end());
}

void Listeners::Write(const embedded_host::Output& output)
{
    OnOutput(output);
}

void Listeners::OnOutput(const embedded_host::Output& output)
{
    for (HouseListener* listener : m_listeners)
        listener->OnOutput(output);
}

void Listeners::OnPerson(const nx::DriverHost& driver, const std::string& what)
{
    for (HouseListener* listener : m_listeners)
        listener->OnPerson(driver, what);
}

void Listeners::OnAct(const nx::DriverHost& driver, const std::string& words)
{
    for (HouseListener* listener : m_listeners)
        listener->OnAct(driver, words);
}

void Listeners::OnControllerAct(const nx::DriverHost& driver, const std::string& what)
{
    for (HouseListener* listener : m_listeners)
        listener->OnControllerAct(driver, what);
}

void Listeners::OnPowerFailure(const nx::DriverHost& driver)
{
    for (HouseListener* listener : m_listeners)
        listener->OnPowerFailure(driver);
}

void Listeners::OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    for (HouseListener* listener : m_listeners)
        listener->OnBus(driver, frame);
}

void Listeners::OnMib(const nx::DriverHost& driver, const wire::MibMessage& message)
{
    for (HouseListener* listener : m_listeners)
        listener->OnMib(driver, message);
}
} // namespace lighting_host

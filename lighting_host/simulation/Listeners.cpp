#include "lighting_host/simulation/Listeners.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/house/Session.h"

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

void Listeners::HearDevices(const Session& session)
{
    for (const auto& device : session.Devices())
    {
        device->onPerson = [this](const nx::DriverHost& driver, const std::string& what)
        {
            OnPerson(driver, what);
        };
        device->onAct = [this](const nx::DriverHost& driver, const std::string& words)
        {
            OnAct(driver, words);
        };
        device->onBus = [this](const nx::DriverHost& driver, const wire::BusFrame& frame)
        {
            OnBus(driver, frame);
        };
        device->onMib = [this](const nx::DriverHost& driver, const wire::MibMessage& message)
        {
            OnMib(driver, message);
        };
        device->onZcl = [this](const nx::DriverHost& driver, const wire::ZclFrame& frame)
        {
            OnZcl(driver, frame);
        };
    }
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

void Listeners::OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame)
{
    for (HouseListener* listener : m_listeners)
        listener->OnZcl(driver, frame);
}
} // namespace lighting_host

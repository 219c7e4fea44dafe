#include "lighting_host/house/StateKeeper.h"

#include "embedded_host/House.h"
#include "nxshared/XmlDocument.h"

#include <fmt/format.h>

namespace lighting_host
{
StateKeeper::StateKeeper(std::unique_ptr<embedded_host::StateStore> store,
                         embedded_host::House& house, std::int64_t intervalMs, Complaint complaint)
    : m_store(std::move(store)), m_house(house), m_intervalMs(intervalMs),
      m_complaint(std::move(complaint))
{
}

StateKeeper::~StateKeeper()
{
    m_house.KillDeviceTimer(m_next);
    m_house.KillDeviceTimer(m_soon);
    m_house.onPersistRequested = nullptr;
}

boost::shared_ptr<nx::XmlNode> StateKeeper::StateOf(const std::string& driver) const
{
    const std::optional<std::string> text = m_store->Load(driver);
    if (!text)
        return nullptr;
    const auto document = nx::CreateXmlDocument(*text);
    if (!document)
        throw embedded_host::StateStoreError(
            fmt::format("the state that was saved for driver \"{}\" is no XML", driver));
    return document->GetRoot();
}

void StateKeeper::Start()
{
    m_running = true;
    m_house.onPersistRequested = [this](nx::DriverHost&)
    {
        SaveSoon();
    };
    m_next = m_house.AddDeviceTimer(static_cast<std::uint64_t>(m_intervalMs), this);
}

void StateKeeper::Stop()
{
    if (!m_running)
        return;
    m_running = false;
    m_house.onPersistRequested = nullptr;
    Save();
    m_store->Close();
}

void StateKeeper::SaveSoon()
{
    // Not at once: the driver that asks is in the middle of something.
    if (m_soon == 0)
        m_soon = m_house.AddDeviceTimer(0, this);
}

void StateKeeper::OnTimerExpired(ID::Timer timer, time_t)
{
    if (!m_running)
        return;
    Save();
    if (timer == m_soon)
        m_soon = 0;
    else
        m_next = m_house.AddDeviceTimer(static_cast<std::uint64_t>(m_intervalMs), this);
}

void StateKeeper::Save()
{
    std::vector<embedded_host::DriverState> states;
    for (const auto& driver : m_house.Drivers())
    {
        std::string xml = driver->Persist();
        if (!xml.empty())
            states.push_back({driver->Config().name, std::move(xml)});
    }
    try
    {
        m_store->Save(states);
        if (onSaved)
            onSaved();
    }
    catch (const embedded_host::StateStoreError& error)
    {
        m_complaint(error.what());
    }
}
} // namespace lighting_host

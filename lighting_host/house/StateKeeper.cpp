#include "lighting_host/house/StateKeeper.h"

#include "embedded_host/House.h"
#include "nxshared/XmlDocument.h"

#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// What notes are kept under: names and a type that no house file is likely to give a driver.
const std::string NOTES = "//";
const std::string NOTE_TYPE = "(note)";
} // namespace

StateKeeper::StateKeeper(std::unique_ptr<embedded_host::StateStore> store,
                         embedded_host::House& house, std::chrono::milliseconds interval,
                         ErrorHandler onError)
    : m_store(std::move(store)), m_house(house), m_interval(interval), m_onError(std::move(onError))
{
}

StateKeeper::~StateKeeper()
{
    m_house.KillDeviceTimer(m_next);
    m_house.KillDeviceTimer(m_soon);
    m_house.onPersistRequested = nullptr;
}

boost::shared_ptr<nx::XmlNode> StateKeeper::StateOf(const std::string& driver,
                                                    const std::string& type)
{
    const std::optional<std::string> text = m_store->Load(driver, type);
    if (!text)
    {
        TellOtherTypes(driver, type);
        return nullptr;
    }
    const auto document = nx::CreateXmlDocument(*text);
    if (!document)
        throw embedded_host::StateStoreError(
            fmt::format("the state that was saved for driver \"{}\" is no XML", driver));
    return document->GetRoot();
}

void StateKeeper::TellOtherTypes(const std::string& driver, const std::string& type)
{
    for (const std::string& other : m_store->TypesOf(driver))
    {
        if (m_told.insert(driver).second)
            m_onError(fmt::format("driver \"{}\" starts without a state: what was saved under "
                                  "this name is of the type {}, and the driver is now a {}; it "
                                  "stays in the state file",
                                  driver, other, type));
    }
}

std::string StateKeeper::Note(const std::string& name)
{
    return m_store->Load(NOTES + name, NOTE_TYPE).value_or(std::string());
}

void StateKeeper::SaveNote(const std::string& name, const std::string& text)
{
    m_store->Save({{NOTES + name, NOTE_TYPE, text}});
}

void StateKeeper::Start()
{
    m_running = true;
    m_house.onPersistRequested = [this](nx::DriverHost& driver)
    {
        SaveSoon(driver);
    };
    m_next = m_house.AddDeviceTimer(m_interval, this);
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

void StateKeeper::SaveSoon(nx::DriverHost& driver)
{
    if (m_isAsked.insert(&driver).second)
        m_asked.push_back(&driver);
    // Not at once: the driver that asks is in the middle of something.
    if (m_soon == 0)
        m_soon = m_house.AddDeviceTimer(std::chrono::milliseconds(0), this);
}

void StateKeeper::OnTimerExpired(ID::Timer timer, time_t)
{
    if (!m_running)
        return;
    if (timer == m_soon)
    {
        m_soon = 0;
        // A driver that is asked for its state may ask for it to be saved.
        const std::vector<nx::DriverHost*> asked = std::move(m_asked);
        m_asked.clear();
        m_isAsked.clear();
        Save(asked);
        return;
    }
    Save();
    m_next = m_house.AddDeviceTimer(m_interval, this);
}

void StateKeeper::Save()
{
    std::vector<nx::DriverHost*> all;
    for (const auto& driver : m_house.Drivers())
        all.push_back(driver.get());
    Save(all);
}

void StateKeeper::Save(const std::vector<nx::DriverHost*>& drivers)
{
    std::vector<embedded_host::DriverState> states;
    for (nx::DriverHost* driver : drivers)
    {
        std::string xml = driver->Persist();
        if (!xml.empty())
            states.push_back({driver->Config().name, driver->Config().type, std::move(xml)});
    }
    try
    {
        m_store->Save(states);
        if (onSaved)
            onSaved(drivers);
    }
    catch (const embedded_host::StateStoreError& error)
    {
        m_onError(error.what());
    }
}
} // namespace lighting_host

#include "lighting_host/Session.h"

#include "embedded_host/LibraryLog.h"
#include "lighting_host/AttachedDevice.h"
#include "lighting_host/Devices.h"
#include "lighting_host/DriverLibrary.h"

namespace lighting_host
{
Session::Session(const HouseFile& file, const SessionOptions& options,
                 embedded_host::OutputSink& sink)
    : m_random(options.seed, options.draw)
{
    if (options.realTime)
        m_clock = std::make_unique<embedded_host::RealClock>();
    else
        m_clock = std::make_unique<embedded_host::VirtualClock>(options.startLocalSeconds);
    embedded_host::ConnectLibraryLog(options.logLevel);
    m_house = std::make_unique<embedded_host::House>(*m_clock, m_random, sink);
    for (const HouseFileDriver& driver : file.drivers)
        AddDriver(driver);
    for (const HouseFileGroup& group : file.groups)
        m_house->AddGroup(group.id, group.members);
}

Session::~Session()
{
    Stop();
    m_devices.clear();
    m_house.reset();
}

void Session::AddDriver(const HouseFileDriver& driver)
{
    embedded_host::DriverConfig config;
    config.name = driver.name;
    config.type = driver.type;
    config.id = driver.id;
    config.capabilities = driver.capabilities;
    config.config = driver.config;
    config.state = driver.state;
    if (!driver.library.empty())
    {
        m_libraries.push_back(std::make_unique<DriverLibrary>(driver.library));
        config.create = [library = m_libraries.back().get()](IInstanceManager& instances)
        {
            return library->Create(instances);
        };
    }
    else
        config.create =
            [type = driver.type, &facts = m_facts[driver.name]](IInstanceManager& instances)
        {
            return MakeDriver(type, instances, facts);
        };
    nx::DriverHost* added = m_house->Add(std::move(config));
    if (!driver.device)
        return;
    auto attached = std::make_unique<AttachedDevice>(*added);
    attached->SetDevice(MakeDevice(driver, *attached));
    if (!attached->Device())
        return;
    added->Attach(attached.get());
    m_devices.push_back(std::move(attached));
}

void Session::Start()
{
    m_house->StartAll();
    for (const auto& device : m_devices)
        device->Schedule(0,
                         [&device]
                         {
                             device->Device()->OnPowerOn();
                             device->Driver().Online(true);
                         });
}

void Session::Stop()
{
    if (m_house)
        m_house->StopAll();
}

DriverAdapter* Session::AdapterOf(const nx::DriverHost& driver) const
{
    return dynamic_cast<DriverAdapter*>(driver.Driver());
}
} // namespace lighting_host

#include "lighting_host/house/Session.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/FileStateStore.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/LocalTime.h"
#include "lighting_host/house/DriverLibrary.h"
#include "lighting_host/house/LibraryAdapter.h"
#include "lighting_host/house/StateKeeper.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "nxshared/XmlDocument.h"

#include <malloc.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// From here on a start leaves so much behind that it is worth giving back.
constexpr std::size_t MANY_DRIVERS = 1000;
} // namespace

Session::Session(const HouseFile& file, const SessionOptions& options,
                 embedded_host::OutputSink& sink)
    : m_housePath(file.path), m_draw(options.draw), m_random(options.seed, options.draw)
{
    std::shared_ptr<const embedded_host::TimeZone> zone;
    if (!options.zone.empty())
        zone = std::make_shared<embedded_host::TimeZone>(options.zone);
    if (options.realTime)
        m_clock = std::make_unique<embedded_host::RealClock>(zone);
    else
        m_clock = std::make_unique<embedded_host::VirtualClock>(options.startLocalSeconds, zone);
    embedded_host::ConnectLibraryLog(options.logLevel);
    m_house = std::make_unique<embedded_host::House>(*m_clock, m_random, sink);
    m_house->ObserveTimers(options.timers);
    if (!options.statePath.empty())
        m_keeper = std::make_unique<StateKeeper>(
            options.makeStore ? options.makeStore()
                              : std::make_unique<embedded_host::FileStateStore>(options.statePath),
            *m_house, std::chrono::milliseconds(options.persistIntervalMs), options.complain);
    // All that can go wrong with what was kept does so before anything runs.
    std::vector<boost::shared_ptr<nx::XmlNode>> states;
    for (const HouseFileDriver& driver : file.drivers)
        states.push_back(StateToStartFrom(driver, options));
    for (std::size_t i = 0; i < file.drivers.size(); ++i)
        AddDriver(file.drivers[i], std::move(states[i]));
    for (const HouseFileGroup& group : file.groups)
        m_house->AddGroup(group.id, group.members);
    for (const HouseFileBind& bind : file.binds)
        m_house->Bind(bind.from, bind.binding, bind.to, bind.toBinding);
}

Session::~Session()
{
    Stop();
    m_keeper.reset();
    m_devices.clear();
    m_house.reset();
}

// The state file's, a recording's or the house file's, in this order.
boost::shared_ptr<nx::XmlNode> Session::StateToStartFrom(const HouseFileDriver& driver,
                                                         const SessionOptions& options)
{
    const auto kept = m_keeper ? m_keeper->StateOf(driver.name, driver.type) : nullptr;
    if (kept && options.onKeptState)
        options.onKeptState(driver.name, kept->ToText());
    const auto recorded = options.states.find(driver.name);
    if (recorded != options.states.end())
        m_firstStates[driver.name] = recorded->second;
    else if (driver.state)
        m_firstStates[driver.name] = driver.state->ToText();
    if (kept)
        return kept;
    return recorded == options.states.end() ? driver.state : FirstState(driver.name);
}

void Session::AddDriver(const HouseFileDriver& driver, boost::shared_ptr<nx::XmlNode> state)
{
    embedded_host::DriverConfig config;
    config.name = driver.name;
    config.type = driver.type;
    config.id = driver.id;
    config.capabilities = driver.capabilities;
    config.config = driver.config;
    config.state = std::move(state);
    config.simulatedDevice = driver.device != nullptr;
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
            [type = driver.type, &own = m_ownTypes[driver.name]](IInstanceManager& instances)
        {
            const MadeDriver made = FindDriverType(type)->make(instances, own.facts);
            own.adapter = made.adapter;
            return made.driver;
        };
    nx::DriverHost* added = m_house->Add(std::move(config));
    if (!driver.library.empty() && m_libraries.back()->HasFacts())
        m_libraryAdapters[added] = std::make_unique<LibraryAdapter>(*added, *m_libraries.back());
    m_rooms[added] = driver.room;
    m_kinds[added] = DeviceKindOf(driver);
    m_places[added] = fmt::format("{}:{}", m_housePath, driver.line);
    if (!driver.device)
        return;
    auto attached = std::make_unique<device_wire::AttachedDevice>(*added);
    attached->SetDevice(MakeDevice(driver, *attached));
    m_devices.push_back(std::move(attached));
}

void Session::Start()
{
    m_house->StartAll();
    // Reading the states of many drivers takes far more memory than the drivers keep.
    if (m_house->Drivers().size() >= MANY_DRIVERS)
        malloc_trim(0);
    for (const auto& driver : m_house->Drivers())
    {
        if (!driver->Driver())
            throw DriverNotMade(fmt::format("{}: driver \"{}\" was not made",
                                            m_places.at(driver.get()), driver->Config().name));
    }
    if (m_keeper)
        m_keeper->Start();
    for (const auto& device : m_devices)
    {
        // Whether a real lamp is there comes as an input.
        if (IsRemoteLight(KindOf(device->Driver())))
            continue;
        device->Schedule({},
                         [&device]
                         {
                             device->Device()->OnPowerOn();
                             device->Driver().Online(true);
                         });
    }
}

void Session::RestartDrivers(bool save)
{
    if (m_keeper && save)
        m_keeper->Save();
    m_house->StopAll();
    for (const auto& driver : m_house->Drivers())
    {
        const auto state =
            m_keeper ? m_keeper->StateOf(driver->Config().name, driver->Config().type) : nullptr;
        driver->Start(state ? state : FirstState(driver->Config().name));
    }
}

void Session::Redraw(std::uint64_t seed)
{
    m_random = embedded_host::Random(seed, m_draw);
}

boost::shared_ptr<nx::XmlNode> Session::FirstState(const std::string& driver) const
{
    const auto found = m_firstStates.find(driver);
    if (found == m_firstStates.end())
        return nullptr;
    const auto document = nx::CreateXmlDocument(found->second);
    if (!document)
        throw std::runtime_error(
            fmt::format("the state to start driver \"{}\" from is no XML", driver));
    return document->GetRoot();
}

void Session::Stop()
{
    if (m_keeper)
        m_keeper->Stop();
    if (m_house)
        m_house->StopAll();
}

const std::string& Session::RoomOf(const nx::DriverHost& driver) const
{
    return m_rooms.at(&driver);
}

const DeviceKind* Session::KindOf(const nx::DriverHost& driver) const
{
    return m_kinds.at(&driver);
}

DriverAdapter* Session::AdapterOf(const nx::DriverHost& driver) const
{
    const auto ofLibrary = m_libraryAdapters.find(&driver);
    if (ofLibrary != m_libraryAdapters.end())
        return driver.Driver() ? ofLibrary->second.get() : nullptr;
    const auto found = m_ownTypes.find(driver.Config().name);
    return driver.Driver() && found != m_ownTypes.end() ? found->second.adapter : nullptr;
}
} // namespace lighting_host

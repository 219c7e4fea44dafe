#include "lighting_host/broker/HouseOnBroker.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "lighting_host/broker/EntityValues.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
const std::string ONLINE = "online";
const std::string OFFLINE = "offline";
// What programs on a broker take for "not known".
const std::string UNKNOWN = "None";
constexpr std::int64_t NS_A_MS = 1000000;
constexpr std::int64_t SECOND_NS = 1000 * NS_A_MS;
// How often the house is looked at.
constexpr std::int64_t LOOK_INTERVAL_NS = 90 * NS_A_MS;
// A light that moves without a command of ours is told this often.
constexpr std::int64_t LIGHT_INTERVAL_NS = SECOND_NS;
// A lamp that has not come to where a command sent it, so long after it should have, is told as it
// is.
constexpr std::int64_t FADE_GRACE_MS = 2000;
constexpr std::int64_t LEAST_BIRTH_DELAY_MS = 100;
} // namespace

HouseOnBroker::HouseOnBroker(Options options, BrokeredHouse& house, Broker& broker,
                             BrokerMemory& memory, Complaint complaint)
    : m_options(std::move(options)), m_house(house), m_broker(broker), m_memory(memory),
      m_complaints(std::move(complaint)), m_random(std::random_device{}())
{
}

HouseOnBroker::~HouseOnBroker()
{
    Stop();
}

void HouseOnBroker::Start()
{
    m_started = true;
    LookAtHouse();
    std::vector<nx::DriverHost*> drivers;
    for (const auto& driver : m_house.GetSession().House().Drivers())
        drivers.push_back(driver.get());
    LookAtEnergy(drivers);
    m_broker.SetWill({m_options.topics.Status(), OFFLINE, true, true, std::string()});
    m_broker.Start(*this);
}

void HouseOnBroker::Stop()
{
    if (!m_started)
        return;
    m_started = false;
    if (m_broker.GetState() == Broker::State::Connected)
        Publish({m_options.topics.Status(), OFFLINE, true, true, std::string()});
    m_broker.Stop();
}

void HouseOnBroker::Work(std::int64_t nowNs)
{
    m_nowNs = nowNs;
    if (!m_started || !m_house.IsNow() || nowNs - m_lookedNs < LOOK_INTERVAL_NS)
        return;
    m_lookedNs = nowNs;
    // Everything is looked at when there is a connection again.
    if (!m_announced || m_broker.GetState() != Broker::State::Connected)
        return;
    bool isSameShape = true;
    const std::vector<std::size_t> seen = m_watch.Look(nowNs, isSameShape);
    const bool isBirth = m_birthNs != 0 && nowNs >= m_birthNs;
    if (isBirth || m_isUnsaid || !isSameShape)
    {
        m_birthNs = isBirth ? 0 : m_birthNs;
        Announce(isBirth);
        return;
    }
    for (const std::size_t place : seen)
        m_watch.SetDue(place, !TellDevice(place));
}

void HouseOnBroker::OnOtherMoment()
{
    m_buttons.clear();
    m_lights.clear();
    // The devices are others, and may show something else.
    LookAtHouse();
    m_isUnsaid = true;
}

void HouseOnBroker::OnSaved(const std::vector<nx::DriverHost*>& drivers)
{
    if (m_started && m_house.IsNow())
        LookAtEnergy(drivers);
}

void HouseOnBroker::OnProtocolLine(const std::string& line)
{
    if (m_options.protocol && m_announced)
        Publish({m_options.topics.ProtocolOut(), line, false, false, std::string()});
}

// --- What is told ---

bool HouseOnBroker::Publish(const BrokerPublication& publication)
{
    const bool sent = m_broker.Publish(publication);
    m_counts.published += sent ? 1 : 0;
    return sent;
}

// `again`: also when it was told already.
bool HouseOnBroker::PublishRetained(const std::string& topic, const std::string& payload,
                                    bool again)
{
    const auto told = m_told.find(topic);
    if (!again && told != m_told.end() && told->second == payload)
        return true;
    if (!Publish({topic, payload, true, true, std::string()}))
    {
        m_isUnsaid = true;
        return false;
    }
    m_told[topic] = payload;
    return true;
}

// Every retained topic that the house as it is may tell.
std::set<std::string> HouseOnBroker::TopicsOfHouse() const
{
    std::set<std::string> topics = {m_options.topics.Status()};
    for (const DeviceModel& device : m_watch.Model().devices)
    {
        if (m_options.discovery)
            topics.insert(m_options.topics.Discovery(device.id));
        if (!device.driver.empty())
            topics.insert(m_options.topics.Availability(device.id));
        for (const Entity& entity : device.entities)
        {
            if (entity.kind != EntityKind::Button && entity.kind != EntityKind::Scene &&
                entity.kind != EntityKind::AdvScene)
                topics.insert(m_options.topics.State(device.id, entity.id));
        }
    }
    return topics;
}

// Everything that must be known: what there is, then whether it is there, then how it stands; and
// what an earlier house told and this one does not is cleared. What is retained is kept in mind
// first, so that it can be cleared one day. `again`: also what was told already.
void HouseOnBroker::Announce(bool again)
{
    if (again)
        m_told.clear();
    m_isUnsaid = false;
    const std::set<std::string> topics = TopicsOfHouse();
    std::vector<std::string> ghosts;
    for (const std::string& topic : m_memory.Topics())
    {
        if (topics.count(topic) == 0)
            ghosts.push_back(topic);
    }
    bool isNew = false;
    for (const std::string& topic : topics)
        isNew = m_memory.AddTopic(topic) || isNew;
    if (isNew)
        SaveMemory();
    PublishRetained(m_options.topics.Status(), ONLINE);
    bool isOther = ClearGhosts(ghosts);
    for (const DeviceModel& device : m_watch.Model().devices)
        isOther = AnnounceDevice(device) || isOther;
    if (isOther)
        SaveMemory();
    for (std::size_t place = 0; place < m_watch.Count(); ++place)
        m_watch.SetDue(place, !TellDevice(place));
}

// Components that are gone are told as gone once, then no more. Whether there is something new to
// keep in mind.
bool HouseOnBroker::AnnounceDevice(const DeviceModel& device)
{
    if (!m_options.discovery)
        return false;
    const DiscoveryMessage message = MakeDiscovery(device, m_options.topics, m_options.facts, {});
    std::vector<BrokerMemory::Component> removed;
    const auto& before = m_memory.ComponentsOf(message.topic);
    for (const auto& old : before)
    {
        const bool isThere =
            std::any_of(message.components.begin(), message.components.end(),
                        [&](const auto& component) { return component.first == old.first; });
        if (!isThere)
            removed.push_back(old);
    }
    if (!removed.empty())
        PublishRetained(message.topic,
                        MakeDiscovery(device, m_options.topics, m_options.facts, removed).payload);
    if (!PublishRetained(message.topic, message.payload) || before == message.components)
        return false;
    m_memory.SetComponents(message.topic, message.components);
    return true;
}

// Whether something was cleared.
bool HouseOnBroker::ClearGhosts(const std::vector<std::string>& ghosts)
{
    bool isCleared = false;
    for (const std::string& topic : ghosts)
    {
        if (!Publish({topic, std::string(), true, true, std::string()}))
        {
            m_isUnsaid = true;
            continue;
        }
        m_memory.RemoveTopic(topic);
        m_told.erase(topic);
        isCleared = true;
    }
    return isCleared;
}

bool HouseOnBroker::TellDevice(std::size_t place)
{
    const DeviceModel& device = m_watch.Model().devices[place];
    nx::DriverHost* const driver =
        device.driver.empty() ? nullptr : m_house.GetSession().House().Find(device.driver);
    if (driver)
    {
        const bool isUnlinked = std::any_of(device.entities.begin(), device.entities.end(),
                                            [](const Entity& entity) {
                                                return entity.kind == EntityKind::Link &&
                                                       entity.figure.value == WORD_OFF;
                                            });
        const auto& told = driver->LastTold();
        const bool isThere = driver->Driver() && !isUnlinked && (!told || told->online);
        PublishRetained(m_options.topics.Availability(device.id), isThere ? ONLINE : OFFLINE);
    }
    bool isAll = true;
    for (const Entity& entity : device.entities)
        isAll = TellEntity(place, entity, driver) && isAll;
    return isAll;
}

bool HouseOnBroker::TellEntity(std::size_t place, const Entity& entity,
                               const nx::DriverHost* driver)
{
    const DeviceModel& device = m_watch.Model().devices[place];
    const std::string topic = m_options.topics.State(device.id, entity.id);
    if (entity.kind == EntityKind::Light || entity.kind == EntityKind::Group)
        return TellLight(topic, m_lights[topic], m_watch.LevelOf(place, entity));
    if (entity.kind == EntityKind::Button)
    {
        TellEvents(device, entity, m_buttons[topic].OnTime(NowMs()));
        return true;
    }
    const std::optional<std::string> value = ValueOf(device, entity, driver);
    return !value || PublishRetained(topic, *value);
}

// Of a fade that a command began, its end is told; its beginning was told with the command.
bool HouseOnBroker::TellLight(const std::string& topic, Light& light, int level)
{
    light.memory.level = level;
    if (level > 0)
        light.memory.lastLit = level;
    bool isEnd = false;
    if (light.fade)
    {
        const std::int64_t now = NowMs();
        const bool isThere = now >= light.fade->endMs && level == light.fade->level;
        if (!isThere && now < light.fade->endMs + FADE_GRACE_MS)
            return false;
        light.fade.reset();
        isEnd = true;
    }
    const std::string state = LightState(level);
    const auto told = m_told.find(topic);
    const bool isNew = told == m_told.end() || told->second != state;
    if (!isNew && !isEnd)
        return true;
    if (!isEnd && told != m_told.end() && m_nowNs - light.toldNs < LIGHT_INTERVAL_NS)
        return false;
    if (!PublishRetained(topic, state, isEnd))
        return false;
    light.toldNs = m_nowNs;
    return true;
}

void HouseOnBroker::TellEvents(const DeviceModel& device, const Entity& entity,
                               const std::vector<ButtonEvent>& events)
{
    for (const ButtonEvent& event : events)
    {
        Publish({m_options.topics.Event(device.id, entity.id), event.Json(), false, false,
                 std::string()});
        if (!event.trigger.empty())
            Publish({m_options.topics.Trigger(device.id, entity.id), event.trigger, false, false,
                     std::string()});
    }
}

// The value of an entity that just has one; nothing when it is not known.
std::optional<std::string> HouseOnBroker::ValueOf(const DeviceModel& device, const Entity& entity,
                                                  const nx::DriverHost* driver)
{
    if (entity.kind == EntityKind::Led)
        return LedState(entity.button.ledColor);
    if (entity.kind == EntityKind::Setting)
        return entity.setting.value.empty() ? UNKNOWN : entity.setting.value;
    if (!driver)
        return std::nullopt;
    if (entity.kind == EntityKind::Figure || entity.kind == EntityKind::Link)
    {
        const RunStatistics::Counts counts = m_house.CountsOf(*driver);
        const std::pair<const char*, unsigned long> counted[] = {
            {"repairs", counts.repairs},
            {"retries", counts.retries},
            {"warnings", counts.warnings},
        };
        for (const auto& [id, count] : counted)
        {
            if (entity.id == id)
                return std::to_string(count);
        }
        return entity.figure.value;
    }
    if (entity.kind == EntityKind::Contact)
    {
        // Its button has the same id but for the ending.
        const std::string button = entity.id.substr(0, entity.id.rfind('_'));
        const auto found = m_buttons.find(m_options.topics.State(device.id, button));
        const bool isPressed = found != m_buttons.end() && found->second.IsPressed();
        return isPressed ? WORD_ON : WORD_OFF;
    }
    const DriverAdapter* const adapter =
        driver->Driver() ? m_house.GetSession().AdapterOf(*driver) : nullptr;
    const auto energy = adapter ? adapter->EnergyOfLoad() : std::nullopt;
    if (entity.kind == EntityKind::Power && energy)
        return std::to_string(energy->powerWatts);
    const auto total = m_energy.find(device.driver);
    if (entity.kind == EntityKind::Energy && total != m_energy.end())
        return total->second;
    return std::nullopt;
}

// --- The house ---

void HouseOnBroker::LookAtHouse()
{
    m_watch.Begin(m_house.Plan(), m_house.GetSession(), m_options.houseName, m_options.keepsEnergy,
                  m_nowNs);
}

// Totals are kept before they are told. What cannot be kept is not told.
void HouseOnBroker::LookAtEnergy(const std::vector<nx::DriverHost*>& drivers)
{
    if (!m_options.keepsEnergy)
        return;
    std::map<std::string, std::string> totals;
    for (nx::DriverHost* const driver : drivers)
    {
        const DriverAdapter* const adapter =
            driver->Driver() ? m_house.GetSession().AdapterOf(*driver) : nullptr;
        const auto energy = adapter ? adapter->EnergyOfLoad() : std::nullopt;
        if (!energy)
            continue;
        const std::string& name = driver->Config().name;
        totals[name] = KilowattHours(m_memory.TotalOf(name, HundredthsOf(*energy)));
    }
    try
    {
        m_memory.Save();
        for (const auto& [driver, total] : totals)
            m_energy[driver] = total;
    }
    catch (const std::exception& error)
    {
        Complain(fmt::format("the energy totals cannot be kept: {}", error.what()));
    }
}

void HouseOnBroker::OnOutput(const embedded_host::Output& output)
{
    if (!m_started)
        return;
    const std::size_t place = m_watch.PlaceOf(output.driver.Config().name);
    m_watch.SetDue(place);
    const bool mayBeUse = std::holds_alternative<embedded_host::EventFired>(output.effect) ||
                          std::holds_alternative<embedded_host::OwnerCall>(output.effect);
    if (!mayBeUse || !m_house.IsNow())
        return;
    const DriverAdapter* const adapter = m_house.GetSession().AdapterOf(output.driver);
    const auto use = adapter ? adapter->UseOf(output.effect) : std::nullopt;
    if (!use)
        return;
    m_watch.SetInUse(place, m_nowNs);
    const DeviceModel& device = m_watch.Model().devices[place];
    for (const Entity& entity : device.entities)
    {
        if (entity.button.contact != use->contact || entity.button.number != use->number)
            continue;
        if (entity.kind == EntityKind::Button)
        {
            ButtonEvents& button = m_buttons[m_options.topics.State(device.id, entity.id)];
            TellEvents(device, entity, button.OnUse(*use, output.timeMs));
        }
        // At once: the next Work may come when it is over. The contact stands after its button.
        if (entity.kind == EntityKind::Contact && m_announced)
            TellEntity(place, entity, &output.driver);
    }
}

// --- The broker ---

void HouseOnBroker::OnBrokerConnected()
{
    m_told.clear();
    m_announced = true;
    m_broker.Subscribe(m_options.topics.Commands());
    m_broker.Subscribe(m_options.topics.Birth());
    if (m_options.protocol)
        m_broker.Subscribe(m_options.topics.ProtocolIn());
    PublishRetained(m_options.topics.Status(), ONLINE);
    // At an earlier moment the rest waits.
    m_birthNs = 1;
    if (!m_house.IsNow())
        return;
    m_birthNs = 0;
    LookAtHouse();
    Announce(false);
}

void HouseOnBroker::OnBrokerLost(const std::string& why)
{
    m_announced = false;
    Complain(why);
}

void HouseOnBroker::OnBrokerMessage(const BrokerMessage& message)
{
    if (message.topic == m_options.topics.Birth())
    {
        // A retained one tells nothing new: everything is told after each connection.
        if (message.payload != ONLINE || message.retained)
            return;
        std::uniform_int_distribution<std::int64_t> chance(
            LEAST_BIRTH_DELAY_MS, std::max(LEAST_BIRTH_DELAY_MS, m_options.mostBirthDelayMs));
        m_birthNs = m_nowNs + chance(m_random) * NS_A_MS;
        return;
    }
    if (message.retained)
        return Refuse(message, "it was retained, so it may be of any time");
    ++m_counts.commands;
    if (m_options.protocol && message.topic == m_options.topics.ProtocolIn())
        return OnProtocolInput(message);
    OnCommand(message);
}

void HouseOnBroker::OnCommand(const BrokerMessage& message)
{
    std::string device;
    std::string entity;
    if (!m_options.topics.SplitCommand(message.topic, device, entity))
        return Refuse(message, "that is no topic for commands");
    const DeviceModel* const found = m_watch.Model().Find(device);
    const Entity* const target = found ? HouseModel::Find(*found, entity) : nullptr;
    if (!target)
        return Refuse(message, fmt::format("there is no {} of {}", entity, device));
    const std::string refused = Obey(*found, *target, message.payload);
    if (!refused.empty())
        return Refuse(message, refused);
    Answer(message, R"({"done":true})");
}

// Why the command was refused; empty when it was not.
std::string HouseOnBroker::Obey(const DeviceModel& device, const Entity& entity,
                                const std::string& payload)
{
    if (!m_house.IsNow())
        return "the house stands at an earlier moment";
    const std::string topic = m_options.topics.State(device.id, entity.id);
    nx::DriverHost* const driver =
        device.driver.empty() ? nullptr : m_house.GetSession().House().Find(device.driver);
    const DriverAdapter* const adapter =
        driver && driver->Driver() ? m_house.GetSession().AdapterOf(*driver) : nullptr;
    try
    {
        const auto light = m_lights.find(topic);
        const BrokerCommand command = ReadBrokerCommand(
            device, entity, adapter, light == m_lights.end() ? LightMemory() : light->second.memory,
            payload);
        std::vector<std::string> answers;
        const std::string refused = m_house.HandIn(command.line, answers);
        if (!refused.empty())
            return refused;
        m_watch.SetDue(m_watch.PlaceOf(device.driver));
        if (!command.fades)
            return std::string();
        BeginFade(device.id, entity.id, command);
        for (const std::string& member : entity.members)
            BeginFade(member, "light", command);
        return std::string();
    }
    catch (const InputError& error)
    {
        return error.Message();
    }
}

// Its target is told at once.
void HouseOnBroker::BeginFade(const std::string& device, const std::string& entity,
                              const BrokerCommand& command)
{
    const std::string topic = m_options.topics.State(device, entity);
    Light& light = m_lights[topic];
    light.fade = Fade{command.level, NowMs() + command.timeMs};
    if (command.level > 0)
        light.memory.lastLit = command.level;
    if (PublishRetained(topic, LightState(command.level), true))
        light.toldNs = m_nowNs;
}

void HouseOnBroker::OnProtocolInput(const BrokerMessage& message)
{
    if (message.payload.find('\n') != std::string::npos)
        return Refuse(message, "one line is taken at a time");
    std::vector<std::string> answers;
    const std::string refused = m_house.HandIn(message.payload, answers);
    for (const std::string& answer : answers)
        OnProtocolLine(answer);
    if (!refused.empty())
        return Refuse(message, refused);
    Answer(message, R"({"done":true})");
}

// Nothing has been changed.
void HouseOnBroker::Refuse(const BrokerMessage& message, const std::string& why)
{
    ++m_counts.refused;
    Complain(fmt::format("{} was refused: {}", message.topic, why));
    if (message.retained)
        return;
    const std::string answer = fmt::format(R"({{"error":{}}})", JsonText(why));
    Publish({m_options.topics.Error(message.topic), answer, false, true, std::string()});
    Answer(message, answer);
}

void HouseOnBroker::Answer(const BrokerMessage& message, const std::string& answer)
{
    if (!message.responseTopic.empty())
        Publish({message.responseTopic, answer, false, true, message.correlation});
}

// --- Odds and ends ---

void HouseOnBroker::Complain(const std::string& what)
{
    m_complaints.Tell(what, m_nowNs);
}

void HouseOnBroker::SaveMemory()
{
    try
    {
        m_memory.Save();
    }
    catch (const std::exception& error)
    {
        Complain(fmt::format("what was told to the broker cannot be kept: {}", error.what()));
    }
}

std::int64_t HouseOnBroker::NowMs()
{
    return m_house.GetSession().House().GetClock().Now().count();
}
} // namespace lighting_host

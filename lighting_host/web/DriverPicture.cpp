#include "lighting_host/web/DriverPicture.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/types/DriverAdapter.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t MOST_STEPS = 2000;
constexpr int MOST_CONTACTS = 2;
// The largest id of a keypad's button, and of a puck's, that is asked for.
constexpr int MOST_BUTTON = 32;

std::string Quoted(const std::string& text)
{
    std::string out;
    AppendJsonText(out, text);
    return out;
}

// What the driver's type answers to a query; nothing when it has no such query or thing.
std::optional<Json> Ask(DriverAdapter& adapter, const char* word, Json fields = Json::object())
{
    try
    {
        fields["query"] = word;
        Fields query(fields, "the query");
        query.Text("query");
        Json value;
        if (adapter.Query(word, query, value))
            return value;
    }
    catch (const InputError&)
    {
        // There is no such button, contact or element.
    }
    return std::nullopt;
}

// The engraving of a keypad's button.
std::string NameIn(const std::string& xml)
{
    const auto document = nx::CreateXmlDocument(xml);
    return document ? document->GetRoot()->GetChildData("NAME") : std::string();
}
} // namespace

std::string Object(const Members& members)
{
    std::string text = "{";
    for (const auto& [name, value] : members)
        text += fmt::format("{}\"{}\":{}", text.size() > 1 ? "," : "", name, value);
    return text + "}";
}

Members Changed(const Members& now, Members& before)
{
    Members changed;
    for (const auto& member : now)
        if (std::find(before.begin(), before.end(), member) == before.end())
            changed.push_back(member);
    before = now;
    return changed;
}

DriverPicture::DriverPicture(HouseRun& run, nx::DriverHost& driver) : m_run(run), m_driver(driver)
{
}

const std::string& DriverPicture::Name() const
{
    return m_driver.Config().name;
}

bool DriverPicture::IsWarning(const LogRecord& record)
{
    return record.level >= log4cplus::WARN_LOG_LEVEL;
}

// --- What is heard ---

void DriverPicture::OnOutput(const Output& output, std::uint64_t)
{
    if (const auto* variable = std::get_if<VariableChanged>(&output.effect))
    {
        if (variable->change == Change::Remove)
        {
            m_variables.erase(variable->id);
            return;
        }
        Variable& kept = m_variables[variable->id];
        if (variable->change == Change::Add)
            kept.name = variable->name;
        kept.value = variable->value;
        return;
    }
    const auto* record = std::get_if<LogRecord>(&output.effect);
    if (record && IsWarning(*record))
        ++m_warnings;
}

void DriverPicture::OnPowerFailure()
{
    ++m_powerFailures;
}

void DriverPicture::OnBus(const wire::BusFrame&) {}
void DriverPicture::OnMib(const wire::MibMessage&) {}
void DriverPicture::OnZcl(const wire::ZclFrame&) {}

// --- What is shown ---

std::string DriverPicture::Variables() const
{
    std::string text = "[";
    for (const auto& [id, variable] : m_variables)
        text += fmt::format("{}{{\"id\":{},\"name\":{},\"value\":{}}}", text.size() > 1 ? "," : "",
                            id, Quoted(variable.name), Quoted(variable.value));
    return text + "]";
}

std::string DriverPicture::Power() const
{
    std::string text = "[";
    for (const auto& [timeMs, watts] : m_power)
        text += fmt::format("{}[{},{}]", text.size() > 1 ? "," : "", timeMs, watts);
    return text + "]";
}

void DriverPicture::AddEnergy(DriverAdapter& adapter, Members& members)
{
    const auto energy = adapter.EnergyOfLoad();
    if (!energy)
        return;
    if (m_power.empty() || m_power.back().second != energy->powerWatts)
        m_power.emplace_back(m_run.NowMs(), energy->powerWatts);
    if (m_power.size() > MOST_STEPS)
        m_power.pop_front();
    members.emplace_back("watts", std::to_string(energy->powerWatts));
    members.emplace_back("energy",
                         fmt::format("{{\"used_wh\":{},\"today_wh\":{},\"minutes_on\":{}}}",
                                     energy->wattHours, energy->wattHoursToday,
                                     energy->minutesOn));
}

// A puck's contacts and buttons count from 0, a keypad's buttons have ids of their own.
void DriverPicture::AddButtons(DriverAdapter& adapter, Members& members)
{
    Json contacts = Json::array();
    for (int index = 0; index < MOST_CONTACTS; ++index)
    {
        const auto contact = Ask(adapter, "contact", {{"index", index}});
        if (contact)
            contacts.push_back({{"pressed", (*contact)["state"] != 0}});
    }
    if (!contacts.empty())
        members.emplace_back("contacts", contacts.dump());
    Json buttons = Json::array();
    for (int id = 0; id <= MOST_BUTTON; ++id)
    {
        if (const auto ofPuck = Ask(adapter, "button", {{"index", id}}))
            buttons.push_back({{"id", id},
                               {"name", (*ofPuck)["name"]},
                               {"pressed", (*ofPuck)["state"] != 0},
                               {"led", (*ofPuck)["current_color"]},
                               {"blink_ms", 0},
                               {"on_color", (*ofPuck)["on_color"]},
                               {"off_color", (*ofPuck)["off_color"]}});
        else if (const auto ofKeypad = Ask(adapter, "button", {{"id", id}}))
            buttons.push_back({{"id", id},
                               {"name", NameIn((*ofKeypad)["xml"].get<std::string>())},
                               {"pressed", false},
                               {"led", (*ofKeypad)["current_color"]},
                               {"blink_ms", (*ofKeypad)["led_blink"] == 0 ? 0 : 500}});
    }
    if (!buttons.empty())
        members.emplace_back("buttons", buttons.dump());
}

void DriverPicture::AddTables(DriverAdapter& adapter, Members& members)
{
    if (const auto map = Ask(adapter, "scene_map"))
        members.emplace_back("scene_map", map->dump());
    const auto groups = Ask(adapter, "groups");
    if (!groups)
        return;
    Json wanted = Json::array();
    for (const Json& group : *groups)
        wanted.push_back({{"id", group["id"]}, {"sync", group["keep_sync"]}});
    Json elements = Json::array();
    const auto ids = Ask(adapter, "element_ids");
    for (const Json& id : ids ? *ids : Json::array())
    {
        const auto element = Ask(adapter, "element", {{"id", id}});
        if (element)
            elements.push_back({{"id", (*element)["id"]},
                                {"delay_ms", (*element)["delay"]},
                                {"rate_ms", (*element)["levelRate"]},
                                {"level", (*element)["level"]},
                                {"flags", (*element)["flags"]},
                                {"known", (*element)["onHardware"]}});
    }
    const Json wants = {{"groups", wanted},
                        {"elements", elements},
                        {"group_crc", Ask(adapter, "group_crc").value_or(nullptr)},
                        {"scene_crc", Ask(adapter, "scene_crc").value_or(nullptr)}};
    members.emplace_back("wants", wants.dump());
}

void DriverPicture::AddQueue(DriverAdapter& adapter, Members& members)
{
    const auto bus = Ask(adapter, "bus");
    if (!bus)
        return;
    const Json queue = {{"gateway_online", (*bus)["gateway_online"]},
                        {"device_online", (*bus)["device_online"]},
                        {"queued", (*bus)["queued"]},
                        {"retry_count", (*bus)["retry_count"]}};
    members.emplace_back("queue", queue.dump());
}

void DriverPicture::AddLamp(Members& members)
{
    for (const auto& device : m_run.GetSession().Devices())
    {
        if (&device->Driver() != &m_driver)
            continue;
        const simulated::LampLevel lamp = device->Device()->PresentLevel();
        // A device without a lamp knows only dark and full.
        if (lamp.full > 1)
            members.emplace_back("level", std::to_string((lamp.level * 100 + lamp.full / 2) /
                                                         lamp.full));
    }
}

Members DriverPicture::Describe(bool whole)
{
    const DriverConfig& config = m_driver.Config();
    Members members;
    members.emplace_back("name", Quoted(config.name));
    members.emplace_back("type", Quoted(config.type));
    members.emplace_back("id", std::to_string(config.id));
    const std::string& room = m_run.GetSession().RoomOf(m_driver);
    members.emplace_back("room", room.empty() ? "null" : Quoted(room));
    members.emplace_back("simulated", config.simulatedDevice ? "true" : "false");
    members.emplace_back("warnings", std::to_string(m_warnings));
    members.emplace_back("variables", Variables());
    AddLamp(members);
    DriverAdapter* const adapter =
        m_driver.Driver() ? m_run.GetSession().AdapterOf(m_driver) : nullptr;
    if (adapter)
    {
        Json facts = Json::array();
        for (const auto& [label, value] : adapter->Summary())
            facts.push_back({label, value});
        members.emplace_back("facts", facts.dump());
        AddEnergy(*adapter, members);
        AddButtons(*adapter, members);
        AddTables(*adapter, members);
        AddQueue(*adapter, members);
    }
    if (whole && !m_power.empty())
        members.emplace_back("power", Power());
    return members;
}

Members DriverPicture::TakeChanges()
{
    return Changed(Describe(false), m_told);
}

Metrics::Driver DriverPicture::GetMetrics()
{
    Metrics::Driver metrics;
    metrics.warnings = m_warnings;
    metrics.powerFailures = m_powerFailures;
    DriverAdapter* const adapter =
        m_driver.Driver() ? m_run.GetSession().AdapterOf(m_driver) : nullptr;
    const auto bus = adapter ? Ask(*adapter, "bus") : std::nullopt;
    if (bus)
        metrics.queued = (*bus)["queued"].get<long>();
    return metrics;
}
} // namespace lighting_host

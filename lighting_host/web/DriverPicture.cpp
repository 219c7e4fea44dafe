#include "lighting_host/web/DriverPicture.h"

#include "device_wire/AttachedDevice.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/gen3_keypad/KeypadBus.h"
#include "embedded_host/DriverHost.h"
#include "lighting_common/Gen3Lights.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/web/DevicePicture.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"
#include "simulated_devices/PuckModule.h"
#include "wire/BusFrame.h"
#include "wire/MibMessage.h"
#include "wire/ZclFrame.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t MOST_STEPS = 2000;
// The largest id of a keypad's button that is asked for.
constexpr int MOST_BUTTON = 32;
// A puck's numbers of its first button and contact.
constexpr int FIRST_BUTTON = simulated::PuckModule::FIRST_BUTTON;
constexpr int FIRST_CONTACT = simulated::PuckModule::FIRST_CONTACT;
constexpr unsigned SCENE_BITS = 12;
constexpr unsigned MOST_ELEMENTS = 16;

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

// When the LED of a keypad's button is on, in words.
const char* WhenLedIsOn(int behavior)
{
    namespace buttons = gen3_lights::Buttons;
    if (behavior >= buttons::LED_AT_LEVEL_FIRST && behavior <= buttons::LED_AT_LEVEL_LAST)
        return "at a level of the load";
    switch (behavior)
    {
    case buttons::LED_FOLLOWS_BOUND_DEVICE:
        return "as the bound device says";
    case buttons::LED_ON_WITH_LOAD:
        return "while the load is on";
    case buttons::LED_ON_WHILE_PRESSED:
        return "while pressed";
    default:
        return "as the controller says";
    }
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

std::string FaultsText(const DeviceSwitches::Switched& switched, bool canForget)
{
    const DeviceFaults& faults = switched.faults;
    const auto orNull = [](std::int64_t ms)
    {
        return ms < 0 ? std::string("null") : std::to_string(ms);
    };
    return fmt::format("{{\"power\":{},\"deaf\":{}{},\"repeats\":{},\"loss_percent\":{},"
                       "\"delay_ms\":{},\"power_ms\":{},\"deaf_ms\":{}}}",
                       switched.power, faults.deaf,
                       canForget ? fmt::format(",\"forgets\":{}", faults.forgets) : "",
                       faults.repeats, faults.lossPercent, faults.delayMs, orNull(switched.powerMs),
                       orNull(switched.deafMs));
}

DriverPicture::DriverPicture(HouseRun& run, nx::DriverHost& driver) : m_run(run), m_driver(driver)
{
    const auto& devices = run.GetSession().Devices();
    for (m_deviceIndex = 0; m_deviceIndex < devices.size(); ++m_deviceIndex)
    {
        if (&devices[m_deviceIndex]->Driver() != &driver)
            continue;
        m_device = devices[m_deviceIndex].get();
        break;
    }
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

void DriverPicture::OnOutput(const Output& output, std::uint64_t seq)
{
    m_dirty = true;
    m_queue.OnOutput(output);
    m_sync.OnOutput(output, seq);
    if (const auto* variable = std::get_if<VariableChanged>(&output.effect))
        return OnVariable(*variable, output.timeMs);
    const auto* record = std::get_if<LogRecord>(&output.effect);
    if (record && IsWarning(*record))
        ++m_warnings;
}

void DriverPicture::OnVariable(const VariableChanged& variable, std::int64_t nowMs)
{
    if (variable.change == Change::Remove)
    {
        m_variables.erase(variable.id);
        return;
    }
    Variable& kept = m_variables[variable.id];
    if (variable.change == Change::Add)
        kept.name = variable.name;
    kept.value = variable.value;
    if (kept.name != names::general::CURRENT_POWER)
        return;
    const int watts = std::atoi(variable.value.c_str());
    if (!m_power.empty() && m_power.back().second == watts)
        return;
    m_power.emplace_back(nowMs, watts);
    if (m_power.size() > MOST_STEPS)
        m_power.pop_front();
}

void DriverPicture::OnPowerFailure()
{
    m_dirty = true;
    ++m_powerFailures;
}

void DriverPicture::OnBus(const wire::BusFrame& frame)
{
    m_dirty = true;
    m_queue.OnBus(frame, m_run.NowMs());
    if (frame.opcode != keypad_bus::BUTTON_USED || frame.payload.size() < 2)
        return;
    const int use = frame.payload[1];
    Touched& touched = m_touched[frame.payload[0]];
    touched.pressed = use == keypad_bus::PRESSED || use == keypad_bus::STILL_HELD;
    touched.uses += use == keypad_bus::PRESSED || use == keypad_bus::CLICKED ? 1 : 0;
}

// A module says where it was pushed, and how the push ended.
void DriverPicture::OnMib(const wire::MibMessage& message)
{
    m_dirty = true;
    m_sync.OnMib(message, m_run.NowMs());
    if (message.type != wire::MibMessage::Trap || message.params.empty())
        return;
    const bool begins = message.mib == "nx.dmx.bp";
    if (!begins && message.mib != "nx.dmx.sc" && message.mib != "nx.dmx.he")
        return;
    Touched& touched =
        m_touched[static_cast<int>(std::strtol(message.params[0].c_str(), nullptr, 16))];
    touched.pressed = begins;
    touched.uses += begins ? 1 : 0;
}

void DriverPicture::OnZcl(const wire::ZclFrame& frame)
{
    m_dirty = true;
    m_sync.OnZcl(frame, m_run.NowMs());
}

// --- What is shown ---

const DriverPicture::Touched& DriverPicture::TouchedAt(int number) const
{
    static const Touched NEVER;
    const auto touched = m_touched.find(number);
    return touched == m_touched.end() ? NEVER : touched->second;
}

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

std::string DriverPicture::Online() const
{
    const auto& told = m_driver.LastTold();
    return told ? fmt::format("{{\"on\":{},\"since_ms\":{}}}", told->online, told->sinceMs)
                : std::string("{\"on\":null,\"since_ms\":null}");
}

void DriverPicture::AddEnergy(DriverAdapter& adapter, Members& members)
{
    const auto energy = adapter.EnergyOfLoad();
    if (!energy)
        return;
    members.emplace_back("watts", std::to_string(energy->powerWatts));
    members.emplace_back("energy",
                         fmt::format("{{\"used_wh\":{},\"today_wh\":{},\"minutes_on\":{}}}",
                                     energy->wattHours, energy->wattHoursToday, energy->minutesOn));
}

void DriverPicture::AddPuck(DriverAdapter& adapter, Members& members)
{
    Json contacts = Json::array();
    for (int index = 0; Ask(adapter, "contact", {{"index", index}}); ++index)
        contacts.push_back({{"pressed", TouchedAt(FIRST_CONTACT + index).pressed}});
    Json buttons = Json::array();
    for (int index = 0;; ++index)
    {
        const auto button = Ask(adapter, "button", {{"index", index}});
        if (!button)
            break;
        const Json shown = m_device ? PuckLedOf(*m_device, index) : Json();
        const Touched& touched = TouchedAt(FIRST_BUTTON + index);
        buttons.push_back(
            {{"id", index},
             {"name", (*button)["name"]},
             {"pressed", touched.pressed},
             {"led", shown.is_null() ? (*button)["current_color"] : shown},
             {"blink_ms", 0},
             {"on_color", (*button)["on_color"]},
             {"off_color", (*button)["off_color"]},
             {"led_is_on", (*button)["follow_bound"] == true ? "as the bound load says"
                                                             : "as the controller says"},
             {"slots", 1},
             {"uses", touched.uses}});
    }
    members.emplace_back("contacts", contacts.dump());
    members.emplace_back("buttons", buttons.dump());
    members.emplace_back("hold", "null");
}

void DriverPicture::AddKeypad(DriverAdapter& adapter, Members& members)
{
    Json buttons = Json::array();
    Json hold;
    for (int id = 0; id <= MOST_BUTTON; ++id)
    {
        const auto button = Ask(adapter, "button", {{"id", id}});
        if (!button)
            continue;
        buttons.push_back(KeypadButton(id, *button));
        std::int64_t since = 0;
        std::int64_t ends = 0;
        const auto timer = (*button)["hold_timer"].get<unsigned>();
        if (timer != 0 && m_run.Causes().FindTimer(timer, since, ends))
            hold = {{"button", id}, {"since_ms", since}, {"ends_ms", ends}, {"timer", timer}};
    }
    members.emplace_back("buttons", buttons.dump());
    members.emplace_back("hold", hold.dump());
}

Json DriverPicture::KeypadButton(int id, const Json& button) const
{
    const auto document = nx::CreateXmlDocument(button["xml"].get<std::string>());
    const boost::shared_ptr<nx::XmlNode> xml = document ? document->GetRoot() : nullptr;
    const auto text = [&xml](const std::string& name)
    {
        return xml ? xml->GetChildData(name) : std::string();
    };
    const int actuator = button["actuator"].get<int>();
    const Json shown = m_device ? KeypadLedOf(*m_device, actuator) : Json();
    const Touched& touched = TouchedAt(id);
    return {{"id", id},
            {"name", text(names::parameter::NAME)},
            {"pressed", touched.pressed},
            {"led", shown.is_null() ? button["current_color"] : shown},
            {"blink_ms", m_device ? BlinkMsOf(*m_device, actuator) : 0},
            {"on_color", text(names::parameter::ON_COLOR)},
            {"off_color", text(names::parameter::OFF_COLOR)},
            {"led_is_on", WhenLedIsOn(std::atoi(text(names::general::LED_BEHAVIOR).c_str()))},
            {"slots", std::atoi(text(names::general::SLOTS).c_str())},
            {"uses", touched.uses}};
}

void DriverPicture::AddQueue(DriverAdapter& adapter, Members& members)
{
    const auto bus = Ask(adapter, "bus");
    if (!bus)
        return;
    std::int64_t since = 0;
    std::int64_t due = -1;
    m_run.Causes().FindTimer((*bus)["retry_timer"].get<unsigned>(), since, due);
    std::vector<int> waiting;
    if (const auto* keypad = dynamic_cast<const Gen3KeypadDriver*>(&adapter))
        for (const KeypadOutbox::Entry& entry : keypad->Outbox().Entries())
            waiting.push_back(entry.opcode);
    members.emplace_back(
        "queue",
        fmt::format("{{\"gateway_online\":{},\"device_online\":{},\"retry_ms\":[{},{}],"
                    "\"attempts\":{},\"messages\":{},\"totals\":{}}}",
                    (*bus)["gateway_online"].dump(), (*bus)["device_online"].dump(),
                    Bus485Helper::MIN_RETRY_MS, Bus485Helper::MAX_RETRY_MS, QueuePicture::ATTEMPTS,
                    m_queue.Messages(due, waiting), m_queue.Totals()));
}

// Both sides' tables of a light or dimmer.
void DriverPicture::AddTables(DriverAdapter& adapter, Members& members)
{
    if (const auto map = Ask(adapter, "scene_map"))
        members.emplace_back("scene_map", map->dump());
    AddWants(adapter, members);
    const Json held = m_device ? HeldBy(*m_device) : Json();
    if (!held.is_null())
        members.emplace_back("holds", held.dump());
    members.emplace_back("sync", m_sync.Text(m_run.NowMs()));
}

void DriverPicture::AddWants(DriverAdapter& adapter, Members& members)
{
    const auto groups = Ask(adapter, "groups");
    if (!groups)
        return;
    Json wanted = Json::array();
    for (const Json& group : *groups)
        wanted.push_back({{"id", group["id"]}, {"sync", group["keep_sync"]}});
    const Json wants = {{"groups", wanted},
                        {"elements", Elements(adapter)},
                        {"group_crc", Ask(adapter, "group_crc").value_or(nullptr)},
                        {"scene_crc", Ask(adapter, "scene_crc").value_or(nullptr)}};
    members.emplace_back("wants", wants.dump());
}

// An element's id has the scene in its low 12 bits and the step above.
Json DriverPicture::Elements(DriverAdapter& adapter)
{
    Json elements = Json::array();
    for (const Json& scene : Ask(adapter, "scene_ids").value_or(Json::array()))
    {
        for (unsigned step = 0; step < MOST_ELEMENTS; ++step)
        {
            const unsigned id = scene.get<unsigned>() + (step << SCENE_BITS);
            const auto element = Ask(adapter, "element", {{"id", id}});
            if (!element || (*element)["id"] != id)
                break;
            elements.push_back({{"id", id},
                                {"delay_ms", (*element)["delay"]},
                                {"rate_ms", (*element)["levelRate"]},
                                {"level", (*element)["level"]},
                                {"flags", (*element)["flags"]},
                                {"known", (*element)["onHardware"]}});
        }
    }
    return elements;
}

void DriverPicture::AddDevice(Members& members)
{
    const HouseFileDriver& file = m_run.File().drivers[m_run.PlaceOf(&m_driver)];
    const DeviceKind* const kind = m_run.GetSession().KindOf(m_driver);
    const bool hasLamp = kind && kind->hasLamp;
    if (hasLamp)
        members.emplace_back("lamp_watts", std::to_string(LampWatts(file)));
    if (!m_device)
        return;
    if (hasLamp)
    {
        members.emplace_back("level", LevelOf(*m_device).dump());
        members.emplace_back("ramp", RampOf(*m_device).dump());
    }
    if (m_run.GetSimulation())
    {
        const DeviceSwitches& switches = m_run.GetSimulation()->Switches();
        members.emplace_back(
            "faults", FaultsText(switches.Of(m_deviceIndex), switches.CanForget(m_deviceIndex)));
    }
    if (m_driver.Config().type == "energy_switch" && file.device)
    {
        const std::string load = file.device->GetAttribute("load");
        members.emplace_back("load", Quoted(load.empty() ? "steps of the house file" : load));
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
    members.emplace_back("simulated", m_device ? "true" : "false");
    members.emplace_back("online", Online());
    members.emplace_back("warnings", std::to_string(m_warnings));
    members.emplace_back("variables", Variables());
    AddDevice(members);
    DriverAdapter* const adapter = Adapter();
    if (adapter)
    {
        Json facts = Json::array();
        for (const auto& [label, value] : adapter->Summary())
            facts.push_back({label, value});
        members.emplace_back("facts", facts.dump());
        AddEnergy(*adapter, members);
        if (config.type == "puck")
            AddPuck(*adapter, members);
        if (config.type == "gen3_keypad")
        {
            AddKeypad(*adapter, members);
            AddQueue(*adapter, members);
        }
        if (config.type == "zigbee_light" || config.type == "wired_dimmer")
            AddTables(*adapter, members);
        if (whole && adapter->EnergyOfLoad())
            members.emplace_back("power", Power());
    }
    else
        members.emplace_back("facts", "[]");
    return members;
}

DriverAdapter* DriverPicture::Adapter() const
{
    return m_driver.Driver() ? m_run.GetSession().AdapterOf(m_driver) : nullptr;
}

// A lamp and the switches of a device change without a word.
Members DriverPicture::TakeChanges()
{
    Members device;
    AddDevice(device);
    if (!m_dirty && device == m_deviceTold)
        return {};
    m_deviceTold = std::move(device);
    m_dirty = false;
    return Changed(Describe(false), m_told);
}

Metrics::Driver DriverPicture::GetMetrics()
{
    Metrics::Driver metrics;
    metrics.warnings = m_warnings;
    metrics.powerFailures = m_powerFailures;
    if (m_run.GetSimulation())
    {
        const RunStatistics::Counts counts = m_run.GetSimulation()->Statistics().Of(m_driver);
        metrics.retries = counts.retries;
        metrics.repairs = counts.repairs;
    }
    DriverAdapter* const adapter = Adapter();
    const auto bus = adapter ? Ask(*adapter, "bus") : std::nullopt;
    if (bus)
        metrics.queued = (*bus)["queued"].get<long>();
    return metrics;
}
} // namespace lighting_host

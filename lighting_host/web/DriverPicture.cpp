#include "lighting_host/web/DriverPicture.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "lighting_common/Names.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t MOST_STEPS = 2000;
// What was heard may change the device so much later: messages take their time.
constexpr std::int64_t LOOK_MS = 1000;
// On purpose not that of a device, which counts in units of its own.
constexpr unsigned FULL_LEVEL_PERCENT = 100;

// How bright the lamp is, in percent.
unsigned LevelOf(const device_wire::AttachedDevice& device)
{
    const simulated::LampLevel lamp = device.PresentLevel();
    return (lamp.level * FULL_LEVEL_PERCENT + lamp.full / 2) / lamp.full;
}

bool IsSame(const std::optional<simulated::LampRamp>& one,
            const std::optional<simulated::LampRamp>& other)
{
    if (!one || !other)
        return !one && !other;
    return one->to == other->to && one->ends == other->ends;
}

bool IsSame(const DeviceSwitches::Switched& one, const DeviceSwitches::Switched& other)
{
    const auto all = [](const DeviceSwitches::Switched& switched)
    {
        const DeviceFaults& faults = switched.faults;
        return std::make_tuple(faults.deaf, faults.forgets, faults.repeats, faults.lossPercent,
                               faults.delayMs, switched.power, switched.powerMs, switched.deafMs);
    };
    return all(one) == all(other);
}

std::string RampText(const std::optional<simulated::LampRamp>& ramp)
{
    return ramp ? fmt::format("{{\"to\":{},\"ends_ms\":{}}}", ramp->to, ramp->ends.count())
                : "null";
}
// What a run's last table says of a driver.
std::string FactsText(const DriverAdapter* adapter)
{
    std::string text;
    if (adapter)
        for (const auto& [label, value] : adapter->Summary())
            text +=
                fmt::format("{}[{},{}]", text.empty() ? "" : ",", JsonText(label), JsonText(value));
    return "[" + text + "]";
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
    const DeviceKind* const kind = run.GetSession().KindOf(driver);
    m_hasLamp = m_device && kind && kind->hasLamp;
    m_isReal = IsRemoteLight(kind);
    const HouseFileDriver& file = run.File().drivers[run.PlaceOf(&driver)];
    const DriverType* const type = FindDriverType(file.type);
    // A driver of a library is of a class of its own, whatever its type is called.
    if (!type || !file.library.empty())
        return;
    if (type->picture)
        m_type = type->picture(file);
    m_isOwnKind = kind == &type->device || m_isReal;
}

DriverPicture::~DriverPicture() = default;

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
    if (m_type)
        m_type->OnOutput(output, seq);
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
    if (m_type)
        m_type->OnBus(m_run.NowMs(), frame);
}

void DriverPicture::OnMib(const wire::MibMessage& message)
{
    m_dirty = true;
    if (m_type)
        m_type->OnMib(m_run.NowMs(), message);
}

void DriverPicture::OnZcl(const wire::ZclFrame& frame)
{
    m_dirty = true;
    if (m_type)
        m_type->OnZcl(m_run.NowMs(), frame);
}

// --- What is shown ---

std::string DriverPicture::Variables() const
{
    std::string text = "[";
    for (const auto& [id, variable] : m_variables)
        text += fmt::format("{}{{\"id\":{},\"name\":{},\"value\":{}}}", text.size() > 1 ? "," : "",
                            id, JsonText(variable.name), JsonText(variable.value));
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

bool DriverPicture::Glance::operator==(const Glance& other) const
{
    return level == other.level && IsSame(ramp, other.ramp) && IsSame(switched, other.switched);
}

DriverPicture::Glance DriverPicture::LookAtDevice() const
{
    Glance glance;
    if (!m_device)
        return glance;
    if (m_hasLamp)
    {
        glance.level = LevelOf(*m_device);
        if (m_device->HasPower())
            glance.ramp = m_device->Device()->PresentRamp();
    }
    if (m_run.GetSimulation())
        glance.switched = m_run.GetSimulation()->Switches().Of(m_deviceIndex);
    return glance;
}

void DriverPicture::AddDevice(const Glance& glance, Members& members) const
{
    if (!m_device)
        return;
    if (m_hasLamp)
    {
        members.emplace_back("level", std::to_string(glance.level));
        members.emplace_back("ramp", RampText(glance.ramp));
    }
    if (!m_run.GetSimulation() || m_isReal)
        return;
    const bool canForget = m_run.GetSimulation()->Switches().CanForget(m_deviceIndex);
    members.emplace_back("faults", FaultsText(glance.switched, canForget));
}

// What only the driver's type knows.
void DriverPicture::AddOfType(Members& members) const
{
    if (!m_type || !m_driver.Driver())
        return;
    TypePicture::Sides sides{*m_driver.Driver(), nullptr, !m_device || m_device->HasPower(),
                             m_run.NowMs(), nullptr};
    if (m_device && m_isOwnKind)
        sides.device = m_device->Device();
    sides.timer = [this](unsigned id) -> std::optional<TypePicture::TimerTimes>
    {
        TypePicture::TimerTimes times;
        if (!m_run.Causes().FindTimer(id, times.startedMs, times.dueMs))
            return std::nullopt;
        return times;
    };
    Json ofType = Json::object();
    m_type->Describe(sides, ofType);
    for (const auto& member : ofType.items())
    {
        std::string value;
        AppendJson(value, member.value());
        members.emplace_back(member.key(), std::move(value));
    }
}

Members DriverPicture::Describe(bool whole)
{
    const DriverConfig& config = m_driver.Config();
    Members members;
    members.emplace_back("name", JsonText(config.name));
    members.emplace_back("type", JsonText(config.type));
    if (const DriverType* const type = FindDriverType(config.type))
        members.emplace_back("type_words", JsonText(type->words));
    members.emplace_back("id", std::to_string(config.id));
    const std::string& room = m_run.GetSession().RoomOf(m_driver);
    members.emplace_back("room", room.empty() ? "null" : JsonText(room));
    members.emplace_back("simulated", m_device && !m_isReal ? "true" : "false");
    members.emplace_back("online", Online());
    members.emplace_back("warnings", std::to_string(m_warnings));
    members.emplace_back("variables", Variables());
    AddDevice(LookAtDevice(), members);
    AddOfType(members);
    DriverAdapter* const adapter = Adapter();
    if (adapter)
    {
        AddEnergy(*adapter, members);
        if (whole && adapter->EnergyOfLoad())
            members.emplace_back("power", Power());
    }
    // A type may have facts of its own.
    const bool hasFacts = std::any_of(members.begin(), members.end(),
                                      [](const auto& member) { return member.first == "facts"; });
    if (!hasFacts)
        members.emplace_back("facts", FactsText(adapter));
    return members;
}

DriverAdapter* DriverPicture::Adapter() const
{
    return m_driver.Driver() ? m_run.GetSession().AdapterOf(m_driver) : nullptr;
}

// A lamp and the switches of a device change without a word.
Members DriverPicture::TakeChanges()
{
    const Glance glance = LookAtDevice();
    if (m_dirty)
        m_lookUntilMs = m_run.NowMs() + LOOK_MS;
    if (m_run.NowMs() > m_lookUntilMs && glance == m_glance)
        return {};
    m_glance = glance;
    m_dirty = false;
    return Changed(Describe(false), m_told);
}

// What the driver's type answers about its transmit queue; null when it has none.
Json DriverPicture::QueueOf() const
{
    DriverAdapter* const adapter = Adapter();
    Json value;
    const Json asked = {{"query", "bus"}};
    Fields fields(asked, "the query");
    fields.Text("query");
    return adapter && adapter->Query("bus", fields, value) ? value : Json();
}

DriverFigures DriverPicture::Figures()
{
    DriverFigures figures;
    figures.warnings = m_warnings;
    figures.powerFailures = m_powerFailures;
    if (m_run.GetSimulation())
    {
        const RunStatistics::Counts counts = m_run.GetSimulation()->Statistics().Of(m_driver);
        figures.retries = counts.retries;
        figures.repairs = counts.repairs;
    }
    const Json queue = QueueOf();
    if (!queue.is_null())
        figures.queued = queue["queued"].get<long>();
    return figures;
}
} // namespace lighting_host

#include "tests/soak/Audit.h"

#include "device_wire/AttachedDevice.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/puck/PuckDriver.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Simulation.h"
#include "simulated_devices/KeypadOnBus.h"
#include "simulated_devices/MeteringPlug.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/ZigbeeLight.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace soak
{
using namespace lighting_host;
using device_wire::AttachedDevice;

namespace
{
constexpr std::uint64_t HUNDREDTHS = 100;
constexpr std::uint64_t MILLIWATT_HOURS_PER_HUNDREDTH = 10;
constexpr std::uint64_t MILLIWATT_HOURS_PER_WATT_HOUR = 1000;
constexpr std::size_t READING_AT = 3;
constexpr int HEX = 16;
constexpr unsigned FULL_LIGHT = 254;
constexpr unsigned FULL_PERCENT = 100;
constexpr int LED_PERCENT = 80;
// Flags of an element that the controller pushed.
constexpr unsigned PUSHED = 0x08;

// The device at that end; null when it is of another kind, and in the other form an exception.
template <class Device>
Device* AsA(const AttachedDevice& device)
{
    return dynamic_cast<Device*>(device.Device());
}

template <class Device>
Device& As(AttachedDevice& device)
{
    return dynamic_cast<Device&>(*device.Device());
}

template <class Driver>
Driver& DriverOf(AttachedDevice& device)
{
    return dynamic_cast<Driver&>(*device.Driver().Driver());
}

std::string Hex(const simulated::BusKeypad::Color& color)
{
    return fmt::format("{:02x}{:02x}{:02x}", color[0], color[1], color[2]);
}

// A colour of a single LED, which shines at four fifths.
std::string Shining(const std::string& color)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < color.size(); i += 2)
        text += fmt::format("{:02x}", std::stoi(color.substr(i, 2), nullptr, HEX) * LED_PERCENT /
                                          static_cast<int>(FULL_PERCENT));
    return text;
}
} // namespace

Audit::Audit(const HouseFile& file, Session& session, Simulation& simulation)
    : m_file(file), m_session(session), m_simulation(simulation)
{
}

template <class A, class B>
void Audit::Same(const nx::DriverHost& driver, const std::string& what, const A& driverSays,
                 const B& deviceSays)
{
    ++m_compared;
    if (!(driverSays == deviceSays))
        Wrong(driver, fmt::format("{}: {} here, {} there", what, driverSays, deviceSays));
}

void Audit::Wrong(const nx::DriverHost& driver, const std::string& what)
{
    m_wrong.push_back(driver.Config().name + ": " + what);
}

// --- energy on the way ---------------------------------------------------------------------------

std::uint64_t Audit::TotalOf(const nx::DriverHost& driver) const
{
    const DriverAdapter* const adapter = m_session.AdapterOf(driver);
    const auto figures = adapter ? adapter->EnergyOfLoad() : std::nullopt;
    return figures ? static_cast<std::uint64_t>(figures->wattHours) * HUNDREDTHS +
                         static_cast<std::uint64_t>(figures->hundredths)
                   : 0;
}

void Audit::OnMib(const nx::DriverHost& driver, const wire::MibMessage& message)
{
    if (message.mib != "nx.dmx.pwr" || message.params.size() <= READING_AT)
        return;
    Book& book = m_books[driver.Config().name];
    const std::uint64_t reading = std::strtoull(message.params[READING_AT].c_str(), nullptr, HEX);
    // A smaller reading is that of a meter that began again.
    const auto grown = [reading](std::uint64_t before)
    {
        return reading >= before ? reading - before : reading;
    };
    if (book.hasReading)
        book.expected += grown(book.reading) * HUNDREDTHS;
    else
        book.missed += grown(book.readingEver);
    book.hasReading = true;
    book.reading = book.readingEver = reading;
}

void Audit::NoteSave(const std::vector<nx::DriverHost*>& drivers)
{
    for (const nx::DriverHost* driver : drivers)
    {
        Book& book = m_books[driver->Config().name];
        book.saved = TotalOf(*driver);
        book.hasSavedReading = book.hasReading;
        book.savedReading = book.reading;
    }
}

void Audit::BeforeRestart(const nx::DriverHost& driver)
{
    Book& book = m_books[driver.Config().name];
    book.beforeRestart = TotalOf(driver);
}

void Audit::AfterRestart(const nx::DriverHost& driver, bool saved)
{
    Book& book = m_books[driver.Config().name];
    const std::uint64_t wanted = saved ? book.saved : book.beforeRestart;
    if (saved)
    {
        // The driver goes on from the reading of its state.
        book.hasReading = book.hasSavedReading;
        book.reading = book.savedReading;
    }
    Same(driver, "energy over a restart", TotalOf(driver), wanted);
    book.lost += book.beforeRestart - wanted;
}

void Audit::OnPowerFailure(const nx::DriverHost& driver)
{
    for (const auto& device : m_session.Devices())
    {
        const auto* const plug = AsA<simulated::MeteringPlug>(*device);
        if (&device->Driver() != &driver || !plug)
            continue;
        Book& book = m_books[driver.Config().name];
        // What the meter has and did not tell, and the part of a watt-hour.
        const std::uint64_t meter = plug->MeterMilliwattHours() / MILLIWATT_HOURS_PER_WATT_HOUR;
        book.missed += 1 + (meter >= book.readingEver ? meter - book.readingEver : meter);
    }
}

// --- both ends -----------------------------------------------------------------------------------

std::vector<std::string> Audit::Check()
{
    static const std::map<std::string, void (Audit::*)(AttachedDevice&)> checks = {
        {"wired_dimmer", &Audit::CheckDimmer}, {"zigbee_light", &Audit::CheckLight},
        {"gen3_keypad", &Audit::CheckKeypad},  {"puck", &Audit::CheckPuck},
        {"energy_switch", &Audit::CheckPlug},
    };
    for (const auto& device : m_session.Devices())
    {
        const auto check = checks.find(device->Driver().Config().type);
        if (!device->Driver().Driver())
            Wrong(device->Driver(), "does not run");
        else if (check == checks.end())
            Wrong(device->Driver(), "is of a type that nobody checks");
        else
            (this->*check->second)(*device);
    }
    CheckLamps();
    return m_wrong;
}

void Audit::CheckDimmer(AttachedDevice& device)
{
    const nx::DriverHost& host = device.Driver();
    const auto& dimmer = As<simulated::WiredDimmer>(device);
    const auto& driver = DriverOf<WiredDimmerDriver>(device);
    Same(host, "checksum of the groups", driver.Groups().getCRC(), dimmer.GroupChecksum());
    Same(host, "checksum of the scenes", driver.AdvScenes().getCRC(), dimmer.ElementChecksum());
    std::set<std::uint16_t> wanted;
    for (const HouseFileGroup& group : m_file.groups)
    {
        if (std::count(group.members.begin(), group.members.end(), host.Config().name) > 0)
            wanted.insert(static_cast<std::uint16_t>(group.id));
    }
    std::set<std::uint16_t> believed;
    for (const auto& group : driver.Groups().getGroups())
        believed.insert(static_cast<std::uint16_t>(group.first));
    Same(host, "groups", believed, dimmer.Tables().groups);
    Same(host, "groups as the file says", wanted, dimmer.Tables().groups);
    std::size_t elements = 0;
    for (const HouseFileScene& scene : m_file.scenes)
    {
        unsigned index = 0;
        for (const HouseFileLoad& load : scene.loads)
        {
            if (load.driver != host.Config().name)
                continue;
            const auto id = static_cast<std::uint16_t>(index++ << 12 | scene.id);
            ++elements;
            const auto held = dimmer.Tables().elements.find(id);
            const auto text =
                [](std::uint64_t delay, std::uint64_t rate, unsigned level, unsigned flags)
            {
                return fmt::format("{}/{}/{}/{:02x}", delay, rate, level, flags);
            };
            const std::string step =
                text(static_cast<std::uint64_t>(load.delayMs),
                     static_cast<std::uint64_t>(load.timeMs), load.level, PUSHED);
            const auto stored = driver.AdvScenes().getElement(id);
            Same(host, fmt::format("element {:04x} in the device", id), step,
                 held == dimmer.Tables().elements.end()
                     ? std::string("none")
                     : text(held->second.delay, held->second.rate, held->second.level,
                            held->second.flags));
            Same(host, fmt::format("element {:04x} in the driver", id), step,
                 text(stored.delay, stored.levelRate, stored.level, stored.flags));
        }
    }
    Same(host, "number of elements", elements, dimmer.Tables().elements.size());
}

void Audit::CheckLight(AttachedDevice& device)
{
    const nx::DriverHost& host = device.Driver();
    const auto& tables = As<simulated::ZigbeeLight>(device).Tables();
    const auto& scenes = DriverOf<ZigbeeLightDriver>(device).Scenes().getAllScenes();
    std::set<unsigned> wanted;
    std::set<unsigned> held(tables.groups.begin(), tables.groups.end());
    for (const HouseFileScene& scene : m_file.scenes)
    {
        for (const HouseFileLoad& load : scene.loads)
        {
            if (load.driver != host.Config().name)
                continue;
            wanted.insert(scene.id);
            const auto* const stored =
                tables.Find(static_cast<std::uint16_t>(scene.id), std::uint8_t{0});
            const std::string what = fmt::format("scene {}", scene.id);
            // To the nearest of 254 levels, and the nearest second.
            const unsigned level = (load.level * FULL_LIGHT + FULL_PERCENT / 2) / FULL_PERCENT;
            const auto seconds = static_cast<unsigned>((load.timeMs + 500) / 1000);
            Same(host, what + " in the light", fmt::format("{}/{}", level, seconds),
                 stored ? fmt::format("{}/{}", stored->level.value_or(0), stored->seconds)
                        : std::string("none"));
            const auto believed = scenes.find(scene.id);
            Same(host, what + " in the driver", fmt::format("{}/{}", load.level, load.timeMs),
                 believed == scenes.end()
                     ? std::string("none")
                     : fmt::format("{}/{}", believed->second.level, believed->second.time));
        }
    }
    Same(host, "groups", wanted, held);
    Same(host, "number of scenes", wanted.size(), tables.scenes.size());
    Same(host, "number of scenes in the driver", wanted.size(), scenes.size());
}

void Audit::CheckKeypad(AttachedDevice& device)
{
    const nx::DriverHost& host = device.Driver();
    const auto& keypad = As<simulated::KeypadOnBus>(device).Keypad();
    auto& driver = DriverOf<Gen3KeypadDriver>(device);
    const auto color = [](const auto& map, int id)
    {
        const auto found = map.find(static_cast<std::uint8_t>(id));
        return found == map.end() ? std::string("none") : Hex(found->second);
    };
    Same(host, "waiting messages", driver.Bus().getQueuedCount(), 0);
    Same(host, "online", driver.Bus().isGatewayOnline() && driver.Bus().isDeviceOnline(), true);
    for (const int id : driver.ButtonIds())
    {
        const Gen3Button& button = *driver.Button(id);
        const std::string what = fmt::format("button {} ", id);
        const auto behavior = keypad.Behaviors().find(static_cast<std::int8_t>(id));
        Same(host, what + "behaviour", button.GetBehavior(),
             behavior == keypad.Behaviors().end() ? -1 : behavior->second);
        const auto led = keypad.Leds().find(static_cast<std::uint8_t>(id));
        const bool there = led != keypad.Leds().end();
        Same(host, what + "LED behaviour", static_cast<int>(button.GetLEDBehavior()),
             there ? static_cast<int>(led->second.behavior) : -1);
        Same(host, what + "on colour", Shining(button.GetOnColor()),
             there ? Hex(led->second.on) : std::string("none"));
        Same(host, what + "off colour", Shining(button.GetOffColor()),
             there ? Hex(led->second.off) : std::string("none"));
        Same(host, what + "present colour", Shining(button.GetCurColor()),
             color(keypad.CurrentColors(), id));
    }
    Same(host, "number of buttons", driver.ButtonIds().size(), keypad.Behaviors().size());
}

void Audit::CheckPuck(AttachedDevice& device)
{
    const nx::DriverHost& host = device.Driver();
    const auto& module = As<simulated::PuckModule>(device);
    const auto& driver = DriverOf<PuckDriver>(device);
    for (unsigned i = 0; i < simulated::PuckSettings::CONTACTS; ++i)
    {
        const auto& contact = module.Settings().contacts[i];
        Same(host, fmt::format("behaviour of contact {}", i),
             static_cast<int>(driver.Contact(i)->GetBehavior()), contact.behavior);
    }
    for (unsigned k = 0; const SnapOnButton* button = driver.SnapOn(k); ++k)
    {
        const auto& held = module.Settings().buttons[k];
        const std::string what = fmt::format("button {} ", k);
        Same(host, what + "behaviour", static_cast<int>(button->GetBehavior()), held.behavior);
        Same(host, what + "on colour", button->GetOnColor(), held.colors[0]);
        Same(host, what + "off colour", button->GetOffColor(), held.colors[1]);
        Same(host, what + "managed LED", button->IsLocalLEDManaged(), held.localLed);
    }
}

// Exactly what reached the driver; and never more than the plug has metered, nor less by more than
// what no driver could know.
void Audit::CheckPlug(AttachedDevice& device)
{
    const nx::DriverHost& host = device.Driver();
    const auto& plug = As<simulated::MeteringPlug>(device);
    Book& book = m_books[host.Config().name];
    const std::uint64_t total = TotalOf(host);
    Same(host, "energy that reached the driver", total + book.lost, book.expected);
    const std::uint64_t metered = plug.TotalMilliwattHours() / MILLIWATT_HOURS_PER_HUNDREDTH;
    const std::uint64_t meter = plug.MeterMilliwattHours() / MILLIWATT_HOURS_PER_WATT_HOUR;
    const std::uint64_t untold = meter - std::min(meter, book.readingEver) + 1;
    const std::uint64_t missed = (book.missed + untold) * HUNDREDTHS + book.lost;
    ++m_compared;
    if (total > metered || total + missed < metered)
        Wrong(host, fmt::format("energy: {} here, {} there, of which {} may be missed", total,
                                metered, missed));
    m_counted += total;
    m_lost += metered - std::min(total, metered);
}

void Audit::CheckLamps()
{
    for (const LampMeters::Meter& meter : m_simulation.GetLampMeters().Meters())
    {
        const Book& book = m_books[meter.driver->Config().name];
        const std::uint64_t total = TotalOf(*meter.driver);
        Same(*meter.driver, "energy of the lamp", total + book.lost, meter.reported);
        m_counted += total;
        m_lost += book.lost;
    }
}

// --- spoiling ------------------------------------------------------------------------------------

namespace
{
// Each spoils one thing in a device; false when there is nothing to spoil.

bool SpoilElement(simulated::WiredDimmer& dimmer, AttachedDevice&)
{
    auto& elements = dimmer.Tables().elements;
    if (elements.empty())
        return false;
    ++elements.begin()->second.level;
    return true;
}

bool SpoilGroup(simulated::WiredDimmer& dimmer, AttachedDevice&)
{
    auto& groups = dimmer.Tables().groups;
    if (groups.empty())
        return false;
    groups.erase(groups.begin());
    return true;
}

bool SpoilLight(simulated::ZigbeeLight& light, AttachedDevice&)
{
    auto& scenes = light.Tables().scenes;
    if (scenes.empty())
        return false;
    scenes.pop_back();
    return true;
}

bool SpoilColor(simulated::KeypadOnBus& keypad, AttachedDevice&)
{
    keypad.Keypad().OnPowerOn();
    return true;
}

// Behaviour 5 for contact 0, as if the driver had said so.
bool SpoilSetting(simulated::PuckModule& module, AttachedDevice&)
{
    module.OnMib({wire::MibMessage::Set, "nx.dmx.btn", {"07", "01", "05"}});
    return true;
}

// A reading that the plug never had.
bool SpoilMeter(simulated::MeteringPlug&, AttachedDevice& ends)
{
    ends.Send(wire::MibMessage{
        wire::MibMessage::Trap, "nx.dmx.pwr", {"01", "00", "00000000", "000f4240"}});
    return true;
}

// The first device of that kind in which there is something to spoil.
template <class Device, bool (*spoil)(Device&, AttachedDevice&)>
bool SpoilFirst(Session& session)
{
    for (const auto& device : session.Devices())
    {
        Device* const spoilt = AsA<Device>(*device);
        if (spoilt && spoil(*spoilt, *device))
            return true;
    }
    return false;
}
} // namespace

bool Spoil(Session& session, const std::string& what)
{
    static const std::map<std::string, bool (*)(Session&)> spoilers = {
        {"element", &SpoilFirst<simulated::WiredDimmer, &SpoilElement>},
        {"group", &SpoilFirst<simulated::WiredDimmer, &SpoilGroup>},
        {"light", &SpoilFirst<simulated::ZigbeeLight, &SpoilLight>},
        {"colour", &SpoilFirst<simulated::KeypadOnBus, &SpoilColor>},
        {"setting", &SpoilFirst<simulated::PuckModule, &SpoilSetting>},
        {"meter", &SpoilFirst<simulated::MeteringPlug, &SpoilMeter>},
    };
    const auto found = spoilers.find(what);
    return found != spoilers.end() && found->second(session);
}
} // namespace soak

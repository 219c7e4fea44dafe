#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/simulation/DeviceSwitches.h"
#include "lighting_host/switchboard/HouseView.h"
#include "lighting_host/text/Json.h"
#include "simulated_devices/SimulatedDevice.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}
namespace nx
{
class DriverHost;
}
namespace wire
{
struct BusFrame;
struct MibMessage;
struct ZclFrame;
} // namespace wire

namespace lighting_host
{
class DriverAdapter;
class TypePicture;
class HouseRun;

// The members of a JSON object by name, each value as JSON text, in the order in which they are
// written.
using Members = std::vector<std::pair<std::string, std::string>>;

// The object that has these members.
std::string Object(const Members& members);

// Those of `now` that are otherwise in `before`, which becomes `now`.
Members Changed(const Members& now, Members& before);

// What was switched on a device or the house, as the JSON that pages show; `forgets` only where
// the device can.
std::string FaultsText(const DeviceSwitches::Switched& switched, bool canForget);

// What a page shows of one driver: what it has put out so far, and what it and its device can be
// asked. Bounded, whatever the driver does. Lives on the house's thread.
class DriverPicture
{
public:
    // Both must outlive this. The driver is asked only while it runs.
    DriverPicture(HouseRun& run, nx::DriverHost& driver);
    ~DriverPicture();
    DriverPicture(const DriverPicture&) = delete;
    DriverPicture& operator=(const DriverPicture&) = delete;

    const std::string& Name() const;

    // All members; with `whole` those too that a page is told of only once, as the history of the
    // power is.
    Members Describe(bool whole);

    // What has changed since it was last asked, of what Describe(false) gives.
    Members TakeChanges();

    DriverFigures Figures();

    // Whether a record is a warning or worse.
    static bool IsWarning(const embedded_host::LogRecord& record);

    // What is heard of this driver.
    void OnOutput(const embedded_host::Output& output, std::uint64_t seq);
    void OnPowerFailure();
    void OnBus(const wire::BusFrame& frame);
    void OnMib(const wire::MibMessage& message);
    void OnZcl(const wire::ZclFrame& frame);

private:
    struct Variable
    {
        std::string name;
        std::string value;
    };

    // What of the device can change without a word, cheap to look at.
    struct Glance
    {
        unsigned level = 0;
        std::optional<simulated::LampRamp> ramp;
        DeviceSwitches::Switched switched;

        bool operator==(const Glance& other) const;
    };

    Glance LookAtDevice() const;
    void OnVariable(const embedded_host::VariableChanged& variable, std::int64_t nowMs);
    void AddDevice(const Glance& glance, Members& members) const;
    void AddEnergy(DriverAdapter& adapter, Members& members);
    void AddOfType(Members& members) const;
    Json QueueOf() const;
    DriverAdapter* Adapter() const;
    std::string Variables() const;
    std::string Power() const;
    std::string Online() const;

    HouseRun& m_run;
    nx::DriverHost& m_driver;
    // Null without a simulated device; then the index means nothing.
    device_wire::AttachedDevice* m_device = nullptr;
    std::size_t m_deviceIndex = 0;
    // Null for a type without one.
    std::unique_ptr<TypePicture> m_type;
    // Whether the device is of the kind that the driver's type expects.
    bool m_isOwnKind = false;
    // A lamp in a real house.
    bool m_isReal = false;
    std::map<unsigned, Variable> m_variables;
    std::uint64_t m_warnings = 0;
    std::uint64_t m_powerFailures = 0;
    // Steps of the power: when, and how many watts from there on.
    std::deque<std::pair<std::int64_t, int>> m_power;
    // Whether something was heard since the changes were taken, and how the device was then.
    bool m_dirty = true;
    std::int64_t m_lookUntilMs = 0;
    Glance m_glance;
    // Whether the device's kind has a lamp.
    bool m_hasLamp = false;
    Members m_told;
};
} // namespace lighting_host

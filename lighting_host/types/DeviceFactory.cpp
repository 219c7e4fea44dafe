#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/HousePlan.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lighting_host
{
namespace
{
// Nothing ever happens in it: a device made in it is only looked at.
class NullEnvironment : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::ZclFrame&) override {}
    void Send(const wire::BusFrame&) override {}
    void Schedule(std::chrono::milliseconds, std::function<void()>) override {}
    std::chrono::milliseconds Now() const override { return {}; }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string&) override {}
};
} // namespace

std::unique_ptr<simulated::SimulatedDevice> MakeDevice(const HouseFileDriver& driver,
                                                       simulated::DeviceEnvironment& environment)
{
    const DeviceKind* const kind = DeviceKindOf(driver);
    if (kind)
        return kind->make(driver, environment);
    std::vector<std::string> names;
    for (const DriverType& type : DriverTypes())
        names.emplace_back(type.device.name);
    const std::string given = DeviceElement(*driver.device).Kind();
    if (given.empty())
        throw DeviceError(fmt::format("a <device> of a driver of type \"{}\" needs a kind; there "
                                      "are {}",
                                      driver.type, fmt::join(names, ", ")));
    throw DeviceError(fmt::format("unknown kind \"{}\" of <device>; there are {}", given,
                                  fmt::join(names, ", ")));
}

unsigned LampWatts(const HouseFileDriver& driver)
{
    const DeviceKind* const kind = DeviceKindOf(driver);
    return kind && kind->hasLamp && driver.device
               ? DeviceElement(*driver.device).Number("watts", 0, MOST_LAMP_WATTS, 0)
               : 0;
}

std::string CheckDevice(const HouseFileDriver& driver, int* child)
{
    NullEnvironment environment;
    try
    {
        MakeDevice(driver, environment);
    }
    catch (const DeviceError& error)
    {
        if (child)
            *child = error.child;
        return error.what();
    }
    return std::string();
}
} // namespace lighting_host

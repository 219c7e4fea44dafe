#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/HousePlan.h"

namespace lighting_host
{
namespace
{
using Maker = std::unique_ptr<simulated::SimulatedDevice> (*)(const HouseFileDriver&,
                                                              simulated::DeviceEnvironment&);

// Which device belongs to which type of driver.
struct Type
{
    const char* name;
    Maker make;
};
constexpr Type TYPES[] = {
    {"puck", &MakePuckModule},
    {"zigbee_light", &MakeZigbeeLightDevice},
    {"gen3_keypad", &MakeKeypadDevice},
    {"wired_dimmer", &MakeWiredDimmerDevice},
    {"energy_switch", &MakeMeteringPlug},
};

// A world in which nothing ever happens: a device made in it is only looked at.
class NullEnvironment : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::ZclFrame&) override {}
    void Send(const wire::BusFrame&) override {}
    void Schedule(std::uint64_t, std::function<void()>) override {}
    std::uint64_t NowMs() const override { return 0; }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string&) override {}
};
} // namespace

std::unique_ptr<simulated::SimulatedDevice> MakeDevice(const HouseFileDriver& driver,
                                                       simulated::DeviceEnvironment& world)
{
    for (const Type& type : TYPES)
    {
        if (driver.type == type.name)
            return type.make(driver, world);
    }
    return nullptr;
}

unsigned LampWatts(const HouseFileDriver& driver)
{
    const bool light = driver.type == "wired_dimmer" || driver.type == "zigbee_light";
    return light && driver.device
               ? DeviceElement(*driver.device).Number("watts", 0, MOST_LAMP_WATTS, 0)
               : 0;
}

std::string CheckDevice(const HouseFileDriver& driver)
{
    NullEnvironment world;
    try
    {
        MakeDevice(driver, world);
    }
    catch (const DeviceError& error)
    {
        return error.what();
    }
    return std::string();
}
} // namespace lighting_host

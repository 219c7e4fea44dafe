#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <vector>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
struct DeviceKind;
struct HouseFile;
class Session;

// How many messages the drivers of lights and dimmers used to bring their devices to what the house
// file wants, and how few it can be done with.
//
// The fewest come from the devices and the file alone (see DeviceKind::distance): what a device
// lacks at the start, what it lost by its own doing, as without power, and less what it still
// lacks. What the links lose or repeat costs a driver more. Questions are no writes.
class WriteCounts : public HouseListener
{
public:
    struct Count
    {
        const nx::DriverHost* driver;
        // All messages to the device; those that write.
        unsigned long messages;
        unsigned long writes;
        unsigned long fewest;
    };

    // Both must outlive this. Made before anything is sent.
    WriteCounts(const HouseFile& file, const Session& session);

    // HouseListener.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;

    // So far, in the order of the house file.
    std::vector<Count> Counts() const;

private:
    struct Load
    {
        const device_wire::AttachedDevice* device;
        const DeviceKind* kind;
        unsigned long messages = 0;
        unsigned long writes = 0;
        // What the device has ever lacked.
        unsigned long lacked = 0;
        // Something happens to the device: what it lacked before that.
        bool struck = false;
        unsigned before = 0;
    };

    unsigned DistanceOf(const Load& load) const;
    void Strike(const nx::DriverHost& driver);

    const HouseFile& m_file;
    std::vector<Load> m_loads;
};
} // namespace lighting_host

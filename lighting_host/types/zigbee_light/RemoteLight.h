#pragma once

#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/AnsweredTables.h"
#include "lighting_host/types/zigbee_light/LampCommands.h"
#include "simulated_devices/SimulatedDevice.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace nx
{
class DriverHost;
}

namespace lighting_host
{
// Where a light is that stands in a real house: behind a Zigbee2MQTT.
struct LampPlace
{
    // "0x" and sixteen small hexadecimal digits.
    std::string ieee;
    // The base topic of the Zigbee2MQTT.
    std::string base = "zigbee2mqtt";
    std::uint8_t endpoint = 1;
    // How long Zigbee2MQTT waits for the lamp's answer.
    std::chrono::milliseconds patience{10000};
    // Whether Zigbee2MQTT's own groups are kept right too, where it has a group of that number.
    bool keepsBook = false;
};

// A ZigBee light at the other end of a driver's wire that is no simulation: what the driver and the
// controller send it goes on to the lamp, and what comes from the lamp comes as inputs of the
// driver, so that a record of the house holds all of it.
//
// Without somebody who carries frames, as in a replay, what is sent to it is lost.
class RemoteLight : public simulated::SimulatedDevice
{
public:
    // Carries frames to the lamp.
    class Carrier
    {
    public:
        virtual ~Carrier() = default;

        // A ZCL frame for the lamp. Called on the house's thread while the house is inside a call:
        // must not call into it, and must not throw.
        virtual void OnFrameForLamp(const wire::ZclFrame& frame) = 0;
    };

    RemoteLight(simulated::DeviceEnvironment& environment, LampPlace place)
        : SimulatedDevice(environment), m_place(std::move(place))
    {
    }

    const LampPlace& Place() const { return m_place; }

    // Null for nobody; must outlive this or be taken away.
    void SetCarrier(Carrier* carrier) { m_carrier = carrier; }

    // How bright the lamp says it is, in percent. Default: dark.
    void SetPresentLevel(unsigned level) { m_level = level; }

    // A frame of the lamp, which goes on to the driver.
    void OnLampFrame(const wire::ZclFrame& frame);

    // What the lamp's answers say of its tables, and when it last told something of them.
    const AnsweredTables& Answered() const { return m_answered; }
    std::chrono::milliseconds AnsweredAt() const { return m_answeredAt; }

    // SimulatedDevice.
    void OnZcl(const wire::ZclFrame& frame) override;
    void RecallScene(std::uint16_t scene) override;
    void GroupRampToLevel(std::uint16_t group, int level, std::chrono::milliseconds time) override;
    void GroupStartRamp(std::uint16_t group, bool up) override;
    void GroupStopRamp(std::uint16_t group) override;
    void RampToLevel(int level, std::chrono::milliseconds time) override;
    simulated::LampLevel PresentLevel() const override;

private:
    void Pass(wire::ZclFrame frame);
    void Send(std::uint16_t cluster, std::uint8_t command, std::vector<std::uint8_t> payload);

    const LampPlace m_place;
    Carrier* m_carrier = nullptr;
    unsigned m_level = 0;
    AnsweredTables m_answered;
    std::chrono::milliseconds m_answeredAt{};
};

// Whether a <device> says that it is such a light.
bool IsRemoteLight(const nx::XmlNode& device);

// Which lamp a <device> that can be made says it is, and which endpoint of it, in words: the same
// for the same one, whatever else the <device> says.
std::string RemoteLightName(const nx::XmlNode& device);

// Whether a device of that kind, which may be null, is such a light; then inputs tell what comes
// from it, that it is online too.
bool IsRemoteLight(const DeviceKind* kind);

// A device as such a light, by the kind that it was made as; null for any other, and for none.
RemoteLight* AsRemoteLight(const DeviceKind* kind, simulated::SimulatedDevice* device);

// Whether a device of that kind is such a light that its driver was not told to be online.
bool IsGoneRemoteLight(const DeviceKind* kind, const nx::DriverHost& driver);

// The kind of such lights: <device zigbee2mqtt="0x00124b0012345678" base="zigbee2mqtt"
// endpoint="1"/>.
const DeviceKind& RemoteLightKind();
} // namespace lighting_host

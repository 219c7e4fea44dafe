#include "lighting_host/types/zigbee_light/RemoteLight.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/ZclCodec.h"
#include "lighting_host/types/DeviceElement.h"
#include "lighting_host/types/HousePlan.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

namespace lighting_host
{
// In its folder's row.
DriverType ZigbeeLightType();

namespace
{
namespace zcl = embedded_host::zcl;

const char* const IEEE = "zigbee2mqtt";
constexpr std::size_t IEEE_DIGITS = 16;
constexpr unsigned LAST_ENDPOINT = 240;
constexpr std::chrono::milliseconds LEAST_PATIENCE{100};
constexpr std::chrono::milliseconds MOST_PATIENCE{60000};

// Frame control of a cluster's request that wants a Default Response.
constexpr std::uint8_t REQUEST = 0x01;
constexpr std::uint8_t UP = 0;
constexpr std::uint8_t DOWN = 1;
constexpr std::uint8_t OWN_RATE = 0xFF;
// The next value means "as fast as you can".
constexpr std::int64_t MOST_TENTHS = 0xFFFE;
// On purpose not that of a LED.
constexpr int FULL_PERCENT = 100;

std::uint8_t Low(std::int64_t number)
{
    return static_cast<std::uint8_t>(number & 0xFF);
}
std::uint8_t High(std::int64_t number)
{
    return static_cast<std::uint8_t>((number >> 8) & 0xFF);
}

std::string ReadIeee(DeviceElement& device)
{
    std::string ieee = device.Word(IEEE, std::string());
    for (char& c : ieee)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const bool isAddress = ieee.size() == 2 + IEEE_DIGITS && ieee.compare(0, 2, "0x") == 0 &&
                           ieee.find_first_not_of("0123456789abcdef", 2) == std::string::npos;
    if (!isAddress)
        device.Fail("\"zigbee2mqtt\" is no address of a lamp like 0x00124b0012345678");
    return ieee;
}

// A topic that can be written to, with other levels behind it.
std::string ReadBase(DeviceElement& device, const std::string& absent)
{
    std::string base = device.Word("base", absent);
    const bool isTopic = !base.empty() && base.find_first_of("+#") == std::string::npos &&
                         base.front() != '/' && base.back() != '/' &&
                         base.find("//") == std::string::npos;
    if (!isTopic)
        device.Fail("\"base\" is no topic like zigbee2mqtt");
    return base;
}

bool ReadTruth(DeviceElement& device, const char* name)
{
    const std::string word = device.Word(name, "false");
    if (word != "true" && word != "false")
        device.Fail(std::string("\"") + name + "\" is neither true nor false");
    return word == "true";
}

std::uint8_t ReadEndpoint(DeviceElement& device)
{
    return static_cast<std::uint8_t>(device.Number("endpoint", 1, LAST_ENDPOINT, 1));
}

std::unique_ptr<simulated::SimulatedDevice> Make(const HouseFileDriver& driver,
                                                 simulated::DeviceEnvironment& environment)
{
    DeviceElement device(*driver.device);
    if (driver.type != ZigbeeLightType().name && driver.library.empty())
        device.Fail("only a ZigBee light can be behind a Zigbee2MQTT");
    if (device.Word("simulated", "false") == "true")
        device.Fail("what is behind a Zigbee2MQTT is not simulated");
    LampPlace place;
    place.ieee = ReadIeee(device);
    place.base = ReadBase(device, place.base);
    place.endpoint = ReadEndpoint(device);
    place.patience = device.Time("patience", place.patience);
    if (place.patience < LEAST_PATIENCE || place.patience > MOST_PATIENCE)
        device.Fail("\"patience\" is not from 100ms to 60s");
    place.keepsBook = ReadTruth(device, "book");
    device.Finish();
    if (driver.device->GetChildCount() > 0)
        device.Fail("a lamp behind a Zigbee2MQTT has no elements");
    return std::make_unique<RemoteLight>(environment, std::move(place));
}
} // namespace

void RemoteLight::OnZcl(const wire::ZclFrame& frame)
{
    m_answered.OnSent(frame);
    Pass(frame);
}

void RemoteLight::OnLampFrame(const wire::ZclFrame& frame)
{
    if (m_answered.OnAnswer(frame))
        m_answeredAt = Environment().Now();
    Environment().Send(frame);
}

void RemoteLight::RecallScene(std::uint16_t scene)
{
    // Scene number 0 of the group of that id.
    Send(zcl::CLUSTER_SCENES, lamp_command::RECALL, {Low(scene), High(scene), 0});
}

void RemoteLight::GroupRampToLevel(std::uint16_t, int level, std::chrono::milliseconds time)
{
    RampToLevel(level, time);
}

void RemoteLight::GroupStartRamp(std::uint16_t, bool up)
{
    Send(lamp_command::CLUSTER_LEVEL, lamp_command::MOVE, {up ? UP : DOWN, OWN_RATE});
}

void RemoteLight::GroupStopRamp(std::uint16_t)
{
    Send(lamp_command::CLUSTER_LEVEL, lamp_command::STOP, {});
}

void RemoteLight::RampToLevel(int level, std::chrono::milliseconds time)
{
    const std::int64_t tenths = std::clamp<std::int64_t>(
        (time + lamp_command::TENTH / 2) / lamp_command::TENTH, 0, MOST_TENTHS);
    Send(lamp_command::CLUSTER_LEVEL, lamp_command::MOVE_TO_LEVEL,
         {zcl::LevelFromPercent(level), Low(tenths), High(tenths)});
}

simulated::LampLevel RemoteLight::PresentLevel() const
{
    return {m_level, FULL_PERCENT};
}

void RemoteLight::Send(std::uint16_t cluster, std::uint8_t command,
                       std::vector<std::uint8_t> payload)
{
    // The sequence is Zigbee2MQTT's business.
    wire::ZclFrame frame{cluster, m_place.endpoint, {REQUEST, 0, command}};
    frame.bytes.insert(frame.bytes.end(), payload.begin(), payload.end());
    Pass(std::move(frame));
}

// Whatever endpoint the driver is configured for, the lamp's is where the house file says.
void RemoteLight::Pass(wire::ZclFrame frame)
{
    frame.endpoint = m_place.endpoint;
    if (m_carrier)
        m_carrier->OnFrameForLamp(frame);
}

bool IsRemoteLight(const DeviceKind* kind)
{
    return kind == &RemoteLightKind();
}

RemoteLight* AsRemoteLight(const DeviceKind* kind, simulated::SimulatedDevice* device)
{
    // The kind makes nothing else.
    return IsRemoteLight(kind) ? static_cast<RemoteLight*>(device) : nullptr;
}

bool IsGoneRemoteLight(const DeviceKind* kind, const nx::DriverHost& driver)
{
    return IsRemoteLight(kind) && !(driver.LastTold() && driver.LastTold()->online);
}

bool IsRemoteLight(const nx::XmlNode& device)
{
    return DeviceElement(device).Has(IEEE);
}

std::string RemoteLightName(const nx::XmlNode& device)
{
    DeviceElement element(device);
    return fmt::format("endpoint {} of lamp {}", ReadEndpoint(element), ReadIeee(element));
}

const DeviceKind& RemoteLightKind()
{
    static const DeviceKind kind = []
    {
        DeviceKind made{};
        made.name = IEEE;
        made.make = &Make;
        // As for a simulated one: which messages are repairs is seen on the wire.
        made.watch = ZigbeeLightType().device.watch;
        made.overTheAir = true;
        made.hasLamp = true;
        return made;
    }();
    return kind;
}
} // namespace lighting_host

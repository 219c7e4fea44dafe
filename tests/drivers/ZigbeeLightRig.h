#pragma once

#include "device_wire/AttachedDevice.h"
#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "nxshared/XmlDocument.h"
#include "simulated_devices/ZigbeeLight.h"
#include "simulated_devices/ZigbeeLightFaults.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace zigbee_rig
{
// The driver, with what its owner operations are called for written down.
class NotingLightDriver : public ZigbeeLightDriver
{
public:
    explicit NotingLightDriver(IInstanceManager& instances) : ZigbeeLightDriver(instances) {}

    void SynchronizationDone() override
    {
        ++done;
        ZigbeeLightDriver::SynchronizationDone();
    }
    void AddSceneFailed(unsigned scene, unsigned char status, unsigned char endpoint) override
    {
        failed.push_back(std::to_string(scene) + " " + std::to_string(status) + " " +
                         std::to_string(endpoint));
        ZigbeeLightDriver::AddSceneFailed(scene, status, endpoint);
    }
    void EnergyValueToUI(const std::string& name, int value) override
    {
        shown.push_back(name + " " + std::to_string(value));
        ZigbeeLightDriver::EnergyValueToUI(name, value);
    }

    int done = 0;
    std::vector<std::string> failed;
    std::vector<std::string> shown;
};

// A house with one ZigBee light's driver in it; with a simulated light at the other end when asked
// for.
class LightRig : public embedded_host::OutputSink
{
public:
    explicit LightRig(const std::string& config = "<config/>", const std::string& state = "")
        : house(m_clock, m_random, *this)
    {
        embedded_host::DriverConfig lamp;
        lamp.name = "lamp";
        lamp.type = "zigbee_light";
        lamp.id = 9;
        lamp.config = nx::CreateXmlDocument(config)->GetRoot();
        if (!state.empty())
            lamp.state = nx::CreateXmlDocument(state)->GetRoot();
        lamp.create = [this](IInstanceManager& instances)
        {
            return m_driver = new NotingLightDriver(instances);
        };
        host = house.Add(lamp);
        house.StartAll();
    }

    ~LightRig() override
    {
        house.StopAll();
        m_attached.reset();
    }

    NotingLightDriver& Driver() { return *m_driver; }

    // Puts a light at the other end.
    simulated::ZigbeeLight& Attach(const simulated::ZigbeeLight::Settings& settings)
    {
        m_attached = std::make_unique<device_wire::AttachedDevice>(*host);
        m_attached->onRefused = [this](const nx::DriverHost&, const char* why)
        {
            refused.emplace_back(why);
        };
        light = &m_attached->Make<simulated::ZigbeeLight>(settings);
        return *light;
    }

    std::string Command(const std::string& name,
                        const std::vector<std::pair<std::string, std::string>>& params = {})
    {
        embedded_host::CmdMessage message(name);
        for (const auto& [param, value] : params)
            message.AddParam(param, "STRING", value);
        return host->Command(message, CmdDispatcher::CONTROLLER);
    }

    // What left for the light since the last look, in the host's words, and by kind.
    std::vector<std::string> Sent() { return std::exchange(m_sent, {}); }
    const std::map<std::string, int>& Counts() const { return m_counts; }
    void ForgetCounts() { m_counts.clear(); }
    int Unhandled() const { return m_unhandled; }
    int Asserts() const { return m_asserts; }

    // OutputSink.
    void Write(const embedded_host::Output& output) override
    {
        using namespace embedded_host;
        if (std::get_if<AssertRecord>(&output.effect))
            ++m_asserts;
        if (std::get_if<CommandUnhandled>(&output.effect))
            ++m_unhandled;
        const auto* sent = std::get_if<ZclSent>(&output.effect);
        if (!sent)
            return;
        ++m_counts[sent->message.Name()];
        const zcl::Request& request = sent->message.Request();
        std::string text = sent->message.Name();
        if (sent->message.HasScene())
            text += " " + std::to_string(request.scene);
        else if (sent->message.HasGroup())
            text += " " + std::to_string(request.group);
        if (sent->message.HasDetails())
            text += " " + std::to_string(request.level) + " " + std::to_string(request.timeMs);
        m_sent.push_back(text + " @" + std::to_string(sent->endpoint));
    }

private:
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    std::vector<std::string> m_sent;
    std::map<std::string, int> m_counts;
    int m_unhandled = 0;
    int m_asserts = 0;
    std::unique_ptr<device_wire::AttachedDevice> m_attached;
    NotingLightDriver* m_driver = nullptr;

public:
    embedded_host::House house;
    nx::DriverHost* host = nullptr;
    // Null before Attach.
    simulated::ZigbeeLight* light = nullptr;
    // What the host could not understand of what the light sent.
    std::vector<std::string> refused;
};
} // namespace zigbee_rig

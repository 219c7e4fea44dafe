#pragma once

#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "embedded_host/DeviceLink.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "nxshared/XmlDocument.h"
#include "simulated_devices/ZigbeeLight.h"
#include "simulated_devices/ZigbeeLightFaults.h"

#include <functional>
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
// for. Frames reach the light 1 ms after they were sent.
class LightRig : public embedded_host::OutputSink,
                 public embedded_host::DeviceLink,
                 public simulated::DeviceEnvironment,
                 private ITimerManagerCallback
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
        for (const auto& scheduled : m_scheduled)
            house.KillDeviceTimer(scheduled.first);
    }

    NotingLightDriver& Driver() { return *m_driver; }

    // Puts a light at the other end.
    simulated::ZigbeeLight& Attach(const simulated::ZigbeeLight::Settings& settings)
    {
        light = std::make_unique<simulated::ZigbeeLight>(*this, settings);
        host->Attach(this);
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

    // DeviceLink.
    void OnMibSent(const NxMIBPacket&) override {}
    void OnGatewaySent(const ICmdMessage&) override {}
    void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                   std::size_t length) override
    {
        wire::ZclFrame sent{cluster, endpoint, {frame, frame + length}};
        Schedule(1, [this, sent] { light->OnZcl(sent); });
    }

    // DeviceEnvironment.
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::BusFrame&) override {}
    void Send(const wire::ZclFrame& frame) override
    {
        if (const char* error =
                host->ZclFrame(frame.cluster, frame.bytes.data(), frame.bytes.size()))
            refused.emplace_back(error);
    }
    void Schedule(std::uint64_t delayMs, std::function<void()> callback) override
    {
        m_scheduled[house.AddDeviceTimer(delayMs, this)] = std::move(callback);
    }
    std::uint64_t NowMs() const override { return static_cast<std::uint64_t>(m_clock.NowMs()); }
    int Random(int min, int max) override { return m_random.Between(min, max); }
    void ReportPerson(const std::string&) override {}

private:
    void OnTimerExpired(ID::Timer timer, time_t) override
    {
        const std::function<void()> callback = std::move(m_scheduled[timer]);
        m_scheduled.erase(timer);
        callback();
    }

    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    std::vector<std::string> m_sent;
    std::map<std::string, int> m_counts;
    int m_unhandled = 0;
    int m_asserts = 0;
    std::map<unsigned, std::function<void()>> m_scheduled;
    NotingLightDriver* m_driver = nullptr;

public:
    embedded_host::House house;
    nx::DriverHost* host = nullptr;
    std::unique_ptr<simulated::ZigbeeLight> light;
    // What the host could not understand of what the light sent.
    std::vector<std::string> refused;
};
} // namespace zigbee_rig

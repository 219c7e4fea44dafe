#pragma once

#include "device_wire/AttachedDevice.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Random.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/WiredDimmerFaults.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace dimmer_rig
{
using Params = std::vector<std::pair<std::string, std::string>>;

// Steps that go to these levels, as the controller writes them.
inline std::string Steps(const std::vector<int>& levels)
{
    std::string steps;
    for (const int level : levels)
        steps +=
            "<e><delay>0</delay><level>" + std::to_string(level) + "</level><rate>1000</rate></e>";
    return steps;
}

// A house with one wired dimmer's driver in it and a simulated dimmer at the other end of its wire.
class DimmerRig : private embedded_host::OutputSink
{
public:
    DimmerRig()
    {
        embedded_host::DriverConfig config;
        config.name = "dim";
        config.type = "wired_dimmer";
        config.id = 1;
        config.create = [this](IInstanceManager& instances)
        {
            return m_driver = new WiredDimmerDriver(instances);
        };
        m_host = m_house.Add(config);
        m_attached = std::make_unique<device_wire::AttachedDevice>(*m_host);
        m_device = &m_attached->Make<simulated::WiredDimmer>();
        m_house.StartAll();
    }
    ~DimmerRig() override
    {
        m_house.StopAll();
        m_attached.reset();
    }

    // --- the controller -------------------------------------------------------------------------

    void Command(const std::string& name, const Params& params = {})
    {
        embedded_host::CmdMessage message(name);
        for (const auto& param : params)
            message.AddParam(param.first, "STRING", param.second);
        m_host->Command(message, CmdDispatcher::CONTROLLER);
    }
    void Push(unsigned scene, const std::vector<int>& levels, const Params& more = {})
    {
        Params params = {{"SCENE_ID", std::to_string(scene)}, {"ELEMENTS", Steps(levels)}};
        params.insert(params.end(), more.begin(), more.end());
        Command("PUSH_SCENE", params);
    }
    void Remove(unsigned scene) { Command("REMOVE_SCENE", {{"SCENE_ID", std::to_string(scene)}}); }
    void Join(unsigned group)
    {
        Command("JOIN_GROUP", {{"GROUP_ID", std::to_string(group)}, {"KEEP_SYNC", "true"}});
    }
    void Leave(unsigned group) { Command("LEAVE_GROUP", {{"GROUP_ID", std::to_string(group)}}); }

    // --- the world ------------------------------------------------------------------------------

    void Online() { m_host->Online(true); }
    void Advance(std::chrono::milliseconds time) { m_house.Advance(time); }
    void RestartDriver() { m_host->Restart(); }

    // No fault any more, and time for all that is under way to end.
    void Settle()
    {
        m_device->ClearFaults();
        Advance(SETTLE_TIME);
    }

    // The controller says that it has pushed everything, then the device comes online, and nothing
    // disturbs them.
    void UndisturbedCycle()
    {
        Settle();
        Command("ALL_SCENES_PUSHED");
        Online();
        Advance(SETTLE_TIME);
    }

    WiredDimmerDriver& Driver() { return *m_driver; }
    simulated::WiredDimmer& Device() { return *m_device; }

    // Whether both sides hold the same under this key, or both nothing.
    bool SameAt(unsigned key)
    {
        const auto stored = m_driver->AdvScenes().getElement(key);
        // The id of an element that was not found is also the highest key.
        const bool held = stored.id == key && (stored.onHardware || stored.pushedByController);
        const auto& elements = m_device->Tables().elements;
        const auto other = elements.find(static_cast<std::uint16_t>(key));
        if (!held || other == elements.end())
            return held == (other != elements.end());
        return other->second ==
               simulated::DimmerElement{stored.delay, stored.levelRate, stored.level, stored.flags};
    }

    // How many messages have left for the device.
    unsigned Sent() const { return m_sent; }

private:
    // A whole report of a full store, the timer after it, and what it sends.
    static constexpr std::chrono::milliseconds SETTLE_TIME = std::chrono::minutes(2);

    void Write(const embedded_host::Output& output) override
    {
        if (std::get_if<embedded_host::MibSent>(&output.effect))
            ++m_sent;
    }

    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    embedded_host::House m_house{m_clock, m_random, *this};
    std::unique_ptr<device_wire::AttachedDevice> m_attached;
    nx::DriverHost* m_host = nullptr;
    WiredDimmerDriver* m_driver = nullptr;
    simulated::WiredDimmer* m_device = nullptr;
    unsigned m_sent = 0;
};
} // namespace dimmer_rig

#pragma once

#include "embedded_host/DriverHost.h"
#include "embedded_host/internal/Dispatchers.h"
#include "embedded_host/internal/IllegalGroups.h"
#include "embedded_host/internal/TimerWheel.h"
#include "embedded_host/internal/TimersWithoutDelay.h"

#include <utility>

namespace embedded_host
{
// What a DriverHost consists of besides what everybody sees: its handlers and the owner of its
// timers. A house makes no other kind of DriverHost, and DriverHost.cpp finds these parts here. So
// those who use a DriverHost need not know how handlers and timers are kept, and everything of one
// driver still lies in one piece of memory.
class HostedDriver final : public nx::DriverHost, private UnhandledSink
{
public:
    // `house` must outlive this.
    HostedDriver(House& house, DriverConfig config)
        : nx::DriverHost(house, std::move(config)),
          timers(TimerWheel::DRIVER, static_cast<nx::DriverHost*>(this)), commands(*this)
    {
    }

    // The driver goes first: while it is destroyed it may still remove handlers and stop timers.
    ~HostedDriver() override { Stop(); }

    // What every packet needs comes first.
    MibTable mibs;
    // Its context is the DriverHost.
    TimerWheel::Owner timers;
    CmdTable commands;
    CondTable conditions;
    TimersWithoutDelay timersWithoutDelay;
    IllegalGroups illegalGroups;

    // Gives away the state of the config, which only the first start needs.
    boost::shared_ptr<nx::XmlNode> TakeState() { return std::move(m_config.state); }

private:
    void OnUnhandled(const std::string& name) override { Emit(CommandUnhandled{name}); }
};
} // namespace embedded_host

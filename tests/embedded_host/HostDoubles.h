#pragma once

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "embedded_host/House.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/CondDispatcher.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace host_test
{
using Strings = std::vector<std::string>;

// A packet in words: type, id and parameters.
std::string InWords(const NxMIBPacket& packet);

// Keeps what the drivers of a house do, in words, each with its time and its driver: "5 hall event
// 6001". What was never looked at fails the test.
class RecordingSink : public embedded_host::OutputSink
{
public:
    ~RecordingSink() override
    {
        EXPECT_TRUE(m_seen.empty()) << "never looked at: " << m_seen.front();
    }

    void Write(const embedded_host::Output& output) override;

    // Everything since somebody looked.
    Strings Take() { return std::exchange(m_seen, {}); }

private:
    Strings m_seen;
};

// A driver that does what a test tells it to, and nothing else. Its protected operations are open.
class TestDriver : public NxBaseMibDriver
{
public:
    using NxBaseDriver::AddDynamicBinding;
    using NxBaseDriver::AddTimer;
    using NxBaseDriver::AddVariable;
    using NxBaseDriver::CreateBindMessage;
    using NxBaseDriver::CreateCommandMessage;
    using NxBaseDriver::CreateCommandMessageFromXml;
    using NxBaseDriver::DispatchCommand;
    using NxBaseDriver::FireEvent;
    using NxBaseDriver::ForwardToGroup;
    using NxBaseDriver::GetCapability;
    using NxBaseDriver::GetCapabilityBool;
    using NxBaseDriver::HasCapability;
    using NxBaseDriver::KillTimer;
    using NxBaseDriver::RemoveDynamicBinding;
    using NxBaseDriver::RemoveVariable;
    using NxBaseDriver::RequestPersist;
    using NxBaseDriver::SendBoundCall;
    using NxBaseDriver::SendDataToUI;
    using NxBaseDriver::SendToGateway;
    using NxBaseDriver::SetVariable;
    using NxBaseMibDriver::QueryDeviceInfo;
    using NxBaseMibDriver::SendMibPacket;

    explicit TestDriver(IInstanceManager& instances)
        : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, 1)
    {
    }
    ~TestDriver() override
    {
        if (onDestroy)
            onDestroy();
    }

    // Commands, traps and conditions, as the library's classes register for them.
    void OnCommand(const std::string& name, CmdDispatcher::Handler handler)
    {
        GetCmdDispatcher().RegisterCmd(name, handler);
    }
    void OnTrap(const std::string& mib, std::function<void()> action)
    {
        GetMibDispatcher().RegisterTrap(mib, [action](const NxMIBPacket&) { action(); });
    }
    // Reports each reply of that id and the request that it came with, as an owner call.
    void ReportReplies(const std::string& mib);

    // Sends a packet with these parameters.
    void SendMib(const std::string& mib, const Strings& params);

    // Reports what a test wants to see, in its place among the effects.
    void Say(const std::string& what);

    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        return !onInitialize || onInitialize(id, config, state);
    }
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long) override
    {
        return onPersist ? onPersist() : nullptr;
    }
    int BoundCall(ID::Binding binding, BindingType type, const std::string& name,
                  const IBindMessage& message, ICmdReturn* ret) override
    {
        return onBoundCall ? onBoundCall(binding, name, message)
                           : NxBaseMibDriver::BoundCall(binding, type, name, message, ret);
    }
    void OnBindingChanged(unsigned id, const std::string& cls, bool bound, unsigned first,
                          unsigned second) override
    {
        Say(cls + " " + std::to_string(id) + (bound ? " bound" : " unbound") +
            (first == 0 && second == 0 ? "" : " with numbers"));
    }
    void OnMIBDeviceOnlineStatusChanged(DeviceStatus status, const std::string&,
                                        const std::string&) override
    {
        Say(status == DEVICE_ONLINE ? "online" : "offline");
    }
    void OnTimerExpired(ID::Timer timer, time_t time) override
    {
        if (onTimer)
            onTimer(timer, time);
        else
            Say("timer " + std::to_string(timer) + " after " + std::to_string(time));
    }

    std::function<void()> onDestroy;
    std::function<bool(unsigned, boost::shared_ptr<nx::XmlNode>&, boost::shared_ptr<nx::XmlNode>)>
        onInitialize;
    std::function<boost::shared_ptr<nx::XmlNode>()> onPersist;
    std::function<int(unsigned, const std::string&, const IBindMessage&)> onBoundCall;
    std::function<void(ID::Timer, time_t)> onTimer;
};

// A command with parameters, name and text by turns.
embedded_host::CmdMessage Command(const std::string& name, const Strings& params = {});

// A node with a text.
boost::shared_ptr<nx::XmlNode> Node(const std::string& name, const std::string& text);

// A house on a virtual clock whose drivers are TestDrivers.
class HouseTest : public testing::Test
{
protected:
    // Adds a driver and, unless told otherwise, makes it.
    nx::DriverHost& Add(const std::string& name, unsigned id,
                        std::function<void(TestDriver&)> construct = {});

    // The same, made.
    TestDriver& Made(const std::string& name, unsigned id,
                     std::function<void(TestDriver&)> construct = {});

    static TestDriver& DriverOf(const nx::DriverHost& host)
    {
        return static_cast<TestDriver&>(*host.Driver());
    }

    // What the house's drivers did since somebody looked.
    Strings Seen() { return sink.Take(); }

    embedded_host::VirtualClock clock{0};
    embedded_host::Random random{1, embedded_host::Draw::Random};
    RecordingSink sink;
    embedded_host::House house{clock, random, sink};
};
} // namespace host_test

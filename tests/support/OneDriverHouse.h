#pragma once

#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Random.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"
#include "tests/support/EffectText.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace test_support
{
using Lines = std::vector<std::string>;

// A house with one driver and nobody at the other end of its wire: the test plays controller and
// device. Every effect is written down as one line of text (see EffectText.h), without its time.
// What was written down and never taken fails the test.
class OneDriverHouse : private embedded_host::OutputSink
{
public:
    using Params = std::vector<std::pair<std::string, std::string>>;

    OneDriverHouse() = default;
    ~OneDriverHouse() override { EXPECT_EQ(m_lines, Lines()) << "caused and never looked at"; }

    // Before Start: what the driver finds. `config` and `state` are XML, empty for none.
    void Capability(const std::string& name, const std::string& value)
    {
        m_config.capabilities.emplace_back(name, value);
    }
    void Config(const std::string& xml) { m_config.config = Parse(xml); }
    void State(const std::string& xml) { m_config.state = Parse(xml); }

    // Makes and initialises a driver of this class as device 101.
    template <class Driver>
    Driver& Start()
    {
        m_config.name = "p";
        m_config.id = 101;
        m_config.create = [](IInstanceManager& instances)
        {
            return new Driver(instances);
        };
        m_house->onPersistRequested = [this](nx::DriverHost&)
        {
            ++m_persistRequests;
        };
        m_host = m_house->Add(std::move(m_config));
        m_host->Start(m_host->Config().state);
        return *static_cast<Driver*>(m_host->Driver());
    }

    // Destroys the driver.
    void Stop() { m_house->StopAll(); }

    // Takes the driver's state, destroys it and makes it anew.
    void Restart() { m_host->Restart(); }

    // Everything caused since the last time. Stack frames are left out.
    Lines Take()
    {
        Lines taken;
        taken.swap(m_lines);
        return taken;
    }

    // The whole effects of the kind that begins with this word, since the last time; the others are
    // dropped.
    Lines TakeOnly(const std::string& kind)
    {
        Lines taken;
        for (const std::string& line : Take())
        {
            if (line.rfind(kind + " ", 0) == 0)
                taken.push_back(line);
        }
        return taken;
    }

    // The controller.
    void Command(const std::string& name, const Params& params = {})
    {
        m_host->Command(Message<embedded_host::CmdMessage>(name, params), 0);
    }
    void Condition(const std::string& name, const Params& params)
    {
        m_host->Condition(Message<embedded_host::CondMessage>(name, params));
    }
    void BoundCall(unsigned binding, const std::string& kind, const std::string& xml)
    {
        m_host->BoundCall(binding, embedded_host::BindMessage(kind, "CALL", xml));
    }
    void Binding(unsigned id, const std::string& cls, bool bound)
    {
        m_host->BindingMade(id, cls, bound);
    }
    std::string Persist() { return m_host->Persist(); }

    // The device.
    void Trap(const std::string& mib, const Lines& params = {})
    {
        m_host->Trap(Packet(NxMIB::Trap, mib, params));
    }
    void Reply(const std::string& mib, const Lines& params = {})
    {
        m_host->Reply(Packet(NxMIB::Reply, mib, params));
    }
    void Online(bool online) { m_host->Online(online); }

    // How often the driver has asked for its state to be persisted since the last time.
    int TakePersistRequests() { return std::exchange(m_persistRequests, 0); }

    // Lets time pass.
    void Advance(std::int64_t ms) { m_house->Advance(ms); }

    // When the next timer is due, -1 for never.
    std::int64_t NextWakeMs() const { return m_house->NextWakeMs(); }

    // Runs `work` as if the host had called the driver.
    template <class Work>
    void Enter(const Work& work)
    {
        m_host->Enter(work);
    }

    nx::DriverHost& Host() { return *m_host; }
    embedded_host::House& House() { return *m_house; }

private:
    static boost::shared_ptr<nx::XmlNode> Parse(const std::string& xml)
    {
        if (xml.empty())
            return nullptr;
        const auto document = nx::CreateXmlDocument(xml);
        EXPECT_TRUE(document) << xml;
        return document ? document->GetRoot() : nullptr;
    }

    template <class T>
    static T Message(const std::string& name, const Params& params)
    {
        T message(name);
        for (const auto& param : params)
            message.Append({param.first, "STRING", param.second});
        return message;
    }

    static NxMIBPacket Packet(NxMIB::Type type, const std::string& mib, const Lines& params)
    {
        NxMIBPacket packet(type, mib);
        for (const std::string& param : params)
            packet.AddParam(param);
        return packet;
    }

    void Write(const embedded_host::Output& output) override
    {
        std::string line = std::visit(EffectText(), output.effect);
        if (!line.empty())
            m_lines.push_back(std::move(line));
    }

    Lines m_lines;
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    embedded_host::DriverConfig m_config;
    std::unique_ptr<embedded_host::House> m_house{
        new embedded_host::House(m_clock, m_random, *this)};
    int m_persistRequests = 0;
    nx::DriverHost* m_host = nullptr;
};
} // namespace test_support

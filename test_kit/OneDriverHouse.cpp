#include "test_kit/OneDriverHouse.h"

#include "embedded_host/Messages.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"
#include "test_kit/EffectText.h"

#include <ostream>

#include <gtest/gtest.h>

namespace test_kit
{
namespace
{
boost::shared_ptr<nx::XmlNode> Parse(const std::string& xml)
{
    if (xml.empty())
        return nullptr;
    const auto document = nx::CreateXmlDocument(xml);
    EXPECT_TRUE(document) << xml;
    return document ? document->GetRoot() : nullptr;
}

template <class T>
T Message(const std::string& name, const OneDriverHouse::Params& params)
{
    T message(name);
    for (const auto& param : params)
        message.Append({param.first, "STRING", param.second});
    return message;
}

NxMIBPacket Packet(NxMIB::Type type, const std::string& mib, const Lines& params)
{
    NxMIBPacket packet(type, mib);
    for (const std::string& param : params)
        packet.AddParam(param);
    return packet;
}
} // namespace

void PrintTo(const Caused& caused, std::ostream* out)
{
    for (const std::string& line : caused.List())
        *out << "\n    " << line;
}

OneDriverHouse::OneDriverHouse() : m_house(new embedded_host::House(m_clock, m_random, *this)) {}

OneDriverHouse::~OneDriverHouse()
{
    EXPECT_EQ(m_lines, Lines()) << "caused and never looked at";
}

void OneDriverHouse::Capability(const std::string& name, const std::string& value)
{
    m_config.capabilities.emplace_back(name, value);
}

void OneDriverHouse::Config(const std::string& xml)
{
    m_config.config = Parse(xml);
}

void OneDriverHouse::State(const std::string& xml)
{
    m_config.state = Parse(xml);
}

NxBaseDriver* OneDriverHouse::Start(const Create& create)
{
    m_config.name = "p";
    m_config.id = DEVICE_ID;
    m_config.create = create;
    m_house->onPersistRequested = [this](nx::DriverHost&)
    {
        ++m_persistRequests;
    };
    m_host = m_house->Add(std::move(m_config));
    m_host->Start(m_host->Config().state);
    return m_host->Driver();
}

void OneDriverHouse::Stop()
{
    m_house->StopAll();
}

void OneDriverHouse::Restart()
{
    m_host->Restart();
}

Lines OneDriverHouse::Take()
{
    Lines taken;
    taken.swap(m_lines);
    return taken;
}

Lines OneDriverHouse::TakeOnly(const std::string& kind)
{
    Lines taken;
    for (const std::string& line : Take())
    {
        if (line.rfind(kind + " ", 0) == 0)
            taken.push_back(line);
    }
    return taken;
}

std::string OneDriverHouse::Command(const std::string& name, const Params& params)
{
    return m_host->Command(Message<embedded_host::CmdMessage>(name, params), 0);
}

void OneDriverHouse::Condition(const std::string& name, const Params& params)
{
    m_host->Condition(Message<embedded_host::CondMessage>(name, params));
}

void OneDriverHouse::BoundCall(unsigned binding, const std::string& kind, const std::string& xml)
{
    m_host->BoundCall(binding, embedded_host::BindMessage(kind, "CALL", xml));
}

void OneDriverHouse::Binding(unsigned id, const std::string& cls, bool bound)
{
    m_host->BindingMade(id, cls, bound);
}

std::string OneDriverHouse::Persist()
{
    return m_host->Persist();
}

void OneDriverHouse::Trap(const std::string& mib, const Lines& params)
{
    m_host->Trap(Packet(NxMIB::Trap, mib, params));
}

void OneDriverHouse::Reply(const std::string& mib, const Lines& params)
{
    m_host->Reply(Packet(NxMIB::Reply, mib, params));
}

void OneDriverHouse::Online(bool online)
{
    m_host->Online(online);
}

void OneDriverHouse::Bus(int opcode, const std::vector<std::uint8_t>& payload)
{
    m_host->BusMessage(opcode, payload.empty() ? nullptr : payload.data(), payload.size());
}

void OneDriverHouse::Advance(std::chrono::milliseconds time)
{
    m_house->Advance(time);
}

std::optional<std::chrono::milliseconds> OneDriverHouse::NextWake() const
{
    return m_house->NextWake();
}

void OneDriverHouse::Write(const embedded_host::Output& output)
{
    std::string line = EffectText(output);
    if (!line.empty())
        m_lines.push_back(std::move(line));
}
} // namespace test_kit

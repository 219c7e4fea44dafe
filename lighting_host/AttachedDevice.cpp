#include "lighting_host/AttachedDevice.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "lighting_common/Names.h"
#include "lighting_host/types/DriverAdapter.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>

namespace lighting_host
{
std::vector<std::uint8_t> DecodeBase64(const std::string& text)
{
    static const std::string digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr int BITS_A_DIGIT = 6;
    constexpr int BITS_AN_OCTET = 8;
    std::vector<std::uint8_t> octets;
    unsigned bits = 0;
    int count = 0;
    for (char c : text)
    {
        const std::size_t value = digits.find(c);
        if (value == std::string::npos)
            break;
        bits = bits << BITS_A_DIGIT | static_cast<unsigned>(value);
        count += BITS_A_DIGIT;
        if (count < BITS_AN_OCTET)
            continue;
        count -= BITS_AN_OCTET;
        octets.push_back(static_cast<std::uint8_t>(bits >> count));
    }
    return octets;
}

AttachedDevice::AttachedDevice(nx::DriverHost& driver) : m_driver(driver) {}

AttachedDevice::~AttachedDevice()
{
    for (const auto& scheduled : m_scheduled)
        m_driver.GetHouse().KillDeviceTimer(scheduled.first);
}

void AttachedDevice::SetDevice(std::unique_ptr<simulated::SimulatedDevice> device)
{
    m_device = std::move(device);
}

// A message that nothing holds up arrives at once.
template <class Message>
void AttachedDevice::ToDriver(const Message& message)
{
    const Link::Fate fate = m_link ? m_link->Next() : Link::Fate();
    if (fate.lost)
        return;
    if (fate.inOrder || fate.twice || fate.delayMs > 0)
        Carry(fate, m_lastAtDriverMs, [this, message] { Deliver(message); });
    else
        Deliver(message);
}

void AttachedDevice::ToDevice(std::function<void()> arrive)
{
    const Link::Fate fate = m_link ? m_link->Next() : Link::Fate();
    if (!fate.lost)
        Carry(fate, m_lastAtDeviceMs, std::move(arrive));
}

void AttachedDevice::Carry(const Link::Fate& fate, std::uint64_t& lastArrivalMs,
                           std::function<void()> arrive)
{
    std::uint64_t first = fate.delayMs;
    std::uint64_t second = fate.secondMs;
    if (fate.inOrder)
    {
        lastArrivalMs = std::max(lastArrivalMs, NowMs() + first);
        first = second = lastArrivalMs - NowMs();
    }
    if (fate.twice)
        Schedule(first, arrive);
    Schedule(fate.twice ? second : first, std::move(arrive));
}

void AttachedDevice::Send(const wire::MibMessage& message)
{
    ToDriver(message);
}

void AttachedDevice::Send(const wire::ZclFrame& frame)
{
    ToDriver(frame);
}

void AttachedDevice::Send(const wire::BusFrame& frame)
{
    ToDriver(frame);
}

void AttachedDevice::Deliver(const wire::MibMessage& message)
{
    if (onMib)
        onMib(m_driver, message);
    NxMIBPacket packet(static_cast<NxMIB::Type>(message.type), message.mib);
    for (const std::string& param : message.params)
        packet.AddParam(param);
    if (message.type == wire::MibMessage::Trap)
        m_driver.Trap(packet);
    else
        m_driver.Reply(packet);
}

// What the host does not understand, it has said so; the device is not told.
void AttachedDevice::Deliver(const wire::ZclFrame& frame)
{
    m_driver.ZclFrame(frame.cluster, frame.bytes.data(), frame.bytes.size());
}

void AttachedDevice::Deliver(const wire::BusFrame& frame)
{
    if (onBus)
        onBus(m_driver, frame);
    auto* adapter = dynamic_cast<DriverAdapter*>(m_driver.Driver());
    if (adapter)
        m_driver.Enter([&] { adapter->OnBusFrame(frame); });
}

void AttachedDevice::Schedule(std::uint64_t delayMs, std::function<void()> callback)
{
    const unsigned timer = m_driver.GetHouse().AddDeviceTimer(delayMs, this);
    m_scheduled.emplace(timer, std::move(callback));
}

std::uint64_t AttachedDevice::NowMs() const
{
    return static_cast<std::uint64_t>(m_driver.GetHouse().GetClock().NowMs());
}

int AttachedDevice::Random(int min, int max)
{
    return m_driver.GetHouse().GetRandom().Between(min, max);
}

void AttachedDevice::ReportPerson(const std::string& what)
{
    if (onPerson)
        onPerson(m_driver, what);
}

void AttachedDevice::ReportAct(const std::string& words)
{
    if (onAct)
        onAct(m_driver, words);
    else
        ReportPerson(words);
}

void AttachedDevice::FromElsewhere(const std::function<void(simulated::SimulatedDevice&)>& arrive)
{
    ToDevice([this, arrive] { arrive(*m_device); });
}

void AttachedDevice::Rejoin()
{
    m_driver.Online(true);
}

void AttachedDevice::OnMibSent(const NxMIBPacket& packet)
{
    wire::MibMessage message{packet.GetType(), packet.GetMib(), packet.GetParams()};
    ToDevice([this, message = std::move(message)] { m_device->OnMib(message); });
}

void AttachedDevice::OnZclSent(std::uint16_t cluster, std::uint8_t endpoint,
                               const std::uint8_t* frame, std::size_t length)
{
    wire::ZclFrame sent{cluster, endpoint, {frame, frame + length}};
    ToDevice([this, sent = std::move(sent)] { m_device->OnZcl(sent); });
}

void AttachedDevice::OnGatewaySent(const ICmdMessage& command)
{
    wire::BusFrame frame;
    frame.device = command.GetParamUInt(names::general::DEVICE_ID);
    frame.opcode = static_cast<std::uint16_t>(command.GetParamInt(names::general::OPCODE));
    frame.payload = DecodeBase64(command.GetParamString(names::general::PAYLOAD));
    ToDevice([this, frame = std::move(frame)] { m_device->OnBus(frame); });
}

void AttachedDevice::OnTimerExpired(ID::Timer timer, time_t)
{
    auto node = m_scheduled.extract(timer);
    if (!node.empty())
        node.mapped()();
}
} // namespace lighting_host

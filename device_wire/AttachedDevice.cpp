#include "device_wire/AttachedDevice.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "lighting_common/Names.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>

namespace device_wire
{
AttachedDevice::AttachedDevice(nx::DriverHost& driver)
    : HouseEnvironment(driver.GetHouse()), m_driver(driver)
{
}

AttachedDevice::~AttachedDevice()
{
    if (m_device)
        m_driver.Attach(nullptr);
}

void AttachedDevice::SetDevice(std::unique_ptr<simulated::SimulatedDevice> device)
{
    m_device = std::move(device);
    if (m_device)
        m_driver.Attach(this);
}

Link::Delivery AttachedDevice::NextDelivery(Link::Way way)
{
    Link::Delivery delivery = m_link ? m_link->ForNextMessage(way) : Link::Delivery();
    delivery.lost = delivery.lost || !m_power;
    return delivery;
}

void AttachedDevice::SetPower(bool on)
{
    m_power = on;
    if (!on)
    {
        m_driver.Online(false);
        return;
    }
    m_device->OnPowerOn();
    Rejoin();
}

simulated::LampLevel AttachedDevice::PresentLevel() const
{
    return m_power && m_device ? m_device->PresentLevel() : simulated::LampLevel();
}

// A message that nothing holds up arrives at once.
template <class Message>
void AttachedDevice::ToDriver(const Message& message)
{
    const Link::Delivery delivery = NextDelivery(Link::Way::ToDriver);
    if (delivery.lost)
        return;
    if (delivery.inOrder || delivery.twice || delivery.delay.count() > 0)
        Carry(delivery, m_lastAtDriver, [this, message] { Deliver(message); });
    else
        Deliver(message);
}

void AttachedDevice::ToDevice(std::function<void()> arrive)
{
    const Link::Delivery delivery = NextDelivery(Link::Way::ToDevice);
    if (!delivery.lost)
        Carry(delivery, m_lastAtDevice, std::move(arrive));
}

void AttachedDevice::Carry(const Link::Delivery& delivery, std::chrono::milliseconds& lastArrival,
                           std::function<void()> arrive)
{
    std::chrono::milliseconds first = delivery.delay;
    std::chrono::milliseconds second = delivery.second;
    if (delivery.inOrder)
    {
        lastArrival = std::max(lastArrival, Now() + first);
        first = second = lastArrival - Now();
    }
    if (delivery.twice)
        Schedule(first, arrive);
    Schedule(delivery.twice ? second : first, std::move(arrive));
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

// The device is not told: nobody answers a frame that makes no sense.
void AttachedDevice::Deliver(const wire::ZclFrame& frame)
{
    if (onZcl)
        onZcl(m_driver, frame);
    const char* const why =
        m_driver.ZclFrame(frame.cluster, frame.bytes.data(), frame.bytes.size());
    if (why && onRefused)
        onRefused(m_driver, why);
}

void AttachedDevice::Deliver(const wire::BusFrame& frame)
{
    if (onBus)
        onBus(m_driver, frame);
    m_driver.BusMessage(frame.opcode, frame.payload.data(), frame.payload.size());
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
    if (!nx::crypto::base64Decode(command.GetParamString(names::general::PAYLOAD), frame.payload))
    {
        const std::string what = "the payload of a message for the gateway is no base64 text";
        m_driver.Emit(embedded_host::DriverFault{what});
        return;
    }
    ToDevice([this, frame = std::move(frame)] { m_device->OnBus(frame); });
}
} // namespace device_wire

// A simulated device at the other end of a driver's wire: what goes to and fro, what the link does
// to it, and what becomes of what nobody can read.
#include "device_wire/AttachedDevice.h"

#include "NxLibDriverBases/NxBaseDriver.h"
#include "embedded_host/House.h"
#include "embedded_host/Messages.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace device_wire;
using embedded_host::CmdMessage;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// A driver that can do nothing.
class IdleDriver : public NxBaseDriver
{
public:
    explicit IdleDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_KEYPAD) {}
};

// Notes the frames of the bus that reach it.
class NotingDevice : public simulated::SimulatedDevice
{
public:
    using SimulatedDevice::SimulatedDevice;
    void OnBus(const wire::BusFrame& frame) override
    {
        heard.push_back(std::to_string(frame.device) + " " + std::to_string(frame.opcode) + " " +
                        std::string(frame.payload.begin(), frame.payload.end()));
    }
    std::vector<std::string> heard;
};

// The same fate for every message.
class SteadyLink : public Link
{
public:
    Delivery ForNextMessage(Way) override { return delivery; }
    Delivery delivery;
};

class Faults : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output& output) override
    {
        if (const auto* fault = std::get_if<embedded_host::DriverFault>(&output.effect))
            seen.push_back(fault->what);
    }
    std::vector<std::string> seen;
};

class AttachedDeviceTest : public testing::Test
{
protected:
    AttachedDeviceTest()
    {
        embedded_host::DriverConfig config;
        config.name = "k";
        config.id = 7;
        config.create = [](IInstanceManager& instances)
        {
            return new IdleDriver(instances);
        };
        host = house.Add(config);
        house.StartAll();
        attached = std::make_unique<AttachedDevice>(*host);
        device = &attached->Make<NotingDevice>();
    }
    ~AttachedDeviceTest() override
    {
        house.StopAll();
        attached.reset();
    }

    void SendPayload(const std::string& base64)
    {
        CmdMessage command("485_BUS_MESSAGE");
        command.AddParam("DEVICE_ID", "INT", 7LL);
        command.AddParam("OPCODE", "INT", 1LL);
        command.AddParam("PAYLOAD", "STRING", base64);
        host->CallDriver("a test", [&] { host->SendGateway(command); });
    }

    embedded_host::VirtualClock clock{0};
    embedded_host::Random random{1, embedded_host::Draw::Random};
    Faults faults;
    embedded_host::House house{clock, random, faults};
    nx::DriverHost* host = nullptr;
    std::unique_ptr<AttachedDevice> attached;
    NotingDevice* device = nullptr;
};
} // namespace

TEST_F(AttachedDeviceTest, MessageForTheGateway_ReachesTheDeviceOnlyAfterTheCall)
{
    SendPayload("Zm9v");
    EXPECT_THAT(device->heard, IsEmpty());
    house.Advance(0ms);
    EXPECT_THAT(device->heard, ElementsAre("7 1 foo"));
}

TEST_F(AttachedDeviceTest, PayloadThatIsNoBase64_IsAFaultAndReachesNobody)
{
    SendPayload("Zm9");
    house.Advance(1000ms);
    EXPECT_THAT(device->heard, IsEmpty());
    EXPECT_THAT(faults.seen,
                ElementsAre("the payload of a message for the gateway is no base64 text"));
}

TEST_F(AttachedDeviceTest, DeviceTakenOffTheWire_GetsNothingMore)
{
    SendPayload("Zm9v");
    attached.reset();
    SendPayload("Zm9v");
    house.Advance(1000ms);
    EXPECT_THAT(faults.seen, IsEmpty());
    EXPECT_FALSE(house.NextWake());
}

TEST_F(AttachedDeviceTest, LinkThatSaysTwice_DeliversTwice)
{
    SteadyLink link;
    link.delivery.twice = true;
    link.delivery.delay = 5ms;
    link.delivery.second = 9ms;
    attached->SetLink(&link);
    SendPayload("Zm9v");
    house.Advance(5ms);
    EXPECT_EQ(device->heard.size(), 1u);
    house.Advance(4ms);
    EXPECT_EQ(device->heard.size(), 2u);
}

TEST_F(AttachedDeviceTest, FrameThatTheHostCannotRead_IsTold)
{
    std::vector<std::string> refused;
    attached->onRefused = [&](const nx::DriverHost&, const char* why)
    {
        refused.emplace_back(why);
    };
    attached->Send(wire::ZclFrame{4, 1, {0x18}});
    EXPECT_EQ(refused.size(), 1u);
}

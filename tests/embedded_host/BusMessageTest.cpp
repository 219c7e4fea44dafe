// What the RS-485 gateway hands on reaches the driver's listener.
#include "NxLibDriverBases/NxBaseDriver.h"
#include "embedded_host/House.h"
#include "nxshared/IBusListener.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace embedded_host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// A driver that notes what it hears from the bus.
class HearingDriver : public NxBaseDriver, public IBusListener
{
public:
    explicit HearingDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_KEYPAD)
    {
    }
    IBusListener* GetBusListener() override { return deaf ? nullptr : this; }
    void OnBusMessage(int opcode, const std::uint8_t* payload, std::size_t length) override
    {
        if (broken)
            throw std::runtime_error("broken");
        heard.push_back(std::to_string(opcode) + " " + std::string(payload, payload + length));
    }

    bool deaf = false;
    bool broken = false;
    std::vector<std::string> heard;
};

// A driver as its base makes it.
class PlainDriver : public NxBaseDriver
{
public:
    explicit PlainDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_LIGHT) {}
};

class Faults : public OutputSink
{
public:
    void Write(const Output& output) override
    {
        if (const auto* fault = std::get_if<DriverFault>(&output.effect))
            seen.push_back(fault->what);
    }
    std::vector<std::string> seen;
};

class BusMessageTest : public testing::Test
{
protected:
    template <class Driver>
    nx::DriverHost& Add(const std::string& name, unsigned id)
    {
        DriverConfig config;
        config.name = name;
        config.id = id;
        config.create = [](IInstanceManager& instances)
        {
            return new Driver(instances);
        };
        nx::DriverHost& added = *house.Add(config);
        added.Start(nullptr);
        return added;
    }
    void Send(nx::DriverHost& to, const std::string& payload)
    {
        to.BusMessage(0x9030, reinterpret_cast<const std::uint8_t*>(payload.data()),
                      payload.size());
    }

    VirtualClock clock{0};
    Random random{1, Draw::Random};
    Faults faults;
    House house{clock, random, faults};
    nx::DriverHost& host = Add<HearingDriver>("k", 1);
    HearingDriver& driver = *static_cast<HearingDriver*>(host.Driver());
};
} // namespace

TEST_F(BusMessageTest, Message_ReachesTheListener)
{
    Send(host, "ab");
    Send(host, "");
    EXPECT_THAT(driver.heard, ElementsAre("36912 ab", "36912 "));
    EXPECT_THAT(faults.seen, IsEmpty());
}

TEST_F(BusMessageTest, DriverThatListensToNoBus_IsLeftAlone)
{
    driver.deaf = true;
    Send(host, "ab");
    Send(Add<PlainDriver>("p", 2), "ab");
    EXPECT_THAT(driver.heard, IsEmpty());
    EXPECT_THAT(faults.seen, IsEmpty());
}

TEST_F(BusMessageTest, ListenerThatThrows_IsAFault)
{
    driver.broken = true;
    Send(host, "ab");
    EXPECT_THAT(faults.seen, ElementsAre("the driver failed: broken"));
}

TEST_F(BusMessageTest, DriverThatIsStopped_HearsNothing)
{
    host.Stop();
    Send(host, "ab");
    EXPECT_THAT(faults.seen, IsEmpty());
}

// Octets over a real terminal. Nothing sleeps: Poll waits for input, and gives up in the end.
#include "simulated_devices/TtyBus.h"

#include <gtest/gtest.h>

using simulated::Octets;
using simulated::TtyBus;

namespace
{
struct Listener : simulated::BusStation
{
    void OnLine(const Octets& octets) override
    {
        heard.insert(heard.end(), octets.begin(), octets.end());
    }
    Octets heard;
};

class TtyBusTest : public testing::Test
{
protected:
    TtyBusTest()
    {
        bus.GatewayEnd().Attach(gateway);
        bus.DeviceEnd().Attach(device);
    }

    void PollUntilHeard(const Listener& listener, std::size_t count)
    {
        for (int i = 0; i < 2000 && listener.heard.size() < count; ++i)
            bus.Poll(std::chrono::milliseconds(10));
    }

    TtyBus bus;
    Listener gateway;
    Listener device;
};

Octets EveryOctet()
{
    Octets octets;
    for (int i = 0; i < 256; ++i)
        octets.push_back(static_cast<std::uint8_t>(i));
    return octets;
}
} // namespace

TEST_F(TtyBusTest, EveryOctet_CrossesUnchangedBothWays)
{
    bus.GatewayEnd().Transmit(gateway, EveryOctet());
    PollUntilHeard(device, 256);
    EXPECT_EQ(device.heard, EveryOctet());
    EXPECT_TRUE(gateway.heard.empty());
    bus.DeviceEnd().Transmit(device, EveryOctet());
    PollUntilHeard(gateway, 256);
    EXPECT_EQ(gateway.heard, EveryOctet());
    EXPECT_EQ(device.heard.size(), 256u);
}

TEST_F(TtyBusTest, ManyTransmissions_KeepTheirOrder)
{
    Octets expected;
    for (int i = 0; i < 200; ++i)
    {
        const Octets piece(37, static_cast<std::uint8_t>(i));
        expected.insert(expected.end(), piece.begin(), piece.end());
        bus.GatewayEnd().Transmit(gateway, piece);
    }
    PollUntilHeard(device, expected.size());
    EXPECT_EQ(device.heard, expected);
}

TEST_F(TtyBusTest, DetachedStation_HearsNothingMore)
{
    Listener other;
    bus.DeviceEnd().Attach(other);
    bus.DeviceEnd().Detach(device);
    bus.GatewayEnd().Transmit(gateway, {1, 2, 3});
    PollUntilHeard(other, 3);
    EXPECT_EQ(other.heard.size(), 3u);
    EXPECT_TRUE(device.heard.empty());
}

TEST_F(TtyBusTest, NothingToDo_PollComesBack)
{
    EXPECT_FALSE(bus.Poll(std::chrono::milliseconds(1)));
}

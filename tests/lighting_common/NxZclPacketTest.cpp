#include "ZigbeeDoubles.h"

#include <gmock/gmock.h>

using namespace zigbee_test;
using testing::ElementsAre;

namespace
{
class CountedMessage : public nx::ZclMessage
{
public:
    explicit CountedMessage(int& alive) : m_alive(alive) { ++m_alive; }
    ~CountedMessage() override { --m_alive; }

private:
    int& m_alive;
};

class NxZclPacketTest : public testing::Test
{
protected:
    Record record;
    RecordingHost services{record};
};
} // namespace

TEST_F(NxZclPacketTest, Destruction_DestroysTheMessage)
{
    int alive = 0;
    {
        NxZclPacket packet(new CountedMessage(alive), nx::Zmessage::Unicast);
        EXPECT_EQ(alive, 1);
        EXPECT_NE(packet.GetMessage(), nullptr);
    }
    EXPECT_EQ(alive, 0);
}

TEST_F(NxZclPacketTest, TypeIsTheOneGiven)
{
    int alive = 0;
    const NxZclPacket packet(new CountedMessage(alive), static_cast<nx::Zmessage::MessageType>(3));
    EXPECT_EQ(packet.GetType(), 3);
}

TEST_F(NxZclPacketTest, NullMessage_AssertsAtLine28AndLeavesAnEmptyPacket)
{
    const NxZclPacket packet(nullptr, nx::Zmessage::Unicast);
    EXPECT_THAT(record.Take(), ElementsAre("assert NxLibDriverBases/NxZclPacket"));
    EXPECT_EQ(services.LastAssertLine(), 28);
    EXPECT_EQ(packet.GetMessage(), nullptr);
}

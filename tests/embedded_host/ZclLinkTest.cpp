#include "NxLibDriverBases/NxZclPacket.h"
#include "embedded_host/DeviceLink.h"
#include "embedded_host/House.h"
#include "embedded_host/ZclMessages.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace embedded_host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// A driver that sends what it is told to and notes the scene counts that it hears of.
class CountingDriver : public NxBaseDriver, public IZclListener
{
public:
    explicit CountingDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_LIGHT)
    {
    }
    IZclListener* GetZclListener() override
    {
        if (broken)
            throw std::runtime_error("broken");
        return deaf ? nullptr : this;
    }
    void OnZclSceneMembership(unsigned short, const SceneVec&) override {}
    void OnZclViewScene(unsigned, int, int) override {}
    void OnZclGroupMembership(const nx::GroupIdVec&) override {}
    void OnZclSceneCount(int count) override { counts.push_back(count); }
    void OnAddSceneFailure(unsigned, unsigned char) override {}
    void Send(nx::ZclMessage* message, unsigned char endpoint)
    {
        NxZclPacket packet(message, nx::Zmessage::Unicast);
        SendZclPacket(packet, endpoint);
    }

    bool deaf = false;
    bool broken = false;
    std::vector<int> counts;
};

// The light's end and the house's sink, both writing down what they get.
class NotingEnds : public DeviceLink, public OutputSink
{
public:
    void OnMibSent(const NxMIBPacket&) override { ADD_FAILURE(); }
    void OnGatewaySent(const ICmdMessage&) override { ADD_FAILURE(); }
    void OnZclSent(std::uint16_t cluster, std::uint8_t endpoint, const std::uint8_t* frame,
                   std::size_t length) override
    {
        Note("light", cluster, endpoint, frame, length);
    }
    void Write(const Output& output) override
    {
        if (const auto* sent = std::get_if<ZclSent>(&output.effect))
            Note(sent->message.Name(), sent->message.Cluster(), sent->endpoint, sent->frame,
                 sent->length);
        else if (std::get_if<AssertRecord>(&output.effect))
            lines.push_back("assert");
        else
            lines.push_back("something else");
    }

    std::vector<std::string> lines;

private:
    void Note(const std::string& who, int cluster, int endpoint, const std::uint8_t* frame,
              std::size_t length)
    {
        lines.push_back(who + " cluster " + std::to_string(cluster) + " endpoint " +
                        std::to_string(endpoint) + " number " + std::to_string(frame[1]) +
                        " length " + std::to_string(length));
    }
};

class ZclLinkTest : public testing::Test
{
protected:
    ZclLinkTest()
    {
        DriverConfig config;
        config.name = "lamp";
        config.create = [this](IInstanceManager& instances)
        {
            return driver = new CountingDriver(instances);
        };
        host = house.Add(config);
        house.StartAll();
    }

    const char* Frame(std::vector<std::uint8_t> bytes)
    {
        return host->ZclFrame(5, bytes.data(), bytes.size());
    }

    VirtualClock clock{0};
    Random random{1, Draw::Random};
    NotingEnds ends;
    House house{clock, random, ends};
    nx::DriverHost* host = nullptr;
    CountingDriver* driver = nullptr;
};
} // namespace

TEST_F(ZclLinkTest, EachPacket_LeavesAsAFrameWithTheNextNumber)
{
    driver->Send(nx::MakeGetSceneCount(), 2);
    driver->Send(nx::MakeJoinGroupPacket(1), 3);
    EXPECT_THAT(ends.lines, ElementsAre("get_scene_count cluster 5 endpoint 2 number 0 length 5",
                                        "add_group cluster 4 endpoint 3 number 1 length 6"));
}

TEST_F(ZclLinkTest, GroupThatALightMayJoin_IsNotWarnedAbout)
{
    testing::internal::CaptureStderr();
    for (const unsigned legal : {0x0001u, 0xFFF7u, 0x00AB0001u})
        driver->Send(nx::MakeJoinGroupPacket(legal), 1);
    driver->Send(nx::MakeLeaveThisGroupPacket(0), 1);
    house.StopAll();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ZclLinkTest, GroupThatNoLightMayJoin_IsWarnedAboutOnceWithTheDriverAndCountedAtItsEnd)
{
    testing::internal::CaptureStderr();
    for (const unsigned illegal : {0x0000u, 0xFFF8u, 0xFFFFu, 0x00AB0000u, 0x0000u})
        driver->Send(nx::MakeJoinGroupPacket(illegal), 1);
    EXPECT_EQ(ends.lines.size(), 5u);
    const std::string lamp = "driver \"lamp\": its light ";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              lamp + "is asked to join group 0, which no light may join\n" + lamp +
                  "is asked to join group 65528, which no light may join\n" + lamp +
                  "is asked to join group 65535, which no light may join\n");
    testing::internal::CaptureStderr();
    house.StopAll();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), lamp + "was asked to join group 0 3 times\n");
}

TEST_F(ZclLinkTest, FrameNumbers_WrapAfter255)
{
    for (int frame = 0; frame < 256; ++frame)
        driver->Send(nx::MakeGetSceneCount(), 1);
    ends.lines.clear();
    driver->Send(nx::MakeGetSceneCount(), 1);
    EXPECT_THAT(ends.lines, ElementsAre("get_scene_count cluster 5 endpoint 1 number 0 length 5"));
}

TEST_F(ZclLinkTest, AttachedLight_GetsTheSameFrame)
{
    host->Attach(&ends);
    driver->Send(nx::MakeGetSceneCount(), 2);
    EXPECT_THAT(ends.lines, ElementsAre("get_scene_count cluster 5 endpoint 2 number 0 length 5",
                                        "light cluster 5 endpoint 2 number 0 length 5"));
}

TEST_F(ZclLinkTest, EmptyPacket_SendsNothing)
{
    host->CallDriver("a test", [&] { driver->Send(nullptr, 2); });
    EXPECT_THAT(ends.lines, ElementsAre("assert"));
}

TEST_F(ZclLinkTest, FrameFromTheLight_ReachesTheListener)
{
    EXPECT_EQ(Frame({0x18, 7, 0x01, 0, 0, 0, 0x20, 9}), nullptr);
    EXPECT_THAT(driver->counts, ElementsAre(9));
}

TEST_F(ZclLinkTest, BrokenFrame_IsRefusedAndReachesNobody)
{
    EXPECT_STREQ(Frame({0x18, 7, 0x01, 0, 0, 0, 0x20}), "the ZCL frame is too short");
    EXPECT_THAT(driver->counts, IsEmpty());
}

TEST_F(ZclLinkTest, FrameForADriverThatListensToNoLight_IsDropped)
{
    driver->deaf = true;
    EXPECT_EQ(Frame({0x18, 7, 0x01, 0, 0, 0, 0x20, 9}), nullptr);
    EXPECT_THAT(driver->counts, IsEmpty());
}

TEST_F(ZclLinkTest, DriverThatThrowsWhenAskedForItsListener_IsAFault)
{
    driver->broken = true;
    EXPECT_EQ(Frame({0x18, 7, 0x01, 0, 0, 0, 0x20, 9}), nullptr);
    EXPECT_THAT(ends.lines, ElementsAre("something else"));
}

#include "simulated_devices/BusFraming.h"

#include <string>
#include <vector>

#include <boost/crc.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

using simulated::BusDirection;
using simulated::BusFrameReader;
using simulated::EncodeBusFrame;
using simulated::Octets;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// A reader that keeps what it was told, as "direction device opcode payload-length".
struct Reading
{
    std::vector<std::string> frames;
    std::vector<Octets> payloads;
    BusFrameReader reader{[this](BusDirection direction, const wire::BusFrame& frame)
                          {
                              frames.push_back(std::to_string(static_cast<int>(direction)) + " " +
                                               std::to_string(frame.device) + " " +
                                               std::to_string(frame.opcode) + " " +
                                               std::to_string(frame.payload.size()));
                              payloads.push_back(frame.payload);
                          }};

    void Read(const Octets& octets) { reader.Read(octets.data(), octets.size()); }
};

Octets Frame(const Octets& payload)
{
    return EncodeBusFrame(BusDirection::FromDevice, {7, 0x9000, payload});
}

Octets operator+(Octets first, const Octets& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}
} // namespace

TEST(BusFraming, FrameOnTheLine_IsFlagsHeaderPayloadAndChecksum)
{
    const Octets content = {0, 1, 2, 3, 4, 0x12, 0x80, 0x7E, 0x7D, 0x55};
    boost::crc_optimal<16, 0x1021, 0xFFFF, 0xFFFF, true, true> crc;
    crc.process_bytes(content.data(), content.size());
    const auto high = static_cast<std::uint8_t>(crc.checksum() >> 8);
    const auto low = static_cast<std::uint8_t>(crc.checksum());
    EXPECT_EQ(
        EncodeBusFrame(BusDirection::ToDevice, {0x01020304, 0x1280, {0x7E, 0x7D, 0x55}}),
        (Octets{0x7E, 0, 1, 2, 3, 4, 0x12, 0x80, 0x7D, 0x5E, 0x7D, 0x5D, 0x55, high, low, 0x7E}));
}

TEST(BusFraming, UnknownDirection_IsNoise)
{
    // The nine digits have the checksum 0x906E; taken as a frame, their direction does not exist.
    Reading reading;
    reading.Read({0x7E, '1', '2', '3', '4', '5', '6', '7', '8', '9', 0x90, 0x6E, 0x7E});
    EXPECT_THAT(reading.frames, IsEmpty());
    EXPECT_EQ(reading.reader.NoiseCount(), 11u);
}

TEST(BusFraming, EmptyPayload_IsAFrame)
{
    Reading reading;
    reading.Read(EncodeBusFrame(BusDirection::ToDevice, {0, 0, {}}));
    EXPECT_THAT(reading.frames, ElementsAre("0 0 0 0"));
}

TEST(BusFraming, FrameBetweenNoise_IsRead)
{
    Reading reading;
    reading.Read(Octets{1, 2, 0x7D, 3} + Frame({1, 2}) + Octets{0x7E, 0x7E, 9});
    EXPECT_THAT(reading.frames, ElementsAre("1 7 36864 2"));
    EXPECT_EQ(reading.reader.NoiseCount(), 3u);
}

TEST(BusFraming, TwoFrames_MayShareAFlag)
{
    Octets second = Frame({2});
    second.erase(second.begin());
    Reading reading;
    reading.Read(Frame({1}) + second);
    EXPECT_EQ(reading.frames.size(), 2u);
}

TEST(BusFraming, OneTurnedBit_LosesTheFrameOnly)
{
    const Octets whole = Frame({1, 2, 3});
    for (std::size_t i = 1; i + 1 < whole.size(); ++i)
    {
        for (int bit = 0; bit < 8; ++bit)
        {
            Octets broken = whole;
            broken[i] = static_cast<std::uint8_t>(broken[i] ^ 1 << bit);
            Reading reading;
            reading.Read(broken + Octets{0x7E} + whole);
            EXPECT_THAT(reading.frames, ElementsAre("1 7 36864 3")) << i << "/" << bit;
        }
    }
}

TEST(BusFraming, EmptyAndShortFrames_AreNoise)
{
    Reading reading;
    reading.Read({0x7E, 0x7E, 1, 0x7E, 1, 2, 3, 4, 5, 6, 7, 8, 0x7E, 0x7D, 0x7E});
    EXPECT_THAT(reading.frames, IsEmpty());
}

TEST(BusFraming, OverlongFrame_IsNoiseAndTheNextIsRead)
{
    Reading reading;
    reading.Read(Frame(Octets(BusFrameReader::MAX_PAYLOAD, 5)));
    reading.Read(Frame(Octets(BusFrameReader::MAX_PAYLOAD + 1, 5)));
    reading.Read(Octets(100000, 5));
    reading.Read(Frame({1}));
    EXPECT_THAT(reading.frames, ElementsAre("1 7 36864 8192", "1 7 36864 1"));
}

RC_GTEST_PROP(BusFraming, AnyFrames_InAnyPieces_BehindAnyNoise_AreReadWhole,
              (const std::vector<Octets>& payloads, Octets noise))
{
    Octets octets = noise;
    for (const Octets& payload : payloads)
        octets = octets + Frame(payload);
    Reading reading;
    std::size_t at = 0;
    while (at < octets.size())
    {
        const auto piece = *rc::gen::inRange<std::size_t>(1, octets.size() - at + 1);
        reading.reader.Read(octets.data() + at, piece);
        at += piece;
    }
    // Noise that happens to be a frame is not made by chance.
    RC_ASSERT(reading.payloads == payloads);
}

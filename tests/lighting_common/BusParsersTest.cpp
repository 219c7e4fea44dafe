#include "lighting_common/BusParsers.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

using BusParsers::FirmwareVersion;

namespace
{
using Payload = std::vector<unsigned char>;

// The payload in memory of exactly its size, so that reading past it is caught.
struct Exact
{
    explicit Exact(const Payload& payload)
        : bytes(new unsigned char[payload.size()]), length(payload.size())
    {
        std::copy(payload.begin(), payload.end(), bytes.get());
    }
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t length;
};

FirmwareVersion FromText(const std::string& text)
{
    FirmwareVersion version;
    version.FromString(text);
    return version;
}

std::string AfterFwv(FirmwareVersion version, const Payload& payload)
{
    const Exact exact(payload);
    const bool taken = version.FromOpcodeFwv(exact.bytes.get(), exact.length);
    return (taken ? "" : "refused ") + version.ToExtString();
}

std::string AfterAnnounce(FirmwareVersion version, const Payload& payload)
{
    const Exact exact(payload);
    const bool taken = version.FromOpcodeAnnounce(exact.bytes.get(), exact.length);
    return (taken ? "" : "refused ") + version.ToExtString();
}

// An announce of that format whose every octet from 1 on is its own number.
Payload Announce(unsigned char format, std::size_t length)
{
    Payload payload(length);
    for (std::size_t i = 0; i < length; ++i)
        payload[i] = static_cast<unsigned char>(i);
    payload[0] = format;
    return payload;
}

const FirmwareVersion HELD = FromText("9.8.7.held");
} // namespace

TEST(FirmwareVersion, NewRecord_IsEmpty)
{
    const FirmwareVersion version;
    EXPECT_TRUE(version.Empty());
    EXPECT_EQ(version.ToString(), "0.0.0");
    EXPECT_EQ(version.ToExtString(), "0.0.0");
}

TEST(FirmwareVersion, AnyFieldMakesItNotEmpty)
{
    EXPECT_FALSE(FromText("1.0.0").Empty());
    EXPECT_FALSE(FromText("0.1.0").Empty());
    EXPECT_FALSE(FromText("0.0.1").Empty());
    EXPECT_FALSE(FromText("0.0.0.a").Empty());
    EXPECT_TRUE(FromText("0.0.0").Empty());
}

TEST(FirmwareVersion, Clear_EmptiesEverything)
{
    FirmwareVersion version = FromText("1.2.3.x");
    version.Clear();
    EXPECT_TRUE(version.Empty());
    EXPECT_EQ(version.GetExtension(), "");
}

TEST(FirmwareVersion, FromString_ReadsUpToFourParts)
{
    EXPECT_EQ(FromText("1.2.3").ToExtString(), "1.2.3");
    EXPECT_EQ(FromText("1.2.3.4").ToExtString(), "1.2.3.4");
    EXPECT_EQ(FromText("1.2.3.4").ToString(), "1.2.3");
    EXPECT_EQ(FromText("1.2.3.beta.2").ToExtString(), "1.2.3.beta.2");
}

TEST(FirmwareVersion, FromString_WithoutDotsRepeatsItsStart)
{
    EXPECT_EQ(FromText("7").ToExtString(), "7.7.7");
    EXPECT_EQ(FromText("1.2").ToExtString(), "1.2.1.2");
    EXPECT_EQ(FromText("1.2").GetExtension(), "2");
}

TEST(FirmwareVersion, FromString_OddTextsGiveNumbersOrZero)
{
    EXPECT_EQ(FromText("").ToExtString(), "0.0.0");
    EXPECT_EQ(FromText("abc").ToExtString(), "0.0.0");
    EXPECT_EQ(FromText(".").ToExtString(), "0.0.0");
    EXPECT_EQ(FromText("1.").ToExtString(), "1.0.1");
    EXPECT_EQ(FromText("1..2").ToExtString(), "1.0.2");
    EXPECT_EQ(FromText("1.2.").ToExtString(), "1.2.0");
    EXPECT_EQ(FromText("1.2.3.").ToExtString(), "1.2.3");
    EXPECT_EQ(FromText("v1.2.3").ToExtString(), "0.2.3");
}

TEST(FirmwareVersion, FromString_ForgetsAnEarlierExtension)
{
    FirmwareVersion version = FromText("1.2.3.x");
    version.FromString("4.5.6");
    EXPECT_EQ(version.ToExtString(), "4.5.6");
}

TEST(FirmwareVersion, Fwv_ThreeOctetsAreTheNumbers)
{
    EXPECT_EQ(AfterFwv(HELD, {3, 1, 7}), "3.1.7");
    EXPECT_EQ(AfterFwv(HELD, {0, 0, 0}), "0.0.0");
    EXPECT_EQ(AfterFwv(HELD, {254, 255, 255}), "254.255.255");
    EXPECT_EQ(AfterFwv(HELD, {3, 1, 7, 99}), "3.1.7");
}

TEST(FirmwareVersion, Fwv_255MeansAText)
{
    EXPECT_EQ(AfterFwv(HELD, {255, '2', '.', '4', '.', '6', '.', 'b', 0}), "2.4.6.b");
    EXPECT_EQ(AfterFwv(HELD, {255, '7', 0}), "7.7.7");
    EXPECT_EQ(AfterFwv(HELD, {255, 0, '9'}), "0.0.0");
}

TEST(FirmwareVersion, Fwv_BarePointerReadsBothForms)
{
    const unsigned char numbers[] = {3, 1, 7};
    const unsigned char text[] = {255, '1', '.', '2', '.', '3', 0};
    FirmwareVersion version;
    version.FromOpcodeFwv(numbers);
    EXPECT_EQ(version.ToExtString(), "3.1.7");
    version.FromOpcodeFwv(text);
    EXPECT_EQ(version.ToExtString(), "1.2.3");
}

TEST(FirmwareVersion, Fwv_TooShortIsRefusedAndKeepsTheRecord)
{
    EXPECT_EQ(AfterFwv(HELD, {}), "refused 9.8.7.held");
    EXPECT_EQ(AfterFwv(HELD, {3}), "refused 9.8.7.held");
    EXPECT_EQ(AfterFwv(HELD, {3, 1}), "refused 9.8.7.held");
    EXPECT_EQ(AfterFwv(HELD, {255}), "refused 9.8.7.held");
}

TEST(FirmwareVersion, Fwv_EmptyTextIsNoVersion)
{
    EXPECT_EQ(AfterFwv(HELD, {255, 0}), "0.0.0");
}

TEST(FirmwareVersion, Fwv_TextWithoutItsZeroIsRefused)
{
    EXPECT_EQ(AfterFwv(HELD, {255, '1', '.', '2', '.', '3'}), "refused 9.8.7.held");
}

TEST(FirmwareVersion, NullPayload_IsRefused)
{
    FirmwareVersion version = HELD;
    EXPECT_FALSE(version.FromOpcodeFwv(nullptr, 21));
    EXPECT_FALSE(version.FromOpcodeAnnounce(nullptr, 21));
    EXPECT_EQ(version.ToExtString(), "9.8.7.held");
}

TEST(FirmwareVersion, Announce_PlainFormatsHoldOneOctetEach)
{
    for (int format : {0, 1, 2, 3, 6, 255})
        EXPECT_EQ(AfterAnnounce(HELD, Announce(static_cast<unsigned char>(format), 12)), "9.10.11");
}

TEST(FirmwareVersion, Announce_ExtendedFormatsHoldBigEndianPairsAndText)
{
    const std::string extension = "\x0e\x0f\x10\x11\x12\x13\x14";
    for (unsigned char format : {4, 5})
        EXPECT_EQ(AfterAnnounce(HELD, Announce(format, 21)), "9.2571.3085." + extension);
}

TEST(FirmwareVersion, Announce_FormatFive_Gives258And16)
{
    Payload payload = Announce(5, 21);
    payload[10] = 0x01;
    payload[11] = 0x02;
    payload[12] = 0x00;
    payload[13] = 0x10;
    FirmwareVersion version;
    payload[9] = 3;
    version.FromOpcodeAnnounce(payload.data());
    EXPECT_EQ(version.GetMajor(), 3);
    EXPECT_EQ(version.GetMinor(), 258);
    EXPECT_EQ(version.GetBuild(), 16);
}

TEST(FirmwareVersion, Announce_ExtensionKeepsItsZeroOctets)
{
    Payload payload(21, 0);
    payload[0] = 4;
    FirmwareVersion version;
    ASSERT_TRUE(version.FromOpcodeAnnounce(payload.data(), payload.size()));
    EXPECT_EQ(version.GetExtension(), std::string(7, '\0'));
    EXPECT_FALSE(version.Empty());
}

TEST(FirmwareVersion, Announce_TooShortIsRefusedAndKeepsTheRecord)
{
    EXPECT_EQ(AfterAnnounce(HELD, {}), "refused 9.8.7.held");
    EXPECT_EQ(AfterAnnounce(HELD, Announce(1, 11)), "refused 9.8.7.held");
    EXPECT_EQ(AfterAnnounce(HELD, Announce(4, 12)), "refused 9.8.7.held");
    EXPECT_EQ(AfterAnnounce(HELD, Announce(5, 20)), "refused 9.8.7.held");
}

RC_GTEST_PROP(FirmwareVersion, AnyTextAndAnyPayload_AreReadOrRefusedWithinThem,
              (const std::string& text, const Payload& payload))
{
    FirmwareVersion version = FromText(text);
    const std::string before = version.ToExtString();
    const Exact exact(payload);
    if (!version.FromOpcodeFwv(exact.bytes.get(), exact.length))
        RC_ASSERT(version.ToExtString() == before);
    const std::string between = version.ToExtString();
    if (!version.FromOpcodeAnnounce(exact.bytes.get(), exact.length))
        RC_ASSERT(version.ToExtString() == between);
}

#include "lighting_common/Gen3Lights.h"

#include <string>

#include <gtest/gtest.h>

using gen3_lights::buffToString;
using gen3_lights::highPowerRF;
using gen3_lights::Buttons::scaleColor;
using gen3_lights::crc::colorToHex;
using gen3_lights::crc::HexColor;
using gen3_lights::crc::hexToColor;
using gen3_lights::wired_keypads::macAddrToReadableString;

namespace
{
std::string Bytes(const std::string& text)
{
    const HexColor color = colorToHex(text);
    return std::to_string(color.red) + "," + std::to_string(color.green) + "," +
           std::to_string(color.blue);
}
} // namespace

TEST(ColorToHex, SixDigits_AreRedGreenBlue)
{
    EXPECT_EQ(Bytes("ff8001"), "255,128,1");
}

TEST(ColorToHex, UpperCaseDigits_AreRead)
{
    EXPECT_EQ(Bytes("ABCDEF"), "171,205,239");
}

TEST(ColorToHex, PairWithoutDigits_IsZero)
{
    EXPECT_EQ(Bytes("zz80zz"), "0,128,0");
}

TEST(ColorToHex, ReadingStopsAtTheFirstOtherCharacter)
{
    EXPECT_EQ(Bytes("1g80f-"), "1,128,15");
}

TEST(ColorToHex, OtherLengths_AreBlack)
{
    EXPECT_EQ(Bytes(""), "0,0,0");
    EXPECT_EQ(Bytes("fff"), "0,0,0");
    EXPECT_EQ(Bytes("fffff"), "0,0,0");
    EXPECT_EQ(Bytes("fffffff"), "0,0,0");
}

TEST(ColorToHex, ZeroOctetsAndSigns_StayWithinTheByte)
{
    EXPECT_EQ(Bytes(std::string("\0\0\0\0\0\0", 6)), "0,0,0");
    EXPECT_EQ(Bytes("-10x+f"), "255,0,15");
}

TEST(HexToColor, WritesTwoLowerCaseDigitsEach)
{
    EXPECT_EQ(hexToColor({0xAB, 0x0C, 0x00}), "ab0c00");
}

TEST(ScaleColor, EightyPercentOfWhite_IsCc)
{
    EXPECT_EQ(scaleColor("ffffff", 80), "cccccc");
}

TEST(ScaleColor, PartsAreRoundedDown)
{
    EXPECT_EQ(scaleColor("ff8000", 50), "7f4000");
    EXPECT_EQ(scaleColor("010203", 99), "000102");
}

TEST(ScaleColor, LimitsOfThePercentage)
{
    EXPECT_EQ(scaleColor("ABCDEF", 0), "000000");
    EXPECT_EQ(scaleColor("FFFFFF", 99), "fcfcfc");
    EXPECT_EQ(scaleColor("ABCDEF", 100), "ABCDEF");
    EXPECT_EQ(scaleColor("ABCDEF", 101), "ABCDEF");
    EXPECT_EQ(scaleColor("ABCDEF", -1), "ABCDEF");
    EXPECT_EQ(scaleColor("ABCDEF", 2147483647), "ABCDEF");
    EXPECT_EQ(scaleColor("ABCDEF", -2147483647 - 1), "ABCDEF");
}

TEST(ScaleColor, OtherLengths_ComeBackAsTheyAre)
{
    EXPECT_EQ(scaleColor("12345", 50), "12345");
    EXPECT_EQ(scaleColor("", 50), "");
    EXPECT_EQ(scaleColor("FFFFFFF", 50), "FFFFFFF");
}

TEST(BuffToString, NothingToShow_IsEmpty)
{
    EXPECT_EQ(buffToString(nullptr, 4, 2), "");
    EXPECT_EQ(buffToString("abc", 0, 2), "");
}

TEST(BuffToString, LineFeedBetweenLinesOnly)
{
    const unsigned char bytes[] = {1, 2, 3, 4};
    EXPECT_EQ(buffToString(bytes, 4, 2), "0x01 0x02 \n0x03 0x04 ");
    EXPECT_EQ(buffToString(bytes, 3, 2), "0x01 0x02 \n0x03 ");
    EXPECT_EQ(buffToString(bytes, 4, 4), "0x01 0x02 0x03 0x04 ");
    EXPECT_EQ(buffToString(bytes, 3, 1), "0x01 \n0x02 \n0x03 ");
}

TEST(BuffToString, NoLineLength_IsOneLine)
{
    const unsigned char bytes[] = {0xFF, 0x80};
    EXPECT_EQ(buffToString(bytes, 2, 0), "0xff 0x80 ");
    EXPECT_EQ(buffToString(bytes, 2, -1), "0xff 0x80 ");
}

TEST(MacAddress, BytesAreRawAndSeparatedInside)
{
    EXPECT_EQ(macAddrToReadableString(std::string("\x00\x1a\xff", 3), ":"), "00:1a:ff");
    EXPECT_EQ(macAddrToReadableString("A", "--"), "41");
    EXPECT_EQ(macAddrToReadableString("AB", ""), "4142");
    EXPECT_EQ(macAddrToReadableString("", ":"), "");
}

TEST(HighPowerRf, ExactlyTheFortyCountries)
{
    const std::string expected =
        "AI AN AS AW BB BM BR BS BZ CA CO CR CU DO EC FM GT GU HN HT ID JM "
        "JP KY LB LR LY MA MC MX NI PA PR SA SR SV TT TW US VE";
    std::string found;
    for (char first = 'A'; first <= 'Z'; ++first)
        for (char second = 'A'; second <= 'Z'; ++second)
            if (highPowerRF(std::string{first, second}))
                found += (found.empty() ? "" : " ") + std::string{first, second};
    EXPECT_EQ(found, expected);
}

TEST(HighPowerRf, ComparedExactly)
{
    EXPECT_TRUE(highPowerRF("US"));
    EXPECT_FALSE(highPowerRF("us"));
    EXPECT_FALSE(highPowerRF("USA"));
    EXPECT_FALSE(highPowerRF("U"));
    EXPECT_FALSE(highPowerRF(""));
}

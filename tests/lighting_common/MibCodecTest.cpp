#include "embedded_host/Clock.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Random.h"
#include "nxshared/NxMIBPacket.h"

#include <cctype>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

namespace
{
using Texts = std::vector<std::string>;

// The rules for reading a text, written over a stream: the length first, then the two characters
// that are never accepted, then what may begin a number, then stream extraction.
bool ReadByStream(const std::string& text, std::size_t longest, std::uint32_t& value)
{
    if (text.size() > longest)
        return false;
    if (text.find('.') != std::string::npos || text.find('-') != std::string::npos)
        return false;
    std::size_t first = 0;
    while (first < text.size() && std::isspace(static_cast<unsigned char>(text[first])))
        ++first;
    if (first == text.size() || !std::isxdigit(static_cast<unsigned char>(text[first])))
        return false;
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::uint32_t read = 0;
    stream >> std::hex >> read;
    if (stream.fail())
        return false;
    value = read;
    return true;
}

std::string WriteByStream(std::uint32_t value, int digits)
{
    std::ostringstream stream;
    stream << std::hex << std::setw(digits) << std::setfill('0') << value;
    return stream.str();
}

constexpr std::uint32_t UNTOUCHED = 0xa5a5a5a5;

// Empty when the codec reads the text as the stream does, else what was different.
std::string Difference(const std::string& text, std::size_t longest)
{
    std::uint32_t expected = UNTOUCHED;
    std::uint32_t actual = UNTOUCHED;
    const bool expectedResult = ReadByStream(text, longest, expected);
    const bool actualResult = nx::mib::ParseHex(text, longest, actual);
    if (expectedResult == actualResult && expected == actual)
        return std::string();
    std::ostringstream words;
    words << "'" << text << "' of at most " << longest << ": expected " << expectedResult << " "
          << std::hex << expected << ", got " << actualResult << " " << actual;
    return words.str();
}

// Calls `check` with every text of `length` characters of the alphabet.
template <class Check>
void ForEveryText(const std::string& alphabet, std::size_t length, const Check& check)
{
    std::vector<std::size_t> places(length, 0);
    std::string text(length, alphabet[0]);
    while (true)
    {
        check(text);
        std::size_t at = 0;
        while (at < length && ++places[at] == alphabet.size())
        {
            places[at] = 0;
            text[at] = alphabet[0];
            ++at;
        }
        if (at == length)
            return;
        text[at] = alphabet[places[at]];
    }
}

NxMIBPacket Packet(const Texts& params)
{
    NxMIBPacket packet(NxMIB::Reply, "nx.dmx.bmc");
    for (const std::string& param : params)
        packet.AddParam(param);
    return packet;
}

template <class T>
bool Reads(const std::string& text, T& out)
{
    return Packet({}).FromHexString(out, text);
}

// Whether the text fails and leaves its target alone.
template <class T>
testing::AssertionResult Fails(const std::string& text)
{
    T out = 77;
    if (Reads(text, out))
        return testing::AssertionFailure() << "'" << text << "' was read";
    if (out != 77)
        return testing::AssertionFailure() << "'" << text << "' changed its target";
    return testing::AssertionSuccess();
}

template <class T>
T Read(const std::string& text)
{
    T out = 77;
    EXPECT_TRUE(Reads(text, out)) << text;
    return out;
}

template <class T>
std::string Written(T value)
{
    NxMIBPacket packet = Packet({});
    packet.AddHexParam<T>(value);
    return packet.GetParams().at(0);
}

// Keeps the records of the library's logger.
class LogKeeper : public embedded_host::HostServices
{
public:
    struct Record
    {
        std::string text;
        int level;
        std::string file;
        std::string function;
    };

    LogKeeper() { embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }
    ~LogKeeper() override
    {
        EXPECT_TRUE(m_records.empty()) << "never looked at: " << m_records[0].text;
        embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL);
    }

    // Looks at everything logged: one warning with this text and a function that contains
    // `function`, then its numbered stack frames.
    void ExpectWarning(const std::string& text, const std::string& function)
    {
        ASSERT_GE(m_records.size(), 2u) << "no warning, or one without frames";
        EXPECT_EQ(m_records[0].text, text);
        EXPECT_NE(m_records[0].function.find(function), std::string::npos) << m_records[0].function;
        for (std::size_t i = 0; i < m_records.size(); ++i)
        {
            EXPECT_EQ(m_records[i].level, log4cplus::WARN_LOG_LEVEL);
            EXPECT_EQ(m_records[i].file, "nxshared/NxMIBPacket");
        }
        for (std::size_t frame = 0; frame + 1 < m_records.size(); ++frame)
        {
            const std::string& record = m_records[frame + 1].text;
            EXPECT_EQ(record.rfind(std::to_string(frame) + "# ", 0), 0u) << record;
        }
        m_records.clear();
    }

    embedded_host::Clock& GetClock() override { return m_clock; }
    embedded_host::Random& GetRandom() override { return m_random; }
    void OnAssert(const char* file, int) override { ADD_FAILURE() << "assertion in " << file; }
    void OnLog(const std::string& text, int level, const std::string& file, int,
               const std::string& function) override
    {
        m_records.push_back({text, level, file, function});
    }

private:
    std::vector<Record> m_records;
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Low};
    embedded_host::HostScope m_scope{*this};
};
} // namespace

TEST(MibCodecWriting, Int_HasEightDigitsOfItsPattern)
{
    EXPECT_EQ(Written<int>(0), "00000000");
    EXPECT_EQ(Written<int>(-1), "ffffffff");
    EXPECT_EQ(Written<int>(-2), "fffffffe");
    EXPECT_EQ(Written<int>(255), "000000ff");
    EXPECT_EQ(Written<int>(INT32_MAX), "7fffffff");
    EXPECT_EQ(Written<int>(INT32_MIN), "80000000");
}

TEST(MibCodecWriting, Char_HasTwoDigitsOfTheByte)
{
    EXPECT_EQ(Written<char>(static_cast<char>(200)), "c8");
    EXPECT_EQ(Written<char>(-1), "ff");
    EXPECT_EQ(Written<char>(10), "0a");
    EXPECT_EQ(Written<char>(0), "00");
}

TEST(MibCodecWriting, UnsignedShort_HasFourDigits)
{
    EXPECT_EQ(Written<unsigned short>(0x1005), "1005");
    EXPECT_EQ(Written<unsigned short>(5), "0005");
    EXPECT_EQ(Written<unsigned short>(0xffff), "ffff");
}

TEST(MibCodecWriting, Parameters_AreAppendedInOrder)
{
    NxMIBPacket packet(NxMIB::Invoke, "nx.dmx.rbp");
    packet.AddHexParam<int>(15);
    packet.AddParam("b00000");
    packet.AddHexParam<char>(2);
    EXPECT_EQ(packet.GetParams(), Texts({"0000000f", "b00000", "02"}));
}

TEST(MibCodecWriting, EveryNumberOfDigits_ShowsTheLowDigits)
{
    for (std::size_t digits = 1; digits <= 8; ++digits)
    {
        std::string text(10, '?');
        nx::mib::FormatHex(0x1234abcd, digits, &text[1]);
        EXPECT_EQ(text,
                  "?" + std::string("1234abcd").substr(8 - digits) + std::string(9 - digits, '?'));
    }
}

RC_GTEST_PROP(MibCodecWriting, AnyNumber_IsWrittenAsAStreamWritesIt, (std::uint32_t value))
{
    RC_ASSERT(Written<int>(static_cast<int>(value)) == WriteByStream(value, 8));
    RC_ASSERT(Written<unsigned short>(static_cast<unsigned short>(value)) ==
              WriteByStream(value & 0xffff, 4));
    RC_ASSERT(Written<char>(static_cast<char>(value)) == WriteByStream(value & 0xff, 2));
}

RC_GTEST_PROP(MibCodecWriting, AnyNumber_IsReadBackAsItWas, (std::int32_t value))
{
    RC_ASSERT(Read<int>(Written<int>(value)) == value);
    const auto narrow = static_cast<unsigned short>(value);
    RC_ASSERT(Read<unsigned short>(Written<unsigned short>(narrow)) == narrow);
    RC_ASSERT(Read<short>(Written<unsigned short>(narrow)) == static_cast<short>(value));
    RC_ASSERT(Read<unsigned char>(Written<char>(static_cast<char>(value))) ==
              static_cast<unsigned char>(value));
}

TEST(MibCodecReading, UnsignedChar_TakesTwoCharacters)
{
    EXPECT_EQ(Read<unsigned char>("FF"), 255);
    EXPECT_EQ(Read<unsigned char>("0"), 0);
    EXPECT_TRUE(Fails<unsigned char>("100"));
    EXPECT_TRUE(Fails<unsigned char>(""));
    EXPECT_TRUE(Fails<unsigned char>("-1"));
    EXPECT_TRUE(Fails<unsigned char>("1.5"));
}

TEST(MibCodecReading, Int_TakesEightCharacters)
{
    EXPECT_EQ(Read<int>("ffffffff"), -1);
    EXPECT_EQ(Read<unsigned>("ffffffff"), 0xffffffffu);
    EXPECT_EQ(Read<int>("80000000"), INT32_MIN);
    EXPECT_EQ(Read<int>("12zz"), 0x12);
    EXPECT_TRUE(Fails<int>("000000001"));
}

TEST(MibCodecReading, Short_TakesFourCharacters)
{
    EXPECT_EQ(Read<short>("8000"), -32768);
    EXPECT_EQ(Read<unsigned short>("8000"), 32768);
    EXPECT_EQ(Read<short>("ffff"), -1);
    EXPECT_TRUE(Fails<short>("00001"));
    EXPECT_TRUE(Fails<unsigned short>("00001"));
}

TEST(MibCodecReading, WhatAStreamSkips_IsSkipped)
{
    EXPECT_EQ(Read<int>("  1f"), 0x1f);
    EXPECT_EQ(Read<int>("\t\n\v\f\r 7"), 7);
    EXPECT_EQ(Read<int>("1f xyz"), 0x1f);
    EXPECT_EQ(Read<int>("0x1F"), 0x1f);
    EXPECT_EQ(Read<int>(" 0Xa"), 10);
    EXPECT_EQ(Read<int>("0x0x1"), 0);
    EXPECT_EQ(Read<int>("00x1"), 0);
    EXPECT_EQ(Read<int>(std::string("1\0002", 3)), 1);
}

TEST(MibCodecReading, WhatAStreamRefuses_Fails)
{
    for (const char* text : {" ", "0x", "0X", " 0x", "0xg", "0x ", "x1", "g", "\xb7",
                             "\xa0"
                             "1"})
        EXPECT_TRUE(Fails<int>(text));
    EXPECT_TRUE(Fails<int>(std::string(1, '\0')));
    EXPECT_TRUE(Fails<int>(std::string("\0001", 2)));
}

TEST(MibCodecReading, ASign_Fails)
{
    for (const char* text : {"+1f", "+0", " +1", "+", "-0", " -1", "0x+1", "0x-1", "1-", "1f -"})
        EXPECT_TRUE(Fails<int>(text));
    EXPECT_EQ(Read<int>("1+1"), 1);
}

TEST(MibCodecReading, AFullStopAnywhere_Fails)
{
    for (const char* text : {".", "1.", ".1", "1.5", "12 .", "1234567.", ".2345678"})
        EXPECT_TRUE(Fails<int>(text));
}

TEST(MibCodecReading, EveryShortText_IsReadAsByAStream)
{
    const std::string alphabet(" \t\r01xX9aAfFgG+-.\0\x80\xff", 20);
    for (std::size_t length = 0; length <= 4; ++length)
        ForEveryText(alphabet, length,
                     [length](const std::string& text)
                     {
                         ASSERT_EQ(Difference(text, 8), "");
                         ASSERT_EQ(Difference(text, 4), "");
                         ASSERT_EQ(Difference(text, 2), "") << length;
                     });
}

TEST(MibCodecReading, EveryTextOfEightOddCharacters_IsReadAsByAStream)
{
    ForEveryText(" 0xf.", 8, [](const std::string& text) { ASSERT_EQ(Difference(text, 8), ""); });
}

// Each byte of a full-width text is checked for itself, whatever its neighbours are.
TEST(MibCodecReading, EveryByteAtEveryPlaceOfAFullText_IsReadAsByAStream)
{
    for (const char* around : {"00000000", "99999999", "aaaaaaaa", "FFFFFFFF", "ffffffff"})
    {
        for (std::size_t at = 0; at < 8; ++at)
        {
            for (int byte = 0; byte < 256; ++byte)
            {
                std::string text = around;
                text[at] = static_cast<char>(byte);
                ASSERT_EQ(Difference(text, 8), "");
            }
        }
    }
}

RC_GTEST_PROP(MibCodecReading, AnyText_IsReadAsByAStream, ())
{
    const auto likely = rc::gen::elementOf(std::string("0123456789abcdefABCDEFxX \t+-."));
    const auto character =
        rc::gen::weightedOneOf<char>({{20, likely}, {1, rc::gen::arbitrary<char>()}});
    const auto text = *rc::gen::container<std::string>(character);
    for (const std::size_t longest : {2, 4, 8})
        RC_ASSERT(Difference(text.substr(0, 10), longest) == "");
}

RC_GTEST_PROP(MibCodecReading, AnyFullTextWithOneOddCharacter_IsReadAsByAStream, ())
{
    const auto digit = rc::gen::elementOf(std::string("0123456789abcdefABCDEF"));
    auto text = *rc::gen::container<std::string>(8, digit);
    RC_ASSERT(Difference(text, 8) == "");
    text[*rc::gen::inRange<std::size_t>(0, 8)] = *rc::gen::arbitrary<char>();
    RC_ASSERT(Difference(text, 8) == "");
}

// Longer than any parameter may be: 32 bits are not enough, and a stream refuses too.
TEST(MibCodecReading, MoreDigitsThanFit_FailOnlyWhenTheNumberDoesNotFit)
{
    EXPECT_EQ(Difference("00000000ffffffff", 16), "");
    EXPECT_EQ(Difference("0000000100000000", 16), "");
    EXPECT_EQ(Difference("ffffffffffffffff", 16), "");
    EXPECT_EQ(Difference("   0xffffffff z", 16), "");
}

TEST(MibCodecReading, OneValue_IsParameterZero)
{
    LogKeeper log;
    int value = 0;
    EXPECT_TRUE(Packet({"00000007", "x"}).GetHexParams(value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(Packet({"x"}).GetHexParams(value));
    EXPECT_EQ(value, 7);
}

TEST(MibCodecReading, FiveValues_AreReadInOrderAndExtraOnesIgnored)
{
    LogKeeper log;
    unsigned short a = 0;
    unsigned b = 0, c = 0;
    unsigned char d = 0, e = 0;
    EXPECT_TRUE(Packet({"1005", "1", "ffffffff", "02", "ff", "x"}).GetHexParams(a, b, c, d, e));
    EXPECT_EQ(a, 0x1005);
    EXPECT_EQ(b, 1u);
    EXPECT_EQ(c, 0xffffffffu);
    EXPECT_EQ(d, 2);
    EXPECT_EQ(e, 255);
}

TEST(MibCodecReading, FiveValuesOfWhichTheThirdIsJunk_WritesTheOthers)
{
    LogKeeper log;
    unsigned short a = 9;
    unsigned b = 9, c = 9;
    unsigned char d = 9, e = 9;
    EXPECT_FALSE(Packet({"1", "2", "x", "4", "5"}).GetHexParams(a, b, c, d, e));
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2u);
    EXPECT_EQ(c, 9u);
    EXPECT_EQ(d, 4);
    EXPECT_EQ(e, 5);
}

TEST(MibCodecReading, EachValue_IsHeldToTheWidthOfItsOwnType)
{
    LogKeeper log;
    unsigned char narrow = 9;
    int wide = 9;
    EXPECT_FALSE(Packet({"00000001", "00000002"}).GetHexParams(narrow, wide));
    EXPECT_EQ(narrow, 9);
    EXPECT_EQ(wide, 2);
}

TEST(MibCodecReading, ByIndex_ReadsThatParameter)
{
    LogKeeper log;
    int value = 9;
    EXPECT_TRUE(Packet({"1", "2", "3"}).GetHexParam<int>(value, 2));
    EXPECT_EQ(value, 3);
    EXPECT_FALSE(Packet({"1", "", "3"}).GetHexParam<int>(value, 1));
    EXPECT_EQ(value, 3);
}

TEST(MibCodecWarnings, OneValueOfNoParameters_IsWarnedOf)
{
    LogKeeper log;
    int value = 9;
    EXPECT_FALSE(Packet({}).GetHexParams(value));
    EXPECT_EQ(value, 9);
    log.ExpectWarning("Parameter requested when no parameters exist", "NxMIBPacket::GetHexParams");
}

TEST(MibCodecWarnings, FiveValuesOfFour_WritesNoneAndRepeatsTheCount)
{
    LogKeeper log;
    unsigned short a = 9;
    unsigned b = 9, c = 9;
    unsigned char d = 9, e = 9;
    EXPECT_FALSE(Packet({"1", "2", "3", "4"}).GetHexParams(a, b, c, d, e));
    EXPECT_EQ(a + b + c + d + e, 45u);
    log.ExpectWarning("Requested 5 parameters but 5 don't exist (packet: nx.dmx.bmc 1 2 3 4)",
                      "NxMIBPacket::GetHexParams");
}

TEST(MibCodecWarnings, TwoAndThreeValuesOfTooFew_NameTheirOwnCount)
{
    LogKeeper log;
    int a = 9, b = 9, c = 9;
    EXPECT_FALSE(Packet({"1"}).GetHexParams(a, b));
    log.ExpectWarning("Requested 2 parameters but 2 don't exist (packet: nx.dmx.bmc 1)",
                      "GetHexParams");
    EXPECT_FALSE(Packet({}).GetHexParams(a, b, c));
    log.ExpectWarning("Requested 3 parameters but 3 don't exist (packet: nx.dmx.bmc)",
                      "GetHexParams");
    EXPECT_EQ(a + b + c, 27);
}

TEST(MibCodecWarnings, AnIndexPastTheEnd_IsWarnedOfWithTheCount)
{
    LogKeeper log;
    int value = 9;
    EXPECT_FALSE(Packet({"1", "2", "3"}).GetHexParam<int>(value, 3));
    EXPECT_EQ(value, 9);
    log.ExpectWarning("Requested parameter is outside range (index: 3)(parameters: 3)(packet: "
                      "nx.dmx.bmc 1 2 3)",
                      "GetHexParam");
}

TEST(MibCodecWarnings, AnIndexFarPastTheEnd_IsWarnedOfAsItIs)
{
    LogKeeper log;
    int value = 9;
    EXPECT_FALSE(Packet({}).GetHexParam<int>(value, SIZE_MAX));
    log.ExpectWarning("Requested parameter is outside range (index: " + std::to_string(SIZE_MAX) +
                          ")(parameters: 0)(packet: nx.dmx.bmc)",
                      "int");
}

TEST(MibCodecWarnings, WithWarningsOff_NothingIsLogged)
{
    LogKeeper log;
    embedded_host::ConnectLibraryLog(log4cplus::ERROR_LOG_LEVEL);
    int a = 9, b = 9;
    EXPECT_FALSE(Packet({}).GetHexParams(a));
    EXPECT_FALSE(Packet({}).GetHexParams(a, b));
    EXPECT_FALSE(Packet({}).GetHexParam<int>(a, 0));
}

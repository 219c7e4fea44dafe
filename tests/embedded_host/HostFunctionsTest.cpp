#include "embedded_host/Clock.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/Random.h"
#include "nxshared/Assert.h"
#include "nxshared/Crypto.h"
#include "nxshared/NxColor.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/NxTime.h"
#include "nxshared/StackTrace.h"

#include <chrono>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using namespace embedded_host;
using Strings = std::vector<std::string>;

constexpr std::int64_t DAY = 86400;

// A host whose turn it can be, with what it was told.
class TestServices : public HostServices
{
public:
    explicit TestServices(std::int64_t startLocalSeconds, Draw draw = Draw::Random)
        : clock(startLocalSeconds), random(1, draw)
    {
    }
    ~TestServices() override
    {
        EXPECT_TRUE(asserts.empty()) << "never looked at: " << asserts.front();
    }

    Clock& GetClock() override { return clock; }
    Random& GetRandom() override { return random; }
    void OnAssert(const char* file, int line) override
    {
        asserts.push_back(std::string(file) + ":" + std::to_string(line));
    }
    void OnLog(const std::string&, int, const std::string&, int, const std::string&) override {}

    Strings Asserts() { return std::exchange(asserts, {}); }

    VirtualClock clock;
    Random random;

private:
    Strings asserts;
};

// --- Time ---------------------------------------------------------------------------------------

struct TimeCase
{
    std::int64_t seconds;
    int day;
    int hour;
    int minute;
    int second;
};

class LocalMoment : public testing::TestWithParam<TimeCase>
{
};

TEST_P(LocalMoment, Parts_AreThoseOfTheCalendar)
{
    const TimeCase& expected = GetParam();
    const NxTime time = NxTime::FromLocalSeconds(expected.seconds);
    EXPECT_EQ(expected.day, time.GetDay());
    EXPECT_EQ(expected.hour, time.GetHour());
    EXPECT_EQ(expected.minute, time.GetMinute());
    EXPECT_EQ(expected.second, time.GetSecond());
}

// 2000-02-29 is day 11016, 2026-01-01 day 20454, 1901-12-13 day -24856.
INSTANTIATE_TEST_SUITE_P(Moments, LocalMoment,
                         testing::Values(TimeCase{0, 0, 0, 0, 0}, TimeCase{1, 0, 0, 0, 1},
                                         TimeCase{DAY - 1, 0, 23, 59, 59},
                                         TimeCase{DAY, 1, 0, 0, 0}, TimeCase{-1, -1, 23, 59, 59},
                                         TimeCase{-DAY, -1, 0, 0, 0},
                                         TimeCase{-DAY - 1, -2, 23, 59, 59},
                                         TimeCase{951827696, 11016, 12, 34, 56},
                                         TimeCase{1767225600, 20454, 0, 0, 0},
                                         TimeCase{-2147483648, -24856, 20, 45, 52}));

TEST(HostFunctions, DefaultTime_IsTheStartOf1970)
{
    EXPECT_EQ(0, NxTime().GetDay());
    EXPECT_EQ(0, NxTime().GetSecond());
}

TEST(HostFunctions, CurrentTime_IsThatOfWhoseTurnItIs)
{
    TestServices services(3 * DAY + 61);
    const HostScope scope(services);
    services.clock.MoveTo(std::chrono::milliseconds(1999));
    EXPECT_EQ(3, NxTime::GetCurrentTime().GetDay());
    EXPECT_EQ(1, NxTime::GetCurrentTime().GetMinute());
    EXPECT_EQ(2, NxTime::GetCurrentTime().GetSecond());
}

TEST(HostFunctions, CurrentTimeOutsideEveryScope_IsTheMachines)
{
    const RealClock real;
    const std::int64_t before = real.LocalSeconds();
    const NxTime now = NxTime::GetCurrentTime();
    const std::int64_t after = real.LocalSeconds();
    EXPECT_LE(before / DAY, now.GetDay());
    EXPECT_GE(after / DAY, now.GetDay());
}

// --- base64 -------------------------------------------------------------------------------------

std::string Base64(const std::string& bytes)
{
    return nx::crypto::base64Encode(bytes.data(), bytes.size());
}

TEST(HostFunctions, Base64_AgreesWithThePublishedVectors)
{
    EXPECT_EQ("", Base64(""));
    EXPECT_EQ("Zg==", Base64("f"));
    EXPECT_EQ("Zm8=", Base64("fo"));
    EXPECT_EQ("Zm9v", Base64("foo"));
    EXPECT_EQ("Zm9vYg==", Base64("foob"));
    EXPECT_EQ("Zm9vYmE=", Base64("fooba"));
    EXPECT_EQ("Zm9vYmFy", Base64("foobar"));
}

TEST(HostFunctions, Base64_TakesAnyBytes)
{
    EXPECT_EQ("+/8=", Base64("\xFB\xFF"));
    EXPECT_EQ("////", Base64("\xFF\xFF\xFF"));
    EXPECT_EQ("AAA=", Base64(std::string(2, '\0')));
    EXPECT_EQ("", nx::crypto::base64Encode(nullptr, 0));
}

// The octets of a text, "refused" when it is none; what was there before is "old".
std::string FromBase64(const std::string& text)
{
    std::vector<std::uint8_t> bytes = {'o', 'l', 'd'};
    if (!nx::crypto::base64Decode(text, bytes))
        return "refused, " + std::string(bytes.begin(), bytes.end());
    return std::string(bytes.begin(), bytes.end());
}

TEST(HostFunctions, Base64Decode_AgreesWithThePublishedVectors)
{
    EXPECT_EQ("", FromBase64(""));
    EXPECT_EQ("f", FromBase64("Zg=="));
    EXPECT_EQ("fo", FromBase64("Zm8="));
    EXPECT_EQ("foo", FromBase64("Zm9v"));
    EXPECT_EQ("foob", FromBase64("Zm9vYg=="));
    EXPECT_EQ("fooba", FromBase64("Zm9vYmE="));
    EXPECT_EQ("foobar", FromBase64("Zm9vYmFy"));
    EXPECT_EQ("\xFB\xFF", FromBase64("+/8="));
    EXPECT_EQ(std::string(2, '\0'), FromBase64("AAA="));
}

TEST(HostFunctions, Base64DecodeOfAnyOtherText_IsRefusedAndChangesNothing)
{
    for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "=", "Zm9v\n", " Zm9v", "Zm 9v",
                             "-_8=", "Zm9v=", "Zm9vYg==Zm9v", "Zh=="})
        EXPECT_EQ("refused, old", FromBase64(text)) << text;
    EXPECT_EQ("refused, old", FromBase64(std::string("Zm9v\0", 5)));
}

TEST(HostFunctions, Base64OfManyBytes_HasNoLineBreaks)
{
    const std::string text = Base64(std::string(999, '\xFF'));
    EXPECT_EQ(std::string(1332, '/'), text);
}

// --- Chance -------------------------------------------------------------------------------------

TEST(HostFunctions, Random_IsThatOfWhoseTurnItIs)
{
    TestServices low(0, Draw::Low);
    TestServices high(0, Draw::High);
    const HostScope outer(low);
    EXPECT_EQ(20000, nx::crypto::random(20000, 40000));
    {
        const HostScope inner(high);
        EXPECT_EQ(40000, nx::crypto::random(20000, 40000));
    }
    EXPECT_EQ(20000, nx::crypto::random(20000, 40000));
}

TEST(HostFunctions, RandomOutsideEveryScope_KeepsToItsEnds)
{
    for (int i = 0; i < 100; ++i)
    {
        const int drawn = nx::crypto::random(-1, 1);
        EXPECT_LE(-1, drawn);
        EXPECT_GE(1, drawn);
    }
    EXPECT_EQ(7, nx::crypto::random(7, 6));
}

// --- Whose turn it is ---------------------------------------------------------------------------

TEST(HostFunctions, Scopes_Nest)
{
    TestServices one(0);
    TestServices two(0);
    EXPECT_EQ(nullptr, HostScope::Current());
    {
        const HostScope outer(one);
        {
            const HostScope inner(two);
            EXPECT_EQ(&two, HostScope::Current());
        }
        EXPECT_EQ(&one, HostScope::Current());
    }
    EXPECT_EQ(nullptr, HostScope::Current());
}

TEST(HostFunctions, Assertion_ReachesTheInnermostScopeOnly)
{
    TestServices one(0);
    TestServices two(0);
    const HostScope outer(one);
    const HostScope inner(two);
    nx::AssertWrite("lighting_common/SceneManager", 42, nx::StackTrace());
    EXPECT_EQ((Strings{"lighting_common/SceneManager:42"}), two.Asserts());
    EXPECT_EQ(Strings(), one.Asserts());
}

TEST(HostFunctions, AssertionOutsideEveryScope_IsWrittenToStandardError)
{
    testing::internal::CaptureStderr();
    nx::AssertWrite("lighting_common/SceneManager", 42, nx::StackTrace());
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, written.find("lighting_common/SceneManager:42"));
    EXPECT_NE(std::string::npos, written.find("  0# "));
}

// --- Stack traces -------------------------------------------------------------------------------

// A trace from some calls further in. Writes behind the call, so that it stays a call.
std::size_t TraceFrom(int calls, nx::StackTrace& trace)
{
    if (calls == 0)
    {
        trace = nx::StackTrace();
        return trace.Size();
    }
    volatile std::size_t size = TraceFrom(calls - 1, trace);
    return size;
}

TEST(HostFunctions, StackTrace_HasAtMost32Frames)
{
    nx::StackTrace trace;
    EXPECT_LT(0u, trace.Size());
    EXPECT_GE(32u, trace.Size());
    EXPECT_EQ(32u, TraceFrom(100, trace));
}

TEST(HostFunctions, StackFrames_AreNamesOrOffsetsWithoutAddressesAndPaths)
{
    const std::regex absolute("0x[0-9a-f]{9,}");
    nx::StackTrace trace;
    TraceFrom(3, trace);
    for (std::size_t i = 0; i < trace.Size(); ++i)
    {
        const std::string frame = trace.Frame(i);
        EXPECT_FALSE(frame.empty()) << i;
        EXPECT_EQ(std::string::npos, frame.find('/')) << frame;
        EXPECT_FALSE(std::regex_search(frame, absolute)) << frame;
    }
}

TEST(HostFunctions, StackTrace_BeginsWithItsCaller)
{
    const nx::StackTrace trace;
    ASSERT_LT(0u, trace.Size());
    EXPECT_EQ(std::string::npos, trace.Frame(0).find("StackTrace::StackTrace")) << trace.Frame(0);
    EXPECT_TRUE(std::regex_match(trace.Frame(0), std::regex("embedded_host_tests\\+0x[0-9a-f]+")))
        << trace.Frame(0);
}

// --- Values -------------------------------------------------------------------------------------

TEST(HostFunctions, Packet_KeepsWhatItIsGiven)
{
    NxMIBPacket packet(NxMIB::Set, "nx.dmx.led");
    EXPECT_EQ(NxMIB::Set, packet.GetType());
    EXPECT_EQ("nx.dmx.led", packet.GetMib());
    EXPECT_EQ(0u, packet.GetParamCount());
    packet.AddParam("00");
    packet.AddParam("");
    packet.AddParam("a b");
    EXPECT_EQ((Strings{"00", "", "a b"}), packet.GetParams());
}

TEST(HostFunctions, Packet_PrintsAsIdAndParametersBetweenBlanks)
{
    NxMIBPacket packet(NxMIB::Invoke, "nx.dmx.led");
    EXPECT_EQ("nx.dmx.led", packet.ProperToString());
    packet.AddParam("00");
    packet.AddParam("05");
    EXPECT_EQ("nx.dmx.led 00 05", packet.ProperToString());
}

TEST(HostFunctions, Color_BeginsAtZeroInItsMode)
{
    NxColor color(3);
    EXPECT_EQ(3, color.GetMode());
    EXPECT_EQ(0, color.GetX());
    EXPECT_EQ(0, color.GetY());
    color.SetXY(0.25, 0.5);
    EXPECT_EQ(0.25, color.GetX());
    EXPECT_EQ(0.5, color.GetY());
    EXPECT_EQ(0, NxColor(0).GetX());
}
} // namespace

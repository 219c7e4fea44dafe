// What a report of a crash would say: which driver was in which operation, and what that was about.

#include "embedded_host/CallScope.h"

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/Protocol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using embedded_host::CallScope;
using testing::Contains;
using testing::Each;

const char HOUSE[] = R"(<house><driver name="p" type="puck" id="1">
<config><NUM_BUTTONS>1</NUM_BUTTONS></config></driver>
<driver name="z" type="zigbee_light" id="2"/></house>)";

class CallScopeTest : public testing::Test
{
protected:
    CallScopeTest()
        : m_file(ParseHouseFile(HOUSE, "")),
          m_protocol(m_file, {}, [this](const char*, const std::string&) { Note(); })
    {
        m_protocol.Start();
    }
    ~CallScopeTest() override { m_protocol.Stop(); }

    // What a crash would have been reported as at each of the outputs of that line.
    std::vector<std::string> During(const std::string& line)
    {
        m_calls.clear();
        EXPECT_TRUE(m_protocol.Handle(line, 1));
        return m_calls;
    }

private:
    void Note()
    {
        const CallScope* const call = CallScope::Innermost();
        m_calls.push_back(call ? call->Driver() + std::string(": ") + call->Operation() + " " +
                                     call->Subject()
                               : "nobody");
    }

    std::vector<std::string> m_calls;
    const HouseFile m_file;
    Protocol m_protocol;
};

TEST_F(CallScopeTest, InputOfAType_IsNamed)
{
    const auto calls = During(R"({"driver":"p","button":{"index":0,"action":"send_settings"}})");
    ASSERT_FALSE(calls.empty());
    EXPECT_THAT(calls, Each("p: the input button"));
}

TEST_F(CallScopeTest, Fact_IsNamed)
{
    const auto calls = During(R"({"driver":"z","set":{"load_on":true,"energy_wh":5}})");
    EXPECT_THAT(calls, Contains("z: the fact energy_wh"));
}

TEST_F(CallScopeTest, Query_IsNamed)
{
    EXPECT_THAT(During(R"({"driver":"p","query":"hold"})"),
                testing::ElementsAre("p: the query hold"));
}

TEST_F(CallScopeTest, Afterwards_NobodyIsNamed)
{
    During(R"({"driver":"p","query":"hold"})");
    EXPECT_EQ(CallScope::Innermost(), nullptr);
}
} // namespace
} // namespace lighting_host

// What a page shows of a keypad's messages, as the run of a real one tells them.

#include "lighting_host/web/QueuePicture.h"

#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"

#include <gtest/gtest.h>

using namespace lighting_host;

namespace
{
constexpr const char* HOUSE = R"(<house>
  <driver name="wall" type="gen3_keypad" id="7"><device simulated="true"/></driver></house>)";
} // namespace

// Hears a house with one keypad.
class QueuePictureTest : public testing::Test, public HouseListener
{
protected:
    QueuePictureTest() : m_file(ParseHouseFile(HOUSE, "."))
    {
        m_run = std::make_unique<HouseRun>(m_file, HouseRun::Options(), HouseRun::Sinks());
        m_run->AddListener(*this);
        m_run->Start();
    }
    void OnOutput(const embedded_host::Output& output) override { m_queue.OnOutput(output); }
    void OnBus(const nx::DriverHost&, const wire::BusFrame& frame) override
    {
        m_queue.OnBus(frame, m_run->NowMs());
    }

    void Do(const std::string& line) { m_run->Do("test", line, PrepareHouseAction(*m_run, line)); }
    Json Messages() { return ParseJson(m_queue.Messages(-1, {})); }
    Json Totals() { return ParseJson(m_queue.Totals()); }

    const HouseFile m_file;
    QueuePicture m_queue;
    std::unique_ptr<HouseRun> m_run;
};

TEST_F(QueuePictureTest, MessageThatIsAnswered_IsDone)
{
    m_run->AdvanceTo(5000);
    ASSERT_FALSE(Messages().empty());
    for (const Json& message : Messages())
    {
        EXPECT_EQ(message["state"], "answered");
        EXPECT_EQ(message["sent_ms"].size(), 1u);
        EXPECT_GT(message["done_ms"], message["queued_ms"]);
    }
    EXPECT_EQ(Totals()["queued"], Totals()["answered"]);
    EXPECT_EQ(Totals()["retries"], 0);
}

TEST_F(QueuePictureTest, MessageWithoutAnswer_IsSentAgainAndGivenUp)
{
    m_run->AdvanceTo(5000);
    Do(R"({"house":"fault","driver":"wall","deaf":true})");
    m_run->HandIn("test", R"({"driver":"wall","online":true})", 1);
    m_run->AdvanceTo(10000);
    ASSERT_FALSE(Messages().empty());
    EXPECT_EQ(Messages()[0]["state"], "transit");
    m_run->AdvanceTo(200000);
    EXPECT_EQ(Totals()["given_up"], 1);
    EXPECT_EQ(Totals()["retries"], 2);
}

TEST_F(QueuePictureTest, WhatWaits_StandsBehindWhatIsOnItsWay)
{
    const Json messages = ParseJson(QueuePicture().Messages(-1, {0x1280, 0x1110}));
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0]["opcode"], 0x1280);
    EXPECT_EQ(messages[0]["state"], "waits");
    EXPECT_TRUE(messages[0]["number"].is_null());
}

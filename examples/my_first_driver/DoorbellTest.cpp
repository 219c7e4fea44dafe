#include "Doorbell.h"

#include "test_kit/Conformance.h"
#include "test_kit/Matchers.h"
#include "test_kit/OneDriverHouse.h"

#include <chrono>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace test_kit;

namespace
{
class DoorbellTest : public testing::Test
{
protected:
    DoorbellTest()
    {
        m_house.Capability("load_present", "true");
        m_house.Start<Doorbell>();
        // What it adds at its start.
        m_house.Take();
    }
    ~DoorbellTest() override
    {
        m_house.Stop();
        m_house.Take();
    }

    void Push() { m_house.Trap("nx.dmx.bp", {"00000007"}); }
    void Release() { m_house.Trap("nx.dmx.he", {"00000007"}); }

    OneDriverHouse m_house;
};
} // namespace

TEST_F(DoorbellTest, Push_RingsForThreeSeconds)
{
    Push();
    EXPECT_THAT(m_house.Effects(), FiredInOrder(6001, Doorbell::EVENT_RINGING));
    EXPECT_THAT(m_house.Effects(), Sent("bell.chime", "01"));
    EXPECT_THAT(m_house.Effects(), SetVariable(2000, "1"));
    m_house.Advance(2999ms);
    EXPECT_THAT(m_house.Effects(), NothingElse());
    m_house.Advance(1ms);
    EXPECT_THAT(m_house.Effects(), FiredInOrder(Doorbell::EVENT_SILENT));
    EXPECT_THAT(m_house.Effects(), Sent("bell.chime", "00"));
    EXPECT_THAT(m_house.Effects(), NothingElse());
}

TEST_F(DoorbellTest, PushWhileItRings_StartsTheTimeAnew)
{
    Push();
    Release();
    m_house.Advance(2000ms);
    Push();
    EXPECT_THAT(m_house.Effects(), FiredInOrder(6001, Doorbell::EVENT_RINGING, 6000, 6001));
    m_house.Advance(2999ms);
    EXPECT_THAT(m_house.Effects(), FiredInOrder());
    m_house.Advance(1ms);
    EXPECT_THAT(m_house.Effects(), FiredInOrder(Doorbell::EVENT_SILENT));
    m_house.Take();
}

TEST_F(DoorbellTest, Quiet_HoldsOverARestart)
{
    m_house.Command("SET_QUIET", {{"QUIET", "true"}});
    m_house.Restart();
    m_house.Take();
    Push();
    EXPECT_THAT(m_house.Effects(), FiredInOrder(6001));
    m_house.Take();
}

// What every driver must do.
HOLD_DRIVER_TO_ITS_CONTRACT(Doorbell, ForDriver<Doorbell>({"RING", "SET_QUIET"}, {"QUIET"}));

#include "simulated_devices/MeteringPlug.h"

#include "tests/simulated_devices/TestWorld.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

using namespace std::chrono_literals;
using simulated::LoadCurve;
using simulated::MeteringPlug;
using simulated_test::TestWorld;
using testing::ElementsAre;

namespace
{
constexpr std::chrono::milliseconds MINUTE = 1min;
constexpr std::chrono::milliseconds HOUR = 1h;

// The report as it crosses the wire.
std::string Report(bool on, unsigned fault, unsigned watts, unsigned wattHours)
{
    char text[64];
    std::snprintf(text, sizeof text, "1 nx.dmx.pwr %02x %02x %08x %08x", on ? 1U : 0U, fault, watts,
                  wattHours);
    return text;
}

std::vector<std::string> Reports(TestWorld& world)
{
    std::vector<std::string> all;
    for (std::string next = world.NextMib(); next != "nothing"; next = world.NextMib())
        all.push_back(next);
    return all;
}

LoadCurve Named(const std::string& name)
{
    LoadCurve curve({});
    EXPECT_TRUE(LoadCurve::ByName(name, curve)) << name;
    return curve;
}

// What a load uses in a day, minute by minute, in watt-minutes.
std::uint64_t DayOf(const LoadCurve& curve)
{
    std::uint64_t wattMinutes = 0;
    for (std::chrono::milliseconds time{}; time < 24 * HOUR; time += MINUTE)
        wattMinutes += curve.WattsAt(time);
    return wattMinutes;
}
} // namespace

// --- Curves
// ---------------------------------------------------------------------------------------

TEST(LoadCurve, NoSteps_DrawsNothingForEver)
{
    const LoadCurve curve({});
    EXPECT_EQ(curve.WattsAt(12345ms), 0U);
    EXPECT_EQ(curve.NextChangeAfter(0ms), 0ms);
}

TEST(LoadCurve, OneStep_IsTheWholeDay)
{
    const LoadCurve curve({{8 * HOUR, 40}});
    EXPECT_EQ(curve.WattsAt(0ms), 40U);
    EXPECT_EQ(curve.WattsAt(9 * HOUR), 40U);
    EXPECT_EQ(curve.NextChangeAfter(0ms), 0ms);
}

TEST(LoadCurve, BeforeTheFirstStep_TheLastOneHolds)
{
    const LoadCurve curve({{20 * HOUR, 5}, {8 * HOUR, 40}});
    EXPECT_EQ(curve.WattsAt(8 * HOUR - 1ms), 5U);
    EXPECT_EQ(curve.WattsAt(8 * HOUR), 40U);
    EXPECT_EQ(curve.WattsAt(20 * HOUR - 1ms), 40U);
    EXPECT_EQ(curve.WattsAt(20 * HOUR), 5U);
    EXPECT_EQ(curve.WattsAt(LoadCurve::DAY + 8 * HOUR), 40U);
}

TEST(LoadCurve, NextChange_CrossesMidnightAndSkipsStepsThatChangeNothing)
{
    const LoadCurve curve({{8 * HOUR, 40}, {9 * HOUR, 40}, {20 * HOUR, 5}});
    EXPECT_EQ(curve.NextChangeAfter(8 * HOUR), 20 * HOUR);
    EXPECT_EQ(curve.NextChangeAfter(20 * HOUR), LoadCurve::DAY + 8 * HOUR);
    EXPECT_EQ(curve.NextChangeAfter(3 * LoadCurve::DAY), 3 * LoadCurve::DAY + 8 * HOUR);
}

TEST(LoadCurve, Appliances_UseWhatTheyDoInAHousehold)
{
    // Five times three minutes at 2200 W.
    EXPECT_EQ(DayOf(Named("kettle")), 5U * 3 * 2200);
    // 20 minutes at 95 W, 235 at 110 W, else standing by.
    EXPECT_EQ(DayOf(Named("tv")), 20U * 95 + 235 * 110 + (1440 - 255));
    // 32 runs of 15 minutes, 20 minutes of defrosting, else 2 W.
    EXPECT_EQ(DayOf(Named("fridge")), 480U * 85 + 20 * 180 + 940 * 2);
    const std::uint64_t wash = DayOf(Named("washing_machine")) / 60;
    EXPECT_GT(wash, 600U);
    EXPECT_LT(wash, 1000U);
}

TEST(LoadCurve, UnknownAppliance_IsRefused)
{
    LoadCurve curve({{0ms, 7}});
    EXPECT_FALSE(LoadCurve::ByName("toaster", curve));
    EXPECT_EQ(curve.WattsAt(0ms), 7U);
}

// --- The plug
// -------------------------------------------------------------------------------------

TEST(MeteringPlug, PowerOn_ReportsAtOnceAndOnceAMinute)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 600}}));
    EXPECT_EQ(world.NextMib(), "nothing");
    plug.OnPowerOn();
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 600, 0)));
    world.Advance(MINUTE - 1ms);
    EXPECT_EQ(world.NextMib(), "nothing");
    world.Advance(1ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 600, 10)));
    world.Advance(MINUTE);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 600, 20)));
}

TEST(MeteringPlug, PowerChange_IsReportedAtItsMoment)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 0}, {30500ms, 3600}}));
    plug.OnPowerOn();
    world.Advance(30499ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(false, 0, 0, 0)));
    world.Advance(1ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 3600, 0)));
    world.Advance(29500ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 3600, 29)));
}

TEST(MeteringPlug, StandingBy_IsOff)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 5}, {HOUR, 6}}));
    plug.OnPowerOn();
    EXPECT_THAT(Reports(world), ElementsAre(Report(false, 0, 5, 0)));
    world.Advance(HOUR);
    EXPECT_EQ(Reports(world).back(), Report(true, 0, 6, 5));
}

TEST(MeteringPlug, Fault_DrawsNothingUntilItIsMended)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 3600}}));
    plug.OnPowerOn();
    world.Advance(10000ms);
    plug.SetFault(7);
    world.Advance(10000ms);
    plug.SetFault(0);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 3600, 0), Report(false, 7, 0, 10),
                                            Report(true, 0, 3600, 10)));
}

TEST(MeteringPlug, PowerFailure_BeginsTheMeterAnew)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 3600}}));
    plug.OnPowerOn();
    world.Advance(50000ms);
    plug.OnPowerOn();
    world.Advance(10000ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 3600, 0), Report(true, 0, 3600, 0)));
    world.Advance(50000ms);
    EXPECT_THAT(Reports(world), ElementsAre(Report(true, 0, 3600, 60)));
}

TEST(MeteringPlug, WhatIsSentToIt_IsIgnored)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({}));
    plug.OnMib({wire::MibMessage::Set, "nx.dmx.pwr", {"01", "garbage"}});
    plug.OnZcl({});
    plug.OnBus({});
    EXPECT_EQ(world.NextMib(), "nothing");
}

TEST(MeteringPlug, AnyCurve_MeterIsTheExactIntegral)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto steps = *rc::gen::container<std::vector<std::pair<unsigned, unsigned>>>(
                rc::gen::pair(rc::gen::inRange(0U, 86400000U), rc::gen::inRange(0U, 4000U)));
            const std::chrono::milliseconds runTime(
                *rc::gen::inRange<std::int64_t>(1, 3 * LoadCurve::DAY.count()));
            std::vector<LoadCurve::Step> curve;
            for (const auto& [at, watts] : steps)
                curve.push_back({std::chrono::milliseconds(at), watts});
            TestWorld world;
            MeteringPlug plug(world, LoadCurve(curve));
            plug.OnPowerOn();
            world.Advance(runTime);
            // The same, by walking over the moments at which the power can change.
            std::vector<std::chrono::milliseconds> moments{0ms, runTime};
            for (const auto& step : steps)
                for (int day = 0; day < 4; ++day)
                    moments.push_back(std::min(
                        day * LoadCurve::DAY + std::chrono::milliseconds(step.first), runTime));
            std::sort(moments.begin(), moments.end());
            std::uint64_t wattMs = 0;
            for (std::size_t i = 0; i + 1 < moments.size(); ++i)
                wattMs += LoadCurve(curve).WattsAt(moments[i]) *
                          static_cast<std::uint64_t>((moments[i + 1] - moments[i]).count());
            RC_ASSERT(plug.MeterMilliwattHours() == wattMs / 3600);
            Reports(world);
        }));
}

TEST(MeteringPlug, TotalGoesOnOverPowerFailures_WhileTheMeterBeginsAgain)
{
    TestWorld world;
    MeteringPlug plug(world, LoadCurve({{0ms, 100}}));
    plug.OnPowerOn();
    world.Advance(HOUR);
    plug.OnPowerOn();
    world.Advance(HOUR / 2);
    EXPECT_EQ(plug.MeterMilliwattHours(), 50000U);
    EXPECT_EQ(plug.TotalMilliwattHours(), 150000U);
    Reports(world);
}

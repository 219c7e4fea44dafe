#include "lighting_common/EnergyInfoCollector.h"
#include "lighting_common/IEnergyOwner.h"
#include "lighting_common/NxBaseEnergyDevice.h"
#include "tests/lighting_common/EnergyDoubles.h"
#include "tests/lighting_common/EnergyHost.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>

#include <gtest/gtest.h>
#include <rapidcheck.h>

// What holds for every sequence of minutes and readings.

namespace
{
// What a meter or a clock does to a collector next.
struct EnergyStep
{
    enum Kind
    {
        Minute,
        ForeignTimer,
        Whole,
        Fraction,
    };
    Kind kind;
    bool on;
    bool ready;
    bool fault;
    int wattHours;
    // Thousandths of a watt-hour, which as a float is seldom exact.
    int thousandths;
    int secondsPassed;
};

std::ostream& operator<<(std::ostream& stream, const EnergyStep& step)
{
    return stream << "{kind " << step.kind << ", on " << step.on << ", ready " << step.ready
                  << ", fault " << step.fault << ", " << step.wattHours << " Wh, "
                  << step.thousandths << " mWh, " << step.secondsPassed << " s}";
}

rc::Gen<EnergyStep> AnyEnergyStep()
{
    return rc::gen::build<EnergyStep>(
        rc::gen::set(&EnergyStep::kind,
                     rc::gen::element(EnergyStep::Minute, EnergyStep::ForeignTimer,
                                      EnergyStep::Whole, EnergyStep::Fraction)),
        rc::gen::set(&EnergyStep::on), rc::gen::set(&EnergyStep::ready),
        rc::gen::set(&EnergyStep::fault),
        rc::gen::set(&EnergyStep::wattHours, rc::gen::inRange(1, 5000)),
        rc::gen::set(&EnergyStep::thousandths, rc::gen::inRange(1, 5000000)),
        rc::gen::set(&EnergyStep::secondsPassed, rc::gen::inRange(-100000, 100000)));
}

class Owner : public IEnergyOwner
{
public:
    bool IsLoadOn() override { return on; }
    bool IsEnergyReady() override { return ready; }
    void EnergyValueToUI(const std::string&, int) override {}

    bool on = false;
    bool ready = false;
};

// Exact sums of floats, in units of 2^-40 Wh: every float of 2^-16 Wh and more is a whole number of
// them.
constexpr int UNIT_EXPONENT = 40;
std::int64_t Exact(float wattHours)
{
    const double units = std::ldexp(static_cast<double>(wattHours), UNIT_EXPONENT);
    RC_ASSERT(units == std::floor(units));
    return static_cast<std::int64_t>(units);
}

class Fixture
{
public:
    Fixture() { m_collector.setOwner(&owner); }
    ~Fixture() { m_record.Take(); }

    void Apply(const EnergyStep& step)
    {
        m_host.PassSeconds(step.secondsPassed);
        owner.on = step.on;
        owner.ready = step.ready;
        m_collector.SetFault(step.fault ? 1 : 0);
        switch (step.kind)
        {
        case EnergyStep::Minute:
            m_collector.OnTimerExpired(m_timers.Last(), 0);
            counted += step.ready ? 1 : 0;
            break;
        case EnergyStep::ForeignTimer:
            m_collector.OnTimerExpired(0, 0);
            break;
        case EnergyStep::Whole:
            m_collector.increaseEnergyUsed(step.wattHours);
            exact += Exact(static_cast<float>(step.wattHours));
            break;
        case EnergyStep::Fraction:
            const float reading = static_cast<float>(step.thousandths) / 1000.0F;
            m_collector.increaseEnergyUsed(reading);
            exact += Exact(reading);
            ++roundings;
            break;
        }
    }

    const EnergyInfoCollector& Collector() const { return m_collector; }

    // How far the energy is from the exact sum, in hundredths of a watt-hour.
    double DeviationInHundredths() const
    {
        const std::int64_t hundredths =
            std::int64_t{m_collector.GetEnergyUsed()} * 100 + m_collector.GetEnergyFraction();
        // The difference is small, so that the subtraction in whole units keeps it exact.
        const std::int64_t whole = hundredths / 100;
        const double rest =
            std::ldexp(static_cast<double>(exact - whole * (std::int64_t{1} << UNIT_EXPONENT)),
                       -UNIT_EXPONENT);
        return std::abs(rest * 100 - static_cast<double>(hundredths % 100));
    }

    Owner owner;
    std::int64_t exact = 0;
    int counted = 0;
    int roundings = 0;

private:
    energy_test::Record m_record;
    energy_test::TestHost m_host{m_record, embedded_host::Draw::Random};
    energy_test::RecordingVariables m_vars{m_record};
    energy_test::RecordingTimers m_timers{m_record};
    EnergyInfoCollector m_collector{&m_vars, m_timers};
};

// Half a hundredth for each reading, and a little for the float product that is rounded.
constexpr double ROUNDING_IN_HUNDREDTHS = 0.5 + 1e-5;
} // namespace

TEST(EnergyProperty, AnySequence_MinutesOnAndOffAreThoseCounted)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto steps = *rc::gen::container<std::vector<EnergyStep>>(AnyEnergyStep());
            Fixture fixture;
            for (const EnergyStep& step : steps)
                fixture.Apply(step);
            const EnergyInfoCollector& collector = fixture.Collector();
            RC_ASSERT(collector.GetMinutesOn() + collector.GetMinutesOff() == fixture.counted);
            RC_ASSERT(collector.GetMinutesOnToday() <= collector.GetMinutesOn());
        }));
}

TEST(EnergyProperty, AnySequence_EnergyIsTheExactSumWithinTheRoundings)
{
    double worst = 0;
    double worstPerReading = 0;
    EXPECT_TRUE(rc::check(
        [&]
        {
            const auto steps = *rc::gen::container<std::vector<EnergyStep>>(AnyEnergyStep());
            Fixture fixture;
            for (const EnergyStep& step : steps)
                fixture.Apply(step);
            const double deviation = fixture.DeviationInHundredths();
            RC_ASSERT(deviation <= fixture.roundings * ROUNDING_IN_HUNDREDTHS);
            worst = std::max(worst, deviation);
            if (fixture.roundings > 0)
                worstPerReading = std::max(worstPerReading, deviation / fixture.roundings);
        }));
    std::cout << "largest deviation: " << worst / 100
              << " Wh; for one reading: " << worstPerReading / 100 << " Wh\n";
}

TEST(EnergyProperty, AnySequence_FractionsStayBelowAWattHourAndTotalsNeverFall)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto steps = *rc::gen::container<std::vector<EnergyStep>>(AnyEnergyStep());
            Fixture fixture;
            const EnergyInfoCollector& collector = fixture.Collector();
            for (const EnergyStep& step : steps)
            {
                const int used = collector.GetEnergyUsed();
                const int on = collector.GetMinutesOn();
                const int off = collector.GetMinutesOff();
                fixture.Apply(step);
                RC_ASSERT(collector.GetEnergyUsed() >= used);
                RC_ASSERT(collector.GetMinutesOn() >= on);
                RC_ASSERT(collector.GetMinutesOff() >= off);
                RC_ASSERT(collector.GetEnergyFraction() >= 0);
                RC_ASSERT(collector.GetEnergyFraction() < 100);
                RC_ASSERT(collector.GetTodayFraction() == collector.GetEnergyFraction());
                RC_ASSERT(collector.GetEnergyUsedToday() <= collector.GetEnergyUsed());
            }
        }));
}

namespace
{
class OlderDevice : public NxBaseEnergyDevice
{
public:
    using NxBaseEnergyDevice::NxBaseEnergyDevice;

    bool IsLoadOn() override { return on; }
    bool IsEnergyReady() override { return ready; }
    void EnergyValueToUI(const std::string&, int) override {}

    bool on = false;
    bool ready = false;
};
} // namespace

TEST(EnergyProperty, AnyTicks_EachStateHasAMinuteForSixOfItsTicks)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto steps = *rc::gen::container<std::vector<EnergyStep>>(AnyEnergyStep());
            energy_test::Record record;
            energy_test::TestHost host(record, embedded_host::Draw::Random);
            energy_test::RecordingVariables vars(record);
            energy_test::RecordingTimers timers(record);
            OlderDevice device(&vars, timers);
            int onTicks = 0;
            int offTicks = 0;
            for (const EnergyStep& step : steps)
            {
                host.PassSeconds(step.secondsPassed);
                device.on = step.on;
                device.ready = step.ready;
                device.SetFault(step.fault ? 1 : 0);
                device.OnTimerExpired(timers.Last(), 0);
                onTicks += step.ready && step.on && !step.fault ? 1 : 0;
                offTicks += step.ready && !(step.on && !step.fault) ? 1 : 0;
            }
            record.Take();
            RC_ASSERT(device.GetMinutesOn() == onTicks / 6);
            RC_ASSERT(device.GetMinutesOff() == offTicks / 6);
            RC_ASSERT(device.GetMinutesOnToday() <= device.GetMinutesOn());
        }));
}

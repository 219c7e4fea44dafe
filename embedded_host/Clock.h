#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace embedded_host
{
class TimeZone;

// The time of a house: how long since it started, and the local time of its wall clock.
//
// Two forms: VirtualClock, moved by the house as it works through its timers, and RealClock, moved
// by the world. Both start at 0 ms and never go back.
class Clock
{
public:
    // The largest time, 285 years after the start: more would not fit into nanoseconds.
    static constexpr std::chrono::milliseconds LATEST{9000000000000};

    virtual ~Clock() = default;

    // The time since the start.
    virtual std::chrono::milliseconds Now() const = 0;

    // The same, as finely as the clock knows it.
    virtual std::chrono::nanoseconds NowExactly() const = 0;

    // The local time, in seconds since 1970-01-01T00:00:00 local time.
    virtual std::int64_t LocalSeconds() const = 0;

    // Called by the house before it works off what is due at `time`, at most LATEST; a time that
    // has passed is ignored. A real clock ignores it altogether.
    virtual void MoveTo(std::chrono::milliseconds time) = 0;

    // Steps the wall clock by that much, as when somebody sets the controller's clock. Now goes on
    // undisturbed.
    virtual void StepWall(std::chrono::seconds step) = 0;
};

// A clock that stands until it is moved.
class VirtualClock : public Clock
{
public:
    // `startLocalSeconds` is the local time at 0 ms. In a zone, the wall clock follows the zone's
    // daylight saving; without one, it only counts on.
    explicit VirtualClock(std::int64_t startLocalSeconds,
                          std::shared_ptr<const TimeZone> zone = nullptr);

    std::chrono::milliseconds Now() const override { return m_now; }
    std::chrono::nanoseconds NowExactly() const override { return m_now; }
    std::int64_t LocalSeconds() const override;
    void MoveTo(std::chrono::milliseconds time) override;
    void StepWall(std::chrono::seconds step) override { m_startSeconds += step.count(); }

private:
    std::shared_ptr<const TimeZone> m_zone;
    // In UTC when there is a zone, else local.
    std::int64_t m_startSeconds;
    std::chrono::milliseconds m_now{};
};

// The machine's own monotonic clock and wall clock.
class RealClock : public Clock
{
public:
    // Where the time comes from: since some moment, never going back.
    using Source = std::chrono::nanoseconds (*)();

    // Starts now. Without a zone, the wall clock is in the machine's own. `source` defaults to the
    // machine's monotonic clock; tests give another.
    explicit RealClock(std::shared_ptr<const TimeZone> zone = nullptr, Source source = nullptr);

    std::chrono::milliseconds Now() const override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(NowExactly());
    }
    std::chrono::nanoseconds NowExactly() const override { return m_source() - m_start; }
    std::int64_t LocalSeconds() const override;
    void MoveTo(std::chrono::milliseconds) override {}
    void StepWall(std::chrono::seconds step) override { m_step += step; }

private:
    std::shared_ptr<const TimeZone> m_zone;
    Source m_source;
    std::chrono::nanoseconds m_start;
    std::chrono::seconds m_step{};
};
} // namespace embedded_host

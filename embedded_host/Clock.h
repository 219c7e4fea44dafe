#pragma once

#include <cstdint>
#include <memory>

namespace embedded_host
{
class TimeZone;

// The time of a house: milliseconds since it started, and the local time of its wall clock.
//
// Two forms: VirtualClock, moved by the house as it works through its timers, and RealClock, moved
// by the world. Both start at 0 ms and never go back.
class Clock
{
public:
    // The largest time, 285 years after the start: more would not fit into nanoseconds.
    static constexpr std::int64_t LATEST_MS = 9000000000000;

    virtual ~Clock() = default;

    // Milliseconds since the start.
    virtual std::int64_t NowMs() const = 0;

    // The same in nanoseconds, as finely as the clock knows it.
    virtual std::int64_t NowNs() const = 0;

    // The local time, in seconds since 1970-01-01T00:00:00 local time.
    virtual std::int64_t LocalSeconds() const = 0;

    // Called by the house before it works off what is due at `ms`, at most LATEST_MS; a time that
    // has passed is ignored. A real clock ignores it altogether.
    virtual void MoveTo(std::int64_t ms) = 0;

    // Steps the wall clock by so many seconds, as when somebody sets the controller's clock. NowMs
    // goes on undisturbed.
    virtual void StepWall(std::int64_t seconds) = 0;
};

// A clock that stands until it is moved.
class VirtualClock : public Clock
{
public:
    // `startLocalSeconds` is the local time at 0 ms. In a zone, the wall clock follows the zone's
    // daylight saving; without one, it only counts on.
    explicit VirtualClock(std::int64_t startLocalSeconds,
                          std::shared_ptr<const TimeZone> zone = nullptr);

    std::int64_t NowMs() const override { return m_nowMs; }
    std::int64_t NowNs() const override { return m_nowMs * 1000000; }
    std::int64_t LocalSeconds() const override;
    void MoveTo(std::int64_t ms) override;
    void StepWall(std::int64_t seconds) override { m_startSeconds += seconds; }

private:
    std::shared_ptr<const TimeZone> m_zone;
    // In UTC when there is a zone, else local.
    std::int64_t m_startSeconds;
    std::int64_t m_nowMs = 0;
};

// The machine's own monotonic clock and wall clock.
class RealClock : public Clock
{
public:
    // Where the time comes from: nanoseconds since some moment, never going back.
    using Source = std::int64_t (*)();

    // Starts now. Without a zone, the wall clock is in the machine's own. `source` defaults to the
    // machine's monotonic clock; tests give another.
    explicit RealClock(std::shared_ptr<const TimeZone> zone = nullptr, Source source = nullptr);

    std::int64_t NowMs() const override { return NowNs() / 1000000; }
    std::int64_t NowNs() const override { return m_source() - m_startNs; }
    std::int64_t LocalSeconds() const override;
    void MoveTo(std::int64_t) override {}
    void StepWall(std::int64_t seconds) override { m_step += seconds; }

private:
    std::shared_ptr<const TimeZone> m_zone;
    Source m_source;
    std::int64_t m_startNs;
    std::int64_t m_step = 0;
};
} // namespace embedded_host

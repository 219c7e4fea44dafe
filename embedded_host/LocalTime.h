#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace embedded_host
{
// A time or a zone that was given as text cannot be used, in words that say why.
class LocalTimeError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

constexpr std::int64_t SECONDS_PER_DAY = 24 * 60 * 60;

// The calendar day of a local time, counted from 1970-01-01; days before it are negative.
std::int64_t DayNumber(std::int64_t localSeconds);

// Reads "2026-01-01T00:00:00", in exactly this form, as seconds since 1970-01-01T00:00:00 of the
// same calendar. Years are 1970 to 9999 and the day must exist. Throws LocalTimeError.
std::int64_t ParseLocalTime(const std::string& text);

// Writes a local time in that form.
std::string FormatLocalTime(std::int64_t localSeconds);

// The clock on the wall in one zone of the world: between the seconds that pass everywhere (UTC,
// since 1970-01-01T00:00:00Z, without leap seconds) and the seconds that the wall shows (since
// 1970-01-01T00:00:00 local time). The wall jumps forwards and back when daylight saving begins and
// ends. Knows the changes of the years 1970 to 2199; before and after, the first and the last
// offset stand.
//
// To be made before other threads run: while it is made, the process itself is in that zone. After
// that it is a plain value that any thread may read.
class TimeZone
{
public:
    // The zone of that name in the machine's zone database, for instance "Europe/Berlin"; "UTC" is
    // there without one. Throws LocalTimeError.
    explicit TimeZone(const std::string& name);
    ~TimeZone();
    TimeZone(TimeZone&&) noexcept;
    TimeZone& operator=(TimeZone&&) noexcept;

    // What the wall shows at that moment.
    std::int64_t ToLocal(std::int64_t utcSeconds) const;

    // The moment at which the wall shows that; the first of two when the wall is set back. In the
    // gap when the wall is set forwards, the moment of the jump.
    std::int64_t ToUtc(std::int64_t localSeconds) const;

    const std::string& Name() const { return m_name; }

private:
    class Rules;

    std::string m_name;
    std::unique_ptr<Rules> m_rules;
};
} // namespace embedded_host

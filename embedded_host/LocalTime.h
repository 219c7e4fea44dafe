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

// One time zone: converts between UTC seconds (since 1970-01-01T00:00:00Z, without leap seconds)
// and local seconds (since 1970-01-01T00:00:00 local time). Local time jumps when daylight saving
// begins and ends. Knows the changes of the years 1970 to 2199; before and after, the first and the
// last offset hold.
//
// Construct it before other threads run: its constructor switches the time zone of the whole
// process for a moment. After that it is a plain value that any thread may read.
class TimeZone
{
public:
    // The zone of that name in the machine's zone database, for instance "Europe/Berlin"; "UTC" is
    // there without one. Throws LocalTimeError.
    explicit TimeZone(const std::string& name);
    ~TimeZone();
    TimeZone(TimeZone&&) noexcept;
    TimeZone& operator=(TimeZone&&) noexcept;

    // The local time at that moment.
    std::int64_t ToLocal(std::int64_t utcSeconds) const;

    // The moment of that local time. Of an hour that comes twice in autumn, the first; in the hour
    // that spring leaves out, the moment of the jump.
    std::int64_t ToUtc(std::int64_t localSeconds) const;

    const std::string& Name() const { return m_name; }

private:
    class Rules;

    std::string m_name;
    std::unique_ptr<Rules> m_rules;
};
} // namespace embedded_host

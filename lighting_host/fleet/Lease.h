#pragma once

#include "lighting_host/fleet/FleetBus.h"

#include <cstdint>
#include <optional>

namespace lighting_host
{
// One machine's side of the lease of one house: when it writes the lease, and whether it owns the
// house. It decides by the answers to its own writes and by its own steady clock alone.
//
// A lease is a key that expires a while after it was last written (`ttlMs`). Who writes it while it
// is free owns the house and renews it under its last revision. Time counts from when a write was
// sent, which is never later than when it was stored: who has not renewed for `stopMs` stops, while
// the key still keeps others out. The revision of the claim is the token: later owners have larger
// ones, and who gets commands drops smaller ones, so that an owner that slept between its decision
// and its command does no harm.
//
// A value: knows no clock, no bus and no thread. Times are milliseconds of one steady clock.
class Lease
{
public:
    struct Times
    {
        std::int64_t ttlMs = 3000;
        std::int64_t renewMs = 1000;
        std::int64_t stopMs = 2000;
    };

    // To be written to the key; the answer is told with the same number.
    struct Request
    {
        std::uint64_t number = 0;
        std::uint64_t expected = 0;
    };

    Lease() = default;
    explicit Lease(const Times& times) : m_times(times) {}

    // Tries to become the owner. `expected` is the revision of the removal that stands there, 0 for
    // nothing: a guess, which the answer confirms. Nothing while it owns the house and while
    // another claim may still succeed.
    std::optional<Request> Claim(std::int64_t nowMs, std::uint64_t expected);

    // The renewal that is due, if one is.
    std::optional<Request> Renew(std::int64_t nowMs);

    // An answer came. One that comes too late, or to another request than the last, changes
    // nothing.
    void OnAnswer(std::uint64_t number, const BucketAnswer& answer, std::int64_t nowMs);

    // Whether the house is this machine's. Once it was false it stays so until another claim.
    bool Owns(std::int64_t nowMs);

    // Gives the house up; the revision that is to be removed for others to have it at once, 0 when
    // there is none or when a renewal is under way. The house must have been stopped before.
    std::uint64_t GiveUp();

    // The token of the claim; 0 without one.
    std::uint64_t Token() const { return m_token; }

    // Everything it knows, for who compares leases: two with the same do the same from then on.
    struct State
    {
        std::uint64_t token, revision, lastNumber, outstanding;
        std::int64_t sentMs, stopsAtMs;
    };
    State GetState() const
    {
        return {m_token, m_revision, m_lastNumber, m_outstanding, m_sentMs, m_stopsAtMs};
    }

private:
    Request Send(std::int64_t nowMs, std::uint64_t expected);
    void Lose();

    Times m_times;
    std::uint64_t m_token = 0;
    // That of the last write that was answered.
    std::uint64_t m_revision = 0;
    std::uint64_t m_lastNumber = 0;
    // The number of the request whose answer is awaited; 0 for none.
    std::uint64_t m_outstanding = 0;
    // When the last request was sent.
    std::int64_t m_sentMs = 0;
    std::int64_t m_stopsAtMs = 0;
};
} // namespace lighting_host

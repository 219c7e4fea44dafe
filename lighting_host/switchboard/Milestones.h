#pragma once

#include "lighting_host/switchboard/OutputDigest.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace lighting_host
{
// How far the lines of a house had come at many of its whole minutes, so that a run which repeats
// it writes only those lines that somebody can still ask for.
//
// Bounded: in a long life they are further apart. Lives on the house's thread.
class Milestones
{
public:
    // What there was before anything of that moment.
    struct Milestone
    {
        std::int64_t timeMs = 0;
        // The last number.
        std::uint64_t seq = 0;
        // Of all outputs so far, cut.
        OutputDigest digest;
    };
    // How far apart they are at first, and how many there may be: then every other one goes.
    static constexpr std::int64_t FIRST_INTERVAL_MS = 600000;
    static constexpr std::size_t MOST = 2048;

    // Called at every whole minute; takes those that it needs. Times go up.
    void Note(std::int64_t timeMs, std::uint64_t seq, const OutputDigest& digest);

    // The last one after which at least `lines` lines come up to `toMs`, and, unless it is 0, to
    // the number `toSeq`; nothing when they are not known to.
    std::optional<Milestone> Before(std::int64_t toMs, std::uint64_t toSeq,
                                    std::uint64_t lines) const;

    // The first one after that time, which must be before the time of one that there is.
    Milestone After(std::int64_t ms) const;

    // Those after that time have not been.
    void DropAfter(std::int64_t ms);

private:
    std::vector<Milestone> m_all;
    std::int64_t m_intervalMs = FIRST_INTERVAL_MS;
};
} // namespace lighting_host

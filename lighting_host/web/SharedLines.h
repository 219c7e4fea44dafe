#pragma once

#include "lighting_host/switchboard/OutputRing.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace lighting_host
{
// The text of consecutive lines of a ring, made once for all visitors that hear the same lines and
// have come equally far. Without it hundreds of visitors would cost hundreds of copies.
//
// Keeps a few of the last texts. Lives on the house's thread.
class SharedLines
{
public:
    static constexpr std::size_t MOST_PARTS = 32;

    struct Part
    {
        // The number of the last line that was looked at.
        std::uint64_t upTo = 0;
        // Those of them that are heard, with a line end between two; null for none.
        std::shared_ptr<const std::string> text;
    };

    // What is heard after the line `after`, up to the ring's last one or until the text has
    // `mostBytes`. `heard` names what `hears` accepts: the same words, the same lines. The ring
    // must have all lines from `after` + 1 on.
    Part From(const OutputRing& ring, const std::string& heard, std::uint64_t after,
              std::size_t mostBytes, const std::function<bool(const OutputRing::Line&)>& hears);

    // To be called when the ring's numbers are other lines'.
    void Clear() { m_kept.clear(); }

private:
    struct Kept
    {
        std::string heard;
        std::uint64_t after = 0;
        Part part;
    };

    const Kept* Find(const std::string& heard, std::uint64_t after) const;

    std::deque<Kept> m_kept;
};
} // namespace lighting_host

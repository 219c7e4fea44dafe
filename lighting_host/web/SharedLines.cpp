#include "lighting_host/web/SharedLines.h"

#include <algorithm>

namespace lighting_host
{
SharedLines::Part SharedLines::From(const OutputRing& ring, const std::string& heard,
                                    std::uint64_t after, std::size_t mostBytes,
                                    const std::function<bool(const OutputRing::Line&)>& hears)
{
    Part part{after, nullptr};
    // What was passed over for another visitor is not looked at again.
    while (const Kept* const kept = Find(heard, part.upTo))
    {
        part = kept->part;
        if (part.text)
            return part;
    }
    if (part.upTo >= ring.Last())
        return part;
    after = part.upTo;
    std::string text;
    while (part.upTo < ring.Last() && text.size() < mostBytes)
    {
        const OutputRing::Line& line = ring.At(++part.upTo);
        if (!hears(line))
            continue;
        if (!text.empty())
            text += '\n';
        text += line.text;
    }
    if (!text.empty())
        part.text = std::make_shared<const std::string>(std::move(text));
    m_kept.push_back({heard, after, part});
    if (m_kept.size() > MOST_PARTS)
        m_kept.pop_front();
    return part;
}

const SharedLines::Kept* SharedLines::Find(const std::string& heard, std::uint64_t after) const
{
    const auto found = std::find_if(m_kept.rbegin(), m_kept.rend(),
                                    [&heard, after](const Kept& kept)
                                    { return kept.after == after && kept.heard == heard; });
    return found == m_kept.rend() ? nullptr : &*found;
}
} // namespace lighting_host

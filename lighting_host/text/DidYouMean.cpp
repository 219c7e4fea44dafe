#include "lighting_host/text/DidYouMean.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
constexpr std::size_t LONGEST_WORD = 64;

// The fewest slips that turn one word into the other.
std::size_t Slips(const std::string& a, const std::string& b)
{
    std::vector<std::vector<std::size_t>> slips(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i)
    {
        for (std::size_t j = 0; j <= b.size(); ++j)
        {
            if (i == 0 || j == 0)
            {
                slips[i][j] = i + j;
                continue;
            }
            const std::size_t changed = a[i - 1] == b[j - 1] ? 0 : 1;
            slips[i][j] =
                std::min({slips[i - 1][j] + 1, slips[i][j - 1] + 1, slips[i - 1][j - 1] + changed});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
        }
    }
    return slips[a.size()][b.size()];
}
} // namespace

std::string DidYouMean(const std::string& word, const std::vector<std::string>& known)
{
    if (word.size() > LONGEST_WORD)
        return std::string();
    std::string nearest;
    std::size_t fewest = 0;
    for (const std::string& candidate : known)
    {
        const std::size_t slips = Slips(word, candidate);
        // More slips than this, and it is another word.
        const std::size_t most = std::max<std::size_t>(1, candidate.size() / 3);
        if (slips <= most && (nearest.empty() || slips < fewest))
        {
            nearest = candidate;
            fewest = slips;
        }
    }
    return nearest;
}

std::string DidYouMeanClause(const std::string& word, const std::vector<std::string>& known)
{
    const std::string meant = DidYouMean(word, known);
    return meant.empty() ? meant : "; did you mean " + meant + "?";
}
} // namespace lighting_host

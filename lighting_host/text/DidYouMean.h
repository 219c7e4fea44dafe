#pragma once

#include <string>
#include <vector>

namespace lighting_host
{
// The word that somebody who wrote `word` is likely to have meant: the one that is fewest slips of
// the finger away (a letter too many, too few, wrong, or two in the wrong order), if that is near
// enough. Empty when there is none. Words of more than 64 letters are nothing that somebody meant.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& known);

// "; did you mean X?", or nothing.
std::string DidYouMeanClause(const std::string& word, const std::vector<std::string>& known);
} // namespace lighting_host

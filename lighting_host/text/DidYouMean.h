#pragma once

#include <string>
#include <vector>

namespace lighting_host
{
// The word that somebody who wrote `word` probably meant: the one with the fewest typing errors
// between them (a letter too many, missing, wrong, or two swapped), if they are few enough. Empty
// when there is none. Words of more than 64 letters are nothing that somebody meant.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& known);

// "; did you mean X?", or nothing.
std::string DidYouMeanClause(const std::string& word, const std::vector<std::string>& known);
} // namespace lighting_host

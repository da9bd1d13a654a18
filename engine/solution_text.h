#pragma once
// The text of a solution tree as every front end shows and copies it.
#include <string>
#include <vector>

#include "engine/search_types.h"

namespace ostravel {

// Keys ending in "!" with their mate length, each with its threat line (or
// zugzwang) and its variations indented below it, duals on the line of the
// answer they double and marked "(dual)". The fixed words in the language
// (LanguageId).
// The keys a problem keeps after a run: the proved ones, in full notation
// (a candidate of a heuristic pass is no key).
std::vector<std::string> ProvedKeyTexts(const std::vector<TSolution>& solutions);

std::string SolutionsText(const std::vector<TSolution>& solutions, int languageId = 1);

}  // namespace ostravel

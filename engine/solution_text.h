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
std::string SolutionsText(const std::vector<TSolution>& solutions, int languageId = 1);

}  // namespace ostravel

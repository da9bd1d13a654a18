#pragma once
// The words of a problem's "//@SortIndications: " line. The line carries both
// sort moves ("Qd1-h5") and heuristic keywords ("ExtEdge", "FFM(#2)",
// "DLFU(e7 f7)"); the move reader and the keyword reader each take their own
// words and skip the others'.
//
// Words are separated by blanks, tabs and commas, except inside parentheses,
// so "DLFU(e7, f7)" is one word. "DontLetPromotedQueenMove NO" is one word as
// well: the " NO" belongs to the keyword.
#include <cstddef>
#include <string_view>
#include <vector>

namespace ostravel {

struct TIndicationWord {
  std::string_view text;
  size_t offset = 0;  // where the word starts in the line

  friend bool operator==(const TIndicationWord&, const TIndicationWord&) = default;
};

std::vector<TIndicationWord> SplitIndications(std::string_view line);

// True for a word of the keyword forms: "DLFU(...)", "!DLFU", "SafeMode" (any
// case), "AssertBKS", "AssertBKS(strict)", "ExtEdge", "DontLetKingMove",
// "DontLetPromotedQueenMove" with or without " NO", "LFQMDepth(#n)" and
// "FFM(#n)" (the "#" optional, n an integer). A word that only looks like one
// ("FFM(x)") is no keyword and reaches the move reader, which names it.
bool IsIndicationKeyword(std::string_view word);

}  // namespace ostravel

#include "problems/indications.h"

#include <cctype>

namespace ostravel {

namespace {

bool IsSeparator(char c) {
  return c == ' ' || c == '\t' || c == ',';
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

// "#"? "-"? digits ")" after the opening parenthesis.
bool IsNumberArgument(std::string_view rest) {
  if (rest.empty() || rest.back() != ')') return false;
  rest.remove_suffix(1);
  if (!rest.empty() && rest.front() == '#') rest.remove_prefix(1);
  if (!rest.empty() && rest.front() == '-') rest.remove_prefix(1);
  if (rest.empty()) return false;
  for (char c : rest)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

constexpr std::string_view kPromotedQueen = "DontLetPromotedQueenMove";

}  // namespace

std::vector<TIndicationWord> SplitIndications(std::string_view line) {
  std::vector<TIndicationWord> words;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && IsSeparator(line[i])) ++i;
    if (i == line.size()) break;
    const size_t start = i;
    int depth = 0;
    while (i < line.size() && (depth > 0 || !IsSeparator(line[i]))) {
      if (line[i] == '(') ++depth;
      if (line[i] == ')' && depth > 0) --depth;
      ++i;
    }
    std::string_view word = line.substr(start, i - start);
    if (word == kPromotedQueen && line.substr(i, 3) == " NO" &&
        (i + 3 == line.size() || IsSeparator(line[i + 3]))) {
      i += 3;
      word = line.substr(start, i - start);
    }
    words.push_back({word, start});
  }
  return words;
}

bool IsIndicationKeyword(std::string_view w) {
  if (w == "!DLFU" || w == "AssertBKS" || w == "AssertBKS(strict)" || w == "ExtEdge" ||
      w == "DontLetKingMove" || w == kPromotedQueen || w == "DontLetPromotedQueenMove NO")
    return true;
  if (EqualsNoCase(w, "SafeMode")) return true;
  if (w.starts_with("DLFU(")) return w.back() == ')';
  if (w.starts_with("LFQMDepth(")) return IsNumberArgument(w.substr(10));
  if (w.starts_with("FFM(")) return IsNumberArgument(w.substr(4));
  return false;
}

}  // namespace ostravel

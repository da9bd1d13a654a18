#include "engine/heuristics.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "problems/indications.h"

namespace ostravel {

namespace {

struct TNamedBit {
  uint32_t bit;
  const char* name;
};

constexpr TNamedBit kNames[] = {
    {SH_AREKINGSNEAR, "SH_AREKINGSNEAR"},
    {SH_SWEEPINGWHITEROOK, "SH_SWEEPINGWHITEROOK"},
    {SH_KEEPKINGONTHEEDGE, "SH_KEEPKINGONTHEEDGE"},
    {SH_ONECOLORPLAYPOSSIBLE, "SH_ONECOLORPLAYPOSSIBLE"},
    {SH_ZUGZWANGTRIANGLES, "SH_ZUGZWANGTRIANGLES"},
    {SH_DONTLEAVEMAINDIAGONAL, "SH_DONTLEAVEMAINDIAGONAL"},
    {SH_KEEPKINGWITHINEXTEDGE, "SH_KEEPKINGWITHINEXTEDGE"},
    {SH_DONTLETFIGUREUNBLOCK, "SH_DONTLETFIGUREUNBLOCK"},
    {SH_FINDFORCEDMATE, "SH_FINDFORCEDMATE"},
    {SH_DONTRECEDEBLACKKING, "SH_DONTRECEDEBLACKKING"},
    {SH_DONTLETPROMOTEDQUEENMOVE, "SH_DONTLETPROMOTEDQUEENMOVE"},
    {SH_KEYLINE, "SH_KEYLINE"},
    {SH_KEYDIAGONAL, "SH_KEYDIAGONAL"},
    {SH_SAVEQUEENROOK, "SH_SAVEQUEEN/ROOK"},
    {SH_DONTLOSEANYFIGURES, "SH_DONTLOSEANYFIGURES"},
    {SH_DONTLETBLACKQUEENCHECKTWICE, "SH_DONTLETBLACKQUEENCHECKTWICE"},
    {SH_USEBLOCKBLACKPAWNSLEVEL, "SH_USEBLOCKBLACKPAWNSLEVEL"},
    {SH_KEYSQUARE, "SH_KEYSQUARE"},
    {SH_ASSERTBLACKKINGSURROUNDED, "SH_ASSERTBLACKKINGSURROUNDED"},
    {SH_SINGLEQUEENMATE, "SH_SINGLEQUEENMATE"},
    {SH_3MOVESTOMATE, "SH_3MOVESTOMATE"},
    {SH_KEYWHITEFIGURE, "SH_KEYWHITEFIGURE"},
    {SH_CAPTUREKNIGHT, "SH_CAPTUREKNIGHT"},
    {SH_SKIPWORSTWHITEMOVES, "SH_SKIPWORSTWHITEMOVES"},
    {SH_DONTLETPROMOTEDFIGUREMOVE, "SH_DONTLETPROMOTEDFIGUREMOVE"},
    {SH_KEEPKINGNEARCORNER, "SH_KEEPKINGNEARCORNER"},
    {SH_SEASNAKE, "SH_SEASNAKE"},
    {SH_REDUCTIONTOGLOBREGPOS, "SH_REDUCTIONTOGLOBREGPOS"},
    {SH_ZUGZWANG, "SH_ZUGZWANG"},
};

class TPieces {
 public:
  void Add(const std::string& piece) {
    if (piece.empty()) return;
    if (!text_.empty()) text_ += ',';
    text_ += piece;
  }
  std::string& Text() { return text_; }

 private:
  std::string text_;
};

// A letter and a count, "C2". (Built by appending: GCC 12 warns falsely on
// "C" + std::to_string(n).)
std::string Tagged(const char* tag, long n) {
  std::string piece = tag;
  piece += std::to_string(n);
  return piece;
}

// The dynamic relaxation and deferred check that both edge heuristics carry.
void AddEdgeRelaxation(TPieces& p, const THeuristicState& s) {
  if (s.relaxOnFiguresCaptured != 0) p.Add(Tagged("C", s.relaxOnFiguresCaptured));
  if (s.relaxOnAdvancedPawn) p.Add("A");
  if (s.deferCheck > 0) p.Add(Tagged("D", s.deferCheck));
  if (s.deferCheckMax > 0) p.Add(Tagged("M", s.deferCheckMax));
}

// Parses "#"? "-"? digits as written inside "FFM(...)" or "LFQMDepth(...)";
// IsIndicationKeyword has checked the form already.
long IndicationNumber(std::string_view arg) {
  if (!arg.empty() && arg.front() == '#') arg.remove_prefix(1);
  bool negative = false;
  if (!arg.empty() && arg.front() == '-') {
    negative = true;
    arg.remove_prefix(1);
  }
  long v = 0;
  for (char c : arg) {
    v = v * 10 + (c - '0');
    if (v > 1000000) break;  // far outside every range used: no overflow
  }
  return negative ? -v : v;
}

// "DLFU(" squares ")": the squares replace the list, each kept once. Indexes
// in the messages count from the start of the whole indication text.
bool ReadBlockedSquares(std::string_view word, size_t offset, std::vector<int>& out, std::string* error) {
  const size_t open = std::strlen("DLFU(");
  out.clear();
  for (size_t i = open; i + 1 < word.size();) {
    const char c = word[i];
    if (c == ' ' || c == '\t' || c == ',') {
      ++i;
      continue;
    }
    int file = -1;
    if (c >= 'a' && c <= 'h') file = c - 'a';
    if (c >= 'A' && c <= 'H') file = c - 'A';
    if (file < 0) {
      if (error) *error = "Invalid square";
      return false;
    }
    const char r = word[i + 1];
    if (r < '1' || r > '8') {
      if (error) *error = "Invalid square description at index " + std::to_string(offset + i + 1);
      return false;
    }
    const int sq = (r - '1') * 8 + file;
    bool seen = false;
    for (int q : out) seen = seen || q == sq;
    if (!seen) out.push_back(sq);
    i += 2;
  }
  return true;
}

}  // namespace

std::string HeuristicName(uint32_t bit) {
  for (const TNamedBit& n : kNames)
    if (n.bit == bit) return n.name;
  return "...";
}

std::string HeuristicSquareText(int square) {
  if (square < 0 || square > 63) return {};
  return {static_cast<char>('A' + square % 8), static_cast<char>('1' + square / 8)};
}

std::string FfmLevelText(uint8_t level) {
  switch (level) {
    case kFfmCheckOnly:
      return "CheckOnly";
    case kFfmMate1:
      return "#1";
    case kFfmMate1Plus:
      return "#1+";
    case kFfmMate2:
      return "#2";
    case kFfmMate2Plus:
      return "#2+";
    case kFfmMate3:
      return "#3";
    case kFfmMate4:
      return "#4";
    case kFfmMate5:
      return "#5";
    default:
      return {};
  }
}

std::string HeuristicParameterText(uint32_t bit, const THeuristicState& s) {
  TPieces p;
  switch (bit) {
    case SH_KEEPKINGONTHEEDGE:
      if (s.edgeStrict) p.Add(s.edgeAlmostStrict ? "ALMOST_STRICT" : "STRICT");
      if (s.inclCorner) p.Add("incl.corner");
      AddEdgeRelaxation(p, s);
      break;
    case SH_KEEPKINGWITHINEXTEDGE:
      if (s.inclCorner) p.Add("incl.corner");
      if (s.extEdgeStrict) p.Add("strict");
      AddEdgeRelaxation(p, s);
      break;
    case SH_KEEPKINGNEARCORNER:
      if (s.cornerDistance > 0) p.Add(std::to_string(s.cornerDistance) + "S");
      if (s.cornerDistance < 0) p.Add(std::to_string(-static_cast<int>(s.cornerDistance)) + "M");
      break;
    case SH_DONTLETFIGUREUNBLOCK:
      if (s.blockedEffective) p.Add("EFF");
      for (int sq : s.blockedSquares) p.Add(HeuristicSquareText(sq));
      break;
    case SH_DONTLOSEANYFIGURES:
      if (s.pawnsMode == 1) p.Add("incl.pawns");
      if (s.pawnsMode == 2) p.Add("incl.pawnsBeforePromo");
      break;
    case SH_DONTLETPROMOTEDQUEENMOVE:
    case SH_DONTLETPROMOTEDFIGUREMOVE:
      if (s.promotedStrict) p.Add("strict");
      break;
    case SH_ASSERTBLACKKINGSURROUNDED:
      if (s.surroundedStrict) p.Add("strict");
      break;
    case SH_ONECOLORPLAYPOSSIBLE:
      if (s.colourMode == 1) p.Add("WhiteSquaresOnly");
      if (s.colourMode == 2) p.Add("BlackSquaresOnly");
      if (s.colourMode == 3) p.Add("SeparatedBlackBishop");
      break;
    case SH_KEYSQUARE:
      p.Add(HeuristicSquareText(s.keySquare));
      break;
    case SH_KEYWHITEFIGURE:
      p.Add(HeuristicSquareText(s.keyWhiteFigure));
      break;
    case SH_KEYDIAGONAL:
      if (s.keyDiagonal[0] >= 0 || s.keyDiagonal[1] >= 0)
        p.Add(HeuristicSquareText(s.keyDiagonal[0]) + "-" + HeuristicSquareText(s.keyDiagonal[1]));
      break;
    case SH_KEYLINE:
      if (s.keyLine >= 0 && s.keyLine < 8) p.Add(std::string(1, static_cast<char>('A' + s.keyLine)));
      break;
    case SH_DONTLEAVEMAINDIAGONAL:
      p.Add(HeuristicSquareText(s.mainDiagonalSquare));
      break;
    case SH_SEASNAKE:
      p.Add(HeuristicSquareText(s.seaSnakeApproach));
      p.Add(HeuristicSquareText(s.seaSnakeTurnBack));
      if (s.seaSnakeAfter > 0) p.Add(std::to_string(s.seaSnakeAfter));
      break;
    case SH_FINDFORCEDMATE: {
      // The suffixes qualify the level: one piece.
      std::string level = FfmLevelText(s.ffmLevel);
      if (s.ffmWithOtherHeuristics > 0) level += "-WithOtherHeuristics";
      if (s.ffmPreliminary) level += "-Preliminary";
      if (s.ffmCustom) level += "-Custom";
      p.Add(level);
      break;
    }
    default:
      break;
  }
  return std::move(p.Text());
}

std::string HeuristicSetText(const THeuristicState& s, bool quickMode, bool dlfuDynamicUsable) {
  std::string text;
  for (int i = 0; i < 32; ++i) {
    const uint32_t bit = uint32_t{1} << i;
    if (!(s.set & bit)) continue;
    std::string item = HeuristicName(bit);
    const std::string params = HeuristicParameterText(bit, s);
    if (!params.empty()) item += "(" + params + ")";
    if (item == "SH_KEEPKINGONTHEEDGE(strict)" || item == "SH_KEEPKINGONTHEEDGE(STRICT)")
      item = "SH_DONTLETKINGMOVE";
    else if (item == "SH_KEEPKINGONTHEEDGE(ALMOST_STRICT)")
      item = "SH_DONTLETKINGMOVE(excptns)";
    if (!text.empty()) text += ", ";
    text += item;
  }
  // The almost-strict edge form already stands for what quick mode would add.
  const bool almostStrictEdge = (s.set & SH_KEEPKINGONTHEEDGE) && s.edgeStrict && s.edgeAlmostStrict;
  if (quickMode && !s.safeMode && s.quickModeCounter < 2 && !almostStrictEdge) {
    if (!text.empty()) text += ", ";
    text += "QuickMode";
  }
  if ((s.set & SH_DONTLETFIGUREUNBLOCK) && !dlfuDynamicUsable) text += "(CannotApplyDLFUDynamically)";
  return text;
}

namespace {

// FNV-1a over tagged values: a parameter at its default adds nothing, so a
// state without parameters digests to 0.
class TDigest {
 public:
  void Add(uint8_t tag, int64_t value, int64_t byDefault = 0) {
    if (value == byDefault) return;
    Byte(tag);
    const uint64_t v = static_cast<uint64_t>(value);
    for (int i = 0; i < 8; ++i) Byte(static_cast<uint8_t>(v >> (8 * i)));
    any_ = true;
  }
  uint32_t Value() const { return !any_ ? 0 : hash_ == 0 ? 1 : hash_; }

 private:
  void Byte(uint8_t b) {
    hash_ ^= b;
    hash_ *= 16777619u;
  }
  uint32_t hash_ = 2166136261u;
  bool any_ = false;
};

}  // namespace

uint32_t HeuristicParameterDigest(const THeuristicState& s) {
  TDigest d;
  const uint32_t set = s.set;
  // Only the parameters of heuristics in the set change what a pass proves.
  if (set & (SH_KEEPKINGONTHEEDGE | SH_KEEPKINGWITHINEXTEDGE)) {
    if (set & SH_KEEPKINGONTHEEDGE) {
      d.Add(1, s.edgeStrict);
      d.Add(2, s.edgeAlmostStrict);
      d.Add(3, s.allowExceptions);
    }
    if (set & SH_KEEPKINGWITHINEXTEDGE) d.Add(4, s.extEdgeStrict);
    d.Add(5, s.inclCorner);
    d.Add(6, s.relaxOnFiguresCaptured);
    d.Add(7, s.relaxAlsoPawns);
    d.Add(8, s.relaxOnAdvancedPawn);
    d.Add(9, s.deferCheck);
    d.Add(10, s.deferCheckMax);
    d.Add(11, s.relaxExtEdgeOnly);
    d.Add(12, s.skipDeferIfNoBalanceChange);
    d.Add(13, s.autoDynamicRelax);
  }
  if (set & SH_KEEPKINGNEARCORNER) d.Add(14, s.cornerDistance);
  if (set & SH_DONTLETFIGUREUNBLOCK) {
    for (int sq : s.blockedSquares) d.Add(15, sq, -1);
    d.Add(16, s.blockedEffective);
    d.Add(17, s.dlfuDynamic, true);
  }
  if (set & SH_DONTLOSEANYFIGURES) d.Add(18, s.pawnsMode);
  if (set & (SH_DONTLETPROMOTEDQUEENMOVE | SH_DONTLETPROMOTEDFIGUREMOVE)) d.Add(19, s.promotedStrict);
  if (set & SH_ASSERTBLACKKINGSURROUNDED) d.Add(20, s.surroundedStrict);
  if (set & SH_ONECOLORPLAYPOSSIBLE) d.Add(21, s.colourMode);
  if (set & SH_KEYSQUARE) d.Add(22, s.keySquare, -1);
  if (set & SH_KEYWHITEFIGURE) d.Add(23, s.keyWhiteFigure, -1);
  if (set & SH_KEYDIAGONAL) {
    d.Add(24, s.keyDiagonal[0], -1);
    d.Add(25, s.keyDiagonal[1], -1);
  }
  if (set & SH_KEYLINE) d.Add(26, s.keyLine, -1);
  if (set & SH_DONTLEAVEMAINDIAGONAL) d.Add(27, s.mainDiagonalSquare, -1);
  if (set & SH_SEASNAKE) {
    d.Add(28, s.seaSnakeApproach, -1);
    d.Add(29, s.seaSnakeTurnBack, -1);
    d.Add(30, s.seaSnakePendulum[0], -1);
    d.Add(31, s.seaSnakePendulum[1], -1);
    d.Add(32, s.seaSnakeAfter);
  }
  if (set & SH_ZUGZWANG) {
    for (const std::string& m : s.zugzwangMoves)
      for (char c : m) d.Add(33, static_cast<unsigned char>(c));
    d.Add(34, s.zugzwangAfter);
  }
  if (set & SH_FINDFORCEDMATE) {
    d.Add(35, s.ffmLevel);
    d.Add(36, s.ffmWithOtherHeuristics);
    d.Add(37, s.ffmPreliminary);
    d.Add(38, s.ffmCustom);
  }
  d.Add(39, s.lfqmDepth);
  d.Add(40, s.safeMode);
  return d.Value();
}

bool ApplyHeuristicText(const std::string& text, THeuristicState& state, std::string* error) {
  THeuristicState s = state;
  // The names are taken out (blanked, so that the keywords' error indexes
  // still count from the start of the whole text); the rest are keywords.
  std::string keywords = text;
  for (const TIndicationWord& w : SplitIndications(text)) {
    if (IsIndicationKeyword(w.text)) continue;
    const TNamedBit* named = nullptr;
    for (const TNamedBit& n : kNames)
      if (w.text == n.name) named = &n;
    if (!named) {
      if (error) *error = "unknown heuristic \"" + std::string(w.text) + "\"";
      return false;
    }
    s.set |= named->bit;
    if (named->bit == SH_FINDFORCEDMATE && s.ffmLevel == kFfmNone)
      s.ffmLevel = s.ffmInitialLevel = kFfmCheckOnly;
    keywords.replace(w.offset, w.text.size(), w.text.size(), ' ');
  }
  if (!ApplyIndications(keywords, s, error)) return false;
  state = std::move(s);
  return true;
}

bool ApplyIndications(const std::string& text, THeuristicState& state, std::string* error) {
  THeuristicState s = state;
  for (const TIndicationWord& w : SplitIndications(text)) {
    const std::string_view word = w.text;
    if (!IsIndicationKeyword(word)) continue;  // a sort move
    if (word.starts_with("DLFU(")) {
      if (!ReadBlockedSquares(word, w.offset, s.blockedSquares, error)) return false;
      s.set |= SH_DONTLETFIGUREUNBLOCK;
    } else if (word == "!DLFU") {
      s.set &= ~SH_DONTLETFIGUREUNBLOCK;
    } else if (word.starts_with("AssertBKS")) {
      s.set |= SH_ASSERTBLACKKINGSURROUNDED;
      s.surroundedStrict = word == "AssertBKS(strict)";
    } else if (word == "ExtEdge") {
      s.set &= ~(SH_KEEPKINGONTHEEDGE | SH_ASSERTBLACKKINGSURROUNDED);
      s.set |= SH_KEEPKINGWITHINEXTEDGE;
    } else if (word == "DontLetKingMove") {
      s.set &= ~(SH_KEEPKINGWITHINEXTEDGE | SH_KEEPKINGONTHEEDGE | SH_ASSERTBLACKKINGSURROUNDED);
      s.set |= SH_KEEPKINGONTHEEDGE;
      s.edgeStrict = true;
      s.edgeAlmostStrict = false;
    } else if (word == "DontLetPromotedQueenMove") {
      s.set |= SH_DONTLETPROMOTEDQUEENMOVE;
    } else if (word == "DontLetPromotedQueenMove NO") {
      s.set &= ~SH_DONTLETPROMOTEDQUEENMOVE;
    } else if (word.starts_with("LFQMDepth(")) {
      const long depth = IndicationNumber(word.substr(10, word.size() - 11));
      if (depth < 0 || depth > 9) {
        if (error) *error = "Value of depth for quicker mate is out of range.";
        return false;
      }
      s.lfqmDepth = static_cast<uint16_t>(depth);
    } else if (word.starts_with("FFM(")) {
      s.set |= SH_FINDFORCEDMATE;
      s.ffmRelaxationCounter = 0;
      s.ffmLastLevel = -1;
      s.ffmWithOtherHeuristics = 0;
      static constexpr uint8_t kLevels[] = {kFfmMate2Plus, kFfmMate1Plus, kFfmCheckOnly, kFfmMate1,
                                            kFfmMate2,     kFfmMate3,     kFfmMate4,     kFfmMate5};
      const long n = IndicationNumber(word.substr(4, word.size() - 5));
      if (n >= -2 && n <= 5) s.ffmLevel = s.ffmInitialLevel = kLevels[n + 2];
    } else {  // SafeMode in any case
      s.safeMode = true;
    }
  }
  state = std::move(s);
  return true;
}

}  // namespace ostravel

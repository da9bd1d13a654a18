// Special heuristics outside the search: the set as text, the digest of its
// parameters, the indication keywords, the checks of a selection and the
// indications of known compositions.
#include <gtest/gtest.h>

#include <set>

#include "chess/chessboard_id.h"
#include "chess/notation.h"
#include "engine/heuristic_selection.h"
#include "engine/heuristics.h"
#include "engine/predefined_indications.h"
#include "problems/problem.h"
#include "problems/reference_table.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

THeuristicState With(uint32_t set) {
  THeuristicState s;
  s.set = set;
  return s;
}

TEST(HeuristicText, NamesAreForSingleNamedBitsOnly) {
  EXPECT_EQ(HeuristicName(SH_AREKINGSNEAR), "SH_AREKINGSNEAR");
  EXPECT_EQ(HeuristicName(SH_SAVEQUEENROOK), "SH_SAVEQUEEN/ROOK");
  EXPECT_EQ(HeuristicName(SH_ZUGZWANG), "SH_ZUGZWANG");
  EXPECT_EQ(HeuristicName(SH_REDUCTIONTOGLOBREGPOS), "SH_REDUCTIONTOGLOBREGPOS");
  for (uint32_t v : {SH_AREKINGSNEAR | SH_KEYLINE, 0x100u, 0x10000000u, 0x20000000u, 0u, 0xFFFFFFFFu})
    EXPECT_EQ(HeuristicName(v), "...") << std::hex << v;
  // Every other single bit has a name of its own.
  std::set<std::string> names;
  for (int i = 0; i < 32; ++i) {
    const uint32_t bit = uint32_t{1} << i;
    if (bit == 0x100u || bit == 0x10000000u || bit == 0x20000000u) continue;
    EXPECT_TRUE(names.insert(HeuristicName(bit)).second) << i;
  }
  EXPECT_EQ(names.count("..."), 0u);
}

TEST(HeuristicText, EdgeParametersAndTheKingMoveRenamings) {
  THeuristicState s = With(SH_KEEPKINGONTHEEDGE);
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEEPKINGONTHEEDGE");
  s.edgeStrict = true;
  EXPECT_EQ(HeuristicParameterText(SH_KEEPKINGONTHEEDGE, s), "STRICT");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_DONTLETKINGMOVE");
  s.edgeAlmostStrict = true;
  EXPECT_EQ(HeuristicParameterText(SH_KEEPKINGONTHEEDGE, s), "ALMOST_STRICT");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_DONTLETKINGMOVE(excptns)");
  // With more parameters it is no longer the plain king-move form.
  s.inclCorner = true;
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEEPKINGONTHEEDGE(ALMOST_STRICT,incl.corner)");

  THeuristicState e = With(SH_KEEPKINGWITHINEXTEDGE);
  e.inclCorner = e.extEdgeStrict = e.relaxOnAdvancedPawn = true;
  e.relaxOnFiguresCaptured = 2;
  e.deferCheck = 3;
  e.deferCheckMax = 5;
  EXPECT_EQ(HeuristicParameterText(SH_KEEPKINGWITHINEXTEDGE, e), "incl.corner,strict,C2,A,D3,M5");
}

TEST(HeuristicText, SquaresSignsAndSuffixes) {
  THeuristicState s;
  const auto text = [&s](uint32_t bit) { return HeuristicParameterText(bit, s); };
  s.cornerDistance = 3;
  EXPECT_EQ(text(SH_KEEPKINGNEARCORNER), "3S");
  s.cornerDistance = -4;
  EXPECT_EQ(text(SH_KEEPKINGNEARCORNER), "4M");
  s.blockedSquares = {52, 53};
  s.blockedEffective = true;
  EXPECT_EQ(text(SH_DONTLETFIGUREUNBLOCK), "EFF,E7,F7");
  EXPECT_EQ(text(SH_KEYSQUARE), "");  // unset squares print nothing
  s.keySquare = 0;
  s.keyWhiteFigure = 63;
  s.keyDiagonal[0] = 2;
  s.keyDiagonal[1] = 47;
  s.keyLine = 4;
  EXPECT_EQ(text(SH_KEYSQUARE), "A1");
  EXPECT_EQ(text(SH_KEYWHITEFIGURE), "H8");
  EXPECT_EQ(text(SH_KEYDIAGONAL), "C1-H6");
  EXPECT_EQ(text(SH_KEYLINE), "E");
  s.seaSnakeApproach = 8;
  s.seaSnakeTurnBack = 17;
  s.seaSnakePendulum[0] = 40;
  EXPECT_EQ(text(SH_SEASNAKE), "A2,B3");
  s.seaSnakeAfter = 6;
  EXPECT_EQ(text(SH_SEASNAKE), "A2,B3,6");
  s.ffmLevel = 1;  // no level
  EXPECT_EQ(text(SH_FINDFORCEDMATE), "");
  s.ffmLevel = kFfmMate2Plus;
  s.ffmWithOtherHeuristics = 1;
  s.ffmPreliminary = s.ffmCustom = true;
  EXPECT_EQ(text(SH_FINDFORCEDMATE), "#2+-WithOtherHeuristics-Preliminary-Custom");
  s.ffmWithOtherHeuristics = -1;  // partial company is not printed
  s.ffmPreliminary = s.ffmCustom = false;
  EXPECT_EQ(text(SH_FINDFORCEDMATE), "#2+");
}

TEST(HeuristicText, SetInAscendingOrderWithQuickModeAndDlfuNotes) {
  THeuristicState s = With(SH_FINDFORCEDMATE | SH_AREKINGSNEAR | SH_KEEPKINGWITHINEXTEDGE);
  s.ffmLevel = kFfmMate1;
  EXPECT_EQ(HeuristicSetText(s, false), "SH_AREKINGSNEAR, SH_KEEPKINGWITHINEXTEDGE, SH_FINDFORCEDMATE(#1)");
  EXPECT_EQ(HeuristicSetText(s, true),
            "SH_AREKINGSNEAR, SH_KEEPKINGWITHINEXTEDGE, SH_FINDFORCEDMATE(#1), QuickMode");
  EXPECT_EQ(HeuristicSetText(THeuristicState{}, true), "QuickMode");
  EXPECT_EQ(HeuristicSetText(THeuristicState{}, false), "");
  // Quick mode is not named in safe mode, from the second quick-mode run on,
  // or beside the almost-strict edge form.
  s.safeMode = true;
  EXPECT_EQ(HeuristicSetText(s, true).find("QuickMode"), std::string::npos);
  s.safeMode = false;
  s.quickModeCounter = 2;
  EXPECT_EQ(HeuristicSetText(s, true).find("QuickMode"), std::string::npos);
  s.quickModeCounter = 1;
  EXPECT_NE(HeuristicSetText(s, true).find("QuickMode"), std::string::npos);
  THeuristicState k = With(SH_KEEPKINGONTHEEDGE);
  k.edgeStrict = k.edgeAlmostStrict = true;
  EXPECT_EQ(HeuristicSetText(k, true), "SH_DONTLETKINGMOVE(excptns)");
  k.edgeAlmostStrict = false;
  EXPECT_EQ(HeuristicSetText(k, true), "SH_DONTLETKINGMOVE, QuickMode");

  THeuristicState d = With(SH_DONTLETFIGUREUNBLOCK);
  d.blockedSquares = {12};
  EXPECT_EQ(HeuristicSetText(d, false, false), "SH_DONTLETFIGUREUNBLOCK(E2)(CannotApplyDLFUDynamically)");
  EXPECT_EQ(HeuristicSetText(d, false, true), "SH_DONTLETFIGUREUNBLOCK(E2)");
  EXPECT_EQ(HeuristicSetText(With(SH_KEYLINE), false, false), "SH_KEYLINE");
  // Bits without a name still show.
  EXPECT_EQ(HeuristicSetText(With(0x100u | SH_SWEEPINGWHITEROOK), false), "SH_SWEEPINGWHITEROOK, ...");
}

TEST(HeuristicDigest, ParametersOfTheSetOnly) {
  EXPECT_EQ(HeuristicParameterDigest(THeuristicState{}), 0u);
  EXPECT_EQ(HeuristicParameterDigest(With(SH_AREKINGSNEAR | SH_KEYLINE)), 0u);
  THeuristicState a = With(SH_KEEPKINGWITHINEXTEDGE);
  a.cornerDistance = 3;  // SH_KEEPKINGNEARCORNER is not set: no parameter of the set
  EXPECT_EQ(HeuristicParameterDigest(a), 0u);
  a.inclCorner = true;
  const uint32_t corner = HeuristicParameterDigest(a);
  EXPECT_NE(corner, 0u);
  EXPECT_EQ(HeuristicParameterDigest(a), corner);
  a.extEdgeStrict = true;
  EXPECT_NE(HeuristicParameterDigest(a), corner);

  // Distinct values of one parameter, and the same value in two parameters,
  // digest apart.
  std::set<uint32_t> seen;
  for (int sq = 0; sq < 64; ++sq) {
    THeuristicState k = With(SH_KEYSQUARE | SH_KEYWHITEFIGURE);
    k.keySquare = sq;
    EXPECT_TRUE(seen.insert(HeuristicParameterDigest(k)).second) << sq;
    k.keySquare = -1;
    k.keyWhiteFigure = sq;
    EXPECT_TRUE(seen.insert(HeuristicParameterDigest(k)).second) << sq;
  }
  // Bookkeeping of the relaxation is not a parameter of the pass.
  THeuristicState f = With(SH_FINDFORCEDMATE);
  f.ffmLevel = kFfmMate2;
  const uint32_t ffm = HeuristicParameterDigest(f);
  f.ffmRelaxations = 3;
  f.ffmRelaxationCounter = 1;
  f.quickModeCounter = 1;
  EXPECT_EQ(HeuristicParameterDigest(f), ffm);
  f.ffmLevel = kFfmMate2Plus;
  EXPECT_NE(HeuristicParameterDigest(f), ffm);
  // The whole problem's settings count without any bit.
  THeuristicState p;
  p.lfqmDepth = 6;
  EXPECT_NE(HeuristicParameterDigest(p), 0u);
}

TEST(Indications, FfmLevelsByNumber) {
  const struct {
    const char* text;
    uint8_t level;
  } cases[] = {{"FFM(#2)", kFfmMate2},      {"FFM(2)", kFfmMate2},     {"FFM(-1)", kFfmMate1Plus},
               {"FFM(#-2)", kFfmMate2Plus}, {"FFM(0)", kFfmCheckOnly}, {"FFM(1)", kFfmMate1},
               {"FFM(3)", kFfmMate3},       {"FFM(4)", kFfmMate4},     {"FFM(#5)", kFfmMate5}};
  for (const auto& c : cases) {
    THeuristicState s;
    ASSERT_TRUE(ApplyIndications(c.text, s)) << c.text;
    EXPECT_EQ(s.set, SH_FINDFORCEDMATE) << c.text;
    EXPECT_EQ(s.ffmLevel, c.level) << c.text;
    EXPECT_EQ(s.ffmInitialLevel, c.level) << c.text;
  }
  // Other numbers set the heuristic and reset its bookkeeping, but keep the level.
  THeuristicState s;
  s.ffmLevel = s.ffmInitialLevel = kFfmMate3;
  s.ffmRelaxationCounter = 2;
  s.ffmLastLevel = kFfmMate2;
  s.ffmWithOtherHeuristics = 1;
  for (const char* text : {"FFM(6)", "FFM(-3)", "FFM(99999999999)"}) {
    ASSERT_TRUE(ApplyIndications(text, s)) << text;
    EXPECT_EQ(s.set, SH_FINDFORCEDMATE);
    EXPECT_EQ(s.ffmLevel, kFfmMate3);
    EXPECT_EQ(s.ffmRelaxationCounter, 0);
    EXPECT_EQ(s.ffmLastLevel, -1);
    EXPECT_EQ(s.ffmWithOtherHeuristics, 0);
  }
}

TEST(Indications, DlfuSquaresAndTheirErrors) {
  THeuristicState s;
  ASSERT_TRUE(ApplyIndications("DLFU(a1 A1\tb2)", s));
  EXPECT_EQ(s.set, SH_DONTLETFIGUREUNBLOCK);
  EXPECT_EQ(s.blockedSquares, (std::vector<int>{0, 9}));
  ASSERT_TRUE(ApplyIndications("DLFU(e7,f7)", s));  // a new list replaces the old one
  EXPECT_EQ(s.blockedSquares, (std::vector<int>{52, 53}));
  ASSERT_TRUE(ApplyIndications("!DLFU", s));
  EXPECT_EQ(s.set, 0u);

  const THeuristicState before = s;
  const struct {
    const char* text;
    const char* error;
  } bad[] = {{"DLFU(a9)", "Invalid square description at index 6"},
             {"Qd1-h5 DLFU(b2 a9)", "Invalid square description at index 16"},
             {"DLFU(a)", "Invalid square description at index 6"},
             {"DLFU(i2)", "Invalid square"},
             {"DLFU(22)", "Invalid square"},
             // Earlier keywords of the text are undone as well.
             {"ExtEdge SafeMode DLFU(e7 x7)", "Invalid square"},
             {"LFQMDepth(10)", "Value of depth for quicker mate is out of range."},
             {"LFQMDepth(#-1)", "Value of depth for quicker mate is out of range."}};
  for (const auto& c : bad) {
    std::string error;
    EXPECT_FALSE(ApplyIndications(c.text, s, &error)) << c.text;
    EXPECT_EQ(error, c.error) << c.text;
    EXPECT_EQ(s, before) << c.text;
  }
}

TEST(Indications, KingKeywordsReplaceEachOther) {
  THeuristicState s = With(SH_KEEPKINGONTHEEDGE | SH_ASSERTBLACKKINGSURROUNDED | SH_AREKINGSNEAR);
  ASSERT_TRUE(ApplyIndications("ExtEdge", s));
  EXPECT_EQ(s.set, SH_KEEPKINGWITHINEXTEDGE | SH_AREKINGSNEAR);
  ASSERT_TRUE(ApplyIndications("AssertBKS(strict)", s));
  EXPECT_TRUE(s.surroundedStrict);
  EXPECT_EQ(s.set, SH_KEEPKINGWITHINEXTEDGE | SH_AREKINGSNEAR | SH_ASSERTBLACKKINGSURROUNDED);
  ASSERT_TRUE(ApplyIndications("DontLetKingMove", s));
  EXPECT_EQ(s.set, SH_KEEPKINGONTHEEDGE | SH_AREKINGSNEAR);
  EXPECT_TRUE(s.edgeStrict);
  EXPECT_FALSE(s.edgeAlmostStrict);
  EXPECT_EQ(HeuristicSetText(s, false), "SH_AREKINGSNEAR, SH_DONTLETKINGMOVE");
  ASSERT_TRUE(ApplyIndications("AssertBKS", s));
  EXPECT_FALSE(s.surroundedStrict);
}

TEST(Indications, OtherKeywordsAndWordsThatAreNone) {
  THeuristicState s;
  ASSERT_TRUE(ApplyIndications("Qd1-h5, DontLetPromotedQueenMove safemode LFQMDepth(#6) e2-e4", s));
  EXPECT_EQ(s.set, SH_DONTLETPROMOTEDQUEENMOVE);
  EXPECT_TRUE(s.safeMode);
  EXPECT_EQ(s.lfqmDepth, 6);
  ASSERT_TRUE(ApplyIndications("DontLetPromotedQueenMove NO LFQMDepth(5)", s));
  EXPECT_EQ(s.set, 0u);
  EXPECT_EQ(s.lfqmDepth, 5);
  // Case matters except for SafeMode; malformed keywords are no keywords.
  const THeuristicState before = s;
  ASSERT_TRUE(ApplyIndications("extedge dontletkingmove ffm(2) FFM(x) LFQMDepth() DLFU(e7", s));
  EXPECT_EQ(s, before);
}

// The command line's text: keywords and the names the set text prints, and
// nothing else, so what a run prints can be typed back.
TEST(Indications, HeuristicTextTakesNamesBesideKeywords) {
  THeuristicState s;
  std::string error;
  ASSERT_TRUE(
      ApplyHeuristicText("SH_AREKINGSNEAR SH_SAVEQUEEN/ROOK, DLFU(e7 f7) SH_FINDFORCEDMATE", s, &error))
      << error;
  EXPECT_EQ(s.set, SH_AREKINGSNEAR | SH_SAVEQUEENROOK | SH_DONTLETFIGUREUNBLOCK | SH_FINDFORCEDMATE);
  EXPECT_EQ(s.blockedSquares, (std::vector<int>{52, 53}));
  EXPECT_EQ(s.ffmLevel, kFfmCheckOnly);  // a bare name: checks only
  // A level given by the keyword wins, in either order.
  THeuristicState t;
  ASSERT_TRUE(ApplyHeuristicText("FFM(#2) SH_FINDFORCEDMATE", t));
  EXPECT_EQ(t.ffmLevel, kFfmMate2);
  // A word that is neither is refused and nothing changes; a keyword's error
  // still counts its index from the start of the whole text.
  const THeuristicState before = s;
  EXPECT_FALSE(ApplyHeuristicText("SH_AREKINGSNEAR Kf1-f2", s, &error));
  EXPECT_EQ(error, "unknown heuristic \"Kf1-f2\"");
  EXPECT_FALSE(ApplyHeuristicText("SH_KEYLINE SH_NOSUCH", s, &error));
  EXPECT_EQ(error, "unknown heuristic \"SH_NOSUCH\"");
  EXPECT_FALSE(ApplyHeuristicText("SH_KEYLINE DLFU(e7 f9)", s, &error));
  EXPECT_EQ(error, "Invalid square description at index 20");
  EXPECT_EQ(s, before);
}

// ------------------------------------------------------------- selection

std::string Check(const THeuristicSelection& f, THeuristicState* out = nullptr, std::string* note = nullptr,
                  int language = 1, const TProblem* problem = nullptr) {
  THeuristicState ignored;
  return ValidateHeuristicSelection(f, language, out ? out : &ignored, note, problem);
}

TEST(HeuristicSelection, BlackKingConflicts) {
  THeuristicSelection f;
  f.extEdge = f.moveUnlessOnEdge = true;
  EXPECT_EQ(
      Check(f),
      "Conflict of heuristics: select only one of 'Don't let black king out of ext.edge' and '(Don't let "
      "black king) move unless back to the edge'");
  for (int which = 0; which < 2; ++which) {
    THeuristicSelection g;
    g.dontLetKingMove = true;
    (which ? g.extEdge : g.edge) = true;
    const std::string m = Check(g);
    EXPECT_EQ(m.rfind("Conflict of heuristics (", 0), 0u) << m;
    EXPECT_NE(m.find("\"Don't let black king move\""), std::string::npos) << m;
    EXPECT_NE(m.find("\"Don't let black king out of the edge and/or ext.edge\""), std::string::npos) << m;
  }
  THeuristicSelection g;
  g.allowExceptions = true;
  EXPECT_EQ(
      Check(g),
      "Heuristics 'Don't let black king move' is off, while 'allow exc' is on.\nIt requires correction.");
  g.dontLetKingMove = true;
  THeuristicState s;
  EXPECT_EQ(Check(g, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_DONTLETKINGMOVE");
  EXPECT_TRUE(s.allowExceptions);
  g.moveUnlessOnEdge = true;
  EXPECT_EQ(Check(g, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_DONTLETKINGMOVE(excptns)");
}

TEST(HeuristicSelection, NumberFields) {
  const std::string corner =
      "Invalid maximum distance from corner in the parameter of heuristics 'Keep king near corner'";
  THeuristicSelection f;
  f.nearCorner = true;
  THeuristicState s;
  for (const char* bad : {"", "0", "8", "x", "-2"}) {
    f.cornerDistance = bad;
    EXPECT_EQ(Check(f), corner) << bad;
  }
  f.cornerDistance = " 7 ";
  EXPECT_EQ(Check(f, &s), "");
  EXPECT_EQ(s.cornerDistance, 7);
  f.cornerInMoves = true;
  f.cornerDistance = "12";
  EXPECT_EQ(Check(f, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEEPKINGNEARCORNER(12M)");

  THeuristicSelection d;
  d.extEdge = d.dynamicRelax = true;
  for (const char* bad : {"-1", "16", "two"}) {
    d.figuresCaptured = bad;
    EXPECT_EQ(Check(d), "Invalid number of figures to capture for relaxation of edge heuristics") << bad;
  }
  d.figuresCaptured = "";  // 0 = off
  d.deferCheck = true;
  for (const char* bad : {"", "0", "1000", "3.5"}) {
    d.deferMoves = bad;
    EXPECT_EQ(Check(d), "Invalid number of moves to defer") << bad;
  }
  d.deferMoves = "4";
  EXPECT_EQ(Check(d),
            "Defer check is meaningful only when 'on advanced pawn' or 'on figure captured' selected.");
  d.figuresCaptured = "2";
  EXPECT_EQ(Check(d, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEEPKINGWITHINEXTEDGE(C2,D4)");
  // Switched off, the group's fields are neither checked nor kept.
  d.dynamicRelax = false;
  d.deferMoves = "x";
  EXPECT_EQ(Check(d, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEEPKINGWITHINEXTEDGE");

  THeuristicSelection l;
  for (const char* bad : {"10", "-1", "#7"}) {
    l.lfqmDepth = bad;
    EXPECT_EQ(Check(l), "Value of depth for quicker mate is out of range.") << bad;
  }
  l.lfqmDepth = " ";
  EXPECT_EQ(Check(l, &s), "");
  EXPECT_EQ(s.lfqmDepth, 0);
}

TEST(HeuristicSelection, SquareFields) {
  THeuristicSelection f;
  f.dontLoseFigures = f.inclPawns = f.inclPromotablePawns = true;
  EXPECT_EQ(
      Check(f),
      "Only one of additional options of Don't lose any figures (incl. pawns + incl.promotable pawns) can be "
      "selected.");

  THeuristicSelection m;
  m.mainDiagonal = true;
  m.mainDiagonalBlackPiece = "e3";  // on neither long diagonal
  EXPECT_EQ(Check(m), "Improper field (Black figure not let leave main diagonal)");
  THeuristicState s;
  m.mainDiagonalBlackPiece = "G2";
  EXPECT_EQ(Check(m, &s), "");
  EXPECT_EQ(s.mainDiagonalSquare, 14);

  THeuristicSelection u;
  u.dontLetUnblock = true;
  u.unblockSquares = {"e7", "", "f7", "e9"};
  EXPECT_EQ(Check(u), "Improper square: e9 (Figure not let unblock #4)");
  u.unblockSquares = {"e7", "f7", "E7"};
  EXPECT_EQ(Check(u), "Duplicate square: E7 (Figure not let unblock #3)");
  u.unblockSquares = {"e7", "", " f7"};
  EXPECT_EQ(Check(u, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_DONTLETFIGUREUNBLOCK(E7,F7)");

  THeuristicSelection k;
  k.keyLine = true;
  for (const char* bad : {"", "i", "ab", "4"}) {
    k.keyLineFile = bad;
    EXPECT_EQ(Check(k), "Invalid field Key line") << bad;
  }
  k.keyLineFile = "C";
  k.keyDiagonal = true;
  const std::pair<const char*, const char*> badDiagonals[] = {
      {"a1", ""}, {"a1", "a1"}, {"a1", "b3"}, {"a1", "j9"}};
  for (const auto& [a, b] : badDiagonals) {
    k.keyDiagonalField1 = a;
    k.keyDiagonalField2 = b;
    EXPECT_EQ(Check(k), "Invalid field Key diagonal") << a << " " << b;
  }
  k.keyDiagonalField1 = "h1";
  k.keyDiagonalField2 = "c6";
  EXPECT_EQ(Check(k, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEYLINE(C), SH_KEYDIAGONAL(H1-C6)");
}

TEST(HeuristicSelection, KeyWhiteFigureAndZugzwangAgainstThePosition) {
  TProblem p;
  p.moves = 4;
  // The rook on b4 pins the knight on e4 to the black king on h4.
  ASSERT_TRUE(p.SetFen("8/8/8/8/1R2n2k/8/8/K7 w - - 0 1"));
  THeuristicSelection f;
  f.keyWhiteFigure = true;
  for (const char* bad : {"", "b9", "e4", "c4"}) {  // blank, off the board, black, empty
    f.keyWhiteFigureSquare = bad;
    EXPECT_EQ(Check(f, nullptr, nullptr, 1, &p), "Invalid key white figure") << bad;
  }
  f.keyWhiteFigureSquare = "a1";  // the king pins nothing
  EXPECT_EQ(Check(f, nullptr, nullptr, 1, &p), "Invalid key white figure (pinned piece not found)");
  f.keyWhiteFigureSquare = "c4";
  EXPECT_EQ(Check(f), "");  // no position to look at
  f.keyWhiteFigureSquare = "b4";
  THeuristicState s;
  EXPECT_EQ(Check(f, &s, nullptr, 1, &p), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_KEYWHITEFIGURE(B4)");

  THeuristicSelection z;
  z.zugzwang = true;
  z.zugzwangMoves = "Rb4-b5 Ne4-f2";
  EXPECT_EQ(Check(z, &s, nullptr, 1, &p), "");
  EXPECT_EQ(s.zugzwangMoves, (std::vector<std::string>{"Rb4-b5", "Ne4-f2"}));
  z.zugzwangMoves = "Rb4-b5 Ne4-e5";
  EXPECT_EQ(Check(z, nullptr, nullptr, 1, &p), "Invalid move for SH_ZUGZWANG");
}

TEST(HeuristicSelection, FindForcedMate) {
  THeuristicSelection f;
  f.ffm = true;
  f.seaSnake = true;
  EXPECT_EQ(Check(f), "FindForcedMate cannot be used together with SeaSnake.");
  f.seaSnake = false;
  f.ffmThreat = 1;
  f.ffmAddCaptures = true;
  THeuristicState s;
  EXPECT_EQ(Check(f, &s), "");
  EXPECT_EQ(s.ffmLevel, kFfmMate1Plus);
  EXPECT_EQ(HeuristicSetText(s, false), "SH_FINDFORCEDMATE(#1+)");

  f.letRelaxFfm = true;
  f.ffmThreat = 1;
  f.ffmAddCaptures = false;
  // From #1: #1+, #2, #2+, #3, #4, #5.
  f.ffmRelaxations = "7";
  EXPECT_EQ(Check(f), "Number of heuristics relaxations for FFM is too large (max = 6 => #5)");
  f.ffmThreat = 0;
  f.ffmRelaxations = "8";
  EXPECT_EQ(Check(f), "Number of heuristics relaxations for FFM is too large (max = 7 => #5)");
  for (const char* bad : {"x", "-1", "1e3"}) {
    f.ffmRelaxations = bad;
    EXPECT_EQ(Check(f),
              "Invalid value in field with number of heuristics relaxations for FFM (FindForcedMate)");
  }
  f.ffmThreat = 1;
  f.ffmRelaxations = "2";
  std::string note;
  EXPECT_EQ(Check(f, &s, &note), "");
  EXPECT_EQ(note, "");
  EXPECT_EQ(s.ffmRelaxations, 2);
  f.relaxation = false;
  EXPECT_EQ(Check(f, &s, &note), "");
  EXPECT_EQ(note.rfind("Note: relaxation of heuristics is off, so setting for FFM (", 0), 0u) << note;
  EXPECT_TRUE(note.ends_with("time(s)) will be ignored")) << note;
  EXPECT_NE(note.find('2'), std::string::npos);
  EXPECT_EQ(s.ffmRelaxations, 0);

  f.ffmCompany = THeuristicSelection::kFfmWithOthers;
  f.kingsNear = true;
  EXPECT_EQ(Check(f, &s), "");
  EXPECT_EQ(HeuristicSetText(s, false), "SH_AREKINGSNEAR, SH_FINDFORCEDMATE(#1-WithOtherHeuristics)");
}

TEST(HeuristicSelection, PolishTextsAndEnglishFallback) {
  THeuristicSelection f;
  f.keyLine = true;
  EXPECT_EQ(Check(f, nullptr, nullptr, 0), "Nieprawid\u0142owe pole Kluczowa linia");
  EXPECT_EQ(Check(f, nullptr, nullptr, 2), "Invalid field Key line");
  EXPECT_EQ(HeuristicSelectionText(THeuristicSelectionText::kNoPreviousSettings, 2),
            "No previous settings for heuristics");
}

TEST(HeuristicSelection, AStateComesBackFromItsFields) {
  std::vector<THeuristicState> states;
  THeuristicState a = With(SH_KEEPKINGONTHEEDGE | SH_KEEPKINGNEARCORNER | SH_DONTLETFIGUREUNBLOCK |
                           SH_DONTLETPROMOTEDFIGUREMOVE | SH_ONECOLORPLAYPOSSIBLE | SH_FINDFORCEDMATE |
                           SH_ZUGZWANGTRIANGLES | SH_KEYSQUARE);
  a.edgeStrict = a.edgeAlmostStrict = a.allowExceptions = true;
  a.cornerDistance = -5;
  a.blockedSquares = {52, 12};
  a.dlfuDynamic = false;
  a.promotedStrict = true;
  a.colourMode = 3;
  a.ffmLevel = a.ffmInitialLevel = kFfmMate2Plus;
  a.ffmWithOtherHeuristics = -1;
  a.ffmPreliminary = true;
  a.ffmRelaxations = 3;
  a.keySquare = 20;   // no control: carried through
  a.safeMode = true;  // likewise
  a.lfqmDepth = 8;
  states.push_back(a);
  THeuristicState b = With(SH_KEEPKINGWITHINEXTEDGE | SH_ASSERTBLACKKINGSURROUNDED | SH_DONTLOSEANYFIGURES |
                           SH_DONTLEAVEMAINDIAGONAL | SH_SEASNAKE | SH_KEYDIAGONAL | SH_ZUGZWANG);
  b.inclCorner = b.surroundedStrict = true;
  b.relaxOnAdvancedPawn = b.relaxAlsoPawns = b.relaxExtEdgeOnly = b.autoDynamicRelax = true;
  b.relaxOnFiguresCaptured = 1;
  b.deferCheck = 2;
  b.pawnsMode = 2;
  b.mainDiagonalSquare = 56;
  b.seaSnakeApproach = 1;
  b.seaSnakeTurnBack = 2;
  b.seaSnakePendulum[0] = 3;
  b.seaSnakePendulum[1] = 4;
  b.seaSnakeAfter = 5;
  b.keyDiagonal[0] = 7;
  b.keyDiagonal[1] = 56;
  b.zugzwangMoves = {"e2-e4"};
  b.zugzwangAfter = 3;
  states.push_back(b);
  states.push_back(THeuristicState{});
  for (const THeuristicState& s : states) {
    THeuristicState back;
    EXPECT_EQ(ValidateHeuristicSelection(SelectionOfState(s), 1, &back), "");
    EXPECT_EQ(back, s) << HeuristicSetText(s, false) << " / " << HeuristicSetText(back, false);
  }
}

// ------------------------------------------------------ known compositions

TEST(PredefinedIndications, EveryEntryIsAProblemOfTheReferenceTable) {
  std::map<std::string, TReferenceProblem> byId;
  for (const TReferenceProblem& r : ReadReferenceTable(test::SharedData("directmates.tsv"))) {
    TProblem p;
    ASSERT_TRUE(p.SetFen(r.fen)) << r.id;
    byId[TChessboardId(p.position.initialBoard).ToAlphanum6()] = r;
  }
  ASSERT_FALSE(PredefinedIndicationsTable().empty());
  for (const TPredefinedIndications& e : PredefinedIndicationsTable()) {
    const auto it = byId.find(e.positionId);
    ASSERT_NE(it, byId.end()) << e.positionId;
    TProblem p;
    p.moves = static_cast<uint16_t>(it->second.moves);
    ASSERT_TRUE(p.SetFen(it->second.fen));
    THeuristicState s;
    std::vector<TMove> moves;
    std::string error;
    EXPECT_TRUE(ApplyPredefinedIndications(p, s, &moves, &error)) << it->second.id << ": " << error;
    EXPECT_EQ(error, "");
    EXPECT_NE(s.set, 0u) << it->second.id;
    // A sort move given is a key of the problem.
    for (const TMove& m : moves) {
      const auto& keys = it->second.keys;
      EXPECT_NE(std::find(keys.begin(), keys.end(), MoveToUci(m)), keys.end()) << it->second.id;
    }
  }
}

TEST(PredefinedIndications, UnknownPositionsAndFailures) {
  TProblem p;
  p.moves = 9;
  ASSERT_TRUE(p.SetFen("8/7p/8/8/6N1/7p/8/5K1k w - - 0 1"));
  THeuristicState s;
  std::vector<TMove> moves;
  std::string error;
  ASSERT_TRUE(ApplyPredefinedIndications(p, s, &moves, &error));
  EXPECT_EQ(s.set, SH_KEEPKINGWITHINEXTEDGE);
  ASSERT_EQ(moves.size(), 1u);
  ASSERT_TRUE(ApplyPredefinedIndications(p, s, &moves, &error));  // no repeats
  EXPECT_EQ(moves.size(), 1u);

  TProblem other;
  ASSERT_TRUE(other.SetFen("4k3/8/8/8/8/8/8/4K2R w K - 0 1"));
  EXPECT_FALSE(ApplyPredefinedIndications(other, s, &moves, &error));
  EXPECT_EQ(error, "");
  EXPECT_EQ(FindPredefinedIndications("0"), nullptr);

  const THeuristicState before = s;
  EXPECT_FALSE(ApplyPredefinedIndicationText(p, "ExtEdge DLFU(h9)", s, &moves, &error));
  EXPECT_EQ(
      error,
      "Error occurred in ApplyPredefinedAdditionalHeuristics() : Invalid square description at index 14");
  EXPECT_FALSE(ApplyPredefinedIndicationText(p, "AssertBKS Kf1-f3", s, &moves, &error));
  EXPECT_EQ(error, "Error in predefined sort indications.");
  EXPECT_EQ(s, before);
  EXPECT_EQ(moves.size(), 1u);
}

}  // namespace
}  // namespace ostravel

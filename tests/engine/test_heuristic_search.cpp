// The rules of the special heuristics inside the search, each on a position
// of its type, the relaxation of a set pass by pass, and the promise that a
// heuristic pass never leaves a false key or a false "no mate" behind.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <set>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "chess/notation.h"
#include "chess/tables.h"
#include "engine/analysis.h"
#include "engine/heuristic_policy.h"
#include "engine/mate_search.h"
#include "engine/pass_plan.h"
#include "problems/reference_table.h"
#include "registers/temporary_register.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

// A line of play from a FEN: stack[0] is the position, stack[i] after the
// i-th move (UCI), linked as the search links its stack.
struct TLine {
  TTaskContext ctx;
  std::vector<TChessboard> stack;

  TLine(const std::string& fen, const std::vector<std::string>& moves) {
    stack.resize(moves.size() + 1);
    EXPECT_TRUE(FenToBoard(fen, stack[0], ctx)) << fen;
    ValidateAndRecount(stack[0]);
    SetRootPlies(stack[0], stack[0].WhiteToMove() ? 21 : 22);
    stack[0].previous = nullptr;
    for (size_t i = 0; i < moves.size(); ++i) {
      TMove m;
      EXPECT_TRUE(ParseUciMove(stack[i], moves[i], m)) << moves[i] << " in " << fen;
      PlayMove(stack[i], stack[i + 1], m);
    }
  }
  int Last() const { return static_cast<int>(stack.size()) - 1; }
};

THeuristicPolicy PolicyOf(const THeuristicState& h, const TChessboard& root) {
  TSearchSettings s;
  s.heuristics = std::make_shared<const THeuristicState>(h);
  THeuristicPolicy p(s);
  p.Prepare(root);
  return p;
}

THeuristicState Set(uint32_t bits) {
  THeuristicState h;
  h.set = bits;
  return h;
}

// Black's last move broke the rule: the White node at the end of the line.
bool Broken(const THeuristicState& h, const std::string& fen, const std::vector<std::string>& moves,
            int plies = 9) {
  TLine line(fen, moves);
  return PolicyOf(h, line.stack[0]).Violated(line.stack.data(), line.Last(), plies);
}

// ---------------------------------------------------------------- the Black king's freedom

constexpr const char* kRookEnding = "k7/8/8/8/8/8/8/1R2K3 b - - 0 1";  // Black to move: Ka8

TEST(HeuristicRules, EdgeRulesJudgeTheBlackKingsSquare) {
  const auto edge = Set(SH_KEEPKINGONTHEEDGE);
  EXPECT_FALSE(Broken(edge, kRookEnding, {"a8a7"}));                      // along the edge
  EXPECT_TRUE(Broken(edge, "8/k7/8/8/8/8/8/2R1K3 b - - 0 1", {"a7b6"}));  // into the board
  THeuristicState corner = edge;
  corner.inclCorner = true;
  EXPECT_FALSE(Broken(corner, "8/k7/8/8/8/8/8/2R1K3 b - - 0 1", {"a7b7"}));  // b7 counts with the corners

  const auto ext = Set(SH_KEEPKINGWITHINEXTEDGE);
  EXPECT_FALSE(Broken(ext, "8/k7/8/8/8/8/8/2R1K3 b - - 0 1", {"a7b6"}));
  EXPECT_TRUE(Broken(ext, "8/8/1k6/8/8/8/8/4K2R b - - 0 1", {"b6c5"}));
  THeuristicState extStrict = ext;
  extStrict.extEdgeStrict = true;  // once on the edge, it stays there
  EXPECT_TRUE(Broken(extStrict, "8/k7/8/8/8/8/8/2R1K3 b - - 0 1", {"a7b6"}));
  EXPECT_FALSE(Broken(extStrict, "8/8/1k6/8/8/8/8/4K2R b - - 0 1", {"b6a6"}));
}

TEST(HeuristicRules, DontLetKingMoveAndItsExceptions) {
  THeuristicState strict = Set(SH_KEEPKINGONTHEEDGE);
  strict.edgeStrict = true;
  EXPECT_TRUE(Broken(strict, kRookEnding, {"a8a7"}));
  EXPECT_FALSE(Broken(strict, "k7/p7/8/8/8/8/8/1R2K3 w - - 0 1", {"e1e2", "a7a6"}));  // a pawn moved
  THeuristicState almost = strict;
  almost.edgeAlmostStrict = true;  // a king move back onto the edge is let go
  EXPECT_FALSE(Broken(almost, kRookEnding, {"a8a7"}));
  EXPECT_TRUE(Broken(almost, "8/k7/8/8/8/8/8/2R1K3 b - - 0 1", {"a7b6"}));
}

TEST(HeuristicRules, KingNearCornerCountsSquaresFromTheNearestCorner) {
  THeuristicState h = Set(SH_KEEPKINGNEARCORNER);
  h.cornerDistance = 2;
  EXPECT_FALSE(Broken(h, "8/8/8/8/8/1k6/8/4K2R b - - 0 1", {"b3c3"}));  // two from a1
  EXPECT_TRUE(Broken(h, "8/8/8/8/8/2k5/8/4K2R b - - 0 1", {"c3d4"}));
  h.cornerDistance = -2;  // as king moves: the same measure
  EXPECT_TRUE(Broken(h, "8/8/8/8/8/2k5/8/4K2R b - - 0 1", {"c3d4"}));
}

TEST(HeuristicRules, DynamicRelaxationAndDeferredCheck) {
  constexpr const char* kPawnAt6 = "8/8/1k4P1/8/8/8/8/4K2R b - - 0 1";
  THeuristicState edge = Set(SH_KEEPKINGONTHEEDGE);
  EXPECT_TRUE(Broken(edge, kPawnAt6, {"b6c5"}));
  edge.relaxOnAdvancedPawn = true;  // a pawn on the sixth rank changes the ending
  EXPECT_FALSE(Broken(edge, kPawnAt6, {"b6c5"}));

  // Black's knight is taken: one capture relaxes the rule.
  THeuristicState captured = Set(SH_KEEPKINGWITHINEXTEDGE);
  captured.relaxOnFiguresCaptured = 1;
  EXPECT_FALSE(Broken(captured, "8/8/2k5/8/4n3/8/8/4KR2 w - - 0 1", {"f1f4", "c6d5", "f4e4", "d5d6"}));
  EXPECT_TRUE(Broken(captured, "8/8/2k5/8/4n3/8/8/4KR2 w - - 0 1", {"f1f2", "c6d5"}));

  // Deferred by one move: the first breach stands, a second in a row does not.
  THeuristicState deferred = Set(SH_KEEPKINGWITHINEXTEDGE);
  deferred.deferCheck = 1;
  constexpr const char* kOpen = "8/8/8/2k5/8/8/8/4K2R w - - 0 1";
  EXPECT_FALSE(Broken(deferred, kOpen, {"h1h2", "c5d4"}));
  EXPECT_TRUE(Broken(deferred, kOpen, {"h1h2", "c5d4", "h2h3", "d4d5"}));
}

TEST(HeuristicRules, SurroundedKingAndKingsNear) {
  THeuristicState bks = Set(SH_ASSERTBLACKKINGSURROUNDED);
  // Ka8 with the rook on b1: a7 free, b7 and b8 covered: one free square.
  EXPECT_FALSE(Broken(bks, "k7/8/8/8/8/8/8/1R2K3 w - - 0 1", {"e1e2", "a8a7"}));
  EXPECT_TRUE(Broken(bks, "8/8/8/3k4/8/8/8/R3K3 w - - 0 1", {"e1e2", "d5d6"}));

  const auto near = Set(SH_AREKINGSNEAR);
  // Kings seven squares apart with two White moves left: too far.
  EXPECT_TRUE(Broken(near, "k7/8/8/8/8/8/8/1R5K w - - 0 1", {"h1g1", "a8a7"}, 3));
  EXPECT_FALSE(Broken(near, "k7/8/8/8/8/8/8/1R5K w - - 0 1", {"h1g1", "a8a7"}, 13));
}

// ---------------------------------------------------------------- White's men

TEST(HeuristicRules, LossesOfWhiteMen) {
  constexpr const char* kKnightEnPrise = "4k3/8/8/8/8/8/3n4/R3K1N1 b - - 0 1";
  EXPECT_TRUE(Broken(Set(SH_DONTLOSEANYFIGURES), "4k3/8/8/8/8/8/8/r2NK3 b - - 0 1", {"a1d1"}));
  EXPECT_FALSE(Broken(Set(SH_DONTLOSEANYFIGURES), kKnightEnPrise, {"d2f3"}));
  // A pawn counts only with the pawns mode, a promotable one with mode 2.
  constexpr const char* kPawns = "4k3/8/2P5/1r6/8/8/3P4/4K3 b - - 0 1";
  THeuristicState h = Set(SH_DONTLOSEANYFIGURES);
  EXPECT_FALSE(Broken(h, kPawns, {"b5b6", "d2d3", "b6c6"}));
  h.pawnsMode = 2;
  EXPECT_TRUE(Broken(h, kPawns, {"b5b6", "d2d3", "b6c6"}));
  EXPECT_FALSE(Broken(h, "4k3/8/8/8/8/8/2rP4/4K3 w - - 0 1", {"e1f1", "c2d2"}));
  h.pawnsMode = 1;
  EXPECT_TRUE(Broken(h, "4k3/8/8/8/8/8/2rP4/4K3 w - - 0 1", {"e1f1", "c2d2"}));

  // The last rook taken: doubtful, unless a pawn is about to promote.
  EXPECT_TRUE(Broken(Set(SH_SAVEQUEENROOK), "r3k3/8/8/8/8/8/8/R3K3 b - - 0 1", {"a8a1"}));
  EXPECT_FALSE(Broken(Set(SH_SAVEQUEENROOK), "r3k3/1P6/8/8/8/8/8/R3K3 b - - 0 1", {"a8a1"}));
}

TEST(HeuristicRules, PromotedBlackMenAndQueenChecks) {
  constexpr const char* kPromotion = "4k3/8/8/8/8/8/p7/4K2R b - - 0 1";
  EXPECT_TRUE(Broken(Set(SH_DONTLETPROMOTEDQUEENMOVE), kPromotion, {"a2a1q"}));
  EXPECT_FALSE(Broken(Set(SH_DONTLETPROMOTEDQUEENMOVE), kPromotion, {"a2a1n"}));
  EXPECT_TRUE(Broken(Set(SH_DONTLETPROMOTEDFIGUREMOVE), kPromotion, {"a2a1n"}));
  // En prise to the rook on h1: let go, unless strict.
  constexpr const char* kEnPrise = "4k3/8/8/8/8/8/6p1/4K2R b - - 0 1";
  THeuristicState h = Set(SH_DONTLETPROMOTEDQUEENMOVE);
  EXPECT_FALSE(Broken(h, kEnPrise, {"g2g1q"}));
  h.promotedStrict = true;
  EXPECT_TRUE(Broken(h, kEnPrise, {"g2g1q"}));

  const auto twice = Set(SH_DONTLETBLACKQUEENCHECKTWICE);
  constexpr const char* kQueens = "4k3/8/8/8/8/8/q7/4K2R b - - 0 1";
  EXPECT_FALSE(Broken(twice, kQueens, {"a2a5"}));
  EXPECT_FALSE(Broken(twice, kQueens, {"a2e6", "e1f1", "e6d6"}));
  EXPECT_TRUE(Broken(twice, kQueens, {"a2e6", "e1f1", "e6f6"}));
}

TEST(HeuristicRules, FigureNotLetUnblock) {
  THeuristicState h = Set(SH_DONTLETFIGUREUNBLOCK);
  h.blockedSquares = {SquareOf(4, 6)};  // e7
  h.dlfuDynamic = false;
  constexpr const char* kBishop = "4k3/4b3/8/8/8/8/8/R3K3 b - - 0 1";
  EXPECT_FALSE(Broken(h, kBishop, {"e7d6"}));  // one square off
  EXPECT_TRUE(Broken(h, kBishop, {"e7c5"}));   // gone
  EXPECT_FALSE(Broken(h, kBishop, {"e8d8"}));  // another man moved
  // Dynamically: a Black man with no move at the start is guarded too.
  THeuristicState dyn = Set(SH_DONTLETFIGUREUNBLOCK);
  TLine line("4k3/8/8/8/8/p7/P7/R3K3 w - - 0 1", {});
  EXPECT_EQ(THeuristicPolicy::BlockedBlackFigures(line.stack[0]), std::vector<int>{SquareOf(0, 2)});
  (void)dyn;
}

TEST(HeuristicRules, KeyLineDiagonalAndSquare) {
  THeuristicState line = Set(SH_KEYLINE);
  line.keyLine = 0;  // the a-file
  EXPECT_FALSE(Broken(line, "4k3/8/8/8/8/8/8/R3K3 w - - 0 1", {"a1a5", "e8d8"}));
  EXPECT_TRUE(Broken(line, "4k3/8/8/8/8/8/8/R3K3 w - - 0 1", {"a1b1", "e8d8"}));

  THeuristicState diag = Set(SH_KEYDIAGONAL);
  diag.keyDiagonal[0] = kA1;
  diag.keyDiagonal[1] = kH8;
  EXPECT_FALSE(Broken(diag, "6k1/8/8/8/8/8/1B6/4K3 w - - 0 1", {"b2d4", "g8f7"}));
  EXPECT_TRUE(Broken(diag, "6k1/8/8/8/8/8/1B6/4K3 w - - 0 1", {"b2a3", "g8f7"}));

  THeuristicState square = Set(SH_KEYSQUARE);
  square.keySquare = SquareOf(3, 6);  // d7
  EXPECT_FALSE(Broken(square, "4k3/8/8/8/8/8/8/3RK3 w - - 0 1", {"e1e2", "e8f8"}));
  EXPECT_TRUE(Broken(square, "4k3/8/8/8/8/8/8/3RK3 w - - 0 1", {"d1c1", "e8f8"}));
}

TEST(HeuristicRules, BlockedPawnsLevelAndKnightCapture) {
  const auto level = Set(SH_USEBLOCKBLACKPAWNSLEVEL);
  // The pawn on c5 is blocked by c4; once it is taken the level drops.
  constexpr const char* kBlocked = "4k3/8/8/2p5/2P5/8/8/R3K3 w - - 0 1";
  EXPECT_FALSE(Broken(level, kBlocked, {"a1a2", "e8d8"}));
  EXPECT_TRUE(Broken(level, kBlocked, {"a1a5", "e8d8", "a5c5", "d8e8"}));
  EXPECT_TRUE(Broken(Set(SH_CAPTUREKNIGHT), "4k3/8/8/8/8/8/8/n3K2R w - - 0 1", {"h1h2", "a1b3"}, 3));
  EXPECT_FALSE(Broken(Set(SH_CAPTUREKNIGHT), "4k3/8/8/8/8/8/8/n3K2R w - - 0 1", {"h1h2", "a1b3"}, 7));
}

// ---------------------------------------------------------------- White's moves

THeuristicPolicy::TWhiteVerdict Verdict(const THeuristicState& h, const std::string& fen,
                                        const std::string& uci, int k = 9) {
  TLine line(fen, {uci});
  return PolicyOf(h, line.stack[0]).WhiteMove(line.stack[0], line.stack[1].lastMove, line.stack[1], k);
}

TEST(HeuristicRules, WhiteMovesLeftOut) {
  using V = THeuristicPolicy::TWhiteVerdict;
  const auto recede = Set(SH_DONTRECEDEBLACKKING);
  EXPECT_EQ(Verdict(recede, "7k/8/8/8/8/4K3/8/7R w - - 0 1", "e3d2"), V::kCut);
  EXPECT_EQ(Verdict(recede, "7k/8/8/8/8/4K3/8/7R w - - 0 1", "e3f4"), V::kSearch);
  // A rule never cuts the mating move: Kf6-f5 is no mate, Rh1-h8 is.
  EXPECT_EQ(Verdict(recede, "5k2/8/5K2/8/8/8/8/7R w - - 0 1", "f6f5"), V::kCut);
  EXPECT_EQ(Verdict(Set(SH_SINGLEQUEENMATE), "5k2/8/5K2/8/8/8/8/7R w - - 0 1", "h1h8"), V::kSearch);

  THeuristicState diag = Set(SH_DONTLEAVEMAINDIAGONAL);
  EXPECT_EQ(Verdict(diag, "4k3/8/8/8/8/8/1B6/4K3 w - - 0 1", "b2c3"), V::kSearch);
  EXPECT_EQ(Verdict(diag, "4k3/8/8/8/8/8/1B6/4K3 w - - 0 1", "b2a3"), V::kCut);

  THeuristicState key = Set(SH_KEYWHITEFIGURE);
  key.keyWhiteFigure = kA1;
  EXPECT_EQ(Verdict(key, "4k3/8/8/8/8/8/8/R3K3 w - - 0 1", "a1a2"), V::kCut);
  EXPECT_EQ(Verdict(key, "4k3/8/8/8/8/8/8/R3K3 w - - 0 1", "e1d2"), V::kSearch);
}

TEST(HeuristicRules, FindForcedMateLevels) {
  using V = THeuristicPolicy::TWhiteVerdict;
  THeuristicState checks = Set(SH_FINDFORCEDMATE);
  checks.ffmLevel = kFfmCheckOnly;
  constexpr const char* kPos = "4k3/8/8/8/8/8/8/R3K3 w - - 0 1";
  EXPECT_EQ(Verdict(checks, kPos, "a1a8"), V::kSearch);  // check
  EXPECT_EQ(Verdict(checks, kPos, "a1a2"), V::kCut);
  EXPECT_EQ(Verdict(checks, kPos, "a1a2", 1), V::kSearch);  // the last move is never cut
  THeuristicState threat = checks;
  threat.ffmLevel = kFfmMate1;
  EXPECT_EQ(Verdict(threat, kPos, "a1a2"), V::kIfThreat);
  // Promotions are always searched.
  EXPECT_EQ(Verdict(checks, "8/P6k/8/8/8/8/8/4K3 w - - 0 1", "a7a8q"), V::kSearch);
}

// Knows the three-man positions where White has a lone knight: a draw, as
// every such position is. Of the rest it knows nothing, so what it says may
// be stored as exact.
class TLoneKnightProbe : public IPositionProbe {
 public:
  int MaxMen() const override { return 3; }
  TProbeAnswer Probe(const TChessboard& pos, int) override {
    ++calls;
    EXPECT_EQ(std::popcount(pos.occupied[0] | pos.occupied[1]), 3);
    uint64_t white = pos.occupied[0];
    while (white) {
      const int sq = tables::PopLsb(white);
      if (pos.board[sq] == WN) {
        ++draws;
        return {TProbeStatus::kNoMate, 0};
      }
    }
    return {};
  }
  std::atomic<int> calls{0};
  std::atomic<int> draws{0};
};

// #3 by 1.Kg6 and the pawn's promotion: Black cannot take the knight, so
// every White node on the way keeps its four men, and without the pawn
// (White's least valuable man) it is a lone knight, never a mate. The rule
// makes all those lines doubtful and the pass finds no key; the exact search
// on the same register still finds it.
TEST(HeuristicRules, ReductionToAStoredPosition) {
  TLine line("7k/8/4P3/5K2/8/7N/8/8 w - - 0 1", {});
  TChessboard root = line.stack[0];
  SetRootPlies(root, 5);
  TLoneKnightProbe probe;
  TSearchSettings st;
  st.bruteForce = false;
  st.computeVariations = false;
  st.heuristics = std::make_shared<const THeuristicState>(Set(SH_REDUCTIONTOGLOBREGPOS));
  st.probe = &probe;
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(16384, 0);
  TMateSearch heuristic(st, reg);
  DispatchFindMateFFM(heuristic, root, 3);
  EXPECT_TRUE(heuristic.Solutions().empty());
  EXPECT_GT(probe.draws.load(), 0);

  TSearchSettings exactSettings;
  exactSettings.computeVariations = false;
  TMateSearch exact(exactSettings, reg);
  exact.FindForcedMate(root, 3);
  std::set<std::string> keys;
  for (const auto& k : exact.Solutions()) keys.insert(MoveToUci(k.key));
  EXPECT_EQ(keys, (std::set<std::string>{"f5g6"}));

  // Without the rule the same pass finds the key.
  TSearchSettings plain = st;
  plain.heuristics = std::make_shared<const THeuristicState>(Set(SH_KEEPKINGWITHINEXTEDGE));
  TMateSearch unruled(plain, std::make_shared<TAggregatedTemporaryChessboardRegister>(16384, 0));
  DispatchFindMateFFM(unruled, root, 3);
  ASSERT_EQ(unruled.Solutions().size(), 1u);
  EXPECT_EQ(MoveToUci(unruled.Solutions()[0].key), "f5g6");
}

// ---------------------------------------------------------------- passes

TEST(HeuristicPasses, RelaxationGoesStepByStepAndEnds) {
  THeuristicState h;
  h.set = SH_FINDFORCEDMATE | SH_KEEPKINGONTHEEDGE | SH_ASSERTBLACKKINGSURROUNDED;
  h.ffmLevel = h.ffmInitialLevel = kFfmMate1;
  h.ffmRelaxations = 2;
  h.edgeStrict = true;
  h.surroundedStrict = true;
  const auto steps = RelaxationSteps(h);
  ASSERT_GE(steps.size(), 6u);
  // FindForcedMate first: #1 -> #1+ -> #2, then gone.
  EXPECT_EQ(steps[0].ffmLevel, kFfmMate1Plus);
  EXPECT_EQ(steps[1].ffmLevel, kFfmMate2);
  EXPECT_FALSE(steps[2].set & SH_FINDFORCEDMATE);
  // Every step changes the set, none is empty, and the edge rule widens.
  for (size_t i = 0; i < steps.size(); ++i) {
    EXPECT_NE(steps[i].set, 0u);
    if (i) {
      EXPECT_FALSE(steps[i] == steps[i - 1]);
    }
  }
  EXPECT_TRUE(std::any_of(steps.begin(), steps.end(), [](const THeuristicState& s) {
    return (s.set & SH_KEEPKINGWITHINEXTEDGE) && !(s.set & SH_KEEPKINGONTHEEDGE);
  }));
  EXPECT_TRUE(RelaxationSteps(THeuristicState{}).empty());

  const auto texts = RelaxationPathTexts(h);
  ASSERT_EQ(texts.size(), steps.size() + 2);
  EXPECT_EQ(texts.front().rfind("Pass 1: ", 0), 0u);
  EXPECT_EQ(texts[1].rfind("Pass 1b: ", 0), 0u);
  EXPECT_EQ(texts.back().rfind("Pass 2: ", 0), 0u);
}

TEST(HeuristicPasses, TimeDependentStepAroundItsLimit) {
  std::string line;
  EXPECT_TRUE(TimeDependentRelaxation(799, &line));
  EXPECT_EQ(line, "");
  EXPECT_TRUE(TimeDependentRelaxation(800, &line));
  EXPECT_EQ(line,
            "Time dependent relaxation near the limit: calcTime=800msec.; limit=1000msec."
            "(additional relaxation accepted)");
  EXPECT_FALSE(TimeDependentRelaxation(1000, &line));
  EXPECT_EQ(line,
            "Time dependent relaxation near the limit: calcTime=1000msec.; limit=1000msec."
            "(additional relaxation refused)");
  EXPECT_FALSE(TimeDependentRelaxation(1201, &line));
  EXPECT_EQ(line, "");
}

// ---------------------------------------------------------------- no false key, no false "no mate"

// Checks only, on a #3 of quiet moves: what the set cannot mate is kept in
// its own sub-register, and an exact search on the same register
// afterwards still finds the key.
TEST(HeuristicPasses, DoubtfulResultsStayInTheSetsSubRegister) {
  TLine line("8/8/3K4/2R5/8/2Pk4/5Q2/8 w - - 0 1", {});  // vaeth-55, #3, key Kd6-d7
  TChessboard root = line.stack[0];
  SetRootPlies(root, 5);
  THeuristicState h = Set(SH_FINDFORCEDMATE);
  h.ffmLevel = kFfmCheckOnly;
  TSearchSettings st;
  st.bruteForce = false;
  st.computeVariations = false;
  st.heuristics = std::make_shared<const THeuristicState>(h);
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(16384, 0);
  TMateSearch heuristic(st, reg);
  DispatchFindMateFFM(heuristic, root, 3);
  const auto keys = heuristic.Register().SubRegisterKeys();
  EXPECT_NE(std::find(keys.begin(), keys.end(), SubRegisterKey(h.set, HeuristicParameterDigest(h))),
            keys.end());

  TSearchSettings exactSettings;
  exactSettings.computeVariations = false;
  TMateSearch exact(exactSettings, reg);
  exact.FindForcedMate(root, 3);
  ASSERT_EQ(exact.Solutions().size(), 1u);
  EXPECT_EQ(MoveToUci(exact.Solutions()[0].key), "d6d7");
  EXPECT_TRUE(exact.Solutions()[0].confirmed);
}

// Heuristic passes, then pass 2, on the complete rows of n moves: exactly the
// listed keys, every one proved, and the key set proved complete.
void CheckRowsWithHeuristics(int minMoves, int maxMoves, const std::string& heuristics) {
  const auto table = ReadReferenceTable(test::SharedData("directmates.tsv"));
  int checked = 0;
  for (const auto& p : table) {
    if (!p.complete || p.moves < minMoves || p.moves > maxMoves) continue;
    TBenchOptions o;
    o.heuristics = heuristics;
    const TBenchRowResult row = BenchRow(p, o);
    ASSERT_TRUE(row.refusal.empty()) << p.id << ": " << row.refusal;
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    EXPECT_EQ(row.keys, want) << p.id << " with " << heuristics;
    EXPECT_TRUE(row.candidates.empty()) << p.id << ": a key left unproved";
    EXPECT_TRUE(row.complete) << p.id;
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

TEST(HeuristicPasses, AutoSetThenPass2GivesTheExactKeySetsUpToFourMovers) {
  CheckRowsWithHeuristics(1, 4, "auto");
}

// The harshest sets cut nearly everything: what they leave doubtful must not
// reach the exact register that pass 2 searches with.
TEST(HeuristicPasses, HarshSetsLeaveNoFalseNoMateForPass2) {
  CheckRowsWithHeuristics(2, 3, "DontLetKingMove FFM(0)");
  CheckRowsWithHeuristics(2, 3, "AssertBKS(strict) ExtEdge");
}

TEST(HeuristicPasses, FiveMoversWithAutoSet) {
  CheckRowsWithHeuristics(5, 5, "auto");
}

}  // namespace
}  // namespace ostravel

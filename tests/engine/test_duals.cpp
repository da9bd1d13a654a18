// Duals in the variations: after each defence the solution lists every White
// answer that mates (or goes on to mate) as quickly as any, checked against
// an independent search of the position after the defence.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/mate_search.h"

namespace ostravel {
namespace {

struct TSolved {
  std::vector<TSolution> solutions;
  std::string fen;
};

TSolved Solve(const std::string& fen, int n, bool duals) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  TSearchSettings st;
  st.showDuals = duals;
  TMateSearch search(st);
  search.FindForcedMate(root, n);
  search.Explain(root, n);
  return {search.Solutions(), fen};
}

// White to move in fen: the quickest mate's length (moves) and every first
// move that reaches it, from the keys of a search of that position itself.
std::pair<int, std::set<std::string>> Quickest(const std::string& fen, int maxMoves) {
  for (int k = 1; k <= maxMoves; ++k) {
    std::set<std::string> keys;
    for (const TSolution& s : Solve(fen, k, false).solutions)
      if (s.mateIn == k) keys.insert(MoveToUci(s.key));
    if (!keys.empty()) return {k, keys};
  }
  return {0, {}};
}

// The FEN of `after` = `before` + m, with the e.p. square a double step
// gives (the board's own FEN leaves it to the task) and plain counters.
std::string FenAfter(const TChessboard& before, const TChessboard& after, const TMove& m) {
  std::string fen = BoardToFen(after);
  std::vector<std::string> fields;
  for (size_t at = 0, next; at <= fen.size(); at = next + 1) {
    next = std::min(fen.find(' ', at), fen.size());
    fields.push_back(fen.substr(at, next - at));
  }
  EXPECT_GE(fields.size(), 4u) << fen;
  const int step = static_cast<int>(m.to) - static_cast<int>(m.from);
  if (KindOf(before.board[m.from]) == kPawn && (step == 16 || step == -16)) {
    const int ep = (m.from + m.to) / 2;
    fields[3] = std::string{static_cast<char>('a' + ep % 8), static_cast<char>('1' + ep / 8)};
  }
  return fields[0] + " " + fields[1] + " " + fields[2] + " " + fields[3] + " 0 1";
}

// Walks every variation below `board` (Black to move, `moves` White moves
// left) and compares each defence's answers with Quickest(); counts duals.
int CheckVariations(const TChessboard& board, const std::vector<TVariation>& vs, int moves) {
  int duals = 0;
  for (const TVariation& v : vs) {
    TChessboard afterDefence, afterAnswer;
    PlayMove(board, afterDefence, v.black);
    const std::string fen = FenAfter(board, afterDefence, v.black);
    const auto [length, expected] = Quickest(fen, moves);
    std::set<std::string> listed{MoveToUci(v.white)};
    for (const TMove& d : v.duals) listed.insert(MoveToUci(d));
    EXPECT_EQ(listed.size(), v.duals.size() + 1) << fen;
    EXPECT_EQ(listed, expected) << "after " << v.blackText << ": " << fen;
    EXPECT_EQ(v.mate, length == 1) << fen;
    EXPECT_EQ(v.dualTexts.size(), v.duals.size());
    duals += !v.duals.empty();
    PlayMove(afterDefence, afterAnswer, v.white);
    duals += CheckVariations(afterAnswer, v.next, length - 1);
  }
  return duals;
}

int CheckSolutions(const TSolved& solved, int n) {
  TTaskContext ctx;
  TChessboard root, afterKey;
  EXPECT_TRUE(FenToBoard(solved.fen, root, ctx));
  ValidateAndRecount(root);
  int duals = 0;
  for (const TSolution& s : solved.solutions) {
    PlayMove(root, afterKey, s.key);
    duals += CheckVariations(afterKey, s.variations, (s.mateIn ? s.mateIn : n) - 1);
  }
  return duals;
}

struct TDualCase {
  const char* fen;
  int n;
  int variationsWithDuals;  // at least this many
};

// Two-movers whose duals are plain to see (promotions to queen or rook on
// two files, a bishop or queen mating on the same line), a three-mover, and
// a problem without duals.
TEST(Duals, EveryQuickestAnswerIsListed) {
  const TDualCase cases[] = {
      {"4n3/2p1p1pp/2PP1k1P/3K1P2/4PRR1/1Qp1p3/3b4/4q3 w - - 0 1", 2, 2},  // 1...Qe2 2.Qe6#, 2.e5#
      {"4K3/8/4k3/2PpppP1/8/2P1Q1P1/4B3/8 w - - 0 1", 2, 2},               // 1...d4 2.Bc4#, 2.Qc6#
      {"6k1/2P1Pp2/2p2p1K/8/2Q5/4r2b/8/8 w - - 0 1", 2, 2},                // four promotions mate
      {"8/2P5/8/8/8/8/N7/k1K5 w - - 0 1", 3, 0},
  };
  for (const TDualCase& c : cases) {
    const TSolved solved = Solve(c.fen, c.n, true);
    ASSERT_FALSE(solved.solutions.empty()) << c.fen;
    EXPECT_GE(CheckSolutions(solved, c.n), c.variationsWithDuals) << c.fen;
  }
}

// Without duals each defence keeps one answer, the one listed first with
// duals, and the rest of the tree is the same.
TEST(Duals, OneAnswerPerDefenceWhenSwitchedOff) {
  const std::string fen = "6k1/2P1Pp2/2p2p1K/8/2Q5/4r2b/8/8 w - - 0 1";
  const TSolved with = Solve(fen, 2, true), without = Solve(fen, 2, false);
  ASSERT_EQ(with.solutions.size(), without.solutions.size());
  int duals = 0;
  for (size_t i = 0; i < with.solutions.size(); ++i) {
    const auto& a = with.solutions[i].variations;
    const auto& b = without.solutions[i].variations;
    ASSERT_EQ(a.size(), b.size());
    for (size_t j = 0; j < a.size(); ++j) {
      EXPECT_TRUE(b[j].duals.empty());
      EXPECT_TRUE(a[j].white.SameAs(b[j].white)) << a[j].blackText;
      duals += static_cast<int>(a[j].duals.size());
    }
  }
  EXPECT_GT(duals, 0);
}

}  // namespace
}  // namespace ostravel

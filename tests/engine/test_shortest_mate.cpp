// Deepening to the shortest mate over one shared register, and the
// principal variation read from a solution's tree.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "chess/notation.h"
#include "engine/shortest_mate.h"

namespace ostravel {
namespace {

TSolveRequest Request(const std::string& fen) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen)) << fen;
  r.threads = 1;
  r.computeVariations = true;
  return r;
}

std::vector<std::string> Uci(const std::vector<TMove>& moves) {
  std::vector<std::string> out;
  for (const TMove& m : moves) out.push_back(MoveToUci(m));
  return out;
}

TEST(ShortestMate, DeepensToTheFirstLengthWithAMate) {
  std::vector<int> noMate;
  TShortestMateOptions o;
  o.onNoMate = [&](int moves, uint64_t) { noMate.push_back(moves); };
  const TShortestMateResult r = FindShortestMate(Request("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1"), o);
  EXPECT_TRUE(r.error.empty()) << r.error;
  EXPECT_FALSE(r.stopped);
  EXPECT_EQ(noMate, std::vector<int>{1});
  EXPECT_EQ(r.noMateIn, 1);
  ASSERT_EQ(r.keys.size(), 2u);
  for (const TSolution& s : r.keys) {
    EXPECT_EQ(s.mateIn, 2);
    // Key, Black's longest resistance, the mate.
    EXPECT_EQ(PrincipalVariation(s).size(), 3u) << s.keyText;
  }
  EXPECT_GT(r.nodes, 0u);
}

TEST(ShortestMate, ALimitedRangeReportsHowFarNoMateExists) {
  TShortestMateOptions o;
  o.toMoves = 2;
  o.registerMB = 4;  // a small budget still serves both lengths
  const TShortestMateResult r = FindShortestMate(Request("8/8/8/8/8/8/8/k1K5 w - - 0 1"), o);
  EXPECT_TRUE(r.keys.empty());
  EXPECT_EQ(r.noMateIn, 2);
  EXPECT_FALSE(r.stopped);

  // One length only: every key of it, shorter mates included, shortest first.
  o.fromMoves = o.toMoves = 2;
  const TShortestMateResult one = FindShortestMate(Request("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1"), o);
  ASSERT_FALSE(one.keys.empty());
  EXPECT_EQ(one.keys.front().mateIn, 1);
  EXPECT_EQ(Uci(PrincipalVariation(one.keys.front())), std::vector<std::string>{"a1a8"});
  for (size_t i = 1; i < one.keys.size(); ++i) EXPECT_LE(one.keys[i - 1].mateIn, one.keys[i].mateIn);
}

TEST(ShortestMate, StopAndTimeLimitEndTheSearch) {
  const TSolveRequest start = Request("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  std::atomic<bool> stop{true};
  TShortestMateOptions o;
  o.stop = &stop;
  TShortestMateResult r = FindShortestMate(start, o);
  EXPECT_TRUE(r.stopped);
  EXPECT_EQ(r.noMateIn, 0);
  stop = false;
  o.timeLimit = 0.3;
  int ticks = 0;
  o.onTick = [&](int, TEngine&, uint64_t) { ++ticks; };
  r = FindShortestMate(start, o);
  EXPECT_TRUE(r.stopped);
  EXPECT_TRUE(r.keys.empty());
  EXPECT_GT(ticks, 0);
}

TEST(ShortestMate, TreeDepthCountsWhiteMoves) {
  TVariation mate;
  mate.mate = true;
  TVariation longer;
  longer.next = {mate};
  TSolution s;
  s.variations = {mate, longer};
  EXPECT_EQ(TreeDepth({}), 0);
  EXPECT_EQ(TreeDepth(s.variations), 2);
  // The longer resistance is the principal one.
  EXPECT_EQ(PrincipalVariation(s).size(), 5u);
}

}  // namespace
}  // namespace ostravel

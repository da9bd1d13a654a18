// The search's counters: the build that gathers them searches exactly the
// same nodes as the normal one, and its figures add up.
#include <gtest/gtest.h>

#include <set>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/analysis.h"
#include "engine/mate_search.h"

namespace ostravel {
namespace {

struct TStatsRun {
  std::set<std::string> keys;
  uint64_t nodes = 0;
  TSearchStats stats;
};

TStatsRun Solve(const std::string& fen, int n, bool stats, int threads = 1, int levels = 1) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  TSearchSettings ss;
  ss.collectStats = stats;
  ss.threads = threads;
  ss.levels = levels;
  ss.smallRegister = true;
  TMateSearch s(ss);
  EXPECT_EQ(DispatchFindMateFFM(s, root, n), kResMate) << fen;
  TStatsRun r;
  for (const auto& sol : s.Solutions()) r.keys.insert(MoveToUci(sol.key));
  r.nodes = s.Nodes();
  r.stats = s.Stats();
  return r;
}

void ExpectConsistent(const TSearchStats& st, uint64_t nodes) {
  EXPECT_EQ(st.TotalNodes(), nodes);
  ASSERT_GE(st.plies.size(), 2u);
  EXPECT_EQ(st.plies[0].nodes, 0u);  // the root is not counted as a node
  for (size_t i = 0; i < st.plies.size(); ++i) {
    const TSearchPlyStats& p = st.plies[i];
    EXPECT_LE(p.regHits, p.regProbes) << "ply " << i;
    EXPECT_LE(p.firstCuts, p.cutNodes) << "ply " << i;
  }
  EXPECT_GT(st.mate1Calls, 0u);
  EXPECT_LE(st.mate1Found, st.mate1Calls);
  EXPECT_LE(st.mate1Nodes, nodes);
  EXPECT_LE(st.mate2Nodes, nodes);
  EXPECT_LE(st.mate3Nodes, nodes);
}

TEST(SearchStats, SameSearchAndFiguresAddUp) {
  const struct {
    const char* fen;
    int n;
  } cases[] = {
      {"1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1", 5},
      {"8/8/2K1k1B1/5N2/8/1p6/1B6/8 w - - 0 1", 5},
      // A castling right at the root: the second register's stores count too.
      {"5Q2/8/2P1pP2/4k3/4P3/8/4N3/R3K2R w KQ - 0 1", 3},
  };
  for (const auto& c : cases) {
    const TStatsRun plain = Solve(c.fen, c.n, false);
    const TStatsRun counted = Solve(c.fen, c.n, true);
    EXPECT_EQ(plain.keys, counted.keys) << c.fen;
    EXPECT_EQ(plain.nodes, counted.nodes) << c.fen;
    EXPECT_TRUE(plain.stats.Empty());
    ExpectConsistent(counted.stats, counted.nodes);
    uint64_t stores = 0;
    for (const auto& p : counted.stats.plies) stores += p.regStores;
    if (c.n >= 3) {
      EXPECT_GT(stores, 0u) << c.fen;
    }
  }
}

// Each thread keeps its own counters; their sum is the search's node count.
TEST(SearchStats, ThreadsSumToTheNodeCount) {
  const TStatsRun r = Solve("8/8/2K1k1B1/5N2/8/1p6/1B6/8 w - - 0 1", 5, true, 2, 2);
  EXPECT_EQ(r.keys, std::set<std::string>{"f5d6"});
  ExpectConsistent(r.stats, r.nodes);
}

// Through the engine: the result record carries the counters of the passes.
TEST(SearchStats, ResultRecordOfARun) {
  TReferenceProblem p;
  p.id = "t";
  p.fen = "1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1";
  p.moves = 5;
  p.keys = {"b4c3"};
  TBenchOptions o;
  const TBenchRowResult plain = BenchRow(p, o);
  o.collectStats = true;
  const TBenchRowResult counted = BenchRow(p, o);
  EXPECT_TRUE(plain.ok);
  EXPECT_TRUE(counted.ok);
  EXPECT_TRUE(plain.stats.Empty());
  EXPECT_EQ(plain.nodes, counted.nodes);
  ExpectConsistent(counted.stats, counted.nodes);
}

}  // namespace
}  // namespace ostravel

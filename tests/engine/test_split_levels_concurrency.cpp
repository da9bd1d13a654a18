// Split nodes: workers without a candidate of their own help at the nodes
// below the root, and the keys stay those of one thread.
#include <gtest/gtest.h>

#include "engine/directmate_check.h"

namespace ostravel {
namespace {

std::set<std::string> Keys(const std::string& fen, int n, int threads, int levels, bool share) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx));
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  TSearchSettings st;
  st.threads = threads;
  st.levels = levels;
  st.letTwoThreadsShareAMove = share;
  st.computeVariations = false;
  TMateSearch s(st);
  s.FindForcedMate(root, n);
  std::set<std::string> keys;
  for (const auto& sol : s.Solutions()) keys.insert(MoveToUci(sol.key));
  EXPECT_EQ(RunningSearchThreads(), 0);
  return keys;
}

TEST(SplitLevels, ASingleCandidateIsSearchedByEveryThread) {
  // White's only move gets out of check; every other worker helps below it.
  const char* fen = "7Q/3P4/8/8/4R3/6k1/6p1/7K w - - 0 1";
  for (int threads : {2, 4})
    for (int levels : {2, 3, 5})
      EXPECT_EQ(Keys(fen, 3, threads, levels, false), (std::set<std::string>{"h1g1"}))
          << "T=" << threads << " L=" << levels;
}

TEST(SplitLevels, ShortProblemsMatchWithoutSharedMoves) {
  const auto table = ReadReferenceTable(test::SharedData("directmates.tsv"));
  int checked = 0;
  for (const auto& p : table) {
    if (!p.complete || p.moves < 2 || p.moves > 3) continue;
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    EXPECT_EQ(Keys(p.fen, p.moves, 3, 3, false), want) << p.id;
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

}  // namespace
}  // namespace ostravel

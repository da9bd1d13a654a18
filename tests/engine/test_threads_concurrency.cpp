// Threaded searches give the single-threaded key sets: every complete
// problem up to #3 with 2, 4 and 8 threads at one and two levels, #4 and two
// moremovers at 4 threads and two levels, and the controls while running.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "engine/directmate_check.h"

namespace ostravel {
namespace {

std::set<std::string> Solve(const TReferenceProblem& p, int threads, int levels,
                            TMateSearch** out = nullptr) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(p.fen, root, ctx));
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * p.moves - 1));
  TSearchSettings st;
  st.threads = threads;
  st.levels = levels;
  st.computeVariations = false;
  TMateSearch search(st);
  (void)out;
  search.FindForcedMate(root, p.moves);
  std::set<std::string> keys;
  for (const auto& s : search.Solutions()) keys.insert(MoveToUci(s.key));
  return keys;
}

std::vector<TReferenceProblem> Rows(int minMoves, int maxMoves) {
  std::vector<TReferenceProblem> out;
  for (auto& p : ReadReferenceTable(test::SharedData("directmates.tsv")))
    if (p.complete && p.moves >= minMoves && p.moves <= maxMoves) out.push_back(p);
  return out;
}

TEST(ThreadedSearch, ShortProblemsMatchAtEveryThreadCountAndLevel) {
  const auto rows = Rows(1, 3);
  ASSERT_FALSE(rows.empty());
  for (int levels : {1, 2})
    for (int threads : {2, 4, 8})
      for (const auto& p : rows) {
        const std::set<std::string> want(p.keys.begin(), p.keys.end());
        ASSERT_EQ(Solve(p, threads, levels), want) << p.id << " T=" << threads << " L=" << levels;
      }
}

TEST(ThreadedSearch, LongerProblemsMatchAtFourThreadsTwoLevels) {
  auto rows = Rows(4, 4);
  for (auto& p : ReadReferenceTable(test::SharedData("bench.tsv")))
    if (p.id == "mt-114" || p.id == "mt-118") rows.push_back(p);
  for (const auto& p : rows) {
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    ASSERT_EQ(Solve(p, 4, 2), want) << p.id;
  }
}

TEST(ThreadedSearch, PauseAndStopWhileRunning) {
  const auto table = ReadReferenceTable(test::SharedData("bench.tsv"));
  const auto it = std::find_if(table.begin(), table.end(), [](const auto& p) { return p.id == "mt-133"; });
  ASSERT_NE(it, table.end());
  TTaskContext ctx;
  TChessboard root;
  ASSERT_TRUE(FenToBoard(it->fen, root, ctx));
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * it->moves - 1));
  TSearchSettings st;
  st.threads = 4;
  st.levels = 2;
  TMateSearch search(st);
  std::thread t([&] { search.FindForcedMate(root, it->moves); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  search.SetPaused(true);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const uint64_t before = search.Nodes();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  search.SetPaused(false);
  search.RequestStop();
  const auto t0 = std::chrono::steady_clock::now();
  t.join();
  EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(10));
  EXPECT_GE(search.Nodes(), before);
  EXPECT_TRUE(search.StopRequested());
  EXPECT_EQ(RunningSearchThreads(), 0);
}

}  // namespace
}  // namespace ostravel

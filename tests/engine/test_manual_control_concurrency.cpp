// Manual controls on a running search: each is applied while the only search
// thread waits, paused, on its first candidate (the key, put first by a sort
// indication), so what it does to the run is certain.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/mate_search.h"

namespace ostravel {
namespace {

// A #2 with the single key Rc6-g6 (see test_mate_search.cpp).
const char* const kFen = "8/8/2R5/8/6Q1/7k/p1K5/8 w - - 0 1";

bool WaitFor(const std::function<bool()>& cond) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!cond())
    if (std::chrono::steady_clock::now() > until)
      return false;
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

struct TPausedRun {
  TTaskContext ctx;
  TChessboard root;
  TMove key{}, last{};
  std::unique_ptr<TMateSearch> search;
  std::thread thread;
  uint8_t result = 0;
  int candidates = 0;

  explicit TPausedRun(int threads = 1) {
    EXPECT_TRUE(FenToBoard(kFen, root, ctx));
    ValidateAndRecount(root);
    SetRootPlies(root, 3);
    EXPECT_TRUE(ParseFullMove(root, "Rc6-g6", key));
    TMove all[kMaxMoves];
    candidates = GenerateLegalMoves(root, all);
    last = all[candidates - 1].SameAs(key) ? all[candidates - 2] : all[candidates - 1];
    TSearchSettings st;
    st.threads = threads;
    st.computeVariations = false;
    st.sortIndications = {key};
    search = std::make_unique<TMateSearch>(st);
    search->SetPaused(true);
    thread = std::thread([this] { result = search->FindForcedMate(root, 2); });
    // The key is taken first; its thread then waits at its first node.
    EXPECT_TRUE(WaitFor([this] {
      std::lock_guard<std::mutex> lk(search->Progress().lineLock);
      return !search->Progress().currentLine.empty();
    }));
  }
  void Finish() {
    search->SetPaused(false);
    thread.join();
  }
  std::set<std::string> Keys() const {
    std::set<std::string> k;
    for (const auto& s : search->Solutions()) k.insert(MoveToUci(s.key));
    return k;
  }
};

TEST(ManualControl, NothingToActOnWithoutARun) {
  TMateSearch s(TSearchSettings{});
  EXPECT_FALSE(s.Control(TManualControl::kSkipCurrent));
  EXPECT_FALSE(s.Control(TManualControl::kSwapWithNext));
  EXPECT_FALSE(s.PauseThread(0, true));
  EXPECT_EQ(s.RunningThreads(), 0);
}

TEST(ManualControl, SkippingTheCurrentMoveLosesItsSolution) {
  TPausedRun run;
  EXPECT_TRUE(run.search->Control(TManualControl::kSkipCurrent));
  run.Finish();
  EXPECT_EQ(run.result, kResNoMate);
  EXPECT_TRUE(run.Keys().empty());
}

TEST(ManualControl, ShiftingTheCurrentMoveToTheEndStillSolves) {
  TPausedRun run;
  EXPECT_TRUE(run.search->Control(TManualControl::kShiftToLast));
  run.Finish();
  EXPECT_EQ(run.result, kResMate);
  EXPECT_EQ(run.Keys(), (std::set<std::string>{"c6g6"}));
  EXPECT_EQ(run.search->Progress().rootDone.load(), run.candidates);
}

TEST(ManualControl, SkippedCandidatesAreNeverFinished) {
  {
    TPausedRun run;
    EXPECT_TRUE(run.search->Control(TManualControl::kSkip5));
    run.Finish();
    EXPECT_EQ(run.Keys(), (std::set<std::string>{"c6g6"}));
    EXPECT_EQ(run.search->Progress().rootDone.load(), run.candidates - 5);
  }
  {
    // Up to the last candidate: the key and that one are all that is done.
    TPausedRun run;
    EXPECT_TRUE(run.search->Control(TManualControl::kSkipTo, &run.last));
    run.Finish();
    EXPECT_EQ(run.Keys(), (std::set<std::string>{"c6g6"}));
    EXPECT_EQ(run.search->Progress().rootDone.load(), 2);
  }
}

TEST(ManualControl, PausingOneThreadHoldsItsNodeCount) {
  TPausedRun run;
  ASSERT_EQ(run.search->RunningThreads(), 1);
  EXPECT_FALSE(run.search->PauseThread(1, true));
  // The thread stays held by its own flag when the whole search resumes.
  EXPECT_TRUE(run.search->PauseThread(0, true));
  run.search->SetPaused(false);
  const uint64_t before = run.search->Nodes();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(run.search->Nodes(), before);
  EXPECT_EQ(run.search->Progress().rootDone.load(), 0);
  EXPECT_TRUE(run.search->PauseThread(0, false));
  run.thread.join();
  EXPECT_EQ(run.Keys(), (std::set<std::string>{"c6g6"}));
}

TEST(ManualControl, StopEndsAPausedSearch) {
  TPausedRun run(2);
  run.search->RequestStop();
  run.thread.join();
  EXPECT_EQ(run.result, kResEndOfDepth);
  EXPECT_TRUE(run.search->Paused());
  EXPECT_EQ(RunningSearchThreads(), 0);
}

}  // namespace
}  // namespace ostravel

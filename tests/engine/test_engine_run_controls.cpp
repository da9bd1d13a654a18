// The controls a front end reaches through TEngine while a run goes on: the
// manual control of the first level, pausing one thread, the pushed progress
// and the events of the run.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "chess/notation.h"
#include "engine/analysis.h"
#include "engine/engine.h"

namespace ostravel {
namespace {

using namespace std::chrono_literals;

constexpr const char* kMateIn5 = "1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1";           // #5: Bb4-c3 only
constexpr const char* kFourKeys = "7B/5R2/3p3N/3P4/1K2k2r/4N3/4Q3/8 w - - 0 1";  // mt-010, #2
constexpr const char* kLong = "4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1";              // mt-127, #8

TSolveRequest Request(const std::string& fen, int moves, uint32_t id) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen)) << fen;
  r.moves = moves;
  r.title = "controls";
  r.problemId = id;
  r.computeVariations = false;
  return r;
}

// Callbacks that pause the run as its first pass starts, so that the search
// threads halt in their first move.
TEngineCallbacks PauseAtFirstPass(TEngine& e) {
  TEngineCallbacks cb;
  cb.onEvent = [&e](const TEngineEvent& ev) {
    if (ev.kind == TEngineEvent::kPassStarted && ev.pass.plan.number == 1) e.SetPaused(true);
  };
  return cb;
}

// Waits until the first level of the running search takes controls (a
// control that only reorders the moves not taken yet).
bool WaitForFirstLevel(TEngine& e) {
  for (int i = 0; i < 500; ++i) {
    if (e.SwapWithNext()) return true;
    std::this_thread::sleep_for(5ms);
  }
  return false;
}

TEST(ManualControl, NothingToActOnWithoutARun) {
  TEngine e;
  EXPECT_FALSE(e.SkipCurrent());
  EXPECT_FALSE(e.Skip5());
  EXPECT_FALSE(e.ShiftToLast());
  EXPECT_FALSE(e.PauseThread(0, true));
  EXPECT_EQ(e.RunningThreads(), 0);
}

TEST(ManualControl, EveryControlReachesTheRunningSearch) {
  TEngine e;
  // One thread: a paused search starts no further threads, so only the
  // first one is inside a move to act on.
  TSolveRequest r = Request(kFourKeys, 2, 7301);
  ASSERT_EQ(e.Start(r, PauseAtFirstPass(e)), "");
  ASSERT_TRUE(WaitForFirstLevel(e));
  EXPECT_TRUE(e.Paused());
  EXPECT_EQ(e.RunningThreads(), 1);
  EXPECT_TRUE(e.PauseThread(0, true));
  EXPECT_FALSE(e.PauseThread(1, true));
  EXPECT_TRUE(e.PauseThread(0, false));
  EXPECT_TRUE(e.ShiftToLast());
  e.SetPaused(false);
  e.RequestStop();
  e.Wait();
  EXPECT_EQ(e.Result().status, TRunStatus::kStopped);
  EXPECT_FALSE(e.SkipCurrent());  // the run is over
}

// A skipped move is never searched: skipping every move of the first level
// while the run is paused in its first move loses every key, and the run
// says it found none. ("#2" has no quicker stage before the full one.)
TEST(ManualControl, SkippedMovesAreNeverSearched) {
  const TSolveRequest r = Request(kFourKeys, 2, 7302);
  TEngine plain;
  ASSERT_EQ(plain.Start(r, {}), "");
  plain.Wait();
  ASSERT_EQ(plain.Result().solutions.size(), 4u);

  TEngine e;
  e.SetPaused(true);  // no run yet: nothing to pause
  EXPECT_FALSE(e.Paused());
  ASSERT_EQ(e.Start(r, PauseAtFirstPass(e)), "");
  ASSERT_TRUE(WaitForFirstLevel(e));
  EXPECT_TRUE(e.SkipCurrent());
  while (e.Skip5()) {
  }
  EXPECT_FALSE(e.SkipToNext());  // nothing left
  e.SetPaused(false);
  e.Wait();
  EXPECT_EQ(e.Result().status, TRunStatus::kCompleted);
  EXPECT_TRUE(e.Result().solutions.empty());
}

TEST(Progress, IsPushedAtABoundedRateWhileTheRunRuns) {
  std::atomic<int> pushes{0};
  std::mutex m;
  std::vector<TEngineEvent> events;
  TEngineCallbacks cb;
  cb.progressInterval = 50ms;
  cb.onProgress = [&](const TProgressSnapshot& s) {
    EXPECT_EQ(s.state, TRunState::kRunning);
    EXPECT_EQ(s.stipulation, 8);
    ++pushes;
  };
  cb.onEvent = [&](const TEngineEvent& e) {
    std::lock_guard<std::mutex> lk(m);
    events.push_back(e);
  };
  TEngine e;
  ASSERT_EQ(e.Start(Request(kLong, 8, 7303), cb), "");
  std::this_thread::sleep_for(600ms);
  e.RequestStop();
  e.Wait();
  // About one push per 50 ms: never many more, and some.
  EXPECT_GE(pushes.load(), 2);
  EXPECT_LE(pushes.load(), 14);
  std::lock_guard<std::mutex> lk(m);
  ASSERT_GE(events.size(), 2u);
  EXPECT_EQ(events.front().kind, TEngineEvent::kPassStarted);
  EXPECT_EQ(events.back().kind, TEngineEvent::kPassEnded);
  EXPECT_FALSE(events.back().pass.completed);
}

TEST(Progress, KeysArriveAsEvents) {
  std::mutex m;
  std::vector<std::string> keys;
  TEngineCallbacks cb;
  cb.onEvent = [&](const TEngineEvent& e) {
    std::lock_guard<std::mutex> lk(m);
    if (e.kind == TEngineEvent::kKeyFound) keys.push_back(MoveToUci(e.solution.key));
  };
  TEngine e;
  ASSERT_EQ(e.Start(Request(kMateIn5, 5, 7304), cb), "");
  e.Wait();
  EXPECT_EQ(keys, std::vector<std::string>{"b4c3"});
}

TEST(RunAndWait, TheTimeLimitStopsTheRun) {
  TEngine e;
  TRunWatch w;
  w.timeLimit = 0.2;
  const TRunOutcome out = RunAndWait(e, Request(kLong, 8, 7305), TEngineTask::kMate, {}, w);
  EXPECT_TRUE(out.refusal.empty());
  EXPECT_TRUE(out.timedOut);
  EXPECT_EQ(out.result.status, TRunStatus::kStopped);
}

// The signature is the same on every run: the count is a property of the
// search, not of the timing.
TEST(BenchSignature, TwoRunsCountTheSameNodes) {
  const std::vector<TReferenceProblem> rows = {
      {"mate5", kMateIn5, 5, {"b4c3"}, true, "", 0},
      {"two", "k7/8/1K6/8/8/8/8/2RR4 w - - 0 1", 1, {"c1c8", "d1d8"}, true, "", 0},
      {"none", "8/8/8/8/8/8/8/k1K5 w - - 0 1", 2, {}, true, "", 0},
  };
  for (const auto& row : rows) EXPECT_TRUE(BenchRow(row, {}).ok) << row.id;
  const uint64_t a = BenchSignature(rows), b = BenchSignature(rows);
  EXPECT_GT(a, 0u);
  EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace ostravel

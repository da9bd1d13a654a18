// Runs side by side, progress polled from other threads and stops at awkward
// moments (also run under ThreadSanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "engine/engine_run.h"

namespace ostravel {
namespace {

using namespace std::chrono_literals;

TSolveRequest Request(const char* fen, int moves, uint32_t id, int threads) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen));
  r.moves = moves;
  r.problemId = id;
  r.threads = static_cast<uint8_t>(threads);
  r.title = "concurrency";
  return r;
}

TEST(EngineConcurrency, TwoRunsPolledWhileOneIsStopped) {
  TEngine a, b;
  std::atomic<int> endsA{0}, endsB{0};
  TEngineCallbacks ca, cb;
  ca.onEnd = [&](const TSolveResult&, const std::string&) { ++endsA; };
  cb.onEnd = [&](const TSolveResult&, const std::string&) { ++endsB; };
  // A long #8 to be stopped, and a #3 (vaeth-12) that completes.
  ASSERT_EQ(a.Start(Request("4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1", 8, 501, 2), ca), "");
  ASSERT_EQ(b.Start(Request("B1R5/3p4/2bp4/4k3/2P3K1/2P2B2/5R2/8 w - - 0 1", 3, 502, 2), cb), "");
  std::atomic<bool> quit{false};
  std::atomic<uint64_t> polls{0};
  std::thread poller([&] {
    while (!quit.load()) {
      const TProgressSnapshot sa = a.Snapshot(), sb = b.Snapshot();
      (void)ProgressLine(sa);
      (void)DepthReportLine(sb);
      ++polls;
      std::this_thread::sleep_for(1ms);
    }
  });
  b.Wait();
  std::this_thread::sleep_for(50ms);
  a.RequestStop();
  a.Wait();
  quit = true;
  poller.join();
  EXPECT_GT(polls.load(), 0u);
  EXPECT_EQ(endsA.load(), 1);
  EXPECT_EQ(endsB.load(), 1);
  EXPECT_EQ(a.Result().status, TRunStatus::kStopped);
  EXPECT_EQ(b.Result().status, TRunStatus::kCompleted);
  ASSERT_EQ(b.Result().solutions.size(), 1u);
  EXPECT_EQ(b.Result().solutions[0].keyText, "Bf3-d5");
}

TEST(EngineConcurrency, StopRightAfterStartIsNeverLost) {
  for (int i = 0; i < 10; ++i) {
    TEngine e;
    ASSERT_EQ(
        e.Start(Request("4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1", 8, 600 + static_cast<uint32_t>(i), 1), {}), "");
    if (i % 2) std::this_thread::sleep_for(std::chrono::milliseconds(i));
    const auto t0 = std::chrono::steady_clock::now();
    e.RequestStop();
    e.Wait();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, 10s);
    EXPECT_EQ(e.Result().status, TRunStatus::kStopped);
  }
  EXPECT_FALSE(g_bStopPending.load());
}

TEST(EngineConcurrency, PauseHoldsTheSearchUntilResumedOrStopped) {
  TEngine e;
  ASSERT_EQ(e.Start(Request("4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1", 8, 650, 2), {}), "");
  std::this_thread::sleep_for(100ms);
  e.SetPaused(true);
  std::this_thread::sleep_for(200ms);
  const uint64_t n1 = e.Snapshot().nodes;
  std::this_thread::sleep_for(300ms);
  const uint64_t n2 = e.Snapshot().nodes;
  EXPECT_EQ(n1, n2);
  e.SetPaused(false);
  std::this_thread::sleep_for(300ms);
  EXPECT_GT(e.Snapshot().nodes, n2);
  e.SetPaused(true);
  e.RequestStop();
  e.Wait();
  EXPECT_EQ(e.Result().status, TRunStatus::kStopped);
}

TEST(EngineConcurrency, DestroyingARunningEngineStopsIt) {
  const auto t0 = std::chrono::steady_clock::now();
  {
    TEngine e;
    ASSERT_EQ(e.Start(Request("4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1", 8, 700, 2), {}), "");
    std::this_thread::sleep_for(20ms);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - t0, 10s);
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  EXPECT_EQ(setRunningProblemsIds.count(700), 0u);
}

}  // namespace
}  // namespace ostravel

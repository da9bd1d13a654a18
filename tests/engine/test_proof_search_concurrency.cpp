// Pass 0 on two threads (also run under ThreadSanitizer): both searches may
// prove the same key, which is announced once; a stop ends both.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "engine/engine_run.h"

namespace ostravel {
namespace {

using namespace std::chrono_literals;

TSolveRequest ProofRequest(const char* fen, int moves, uint32_t id) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen));
  r.moves = moves;
  r.problemId = id;
  r.threads = 2;
  r.proofSearchSeconds = 600;
  r.computeVariations = false;
  r.title = "proof numbers";
  return r;
}

TEST(ProofPassConcurrency, TwoSearchesAnnounceAKeyOnce) {
  TEngine engine;
  std::mutex lock;
  std::vector<std::string> announced;
  TEngineCallbacks cb;
  cb.onSolution = [&](const TSolution& s) {
    std::lock_guard<std::mutex> lk(lock);
    announced.push_back(s.keyText);
  };
  // KRR against KR, #9 (mt-132): both searches prove 1.Kg1-h2 within moments.
  TSolveRequest r = ProofRequest("8/8/8/8/8/2r5/6R1/1k4KR w - - 0 1", 9, 611);
  r.mode = SolutionMode::kSingle;  // the first key ends the run
  ASSERT_EQ(engine.Start(r, cb), "");
  engine.Wait();
  const TSolveResult& res = engine.Result();
  ASSERT_EQ(res.solutions.size(), 1u);
  EXPECT_EQ(res.solutions[0].keyText, "Kg1-h2");
  EXPECT_EQ(res.solutions[0].foundInPass, "0");
  EXPECT_TRUE(res.solutions[0].confirmed);
  std::lock_guard<std::mutex> lk(lock);
  EXPECT_EQ(announced, std::vector<std::string>{"Kg1-h2"});
}

TEST(ProofPassConcurrency, StopEndsBothSearches) {
  TEngine engine;
  // Q+N against Q+p, #30: far beyond what the searches decide in moments.
  ASSERT_EQ(engine.Start(ProofRequest("8/8/8/6N1/5Qp1/6q1/7k/5K2 w - - 0 1", 30, 612), {}), "");
  std::atomic<bool> quit{false};
  std::thread poller([&] {
    while (!quit.load()) {
      (void)engine.Snapshot();
      std::this_thread::sleep_for(1ms);
    }
  });
  std::this_thread::sleep_for(200ms);
  engine.RequestStop();
  engine.Wait();
  quit = true;
  poller.join();
  EXPECT_EQ(engine.Result().status, TRunStatus::kStopped);
  ASSERT_FALSE(engine.Result().passes.empty());
  EXPECT_EQ(engine.Result().passes[0].plan.kind, TPassKind::kProofNumbers);
  EXPECT_FALSE(engine.Result().passes[0].completed);
}

}  // namespace
}  // namespace ostravel

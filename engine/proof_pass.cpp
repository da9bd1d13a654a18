// Pass 0 of a mate run: the proof-number search for keys, on one or two
// threads, and the announcement of keys that every pass shares.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

#include "chess/notation.h"
#include "engine/proof_search.h"
#include "engine/run_internal.h"

namespace ostravel {

// A key for the front end, once per run whichever pass finds it.
void AnnounceKey(TRunShared& st, const TSolution& s) {
  {
    std::lock_guard<std::mutex> lk(st.solutionsLock);
    if (std::any_of(st.announced.begin(), st.announced.end(),
                    [&](const TMove& m) { return m.SameAs(s.key); }))
      return;
    st.announced.push_back(s.key);
    st.solutionsSoFar.store(static_cast<int>(st.announced.size()));
  }
  if (st.cb.onSolution) st.cb.onSolution(s);
  if (st.cb.onEvent) {
    TEngineEvent e;
    e.kind = TEngineEvent::kKeyFound;
    e.solution = s;
    st.cb.onEvent(e);
  }
}

// Pass 0: keys proved by the proof-number search, each proof checked before
// the key is announced. Its refutations prove nothing, so the passes that
// follow run as they would without it; they meet its keys first.
TPassReport RunProofPass(TRunShared& st, const TChessboard& root, const TPassPlan& plan,
                         std::vector<TSolution>& keys) {
  const TSolveRequest& r = st.req;
  TPassReport report;
  report.plan = plan;
  report.ran = true;
  uint64_t nodesBefore;
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.progress.EnterPass(plan);
    nodesBefore = st.progress.nodesDone;
  }
  st.PassEvent(TEngineEvent::kPassStarted, report);
  const auto t = std::chrono::steady_clock::now();
  // With two threads or more, a second search with the other slack: each
  // solves endings the other is slow on. Their keys are merged.
  const int workers = std::clamp<int>(r.threads, 1, 2);
  const int limit = SolutionLimit(plan.mode);
  std::mutex keysLock;
  std::atomic<bool> done{false};  // every first move decided, or the solution limit reached
  std::atomic<bool> allDecided{false};
  std::atomic<uint64_t> workerNodes[2] = {0, 0};
  auto work = [&](int i) {
    TProofSearchOptions o;
    o.deadline = t + std::chrono::milliseconds(static_cast<long long>(r.proofSearchSeconds * 1000));
    o.stopWanted = [&st, &done] { return done.load() || st.StopWanted(); };
    o.tableMB = r.moves >= 10 ? 256 : 64;
    o.slack = i == 0 ? 2 : 4;
    o.onProgress = [&, i](uint64_t n) {
      workerNodes[i] = n;
      std::lock_guard<std::mutex> lk(st.lock);
      st.progress.nodesDone = nodesBefore + workerNodes[0] + workerNodes[1];
    };
    o.onKey = [&](const TMove& m) {
      std::lock_guard<std::mutex> lk(keysLock);
      if (std::any_of(keys.begin(), keys.end(), [&](const TSolution& k) { return k.key.SameAs(m); })) return;
      if (limit && static_cast<int>(keys.size()) >= limit) return;
      TSolution s;
      s.key = m;
      s.keyText = MoveToText(root, m);
      s.foundInPass = plan.Name();
      s.confirmed = true;  // the proof tree was walked again move by move
      keys.push_back(s);
      AnnounceKey(st, s);
      if (limit && static_cast<int>(keys.size()) >= limit) done = true;
    };
    const TProofSearchResult pr = TProofSearch(o).Run(root, r.moves);
    workerNodes[i] = pr.nodes;
    if (pr.allDecided) {
      allDecided = true;
      done = true;
    }
  };
  std::exception_ptr failed;
  std::thread second;
  if (workers > 1)
    second = std::thread([&] {
      try {
        work(1);
      } catch (...) {
        failed = std::current_exception();
        done = true;
      }
    });
  try {
    work(0);
  } catch (...) {
    done = true;
    if (second.joinable()) second.join();
    throw;
  }
  if (second.joinable()) second.join();
  if (failed) std::rethrow_exception(failed);
  const uint64_t nodes = workerNodes[0] + workerNodes[1];
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.progress.nodesDone = nodesBefore + nodes;
  }
  report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
  report.nodes = nodes;
  report.completed = allDecided.load() && !st.StopWanted();
  report.solutionsAfter = static_cast<int>(keys.size());
  st.PassEvent(TEngineEvent::kPassEnded, report);
  return report;
}

}  // namespace ostravel

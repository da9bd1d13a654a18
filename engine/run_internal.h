#pragma once
// The state one run shares between its own thread, the watcher that forwards
// stops and pauses, and TEngine. Private to the engine.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine.h"

namespace ostravel {

class TMateSearch;
class TAggregatedTemporaryChessboardRegister;

// Stop, pause and the end of the run.
struct TRunControl {
  std::atomic<bool> stop{false};
  std::atomic<bool> paused{false};
  std::atomic<bool> finished{false};
  std::mutex doneLock;
  std::condition_variable doneCv;
};

// What Snapshot copies; guarded by TRunShared::lock.
struct TRunProgress {
  TRunState state = TRunState::kIdle;
  int pass = 0;
  std::string passSuffix;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  int hybridPhase = 0;
  int lowerBound = 0;
  uint64_t nodesDone = 0;  // nodes of search objects no longer listed
  std::string status;
  // The defence task reports its own progress.
  int repliesDone = 0;
  int repliesTotal = 0;
  std::string defenceLine;

  void EnterPass(const TPassPlan& plan) {
    pass = plan.number;
    passSuffix = plan.suffix;
    heuristics = plan.heuristics;
    bruteForce = plan.bruteForce;
    hybridPhase = plan.kind == TPassKind::kHybridPhase1 ? 1 : plan.kind == TPassKind::kHybridPhase2 ? 2 : 0;
  }
};

struct TRunShared {
  TSolveRequest req;
  TEngineCallbacks cb;
  TEngineTask task = TEngineTask::kMate;
  std::thread thread;
  std::chrono::steady_clock::time_point t0;

  TRunControl control;

  // Guards the search pointers, the register pointer and the progress; the
  // search object is only destroyed after its pointer is cleared under it.
  mutable std::mutex lock;
  TMateSearch* search = nullptr;       // the search that a stop and the controls go to
  std::vector<TMateSearch*> searches;  // every live search object of the run (node counts)
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg;
  TRunProgress progress;

  std::mutex solutionsLock;
  std::vector<TMove> announced;
  std::atomic<int> solutionsSoFar{0};

  TSolveResult result;
  std::string endText;

  bool StopWanted() const;
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  }
  void Message(TEngineMessage::Kind kind, const std::string& text, const std::string& title = {});
  // A message that is also a notice event ("Position repetition", "More than one solution found").
  void Notice(TEngineMessage::Kind kind, const std::string& text, const std::string& title = {});
  void Event(TEngineEvent e) const {
    if (cb.onEvent) cb.onEvent(e);
  }
  void PassEvent(TEngineEvent::Kind kind, const TPassReport& pass) const {
    TEngineEvent e;
    e.kind = kind;
    e.pass = pass;
    Event(e);
  }
  void SetState(TRunState s) {
    std::lock_guard<std::mutex> lk(lock);
    progress.state = s;
  }
  // Waits while paused; false when a stop came meanwhile.
  bool WaitWhilePaused();
  TProgressSnapshot Snapshot() const;
};

// Unlists the run's search objects (keeping their node counts) before they
// are destroyed, so that neither the watcher nor a snapshot reaches them.
class TSearchesRelease {
 public:
  explicit TSearchesRelease(TRunShared& st) : st_(st) {}
  ~TSearchesRelease();
  TSearchesRelease(const TSearchesRelease&) = delete;
  TSearchesRelease& operator=(const TSearchesRelease&) = delete;

 private:
  TRunShared& st_;
};

// The register of a request: its own (cleared when ClearRegisterOnStartSolving
// says so) or a new one.
std::shared_ptr<TAggregatedTemporaryChessboardRegister> RegisterFor(const TSolveRequest& r);
// "Initial position type check...": the position type and the global register.
void TypeCheck(TRunShared& st, const TChessboard& root);

// The two kinds of run body.
void RunMatePasses(TRunShared& st, const TChessboard& root, bool aux);
void RunDefence(TRunShared& st, const TChessboard& root);

// The thread procedures carrying a run (started by TEngine::Start).
void EngineThreadProc(std::shared_ptr<TRunShared> run);
void EngineThreadProc_BlackMoves(std::shared_ptr<TRunShared> run);
void EngineThreadProc_AuxMate(std::shared_ptr<TRunShared> run);

// A key for the front end, once per run whichever pass finds it
// (proof_pass.cpp).
void AnnounceKey(TRunShared& st, const TSolution& s);
// Pass 0: the proof-number search for keys; its keys go to `keys` and are
// announced as they are proved.
TPassReport RunProofPass(TRunShared& st, const TChessboard& root, const TPassPlan& plan,
                         std::vector<TSolution>& keys);

}  // namespace ostravel

#include "engine/engine.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "engine/run_internal.h"
#include "engine/run_registry.h"
#include "engine/threads.h"

namespace ostravel {

TEngine::TEngine() = default;

TEngine::~TEngine() {
  if (!run_) return;
  if (Running()) RequestStop();
  Wait();
}

std::string TEngine::Start(const TSolveRequest& r, TEngineCallbacks cb, TEngineTask task) {
  if (run_) {
    if (Running()) return "A run is still going on this engine.";
    if (run_->thread.joinable()) run_->thread.join();
  }
  const int lang = r.languageId;
  if (r.problemType != kMateProblemType) return EngineText(TEngineText::kOnlyMateProblems, lang);
  try {
    ValidateThreadsAndLevels(std::max<int>(r.threads, 1), std::max<int>(r.levels, 1));
  } catch (const std::invalid_argument&) {
    return EngineText(TEngineText::kTooManyThreads, lang);
  }
  if (r.moves < 1) return "The stipulation must be #1 or more.";
  if (!EnterRunningProblem(r.problemId)) return EngineText(TEngineText::kTooManyProblems, lang);
  auto run = std::make_shared<TRunShared>();
  run->req = r;
  run->cb = std::move(cb);
  run->task = task;
  run->t0 = std::chrono::steady_clock::now();
  run->progress.state = TRunState::kCheckPending;
  run_ = run;
  run->Message(TEngineMessage::kStatus, EngineText(TEngineText::kCheckPending, lang));
  switch (task) {
    case TEngineTask::kMate:
      run->thread = std::thread(EngineThreadProc, run);
      break;
    case TEngineTask::kDefence:
      ++g_nEngineThreadProcBlackMovesPending;
      run->thread = std::thread(EngineThreadProc_BlackMoves, run);
      break;
    case TEngineTask::kAuxMate:
      ++g_nEngineThreadProcAuxMatePending;
      run->thread = std::thread(EngineThreadProc_AuxMate, run);
      break;
  }
  return {};
}

void TEngine::RequestStop() {
  if (!run_) return;
  run_->control.stop.store(true);
  RequestStopOfProblem(run_->req.problemId);
  std::lock_guard<std::mutex> lk(run_->lock);
  if (run_->search) {
    // A paused search must wake up to notice the stop.
    run_->search->SetPaused(false);
    run_->search->RequestStop();
  }
}

void TEngine::SetPaused(bool paused) {
  if (!run_) return;
  run_->control.paused.store(paused);
  std::lock_guard<std::mutex> lk(run_->lock);
  if (run_->search) run_->search->SetPaused(paused && !run_->control.stop.load());
}

bool TEngine::Paused() const {
  return run_ && run_->control.paused.load();
}

bool TEngine::PauseThread(int index, bool paused) {
  if (!run_) return false;
  std::lock_guard<std::mutex> lk(run_->lock);
  return run_->search && run_->search->PauseThread(index, paused);
}

int TEngine::RunningThreads() const {
  if (!run_) return 0;
  std::lock_guard<std::mutex> lk(run_->lock);
  return run_->search ? run_->search->RunningThreads() : 0;
}

bool TEngine::Control(TManualControl c, const TMove* target) {
  if (!run_) return false;
  std::lock_guard<std::mutex> lk(run_->lock);
  return run_->search && run_->search->Control(c, target);
}

bool TEngine::Running() const {
  return run_ && !run_->control.finished.load();
}

void TEngine::Wait() {
  if (!run_) return;
  {
    std::unique_lock<std::mutex> lk(run_->control.doneLock);
    run_->control.doneCv.wait(lk, [&] { return run_->control.finished.load(); });
  }
  if (run_->thread.joinable() && run_->thread.get_id() != std::this_thread::get_id()) run_->thread.join();
}

bool TEngine::WaitFor(std::chrono::milliseconds timeout) {
  if (!run_) return true;
  std::unique_lock<std::mutex> lk(run_->control.doneLock);
  return run_->control.doneCv.wait_for(lk, timeout, [&] { return run_->control.finished.load(); });
}

TProgressSnapshot TEngine::Snapshot() const {
  if (!run_) return {};
  return run_->Snapshot();
}

const TSolveResult& TEngine::Result() const {
  static const TSolveResult empty;
  return run_ ? run_->result : empty;
}

const std::string& TEngine::EndTextOfRun() const {
  static const std::string empty;
  return run_ ? run_->endText : empty;
}

}  // namespace ostravel

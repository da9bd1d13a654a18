#pragma once
// The one header a front end includes to solve. TEngine carries one run at a
// time on its own thread: a mate search ("#n"), the defence task, or an
// auxiliary search. It prints nothing; texts, keys and events reach the front
// end through callbacks, and the progress is pushed at a bounded rate or
// polled as a snapshot. Behind it live the start-of-run checks, the passes,
// the register files around a run (pinned, loaded, saved) and the auto-save
// that a later resume continues.
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "engine/heuristic_auto.h"
#include "engine/heuristic_selection.h"
#include "engine/heuristics.h"
#include "engine/mate_search.h"  // TManualControl
#include "engine/run_result.h"
#include "engine/run_texts.h"
#include "engine/solve_request.h"

namespace ostravel {

struct TEngineMessage {
  enum Kind : uint8_t {
    kStatus,   // for the status line ("initial position check pending...")
    kInfo,     // summary, notes, position type
    kWarning,  // shown once in a box with its title ("Position repetition")
    kError,    // "Out of memory."
  };
  Kind kind = kInfo;
  std::string title;
  std::string text;
};

// What happened in a run, for a front end that follows it step by step.
struct TEngineEvent {
  enum Kind : uint8_t {
    kKeyFound,         // solution holds the key (also given to onSolution)
    kPassStarted,      // pass holds the plan
    kPassEnded,        // pass holds the report
    kNotice,           // text (and title): "Position repetition", "More than one solution found: %d"
    kThreadQuestion,   // text: the thread-count question, number: the count proposed
    kRegisterLoaded,   // text: the load report of a register file
    kRegisterSaved,    // text: the save report of --save-register
    kRegisterWarning,  // text: a register file that could not be read or written (the run goes on)
    kAutoSaved,        // text: the auto-save's register file
  };
  Kind kind = kNotice;
  std::string title;
  std::string text;
  int number = 0;
  TSolution solution;
  TPassReport pass;
};

struct TEngineCallbacks {
  // Texts of the run as they arise, one at a time: the first status text
  // from Start itself, the others on the run's thread.
  std::function<void(const TEngineMessage&)> onMessage;
  // Each key as it is found (from a search thread, under the search's lock:
  // queue it, never block in it).
  std::function<void(const TSolution&)> onSolution;
  // The engine's thread-count proposal, asked at most once per run (from the
  // run's thread, while the search waits); true accepts it: the search goes
  // on with that many first-level threads, and so do the later passes.
  std::function<bool(int proposedThreads, const std::string& question)> onThreadProposal;
  // The end of the run: the result record and the end text (on the run's thread).
  std::function<void(const TSolveResult&, const std::string& endText)> onEnd;
  // The events above and the register's (on the run's thread, or a search
  // thread for kKeyFound).
  std::function<void(const TEngineEvent&)> onEvent;
  // The progress, pushed at most once per progressInterval while the run is
  // running (from the engine's watcher thread).
  std::function<void(const TProgressSnapshot&)> onProgress;
  std::chrono::milliseconds progressInterval{250};
};

struct TRunShared;

class TEngine {
 public:
  TEngine();
  ~TEngine();  // stops a run still going and waits for it
  TEngine(const TEngine&) = delete;
  TEngine& operator=(const TEngine&) = delete;

  // Starts a run of the task. Returns an empty string, or the refusal text
  // ("Only mate problems (type=1) supported currently.", "Too many problems
  // being solved at the same time.", "Too many threads and/or multithreading
  // levels.", "A run is still going on this engine.", "The stipulation must
  // be #1 or more.") when the run did not start; onEnd is not called then.
  std::string Start(const TSolveRequest& r, TEngineCallbacks cb, TEngineTask task = TEngineTask::kMate);
  std::string StartDefence(const TSolveRequest& r, TEngineCallbacks cb) {
    return Start(r, std::move(cb), TEngineTask::kDefence);
  }

  // The stop path: the run ends as stopped with its partial results (and its
  // register kept in the auto-save for a resume).
  void RequestStop();
  // Pauses the search threads (and the run between passes and between the
  // replies of the defence task); a stop ends a pause.
  void SetPaused(bool paused);
  bool Paused() const;
  // One search thread (by its index among RunningThreads()); false when
  // there is no such thread.
  bool PauseThread(int index, bool paused);
  int RunningThreads() const;

  // Manual control of the first level: skip the current move, skip to the
  // next, skip 5, skip to a move (target), swap with the next, shift to the
  // last. A skipped move is never searched, so a key in it is lost. False
  // when no search runs or there is nothing to act on.
  bool Control(TManualControl c, const TMove* target = nullptr);
  bool SkipCurrent() { return Control(TManualControl::kSkipCurrent); }
  bool SkipToNext() { return Control(TManualControl::kSkipNext); }
  bool Skip5() { return Control(TManualControl::kSkip5); }
  bool SkipTo(const TMove& m) { return Control(TManualControl::kSkipTo, &m); }
  bool SwapWithNext() { return Control(TManualControl::kSwapWithNext); }
  bool ShiftToLast() { return Control(TManualControl::kShiftToLast); }

  bool Running() const;
  // Blocks until the run has ended (its onEnd has returned). Not to be
  // called from the callbacks.
  void Wait();
  // Waits at most that long; true when the run has ended (not joined yet).
  bool WaitFor(std::chrono::milliseconds timeout);
  TProgressSnapshot Snapshot() const;
  // The result of the last run (valid once it has ended).
  const TSolveResult& Result() const;
  const std::string& EndTextOfRun() const;

 private:
  std::shared_ptr<TRunShared> run_;
};

}  // namespace ostravel

#pragma once
// The analysis service over TEngine: what every front end needs around a run
// and would otherwise write again. One run-and-wait loop (stop flag, time
// limit, pause, a tick for the front end's progress), the resume of an
// auto-saved analysis, and the bench run with its node-count signature. The
// register files around a run (pinned, loaded, saved, auto-saved) are part
// of the run itself (TSolveRequest::registerFiles and autoSave).
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "config/autosave_info.h"
#include "engine/engine.h"
#include "problems/problem.h"
#include "problems/reference_table.h"

namespace ostravel {

struct TSettings;

// ---------------------------------------------------------------- run and wait

struct TRunWatch {
  double timeLimit = 0;                      // seconds; 0 none. Reaching it stops the run.
  const std::atomic<bool>* stop = nullptr;   // raised (a signal, a button): the run is stopped
  std::function<bool()> pauseWanted;         // polled: the run pauses while it answers true
  std::function<void(bool paused)> onPause;  // the pause began or ended
  std::function<void(TEngine&)> onTick;      // every tick, on the caller's thread
  std::chrono::milliseconds tick{50};
};

struct TRunOutcome {
  std::string refusal;  // the run did not start (text of the refusal)
  TSolveResult result;
  std::string endText;
  bool stoppedByFlag = false;  // watch.stop was raised
  bool timedOut = false;       // the time limit stopped it
};

// Starts the run on engine and waits for its end, stopping and pausing it as
// the watch says.
TRunOutcome RunAndWait(TEngine& engine, const TSolveRequest& r, TEngineTask task, TEngineCallbacks cb,
                       const TRunWatch& watch);

// A mate run on an engine of its own, for callers that run many short ones
// and never change the thread count: the engine's proposal is declined.
TRunOutcome RunMateOnFreshEngine(const TSolveRequest& r, const TRunWatch& watch);

// Why a run gave no result: its refusal, or the message of a refused or
// failed run; empty otherwise.
std::string RunError(const TRunOutcome& run);

// ---------------------------------------------------------------- resume

struct TResumeSource {
  std::string slot;          // the auto-save slot; empty with files given: those files
  std::string registerFile;  // a register and its collection instead of a slot
  std::string problemFile;
  int index = 1;       // the problem of the collection, from 1
  bool force = false;  // resume the data folder's old single auto-save even though its writer seems to run
  // Whether the process its companion names still runs (the platform's
  // process test, which this layer cannot see); unset: taken as ended. Only
  // the old single auto-save needs it: a slot's lock tells about its run.
  std::function<bool(const TAutoSaveInfo&)> writerRunning;
};

struct TResumePlan {
  std::string error;  // empty when the request is ready
  TProblem problem;
  TSolveRequest request;  // the mate search continuing on the saved register
  std::string registerFile;
  std::string slot;  // the slot the run continues to save into (empty: a new one)
};

// Chooses what to resume in dataFolder: the slot named, else the only
// resumable slot (the newest when several; a slot whose run still lives is
// never chosen), else the older single auto-save of the data folder; or the
// files given. The request has the settings, the problem's position and sort
// indications, all solutions, the saved register to load, the memory ratios
// the analysis ran with, and its slot for the auto-save.
TResumePlan PlanResume(const TResumeSource& src, const TSettings& s, const std::filesystem::path& dataFolder);

// ---------------------------------------------------------------- bench

struct TBenchRowResult {
  std::string refusal;  // the row could not be run
  double seconds = 0;
  uint64_t nodes = 0;          // nodes of the search passes
  std::set<std::string> keys;  // UCI
  bool timedOut = false;
  bool stopped = false;  // by the stop flag
  bool ok = false;       // keys as the table lists them
  TSearchStats stats;    // with TBenchOptions::collectStats
  // With heuristics: the listed keys are among the keys found and proved
  // (also when the run did not end), the pass that found each key ("1b")
  // and the keys found but not proved.
  bool listedKeysFound = false;
  std::map<std::string, std::string> keyPass;
  std::set<std::string> candidates;
  bool complete = false;  // the pass without heuristics ended: the key set is proved complete
};

struct TBenchOptions {
  int threads = 1;
  int levels = 1;
  double timeLimit = 0;
  uint64_t registerLimitMB = 0;  // 0: the default
  const std::atomic<bool>* stop = nullptr;
  IPositionProbe* probe = nullptr;  // exact answers below the root; null: none
  bool collectStats = false;
  // Empty: one exact search. Else the first pass's heuristics as
  // ApplyHeuristicText reads them ("auto": chosen from the position), relaxed
  // pass by pass, then the exact pass.
  std::string heuristics;
  // Seconds of the proof-number pass; -1: as `heuristics` decides.
  double proofSearchSeconds = -1;
};

// Solves one row of a reference table for all keys, exactly (or with
// heuristics first), on a fresh register through the engine.
TBenchRowResult BenchRow(const TReferenceProblem& p, const TBenchOptions& o);

// The node-count signature of a table: the total nodes of every row on one
// thread and one level, no time limit. Equal on every run of the same
// search; a change flags a change in the search's behaviour.
uint64_t BenchSignature(const std::vector<TReferenceProblem>& rows, uint64_t registerLimitMB = 0);

}  // namespace ostravel

#pragma once
// What a run hands back: the result record at its end and the progress
// record while it runs.
#include <cstdint>
#include <string>
#include <vector>

#include "engine/defence_task.h"
#include "engine/pass_plan.h"
#include "engine/search_stats.h"
#include "engine/search_types.h"
#include "engine/solve_request.h"

namespace ostravel {

enum class TRunStatus : uint8_t {
  kCompleted,
  kStopped,  // by the user (or out of memory); the results are partial
  kRefused,  // a start-of-run check failed (or a register file to load); message holds its text
  kFailed,   // the search reported an error; message holds its text
};

struct TPassReport {
  TPassPlan plan;
  bool ran = false;
  bool completed = false;
  int solutionsAfter = 0;
  double seconds = 0;
  uint64_t nodes = 0;
  // A pass that proves there is no key besides those found: one without
  // heuristics that ran to its end.
  bool ProvesKeySetComplete() const {
    return completed && plan.heuristics == 0 && plan.kind != TPassKind::kProofNumbers;
  }
};

struct TSolveResult {
  TEngineTask task = TEngineTask::kMate;
  TRunStatus status = TRunStatus::kCompleted;
  std::string message;  // the refusal or failure text, or the run's last word
  std::vector<TSolution> solutions;
  int solutionCount = 0;
  SolutionMode mode = SolutionMode::kAll;  // the mode whose limit applied last
  bool stoppedByUser = false;
  bool stoppedBySolutionLimit = false;
  bool repetitionDetected = false;  // a line ended on a position repetition
  bool outOfMemory = false;
  bool fromRegister = false;  // answered by the register without a search
  double seconds = 0;
  uint64_t nodes = 0;
  std::string positionType;
  bool globalRegister = false;
  std::vector<std::string> summary;  // the settings summary lines (title first)
  std::vector<TPassReport> passes;
  TSearchStats stats;              // with TSolveRequest::collectStats: the passes' counters
  std::vector<std::string> notes;  // completion notes ("\t* ...\n")
  TDefenceResult defence;
  int forcedThreads = 0;
  // The register files: false when --save-register (or the auto-save kept
  // for a resume) could not be written; the text is in registerError.
  bool registerSaved = true;
  std::string registerError;
  uint32_t registerEntries = 0;  // positions in the register at the end
  std::string autoSaveSlot;      // the run's auto-save slot (empty: none)
  bool autoSaveKept = false;     // the slot holds a save for a later resume
};

enum class TRunState : uint8_t { kIdle, kCheckPending, kChecking, kRunning, kCompleted, kStopped };

struct TProgressSnapshot {
  TRunState state = TRunState::kIdle;
  TEngineTask task = TEngineTask::kMate;
  int pass = 0;
  std::string passSuffix;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  int hybridPhase = 0;
  int stipulation = 0;  // n of "#n"
  int depthMoves = 0;   // mate length being searched now
  int lowerBound = 0;   // mate length known to be at least this (0: unknown)
  double percent = 0;
  uint64_t nodes = 0;  // the run's progress counter
  std::string currentLine;
  uint32_t registerEntries = 0;
  uint32_t registerHeuristicEntries = 0;  // entries of the heuristic sub-registers
  uint64_t registerMB = 0;
  int solutions = 0;
  double seconds = 0;
  std::string status;
  bool paused = false;
};

}  // namespace ostravel

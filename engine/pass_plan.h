#pragma once
// The passes of a mate run, decided before it starts: the pass with the
// initial heuristics, the relaxation passes, the exact pass without
// heuristics, and the two phases of a hybrid run. Heuristic relaxation
// belongs here.
#include <cstdint>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/heuristics.h"
#include "engine/search_types.h"

namespace ostravel {

struct TSolveRequest;

enum class TPassKind : uint8_t {
  kWithHeuristics,     // the initial set (or a relaxed one)
  kWithoutHeuristics,  // the pass without heuristics, in safe mode
  kBruteForce,         // a brute-force run
  kHybridPhase1,       // heuristical search for a single solution
  kHybridPhase2,       // brute force for duals, only after a solution was found
  kProofNumbers,       // pass 0: keys proved by a proof-number search, before pass 1
};

struct TPassPlan {
  int number = 1;      // shown in the progress line
  std::string suffix;  // "b", "c", ... for relaxation passes
  TPassKind kind = TPassKind::kWithHeuristics;
  uint32_t heuristics = 0;  // state.set
  THeuristicState state;    // the set with its parameters
  // SH_DONTLETFIGUREUNBLOCK may be applied dynamically in the position (it
  // has blocked Black men); set when the pass runs.
  bool dlfuDynamicUsable = true;
  bool bruteForce = false;
  bool safeMode = false;
  SolutionMode mode = SolutionMode::kAll;
  bool onlyAfterSolution = false;

  std::string Name() const { return std::to_string(number) + suffix; }
  // The pass's set as text ("" without heuristics).
  std::string SetText() const {
    return heuristics ? HeuristicSetText(state, !safeMode, dlfuDynamicUsable) : std::string();
  }
};

// The whole sequence of passes of a mate run. A request with a proof-number
// budget starts with pass 0, which proves keys but never that there is no
// other. Relaxation passes (1b, 1c, ...)
// go between the first pass and the pass without heuristics. A pass with
// heuristics whose set is empty is already an exact search, so the pass
// without heuristics is then left out; the notes returned say what was left
// out and why.
std::vector<TPassPlan> PlanPasses(const TSolveRequest& r, std::vector<std::string>* notes = nullptr);

// The sets of the relaxation passes after the initial one (1b, 1c, ...), in
// the fixed order: the further FindForcedMate runs, each at the next level,
// then FindForcedMate removed; the strict forms made mild (surrounded king,
// promoted men, ext.edge); the edge rules widened one step at a time (king
// not let move, then move only back to the edge, then the edge, then the
// ext.edge, then none; the corner rule goes with the last); the king rules
// (surrounded king, kings near, White king not receding) removed; the rules
// tied to given men and squares removed; and last the rest. A step that
// would not change the set is left out; the last set is never empty (the
// pass without heuristics follows it).
std::vector<THeuristicState> RelaxationSteps(const THeuristicState& initial);
// The passes of that order as lines of text ("Pass 1: ...", "Pass 1b: ...",
// ..., "Pass 2: ..."), for --show-relaxation and the selection dialog.
std::vector<std::string> RelaxationPathTexts(const THeuristicState& initial);

// The time-dependent step after a completed pass with heuristics: a pass
// shorter than the limit earns one relaxation step more. Near the limit
// (800 to 1,200 ms) the decision is reported in *line (left empty otherwise).
constexpr int kTimeRelaxationLimitMs = 1000;
bool TimeDependentRelaxation(long long ms, std::string* line);
// The step is not taken in positions where a quick pass says little.
bool TimeRelaxationSkipped(const TChessboard& root);
// With TryRelaxSpecialHeuristicsLog: a BEFORE and an AFTER line per
// relaxation step in "TryRelaxSpecialHeuristics.log" of the working folder.
void LogRelaxation(const THeuristicState& before, const THeuristicState& after);

// Mode of the second phase of a hybrid run: the request's, but at least two
// solutions, since the phase looks for duals.
SolutionMode HybridPhase2Mode(SolutionMode requested);

}  // namespace ostravel

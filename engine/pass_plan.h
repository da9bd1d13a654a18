#pragma once
// The passes of a mate run, decided before it starts: the pass with the
// initial heuristics, the relaxation passes, the exact pass without
// heuristics, and the two phases of a hybrid run. Heuristic relaxation
// belongs here.
#include <cstdint>
#include <string>
#include <vector>

#include "engine/search_types.h"

namespace ostravel {

struct TSolveRequest;

enum class TPassKind : uint8_t {
  kWithHeuristics,     // the initial set (or a relaxed one)
  kWithoutHeuristics,  // the pass without heuristics, in safe mode
  kBruteForce,         // a brute-force run
  kHybridPhase1,       // heuristical search for a single solution
  kHybridPhase2,       // brute force for duals, only after a solution was found
};

struct TPassPlan {
  int number = 1;      // shown in the progress line
  std::string suffix;  // "b", "c", ... for relaxation passes
  TPassKind kind = TPassKind::kWithHeuristics;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  bool safeMode = false;
  SolutionMode mode = SolutionMode::kAll;
  bool onlyAfterSolution = false;

  std::string Name() const { return std::to_string(number) + suffix; }
};

// The whole sequence of passes of a mate run. Relaxation passes (1b, 1c, ...)
// go between the first pass and the pass without heuristics. A pass with
// heuristics whose set is empty is already an exact search, so the pass
// without heuristics is then left out; the notes returned say what was left
// out and why.
std::vector<TPassPlan> PlanPasses(const TSolveRequest& r, std::vector<std::string>* notes = nullptr);

// Mode of the second phase of a hybrid run: the request's, but at least two
// solutions, since the phase looks for duals.
SolutionMode HybridPhase2Mode(SolutionMode requested);

}  // namespace ostravel

#include "engine/pass_plan.h"

#include "engine/engine_texts.h"
#include "engine/solve_request.h"

namespace ostravel {

SolutionMode HybridPhase2Mode(SolutionMode requested) {
  return requested == SolutionMode::kSingle ? SolutionMode::kAtMost2 : requested;
}

namespace {

// Relaxed heuristic sets after the initial one (passes 1b, 1c, ...). No set
// relaxes yet: the heuristics themselves come later.
std::vector<uint32_t> RelaxationSteps(uint32_t /*initial*/) {
  return {};
}

}  // namespace

std::vector<TPassPlan> PlanPasses(const TSolveRequest& r, std::vector<std::string>* notes) {
  const int lang = r.languageId;
  const bool safe = r.safeMode || r.safeModeForcedByEngine;
  std::vector<TPassPlan> plan;
  auto note = [&](TEngineText id) {
    if (notes) notes->push_back(EngineText(id, lang));
  };
  if (r.bruteForce && r.hybridPhase == 0) {
    TPassPlan p;
    p.kind = TPassKind::kBruteForce;
    p.bruteForce = true;
    p.safeMode = true;
    p.mode = r.mode;
    plan.push_back(p);
    return plan;
  }
  if (r.hybridPhase != 0) {
    if (r.hybridPhase == 1) {
      TPassPlan p1;
      p1.kind = TPassKind::kHybridPhase1;
      p1.heuristics = r.heuristics;
      p1.safeMode = safe;
      p1.mode = SolutionMode::kSingle;
      plan.push_back(p1);
    }
    TPassPlan p2;
    p2.number = r.hybridPhase == 1 ? 2 : 1;
    p2.kind = TPassKind::kHybridPhase2;
    p2.bruteForce = true;
    p2.safeMode = true;
    p2.mode = HybridPhase2Mode(r.mode);
    p2.onlyAfterSolution = r.hybridPhase == 1;
    plan.push_back(p2);
    return plan;
  }
  TPassPlan p1;
  p1.kind = TPassKind::kWithHeuristics;
  p1.heuristics = r.heuristics;
  p1.safeMode = safe;
  p1.mode = r.mode;
  plan.push_back(p1);
  if (r.heuristics != 0) {
    if (r.relaxation) {
      char suffix = 'b';
      for (uint32_t set : RelaxationSteps(r.heuristics)) {
        TPassPlan p = p1;
        p.suffix = std::string(1, suffix++);
        p.heuristics = set;
        plan.push_back(p);
      }
    } else {
      note(TEngineText::kNoteOnlyOnePass);
    }
  }
  if (!r.passWithoutHeuristics) {
    note(TEngineText::kNoteNoSecondPass);
  } else if (r.heuristics == 0) {
    note(TEngineText::kNoteExactFirstPass);
  } else {
    TPassPlan p2;
    p2.number = 2;
    p2.kind = TPassKind::kWithoutHeuristics;
    p2.safeMode = true;
    p2.mode = r.mode;
    plan.push_back(p2);
  }
  return plan;
}

}  // namespace ostravel

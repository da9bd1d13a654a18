#include "engine/pass_plan.h"

#include "engine/engine_texts.h"
#include "engine/solve_request.h"

namespace ostravel {

SolutionMode HybridPhase2Mode(SolutionMode requested) {
  return requested == SolutionMode::kSingle ? SolutionMode::kAtMost2 : requested;
}

namespace {

uint8_t NextFfmLevel(uint8_t level) {
  switch (level) {
    case kFfmCheckOnly:
      return kFfmMate1;
    case kFfmMate1:
      return kFfmMate1Plus;
    case kFfmMate1Plus:
      return kFfmMate2;
    case kFfmMate2:
      return kFfmMate2Plus;
    case kFfmMate2Plus:
      return kFfmMate3;
    case kFfmMate3:
      return kFfmMate4;
    case kFfmMate4:
      return kFfmMate5;
    default:
      return kFfmNone;
  }
}

// One step of the fixed order; false when nothing is left to relax.
bool RelaxOnce(THeuristicState& s) {
  if (s.set & SH_FINDFORCEDMATE) {
    const uint8_t next = NextFfmLevel(s.ffmLevel);
    if (s.ffmRelaxationCounter < s.ffmRelaxations && next != kFfmNone) {
      ++s.ffmRelaxationCounter;
      s.ffmLastLevel = s.ffmLevel;
      s.ffmLevel = next;
    } else {
      s.set &= ~SH_FINDFORCEDMATE;
      s.ffmLastLevel = s.ffmLevel;
      s.ffmLevel = kFfmNone;
    }
    return true;
  }
  const bool edge = s.set & SH_KEEPKINGONTHEEDGE;
  if ((s.set & SH_ASSERTBLACKKINGSURROUNDED) && s.surroundedStrict) {
    s.surroundedStrict = false;
    return true;
  }
  if ((s.set & (SH_DONTLETPROMOTEDQUEENMOVE | SH_DONTLETPROMOTEDFIGUREMOVE)) && s.promotedStrict) {
    s.promotedStrict = false;
    return true;
  }
  if ((s.set & SH_KEEPKINGWITHINEXTEDGE) && s.extEdgeStrict) {
    s.extEdgeStrict = false;
    return true;
  }
  if (edge && s.edgeStrict && !s.edgeAlmostStrict) {
    s.edgeAlmostStrict = true;
    return true;
  }
  if (edge && s.edgeStrict) {
    s.edgeStrict = s.edgeAlmostStrict = false;
    return true;
  }
  if (edge) {
    s.set = (s.set & ~SH_KEEPKINGONTHEEDGE) | SH_KEEPKINGWITHINEXTEDGE;
    return true;
  }
  constexpr uint32_t kWider = SH_KEEPKINGWITHINEXTEDGE | SH_KEEPKINGNEARCORNER;
  if (s.set & kWider) {
    s.set &= ~kWider;
    return true;
  }
  constexpr uint32_t kKingRules = SH_ASSERTBLACKKINGSURROUNDED | SH_AREKINGSNEAR | SH_DONTRECEDEBLACKKING;
  if (s.set & kKingRules) {
    s.set &= ~kKingRules;
    return true;
  }
  constexpr uint32_t kGiven = SH_DONTLETFIGUREUNBLOCK | SH_DONTLEAVEMAINDIAGONAL | SH_KEYLINE |
                              SH_KEYDIAGONAL | SH_KEYSQUARE | SH_KEYWHITEFIGURE | SH_SEASNAKE | SH_ZUGZWANG |
                              SH_ZUGZWANGTRIANGLES | SH_SWEEPINGWHITEROOK | SH_SINGLEQUEENMATE;
  if (s.set & kGiven) {
    s.set &= ~kGiven;
    return true;
  }
  if (s.set) {
    s.set = 0;
    return true;
  }
  return false;
}

}  // namespace

bool TimeDependentRelaxation(long long ms, std::string* line) {
  const bool accepted = ms < kTimeRelaxationLimitMs;
  if (line) {
    line->clear();
    if (ms >= 800 && ms <= 1200)
      *line = "Time dependent relaxation near the limit: calcTime=" + std::to_string(ms) +
              "msec.; limit=" + std::to_string(kTimeRelaxationLimitMs) + "msec." +
              (accepted ? "(additional relaxation accepted)" : "(additional relaxation refused)");
  }
  return accepted;
}

std::vector<THeuristicState> RelaxationSteps(const THeuristicState& initial) {
  std::vector<THeuristicState> out;
  THeuristicState s = initial;
  while (RelaxOnce(s) && s.set != 0)
    if (!(s == (out.empty() ? initial : out.back()))) out.push_back(s);
  return out;
}

std::vector<std::string> RelaxationPathTexts(const THeuristicState& initial) {
  std::vector<std::string> out;
  out.push_back("Pass 1: " + HeuristicSetText(initial, false));
  char suffix = 'b';
  for (const THeuristicState& s : RelaxationSteps(initial))
    out.push_back(std::string("Pass 1") + (suffix <= 'z' ? suffix++ : '+') + ": " +
                  HeuristicSetText(s, false));
  out.push_back("Pass 2: " + std::string("no special heuristics (safe mode)"));
  return out;
}

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
      p1.state = RequestHeuristics(r);
      p1.heuristics = p1.state.set;
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
  p1.state = RequestHeuristics(r);
  p1.heuristics = p1.state.set;
  p1.safeMode = safe;
  p1.mode = r.mode;
  plan.push_back(p1);
  if (p1.heuristics != 0) {
    if (r.relaxation) {
      char suffix = 'b';
      for (const THeuristicState& set : RelaxationSteps(p1.state)) {
        TPassPlan p = p1;
        p.suffix = suffix <= 'z' ? std::string(1, suffix++) : std::string("z+");
        p.state = set;
        p.heuristics = set.set;
        plan.push_back(p);
      }
    } else {
      note(TEngineText::kNoteOnlyOnePass);
    }
  }
  if (!r.passWithoutHeuristics) {
    note(TEngineText::kNoteNoSecondPass);
  } else if (p1.heuristics == 0) {
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

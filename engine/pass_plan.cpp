#include "engine/pass_plan.h"

#include <cstdio>
#include <ctime>
#include <mutex>
#include <sstream>
#include <thread>

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

// Letter of the i-th relaxed pass (0: "b"), "z+" past the alphabet.
std::string RelaxedPassSuffix(size_t i) {
  return i < 25 ? std::string(1, static_cast<char>('b' + i)) : std::string("z+");
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

// A pass without heuristics in safe mode: pass 0 and pass 2.
TPassPlan ExactPass(int number, TPassKind kind, SolutionMode mode) {
  TPassPlan p;
  p.number = number;
  p.kind = kind;
  p.safeMode = true;
  p.mode = mode;
  return p;
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
  const std::vector<THeuristicState> steps = RelaxationSteps(initial);
  for (size_t i = 0; i < steps.size(); ++i)
    out.push_back("Pass 1" + RelaxedPassSuffix(i) + ": " + HeuristicSetText(steps[i], false));
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
  if (r.proofSearchSeconds > 0) plan.push_back(ExactPass(0, TPassKind::kProofNumbers, r.mode));
  TPassPlan p1;
  p1.kind = TPassKind::kWithHeuristics;
  p1.state = RequestHeuristics(r);
  p1.heuristics = p1.state.set;
  p1.safeMode = safe;
  p1.mode = r.mode;
  plan.push_back(p1);
  if (p1.heuristics != 0) {
    if (r.relaxation) {
      const std::vector<THeuristicState> steps = RelaxationSteps(p1.state);
      for (size_t i = 0; i < steps.size(); ++i) {
        TPassPlan p = p1;
        p.suffix = RelaxedPassSuffix(i);
        p.state = steps[i];
        p.heuristics = steps[i].set;
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
    plan.push_back(ExactPass(2, TPassKind::kWithoutHeuristics, r.mode));
  }
  return plan;
}

// The time-dependent relaxation step is not taken in positions where a
// quick pass says little: Black has three pawns or more, his king stands on
// the edge and White has no queen (blocked pawn positions, whose passes end
// quickly because the heuristics cut nearly everything).
bool TimeRelaxationSkipped(const TChessboard& root) {
  const int bk = root.BlackKingSquare();
  const bool onEdge = (bk & 7) == 0 || (bk & 7) == 7 || (bk >> 3) == 0 || (bk >> 3) == 7;
  return root.counts[kCntBP] >= 3 && onEdge && root.counts[kCntWQ] == 0;
}

// Two lines per relaxation step in TryRelaxSpecialHeuristics.log of the
// working folder, under one lock.
void LogRelaxation(const THeuristicState& before, const THeuristicState& after) {
  static std::mutex lock;
  std::lock_guard<std::mutex> lk(lock);
  std::FILE* f = std::fopen("TryRelaxSpecialHeuristics.log", "a");
  if (!f) return;
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  char when[64];
  std::snprintf(when, sizeof when, "%d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1,
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  std::ostringstream th;
  th << std::this_thread::get_id();
  std::fprintf(f, "%s %s th=%s %s\n", when, "BEFORE", th.str().c_str(),
               HeuristicSetText(before, true).c_str());
  std::fprintf(f, "%s %s th=%s %s\n", when, "AFTER", th.str().c_str(), HeuristicSetText(after, true).c_str());
  std::fclose(f);
}

}  // namespace ostravel

#include "engine/run_texts.h"

#include <algorithm>

#include "engine/engine_texts.h"

namespace ostravel {

// ---------------------------------------------------------------- summary

std::string ShortMateDepthLine(int16_t customPlies, int languageId) {
  if (customPlies < 1) return EngineText(TEngineText::kDefaultShortMate, languageId);
  return EngineFormat(EngineText(TEngineText::kCustomShortMate, languageId), customPlies / 2 + 1);
}

uint64_t EffectiveMainThreads(int threads, int forcedThreads, int levels, bool bruteForce) {
  uint64_t n = static_cast<uint64_t>(std::max(forcedThreads > threads ? forcedThreads : threads, 1));
  const uint64_t per = bruteForce ? 2 : static_cast<uint64_t>(std::max(threads, 1));
  for (int l = 1; l < levels; ++l) {
    if (n > UINT64_MAX / per) return UINT64_MAX;
    n *= per;
  }
  return n;
}

uint64_t RunningMainThreads(int threads, int forcedThreads, int levels, bool bruteForce, int processors) {
  const uint64_t all = EffectiveMainThreads(threads, forcedThreads, levels, bruteForce);
  const uint64_t first = static_cast<uint64_t>(std::max({forcedThreads, threads, 1}));
  if (levels < 2) return first;
  return std::max(first, std::min(all, static_cast<uint64_t>(std::max(processors, 1))));
}

namespace {
uint32_t InitialHeuristics(const TSolveRequest& r) {
  // A brute-force run starts without any heuristics.
  return r.bruteForce && r.hybridPhase == 0 ? 0 : r.heuristics;
}
}  // namespace

bool QuickModeActs(const TSolveRequest& r) {
  return !r.safeMode && !r.safeModeForcedByEngine && InitialHeuristics(r) != 0;
}

std::vector<std::string> SettingsSummary(const TSolveRequest& r, int hybridPhase, int processors) {
  const int lang = r.languageId;
  std::vector<std::string> out;
  out.push_back(EngineText(TEngineText::kSummaryTitle, lang));
  if (r.hybridPhase != 0) {
    out.push_back(EngineText(TEngineText::kModeHybrid, lang));
    out.push_back(
        EngineText(hybridPhase == 2 ? TEngineText::kModeHybridPhase2 : TEngineText::kModeHybridPhase1, lang));
  } else {
    static constexpr TEngineText kModes[] = {TEngineText::kModeSingle, TEngineText::kModeAtMost2,
                                             TEngineText::kModeAtMost3, TEngineText::kModeAtMost4,
                                             TEngineText::kModeAll};
    out.push_back(EngineText(kModes[static_cast<size_t>(r.mode)], lang));
  }
  // Without a heuristic pass every pass is exact: that is safe mode.
  out.push_back(EngineText(QuickModeActs(r) ? TEngineText::kQuickModeOn : TEngineText::kSafeModeOn, lang));
  out.push_back(ShortMateDepthLine(r.customShortMateDepth, lang));
  std::string threads = EngineFormat(EngineText(TEngineText::kThreads, lang), r.threads);
  if (r.forcedThreads > r.threads)
    threads += EngineFormat(EngineText(TEngineText::kForcedThreads, lang), r.forcedThreads);
  out.push_back(threads);
  out.push_back(EngineFormat(EngineText(TEngineText::kLevels, lang), r.levels));
  if (r.levels >= 2) {
    const bool brute = r.bruteForce || hybridPhase == 2;
    out.push_back(EngineFormat(EngineText(TEngineText::kEffectiveThreads, lang),
                               static_cast<unsigned long long>(RunningMainThreads(
                                   r.threads, r.forcedThreads, r.levels, brute, processors))));
  }
  // No scheduler reorders the moves of the levels below the threads yet
  // (SchedulerLevels and CustomScheduler are read but change nothing), so
  // the summary says it is off whatever they hold.
  out.push_back(EngineText(TEngineText::kSchedulerOff, lang));
  out.push_back(EngineText(TEngineText::kCustomSchedulerOff, lang));
  const uint32_t initial = InitialHeuristics(r);
  THeuristicState state = RequestHeuristics(r);
  state.set = initial;
  const std::string names = initial ? HeuristicSetText(state, false) : HeuristicSetNames(0, lang);
  out.push_back(EngineFormat(EngineText(TEngineText::kInitialHeuristics, lang), names.c_str()));
  return out;
}

std::string ModeStatusLine(const TSolveRequest& r) {
  if (r.safeModeForcedByEngine) return EngineText(TEngineText::kStatusSafeModeForced, r.languageId);
  if (!QuickModeActs(r)) return EngineText(TEngineText::kStatusSafeMode, r.languageId);
  return EngineText(TEngineText::kStatusQuickMode, r.languageId);
}

// ---------------------------------------------------------------- progress

std::string ProgressLine(const TProgressSnapshot& s) {
  std::string sets;
  if (s.heuristics) sets += EngineFormat("SH:%xh", s.heuristics);
  if (s.registerEntries)
    sets += EngineFormat(",TR:%d(%d)", static_cast<int>(s.registerEntries),
                         static_cast<int>(s.registerHeuristicEntries));
  const std::string line = s.currentLine.empty() ? std::string() : s.currentLine + " ";
  return EngineFormat("Pass %d%s, %s%0.1f%% %lld", s.pass, sets.c_str(), line.c_str(), s.percent,
                      static_cast<long long>(s.nodes));
}

std::string DepthReportLine(const TProgressSnapshot& s) {
  const char* b = s.bruteForce ? " (b)" : "";
  if (s.lowerBound > 0)
    return EngineFormat("Searching for #%d%s (of at least #%d) : %0.2f%%", s.depthMoves, b, s.lowerBound,
                        s.percent);
  return EngineFormat("Searching for #%d%s: %0.2f%%", s.depthMoves, b, s.percent);
}

// ---------------------------------------------------------------- end texts

namespace {

std::string DefenceValue(const TDefenceReply& r, int n, int lang) {
  if (!r.searched) return EngineText(TEngineText::kDefenceNotSearched, lang);
  if (r.mateIn == 0) return EngineFormat(EngineText(TEngineText::kDefenceNoMateIn, lang), n);
  return EngineFormat(EngineText(TEngineText::kDefenceMateIn, lang), r.mateIn);
}

// A reply after which White has no mate ends its line there: it says so.
std::string DefenceMoveLine(const TDefenceReply& r, int n, int lang) {
  std::string line = "   1..." + r.text + " (" + DefenceValue(r, n, lang) + ")";
  if (r.searched && r.mateIn == 0) line += std::string(" ") + EngineText(TEngineText::kLastMoveNoMate, lang);
  return line;
}

void AddLine(std::string& out, const std::string& line) {
  if (!out.empty()) out += '\n';
  out += line;
}

// Completion notes end with "\n"; the end text has no final line end.
void AddNote(std::string& out, std::string note) {
  while (!note.empty() && note.back() == '\n') note.pop_back();
  AddLine(out, note);
}

std::string DefenceEndText(const TSolveRequest& r, const TSolveResult& res) {
  const int lang = r.languageId;
  const bool stopped = res.status == TRunStatus::kStopped;
  const TDefenceResult& d = res.defence;
  std::string out;
  AddLine(out, EngineFormat(
                   EngineText(stopped ? TEngineText::kEngineStopped : TEngineText::kEngineCompleted, lang),
                   r.title.c_str()));
  if (!stopped)
    AddLine(out, EngineFormat(EngineText(TEngineText::kDefenceThreadDone, lang), r.title.c_str()));
  AddLine(out,
          EngineFormat(EngineText(TEngineText::kResultLine, lang), r.moves) + ": " +
              EngineText(d.headline, lang) +
              (stopped ? std::string(" ") + EngineText(TEngineText::kStoppedMark, lang) : std::string()));
  if (!d.best.empty())
    AddLine(out,
            EngineText(d.best.size() == 1 ? TEngineText::kDefenceWord : TEngineText::kDefencesWord, lang));
  for (size_t i : d.best) AddLine(out, DefenceMoveLine(d.replies[i], r.moves, lang));
  if (!d.equivalent.empty()) {
    out += EngineText(TEngineText::kDefenceEquivalent, lang);
    for (size_t i : d.equivalent) AddLine(out, DefenceMoveLine(d.replies[i], r.moves, lang));
  }
  if (d.replies.size() > 1) {
    AddLine(out, EngineText(TEngineText::kDefenceFollowing, lang));
    for (const auto& reply : d.replies) AddLine(out, DefenceMoveLine(reply, r.moves, lang));
  }
  if (res.outOfMemory)
    AddLine(out, EngineText(TEngineText::kOutOfMemory, lang));
  else if (stopped)
    AddLine(out, EngineText(TEngineText::kAnalysisStopped, lang));
  return out;
}

std::string PassLine(const TPassReport& p, int lang) {
  const std::string name = p.plan.Name();
  const std::string heur = p.plan.heuristics ? p.plan.SetText() : HeuristicSetNames(0, lang);
  std::string s;
  switch (p.plan.kind) {
    case TPassKind::kWithHeuristics:
      s = p.plan.heuristics == 0
              ? EngineFormat(EngineText(TEngineText::kPassExact, lang), name.c_str())
              : EngineFormat(EngineText(TEngineText::kPassWithHeuristics, lang), name.c_str(), heur.c_str());
      break;
    case TPassKind::kWithoutHeuristics:
      s = EngineFormat(EngineText(TEngineText::kPassWithoutHeuristics, lang), name.c_str());
      break;
    case TPassKind::kBruteForce:
      s = EngineFormat(EngineText(TEngineText::kPassBruteForce, lang), name.c_str());
      break;
    case TPassKind::kHybridPhase1:
      s = EngineFormat(EngineText(TEngineText::kPassHybridPhase1, lang), name.c_str(), heur.c_str());
      break;
    case TPassKind::kHybridPhase2:
      s = EngineFormat(EngineText(TEngineText::kPassHybridPhase2, lang), name.c_str());
      break;
    case TPassKind::kProofNumbers:
      s = EngineFormat(EngineText(TEngineText::kPassProofNumbers, lang), name.c_str());
      break;
  }
  s += EngineFormat(EngineText(TEngineText::kPassSolutions, lang), p.solutionsAfter, p.seconds);
  if (!p.completed) s += EngineText(TEngineText::kPassInterrupted, lang);
  return s;
}

}  // namespace

std::string ResultTitle(const TSolveRequest& r, const TSolveResult& res) {
  return EngineText(
      res.task == TEngineTask::kDefence ? TEngineText::kResultOfAnalysis : TEngineText::kMateSearchResult,
      r.languageId);
}

std::string EndText(const TSolveRequest& r, const TSolveResult& res) {
  const int lang = r.languageId;
  if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) return res.message;
  if (res.task == TEngineTask::kDefence) return DefenceEndText(r, res);
  const bool stopped = res.status == TRunStatus::kStopped;
  const std::string title = RunTitle(r);
  const int k = res.solutionCount;
  std::string out;
  AddLine(out, EngineFormat(
                   EngineText(stopped ? TEngineText::kEngineStopped : TEngineText::kEngineCompleted, lang),
                   title.c_str()));
  if (!stopped) AddLine(out, EngineFormat(EngineText(TEngineText::kThreadSolvingDone, lang), title.c_str()));
  std::string result = EngineFormat(EngineText(TEngineText::kResultLine, lang), r.moves) + ": ";
  result += k ? EngineFormat(EngineText(TEngineText::kSolutionsOfProblem, lang), k, r.title.c_str())
              : EngineFormat(EngineText(TEngineText::kNoSolutionOfProblem, lang), r.title.c_str());
  if (res.fromRegister) result += std::string(" ") + EngineText(TEngineText::kFromRegister, lang);
  if (stopped) result += std::string(" ") + EngineText(TEngineText::kStoppedMark, lang);
  AddLine(out, result);
  if (k > 1) AddLine(out, EngineFormat(EngineText(TEngineText::kMoreThanOneSolution, lang), k));
  if (res.stoppedBySolutionLimit) {
    switch (res.mode) {
      case SolutionMode::kAtMost2:
        AddLine(out, EngineText(TEngineText::kStopAfterDual, lang));
        break;
      case SolutionMode::kAtMost3:
        AddLine(out, EngineText(TEngineText::kStopAfter3, lang));
        break;
      case SolutionMode::kAtMost4:
        AddLine(out, EngineText(TEngineText::kStopAfter4, lang));
        break;
      default:
        break;
    }
  }
  if (!stopped && k == 0) {
    AddLine(out, EngineFormat(EngineText(TEngineText::kNotFoundAnySolutions, lang), r.moves));
    AddLine(out, EngineFormat(EngineText(TEngineText::kNoSolutionSeconds, lang), res.seconds));
  }
  if (res.outOfMemory)
    AddLine(out, EngineText(TEngineText::kOutOfMemory, lang));
  else if (stopped)
    AddLine(out, EngineText(TEngineText::kAnalysisStopped, lang));
  const bool normalRun = !r.bruteForce && r.hybridPhase == 0;
  if (normalRun && !r.passWithoutHeuristics) AddLine(out, EngineText(TEngineText::kNotePassOff, lang));
  if (!res.passes.empty()) {
    AddLine(out, EngineText(TEngineText::kPassesRun, lang));
    for (const auto& p : res.passes) AddNote(out, PassLine(p, lang));
  }
  for (const auto& n : res.notes) AddNote(out, n);
  return out;
}

}  // namespace ostravel

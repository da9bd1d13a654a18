#include "engine/engine_run.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <new>
#include <stdexcept>
#include <thread>

#include "chess/fen.h"
#include "chess/notation.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/mate_search.h"
#include "precalc/position_type.h"
#include "problems/problem.h"
#include "registers/temporary_register.h"

namespace ostravel {

// ---------------------------------------------------------------- global state

std::atomic<bool> g_bStopPending{false};
std::atomic<bool> g_bBruteForce{false};
std::atomic<bool> g_bEngineThreadProcRunning{false};
std::set<uint32_t> setRunningProblemsIds;
std::set<uint32_t> setProblemsBeingStoppedIds;
std::atomic<int> g_nEngineThreadProcBlackMovesPending{0};
std::atomic<int> g_nEngineThreadProcAuxMatePending{0};

namespace {
// Several runs may be on at once: the flags stay raised while any run needs them.
std::atomic<int> g_bruteForcePasses{0};
std::atomic<int> g_engineThreadProcs{0};
}  // namespace

std::mutex& EngineIdsLock() {
  static std::mutex m;
  return m;
}

void RequestStopOfProblem(uint32_t problemId) {
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  if (!setRunningProblemsIds.count(problemId)) return;
  setProblemsBeingStoppedIds.insert(problemId);
  g_bStopPending.store(true);
}

bool IsProblemBeingStopped(uint32_t problemId) {
  if (!g_bStopPending.load(std::memory_order_relaxed)) return false;
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  return setProblemsBeingStoppedIds.count(problemId) != 0;
}

// ---------------------------------------------------------------- the request

bool TSolveRequest::SetFen(const std::string& fen) { return FenToTask(fen, position, whiteToMove); }

void ApplySettings(TSolveRequest& r, const TSettings& s) {
  r.safeMode = s.QuickMode == 0;
  // Levels outside 1..64 fall back to the default of one level.
  r.levels = static_cast<uint8_t>(s.MultithreadingLevels >= 1 ? std::min(s.MultithreadingLevels, 64) : 1);
  r.schedulerLevels = static_cast<uint8_t>(std::clamp(s.InternalSchedulerLevels(), 0, 9));
  r.customScheduler = s.CustomScheduler != 0;
  r.languageId = s.LanguageId >= 0 && s.LanguageId <= 2 ? s.LanguageId : 1;
  r.logMoves = s.LogMoves != 0;
  r.letTwoThreadsShareAMove = s.LetAnalyzeTheSameMoveInTwoThreads != 0;
  r.clearRegisterOnStart = s.ClearRegisterOnStartSolving != 0;
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister> MakeRunRegister(int moves, bool whiteToMove) {
  const int plies = whiteToMove ? 2 * moves - 1 : 2 * moves;
  const uint32_t buckets = RegisterBucketsForRun(plies, false, Settings().tempRegLimitMB);
  auto reg =
      std::make_shared<TAggregatedTemporaryChessboardRegister>(buckets, TempRegElementLimitFromSettings(buckets));
  reg->SetStoreShortResults(true);
  return reg;
}

namespace {

bool EqualsNoCase(const std::string& a, const char* b) {
  const size_t n = std::strlen(b);
  if (a.size() != n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

void AppendUnique(std::vector<TMove>& out, const std::vector<TMove>& moves) {
  for (const TMove& m : moves)
    if (std::none_of(out.begin(), out.end(), [&](const TMove& o) { return o.SameAs(m); })) out.push_back(m);
}

}  // namespace

TSolveRequest RequestFromProblem(const TProblem& p, const TSettings& s, uint32_t problemId) {
  TSolveRequest r;
  r.problemId = problemId;
  r.title = p.description.empty() ? p.Fen() : p.description;
  r.position = p.position;
  r.whiteToMove = p.whiteToMove;
  r.moves = p.moves;
  ApplySettings(r, s);
  AppendUnique(r.sortIndications, SortIndicationMoves(p));
  if (s.UseMainVariantAsSortIndications >= 1)
    AppendUnique(r.sortIndications, FirstWhiteMoves(p, s.UseMainVariantAsSortIndications >= 2));
  for (const std::string& tag : p.tags) {
    if (EqualsNoCase(tag, "AllSolutions")) r.mode = SolutionMode::kAll;
    else if (EqualsNoCase(tag, "SingleSolution")) r.mode = SolutionMode::kSingle;
    else if (EqualsNoCase(tag, "StopOnDual")) r.mode = SolutionMode::kAtMost2;
    else if (EqualsNoCase(tag, "StopOn3Sol")) r.mode = SolutionMode::kAtMost3;
    else if (EqualsNoCase(tag, "StopOn4Sol")) r.mode = SolutionMode::kAtMost4;
    else if (EqualsNoCase(tag, "BruteForce")) r.bruteForce = true;
    else if (EqualsNoCase(tag, "HybridBruteForce")) r.hybridPhase = 1;
  }
  return r;
}

std::string RunTitle(const TSolveRequest& r) {
  if (r.hybridPhase != 0) return r.title + " (HybridBruteForce)";
  if (r.bruteForce) return r.title + " (BruteForce)";
  if (r.mode == SolutionMode::kAll) return r.title + " (AllSolutions)";
  return r.title;
}

std::string SearchLogPath(const TSolveRequest& r) {
  // The problem's name with ".log", in the data folder; characters a file
  // name cannot hold become '_'.
  std::string name = r.title.empty() ? "problem" : r.title;
  for (char& c : name)
    if (c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 32) c = '_';
  if (name.size() > 120) name.resize(120);
  return (DataFolder() / (name + ".log")).string();
}

// ---------------------------------------------------------------- passes

SolutionMode HybridPhase2Mode(SolutionMode requested) {
  return requested == SolutionMode::kSingle ? SolutionMode::kAtMost2 : requested;
}

namespace {

// Relaxed heuristic sets after the initial one (passes 1b, 1c, ...). No set
// relaxes yet: the heuristics themselves come later.
std::vector<uint32_t> RelaxationSteps(uint32_t /*initial*/) { return {}; }

std::string Text(TEngineText id, int lang) { return EngineText(id, lang); }

}  // namespace

std::vector<TPassPlan> PlanPasses(const TSolveRequest& r, std::vector<std::string>* notes) {
  const int lang = r.languageId;
  const bool safe = r.safeMode || r.safeModeForcedByEngine;
  std::vector<TPassPlan> plan;
  auto note = [&](TEngineText id) {
    if (notes) notes->push_back(Text(id, lang));
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

// ---------------------------------------------------------------- summary

std::string ShortMateDepthLine(int16_t customPlies, int languageId) {
  if (customPlies < 1) return Text(TEngineText::kDefaultShortMate, languageId);
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

bool ThreadsAndLevelsAllowed(int threads, int levels) {
  if (threads < 1 || levels < 1) return false;
  uint64_t p = static_cast<uint64_t>(threads), sum = p;
  for (int l = 1; l < levels; ++l) {
    p *= static_cast<uint64_t>(threads);
    sum += p;
    if (p > 32767 || sum > 32767) return false;
  }
  return sum <= 32767;
}

std::vector<std::string> SettingsSummary(const TSolveRequest& r, int hybridPhase) {
  const int lang = r.languageId;
  std::vector<std::string> out;
  out.push_back(Text(TEngineText::kSummaryTitle, lang));
  if (r.hybridPhase != 0) {
    out.push_back(Text(TEngineText::kModeHybrid, lang));
    out.push_back(Text(hybridPhase == 2 ? TEngineText::kModeHybridPhase2 : TEngineText::kModeHybridPhase1, lang));
  } else {
    static constexpr TEngineText kModes[] = {TEngineText::kModeSingle, TEngineText::kModeAtMost2,
                                             TEngineText::kModeAtMost3, TEngineText::kModeAtMost4,
                                             TEngineText::kModeAll};
    out.push_back(Text(kModes[static_cast<size_t>(r.mode)], lang));
  }
  out.push_back(Text(r.safeMode || r.safeModeForcedByEngine ? TEngineText::kSafeModeOn : TEngineText::kQuickModeOn,
                     lang));
  out.push_back(ShortMateDepthLine(r.customShortMateDepth, lang));
  std::string threads = EngineFormat(EngineText(TEngineText::kThreads, lang), r.threads);
  if (r.forcedThreads > r.threads)
    threads += EngineFormat(EngineText(TEngineText::kForcedThreads, lang), r.forcedThreads);
  out.push_back(threads);
  out.push_back(EngineFormat(EngineText(TEngineText::kLevels, lang), r.levels));
  if (r.levels >= 2) {
    const bool brute = r.bruteForce || hybridPhase == 2;
    out.push_back(EngineFormat(EngineText(TEngineText::kEffectiveThreads, lang),
                               static_cast<unsigned long long>(
                                   EffectiveMainThreads(r.threads, r.forcedThreads, r.levels, brute))));
  }
  if (r.schedulerLevels == 0)
    out.push_back(Text(TEngineText::kSchedulerOff, lang));
  else
    out.push_back(EngineFormat(EngineText(TEngineText::kSchedulerOn, lang), r.levels + 1,
                               r.levels + r.schedulerLevels));
  out.push_back(Text(r.customScheduler ? TEngineText::kCustomSchedulerOn : TEngineText::kCustomSchedulerOff, lang));
  // A brute-force run starts without any heuristics.
  const uint32_t initial = r.bruteForce && r.hybridPhase == 0 ? 0 : r.heuristics;
  out.push_back(EngineFormat(EngineText(TEngineText::kInitialHeuristics, lang),
                             HeuristicSetNames(initial, lang).c_str()));
  return out;
}

std::string ModeStatusLine(const TSolveRequest& r) {
  if (r.safeModeForcedByEngine) return Text(TEngineText::kStatusSafeModeForced, r.languageId);
  if (r.safeMode) return Text(TEngineText::kStatusSafeMode, r.languageId);
  return Text(TEngineText::kStatusQuickMode, r.languageId);
}

// ---------------------------------------------------------------- progress texts

std::string ProgressLine(const TProgressSnapshot& s) {
  std::string sets;
  if (s.heuristics) sets += EngineFormat("SH:%xh", s.heuristics);
  if (s.registerEntries)
    sets += EngineFormat(",TR:%d(%d)", static_cast<int>(s.registerEntries),
                         static_cast<int>(s.registerHeuristicEntries));
  const std::string line = s.currentLine.empty() ? std::string() : s.currentLine + " ";
  return EngineFormat("Pass %d%s, %s%0.1f%% %lld             \r", s.pass, sets.c_str(), line.c_str(), s.percent,
                      static_cast<long long>(s.nodes));
}

std::string DepthReportLine(const TProgressSnapshot& s) {
  const char* b = s.bruteForce ? " (b)" : "";
  if (s.lowerBound > 0)
    return EngineFormat("Searching for #%d%s (of at least #%d) : %0.2f%%", s.depthMoves, b, s.lowerBound, s.percent);
  return EngineFormat("Searching for #%d%s: %0.2f%%", s.depthMoves, b, s.percent);
}

std::string ThreadConsoleLine(int depth, bool bruteForce, int seconds) {
  return EngineFormat("%d%s... %d sec(s)...     \r", depth, bruteForce ? " (b)" : "", seconds);
}

// ---------------------------------------------------------------- defence classification

void ClassifyDefence(TDefenceResult& d) {
  d.best.clear();
  d.equivalent.clear();
  std::vector<size_t> searched;
  for (size_t i = 0; i < d.replies.size(); ++i)
    if (d.replies[i].searched) searched.push_back(i);
  if (d.replies.empty() || searched.empty()) {
    d.headline = TEngineText::kDefenceNoValidMove;
    return;
  }
  auto defends = [&](size_t i) { return d.replies[i].mateIn == 0; };
  if (d.replies.size() == 1) {
    d.best.push_back(0);
    d.headline = defends(0) ? TEngineText::kDefenceOnlyReply : TEngineText::kDefenceOnlyReplyNotDefence;
    return;
  }
  // Replies that escape the short mate: no mate at all, or only a longer one.
  std::vector<size_t> escaping;
  for (size_t i : searched)
    if (defends(i) || d.shortMateMoves < 1 || d.replies[i].mateIn > d.shortMateMoves) escaping.push_back(i);
  if (d.shortMateMoves >= 1 && escaping.size() == 1 && searched.size() == d.replies.size()) {
    const size_t i = escaping.front();
    d.best.push_back(i);
    d.headline = defends(i) ? TEngineText::kDefenceOnlyReplyShort : TEngineText::kDefenceOnlyReplyShortNotDefence;
    return;
  }
  std::vector<size_t> refutations;
  for (size_t i : searched)
    if (defends(i)) refutations.push_back(i);
  if (!refutations.empty()) {
    d.headline = TEngineText::kDefenceRefuted;
    d.best.push_back(refutations.front());
    d.equivalent.assign(refutations.begin() + 1, refutations.end());
    return;
  }
  // Every reply is mated: the longest resistance is the best.
  int longest = 0;
  for (size_t i : searched) longest = std::max(longest, d.replies[i].mateIn);
  d.headline = TEngineText::kDefenceNone;
  for (size_t i : searched) {
    if (d.replies[i].mateIn != longest) continue;
    (d.best.empty() ? d.best : d.equivalent).push_back(i);
  }
}

// ---------------------------------------------------------------- end texts

namespace {

std::string DefenceValue(const TDefenceReply& r, int n, int lang) {
  if (!r.searched) return Text(TEngineText::kDefenceNotSearched, lang);
  if (r.mateIn == 0) return EngineFormat(EngineText(TEngineText::kDefenceNoMateIn, lang), n);
  return EngineFormat(EngineText(TEngineText::kDefenceMateIn, lang), r.mateIn);
}

std::string DefenceMoveLine(const TDefenceReply& r, int n, int lang) {
  return "   1..." + r.text + " (" + DefenceValue(r, n, lang) + ")";
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
  AddLine(out, EngineFormat(EngineText(stopped ? TEngineText::kEngineStopped : TEngineText::kEngineCompleted, lang),
                            r.title.c_str()));
  if (!stopped) AddLine(out, EngineFormat(EngineText(TEngineText::kDefenceThreadDone, lang), r.title.c_str()));
  AddLine(out, EngineFormat(EngineText(TEngineText::kResultLine, lang), r.moves) + ": " +
                   Text(d.headline, lang) + (stopped ? " " + Text(TEngineText::kStoppedMark, lang) : ""));
  for (size_t i : d.best) AddLine(out, DefenceMoveLine(d.replies[i], r.moves, lang));
  if (!d.equivalent.empty()) {
    out += Text(TEngineText::kDefenceEquivalent, lang);
    for (size_t i : d.equivalent) AddLine(out, DefenceMoveLine(d.replies[i], r.moves, lang));
  }
  if (d.replies.size() > 1) {
    AddLine(out, Text(TEngineText::kDefenceFollowing, lang));
    for (const auto& reply : d.replies) AddLine(out, DefenceMoveLine(reply, r.moves, lang));
  }
  if (res.outOfMemory) AddLine(out, Text(TEngineText::kOutOfMemory, lang));
  else if (stopped) AddLine(out, Text(TEngineText::kAnalysisStopped, lang));
  return out;
}

std::string PassLine(const TPassReport& p, int lang) {
  const std::string name = p.plan.Name();
  const std::string heur = HeuristicSetNames(p.plan.heuristics, lang);
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
  }
  s += EngineFormat(EngineText(TEngineText::kPassSolutions, lang), p.solutionsAfter, p.seconds);
  if (!p.completed) s += Text(TEngineText::kPassInterrupted, lang);
  return s;
}

}  // namespace

std::string ResultTitle(const TSolveRequest& r, const TSolveResult& res) {
  return Text(res.task == TEngineTask::kDefence ? TEngineText::kResultOfAnalysis : TEngineText::kMateSearchResult,
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
  AddLine(out, EngineFormat(EngineText(stopped ? TEngineText::kEngineStopped : TEngineText::kEngineCompleted, lang),
                            title.c_str()));
  if (!stopped) AddLine(out, EngineFormat(EngineText(TEngineText::kThreadSolvingDone, lang), title.c_str()));
  std::string result = EngineFormat(EngineText(TEngineText::kResultLine, lang), r.moves) + ": ";
  result += k ? EngineFormat(EngineText(TEngineText::kSolutionsOfProblem, lang), k, r.title.c_str())
              : EngineFormat(EngineText(TEngineText::kNoSolutionOfProblem, lang), r.title.c_str());
  if (res.fromRegister) result += " " + Text(TEngineText::kFromRegister, lang);
  if (stopped) result += " " + Text(TEngineText::kStoppedMark, lang);
  AddLine(out, result);
  if (k > 1) AddLine(out, EngineFormat(EngineText(TEngineText::kMoreThanOneSolution, lang), k));
  if (res.stoppedBySolutionLimit) {
    switch (res.mode) {
      case SolutionMode::kAtMost2: AddLine(out, Text(TEngineText::kStopAfterDual, lang)); break;
      case SolutionMode::kAtMost3: AddLine(out, Text(TEngineText::kStopAfter3, lang)); break;
      case SolutionMode::kAtMost4: AddLine(out, Text(TEngineText::kStopAfter4, lang)); break;
      default: break;
    }
  }
  if (!stopped && k == 0) {
    AddLine(out, EngineFormat(EngineText(TEngineText::kNotFoundAnySolutions, lang), r.moves));
    AddLine(out, EngineFormat(EngineText(TEngineText::kNoSolutionSeconds, lang), res.seconds));
  }
  if (res.outOfMemory) AddLine(out, Text(TEngineText::kOutOfMemory, lang));
  else if (stopped) AddLine(out, Text(TEngineText::kAnalysisStopped, lang));
  const bool normalRun = !r.bruteForce && r.hybridPhase == 0;
  if (normalRun && !r.passWithoutHeuristics) AddLine(out, Text(TEngineText::kNotePassOff, lang));
  if (!res.passes.empty()) {
    AddLine(out, Text(TEngineText::kPassesRun, lang));
    for (const auto& p : res.passes) AddNote(out, PassLine(p, lang));
  }
  for (const auto& n : res.notes) AddNote(out, n);
  return out;
}

// ---------------------------------------------------------------- the run

struct TRunShared {
  TSolveRequest req;
  TEngineCallbacks cb;
  TEngineTask task = TEngineTask::kMate;

  std::atomic<bool> stop{false};
  std::atomic<bool> paused{false};
  std::atomic<bool> finished{false};
  std::thread thread;

  // Guards the search pointer and the snapshot fields; the search object is
  // only destroyed after its pointer is cleared under this lock.
  mutable std::mutex lock;
  TMateSearch* search = nullptr;       // the search that a stop goes to
  std::vector<TMateSearch*> searches;  // every live search object of the run (node counts)
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg;
  TRunState state = TRunState::kIdle;
  int pass = 0;
  std::string passSuffix;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  int hybridPhase = 0;
  int lowerBound = 0;
  uint64_t nodesDone = 0;  // nodes of search objects no longer listed
  std::string status;
  // The defence task reports its own progress.
  int repliesDone = 0;
  int repliesTotal = 0;
  std::string defenceLine;
  std::chrono::steady_clock::time_point t0;

  std::mutex solutionsLock;
  std::vector<TMove> announced;
  std::atomic<int> solutionsSoFar{0};

  TSolveResult result;
  std::string endText;
  std::mutex doneLock;
  std::condition_variable doneCv;

  bool StopWanted() const {
    return stop.load(std::memory_order_relaxed) || IsProblemBeingStopped(req.problemId);
  }
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  }
  void Message(TEngineMessage::Kind kind, const std::string& text, const std::string& title = {}) {
    if (kind == TEngineMessage::kStatus) {
      std::lock_guard<std::mutex> lk(lock);
      status = text;
    }
    if (cb.onMessage) cb.onMessage(TEngineMessage{kind, title, text});
  }
  void SetState(TRunState s) {
    std::lock_guard<std::mutex> lk(lock);
    state = s;
  }
  // Waits while paused; false when a stop came meanwhile.
  bool WaitWhilePaused() {
    while (paused.load() && !StopWanted()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return !StopWanted();
  }
};

namespace {

// Forwards a stop (from TEngine, or through the global flag and the id set) to
// the running search, again and again: a search clears its flag when a call
// starts, so a stop that arrives between two calls is not lost.
class TStopWatcher {
 public:
  explicit TStopWatcher(TRunShared& st) : st_(st), thread_([this] { Loop(); }) {}
  ~TStopWatcher() {
    quit_.store(true);
    thread_.join();
  }

 private:
  void Loop() {
    while (!quit_.load()) {
      if (st_.StopWanted()) {
        st_.stop.store(true);
        std::lock_guard<std::mutex> lk(st_.lock);
        if (st_.search) st_.search->RequestStop();
      }
      {
        // A search made after the pause request pauses as well.
        const bool paused = st_.paused.load() && !st_.stop.load();
        std::lock_guard<std::mutex> lk(st_.lock);
        if (st_.search && st_.search->Paused() != paused) st_.search->SetPaused(paused);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  TRunShared& st_;
  std::atomic<bool> quit_{false};
  std::thread thread_;
};

// Raises g_bBruteForce for the life of a brute-force pass.
class TBruteForceFlag {
 public:
  explicit TBruteForceFlag(bool on) : on_(on) {
    if (on_ && g_bruteForcePasses.fetch_add(1) == 0) g_bBruteForce.store(true);
  }
  ~TBruteForceFlag() {
    if (on_ && g_bruteForcePasses.fetch_sub(1) == 1) g_bBruteForce.store(false);
  }

 private:
  bool on_;
};

// Unlists the run's search objects (keeping their node counts) before they
// are destroyed, so that neither the stop watcher nor a snapshot reaches them.
class TSearchesRelease {
 public:
  explicit TSearchesRelease(TRunShared& st) : st_(st) {}
  ~TSearchesRelease() {
    std::lock_guard<std::mutex> lk(st_.lock);
    for (TMateSearch* s : st_.searches) st_.nodesDone += s->Nodes();
    st_.searches.clear();
    st_.search = nullptr;
  }

 private:
  TRunShared& st_;
};

bool Storable(const TChessboard& b) { return CastlingRights(b) == 0 && EnPassantTarget(b) < 0; }

bool SameSearchSettings(const TSearchSettings& a, const TSearchSettings& b) {
  return a.mode == b.mode && a.bruteForce == b.bruteForce && a.threads == b.threads && a.levels == b.levels &&
         a.lookForQuickerMateDepth == b.lookForQuickerMateDepth && a.verifyHeuristics == b.verifyHeuristics &&
         a.allowExceptions == b.allowExceptions && a.customShortMateDepth == b.customShortMateDepth &&
         a.cutRepetitions == b.cutRepetitions && a.letTwoThreadsShareAMove == b.letTwoThreadsShareAMove &&
         a.computeVariations == b.computeVariations;
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister> RegisterFor(const TSolveRequest& r) {
  if (!r.reg) return MakeRunRegister(r.moves, r.whiteToMove);
  // Before the first move is searched: nothing of an earlier run or a loaded
  // file may answer. A run of a hybrid's second phase only continues the
  // analysis of its first phase, whose results it keeps.
  if (r.clearRegisterOnStart && r.hybridPhase != 2) r.reg->Clear();
  return r.reg;
}

// Builds and checks the root. Returns the refusal text, empty when fine.
std::string MakeCheckedRoot(const TSolveRequest& r, TEngineTask task, TChessboard& root, TTaskContext& ctx) {
  const int lang = r.languageId;
  TProblem p;
  p.position = r.position;
  p.whiteToMove = r.whiteToMove;
  p.moves = static_cast<uint16_t>(r.moves);
  try {
    p.MakeRoot(root, ctx, true);
  } catch (const ChessException& e) {
    return e.what();
  }
  if (task == TEngineTask::kDefence) {
    if (r.whiteToMove) return Text(TEngineText::kDefenceTaskNeedsBlack, lang);
    if (root.whiteKingCheck >= 0) return Text(TEngineText::kWhiteKingChecked, lang);
  } else {
    if (!r.whiteToMove) return Text(TEngineText::kMateTaskNeedsWhite, lang);
    if (root.blackKingCheck >= 0) return Text(TEngineText::kBlackKingChecked, lang);
  }
  return {};
}

void TypeCheck(TRunShared& st, const TChessboard& root) {
  st.Message(TEngineMessage::kStatus, Text(TEngineText::kTypeCheck, st.req.languageId));
  st.result.positionType = PositionType(root);
  try {
    st.result.globalRegister = HasGlobalRegisterData(st.result.positionType);
  } catch (const std::exception&) {
    st.result.globalRegister = false;
  }
  // Without precalculated data the search goes on; it only loses the lookups.
  if (!st.result.globalRegister)
    st.Message(TEngineMessage::kInfo, EngineFormat(EngineText(TEngineText::kNoGlobalRegister, st.req.languageId),
                                                   st.result.positionType.c_str()));
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string s;
  for (const auto& l : lines) {
    if (!s.empty()) s += '\n';
    s += l;
  }
  return s;
}

void MergeKeys(std::vector<TSolution>& into, const std::vector<TSolution>& from) {
  for (const auto& s : from)
    if (std::none_of(into.begin(), into.end(), [&](const TSolution& o) { return o.key.SameAs(s.key); }))
      into.push_back(s);
}

// The passes of a mate run (and the single search of the auxiliary one).
void RunMatePasses(TRunShared& st, const TChessboard& root, bool aux) {
  const TSolveRequest& r = st.req;
  const int lang = r.languageId;
  TSolveResult& res = st.result;
  const int d = 2 * r.moves - 1;

  if (!aux) {
    TypeCheck(st, root);
    res.summary = SettingsSummary(r, r.hybridPhase);
    st.Message(TEngineMessage::kInfo, Joined(res.summary));
    st.Message(TEngineMessage::kStatus, ModeStatusLine(r));
  }
  {
    auto reg = RegisterFor(r);
    std::lock_guard<std::mutex> lk(st.lock);
    st.reg = std::move(reg);
    st.state = TRunState::kRunning;
  }

  // A register kept from an earlier search may already hold the answer.
  const uint32_t rootHash = RegisterHash(root.board);
  if (Storable(root)) {
    uint16_t first = 0, second = 0;
    if (st.reg->Probe(root.board, rootHash, first, second)) {
      if (second >= d) {
        res.fromRegister = true;
        res.mode = r.mode;
        return;
      }
      if (second > 0) {
        std::lock_guard<std::mutex> lk(st.lock);
        st.lowerBound = (second + 1) / 2 + 1;
      }
    }
  }

  std::vector<TPassPlan> plans;
  if (aux) {
    TPassPlan p;
    p.safeMode = true;
    p.mode = r.mode;
    plans.push_back(p);
  } else {
    plans = PlanPasses(r, &res.notes);
  }

  std::vector<std::unique_ptr<TMateSearch>> searches;
  TSearchesRelease release(st);  // before the objects go, also when a search throws
  std::vector<TSolution> keys;  // found so far, in order
  std::atomic<int> forced{r.forcedThreads};
  std::atomic<bool> proposalAsked{false};
  bool repetitionShown = false, exactCompleted = false;
  int announcedMore = 1;
  res.mode = r.mode;

  for (const TPassPlan& plan : plans) {
    if (!st.WaitWhilePaused()) break;
    const int limit = SolutionLimit(plan.mode);
    if (plan.onlyAfterSolution && keys.empty()) {
      res.notes.push_back(Text(r.heuristics == 0 ? TEngineText::kNoteHybridNoPhase2Exact
                                                 : TEngineText::kNoteHybridNoPhase2,
                               lang));
      continue;
    }
    res.mode = plan.mode;
    if (limit && static_cast<int>(keys.size()) >= limit) continue;
    if (plan.kind == TPassKind::kHybridPhase2 && r.hybridPhase == 1) {
      res.summary = SettingsSummary(r, 2);
      st.Message(TEngineMessage::kInfo, Joined(res.summary));
    }

    TSearchSettings ss;
    ss.mode = plan.mode;
    ss.lookForQuickerMateDepth = r.lookForQuickerMateDepth;
    ss.verifyHeuristics = r.verifyHeuristics;
    ss.allowExceptions = r.allowExceptions;
    ss.customShortMateDepth = r.customShortMateDepth;
    ss.bruteForce = plan.bruteForce || plan.heuristics == 0;
    ss.threads = std::max<int>({1, r.threads, forced.load()});
    ss.levels = r.levels;
    ss.letTwoThreadsShareAMove = r.letTwoThreadsShareAMove;
    // Cutting lines at a repeated position keeps their failures out of the
    // register, so only the passes that are not exact anyway do it.
    ss.cutRepetitions = plan.heuristics != 0;
    ss.computeVariations = r.computeVariations;
    ss.logMoves = r.logMoves;
    ss.logPath = r.logMoves && r.logPath.empty() ? SearchLogPath(r) : r.logPath;
    // Keys of earlier passes come first, so that a new search object finds
    // them again at once and counts them against its limit.
    for (const auto& k : keys) ss.sortIndications.push_back(k.key);
    AppendUnique(ss.sortIndications, r.sortIndications);

    TMateSearch* search = searches.empty() ? nullptr : searches.back().get();
    if (!search || !SameSearchSettings(search->Settings(), ss)) {
      auto fresh = std::make_unique<TMateSearch>(ss, st.reg);
      // The proposal comes from a search thread while the pass runs; an
      // accepted count holds for the rest of the run.
      fresh->onThreadProposal = [&st, &forced, &proposalAsked, aux](int proposal) {
        if (aux || proposalAsked.exchange(true) || !st.cb.onThreadProposal) return false;
        const bool accepted = st.cb.onThreadProposal(
            proposal, EngineFormat(EngineText(TEngineText::kThreadProposal, st.req.languageId), proposal));
        if (accepted) forced.store(proposal);
        return accepted;
      };
      fresh->onSolution = [&st](const TSolution& s) {
        {
          std::lock_guard<std::mutex> lk(st.solutionsLock);
          if (std::any_of(st.announced.begin(), st.announced.end(), [&](const TMove& m) { return m.SameAs(s.key); }))
            return;
          st.announced.push_back(s.key);
          st.solutionsSoFar.store(static_cast<int>(st.announced.size()));
        }
        if (st.cb.onSolution) st.cb.onSolution(s);
      };
      std::lock_guard<std::mutex> lk(st.lock);
      searches.push_back(std::move(fresh));
      search = searches.back().get();
      st.searches.push_back(search);
    }
    {
      std::lock_guard<std::mutex> lk(st.lock);
      st.search = search;
      st.pass = plan.number;
      st.passSuffix = plan.suffix;
      st.heuristics = plan.heuristics;
      st.bruteForce = plan.bruteForce;
      st.hybridPhase = plan.kind == TPassKind::kHybridPhase1 ? 1 : plan.kind == TPassKind::kHybridPhase2 ? 2 : 0;
    }
    if (st.StopWanted()) break;

    TPassReport report;
    report.plan = plan;
    report.ran = true;
    const auto t = std::chrono::steady_clock::now();
    const uint64_t nodes0 = search->Nodes();
    uint8_t code;
    {
      TBruteForceFlag flag(plan.bruteForce);
      code = DispatchFindMateFFM(*search, root, r.moves);
    }
    // A search thread that ran out of memory has stopped the search.
    if (search->OutOfMemory()) throw std::bad_alloc();
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
    report.nodes = search->Nodes() - nodes0;
    report.completed = code != kResEndOfDepth && !st.StopWanted();
    MergeKeys(keys, search->Solutions());
    report.solutionsAfter = static_cast<int>(keys.size());
    res.passes.push_back(report);
    if (report.completed && ss.bruteForce) exactCompleted = true;

    if (search->RepetitionSeen() && !repetitionShown) {
      repetitionShown = true;
      res.repetitionDetected = true;
      st.Message(TEngineMessage::kWarning, Text(TEngineText::kRepetition, lang),
                 Text(TEngineText::kRepetitionTitle, lang));
    }
    if (static_cast<int>(keys.size()) > announcedMore) {
      announcedMore = static_cast<int>(keys.size());
      st.Message(TEngineMessage::kInfo,
                 EngineFormat(EngineText(TEngineText::kMoreThanOneSolution, lang), announcedMore));
    }
    if (forced.load() > r.forcedThreads) res.forcedThreads = forced.load();
    if (!report.completed) break;
  }

  // Threats and variations: the last search explains its keys, earlier ones
  // only the keys it does not hold.
  std::vector<TSolution> explained;
  if (!st.StopWanted() && !keys.empty()) {
    for (auto it = searches.rbegin(); it != searches.rend() && !st.StopWanted(); ++it) {
      TMateSearch& s = **it;
      const bool needed = std::any_of(s.Solutions().begin(), s.Solutions().end(), [&](const TSolution& k) {
        return std::none_of(explained.begin(), explained.end(),
                            [&](const TSolution& e) { return e.key.SameAs(k.key); });
      });
      if (!needed) continue;
      {
        std::lock_guard<std::mutex> lk(st.lock);
        st.search = &s;
      }
      s.Explain(root, r.moves);
      MergeKeys(explained, s.Solutions());
    }
  }
  // Keep the order in which the keys were found.
  for (auto& k : keys)
    for (const auto& e : explained)
      if (e.key.SameAs(k.key)) {
        k = e;
        break;
      }

  const int limit = SolutionLimit(res.mode);
  if (limit && static_cast<int>(keys.size()) > limit) keys.resize(static_cast<size_t>(limit));
  res.solutions = std::move(keys);
  res.solutionCount = static_cast<int>(res.solutions.size());
  res.stoppedBySolutionLimit = limit && res.solutionCount >= limit;

  for (const auto& s : searches) res.nodes += s->Nodes();
  // A complete exact search without a key is a proof worth keeping: a later
  // run sharing the register answers at once.
  if (exactCompleted && res.solutions.empty() && !st.StopWanted() && Storable(root))
    st.reg->Insert(static_cast<uint16_t>(d), root.board, rootHash, false);
}

// Black's replies, each searched for White's shortest mate within n.
void RunDefence(TRunShared& st, const TChessboard& root) {
  const TSolveRequest& r = st.req;
  TSolveResult& res = st.result;
  TDefenceResult& def = res.defence;
  TypeCheck(st, root);
  {
    auto reg = RegisterFor(r);
    std::lock_guard<std::mutex> lk(st.lock);
    st.reg = std::move(reg);
    st.state = TRunState::kRunning;
  }

  int shortMoves = r.customShortMateDepth >= 1 ? r.customShortMateDepth / 2 + 1 : 7;
  def.shortMateMoves = std::min(shortMoves, r.moves - 1);

  TMove moves[kMaxMoves];
  const int n = GenerateLegalMoves(root, moves);
  for (int i = 0; i < n; ++i) {
    TDefenceReply reply;
    reply.move = moves[i];
    reply.text = MoveToText(root, moves[i]);
    def.replies.push_back(reply);
  }

  TSearchSettings ss;
  ss.mode = SolutionMode::kAll;
  ss.customShortMateDepth = r.customShortMateDepth;
  ss.threads = std::max<int>(1, r.threads);
  ss.computeVariations = false;
  TMateSearch search(ss, st.reg);
  TSearchesRelease release(st);
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.search = &search;
    st.searches.push_back(&search);
    st.pass = 1;
    st.repliesTotal = n;
  }
  // Each reply starts a task of its own: its rights and e.p. square are those
  // the reply leaves, and White has the full n moves.
  std::vector<TTaskContext> contexts(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (!st.WaitWhilePaused()) break;
    {
      std::lock_guard<std::mutex> lk(st.lock);
      st.defenceLine = "1... " + def.replies[static_cast<size_t>(i)].text;
      st.repliesDone = i;
    }
    TChessboard after;
    PlayMove(root, after, moves[i]);
    TTaskContext& c = contexts[static_cast<size_t>(i)];
    c = r.position;
    c.rootCastling = CastlingRights(after);
    c.rootEpSquare = static_cast<int8_t>(EnPassantTarget(after));
    TChessboard child = after;
    child.previous = nullptr;
    child.context = &c;
    SetRootPlies(child, static_cast<uint16_t>(2 * r.moves - 1));
    const int mateIn = search.ShortestMate(child, r.moves);
    if (st.StopWanted()) break;
    def.replies[static_cast<size_t>(i)].mateIn = mateIn;
    def.replies[static_cast<size_t>(i)].searched = true;
  }
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.repliesDone = n;
  }
  res.nodes = search.Nodes();
  ClassifyDefence(def);
}

void Finish(TRunShared& st) {
  TSolveResult& res = st.result;
  res.seconds = st.Seconds();
  if (res.status != TRunStatus::kRefused && res.status != TRunStatus::kFailed) {
    res.stoppedByUser = st.StopWanted() && !res.outOfMemory;
    if (res.stoppedByUser || res.outOfMemory) res.status = TRunStatus::kStopped;
  }
  if (res.stoppedByUser) res.stoppedBySolutionLimit = false;
  if (res.message.empty()) {
    if (res.outOfMemory) res.message = Text(TEngineText::kOutOfMemory, st.req.languageId);
    else if (res.stoppedByUser) res.message = Text(TEngineText::kAnalysisStopped, st.req.languageId);
  }
  st.endText = EndText(st.req, res);
  if (res.message.empty()) {
    // The run's last word: the result line of the end text.
    const size_t at = st.endText.find(">> #");
    res.message = at == std::string::npos ? st.endText : st.endText.substr(at, st.endText.find('\n', at) - at);
  }
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.state = res.status == TRunStatus::kStopped ? TRunState::kStopped : TRunState::kCompleted;
  }
  {
    std::lock_guard<std::mutex> lk(EngineIdsLock());
    setRunningProblemsIds.erase(st.req.problemId);
    setProblemsBeingStoppedIds.erase(st.req.problemId);
    if (setProblemsBeingStoppedIds.empty()) g_bStopPending.store(false);
  }
  if (st.cb.onEnd) st.cb.onEnd(res, st.endText);
  {
    std::lock_guard<std::mutex> lk(st.doneLock);
    st.finished.store(true);
  }
  st.doneCv.notify_all();
}

void RunBody(TRunShared& st) {
  TSolveResult& res = st.result;
  res.task = st.task;
  TTaskContext ctx;
  TChessboard root;
  try {
    TStopWatcher watcher(st);
    st.SetState(TRunState::kChecking);
    const std::string refusal = MakeCheckedRoot(st.req, st.task, root, ctx);
    if (!refusal.empty()) {
      res.status = TRunStatus::kRefused;
      res.message = refusal;
    } else if (st.task == TEngineTask::kDefence) {
      RunDefence(st, root);
    } else {
      RunMatePasses(st, root, st.task == TEngineTask::kAuxMate);
    }
  } catch (const std::bad_alloc&) {
    res.outOfMemory = true;
    st.Message(TEngineMessage::kError, Text(TEngineText::kOutOfMemory, st.req.languageId));
  } catch (const std::exception& e) {
    res.status = TRunStatus::kFailed;
    res.message = e.what();
  }
  Finish(st);
}

}  // namespace

void EngineThreadProc(std::shared_ptr<TRunShared> run) {
  if (g_engineThreadProcs.fetch_add(1) == 0) g_bEngineThreadProcRunning.store(true);
  RunBody(*run);
  if (g_engineThreadProcs.fetch_sub(1) == 1) g_bEngineThreadProcRunning.store(false);
}

void EngineThreadProc_BlackMoves(std::shared_ptr<TRunShared> run) {
  RunBody(*run);
  --g_nEngineThreadProcBlackMovesPending;
}

void EngineThreadProc_AuxMate(std::shared_ptr<TRunShared> run) {
  RunBody(*run);
  --g_nEngineThreadProcAuxMatePending;
}

// ---------------------------------------------------------------- the facade

TEngine::TEngine() = default;

TEngine::~TEngine() {
  if (!run_) return;
  if (Running()) RequestStop();
  Wait();
}

std::string TEngine::Start(const TSolveRequest& r, TEngineCallbacks cb, TEngineTask task) {
  if (run_) {
    if (Running()) throw std::logic_error("TEngine::Start: a run is still going");
    if (run_->thread.joinable()) run_->thread.join();
  }
  const int lang = r.languageId;
  if (r.problemType != kMateProblemType) return Text(TEngineText::kOnlyMateProblems, lang);
  if (!ThreadsAndLevelsAllowed(std::max<int>(r.threads, 1), std::max<int>(r.levels, 1)))
    return Text(TEngineText::kTooManyThreads, lang);
  if (r.moves < 1) throw std::invalid_argument("TEngine::Start: stipulation below #1");
  {
    std::lock_guard<std::mutex> lk(EngineIdsLock());
    // A problem already being solved takes no second slot.
    if (setRunningProblemsIds.size() >= kMaxProblemsSolvedAtOnce || setRunningProblemsIds.count(r.problemId))
      return Text(TEngineText::kTooManyProblems, lang);
    setRunningProblemsIds.insert(r.problemId);
  }
  auto run = std::make_shared<TRunShared>();
  run->req = r;
  run->cb = std::move(cb);
  run->task = task;
  run->t0 = std::chrono::steady_clock::now();
  run->state = TRunState::kCheckPending;
  run_ = run;
  run->Message(TEngineMessage::kStatus, Text(TEngineText::kCheckPending, lang));
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
  run_->stop.store(true);
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
  run_->paused.store(paused);
  std::lock_guard<std::mutex> lk(run_->lock);
  if (run_->search) run_->search->SetPaused(paused && !run_->stop.load());
}

bool TEngine::Running() const { return run_ && !run_->finished.load(); }

void TEngine::Wait() {
  if (!run_) return;
  {
    std::unique_lock<std::mutex> lk(run_->doneLock);
    run_->doneCv.wait(lk, [&] { return run_->finished.load(); });
  }
  if (run_->thread.joinable() && run_->thread.get_id() != std::this_thread::get_id()) run_->thread.join();
}

bool TEngine::WaitFor(std::chrono::milliseconds timeout) {
  if (!run_) return true;
  std::unique_lock<std::mutex> lk(run_->doneLock);
  return run_->doneCv.wait_for(lk, timeout, [&] { return run_->finished.load(); });
}

TProgressSnapshot TEngine::Snapshot() const {
  TProgressSnapshot s;
  if (!run_) return s;
  const TRunShared& st = *run_;
  std::lock_guard<std::mutex> lk(st.lock);
  s.state = st.state;
  s.task = st.task;
  s.pass = st.pass;
  s.passSuffix = st.passSuffix;
  s.heuristics = st.heuristics;
  s.bruteForce = st.bruteForce;
  s.hybridPhase = st.hybridPhase;
  s.stipulation = st.req.moves;
  s.lowerBound = st.lowerBound;
  s.status = st.status;
  s.nodes = st.nodesDone;
  for (const TMateSearch* search : st.searches) s.nodes += search->Nodes();
  s.solutions = st.solutionsSoFar.load();
  s.seconds = st.finished.load() ? st.result.seconds : st.Seconds();
  if (st.search) {
    TSearchProgress& p = st.search->Progress();
    if (st.task == TEngineTask::kDefence) {
      s.depthMoves = st.req.moves;
      s.percent = st.repliesTotal ? 100.0 * st.repliesDone / st.repliesTotal : 0.0;
      s.currentLine = st.defenceLine;
    } else {
      s.depthMoves = p.depthMoves.load();
      const int total = p.rootTotal.load();
      s.percent = total ? 100.0 * p.rootDone.load() / total : 0.0;
      std::lock_guard<std::mutex> lineLock(p.lineLock);
      s.currentLine = p.currentLine;
    }
  }
  if (st.reg) {
    s.registerEntries = st.reg->ElementCount();
    const uint32_t exact = st.reg->PartElementCount(0);
    s.registerHeuristicEntries = s.registerEntries > exact ? s.registerEntries - exact : 0;
    s.registerMB = st.reg->MemoryBytes() >> 20;
  }
  return s;
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

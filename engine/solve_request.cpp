#include "engine/solve_request.h"

#include <algorithm>

#include "chess/fen.h"
#include "config/paths.h"
#include "config/settings.h"
#include "config/text_compare.h"
#include "engine/mate_search.h"
#include "engine/predefined_indications.h"
#include "engine/threads.h"
#include "precalc/position_type.h"
#include "problems/problem.h"
#include "registers/register_file_pin.h"
#include "registers/temporary_register.h"

namespace ostravel {

bool TSolveRequest::SetFen(const std::string& fen) {
  return FenToTask(fen, position, whiteToMove);
}

void ApplySettings(TSolveRequest& r, const TSettings& s) {
  r.safeMode = s.QuickMode == 0;
  // On, threads and levels follow the processors; off, one thread.
  const TThreadPlan plan =
      s.MultithreadingLevels >= 1 ? HardwareThreadPlan(ProcessorCount(true)) : TThreadPlan{};
  r.threads = static_cast<uint8_t>(plan.threads);
  r.levels = static_cast<uint8_t>(plan.levels);
  r.schedulerLevels = static_cast<uint8_t>(std::clamp(s.InternalSchedulerLevels(), 0, 9));
  r.customScheduler = s.CustomScheduler != 0;
  r.languageId = s.LanguageId >= 0 && s.LanguageId <= 2 ? s.LanguageId : 1;
  r.logMoves = s.LogMoves != 0;
  r.relaxationLog = s.TryRelaxSpecialHeuristicsLog != 0;
  r.letTwoThreadsShareAMove = s.LetAnalyzeTheSameMoveInTwoThreads != 0;
  r.clearRegisterOnStart = s.ClearRegisterOnStartSolving != 0;
  r.registerLimitMB = s.tempRegLimitMB;
  r.dataFolder = DataFolder().string();
  try {
    r.precalcFolder = GlobalRegisterFolder(s.PrecalcPath).string();
  } catch (const std::exception&) {
    r.precalcFolder.clear();  // the data folder cannot be made: the run goes on without lookups
  }
  r.autoSave.enabled = s.AutoSaveEnabled();
  r.autoSave.period = std::chrono::minutes(std::max(s.AutoSaveMinutes, 0));
  r.autoSave.limitMB = static_cast<uint64_t>(std::max(s.AutoSaveMB, 0));
  r.autoSave.folder = r.dataFolder;
  r.autoSave.maxMemRatioForPrecalculatedData = s.MaxMemRatioForPrecalculatedData;
  r.autoSave.maxMemRatioPerProblem = s.MaxMemRatioForTempReg;
  if (r.registerFiles.saveLimitMB == 0) r.registerFiles.saveLimitMB = s.tempRegLimitMB;
  r.registerFiles.readOptions = RegisterReadOptionsFrom(s);
}

uint64_t DefaultRegisterLimitMB() {
  static const uint64_t mb = [] {
    TSettings d;
    d.UpdateDerivedLimits();
    return d.tempRegLimitMB;
  }();
  return mb;
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister> MakeRunRegister(int moves, bool whiteToMove,
                                                                        uint64_t limitMB) {
  if (limitMB == 0) limitMB = DefaultRegisterLimitMB();
  const int plies = whiteToMove ? 2 * moves - 1 : 2 * moves;
  const uint32_t buckets = ChooseRegisterBucketCount(static_cast<uint32_t>(plies), limitMB, false);
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(buckets,
                                                                      TempRegElementLimit(limitMB, buckets));
  reg->SetStoreShortResults(true);
  return reg;
}

namespace {

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
  AppendUnique(r.sortIndications, SortIndicationMoves(p, &r.sortIndicationError));
  if (s.UseMainVariantAsSortIndications >= 1)
    AppendUnique(r.sortIndications, FirstWhiteMoves(p, s.UseMainVariantAsSortIndications >= 2));
  for (const std::string& tag : p.tags) {
    if (EqualsNoCase(tag, "AllSolutions"))
      r.mode = SolutionMode::kAll;
    else if (EqualsNoCase(tag, "SingleSolution"))
      r.mode = SolutionMode::kSingle;
    else if (EqualsNoCase(tag, "StopOnDual"))
      r.mode = SolutionMode::kAtMost2;
    else if (EqualsNoCase(tag, "StopOn3Sol"))
      r.mode = SolutionMode::kAtMost3;
    else if (EqualsNoCase(tag, "StopOn4Sol"))
      r.mode = SolutionMode::kAtMost4;
    else if (EqualsNoCase(tag, "BruteForce"))
      r.bruteForce = true;
    else if (EqualsNoCase(tag, "HybridBruteForce"))
      r.hybridPhase = 1;
  }
  if (p.tmpRegFile) {
    if (const auto pinned = PinnedRegisterPath(p, SavedTmpRegisterFolder()))
      r.registerFiles.pinnedFile = *pinned;
  }
  // The record's heuristic keywords (they share its sort-indication line),
  // then those predefined for a known composition.
  std::string error;
  if (!p.sortIndications.empty() && !ApplyIndications(p.sortIndications, r.heuristicState, &error))
    r.indicationNotes.push_back("Indications: " + error);
  if (s.UsePredefinedIndications >= 1) {
    error.clear();
    if (!ApplyPredefinedIndications(p, r.heuristicState, &r.sortIndications, &error) && !error.empty())
      r.indicationNotes.push_back(error);
  }
  if (r.heuristicState.set != 0) {
    r.heuristics = r.heuristicState.set;
    r.relaxation = true;
  }
  if (r.heuristicState.safeMode) r.safeMode = true;
  if (r.heuristicState.lfqmDepth > 0)
    r.lookForQuickerMateDepth = std::min<int>(r.heuristicState.lfqmDepth, 9);
  r.problem = std::make_shared<const TProblem>(p);
  return r;
}

TProblem ProblemOfRequest(const TSolveRequest& r) {
  if (r.problem) return *r.problem;
  TProblem p;
  p.position = r.position;
  p.whiteToMove = r.whiteToMove;
  p.moves = static_cast<uint16_t>(r.moves);
  p.description = r.title;
  return p;
}

std::string RunTitle(const TSolveRequest& r) {
  if (r.hybridPhase != 0) return r.title + " (HybridBruteForce)";
  if (r.bruteForce) return r.title + " (BruteForce)";
  if (r.mode == SolutionMode::kAll) return r.title + " (AllSolutions)";
  return r.title;
}

std::string SearchLogPath(const TSolveRequest& r) {
  // The problem's name with ".log"; characters a file name cannot hold
  // become '_'.
  std::string name = r.title.empty() ? "problem" : r.title;
  for (char& c : name)
    if (c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 32) c = '_';
  if (name.size() > 120) name.resize(120);
  const std::filesystem::path folder =
      r.dataFolder.empty() ? DataFolder() : std::filesystem::path(r.dataFolder);
  return (folder / (name + ".log")).string();
}

THeuristicState RequestHeuristics(const TSolveRequest& r) {
  THeuristicState s = r.heuristicState;
  if (s.set == 0) s.set = r.heuristics;
  // FindForcedMate chosen without a level searches checks and mate-in-one threats.
  if ((s.set & SH_FINDFORCEDMATE) && s.ffmLevel == kFfmNone) s.ffmLevel = s.ffmInitialLevel = kFfmMate1;
  return s;
}

}  // namespace ostravel

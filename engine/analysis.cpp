#include "engine/analysis.h"

#include <algorithm>

#include "chess/notation.h"
#include "config/autosave_info.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/heuristic_auto.h"
#include "problems/cp_file.h"

namespace ostravel {

namespace fs = std::filesystem;

// ---------------------------------------------------------------- run and wait

TRunOutcome RunAndWait(TEngine& engine, const TSolveRequest& r, TEngineTask task, TEngineCallbacks cb,
                       const TRunWatch& watch) {
  TRunOutcome out;
  out.refusal = engine.Start(r, std::move(cb), task);
  if (!out.refusal.empty()) return out;
  bool paused = false;
  const auto t0 = std::chrono::steady_clock::now();
  while (!engine.WaitFor(watch.tick)) {
    if (watch.pauseWanted && watch.pauseWanted() != paused) {
      paused = !paused;
      engine.SetPaused(paused);
      if (watch.onPause) watch.onPause(paused);
    }
    if (watch.stop && watch.stop->load() && !out.stoppedByFlag) {
      out.stoppedByFlag = true;
      engine.RequestStop();
    }
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (watch.timeLimit > 0 && secs > watch.timeLimit && !out.timedOut && !out.stoppedByFlag) {
      out.timedOut = true;
      engine.RequestStop();
    }
    if (watch.onTick) watch.onTick(engine);
  }
  engine.Wait();
  out.result = engine.Result();
  out.endText = engine.EndTextOfRun();
  return out;
}

TRunOutcome RunMateOnFreshEngine(const TSolveRequest& r, const TRunWatch& watch) {
  TEngine engine;
  TEngineCallbacks cb;
  cb.onThreadProposal = [](int, const std::string&) { return false; };
  return RunAndWait(engine, r, TEngineTask::kMate, std::move(cb), watch);
}

std::string RunError(const TRunOutcome& run) {
  if (!run.refusal.empty()) return run.refusal;
  if (run.result.status == TRunStatus::kRefused || run.result.status == TRunStatus::kFailed)
    return run.result.message;
  return {};
}

// ---------------------------------------------------------------- resume

namespace {

// The run's memory ratios come back from the companion of the save.
void ApplySavedRatios(TSolveRequest& r, const TSettings& s, const TAutoSaveInfo& info) {
  TSettings copy = s;
  if (info.MaxMemRatioPerProblem >= 0) copy.MaxMemRatioForTempReg = info.MaxMemRatioPerProblem;
  if (info.MaxMemRatioForPrecalculatedData >= 0)
    copy.MaxMemRatioForPrecalculatedData = info.MaxMemRatioForPrecalculatedData;
  copy.UpdateDerivedLimits();
  r.registerLimitMB = copy.tempRegLimitMB;
  r.autoSave.maxMemRatioPerProblem = copy.MaxMemRatioForTempReg;
  r.autoSave.maxMemRatioForPrecalculatedData = copy.MaxMemRatioForPrecalculatedData;
}

}  // namespace

TResumePlan PlanResume(const TResumeSource& src, const TSettings& s, const fs::path& dataFolder) {
  TResumePlan plan;
  fs::path regFile, cpFile;
  std::error_code ec;
  bool haveInfo = false;
  TAutoSaveInfo info;
  if (!src.registerFile.empty()) {
    regFile = src.registerFile;
    cpFile = src.problemFile;
  } else {
    const std::vector<TAutoSaveListing> slots = ListAutoSaves(dataFolder);
    const TAutoSaveListing* chosen = nullptr;
    if (!src.slot.empty()) {
      for (const auto& l : slots)
        if (l.id == src.slot) chosen = &l;
      if (!chosen) {
        plan.error = "no auto-save " + src.slot + " in " + AutoSaveSlotsFolder(dataFolder).string();
        return plan;
      }
      if (chosen->ownerRunning) {
        plan.error = "the analysis of auto-save " + src.slot + " still runs";
        return plan;
      }
      if (!chosen->resumable) {
        plan.error = "auto-save " + src.slot + " holds no register to resume";
        return plan;
      }
    } else {
      for (const auto& l : slots)
        if (l.resumable) chosen = &l;  // the newest
    }
    if (chosen) {
      plan.slot = chosen->id;
      regFile = chosen->paths.registerFile;
      cpFile = chosen->paths.problemFile;
    } else {
      // The older layout: one auto-save in the data folder itself.
      const TAutoSavePaths old = TAutoSavePaths::In(dataFolder);
      if (!fs::exists(old.registerFile, ec) || !fs::exists(old.problemFile, ec)) {
        plan.error = "no auto-save to resume in " + dataFolder.string();
        return plan;
      }
      regFile = old.registerFile;
      cpFile = old.problemFile;
      if (fs::exists(old.infoFile, ec)) {
        try {
          info = ReadAutoSaveInfo(regFile.string());
          haveInfo = true;
        } catch (const std::exception& e) {
          plan.error = e.what();
          return plan;
        }
        if (!src.force && src.writerRunning && src.writerRunning(info)) {
          plan.error = "the analysis that wrote " + regFile.string() + " still runs (process " +
                       std::to_string(info.ProcessId) + "); --force resumes it anyway";
          return plan;
        }
      }
    }
  }
  if (!haveInfo && fs::exists(AutoSaveInfoPath(regFile.string()), ec)) {
    try {
      info = ReadAutoSaveInfo(regFile.string());
      haveInfo = true;
    } catch (const std::exception& e) {
      plan.error = e.what();
      return plan;
    }
  }

  TCollectionReadResult collection;
  try {
    collection = LoadCollectionFile(cpFile);
  } catch (const std::exception& e) {
    plan.error = cpFile.string() + ": " + e.what();
    return plan;
  }
  if (src.index < 1 || static_cast<size_t>(src.index) > collection.problems.size()) {
    plan.error = cpFile.string() + " has no problem " + std::to_string(src.index);
    return plan;
  }
  plan.problem = collection.problems[static_cast<size_t>(src.index - 1)];
  if (!plan.problem.whiteToMove) {
    plan.error = "only problems with White to move can be resumed";
    return plan;
  }
  plan.registerFile = regFile.string();
  TSolveRequest& r = plan.request;
  r = RequestFromProblem(plan.problem, s, 1);
  // The analysis resumed looks for every key; its pin is not loaded again,
  // the save holds more.
  r.mode = SolutionMode::kAll;
  r.bruteForce = false;
  r.hybridPhase = 0;
  r.registerFiles.pinnedFile.clear();
  r.registerFiles.loadFile = plan.registerFile;
  // The saved register must not be thrown away before the search.
  r.clearRegisterOnStart = false;
  r.autoSave.folder = dataFolder.string();
  r.autoSave.slot = plan.slot;
  if (haveInfo) ApplySavedRatios(r, s, info);
  return plan;
}

// ---------------------------------------------------------------- bench

TBenchRowResult BenchRow(const TReferenceProblem& p, const TBenchOptions& o) {
  TBenchRowResult out;
  TSolveRequest r;
  if (!r.SetFen(p.fen)) {
    out.refusal = "invalid FEN";
    return out;
  }
  r.problemId = 1;
  r.title = p.id;
  r.moves = p.moves;
  r.mode = SolutionMode::kAll;
  r.threads = static_cast<uint8_t>(std::clamp(o.threads, 1, 255));
  r.levels = static_cast<uint8_t>(std::clamp(o.levels, 1, 64));
  r.computeVariations = false;
  r.registerLimitMB = o.registerLimitMB;
  r.probe = o.probe;
  r.collectStats = o.collectStats;
  TEngineTask task = TEngineTask::kAuxMate;
  if (!o.heuristics.empty()) {
    if (!ApplyHeuristicsOption(r, o.heuristics, &out.refusal)) return out;
    task = TEngineTask::kMate;
  }
  if (o.proofSearchSeconds >= 0) {
    r.proofSearchSeconds = o.proofSearchSeconds;
    if (r.proofSearchSeconds > 0) task = TEngineTask::kMate;
  }
  TEngine engine;
  TRunWatch watch;
  watch.timeLimit = o.timeLimit;
  watch.stop = o.stop;
  const TRunOutcome run = RunAndWait(engine, r, task, {}, watch);
  if (!run.refusal.empty()) {
    out.refusal = run.refusal;
    return out;
  }
  const TSolveResult& res = run.result;
  if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) {
    out.refusal = res.message;
    return out;
  }
  out.seconds = res.seconds;
  // The search passes only: the explanation of the keys is not what is measured.
  for (const TPassReport& pass : res.passes) out.nodes += pass.nodes;
  for (const TSolution& s : res.solutions) {
    const std::string uci = MoveToUci(s.key);
    if (!s.confirmed) {
      out.candidates.insert(uci);
      continue;
    }
    out.keys.insert(uci);
    out.keyPass[uci] = s.foundInPass;
  }
  out.stats = res.stats;
  out.timedOut = run.timedOut;
  out.stopped = run.stoppedByFlag;
  {
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    out.listedKeysFound = std::includes(out.keys.begin(), out.keys.end(), want.begin(), want.end());
    for (const TPassReport& pass : res.passes)
      if (pass.ProvesKeySetComplete()) out.complete = true;
    if (task == TEngineTask::kAuxMate) out.complete = res.status == TRunStatus::kCompleted;
  }
  if (res.status == TRunStatus::kCompleted) {
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    out.ok = p.complete ? out.keys == want
                        : std::includes(out.keys.begin(), out.keys.end(), want.begin(), want.end());
  }
  return out;
}

uint64_t BenchSignature(const std::vector<TReferenceProblem>& rows, uint64_t registerLimitMB) {
  TBenchOptions o;
  o.registerLimitMB = registerLimitMB;
  uint64_t total = 0;
  for (const TReferenceProblem& p : rows) total += BenchRow(p, o).nodes;
  return total;
}

}  // namespace ostravel

#include "solution_format.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "chess/notation.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/engine_texts.h"
#include "engine/mate_search.h"
#include "interrupt.h"
#include "platform/crash_handler.h"

namespace ostravel::cli {

namespace {

nlohmann::json VariationsJson(const std::vector<TVariation>& vs) {
  nlohmann::json arr = nlohmann::json::array();
  for (const auto& v : vs) {
    nlohmann::json j;
    j["black"] = v.blackText;
    j["black_uci"] = MoveToUci(v.black);
    j["white"] = v.whiteText;
    j["white_uci"] = MoveToUci(v.white);
    j["mate"] = v.mate;
    j["dual"] = !v.duals.empty();
    if (!v.duals.empty()) {
      nlohmann::json duals = nlohmann::json::array();
      for (size_t i = 0; i < v.duals.size(); ++i)
        duals.push_back({{"white", v.dualTexts[i]}, {"white_uci", MoveToUci(v.duals[i])}});
      j["duals"] = std::move(duals);
    }
    if (!v.next.empty()) j["variations"] = VariationsJson(v.next);
    arr.push_back(std::move(j));
  }
  return arr;
}

const char* StatusName(TRunStatus s) {
  switch (s) {
    case TRunStatus::kCompleted:
      return "completed";
    case TRunStatus::kStopped:
      return "stopped";
    default:
      return "error";
  }
}

const char* PassKindName(TPassKind k) {
  switch (k) {
    case TPassKind::kWithHeuristics:
      return "with heuristics";
    case TPassKind::kWithoutHeuristics:
      return "without heuristics";
    case TPassKind::kBruteForce:
      return "brute force";
    case TPassKind::kHybridPhase1:
      return "hybrid phase 1";
    case TPassKind::kHybridPhase2:
      return "hybrid phase 2";
    case TPassKind::kProofNumbers:
      return "proof numbers";
  }
  return "";
}

}  // namespace

nlohmann::json SolutionJson(const TSolution& s) {
  nlohmann::json j;
  j["key"] = s.keyText;
  j["uci"] = MoveToUci(s.key);
  j["mate_in"] = s.mateIn;
  j["check"] = s.keyChecks;
  j["threat"] = s.threat;
  j["threat_mate_in"] = s.threatIn;
  j["zugzwang"] = !s.keyChecks && s.threat.empty();
  j["variations"] = VariationsJson(s.variations);
  j["variations_truncated"] = s.variationsTruncated;
  j["found_in_pass"] = s.foundInPass;
  j["confirmed"] = s.confirmed;
  return j;
}

const char* ModeName(SolutionMode m) {
  switch (m) {
    case SolutionMode::kSingle:
      return "single";
    case SolutionMode::kAtMost2:
      return "2";
    case SolutionMode::kAtMost3:
      return "3";
    case SolutionMode::kAtMost4:
      return "4";
    case SolutionMode::kAll:
      return "all";
  }
  return "all";
}

bool ParseModeName(const std::string& s, SolutionMode& m) {
  if (s == "single" || s == "1")
    m = SolutionMode::kSingle;
  else if (s == "2")
    m = SolutionMode::kAtMost2;
  else if (s == "3")
    m = SolutionMode::kAtMost3;
  else if (s == "4")
    m = SolutionMode::kAtMost4;
  else if (s == "all")
    m = SolutionMode::kAll;
  else
    return false;
  return true;
}

nlohmann::json RunJson(const std::string& fen, const TSolveRequest& r, const TSolveResult& res,
                       const std::string& endText) {
  nlohmann::json j;
  j["fen"] = fen;
  j["stipulation"] = EngineFormat("#%d", r.moves);
  j["status"] = StatusName(res.status);
  j["message"] = res.message;
  j["seconds"] = res.seconds;
  j["nodes"] = res.nodes;
  j["solutions"] = nlohmann::json::array();
  for (const auto& s : res.solutions) j["solutions"].push_back(SolutionJson(s));
  j["task"] = res.task == TEngineTask::kDefence ? "defence" : "mate";
  j["mode"] = ModeName(r.mode);
  j["hybrid"] = r.hybridPhase != 0;
  j["brute_force"] = r.bruteForce;
  j["solution_count"] = res.solutionCount;
  j["stopped_by_solution_limit"] = res.stoppedBySolutionLimit;
  j["from_register"] = res.fromRegister;
  j["position_repetition"] = res.repetitionDetected;
  j["position_type"] = res.positionType;
  j["summary"] = res.summary;
  nlohmann::json passes = nlohmann::json::array();
  for (const auto& p : res.passes) {
    nlohmann::json pj;
    pj["pass"] = p.plan.Name();
    pj["kind"] = PassKindName(p.plan.kind);
    pj["heuristics"] = p.plan.heuristics;
    pj["heuristic_set"] = p.plan.SetText();
    pj["mode"] = ModeName(p.plan.mode);
    pj["completed"] = p.completed;
    pj["solutions"] = p.solutionsAfter;
    pj["seconds"] = p.seconds;
    pj["nodes"] = p.nodes;
    passes.push_back(std::move(pj));
  }
  j["passes"] = std::move(passes);
  j["notes"] = res.notes;
  // Proved complete: a pass without heuristics ran to its end.
  bool complete = false;
  for (const auto& p : res.passes) complete |= p.ProvesKeySetComplete();
  j["key_set_complete"] = complete;
  if (res.task == TEngineTask::kDefence) {
    const TDefenceResult& d = res.defence;
    nlohmann::json dj;
    dj["headline"] = EngineText(d.headline, r.languageId);
    auto uciList = [&](const std::vector<size_t>& idx) {
      nlohmann::json a = nlohmann::json::array();
      for (size_t i : idx) a.push_back(MoveToUci(d.replies[i].move));
      return a;
    };
    dj["best"] = uciList(d.best);
    dj["equivalent"] = uciList(d.equivalent);
    dj["short_mate_moves"] = d.shortMateMoves;
    nlohmann::json replies = nlohmann::json::array();
    for (const auto& reply : d.replies) {
      nlohmann::json rj;
      rj["move"] = reply.text;
      rj["uci"] = MoveToUci(reply.move);
      rj["searched"] = reply.searched;
      rj["mate_in"] = reply.mateIn;
      replies.push_back(std::move(rj));
    }
    dj["replies"] = std::move(replies);
    j["defence"] = std::move(dj);
  }
  j["end_text"] = endText;
  return j;
}

std::string ConsoleProgressLine(const TProgressSnapshot& s) {
  return ProgressLine(s) + "             \r";
}

TRunOutcome RunOnEngine(const TSolveRequest& r, TEngineTask task, const TCliRunOptions& opt) {
  // A crash log names the problem in hand and its position.
  SetCrashCurrentProblem(r.title, static_cast<int>(r.problemId));
  SetCrashCurrentChessboard(ProblemOfRequest(r).Fen(), static_cast<int>(r.problemId));
  TEngine engine;
  TEngineCallbacks cb;
  cb.onMessage = [&opt](const TEngineMessage& m) {
    if (!opt.messages || m.kind == TEngineMessage::kStatus) return;
    if (opt.progress) std::fprintf(stderr, "%100s\r", "");
    if (!m.title.empty()) std::printf("%s:\n", m.title.c_str());
    std::printf("%s\n", m.text.c_str());
    std::fflush(stdout);
  };
  // The command line answers the engine's question from its option.
  cb.onThreadProposal = [&opt](int, const std::string& question) {
    if (opt.messages) {
      std::printf("%s %s\n", question.c_str(), opt.acceptThreadProposal ? "Yes" : "No");
      std::fflush(stdout);
    }
    return opt.acceptThreadProposal;
  };
  cb.onEvent = [&opt](const TEngineEvent& e) {
    switch (e.kind) {
      case TEngineEvent::kRegisterLoaded:
      case TEngineEvent::kRegisterSaved:
        if (!opt.registerReports) break;
        std::fprintf(opt.registerOut, "%s\n", e.text.c_str());
        std::fflush(opt.registerOut);
        break;
      case TEngineEvent::kRegisterWarning:
        std::fprintf(stderr, "ostravel-cli: %s\n", e.text.c_str());
        break;
      case TEngineEvent::kAutoSaved:
        std::fprintf(opt.registerOut, "Register auto-saved to %s\n", e.text.c_str());
        std::fflush(opt.registerOut);
        break;
      default:
        break;
    }
  };
  if (Settings().EnableManualEngineControl && opt.messages) std::printf("%s\n", kManualControlWarning);
  PauseGuard pause;
  TRunWatch watch;
  watch.timeLimit = opt.timeLimit;
  watch.stop = opt.interrupt;
  // Ctrl-Z pauses the search threads, fg (SIGCONT) lets them go on.
  watch.pauseWanted = [] { return PauseGuard::PauseWanted(); };
  watch.onPause = [](bool paused) {
    if (paused)
      std::fprintf(stderr, "\nPaused (Ctrl-Z); continue with fg or kill -CONT %d\n",
                   static_cast<int>(getpid()));
    else
      std::fprintf(stderr, "Resumed\n");
  };
  if (opt.progress)
    watch.onTick = [](TEngine& e) {
      const TProgressSnapshot s = e.Snapshot();
      if (s.state != TRunState::kRunning) return;
      std::fprintf(stderr, "%s  %s  %s\r", DepthReportLine(s).c_str(), ProgressLine(s).c_str(),
                   MemoryText(s.registerMB).c_str());
    };
  TRunOutcome run = RunAndWait(engine, r, task, std::move(cb), watch);
  if (opt.progress) std::fprintf(stderr, "%100s\r", "");
  return run;
}

}  // namespace ostravel::cli

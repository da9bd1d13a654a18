// ostravel-cli regress: the built-in regression run. Solves every problem of
// a collection that has a stored solution and compares the keys found with
// the stored ones.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "chess/chessboard_id.h"
#include "chess/notation.h"
#include "command.h"
#include "config/settings.h"
#include "engine/engine.h"
#include "engine/engine_texts.h"
#include "interrupt.h"
#include "platform/crash_handler.h"
#include "problems/cp_file.h"
#include "solution_format.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli regress <file.cp> [--brief] [--threads T] [--quiet]\n\n"
      "Solves every problem of the collection that has a stored solution (its main\n"
      "variant; \"none\" stores that there is none) for all its keys, and compares the\n"
      "keys found with the first moves of the stored lines. Prints one line per\n"
      "problem and a final line \"N passed, M failed\".\n\n"
      "  --brief       give each problem ShortRegTestSeconds seconds (options.ini,\n"
      "                default 10); a problem that runs out of time counts as neither\n"
      "                passed nor failed\n"
      "  --threads T   search threads (default 1)\n"
      "  --quiet       no progress line\n\n"
      "A problem pinned to a saved register (\"//@tmpreg=\") is solved on that register.\n\n"
      "Exit codes: 0 every problem passed (or timed out), 1 bad input, 2 some problem\n"
      "failed, 130 stopped by Ctrl-C.\n");
}

bool Contains(const std::vector<TMove>& set, const TMove& m) {
  return std::any_of(set.begin(), set.end(), [&](const TMove& s) { return s.SameAs(m); });
}

std::string KeysText(const TProblem& p, const std::vector<TMove>& keys) {
  if (keys.empty()) return "none";
  TChessboard root;
  TTaskContext ctx;
  p.MakeRoot(root, ctx, false);
  std::string s;
  for (const TMove& m : keys) {
    if (!s.empty()) s += ' ';
    s += MoveToText(root, m);
  }
  return s;
}

std::string Shortened(const std::string& s, size_t n) {
  return s.size() <= n ? s : s.substr(0, n - 3) + "...";
}

int RunRegress(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::string file;
  bool brief = false, quiet = false;
  int threads = 1;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--brief") {
      brief = true;
    } else if (a == "--quiet") {
      quiet = true;
    } else if (a == "--threads") {
      int t = 0;
      try {
        t = i + 1 < args.size() ? std::stoi(args[++i]) : 0;
      } catch (const std::exception&) {
        t = 0;
      }
      if (t < 1 || t > 255) return BadInput("regress: --threads must be from 1 to 255");
      threads = t;
    } else if (!a.empty() && a[0] != '-' && file.empty()) {
      file = a;
    } else {
      return BadInput("regress: unknown argument " + a + " (see --help)");
    }
  }
  if (file.empty()) return BadInput("regress: a collection file is required");
  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  TCollectionReadResult coll;
  try {
    coll = LoadCollectionFile(file);
  } catch (const CollectionFileError& e) {
    return BadInput("regress: " + file + ": " + e.what());
  }
  for (const auto& e : coll.errors)
    std::fprintf(stderr, "ostravel-cli: %s: %s\n", file.c_str(), e.Describe().c_str());
  if (coll.moreErrors)
    std::fprintf(stderr, "ostravel-cli: %s: %s\n", file.c_str(), coll.MoreErrorsText().c_str());

  const TCrashShellActivity regressionRun(TCrashShellFlag::kRegressionTestsPending);
  const double limit = brief ? std::max(1, Settings().ShortRegTestSeconds) : 0.0;
  std::atomic<bool> interrupt{false};
  InterruptGuard guard(&interrupt);
  int passed = 0, failed = 0, timedOut = 0, skipped = 0;
  bool stopped = false;
  std::optional<TCrashShellActivity> loop(TCrashShellFlag::kRegressionsTestsProcPending);
  for (size_t i = 0; i < coll.problems.size() && !stopped; ++i) {
    const TProblem& p = coll.problems[i];
    const int k = static_cast<int>(i) + 1;
    const std::string what = EngineFormat("#%d  %s", p.moves, Shortened(p.description, 60).c_str());
    if (p.variants.empty() || !p.whiteToMove) {
      ++skipped;
      std::printf("SKIP    %3d  %s  (%s)\n", k, what.c_str(),
                  p.variants.empty() ? "no stored solution" : "Black to move");
      continue;
    }
    std::string error;
    const std::vector<TMove> expected = FirstWhiteMoves(p, false, &error);
    TSolveRequest r = RequestFromProblem(p, Settings(), static_cast<uint32_t>(k));
    // The comparison needs the whole key set, whatever the tags ask for.
    r.mode = SolutionMode::kAll;
    r.hybridPhase = 0;
    r.computeVariations = false;
    r.threads = static_cast<uint8_t>(threads);
    // A pinned problem is solved as always: on its saved register (the
    // request names it). A regression run leaves no auto-save behind.
    r.autoSave.enabled = false;
    TCliRunOptions ro;
    ro.registerReports = false;
    ro.progress = !quiet && isatty(STDERR_FILENO);
    ro.messages = false;
    ro.timeLimit = limit;
    ro.interrupt = &interrupt;
    const TRunOutcome out = RunOnEngine(r, TEngineTask::kMate, ro);
    const TSolveResult& res = out.result;
    std::vector<TMove> found;
    for (const auto& s : res.solutions) found.push_back(s.key);
    const std::string foundText = KeysText(p, found);
    if (out.stoppedByFlag) {
      stopped = true;
      std::printf("STOPPED %3d  %s  found so far: %s\n", k, what.c_str(), foundText.c_str());
      break;
    }
    if (out.timedOut) {
      ++timedOut;
      std::printf("TIMEOUT %3d  %s  found so far: %s (%.0f s)\n", k, what.c_str(), foundText.c_str(), limit);
      continue;
    }
    const std::string failure = !out.refusal.empty()                   ? out.refusal
                                : res.status != TRunStatus::kCompleted ? res.message
                                : !error.empty()                       ? "stored solution: " + error
                                                                       : std::string();
    const bool same =
        failure.empty() && found.size() == expected.size() &&
        std::all_of(found.begin(), found.end(), [&](const TMove& m) { return Contains(expected, m); });
    if (same) {
      ++passed;
      std::printf("PASS    %3d  %s  %s (%.2f s)\n", k, what.c_str(), foundText.c_str(), res.seconds);
    } else {
      ++failed;
      // The position's identifier names it whatever the collection's order
      // (`ostravel-cli id --reverse` gives the board back).
      std::string id;
      try {
        TTaskContext ctx;
        TChessboard b;
        p.MakeRoot(b, ctx, false);
        id = "  id " + TChessboardId(b).ToAlphanum6();
      } catch (const ChessException&) {
      }
      std::printf("FAIL    %3d  %s  found %s, stored %s%s%s (%.2f s)%s\n", k, what.c_str(), foundText.c_str(),
                  KeysText(p, expected).c_str(), failure.empty() ? "" : ": ", failure.c_str(), res.seconds,
                  id.c_str());
    }
    std::fflush(stdout);
  }
  loop.reset();
  if (skipped) std::printf("%d skipped (no stored solution or Black to move)\n", skipped);
  if (timedOut) std::printf("%d timed out (counted as neither passed nor failed)\n", timedOut);
  std::printf("%d passed, %d failed\n", passed, failed);
  if (stopped) return SignalExitCode(kExitStopped);
  return failed ? kExitFailure : !coll.ok() ? kExitBadInput : kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("regress", "built-in regression run: solve a collection and compare the stored keys",
                 RunRegress);

}  // namespace ostravel::cli

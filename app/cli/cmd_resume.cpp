// ostravel-cli resume: continues an analysis from its saved register: by
// default the auto-save of the data folder (AutoSave.tmpReg and AutoSave.cp)
// that a forced close left behind, or a given register and collection. The
// loaded register is the one the search runs on, so everything it had proved
// is answered at once.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "config/autosave_info.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/mate_search.h"
#include "interrupt.h"
#include "problems/cp_file.h"
#include "register_options.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"
#include "solution_format.h"

namespace ostravel::cli {
namespace {

namespace fs = std::filesystem;

void Help() {
  std::printf(
      "Usage: ostravel-cli resume [REGISTER.tmpReg PROBLEMS.cp] [--index K] [--threads T]\n"
      "                           [--time-limit S] [--no-autosave] [--force] [register options]\n\n"
      "Loads a saved temporary register and continues the analysis of its problem on it.\n"
      "Without files it resumes the auto-save of the data folder (AutoSave.tmpReg with its\n"
      "AutoSave.cp), which a run leaves behind when it was closed forcibly; it refuses when\n"
      "the process that wrote it still runs (unless --force).\n\n"
      "  --index K        the problem of the collection (1-based, default 1)\n"
      "  --threads T      search threads (default 1)\n"
      "  --time-limit S   stop after S seconds; the register is then auto-saved again, and a\n"
      "                   later 'resume' continues from there\n"
      "  --no-autosave    no periodic auto-save during the run (AutoSaveMinutes, AutoSaveMB)\n"
      "  --force          resume even though the writer of the auto-save seems to run\n"
      "%s\n"
      "Ctrl-C stops like --time-limit. A finished analysis removes the auto-save it resumed.\n"
      "Exit code 0 done, 1 bad input, 2 failure, 130 stopped (the register was saved).\n",
      TRegisterOptions::HelpText());
}

int RunResume(const std::vector<std::string>& argsIn) {
  if (WantsHelp(argsIn)) {
    Help();
    return kExitOk;
  }
  std::vector<std::string> args = argsIn;
  TRegisterOptions regOpts;
  if (const std::string e = regOpts.Consume(args); !e.empty()) return BadInput("resume: " + e);
  std::vector<std::string> files;
  int index = 1, threads = 1;
  double timeLimit = 0;
  bool autosave = true, force = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto next = [&]() -> const std::string* { return i + 1 < args.size() ? &args[++i] : nullptr; };
    try {
      if (a == "--index") {
        const std::string* v = next();
        if (!v || (index = std::stoi(*v)) < 1) return BadInput("resume: --index needs a number from 1");
      } else if (a == "--threads") {
        const std::string* v = next();
        if (!v || (threads = std::stoi(*v)) < 1 || threads > 255)
          return BadInput("resume: --threads must be from 1 to 255");
      } else if (a == "--time-limit") {
        const std::string* v = next();
        if (!v || (timeLimit = std::stod(*v)) <= 0) return BadInput("resume: --time-limit needs seconds");
      } else if (a == "--no-autosave") {
        autosave = false;
      } else if (a == "--force") {
        force = true;
      } else if (!a.starts_with("--")) {
        files.push_back(a);
      } else {
        return BadInput("resume: unknown argument " + a + " (see --help)");
      }
    } catch (const std::exception&) {
      return BadInput("resume: bad number after " + a);
    }
  }
  if (files.size() == 1 || files.size() > 2)
    return BadInput("resume: give both REGISTER and PROBLEMS, or neither");

  LoadSettings();
  const bool fromAutoSave = files.empty();
  const fs::path dataFolder = DataFolder();
  const TAutoSavePaths autoPaths = TAutoSavePaths::In(dataFolder);
  const fs::path regFile = fromAutoSave ? autoPaths.registerFile : fs::path(files[0]);
  const fs::path cpFile = fromAutoSave ? autoPaths.problemFile : fs::path(files[1]);
  std::error_code ec;
  if (fromAutoSave && (!fs::exists(regFile, ec) || !fs::exists(cpFile, ec)))
    return BadInput("resume: no auto-save to resume in " + dataFolder.string() + " (" +
                    kAutoSaveRegisterName + " and " + kAutoSaveProblemName + ")");

  // The companion names the writer and brings the run's memory ratios.
  const bool haveInfo = fs::exists(AutoSaveInfoPath(regFile.string()), ec);
  TAutoSaveInfo info;
  if (haveInfo) {
    try {
      info = ReadAutoSaveInfo(regFile.string());
    } catch (const std::exception& e) {
      return BadInput(std::string("resume: ") + e.what());
    }
    if (fromAutoSave && !force && info.ProcessId != ::getpid() && !WasClosedForcibly(info))
      return BadInput("resume: the analysis that wrote " + regFile.string() + " still runs (process " +
                      std::to_string(info.ProcessId) + "); --force resumes it anyway");
    TSettings& s = MutableSettings();
    if (info.MaxMemRatioPerProblem >= 0) s.MaxMemRatioForTempReg = info.MaxMemRatioPerProblem;
    if (info.MaxMemRatioForPrecalculatedData >= 0)
      s.MaxMemRatioForPrecalculatedData = info.MaxMemRatioForPrecalculatedData;
    s.UpdateDerivedLimits();
  }

  TCollectionReadResult collection;
  try {
    collection = LoadCollectionFile(cpFile);
  } catch (const std::exception& e) {
    return BadInput("resume: " + cpFile.string() + ": " + e.what());
  }
  if (static_cast<std::size_t>(index) > collection.problems.size())
    return BadInput("resume: " + cpFile.string() + " has no problem " + std::to_string(index));
  const TProblem problem = collection.problems[static_cast<std::size_t>(index - 1)];
  if (!problem.whiteToMove) return BadInput("resume: only problems with White to move can be resumed");
  TTaskContext ctx;
  TChessboard root;
  try {
    problem.MakeRoot(root, ctx);
  } catch (const ChessException& e) {
    return BadInput(std::string("resume: ") + e.what());
  }

  // The run is this process's now.
  if (haveInfo) {
    info.ProcessId = ::getpid();
    info.ProcessFileName = CurrentExecutablePath();
    try {
      WriteAutoSaveInfo(regFile.string(), info);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "ostravel-cli: resume: %s\n", e.what());
    }
  }

  const uint32_t buckets = LoadBucketCount(problem.RootPlies());
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(
      buckets, TempRegElementLimitFromSettings(buckets));
  reg->SetStoreShortResults(true);
  std::printf("Resuming #%d%s%s from %s\n", problem.moves, problem.description.empty() ? "" : ": ",
              problem.description.c_str(), regFile.c_str());
  const TRegisterReadResult loaded = ReadRegisterFile(*reg, regFile, buckets);
  if (!loaded.opened) return BadInput("resume: " + loaded.error);
  if (loaded.completed)
    std::printf("%s\n\n", loaded.report.c_str());
  else  // what was read before the fault is still worth having
    std::fprintf(stderr, "ostravel-cli: resume: %s; going on with the %u positions read\n",
                 loaded.error.c_str(), reg->ElementCount());
  if (!regOpts.LoadInto(*reg)) return kExitBadInput;
  std::fflush(stdout);

  std::unique_ptr<TAutoSaver> saver;
  if (autosave) {
    try {
      saver = TAutoSaver::FromSettings(reg, problem, dataFolder);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "ostravel-cli: resume: no auto-save: %s\n", e.what());
    }
  }

  TSearchSettings st;
  st.mode = SolutionMode::kAll;
  st.threads = threads;
  st.sortIndications = SortIndicationMoves(problem);
  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);
  const TRegisterSolve run = SolveOnRegister(reg, root, problem.moves, st, timeLimit, &interrupted, true);

  if (run.stopped) {
    // Not explained yet: the keys only.
    if (!run.solutions.empty()) {
      std::printf("Keys found so far:");
      for (const TSolution& s : run.solutions) std::printf(" %s", s.keyText.c_str());
      std::printf("\n");
    }
    if (saver) saver->Stop();
    std::printf("Stopped after %.2f s (%llu nodes, %u positions in the register).\n", run.seconds,
                static_cast<unsigned long long>(run.nodes), reg->ElementCount());
    if (saver && saver->SaveNow())
      std::printf("Saved to %s: 'ostravel-cli resume' continues from there.\n",
                  autoPaths.registerFile.c_str());
    else if (saver)
      std::fprintf(stderr, "ostravel-cli: resume: %s\n", saver->LastError().c_str());
    else
      std::printf("Auto-save is off: the register was not saved (--save-register FILE keeps it).\n");
    regOpts.SaveFrom(*reg);
    return kExitStopped;
  }
  if (run.solutions.empty())
    std::printf("No solution.\n");
  else
    std::printf("%s\n", SolutionsText(run.solutions, Settings().LanguageId).c_str());
  std::printf("Finished in %.2f s (%llu nodes, %u positions in the register).\n", run.seconds,
              static_cast<unsigned long long>(run.nodes), reg->ElementCount());
  // The analysis is complete: nothing is left to recover.
  if (saver) saver->Finish();
  if (fromAutoSave) RemoveAutoSave(dataFolder);
  return regOpts.SaveFrom(*reg) ? kExitOk : kExitFailure;
}

}  // namespace

OSTRAVEL_COMMAND("resume", "continue an analysis from its saved (or auto-saved) register", RunResume);

}  // namespace ostravel::cli

// ostravel-cli resume: continues an analysis from its saved register: by
// default an auto-save of the data folder (the slot a stopped or killed run
// left behind), or a given register and collection. The loaded register is
// the one the search runs on, so everything it had proved is answered at once.
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "command.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/autosave.h"
#include "interrupt.h"
#include "register_options.h"
#include "solution_format.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli resume [REGISTER.tmpReg PROBLEMS.cp] [--run ID] [--index K] [--threads T]\n"
      "                           [--time-limit S] [--no-autosave] [--force] [register options]\n"
      "       ostravel-cli resume --list\n\n"
      "Loads a saved temporary register and continues the analysis of its problem on it.\n"
      "Every mate search auto-saves into a slot of its own (AutoSave/<run>/ in the data\n"
      "folder) and holds a lock on it while it runs. Without files, resume continues the\n"
      "slot named by --run, or else the newest slot whose run has ended (or the data\n"
      "folder's own AutoSave.tmpReg of older versions). A slot whose run still lives is\n"
      "never taken; the resumed run saves into the same slot and removes it when the\n"
      "analysis completes.\n\n"
      "  --list           list the auto-save slots: id, state, problem\n"
      "  --run ID         the slot to resume\n"
      "  --index K        the problem of the collection (1-based, default 1)\n"
      "  --threads T      search threads (default 1)\n"
      "  --time-limit S   stop after S seconds; the register is then auto-saved again, and a\n"
      "                   later 'resume' continues from there\n"
      "  --no-autosave    no periodic auto-save during the run (AutoSaveMinutes, AutoSaveMB)\n"
      "  --force          resume the older single auto-save even though its writer seems to run\n"
      "%s\n"
      "Ctrl-C, SIGTERM and SIGHUP stop like --time-limit. Exit code 0 done, 1 bad input,\n"
      "2 failure, 130 stopped (143 by SIGTERM, 129 by SIGHUP; the register was saved).\n",
      TRegisterOptions::HelpText());
}

int List(const std::filesystem::path& dataFolder) {
  const std::vector<TAutoSaveListing> slots = ListAutoSaves(dataFolder);
  if (slots.empty()) {
    std::printf("No auto-save in %s\n", AutoSaveSlotsFolder(dataFolder).c_str());
    return kExitOk;
  }
  for (const TAutoSaveListing& l : slots)
    std::printf("%-20s %-9s %s\n", l.id.c_str(),
                l.ownerRunning ? "running"
                : l.resumable  ? "resumable"
                               : "empty",
                l.info.Description.c_str());
  return kExitOk;
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
  TResumeSource src;
  int threads = 1;
  double timeLimit = 0;
  bool autosave = true, list = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto next = [&]() -> const std::string* { return i + 1 < args.size() ? &args[++i] : nullptr; };
    try {
      if (a == "--index") {
        const std::string* v = next();
        if (!v || (src.index = std::stoi(*v)) < 1) return BadInput("resume: --index needs a number from 1");
      } else if (a == "--threads") {
        const std::string* v = next();
        if (!v || (threads = std::stoi(*v)) < 1 || threads > 255)
          return BadInput("resume: --threads must be from 1 to 255");
      } else if (a == "--time-limit") {
        const std::string* v = next();
        if (!v || (timeLimit = std::stod(*v)) <= 0) return BadInput("resume: --time-limit needs seconds");
      } else if (a == "--run") {
        const std::string* v = next();
        if (!v || v->empty()) return BadInput("resume: --run needs a slot id (see --list)");
        src.slot = *v;
      } else if (a == "--list") {
        list = true;
      } else if (a == "--no-autosave") {
        autosave = false;
      } else if (a == "--force") {
        src.force = true;
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
  if (!files.empty() && !src.slot.empty()) return BadInput("resume: --run takes no files");

  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  const std::filesystem::path dataFolder = DataFolder();
  if (list) return List(dataFolder);
  if (!files.empty()) {
    src.registerFile = files[0];
    src.problemFile = files[1];
  }
  TResumePlan plan = PlanResume(src, Settings(), dataFolder);
  if (!plan.error.empty()) return BadInput("resume: " + plan.error);
  TSolveRequest& r = plan.request;
  r.threads = static_cast<uint8_t>(threads);
  if (!autosave) r.autoSave.enabled = false;
  regOpts.ApplyTo(r);
  if (!regOpts.loadFile.empty()) {
    // The saved register first; the file asked for adds to it.
    r.registerFiles.pinnedFile = plan.registerFile;
    r.registerFiles.loadFile = regOpts.loadFile;
  }
  std::printf("Resuming #%d%s%s from %s\n", plan.problem.moves, plan.problem.description.empty() ? "" : ": ",
              plan.problem.description.c_str(), plan.registerFile.c_str());
  std::fflush(stdout);

  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);
  TCliRunOptions ro;
  ro.progress = isatty(STDERR_FILENO);
  ro.interrupt = &interrupted;
  ro.timeLimit = timeLimit;
  const TCliRunOutcome out = RunOnEngine(r, TEngineTask::kMate, ro);
  if (!out.refusal.empty()) return BadInput("resume: " + out.refusal);
  const TSolveResult& res = out.result;
  if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed)
    return BadInput("resume: " + res.message);
  std::printf("%s", SolutionsText(res.solutions, r.languageId).c_str());
  std::printf("%s\n", out.endText.c_str());
  std::printf("%.2f s, %llu nodes, %u positions in the register.\n", res.seconds,
              static_cast<unsigned long long>(res.nodes), res.registerEntries);
  if (!res.registerSaved) {
    std::fprintf(stderr, "ostravel-cli: resume: %s\n", res.registerError.c_str());
    return kExitFailure;
  }
  if (res.status == TRunStatus::kStopped) {
    if (res.autoSaveKept)
      std::printf("'ostravel-cli resume --run %s' continues from there.\n", res.autoSaveSlot.c_str());
    else
      std::printf("Auto-save is off: the register was not saved (--save-register FILE keeps it).\n");
    return SignalExitCode(kExitStopped);
  }
  // The analysis is complete: the data folder's older single auto-save it
  // resumed has nothing left to recover either.
  if (files.empty() && plan.slot.empty()) RemoveAutoSave(dataFolder);
  return kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("resume", "continue an analysis from its saved (or auto-saved) register", RunResume);

}  // namespace ostravel::cli

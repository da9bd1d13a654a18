// ostravel-cli resume: continues an analysis from its saved register: by
// default an auto-save of the data folder (the slot a stopped or killed run
// left behind, offered with the window's question), or a given register and
// collection. The loaded register is the one the search runs on, so
// everything it had proved is answered at once.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/autosave.h"
#include "interrupt.h"
#include "platform/forced_close.h"
#include "platform/process.h"
#include "platform/texts.h"
#include "register_options.h"
#include "solution_format.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli resume [REGISTER.tmpReg PROBLEMS.cp] [--run ID] [--index K] [--threads T]\n"
      "                           [--time-limit S] [--no-autosave] [--force] [--yes | --set-aside]\n"
      "                           [register options]\n"
      "       ostravel-cli resume --list\n\n"
      "Loads a saved temporary register and continues the analysis of its problem on it.\n"
      "Every mate search auto-saves into a slot of its own (AutoSave/<run>/ in the data\n"
      "folder) and holds a lock on it while it runs. A slot whose run still lives is\n"
      "never taken; the resumed run saves into the same slot and removes it when the\n"
      "analysis completes.\n\n"
      "Without files and --run, resume offers, newest first, each auto-save whose\n"
      "writer was closed forcibly (its process no longer runs), as the desktop program\n"
      "does at start: y resumes it, n leaves it for later, c renames it to .BAK so it\n"
      "is not offered again. An auto-save whose problem file is missing can only be\n"
      "loaded by hand; its note is printed. When stdin is not a terminal and neither\n"
      "--yes nor --set-aside is given, the newest one is resumed without asking. When\n"
      "none was closed forcibly, the newest slot whose run has ended is resumed (or the\n"
      "data folder's own AutoSave.tmpReg of older versions).\n\n"
      "  --list           list the auto-save slots: id, state, problem\n"
      "  --run ID         the slot to resume\n"
      "  --yes            resume the newest auto-save left by a forced close without asking\n"
      "  --set-aside      rename every auto-save left by a forced close to .BAK; resume none\n"
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

enum class TOffer { kAsk, kYes, kSetAside };

// The window's question on the terminal: y, n or c (end of input: n).
TForcedCloseAnswer Ask(const std::string& question) {
  std::printf("%s\n", question.c_str());
  for (;;) {
    std::printf("Yes, No or Cancel? [y/n/c] ");
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) {
      std::printf("\n");
      return TForcedCloseAnswer::kNo;
    }
    line.erase(0, line.find_first_not_of(" \t"));
    const char c = line.empty() ? '\0' : static_cast<char>(std::tolower(static_cast<unsigned char>(line[0])));
    if (c == 'y') return TForcedCloseAnswer::kYes;
    if (c == 'n') return TForcedCloseAnswer::kNo;
    if (c == 'c') return TForcedCloseAnswer::kCancel;
  }
}

// Offers the auto-saves a forced close left, newest first. Returns the one to
// resume, or nothing; *failed when one could not be set aside.
std::optional<TForcedCloseAutoSave> OfferForcedCloses(const std::filesystem::path& dataFolder, TOffer mode,
                                                      bool* anyOffered, bool* failed) {
  TForcedCloseScan scan;
  scan.runSlots = UnheldAutoSaveSlots;
  std::vector<TForcedCloseAutoSave> offered = FindForcedCloseAutoSaves(dataFolder, scan);
  std::reverse(offered.begin(), offered.end());
  *anyOffered = !offered.empty();
  const int lang = Settings().LanguageId;
  for (const TForcedCloseAutoSave& a : offered) {
    const std::string file = a.registerFile.string();
    if (!a.Resumable()) {
      std::printf("%s\n\n", ForcedCloseInformationMessage(file, lang).c_str());
      continue;
    }
    const TForcedCloseAnswer answer = mode == TOffer::kYes ? TForcedCloseAnswer::kYes
                                      : mode == TOffer::kSetAside
                                          ? TForcedCloseAnswer::kCancel
                                          : Ask(ForcedCloseQuestionMessage(file, lang));
    if (answer == TForcedCloseAnswer::kYes) return a;
    if (answer == TForcedCloseAnswer::kCancel) {
      try {
        std::printf("Set aside as %s\n", SetAsideForcedCloseAutoSave(a).c_str());
      } catch (const std::exception& e) {
        std::fprintf(stderr, "ostravel-cli: resume: %s\n", e.what());
        *failed = true;
      }
    }
  }
  return std::nullopt;
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
  bool autosave = true, list = false, yes = false, setAside = false;
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
      } else if (a == "--yes") {
        yes = true;
      } else if (a == "--set-aside") {
        setAside = true;
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
  if (yes && setAside) return BadInput("resume: --yes and --set-aside exclude each other");
  if ((yes || setAside) && (!files.empty() || !src.slot.empty() || list))
    return BadInput(
        "resume: --yes and --set-aside answer the forced-close question; they take no files, --run or "
        "--list");

  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  const std::filesystem::path dataFolder = DataFolder();
  if (list) return List(dataFolder);
  if (!files.empty()) {
    src.registerFile = files[0];
    src.problemFile = files[1];
  }
  src.writerRunning = [](const TAutoSaveInfo& info) { return !AutoSaveWriterEnded(info); };
  if (files.empty() && src.slot.empty()) {
    const TOffer mode = setAside                       ? TOffer::kSetAside
                        : yes || !isatty(STDIN_FILENO) ? TOffer::kYes
                                                       : TOffer::kAsk;
    bool anyOffered = false, failed = false;
    const std::optional<TForcedCloseAutoSave> chosen =
        OfferForcedCloses(dataFolder, mode, &anyOffered, &failed);
    if (mode == TOffer::kSetAside) {
      if (!anyOffered) std::printf("No auto-save was left by a forced close.\n");
      return failed ? kExitFailure : kExitOk;
    }
    if (mode == TOffer::kAsk && anyOffered && !chosen) {
      std::printf("Nothing resumed.\n");
      return failed ? kExitFailure : kExitOk;
    }
    if (chosen) {
      try {
        // An old single file moves into a slot, which the run removes once complete.
        src.slot = chosen->slot.empty() ? AdoptAutoSave(dataFolder, chosen->registerFile, chosen->problemFile)
                                        : chosen->slot;
      } catch (const std::exception& e) {
        return BadInput(std::string("resume: ") + e.what());
      }
    }
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
  const TRunOutcome out = RunOnEngine(r, TEngineTask::kMate, ro);
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

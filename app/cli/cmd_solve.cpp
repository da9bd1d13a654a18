// ostravel-cli solve: solves a directmate given by FEN and stipulation, or
// problems of a ".cp" collection, through the engine facade.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>

#include "chess/fen.h"
#include "command.h"
#include "config/settings.h"
#include "engine/engine.h"
#include "engine/engine_texts.h"
#include "engine/global_register_probe.h"
#include "engine/probe_chain.h"
#include "engine/threads.h"
#include "epd_batch.h"
#include "formats_io.h"
#include "interrupt.h"
#include "problems/cp_file.h"
#include "register_options.h"
#include "solution_format.h"
#include "stats_print.h"
#include "tablebase_options.h"

namespace ostravel::cli {
namespace {

constexpr const char* kMateRangeText = "solve: --mate must be from 1 to 125";
static_assert(kMaxStipulationMoves == 125, "the text above names the limit");

void Help() {
  std::printf(
      "Usage: ostravel-cli solve --fen \"<FEN>\" --mate <n> [options]\n"
      "       ostravel-cli solve <file.cp> [--problem K | --all] [--store] [options]\n"
      "       ostravel-cli solve --epd FILE [--json-lines] [options]   (see below)\n"
      "A problem file \"-\" is read from standard input: a collection, Popeye input,\n"
      "EPD lines or FEN lines with \"#n\", told apart by their text.\n\n"
      "Finds every key of a directmate in n moves (shorter mates included), with the\n"
      "threat and the variations of each key. A collection's problems are solved\n"
      "with their own stipulations, sort indications and mode tags; a problem with\n"
      "Black to move is solved as the defence task.\n\n"
      "  --mode M                single | 2 | 3 | 4 | all   (solutions to look for; default all)\n"
      "  --brute-force           search without special heuristics\n"
      "  --hybrid                hybrid brute force: a heuristical search for one\n"
      "                          solution, then brute force for duals\n"
      "  --defence               Black to move in the FEN: find Black's best defence\n"
      "                          against mate in n\n"
      "  --short-mate-depth P    custom short-mate depth in plies, up to 18 (below 1:\n"
      "                          default)\n"
      "  --marked SQUARES        only the men on these squares (e.g. e2,d1) move at\n"
      "                          the root: keys are looked for among their moves only\n"
      "  --no-second-pass        switch the pass without heuristics off\n"
      "  --heuristics TEXT       special heuristics for the first pass, as indication\n"
      "                          keywords (e.g. \"FFM(#2) ExtEdge AssertBKS(strict)\n"
      "                          DLFU(e7 f7)\") and heuristic names as the set text\n"
      "                          prints them (e.g. SH_AREKINGSNEAR, default\n"
      "                          parameters), or auto: chosen from the position\n"
      "                          (see README); relaxed pass by pass (1b, 1c, ...)\n"
      "                          before pass 2 proves the key set complete. A key\n"
      "                          found under heuristics is proved by an exact search\n"
      "                          of that move before it counts as a solution\n"
      "  --proof-search S        pass 0: a proof-number search for keys, at most S\n"
      "                          seconds, before pass 1 (auto: 30 s from #6, 50 s\n"
      "                          from #12; 0: none). Its keys are proved; that there is no\n"
      "                          other key only the later passes can prove\n"
      "  --safe-mode             no quick-mode implicit heuristics\n"
      "  --no-relax              one pass with heuristics, then pass 2\n"
      "  --show-relaxation       print the passes and their heuristic sets; no search\n"
      "  --threads T             search threads per level (default: chosen from the\n"
      "                          processors, or 1 with MultithreadingLevels=0)\n"
      "  --levels L              multithreading levels, 1 to 64 (default: as threads)\n"
      "  --accept-thread-proposal yes|no\n"
      "                          answer to the engine's proposal of another thread\n"
      "                          count (default no)\n"
      "  --no-variations         print the keys and threats only\n"
      "  --no-duals              one White answer per defence (default: every answer\n"
      "                          that mates as quickly, marked \"(dual)\")\n"
      "  --lang en|pl|uk         language of the texts (default: LanguageId)\n"
      "  --json                  one JSON object on stdout (see README)\n"
      "  --quiet                 no progress line\n"
      "  --no-global-register    search positions of stored types instead of answering\n"
      "                          them from the global register (see 'precalc')\n"
      "  --stats                 print where the search's nodes go (per ply, register,\n"
      "                          cut-offs, short-mate routines) to stderr\n"
      "  --problem K             solve the K-th problem of the collection (from 1)\n"
      "  --all                   solve every problem of the collection\n"
      "  --store                 write each solution found back into the collection as\n"
      "                          a variant (safe save; the file is rewritten canonically)\n"
      "%s%s\n"
      "A problem pinned to a saved register (its \"//@tmpreg=\" line) has that file loaded\n"
      "before it is solved. While a mate search runs its register is auto-saved every\n"
      "AutoSaveMinutes (at most AutoSaveMB) into a slot of its own, AutoSave/<run>/ in the\n"
      "data folder (AutoSave.tmpReg, with the problem in AutoSave.cp), locked while the run\n"
      "lives; a run stopped by Ctrl-C, SIGTERM or SIGHUP saves it once more ('ostravel-cli\n"
      "resume' continues it), a completed run removes it.\n\n"
      "Exit codes: 0 the search completed (keys found or proved absent), 1 bad input,\n"
      "2 the register could not be saved, 130 stopped by Ctrl-C, 143 by SIGTERM, 129 by\n"
      "SIGHUP (the partial result is printed in each case).\n\n%s",
      TRegisterOptions::HelpText(), TTablebaseOptions::HelpText(), EpdBatchHelp());
}

struct TSolveOptions {
  std::string fen;
  std::string file;
  int moves = 0;
  std::optional<SolutionMode> mode;
  bool bruteForce = false, hybrid = false, defence = false, noSecondPass = false;
  std::optional<int16_t> shortMateDepth;
  uint64_t marked = 0;  // --marked: the root moves only these men
  int threads = 0;      // 0: the settings' choice (see ApplySettings)
  std::optional<int> levels;
  bool acceptProposal = false;
  bool variations = true, duals = true, json = false, quiet = false, all = false, store = false,
       stats = false;
  bool globalRegister = true;
  std::optional<std::string> heuristics;  // --heuristics: indications, or "auto"
  std::optional<int> proofSeconds;        // --proof-search
  bool safeMode = false, noRelax = false, showRelaxation = false;
  int problem = 0;
  int lang = -1;
};

bool ParseInt(const std::string& s, long lo, long hi, long& out) {
  try {
    size_t used = 0;
    const long v = std::stol(s, &used);
    if (used != s.size() || v < lo || v > hi) return false;
    out = v;
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// The options that only switch something on or off.
struct TSolveFlag {
  const char* name;
  bool TSolveOptions::*field;
  bool value;
};
constexpr TSolveFlag kSolveFlags[] = {
    {"--brute-force", &TSolveOptions::bruteForce, true},
    {"--hybrid", &TSolveOptions::hybrid, true},
    {"--defence", &TSolveOptions::defence, true},
    {"--defense", &TSolveOptions::defence, true},
    {"--no-second-pass", &TSolveOptions::noSecondPass, true},
    {"--safe-mode", &TSolveOptions::safeMode, true},
    {"--no-relax", &TSolveOptions::noRelax, true},
    {"--show-relaxation", &TSolveOptions::showRelaxation, true},
    {"--no-variations", &TSolveOptions::variations, false},
    {"--no-duals", &TSolveOptions::duals, false},
    {"--json", &TSolveOptions::json, true},
    {"--quiet", &TSolveOptions::quiet, true},
    {"--no-global-register", &TSolveOptions::globalRegister, false},
    {"--global-register", &TSolveOptions::globalRegister, true},
    {"--stats", &TSolveOptions::stats, true},
    {"--all", &TSolveOptions::all, true},
    {"--store", &TSolveOptions::store, true},
};

// Returns an empty string, or the bad-input message.
std::string ParseArgs(const std::vector<std::string>& args, TSolveOptions& o) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    std::string v;
    auto value = [&]() {
      if (i + 1 >= args.size()) return false;
      v = args[++i];
      return true;
    };
    const auto flag = std::find_if(std::begin(kSolveFlags), std::end(kSolveFlags),
                                   [&](const TSolveFlag& f) { return a == f.name; });
    if (flag != std::end(kSolveFlags)) {
      o.*(flag->field) = flag->value;
      continue;
    }
    long n = 0;
    if (a == "--fen") {
      if (!value()) return "solve: --fen needs a FEN";
      o.fen = v;
    } else if (a == "--mate") {
      if (!value() || !ParseInt(v, 1, kMaxStipulationMoves, n)) return kMateRangeText;
      o.moves = static_cast<int>(n);
    } else if (a == "--mode") {
      SolutionMode m;
      if (!value() || !ParseModeName(v, m)) return "solve: --mode is single, 2, 3, 4 or all";
      o.mode = m;
    } else if (a == "--threads") {
      if (!value() || !ParseInt(v, 1, 255, n)) return "solve: --threads must be from 1 to 255";
      o.threads = static_cast<int>(n);
    } else if (a == "--levels") {
      if (!value() || !ParseInt(v, -1000, 1000, n)) return "solve: --levels needs a number";
      o.levels = static_cast<int>(n);
    } else if (a == "--accept-thread-proposal") {
      if (!value() || (v != "yes" && v != "no")) return "solve: --accept-thread-proposal is yes or no";
      o.acceptProposal = v == "yes";
    } else if (a == "--short-mate-depth") {
      // Nine short-mate lengths exist: mate in 9 is 17 or 18 plies.
      if (!value() || !ParseInt(v, -32768, 18, n))
        return "solve: --short-mate-depth is a number of plies up to 18 (mate in 9)";
      o.shortMateDepth = static_cast<int16_t>(n);
    } else if (a == "--marked") {
      if (!value()) return "solve: --marked needs squares such as e2,d1";
      for (size_t at = 0; at <= v.size();) {
        const size_t comma = std::min(v.find(',', at), v.size());
        const std::string sq = v.substr(at, comma - at);
        const std::string bad = "solve: --marked needs squares such as e2,d1, not \"" + sq + "\"";
        if (sq.size() != 2) return bad;
        try {
          o.marked |= uint64_t{1} << String2Square(sq.c_str());
        } catch (const ChessException&) {
          return bad;
        }
        at = comma + 1;
      }
    } else if (a == "--lang") {
      if (!value() || (o.lang = LanguageIdOf(v)) < 0) return "solve: --lang is en, pl or uk";
    } else if (a == "--problem") {
      if (!value() || !ParseInt(v, 1, 1000000, n)) return "solve: --problem needs a problem number from 1";
      o.problem = static_cast<int>(n);
    } else if (a == "--proof-search") {
      if (!value() || !ParseInt(v, 0, 86400, n)) return "solve: --proof-search needs seconds from 0 to 86400";
      o.proofSeconds = static_cast<int>(n);
    } else if (a == "--heuristics") {
      if (!value()) return "solve: --heuristics needs indications such as \"FFM(#2) ExtEdge\", or auto";
      if (v != "auto") {
        THeuristicState check;
        std::string error;
        if (!ApplyHeuristicText(v, check, &error)) return "solve: --heuristics: " + error;
        // The checks of the selection dialog, on what the keywords chose.
        error = ValidateHeuristicSelection(SelectionOfState(check), o.lang >= 0 ? o.lang : 1, nullptr);
        if (!error.empty()) return "solve: --heuristics: " + error;
        if (check.set == 0 && !check.safeMode && check.lfqmDepth == 0)
          return "solve: --heuristics: no heuristic keyword in \"" + v + "\"";
      }
      o.heuristics = v;
    } else if ((a == "-" || (!a.empty() && a[0] != '-')) && o.file.empty()) {
      o.file = a;
    } else {
      return "solve: unknown argument " + a + " (see --help)";
    }
  }
  if (o.bruteForce && o.hybrid) return "solve: --brute-force and --hybrid exclude each other";
  if (o.bruteForce && o.heuristics) return "solve: --brute-force and --heuristics exclude each other";
  if (!o.file.empty()) {
    if (!o.fen.empty() || o.moves) return "solve: give either a collection file or --fen and --mate";
    if (o.defence) return "solve: --defence takes a position given by --fen";
    if (o.problem && o.all) return "solve: --problem and --all exclude each other";
  } else {
    if (o.problem || o.all || o.store) return "solve: --problem, --all and --store need a collection file";
    if (o.fen.empty()) return "solve: --fen \"<FEN>\" is required";
    if (!o.moves) return kMateRangeText;
  }
  return {};
}

// The command line's choices over a request built from the settings (and a problem).
void ApplyOptions(const TSolveOptions& o, TSolveRequest& r) {
  if (o.mode) r.mode = *o.mode;
  if (o.bruteForce) {
    r.bruteForce = true;
    r.hybridPhase = 0;
  }
  if (o.hybrid) {
    r.hybridPhase = 1;
    r.bruteForce = false;
  }
  if (o.shortMateDepth) r.customShortMateDepth = *o.shortMateDepth;
  if (o.marked) {
    r.restriction = -1;
    r.markedSquares = o.marked;
  }
  if (o.noSecondPass) r.passWithoutHeuristics = false;
  // Checked by ParseArgs; on top of what the problem record indicates.
  if (o.heuristics) ApplyHeuristicsOption(r, *o.heuristics);
  if (o.proofSeconds) r.proofSearchSeconds = *o.proofSeconds;
  if (r.heuristicState.safeMode) r.safeMode = true;
  if (o.safeMode) r.safeMode = r.heuristicState.safeMode = true;
  if (o.noRelax) r.relaxation = false;
  if (o.threads) r.threads = static_cast<uint8_t>(o.threads);
  if (o.levels) {
    bool adjusted = false;
    r.levels = static_cast<uint8_t>(AdjustLevels(*o.levels, 1, &adjusted));
    if (adjusted) std::fprintf(stderr, "%s\n", kLevelsAdjustedText);
  }
  r.computeVariations = o.variations;
  r.showDuals = o.duals;
  r.collectStats = o.stats;
  if (o.lang >= 0) r.languageId = o.lang;
}

// --show-relaxation: the passes the request would run, without solving.
int ShowRelaxation(const TSolveRequest& r) {
  const THeuristicState s = RequestHeuristics(r);
  if (s.set == 0) {
    std::printf("%s\n", "No heuristics selected.");
    return kExitOk;
  }
  std::vector<std::string> lines = RelaxationPathTexts(s);
  if (!r.relaxation) lines.erase(lines.begin() + 1, lines.end() - 1);
  if (!r.passWithoutHeuristics) lines.pop_back();
  if (r.proofSearchSeconds > 0) {
    char head[96];
    std::snprintf(head, sizeof head, "Pass 0: proof-number search for keys, at most %g s",
                  r.proofSearchSeconds);
    lines.insert(lines.begin(), head);
  }
  for (const auto& l : lines) std::printf("%s\n", l.c_str());
  return kExitOk;
}

// After a run with heuristic passes: the pass that found each key, whether
// it is proved, and whether the key set is.
void PrintKeyPasses(const TSolveResult& res) {
  bool heuristic = false, complete = false;
  for (const auto& p : res.passes) {
    heuristic |= p.plan.heuristics != 0;
    complete |= p.ProvesKeySetComplete();
  }
  if (!heuristic) return;
  for (const auto& s : res.solutions)
    std::printf("Key %s: found in pass %s, %s\n", s.keyText.c_str(), s.foundInPass.c_str(),
                s.confirmed ? "proved by an exact search" : "a candidate (not proved)");
  std::printf("%s\n", complete ? "Key set proved complete (pass without heuristics completed)."
                               : "Key set found so far (no pass without heuristics completed).");
}

// Prints a finished run; returns its exit code.
int Report(const TSolveOptions& o, const std::string& fen, const TSolveRequest& r, const TRunOutcome& out) {
  if (!out.refusal.empty()) return BadInput(out.refusal);
  const TSolveResult& res = out.result;
  if (o.json) {
    PrintJson(RunJson(fen, r, res, out.endText).dump(2));
  } else if (res.status != TRunStatus::kRefused && res.status != TRunStatus::kFailed) {
    std::printf("%s", SolutionsText(res.solutions, r.languageId).c_str());
    std::printf("%s\n", out.endText.c_str());
    PrintKeyPasses(res);
  }
  if (o.stats && !res.stats.Empty()) {
    std::fflush(stdout);
    std::fprintf(stderr, "search statistics:\n");
    PrintSearchStats(res.stats, stderr);
  }
  if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) return BadInput(res.message);
  return res.status == TRunStatus::kStopped ? kExitStopped : kExitOk;
}

// The probes of one problem's run, into chain (which must outlive the run);
// the table's reports go to stderr.
void AttachRunProbes(TProbeChain& chain, TSolveRequest& r, IPositionProbe* globalRegister,
                     TTablebaseSession& tablebase) {
  std::vector<std::string> notes;
  AttachProbes(chain, r, globalRegister, &tablebase, &notes);
  PrintTablebaseLines(notes);
}

TCliRunOptions RunOptions(const TSolveOptions& o, std::atomic<bool>* interrupt) {
  TCliRunOptions ro;
  ro.registerOut = o.json ? stderr : stdout;
  ro.progress = !o.quiet && !o.json && isatty(STDERR_FILENO);
  ro.messages = !o.json;
  ro.interrupt = interrupt;
  ro.acceptThreadProposal = o.acceptProposal;
  return ro;
}

int SolveFen(const TSolveOptions& o, const TRegisterOptions& files, const TTablebaseOptions& tb) {
  TSolveRequest r;
  if (!r.SetFen(o.fen)) return BadInput("solve: invalid FEN: " + o.fen);
  if (!o.defence && !r.whiteToMove)
    return BadInput("solve: a directmate needs White to move (see --defence)");
  ApplySettings(r, Settings());
  r.moves = o.moves;
  r.title = o.fen;
  r.problemId = 1;
  ApplyOptions(o, r);
  files.ApplyTo(r);
  if (o.showRelaxation) return ShowRelaxation(r);
  const TEngineTask task = o.defence ? TEngineTask::kDefence : TEngineTask::kMate;
  std::atomic<bool> interrupt{false};
  InterruptGuard guard(&interrupt);
  const std::unique_ptr<CGlobalRegisterProbe> globalRegister =
      o.globalRegister ? OpenGlobalRegister() : nullptr;
  std::vector<std::string> notes;
  TTablebaseSession tablebase(tb, Settings(), &notes);
  PrintTablebaseLines(notes);
  TProbeChain probes;
  AttachRunProbes(probes, r, globalRegister.get(), tablebase);
  const TRunOutcome out = RunOnEngine(r, task, RunOptions(o, &interrupt));
  PrintTablebaseLines(tablebase.Conclude());
  const int code = Report(o, o.fen, r, out);
  if (globalRegister && !o.json) std::printf("%s\n", GlobalRegisterNotice(*globalRegister).c_str());
  if (!out.refusal.empty()) return code;
  if (!out.result.registerSaved) {
    std::fprintf(stderr, "ostravel-cli: %s\n", out.result.registerError.c_str());
    if (code == kExitOk) return kExitFailure;
  }
  return SignalExitCode(code);
}

// The solution found, as the variant the collection keeps: one line per key.
void StoreSolution(TProblem& p, const TSolveResult& res) {
  p.StoreFoundKeys(ProvedKeyTexts(res.solutions));
}

int SolveCollection(const TSolveOptions& o, const TRegisterOptions& files, const TTablebaseOptions& tb) {
  TCollectionReadResult coll;
  try {
    if (o.file != "-") {
      coll = LoadCollectionFile(o.file);
    } else if (const std::string text = ReadInput("-"); FormatOfText(text) == TFormat::kCp) {
      coll = ReadCollection(text);
    } else {
      // Standard input has no extension: the text says which format it is.
      TProblemsRead in = ReadProblems(text, FormatOfText(text));
      coll.problems = std::move(in.problems);
      for (const auto& e : in.errors) std::fprintf(stderr, "ostravel-cli: -: %s\n", e.c_str());
      for (const auto& n : in.notes) std::fprintf(stderr, "note: -: %s\n", n.c_str());
    }
  } catch (const CollectionFileError& e) {
    return BadInput("solve: " + o.file + ": " + e.what());
  }
  for (const auto& e : coll.errors)
    std::fprintf(stderr, "ostravel-cli: %s: %s\n", o.file.c_str(), e.Describe().c_str());
  if (o.store && o.file == "-") return BadInput("solve: --store needs a collection file, not standard input");
  if (coll.moreErrors)
    std::fprintf(stderr, "ostravel-cli: %s: %s\n", o.file.c_str(), coll.MoreErrorsText().c_str());
  if (o.store && !coll.ok())
    return BadInput("solve: --store would drop the records in error: correct the collection first");
  const int count = static_cast<int>(coll.problems.size());
  if (count == 0) return BadInput("solve: " + o.file + " holds no problem");
  std::vector<int> chosen;
  if (o.all) {
    for (int k = 1; k <= count; ++k) chosen.push_back(k);
  } else if (o.problem) {
    if (o.problem > count)
      return BadInput("solve: " + o.file + " holds " + std::to_string(count) + " problem(s)");
    chosen.push_back(o.problem);
  } else if (count == 1) {
    chosen.push_back(1);
  } else {
    return BadInput("solve: " + o.file + " holds " + std::to_string(count) +
                    " problems: choose one with --problem K, or --all");
  }
  // One register per problem: a file saved after several would hold only the last.
  if (!files.saveFile.empty() && chosen.size() > 1)
    return BadInput("solve: --save-register saves the register of one problem: choose it with --problem K");

  std::atomic<bool> interrupt{false};
  InterruptGuard guard(&interrupt);
  const std::unique_ptr<CGlobalRegisterProbe> globalRegister =
      o.globalRegister ? OpenGlobalRegister() : nullptr;
  nlohmann::json all = nlohmann::json::array();
  int exitCode = kExitOk, stored = 0;
  std::vector<std::string> tablebaseNotes;
  TTablebaseSession tablebase(tb, Settings(), &tablebaseNotes);
  PrintTablebaseLines(tablebaseNotes);
  for (int k : chosen) {
    TProblem& p = coll.problems[static_cast<size_t>(k - 1)];
    TSolveRequest r = RequestFromProblem(p, Settings(), static_cast<uint32_t>(k));
    ApplyOptions(o, r);
    files.ApplyTo(r);
    if (o.showRelaxation) {
      ShowRelaxation(r);
      continue;
    }
    const TEngineTask task = p.whiteToMove ? TEngineTask::kMate : TEngineTask::kDefence;
    if (!o.json)
      std::printf("%sProblem %d: #%d %s\n", k == chosen.front() ? "" : "\n", k, p.moves, r.title.c_str());
    std::fflush(stdout);
    TProbeChain probes;
    AttachRunProbes(probes, r, globalRegister.get(), tablebase);
    const TRunOutcome out = RunOnEngine(r, task, RunOptions(o, &interrupt));
    PrintTablebaseLines(tablebase.Conclude());
    const std::string fen = p.Fen();
    if (!out.refusal.empty()) {
      std::fprintf(stderr, "ostravel-cli: problem %d: %s\n", k, out.refusal.c_str());
      exitCode = kExitBadInput;
      continue;
    }
    const TSolveResult& res = out.result;
    if (o.json) {
      nlohmann::json j = RunJson(fen, r, res, out.endText);
      j["problem"] = k;
      j["description"] = p.description;
      all.push_back(std::move(j));
    } else if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) {
      std::printf("%s\n", res.message.c_str());
    } else {
      std::printf("%s", SolutionsText(res.solutions, r.languageId).c_str());
      std::printf("%s\n", out.endText.c_str());
    }
    if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) {
      std::fprintf(stderr, "ostravel-cli: problem %d: %s\n", k, res.message.c_str());
      exitCode = kExitBadInput;
    } else if (res.status == TRunStatus::kCompleted && task == TEngineTask::kMate && o.store) {
      StoreSolution(p, res);
      ++stored;
    }
    if (!res.registerSaved) {
      std::fprintf(stderr, "ostravel-cli: %s\n", res.registerError.c_str());
      if (exitCode == kExitOk) exitCode = kExitFailure;
    }
    if (out.stoppedByFlag) {
      exitCode = SignalExitCode(kExitStopped);
      break;
    }
  }
  if (o.json) {
    nlohmann::json j;
    j["file"] = o.file;
    j["problems"] = std::move(all);
    PrintJson(j.dump(2));
  }
  if (stored) {
    try {
      SaveCollectionFile(o.file, coll.problems, &coll.stamp);
    } catch (const CollectionFileError& e) {
      std::fprintf(stderr, "ostravel-cli: %s: %s\n", o.file.c_str(), e.what());
      return kExitFailure;
    }
    if (!o.json) std::printf("\nStored the solutions of %d problem(s) in %s\n", stored, o.file.c_str());
  }
  if (globalRegister && !o.json) std::printf("%s\n", GlobalRegisterNotice(*globalRegister).c_str());
  return exitCode;
}

int RunSolve(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  if (IsEpdBatch(args)) return RunEpdBatch(args);
  std::vector<std::string> rest = args;
  TRegisterOptions files;
  if (const std::string e = files.Consume(rest); !e.empty()) return BadInput("solve: " + e);
  TTablebaseOptions tb;
  if (const std::string e = tb.Consume(rest); !e.empty()) return BadInput("solve: " + e);
  TSolveOptions o;
  const std::string error = ParseArgs(rest, o);
  if (!error.empty()) return BadInput(error);
  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  return o.file.empty() ? SolveFen(o, files, tb) : SolveCollection(o, files, tb);
}

}  // namespace

OSTRAVEL_COMMAND("solve", "solve a directmate (FEN or collection): keys, threats and variations", RunSolve);

}  // namespace ostravel::cli

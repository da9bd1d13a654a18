#include "epd_batch.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "command.h"
#include "config/settings.h"
#include "engine/engine.h"
#include "engine/epd_check.h"
#include "formats_io.h"
#include "interrupt.h"
#include "problems/epd.h"
#include "solution_format.h"

namespace ostravel::cli {

namespace {

struct TBatchOptions {
  std::string file;
  bool jsonLines = false;
  bool quiet = false;
  int threads = 1;
  int defaultMoves = 0;
  double timeLimit = 0;
};

std::string ParseBatchArgs(const std::vector<std::string>& args, TBatchOptions& o) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto number = [&](double lo, double hi, double& v) {
      if (i + 1 >= args.size()) return false;
      try {
        size_t used = 0;
        v = std::stod(args[++i], &used);
        return used == args[i].size() && v >= lo && v <= hi;
      } catch (const std::exception&) {
        return false;
      }
    };
    double v = 0;
    if (a == "--epd") {
      if (i + 1 >= args.size()) return "solve: --epd needs a file (or - for standard input)";
      o.file = args[++i];
    } else if (a == "--json-lines") {
      o.jsonLines = true;
    } else if (a == "--quiet") {
      o.quiet = true;
    } else if (a == "--threads") {
      if (!number(1, 255, v)) return "solve: --threads must be from 1 to 255";
      o.threads = static_cast<int>(v);
    } else if (a == "--mate") {
      static_assert(kMaxStipulationMoves == 125, "the text names the limit");
      if (!number(1, kMaxStipulationMoves, v)) return "solve: --mate must be from 1 to 125";
      o.defaultMoves = static_cast<int>(v);
    } else if (a == "--time-limit") {
      if (!number(0.001, 1e9, v)) return "solve: --time-limit needs seconds";
      o.timeLimit = v;
    } else {
      return "solve: " + a + " does not go with --epd (see --help)";
    }
  }
  return {};
}

}  // namespace

bool IsEpdBatch(const std::vector<std::string>& args) {
  return std::find(args.begin(), args.end(), "--epd") != args.end();
}

const char* EpdBatchHelp() {
  return "EPD batches:\n"
         "  ostravel-cli solve --epd FILE [--json-lines] [--threads T] [--mate N]\n"
         "                     [--time-limit S] [--quiet]\n"
         "solves every EPD line (\"-\": standard input) for all keys of its \"dm N\"\n"
         "(--mate N for lines without dm; Black to move is solved with colours\n"
         "exchanged) and checks the claims: dm is the shortest mate, every bm is a key.\n"
         "One line per position (solved, shorter, wrong_bm, no_mate, error, stopped)\n"
         "and a summary; --json-lines prints one JSON object per position and one\n"
         "{\"summary\": ...} object. --time-limit S stops each position after S seconds.\n"
         "Exit codes: 0 every claim confirmed, 1 broken lines or refused positions,\n"
         "2 a claim was wrong (wrong bm, shorter or no mate) or not settled within the\n"
         "time limit, 130 Ctrl-C.\n";
}

int RunEpdBatch(const std::vector<std::string>& args) {
  TBatchOptions o;
  if (const std::string e = ParseBatchArgs(args, o); !e.empty()) return BadInput(e);
  std::string text;
  try {
    text = ReadInput(o.file);
  } catch (const std::exception& e) {
    return BadInput(std::string("solve: ") + e.what());
  }
  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  const TEpdReadResult epd = ReadEpd(text);

  int counts[6] = {};  // by TEpdOutcome
  int broken = static_cast<int>(epd.errors.size());
  for (const auto& e : epd.errors) {
    if (o.jsonLines) {
      nlohmann::json j{{"line", e.line}, {"status", "error"}, {"message", e.message}};
      PrintJson(j.dump());
    } else {
      std::printf("line %d: error: %s\n", e.line, e.message.c_str());
    }
  }
  std::fflush(stdout);
  std::atomic<bool> interrupt{false};
  InterruptGuard guard(&interrupt);
  const auto t0 = std::chrono::steady_clock::now();
  bool stopped = false;
  TEpdCheckOptions co;
  co.settings = &Settings();
  co.threads = o.threads;
  co.defaultMoves = o.defaultMoves;
  // The command line's own run: progress on a terminal, Ctrl-C and Ctrl-Z.
  TCliRunOptions ro;
  ro.messages = false;
  ro.progress = !o.quiet && !o.jsonLines && isatty(STDERR_FILENO);
  ro.interrupt = &interrupt;
  ro.timeLimit = o.timeLimit;
  const TEpdRunner run = [&ro](const TSolveRequest& r) { return RunOnEngine(r, TEngineTask::kMate, ro); };
  for (const TEpdRecord& rec : epd.records) {
    if (stopped) break;
    nlohmann::json j;
    j["line"] = rec.line;
    if (!rec.id.empty()) j["id"] = rec.id;
    j["fen"] = rec.fen;
    TEpdCheck c = CheckEpdRecord(rec, co, run);
    if (!c.dm) c.message += " (give --mate N for such lines)";
    stopped = c.stoppedByFlag;
    j["dm"] = c.dm;
    if (c.outcome == TEpdOutcome::kError) ++broken;
    ++counts[static_cast<int>(c.outcome)];
    j["status"] = EpdOutcomeName(c.outcome);
    if (!c.message.empty()) j["message"] = c.message;
    j["keys"] = c.keysUci;
    j["keys_san"] = c.keysSan;
    j["mate_in"] = c.mateIn;
    if (!rec.bm.empty()) j["bm"] = c.bmUci;
    j["seconds"] = c.seconds;
    j["nodes"] = c.nodes;
    if (o.jsonLines) {
      PrintJson(j.dump());
    } else {
      std::string keys;
      for (const auto& k : c.keysSan) keys += (keys.empty() ? "" : " ") + k;
      std::printf("line %d: %s dm %d: %s", rec.line, rec.id.empty() ? rec.fen.c_str() : rec.id.c_str(), c.dm,
                  EpdOutcomeName(c.outcome));
      if (!keys.empty()) std::printf(", keys %s", keys.c_str());
      if (c.mateIn) std::printf(" (mate in %d)", c.mateIn);
      if (c.outcome == TEpdOutcome::kWrongBm) {
        std::string b;
        for (const auto& t : rec.bm) b += (b.empty() ? "" : " ") + t;
        std::printf(", bm %s", b.c_str());
      }
      if (!c.message.empty()) std::printf(": %s", c.message.c_str());
      std::printf(", %.2f s\n", c.seconds);
    }
    std::fflush(stdout);
  }
  const double total = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const int positions = static_cast<int>(epd.records.size() + epd.errors.size());
  const int solved = counts[static_cast<int>(TEpdOutcome::kSolved)];
  const int shorter = counts[static_cast<int>(TEpdOutcome::kShorter)];
  const int wrongBm = counts[static_cast<int>(TEpdOutcome::kWrongBm)];
  const int noMate = counts[static_cast<int>(TEpdOutcome::kNoMate)];
  const int halted = counts[static_cast<int>(TEpdOutcome::kStopped)];
  if (o.jsonLines) {
    nlohmann::json s{{"positions", positions}, {"solved", solved},  {"shorter", shorter},
                     {"wrong_bm", wrongBm},    {"no_mate", noMate}, {"errors", broken},
                     {"stopped", halted},      {"seconds", total}};
    PrintJson(nlohmann::json{{"summary", s}}.dump());
  } else {
    std::printf("%d positions: %d solved, %d wrong bm, %d shorter mate, %d no mate, %d errors", positions,
                solved, wrongBm, shorter, noMate, broken);
    if (halted) std::printf(", %d stopped", halted);
    std::printf("; %.2f s\n", total);
  }
  if (stopped) return kExitStopped;
  if (wrongBm || shorter || noMate || halted) return kExitFailure;
  if (broken) return kExitBadInput;
  return kExitOk;
}

}  // namespace ostravel::cli

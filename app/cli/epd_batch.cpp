#include "epd_batch.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "chess/fen.h"
#include "chess/notation.h"
#include "command.h"
#include "config/settings.h"
#include "engine/engine.h"
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

// What one position came to.
enum class TOutcome { kSolved, kShorter, kWrongBm, kNoMate, kError, kStopped };

const char* OutcomeName(TOutcome o) {
  switch (o) {
    case TOutcome::kSolved:
      return "solved";
    case TOutcome::kShorter:
      return "shorter";
    case TOutcome::kWrongBm:
      return "wrong_bm";
    case TOutcome::kNoMate:
      return "no_mate";
    case TOutcome::kError:
      return "error";
    case TOutcome::kStopped:
      return "stopped";
  }
  return "error";
}

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

// The validation message of a position, empty when it is valid.
std::string ValidationError(TChessboard& b) {
  try {
    ValidateAndRecount(b);
  } catch (const ChessException& e) {
    return e.what();
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

  int counts[6] = {};
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
  for (const TEpdRecord& rec : epd.records) {
    if (stopped) break;
    nlohmann::json j;
    j["line"] = rec.line;
    if (!rec.id.empty()) j["id"] = rec.id;
    j["fen"] = rec.fen;
    const int dm = rec.dm ? rec.dm : o.defaultMoves;
    j["dm"] = dm;
    TOutcome outcome = TOutcome::kError;
    std::string message;
    std::vector<std::string> keysSan, keysUci, bmUci;
    int mateIn = 0;
    double seconds = 0;
    uint64_t nodes = 0;
    // The root as the EPD gives it, for the move texts.
    TChessboard root;
    TTaskContext rootCtx;
    TSolveRequest r;
    if (!dm) {
      message = "no dm opcode (give --mate N for such lines)";
    } else if (!FenToBoard(rec.fen, root, rootCtx) || !r.SetFen(rec.fen)) {
      message = "invalid position";
    } else if (message = ValidationError(root); message.empty()) {
      const bool mirrored = !r.whiteToMove;
      // "Black mates" is White's mate with colours exchanged.
      if (mirrored) {
        r.position = MirrorColours(r.position);
        r.whiteToMove = true;
      }
      ApplySettings(r, Settings());
      r.moves = dm;
      r.mode = SolutionMode::kAll;
      r.threads = static_cast<uint8_t>(o.threads);
      r.computeVariations = false;
      r.problemId = static_cast<uint32_t>(rec.line);
      r.title = rec.id.empty() ? rec.fen : rec.id;
      std::vector<TMove> bm;
      for (const auto& t : rec.bm) {
        TMove m;
        if (!ParseAnyMove(root, t, m)) {
          message = "bm " + t + " is no legal move of the position";
          break;
        }
        bm.push_back(m);
        bmUci.push_back(MoveToUci(m));
      }
      if (message.empty()) {
        TCliRunOptions ro;
        ro.messages = false;
        ro.progress = !o.quiet && !o.jsonLines && isatty(STDERR_FILENO);
        ro.interrupt = &interrupt;
        ro.timeLimit = o.timeLimit;
        const TCliRunOutcome out = RunOnEngine(r, TEngineTask::kMate, ro);
        const TSolveResult& res = out.result;
        seconds = res.seconds;
        nodes = res.nodes;
        std::vector<TMove> keys;
        for (const auto& s : res.solutions) {
          const TMove k = mirrored ? MirrorMove(s.key) : s.key;
          keys.push_back(k);
          keysSan.push_back(MoveToSan(root, k));
          keysUci.push_back(MoveToUci(k));
          if (s.mateIn && (!mateIn || s.mateIn < mateIn)) mateIn = s.mateIn;
        }
        const bool bmOk = std::all_of(bm.begin(), bm.end(), [&](const TMove& b) {
          return std::any_of(keys.begin(), keys.end(), [&](const TMove& k) { return k.SameAs(b); });
        });
        if (!out.refusal.empty()) {
          message = out.refusal;
        } else if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed) {
          message = res.message;
        } else if (res.status == TRunStatus::kStopped) {
          outcome = TOutcome::kStopped;
          message = out.interrupted ? "stopped by user" : "time limit reached";
          stopped = out.interrupted;
        } else if (keys.empty()) {
          outcome = TOutcome::kNoMate;
        } else if (!bmOk) {
          outcome = TOutcome::kWrongBm;
        } else if (mateIn && mateIn < dm) {
          outcome = TOutcome::kShorter;
        } else {
          outcome = TOutcome::kSolved;
        }
      }
    }
    if (outcome == TOutcome::kError) ++broken;
    ++counts[static_cast<int>(outcome)];
    j["status"] = OutcomeName(outcome);
    if (!message.empty()) j["message"] = message;
    j["keys"] = keysUci;
    j["keys_san"] = keysSan;
    j["mate_in"] = mateIn;
    if (!rec.bm.empty()) j["bm"] = bmUci;
    j["seconds"] = seconds;
    j["nodes"] = nodes;
    if (o.jsonLines) {
      PrintJson(j.dump());
    } else {
      std::string keys;
      for (const auto& k : keysSan) keys += (keys.empty() ? "" : " ") + k;
      std::printf("line %d: %s dm %d: %s", rec.line, rec.id.empty() ? rec.fen.c_str() : rec.id.c_str(), dm,
                  OutcomeName(outcome));
      if (!keys.empty()) std::printf(", keys %s", keys.c_str());
      if (mateIn) std::printf(" (mate in %d)", mateIn);
      if (outcome == TOutcome::kWrongBm) {
        std::string b;
        for (const auto& t : rec.bm) b += (b.empty() ? "" : " ") + t;
        std::printf(", bm %s", b.c_str());
      }
      if (!message.empty()) std::printf(": %s", message.c_str());
      std::printf(", %.2f s\n", seconds);
    }
    std::fflush(stdout);
  }
  const double total = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const int positions = static_cast<int>(epd.records.size() + epd.errors.size());
  const int solved = counts[static_cast<int>(TOutcome::kSolved)];
  const int shorter = counts[static_cast<int>(TOutcome::kShorter)];
  const int wrongBm = counts[static_cast<int>(TOutcome::kWrongBm)];
  const int noMate = counts[static_cast<int>(TOutcome::kNoMate)];
  const int halted = counts[static_cast<int>(TOutcome::kStopped)];
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

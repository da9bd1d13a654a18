// ostravel-cli bench: solves a table of problems with known keys for all
// keys without heuristics and prints time, nodes and speed per problem.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <set>
#include <thread>

#include "chess/fen.h"
#include "chess/notation.h"
#include "command.h"
#include "config/settings.h"
#include "engine/mate_search.h"
#include "engine/threads.h"
#include "interrupt.h"
#include "problems/reference_table.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli bench [--file F] [--threads T] [--only-incomplete] [--time-limit S]\n"
      "                          [--max-moves N] [--id ID]\n\n"
      "Solves every problem of a table (columns id, fen, n, keys[, complete, ...]) for all\n"
      "keys without heuristics and prints, per problem, the seconds, nodes, nodes/s and\n"
      "whether the keys found match the listed ones, then the totals.\n\n"
      "  --file F            the table (default ../shared/data/bench.tsv)\n"
      "  --threads T         search threads per level (default 1)\n"
      "  --levels L          multithreading levels (default 1)\n"
      "  --only-incomplete   only rows whose key set is not known to be complete\n"
      "                      (their listed keys must be among those found)\n"
      "  --time-limit S      give up a problem after S seconds (counted as a timeout)\n"
      "  --max-moves N       skip problems longer than #N\n"
      "  --id ID             only the problem with this id (may be repeated)\n\n"
      "Exit code 0 when every finished problem gave the expected keys, 2 otherwise.\n");
}

int RunBench(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::string file = "../shared/data/bench.tsv";
  int threads = 1, levels = 1, maxMoves = 1000;
  double timeLimit = 0;
  bool onlyIncomplete = false;
  std::set<std::string> ids;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto next = [&]() -> const std::string* { return i + 1 < args.size() ? &args[++i] : nullptr; };
    try {
      if (a == "--file") {
        auto v = next();
        if (!v) return BadInput("bench: --file needs a path");
        file = *v;
      } else if (a == "--threads") {
        auto v = next();
        if (!v) return BadInput("bench: --threads needs a number");
        threads = std::stoi(*v);
        if (threads < 1 || threads > 255) return BadInput("bench: --threads must be from 1 to 255");
      } else if (a == "--levels") {
        auto v = next();
        if (!v) return BadInput("bench: --levels needs a number");
        levels = std::stoi(*v);
      } else if (a == "--time-limit") {
        auto v = next();
        if (!v) return BadInput("bench: --time-limit needs seconds");
        timeLimit = std::stod(*v);
      } else if (a == "--max-moves") {
        auto v = next();
        if (!v) return BadInput("bench: --max-moves needs a number");
        maxMoves = std::stoi(*v);
      } else if (a == "--id") {
        auto v = next();
        if (!v) return BadInput("bench: --id needs an id");
        ids.insert(*v);
      } else if (a == "--only-incomplete") {
        onlyIncomplete = true;
      } else {
        return BadInput("bench: unknown argument " + a + " (see --help)");
      }
    } catch (const std::exception&) {
      return BadInput("bench: bad number after " + a);
    }
  }
  bool adjusted = false;
  levels = AdjustLevels(levels, 1, &adjusted);
  if (adjusted) std::fprintf(stderr, "%s\n", kLevelsAdjustedText);
  try {
    ValidateThreadsAndLevels(threads, levels);
  } catch (const std::exception& e) {
    return BadInput(e.what());
  }
  std::vector<TReferenceProblem> table;
  try {
    table = ReadReferenceTable(file);
  } catch (const std::exception& e) {
    return BadInput(std::string("bench: ") + e.what());
  }
  LoadSettings();
  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);

  std::printf("threads %s\n", ThreadLabel(static_cast<size_t>(threads), static_cast<size_t>(levels)).c_str());
  std::printf("%-12s %3s %10s %14s %12s  %s\n", "id", "#n", "seconds", "nodes", "nodes/s", "result");
  double totalSecs = 0;
  uint64_t totalNodes = 0;
  int solved = 0, failed = 0, timeouts = 0;
  for (const auto& p : table) {
    if (interrupted) break;
    if (onlyIncomplete && p.complete) continue;
    if (!ids.empty() && !ids.count(p.id)) continue;
    if (p.moves > maxMoves) continue;
    TTaskContext ctx;
    TChessboard root;
    if (!FenToBoard(p.fen, root, ctx)) {
      std::printf("%-12s invalid FEN\n", p.id.c_str());
      ++failed;
      continue;
    }
    try {
      ValidateAndRecount(root);
    } catch (const ChessException& e) {
      std::printf("%-12s %s\n", p.id.c_str(), e.what());
      ++failed;
      continue;
    }
    SetRootPlies(root, static_cast<uint16_t>(2 * p.moves - 1));
    TSearchSettings st;
    st.mode = SolutionMode::kAll;
    st.threads = threads;
    st.levels = levels;
    st.computeVariations = false;
    TMateSearch search(st);
    const auto t0 = std::chrono::steady_clock::now();
    std::mutex m;
    std::condition_variable cv;
    bool done = false;
    std::thread worker([&] {
      search.FindForcedMate(root, p.moves);
      std::lock_guard<std::mutex> lk(m);
      done = true;
      cv.notify_all();
    });
    {
      std::unique_lock<std::mutex> lk(m);
      while (!done) {
        cv.wait_for(lk, std::chrono::milliseconds(50));
        const double el = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if ((timeLimit > 0 && el > timeLimit) || interrupted) search.RequestStop();
      }
    }
    worker.join();
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const uint64_t nodes = search.Nodes();
    std::set<std::string> found;
    for (const auto& s : search.Solutions()) found.insert(MoveToUci(s.key));
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    std::string verdict;
    if (search.StopRequested()) {
      verdict = "timeout";
      ++timeouts;
    } else {
      const bool ok = p.complete ? found == want
                                 : std::includes(found.begin(), found.end(), want.begin(), want.end());
      std::string keys;
      for (const auto& k : found) keys += (keys.empty() ? "" : ",") + k;
      if (keys.empty()) keys = "none";
      verdict = (ok ? "ok " : "WRONG ") + keys;
      if (ok) ++solved;
      else ++failed;
      totalSecs += secs;
      totalNodes += nodes;
    }
    std::printf("%-12s %3d %10.2f %14llu %12.0f  %s\n", p.id.c_str(), p.moves, secs,
                static_cast<unsigned long long>(nodes), secs > 0 ? nodes / secs : 0.0, verdict.c_str());
    std::fflush(stdout);
  }
  std::printf("total (finished problems): %.2f s, %llu nodes, %.0f nodes/s; %d ok, %d wrong, %d timeouts\n",
              totalSecs, static_cast<unsigned long long>(totalNodes), totalSecs > 0 ? totalNodes / totalSecs : 0.0,
              solved, failed, timeouts);
  if (interrupted) return kExitStopped;
  return failed ? kExitFailure : kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("bench", "solve a table of problems with known keys and print speed figures", RunBench);

}  // namespace ostravel::cli

// ostravel-cli bench: solves a table of problems with known keys for all
// keys without heuristics, through the engine, and prints time, nodes and
// speed per problem, or the node-count signature of the whole table.
#include <atomic>
#include <cstdio>
#include <ctime>
#include <set>

#include "command.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/global_register_probe.h"
#include "engine/threads.h"
#include "interrupt.h"
#include "problems/reference_table.h"
#include "stats_print.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli bench [--file F] [--threads T] [--only-incomplete | --only-complete]\n"
      "                          [--time-limit S] [--max-moves N] [--id ID] [--stats]\n\n"
      "Solves every problem of a table (columns id, fen, n, keys[, complete, reference_s,\n"
      "...]) for all keys without heuristics and prints, per problem, the seconds, the CPU\n"
      "seconds and their ratio to reference_s, nodes, nodes/s and whether the keys found\n"
      "match the listed ones, then the totals.\n\n"
      "  --file F            the table (default ../shared/data/bench.tsv)\n"
      "  --threads T         search threads per level (default 1)\n"
      "  --levels L          multithreading levels (default 1)\n"
      "  --only-complete     only rows whose key set is known to be complete\n"
      "  --only-incomplete   only rows whose key set is not known to be complete\n"
      "                      (their listed keys must be among those found)\n"
      "  --time-limit S      give up a problem after S seconds (counted as a timeout)\n"
      "  --max-moves N       skip problems longer than #N\n"
      "  --id ID             only the problem with this id (may be repeated)\n"
      "  --stats             also count and print, per problem, nodes, register hits and\n"
      "                      stores and cut-offs per ply and the short-mate routines'\n"
      "                      figures (a slower build of the same search)\n"
      "  --signature         print only the total node count of the whole table, one\n"
      "                      thread, one level, no time limit: a change in it flags a\n"
      "                      change in the search's behaviour\n"
      "  --heuristics H      search with special heuristics first (indications such as\n"
      "                      \"FFM(#2) ExtEdge\", heuristic names such as SH_AREKINGSNEAR,\n"
      "                      or auto), relaxed pass by pass, then the\n"
      "                      exact pass; a row counts when its listed keys were found\n"
      "                      and proved within the time limit\n"
      "  --proof-search S    pass 0, a proof-number search for keys, for at most S\n"
      "                      seconds (auto: 30 s from #6, 50 s from #12; 0: none)\n"
      "  --global-register   answer positions of stored types from the global register\n"
      "  --no-global-register  search them (the default)\n\n"
      "Exit code 0 when every finished problem gave the expected keys, 2 otherwise.\n");
}

int RunBench(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::string file = "../shared/data/bench.tsv";
  std::string heuristics;  // --heuristics: indications or auto; empty: exact
  int proofSeconds = -1;   // --proof-search; -1: as the heuristics decide
  int threads = 1, levels = 1, maxMoves = 1000;
  double timeLimit = 0;
  bool onlyIncomplete = false, onlyComplete = false, signature = false, stats = false;
  bool useGlobalRegister = false;
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
      } else if (a == "--proof-search") {
        auto v = next();
        if (!v || (proofSeconds = std::stoi(*v)) < 0) return BadInput("bench: --proof-search needs seconds");
      } else if (a == "--heuristics") {
        auto v = next();
        if (!v) return BadInput("bench: --heuristics needs indications, or auto");
        if (*v != "auto") {
          THeuristicState check;
          std::string error;
          if (!ApplyHeuristicText(*v, check, &error)) return BadInput("bench: --heuristics: " + error);
        }
        heuristics = *v;
      } else if (a == "--signature") {
        signature = true;
      } else if (a == "--global-register" || a == "--no-global-register") {
        useGlobalRegister = a == "--global-register";
      } else if (a == "--stats") {
        stats = true;
      } else if (a == "--only-incomplete") {
        onlyIncomplete = true;
      } else if (a == "--only-complete") {
        onlyComplete = true;
      } else {
        return BadInput("bench: unknown argument " + a + " (see --help)");
      }
    } catch (const std::exception&) {
      return BadInput("bench: bad number after " + a);
    }
  }
  if (signature) {
    // A fixed run: the count depends on the table and the search only.
    threads = levels = 1;
    timeLimit = 0;
    maxMoves = 1000;
    onlyIncomplete = onlyComplete = false;
    ids.clear();
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
  if (signature) {
    std::printf("%llu\n", static_cast<unsigned long long>(BenchSignature(table, Settings().tempRegLimitMB)));
    return kExitOk;
  }
  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);
  std::unique_ptr<CGlobalRegisterProbe> globalRegister;
  if (useGlobalRegister && !(globalRegister = OpenGlobalRegister()))
    std::fprintf(stderr, "bench: no global register data found; searching without\n");

  std::printf("threads %s\n", ThreadLabel(static_cast<size_t>(threads), static_cast<size_t>(levels)).c_str());
  std::printf("%-12s %3s %10s %10s %7s %14s %12s  %s\n", "id", "#n", "seconds", "cpu_s", "ratio", "nodes",
              "nodes/s", "result");
  double totalSecs = 0, totalCpu = 0, totalRef = 0, totalCpuWithRef = 0;
  uint64_t totalNodes = 0;
  int solved = 0, failed = 0, timeouts = 0;
  TBenchOptions bo;
  bo.threads = threads;
  bo.levels = levels;
  bo.timeLimit = timeLimit;
  bo.registerLimitMB = Settings().tempRegLimitMB;
  bo.stop = &interrupted;
  bo.probe = globalRegister.get();
  bo.collectStats = stats;
  bo.heuristics = heuristics;
  bo.proofSearchSeconds = proofSeconds;
  int found = 0, rows = 0;
  for (const auto& p : table) {
    if (interrupted) break;
    if ((onlyIncomplete && p.complete) || (onlyComplete && !p.complete)) continue;
    if (!ids.empty() && !ids.count(p.id)) continue;
    if (p.moves > maxMoves) continue;
    // CPU seconds of the process: the machine may be shared, and the
    // reference column is CPU time too.
    const std::clock_t c0 = std::clock();
    const TBenchRowResult row = BenchRow(p, bo);
    const double cpu = static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC;
    if (!row.refusal.empty()) {
      std::printf("%-12s %s\n", p.id.c_str(), row.refusal.c_str());
      ++failed;
      continue;
    }
    std::string verdict;
    if (!heuristics.empty()) {
      // With heuristics a row counts when its listed keys were found and
      // proved in time; the pass that found each key is shown.
      ++rows;
      std::string keys;
      for (const auto& k : row.keys) keys += (keys.empty() ? "" : ",") + k + "(" + row.keyPass.at(k) + ")";
      for (const auto& k : row.candidates) keys += (keys.empty() ? "" : ",") + k + "(candidate)";
      if (keys.empty()) keys = "none";
      const bool wrong = row.complete && p.complete && !row.ok;
      if (row.listedKeysFound && !wrong) ++found;
      if (wrong) ++failed;
      verdict = std::string(wrong                 ? "WRONG "
                            : row.listedKeysFound ? "found "
                                                  : "missed ") +
                keys +
                (row.complete                  ? " complete"
                 : row.timedOut || row.stopped ? " timeout"
                                               : "");
      totalSecs += row.seconds;
      totalCpu += cpu;
      totalNodes += row.nodes;
    } else if (row.timedOut || row.stopped) {
      verdict = "timeout";
      ++timeouts;
    } else {
      std::string keys;
      for (const auto& k : row.keys) keys += (keys.empty() ? "" : ",") + k;
      if (keys.empty()) keys = "none";
      verdict = (row.ok ? "ok " : "WRONG ") + keys;
      if (row.ok)
        ++solved;
      else
        ++failed;
      totalSecs += row.seconds;
      totalCpu += cpu;
      totalNodes += row.nodes;
      if (p.referenceSeconds > 0) {
        totalRef += p.referenceSeconds;
        totalCpuWithRef += cpu;
      }
    }
    char ratio[32] = "-";
    if (p.referenceSeconds > 0) std::snprintf(ratio, sizeof ratio, "%.3f", cpu / p.referenceSeconds);
    std::printf("%-12s %3d %10.2f %10.2f %7s %14llu %12.0f  %s\n", p.id.c_str(), p.moves, row.seconds, cpu,
                ratio, static_cast<unsigned long long>(row.nodes),
                row.seconds > 0 ? row.nodes / row.seconds : 0.0, verdict.c_str());
    if (stats) PrintSearchStats(row.stats);
    std::fflush(stdout);
  }
  std::printf(
      "total (finished problems): %.2f s (CPU %.2f s), %llu nodes, %.0f nodes/s; %d ok, %d wrong, %d "
      "timeouts\n",
      totalSecs, totalCpu, static_cast<unsigned long long>(totalNodes),
      totalSecs > 0 ? totalNodes / totalSecs : 0.0, solved, failed, timeouts);
  if (!heuristics.empty()) std::printf("listed keys found and proved: %d of %d rows\n", found, rows);
  if (globalRegister) std::printf("%s\n", GlobalRegisterNotice(*globalRegister).c_str());
  if (totalRef > 0)
    std::printf("cpu %.2f s against reference %.2f s: ratio %.3f (finished problems with a reference)\n",
                totalCpuWithRef, totalRef, totalCpuWithRef / totalRef);
  if (interrupted) return SignalExitCode(kExitStopped);
  return failed ? kExitFailure : kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("bench", "solve a table of problems with known keys and print speed figures", RunBench);

}  // namespace ostravel::cli

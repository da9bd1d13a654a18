// ostravel-cli register: saved temporary registers (".tmpReg" files): their
// load report, conversion between the plain and the compressed form, pinning
// to a problem of a collection, and the figures of a resumed analysis.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "chess/notation.h"
#include "command.h"
#include "config/settings.h"
#include "engine/mate_search.h"
#include "interrupt.h"
#include "problems/reference_table.h"
#include "register_options.h"
#include "registers/register_file.h"
#include "registers/register_file_pin.h"
#include "registers/temporary_register.h"

namespace ostravel::cli {
namespace {

namespace fs = std::filesystem;
using TRegisterPtr = std::shared_ptr<TAggregatedTemporaryChessboardRegister>;

void Help() {
  std::printf(
      "Usage: ostravel-cli register stats FILE [--log] [--verbose]\n"
      "       ostravel-cli register convert IN OUT [--compress|--plain] [--limit-mb N]\n"
      "       ostravel-cli register pin COLLECTION.cp K FILE [--plain]\n"
      "       ostravel-cli register unpin COLLECTION.cp K\n"
      "       ostravel-cli register verify FILE [--sample N]\n"
      "       ostravel-cli register bench-resume [--id ID] [--file F] [--threads T] [--fraction X] [--dir "
      "D]\n\n"
      "Saved temporary registers (.tmpReg files, plain or LZ4-compressed).\n\n"
      "  stats          load FILE and print the load report (positions, #n range, counts);\n"
      "                 --log writes TmpRegLoad.log and UncompressedTmpRegLoadData.tmpReg to the\n"
      "                 working folder; --verbose adds the register's own statistics\n"
      "  convert        load IN and save it as OUT, compressed (default) or plain; --limit-mb\n"
      "                 keeps at most N MB, the longest results first\n"
      "  pin            save FILE (a register) as the pinned register of problem K (1-based) of\n"
      "                 the collection, in SavedTmpRegisterData of the data folder, and write its\n"
      "                 //@tmpreg= line; compressed unless --plain\n"
      "  unpin          remove the //@tmpreg= line of problem K (the file stays)\n"
      "  verify         load FILE (checking its integrity) and re-prove by search a sample of N\n"
      "                 (default 20) of its exact records, spread over the file: a mate claim\n"
      "                 must find the mate, a no-mate claim must find none; prints every false\n"
      "                 record and fails (exit 1) when there is one\n"
      "  bench-resume   solve a problem of a table (default mt-133 of ../shared/data/bench.tsv)\n"
      "                 from scratch, again on the register saved by that run, and once stopped\n"
      "                 after X (default 0.5) of the first run's time, saved, loaded and resumed;\n"
      "                 prints times, file sizes and save/load speeds (files go to D, default a\n"
      "                 temporary folder)\n\n"
      "Exit code 0 done, 1 bad input or a bad file, 2 failure.\n");
}

TRegisterPtr NewRegister(uint32_t buckets, bool limited) {
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(
      buckets, limited ? TempRegElementLimit(Settings().tempRegLimitMB, buckets) : 0);
  // A file holds whatever its register held, short results included.
  reg->SetStoreShortResults(true);
  return reg;
}

uint64_t FileBytes(const fs::path& p) {
  std::error_code ec;
  const auto n = fs::file_size(p, ec);
  return ec ? 0 : n;
}

double Mb(uint64_t bytes) {
  return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

double Seconds(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Loads a file into a new register sized for it; prints the error and
// returns null on a bad file.
TRegisterPtr LoadForTool(const std::string& file, bool limited, const TRegisterReadOptions& ro,
                         TRegisterReadResult& r) {
  const uint32_t buckets = LoadBucketCount(SizeFigureForFile(FileBytes(file)), Settings().tempRegLimitMB);
  TRegisterPtr reg = NewRegister(buckets, limited);
  r = ReadRegisterFile(*reg, file, buckets, ro);
  return reg;
}

int Stats(const std::vector<std::string>& args) {
  std::string file;
  bool log = false, verbose = false;
  for (const auto& a : args) {
    if (a == "--log")
      log = true;
    else if (a == "--verbose")
      verbose = true;
    else if (file.empty() && !a.starts_with("--"))
      file = a;
    else
      return BadInput("register stats: unexpected argument " + a);
  }
  if (file.empty()) return BadInput("register stats: which file? (see --help)");
  TRegisterReadOptions ro = RegisterReadOptionsFrom(Settings());
  ro.logged = log;
  TRegisterReadResult r;
  const TRegisterPtr reg = LoadForTool(file, true, ro, r);
  if (!r.completed) {
    if (r.opened && r.stats.totalRecords > 0)
      std::printf("Read before the error:\n%s", r.stats.Text().c_str());
    return BadInput(r.error);
  }
  std::printf("%s\n", r.report.c_str());
  if (verbose) std::printf("\n%s", reg->StatisticsText().c_str());
  return kExitOk;
}

TRegisterSaveOptions SaveOptions(bool compress, uint64_t limitMB) {
  TRegisterSaveOptions o;
  o.compress = compress;
  o.limitMB = limitMB;
  return o;
}

int PrintSave(const TRegisterSaveResult& s) {
  for (const auto& m : s.messages) std::printf("%s\n", m.text.c_str());
  if (s.status == 0) return kExitFailure;
  std::printf("%llu bytes (%s, stream %llu bytes)\n", static_cast<unsigned long long>(s.fileBytes),
              s.compressed ? "compressed" : "plain", static_cast<unsigned long long>(s.streamBytes));
  return kExitOk;
}

int Convert(const std::vector<std::string>& args) {
  std::vector<std::string> files;
  bool compress = true;
  uint64_t limitMB = 0;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--compress") {
      compress = true;
    } else if (a == "--plain") {
      compress = false;
    } else if (a == "--limit-mb") {
      if (i + 1 >= args.size()) return BadInput("register convert: --limit-mb needs a number");
      try {
        limitMB = std::stoull(args[++i]);
      } catch (const std::exception&) {
        return BadInput("register convert: bad number after --limit-mb");
      }
    } else if (!a.starts_with("--")) {
      files.push_back(a);
    } else {
      return BadInput("register convert: unknown argument " + a);
    }
  }
  if (files.size() != 2) return BadInput("register convert: needs IN and OUT (see --help)");
  TRegisterReadResult r;
  // Nothing is dropped on the way: no element limit.
  const TRegisterPtr reg = LoadForTool(files[0], false, {}, r);
  if (!r.completed) return BadInput(r.error);
  std::printf("%s\n\n", r.report.c_str());
  return PrintSave(SaveRegisterFile(*reg, files[1], SaveOptions(compress, limitMB)));
}

bool ParseIndex(const std::string& s, std::size_t& index) {
  try {
    std::size_t used = 0;
    const unsigned long long k = std::stoull(s, &used);
    if (used != s.size() || k == 0) return false;
    index = static_cast<std::size_t>(k - 1);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

int Pin(const std::vector<std::string>& args) {
  std::vector<std::string> pos;
  bool compress = true;
  for (const auto& a : args) {
    if (a == "--plain")
      compress = false;
    else if (!a.starts_with("--"))
      pos.push_back(a);
    else
      return BadInput("register pin: unknown argument " + a);
  }
  std::size_t index = 0;
  if (pos.size() != 3 || !ParseIndex(pos[1], index))
    return BadInput("register pin: needs COLLECTION.cp, a problem number from 1 and a register FILE");
  TRegisterReadResult r;
  const TRegisterPtr reg = LoadForTool(pos[2], false, {}, r);
  if (!r.completed) return BadInput(r.error);
  try {
    const TPinResult p = PinRegister(pos[0], index, *reg, SaveOptions(compress, 0));
    for (const auto& m : p.save.messages) std::printf("%s\n", m.text.c_str());
    std::printf("Pinned to problem %zu as //@tmpreg=%u\n", index + 1, p.number);
  } catch (const std::exception& e) {
    return BadInput(std::string("register pin: ") + e.what());
  }
  return kExitOk;
}

int Unpin(const std::vector<std::string>& args) {
  std::size_t index = 0;
  if (args.size() != 2 || !ParseIndex(args[1], index))
    return BadInput("register unpin: needs COLLECTION.cp and a problem number from 1");
  try {
    const auto was = UnpinRegister(args[0], index);
    if (was)
      std::printf("Problem %zu unpinned from %s\n", index + 1, PinnedRegisterFileName(*was).c_str());
    else
      std::printf("Problem %zu has no pinned register\n", index + 1);
  } catch (const std::exception& e) {
    return BadInput(std::string("register unpin: ") + e.what());
  }
  return kExitOk;
}

// ---------------------------------------------------------------- bench-resume

std::string KeysOf(const TRegisterSolve& s) {
  std::set<std::string> keys;
  for (const auto& sol : s.solutions) keys.insert(MoveToUci(sol.key));
  std::string out;
  for (const auto& k : keys) out += (out.empty() ? "" : ",") + k;
  return out.empty() ? "none" : out;
}

struct TTimedSave {
  TRegisterSaveResult result;
  double seconds;
};

TTimedSave TimedSave(const TAggregatedTemporaryChessboardRegister& reg, const fs::path& path, bool compress) {
  const auto t0 = std::chrono::steady_clock::now();
  TTimedSave s{SaveRegisterFile(reg, path, SaveOptions(compress, 0)), 0};
  s.seconds = Seconds(t0);
  return s;
}

struct TTimedLoad {
  TRegisterPtr reg;
  double seconds;
};

TTimedLoad TimedLoad(const fs::path& path, uint32_t buckets) {
  TTimedLoad l{NewRegister(buckets, true), 0};
  const auto t0 = std::chrono::steady_clock::now();
  const TRegisterReadResult r = ReadRegisterFile(*l.reg, path, buckets, {});
  l.seconds = Seconds(t0);
  if (!r.completed) throw std::runtime_error(r.error);
  return l;
}

void PrintFileFigures(const char* what, const TTimedSave& s, const TTimedLoad& l) {
  std::printf(
      "  %-10s %10.2f MB on disk (stream %.2f MB)  save %.3f s = %7.1f MB/s  load %.3f s = %7.1f MB/s\n",
      what, Mb(s.result.fileBytes), Mb(s.result.streamBytes), s.seconds,
      s.seconds > 0 ? Mb(s.result.streamBytes) / s.seconds : 0.0, l.seconds,
      l.seconds > 0 ? Mb(s.result.streamBytes) / l.seconds : 0.0);
}

int BenchResume(const std::vector<std::string>& args) {
  std::string file = "../shared/data/bench.tsv", id = "mt-133", dir;
  int threads = 1;
  double fraction = 0.5;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (i + 1 >= args.size()) return BadInput("register bench-resume: " + a + " needs a value");
    const std::string& v = args[++i];
    try {
      if (a == "--file")
        file = v;
      else if (a == "--id")
        id = v;
      else if (a == "--dir")
        dir = v;
      else if (a == "--threads")
        threads = std::stoi(v);
      else if (a == "--fraction")
        fraction = std::stod(v);
      else
        return BadInput("register bench-resume: unknown argument " + a);
    } catch (const std::exception&) {
      return BadInput("register bench-resume: bad number after " + a);
    }
  }
  if (threads < 1 || threads > 255 || !(fraction > 0 && fraction < 1))
    return BadInput("register bench-resume: --threads 1..255, --fraction between 0 and 1");
  std::vector<TReferenceProblem> table;
  try {
    table = ReadReferenceTable(file);
  } catch (const std::exception& e) {
    return BadInput(std::string("register bench-resume: ") + e.what());
  }
  const TReferenceProblem* p = nullptr;
  for (const auto& row : table)
    if (row.id == id) p = &row;
  if (!p) return BadInput("register bench-resume: no problem " + id + " in " + file);
  TTaskContext ctx;
  TChessboard root;
  if (!FenToBoard(p->fen, root, ctx)) return BadInput("register bench-resume: invalid FEN of " + id);
  try {
    ValidateAndRecount(root);
  } catch (const ChessException& e) {
    return BadInput(std::string("register bench-resume: ") + e.what());
  }
  const int plies = 2 * p->moves - 1;
  SetRootPlies(root, static_cast<uint16_t>(plies));
  const uint32_t buckets =
      ChooseRegisterBucketCount(static_cast<uint32_t>(plies), Settings().tempRegLimitMB, false);
  fs::path folder = dir.empty()
                        ? fs::temp_directory_path() / ("ostravel-bench-resume-" + std::to_string(::getpid()))
                        : fs::path(dir);
  fs::create_directories(folder);

  TSearchSettings st;
  st.mode = SolutionMode::kAll;
  st.threads = threads;
  st.computeVariations = false;
  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);
  std::printf("%s: #%d, %d thread(s), %u buckets, files in %s\n", id.c_str(), p->moves, threads, buckets,
              folder.c_str());

  // 1. From scratch.
  TRegisterPtr full = NewRegister(buckets, true);
  const TRegisterSolve a = SolveOnRegister(full, root, p->moves, st, 0, &interrupted, false);
  if (a.stopped) return SignalExitCode(kExitStopped);
  std::printf("from scratch:            %8.2f s  %14llu nodes  keys %s  (register %u positions)\n", a.seconds,
              static_cast<unsigned long long>(a.nodes), KeysOf(a).c_str(), full->ElementCount());

  // 2. Its register saved and loaded, plain and compressed.
  const TTimedSave sp = TimedSave(*full, folder / "full-plain.tmpReg", false);
  const TTimedSave sc = TimedSave(*full, folder / "full-lz4.tmpReg", true);
  const TTimedLoad lp = TimedLoad(folder / "full-plain.tmpReg", buckets);
  const TTimedLoad lc = TimedLoad(folder / "full-lz4.tmpReg", buckets);
  std::printf("register files (%u positions saved of %u):\n", lc.reg->ElementCount(), full->ElementCount());
  PrintFileFigures("plain", sp, lp);
  PrintFileFigures("compressed", sc, lc);

  // 3. Solved again on the loaded register.
  const TRegisterSolve b = SolveOnRegister(lc.reg, root, p->moves, st, 0, &interrupted, false);
  if (b.stopped) return SignalExitCode(kExitStopped);
  std::printf("again on loaded register:%8.2f s  %14llu nodes  keys %s  (%.1f%% of the time)\n", b.seconds,
              static_cast<unsigned long long>(b.nodes), KeysOf(b).c_str(), 100.0 * b.seconds / a.seconds);

  // 4. Stopped part way, saved, loaded and resumed.
  TRegisterPtr part = NewRegister(buckets, true);
  const TRegisterSolve c1 =
      SolveOnRegister(part, root, p->moves, st, a.seconds * fraction, &interrupted, false);
  if (interrupted) return SignalExitCode(kExitStopped);
  const TTimedSave s2 = TimedSave(*part, folder / "part-lz4.tmpReg", true);
  const TTimedLoad l2 = TimedLoad(folder / "part-lz4.tmpReg", buckets);
  const TRegisterSolve c2 = SolveOnRegister(l2.reg, root, p->moves, st, 0, &interrupted, false);
  if (c2.stopped) return SignalExitCode(kExitStopped);
  const double total = c1.seconds + s2.seconds + l2.seconds + c2.seconds;
  std::printf(
      "stopped at %.0f%%:          %8.2f s  (%s, %u positions), save %.3f s, load %.3f s (%.2f MB)\n"
      "resumed:                 %8.2f s  %14llu nodes  keys %s\n"
      "interrupted run in all:  %8.2f s  (%.1f%% of the uninterrupted run)\n",
      100 * fraction, c1.seconds, c1.stopped ? "stopped" : "finished first", part->ElementCount(), s2.seconds,
      l2.seconds, Mb(s2.result.fileBytes), c2.seconds, static_cast<unsigned long long>(c2.nodes),
      KeysOf(c2).c_str(), total, 100.0 * total / a.seconds);

  const bool same = KeysOf(a) == KeysOf(b) && KeysOf(a) == KeysOf(c2);
  std::printf("keys %s\n", same ? "identical in all runs" : "DIFFER");
  if (dir.empty()) {
    std::error_code ec;
    fs::remove_all(folder, ec);
  }
  return same ? kExitOk : kExitFailure;
}

// Re-proves a sample of a file's exact records by a search on a fresh
// register: a register is a proof cache, and a false record is a wrong answer
// waiting to happen.
int Verify(const std::vector<std::string>& args) {
  std::string file;
  uint64_t sample = 20;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--sample" && i + 1 < args.size()) {
      const std::string& v = args[++i];
      if (v.empty() || v.size() > 9 || v.find_first_not_of("0123456789") != std::string::npos || v == "0")
        return BadInput("register verify: --sample needs a whole number above 0");
      sample = std::stoull(v);
    } else if (file.empty() && !args[i].starts_with("--")) {
      file = args[i];
    } else {
      return BadInput("register verify: unexpected argument " + TextForMessage(args[i]));
    }
  }
  if (file.empty()) return BadInput("register verify: which file? (see --help)");
  TRegisterReadResult r;
  const TRegisterPtr reg = LoadForTool(file, false, RegisterReadOptionsFrom(Settings()), r);
  if (!r.completed) return BadInput(r.error);
  if (!r.warning.empty()) std::fprintf(stderr, "%s\n", r.warning.c_str());
  std::vector<TRegisterRecord> records;
  reg->ForEachRecordOf(0, [&](uint64_t, const TRegisterRecord& rec) {
    records.push_back(rec);
    return true;
  });
  const uint64_t step = std::max<uint64_t>(1, records.size() / sample);
  TSearchSettings st;
  st.mode = SolutionMode::kSingle;
  st.computeVariations = false;
  std::atomic<bool> interrupted{false};
  InterruptGuard guard(&interrupted);
  uint64_t checked = 0, falseOnes = 0;
  for (uint64_t k = 0; k < records.size() && checked < sample; k += step, ++checked) {
    const TRegisterRecord& rec = records[k];
    const std::string fen = RecordFen(rec.board);
    // The claims: mate within the first count, none within the second.
    struct TClaim {
      uint16_t plies;
      bool mate;
    };
    std::vector<TClaim> claims;
    if (rec.nMovesMate) claims.push_back({rec.nMovesMate, true});
    if (rec.nMovesNoMate) claims.push_back({rec.nMovesNoMate, false});
    for (const TClaim& c : claims) {
      TTaskContext ctx;
      TChessboard root;
      bool holds = false;
      std::string why;
      if (FenToBoard(fen, root, ctx)) {
        try {
          ValidateAndRecount(root);
          SetRootPlies(root, c.plies);
          TRegisterPtr fresh = NewRegister(16384, false);
          const TRegisterSolve s =
              SolveOnRegister(fresh, root, (c.plies + 1) / 2, st, 0, &interrupted, false);
          if (s.stopped) return kExitStopped;
          holds = c.mate ? s.result == kResMate : s.result == kResNoMate;
        } catch (const ChessException& e) {
          why = std::string(" (") + e.what() + ")";
        }
      }
      if (!holds) {
        ++falseOnes;
        std::printf("FALSE  %s  %s in %d move(s)%s\n", fen.c_str(), c.mate ? "mate" : "no mate",
                    (c.plies + 1) / 2, why.c_str());
      }
    }
  }
  std::printf("%llu of %zu exact records re-proved, %llu false\n", static_cast<unsigned long long>(checked),
              records.size(), static_cast<unsigned long long>(falseOnes));
  return falseOnes ? kExitBadInput : kExitOk;
}

int RunRegister(const std::vector<std::string>& args) {
  if (args.empty() || WantsHelp(args)) {
    Help();
    return args.empty() ? kExitBadInput : kExitOk;
  }
  const std::string sub = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  LoadSettings();
  if (sub == "stats") return Stats(rest);
  if (sub == "convert") return Convert(rest);
  if (sub == "pin") return Pin(rest);
  if (sub == "unpin") return Unpin(rest);
  if (sub == "bench-resume") return BenchResume(rest);
  if (sub == "verify") return Verify(rest);
  return BadInput("register: unknown sub-command " + sub + " (see --help)");
}

}  // namespace

OSTRAVEL_COMMAND("register", "saved temporary registers: load report, convert, pin, resume figures",
                 RunRegister);

}  // namespace ostravel::cli

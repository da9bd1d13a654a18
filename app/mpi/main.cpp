// ostravel-mpi: one directmate solved by the processes of an MPI job. Rank 0
// builds the root's work units and hands them out one at a time to whichever
// rank asks (itself included); every rank solves its unit with its own engine,
// threads and register, shares its long proved bounds, and sends back the
// unit's keys, which rank 0 prints in the order one run would.
#include <mpi.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "chess/notation.h"
#include "config/settings.h"
#include "engine/engine.h"
#include "engine/global_register_probe.h"
#include "engine/run_texts.h"
#include "engine/solution_text.h"
#include "engine/work_units.h"
#include "problems/problem.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel::mpi {
namespace {

enum TTag : int {
  kTagReady = 1,  // worker -> 0: give me a unit
  kTagUnit,       // 0 -> worker: unit index and move
  kTagNone,       // 0 -> worker: no more units; save and finish
  kTagStop,       // 0 -> worker: stop the unit under way; save and finish
  kTagResult,     // worker -> 0: a unit's outcome (JSON)
  kTagBounds,     // both ways: a batch of proved bounds
  kTagError,      // worker -> 0: the rank failed (text)
  kTagDone,       // worker -> 0: finished; the register save's report (JSON)
  kTagProgress,   // worker -> 0: the unit under way, its nodes and seconds (JSON)
};

constexpr int kExitOk = 0, kExitBadInput = 1, kExitFailure = 2, kExitStopped = 130;
// Bounds travel in pieces of this many bytes (16384 records).
constexpr size_t kBoundsPiece = 16384 * sizeof(TRegisterRecord);

std::atomic<bool> g_stop{false};
extern "C" void OnStopSignal(int) {
  g_stop.store(true);
}

void Help() {
  std::printf(
      "Usage: mpirun -np K ostravel-mpi solve --fen \"<FEN>\" --mate N [options]\n\n"
      "Solves a directmate with K processes (on one machine or several): the root's\n"
      "candidate keys are the units of work, handed out one at a time to the rank that\n"
      "asks (rank 0 solves units too). Keys, threats and variations are the same as\n"
      "'ostravel-cli solve' prints; \"no further key\" only when every unit is done.\n\n"
      "  --threads T             search threads of each rank (default 1)\n"
      "  --levels L              multithreading levels of each rank, 1 to 64 (default:\n"
      "                          the setting); with 2 a rank's threads split the unit's\n"
      "                          replies instead of meeting on its one root move\n"
      "  --time-limit S          stop every rank after S seconds\n"
      "  --no-global-register    search the positions of stored types instead of\n"
      "                          answering them from each machine's precalculated data\n"
      "  --share-plies P         share proved bounds of at least P plies with the\n"
      "                          other ranks (default 7; 0: share nothing)\n"
      "  --save-register PREFIX  each rank saves its register to PREFIX.rank<r>.tmpReg\n"
      "                          at the end (also when stopped)\n"
      "  --load-register PREFIX  each rank loads PREFIX.rank<r>.tmpReg first (resume)\n"
      "  --json                  one JSON object on stdout\n"
      "  --progress S            every S seconds a line on stderr with each rank's unit,\n"
      "                          its seconds and nodes\n"
      "  --quiet                 no line per finished unit on stderr\n\n"
      "Ctrl-C or SIGTERM at rank 0 (or SIGUSR1 to mpirun, which passes it to every\n"
      "rank) stops every rank. Exit codes: 0 completed, 1 bad input, 2 a rank failed\n"
      "or a register could not be saved, 130 stopped.\n");
}

struct TOptions {
  std::string fen;
  int moves = 0;
  int threads = 1;
  int levels = 0;  // 0: the setting
  double timeLimit = 0;
  double progress = 0;  // seconds between progress lines; 0: none
  int sharePlies = 7;
  bool globalRegister = true;  // answer stored position types when the data folder has them
  std::string savePrefix, loadPrefix;
  bool json = false, quiet = false;
  int failRank = -1;  // a test hook: this rank throws on its first unit
};

bool ParseNumber(const std::string& s, double lo, double hi, double& out) {
  try {
    size_t used = 0;
    out = std::stod(s, &used);
    return used == s.size() && out >= lo && out <= hi;
  } catch (const std::exception&) {
    return false;
  }
}

std::string ParseArgs(int argc, char** argv, TOptions& o) {
  if (argc < 2 || std::string(argv[1]) != "solve") return "the command is 'solve' (see --help)";
  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    const bool hasValue = i + 1 < argc;
    const std::string v = hasValue ? argv[i + 1] : "";
    double n = 0;
    auto number = [&](double lo, double hi) {
      ++i;
      return hasValue && ParseNumber(v, lo, hi, n);
    };
    // Counts take whole numbers only: 2.7 threads is a typing error, not 2.
    auto count = [&](double lo, double hi) { return number(lo, hi) && n == static_cast<int>(n); };
    if (a == "--fen" && hasValue) {
      o.fen = v;
      ++i;
    } else if (a == "--mate") {
      if (!count(1, kMaxStipulationMoves)) return "--mate must be from 1 to 125";
      o.moves = static_cast<int>(n);
    } else if (a == "--threads") {
      if (!count(1, 255)) return "--threads must be from 1 to 255";
      o.threads = static_cast<int>(n);
    } else if (a == "--levels") {
      if (!count(1, 64)) return "--levels must be from 1 to 64";
      o.levels = static_cast<int>(n);
    } else if (a == "--time-limit") {
      if (!number(0, 1e9)) return "--time-limit needs seconds";
      o.timeLimit = n;
    } else if (a == "--progress") {
      if (!number(0.1, 1e6)) return "--progress needs seconds";
      o.progress = n;
    } else if (a == "--no-global-register") {
      o.globalRegister = false;
    } else if (a == "--share-plies") {
      if (!count(0, 1000)) return "--share-plies needs a number of plies";
      o.sharePlies = static_cast<int>(n);
    } else if (a == "--save-register" && hasValue) {
      o.savePrefix = v;
      ++i;
    } else if (a == "--load-register" && hasValue) {
      o.loadPrefix = v;
      ++i;
    } else if (a == "--test-fail-rank") {
      if (!count(0, 1e6)) return "--test-fail-rank needs a rank";
      o.failRank = static_cast<int>(n);
    } else if (a == "--json") {
      o.json = true;
    } else if (a == "--quiet") {
      o.quiet = true;
    } else {
      return "unknown or incomplete argument " + a + " (see --help)";
    }
  }
  if (o.fen.empty()) return "--fen \"<FEN>\" is required";
  if (!o.moves) return "--mate must be from 1 to 125";
  return {};
}

std::string RankFile(const std::string& prefix, int rank) {
  return prefix + ".rank" + std::to_string(rank) + ".tmpReg";
}

// ---------------------------------------------------------------- messages

std::string Receive(const MPI_Status& probed) {
  int count = 0;
  MPI_Get_count(&probed, MPI_CHAR, &count);
  std::string data(static_cast<size_t>(count), '\0');
  MPI_Recv(data.data(), count, MPI_CHAR, probed.MPI_SOURCE, probed.MPI_TAG, MPI_COMM_WORLD,
           MPI_STATUS_IGNORE);
  return data;
}

// Sends without waiting: two ranks sending large batches to each other at
// once must not each wait for the other to receive.
class TOutbox {
 public:
  void Send(int dest, int tag, std::string data) {
    auto& m = pending_.emplace_back();
    m.data = std::move(data);
    MPI_Isend(m.data.data(), static_cast<int>(m.data.size()), MPI_CHAR, dest, tag, MPI_COMM_WORLD,
              &m.request);
  }
  void Progress() {
    for (auto it = pending_.begin(); it != pending_.end();) {
      int done = 0;
      MPI_Test(&it->request, &done, MPI_STATUS_IGNORE);
      it = done ? pending_.erase(it) : std::next(it);
    }
  }
  void Drain() {
    for (auto& m : pending_) MPI_Wait(&m.request, MPI_STATUS_IGNORE);
    pending_.clear();
  }

 private:
  struct TMessage {
    std::string data;
    MPI_Request request;
  };
  std::list<TMessage> pending_;  // a list: the buffers must not move
};

void SendBounds(TOutbox& out, int dest, const std::string& batch) {
  for (size_t at = 0; at < batch.size(); at += kBoundsPiece)
    out.Send(dest, kTagBounds, batch.substr(at, kBoundsPiece));
}

std::string MoveWire(int index, const TMove& m) {
  nlohmann::json j;
  j["unit"] = index;
  j["move"] = {m.from, m.to, m.promotion, m.enPassant};
  return j.dump();
}

// ---------------------------------------------------------------- one rank's solver

struct TUnitOutcome {
  int unit = -1;
  bool completed = false;
  std::vector<TSolution> solutions;
  uint64_t nodes = 0;
  double seconds = 0;

  std::string Wire() const {
    nlohmann::json j;
    j["unit"] = unit;
    j["completed"] = completed;
    j["nodes"] = nodes;
    j["seconds"] = seconds;
    j["solutions"] = SerializeSolutions(solutions);
    return j.dump();
  }
  static TUnitOutcome FromWire(const std::string& s) {
    const nlohmann::json j = nlohmann::json::parse(s);
    TUnitOutcome o;
    o.unit = j.at("unit").get<int>();
    o.completed = j.at("completed").get<bool>();
    o.nodes = j.at("nodes").get<uint64_t>();
    o.seconds = j.at("seconds").get<double>();
    if (!DeserializeSolutions(j.at("solutions").get<std::string>(), o.solutions))
      throw std::runtime_error("a unit's keys arrived damaged");
    return o;
  }
};

// One engine and one register, kept over the units this rank solves: what
// one unit proves serves the next.
class TRankSolver {
 public:
  TRankSolver(const TSolveRequest& base, const TOptions& o, int rank)
      : base_(base),
        bounds_(std::max(1, o.sharePlies)),
        share_(o.sharePlies > 0),
        rank_(rank),
        failRank_(o.failRank) {
    reg_ = MakeRunRegister(base.moves, true, base.registerLimitMB);
    base_.reg = reg_;
    // Each machine answers from its own data folder; the answers are exact,
    // so ranks with and without data agree.
    if (o.globalRegister && (global_ = OpenGlobalRegister())) base_.probe = global_.get();
  }

  // Loads this rank's file of an earlier run; returns the report, or throws.
  std::string Load(const std::string& prefix) {
    const std::string path = RankFile(prefix, rank_);
    if (!std::filesystem::exists(path))
      return "rank " + std::to_string(rank_) + ": no " + path + ", starting empty";
    const TRegisterReadResult r = ReadRegisterFile(*reg_, path, reg_->BucketCount());
    if (!r.completed) throw std::runtime_error("cannot load " + path + ": " + r.error);
    return "rank " + std::to_string(rank_) + ": loaded " + path + " (" +
           std::to_string(reg_->ElementCount()) + " positions)";
  }
  // Saves the register; returns a report, throws when the file cannot be written.
  std::string Save(const std::string& prefix) {
    const std::string path = RankFile(prefix, rank_);
    const TRegisterSaveResult r = SaveRegisterFile(*reg_, path);
    if (r.status == 0) throw std::runtime_error(r.error);
    return "rank " + std::to_string(rank_) + ": saved " + path;
  }

  void Start(int index, const TMove& m) {
    if (rank_ == failRank_) throw std::runtime_error("failure requested by --test-fail-rank");
    TSolveRequest r = base_;
    r.rootMoves = {m};
    const std::string refusal = engine_.Start(r, {});
    if (!refusal.empty()) throw std::runtime_error(refusal);
    unit_ = index;
  }
  bool Busy() const { return unit_ >= 0; }
  // The unit under way (-1: none), its nodes and seconds.
  nlohmann::json Progress() const {
    nlohmann::json j;
    j["unit"] = unit_;
    if (Busy()) {
      const TProgressSnapshot p = engine_.Snapshot();
      j["nodes"] = p.nodes;
      j["seconds"] = p.seconds;
    }
    return j;
  }
  bool Ended() { return Busy() && engine_.WaitFor(std::chrono::milliseconds(0)); }
  void Stop() {
    if (Busy()) engine_.RequestStop();
  }
  TUnitOutcome Finish() {
    engine_.Wait();
    const TSolveResult& res = engine_.Result();
    if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed)
      throw std::runtime_error(res.message);
    TUnitOutcome o;
    o.unit = unit_;
    o.completed = res.status == TRunStatus::kCompleted;
    o.solutions = res.solutions;
    o.nodes = res.nodes;
    o.seconds = res.seconds;
    unit_ = -1;
    return o;
  }
  // The bounds proved since the last call worth sending to the others.
  std::string NewBounds() { return share_ ? bounds_.NewBatch(*reg_) : std::string(); }
  void MergeBounds(const std::string& batch) {
    if (bounds_.Merge(*reg_, batch) < 0) throw std::runtime_error("a batch of shared bounds arrived damaged");
  }

 private:
  TSolveRequest base_;
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg_;
  std::unique_ptr<CGlobalRegisterProbe> global_;
  TSharedBounds bounds_;
  bool share_;  // --share-plies 0: this rank sends nothing (it still merges what comes)
  TEngine engine_;
  int rank_;
  int failRank_;
  int unit_ = -1;
};

void Pause() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// ---------------------------------------------------------------- ranks above 0

void RunWorker(TRankSolver& solver, const TOptions& o) {
  TOutbox out;
  std::vector<std::string> reports;
  if (!o.loadPrefix.empty()) reports.push_back(solver.Load(o.loadPrefix));
  out.Send(0, kTagReady, {});
  bool final = false;
  auto lastProgress = std::chrono::steady_clock::now();
  auto finishUnit = [&](bool shareBounds) {
    TUnitOutcome u = solver.Finish();
    if (shareBounds)
      if (const std::string b = solver.NewBounds(); !b.empty()) SendBounds(out, 0, b);
    out.Send(0, kTagResult, u.Wire());
  };
  for (;;) {
    bool active = false;
    // A signal reaching this rank (mpirun passes SIGTERM on) stops its unit;
    // rank 0 hears of it from the unit's outcome and stops the others.
    if (g_stop.load()) solver.Stop();
    if (solver.Ended()) {
      finishUnit(!g_stop.load());
      active = true;
    }
    int flag = 0;
    MPI_Status st;
    MPI_Iprobe(0, MPI_ANY_TAG, MPI_COMM_WORLD, &flag, &st);
    if (flag) {
      active = true;
      const std::string data = Receive(st);
      if (st.MPI_TAG == kTagUnit) {
        const nlohmann::json j = nlohmann::json::parse(data);
        TMove m;
        m.from = j["move"][0];
        m.to = j["move"][1];
        m.promotion = j["move"][2];
        m.enPassant = j["move"][3];
        solver.Start(j["unit"].get<int>(), m);
      } else if (st.MPI_TAG == kTagBounds) {
        solver.MergeBounds(data);
      } else if (st.MPI_TAG == kTagStop || st.MPI_TAG == kTagNone) {
        if (solver.Busy()) {
          solver.Stop();
          finishUnit(false);
        }
        final = true;
      }
    }
    if (final) break;
    if (o.progress > 0 && solver.Busy() &&
        std::chrono::steady_clock::now() - lastProgress >= std::chrono::duration<double>(o.progress / 2)) {
      lastProgress = std::chrono::steady_clock::now();
      out.Send(0, kTagProgress, solver.Progress().dump());
    }
    out.Progress();
    if (!active) Pause();
  }
  nlohmann::json done;
  if (!o.savePrefix.empty()) {
    try {
      reports.push_back(solver.Save(o.savePrefix));
    } catch (const std::exception& e) {
      done["saveError"] = e.what();
    }
  }
  done["reports"] = reports;
  out.Send(0, kTagDone, done.dump());
  out.Drain();
}

// ---------------------------------------------------------------- rank 0

struct TCoordinator {
  explicit TCoordinator(const TOptions& o) : opt(o) {}
  const TOptions& opt;
  std::vector<TMove> units;
  std::vector<std::string> unitTexts;

  size_t next = 0;
  std::vector<std::optional<TUnitOutcome>> outcomes;
  // Per worker rank: told to finish (none or stop), and finished.
  std::vector<bool> told, done;
  bool stopping = false;
  bool saveFailed = false;
  uint64_t nodes = 0;
  std::vector<nlohmann::json> rankProgress;  // the last word of each rank
  uint64_t boundsIn = 0, boundsOut = 0;      // records received from workers, records rank 0 sent
  std::vector<std::string> reports;

  void Note(const TUnitOutcome& u, int rank) {
    nodes += u.nodes;
    if (!opt.quiet && !opt.json)
      std::fprintf(stderr, "unit %d/%zu %s: rank %d, %zu key(s), %.2f s%s\n", u.unit + 1, units.size(),
                   unitTexts[static_cast<size_t>(u.unit)].c_str(), rank, u.solutions.size(), u.seconds,
                   u.completed ? "" : " (stopped)");
    if (u.completed)
      outcomes[static_cast<size_t>(u.unit)] = u;
    else
      stopping = true;  // a rank was stopped by a signal: the run ends
  }
};

int RunCoordinator(TRankSolver& solver, const TSolveRequest& request, const TOptions& o, int ranks) {
  const auto t0 = std::chrono::steady_clock::now();
  TCoordinator c(o);
  c.units = RootWorkUnits(request);
  {
    TChessboard root;
    TTaskContext ctx;
    ProblemOfRequest(request).MakeRoot(root, ctx, true);
    for (const TMove& m : c.units) c.unitTexts.push_back(MoveToText(root, m));
  }
  c.outcomes.resize(c.units.size());
  c.told.assign(static_cast<size_t>(ranks), false);
  c.done.assign(static_cast<size_t>(ranks), false);
  c.rankProgress.assign(static_cast<size_t>(ranks), nlohmann::json());
  auto lastProgress = t0;
  // One line for all ranks: the unit each solves, its seconds and nodes.
  auto printProgress = [&]() {
    c.rankProgress[0] = solver.Progress();
    std::string line =
        "progress: " + std::to_string(c.next) + "/" + std::to_string(c.units.size()) + " units given";
    for (int w = 0; w < ranks; ++w) {
      const nlohmann::json& p = c.rankProgress[static_cast<size_t>(w)];
      line += " | rank " + std::to_string(w) + ": ";
      const int unit = p.is_object() ? p.value("unit", -1) : -1;
      if (unit < 0) {
        line += "idle";
        continue;
      }
      char buf[96];
      std::snprintf(buf, sizeof buf, "%s %.1f s %.1f Mn", c.unitTexts[static_cast<size_t>(unit)].c_str(),
                    p.value("seconds", 0.0), static_cast<double>(p.value("nodes", uint64_t{0})) / 1e6);
      line += buf;
    }
    std::fprintf(stderr, "%s\n", line.c_str());
  };
  c.told[0] = c.done[0] = true;
  if (!o.loadPrefix.empty()) c.reports.push_back(solver.Load(o.loadPrefix));
  if (!o.json) {
    std::printf("%zu candidate key(s) over %d rank(s)\n", c.units.size(), ranks);
    if (c.units.size() < static_cast<size_t>(ranks))
      std::printf("Fewer candidates than ranks: %zu rank(s) stay idle\n", ranks - c.units.size());
    std::fflush(stdout);
  }
  TOutbox out;
  auto shareToOthers = [&](const std::string& batch, int from) {
    if (batch.empty()) return;
    for (int w = 1; w < ranks; ++w)
      if (w != from && !c.told[static_cast<size_t>(w)]) {
        SendBounds(out, w, batch);
        c.boundsOut += batch.size() / sizeof(TRegisterRecord);
      }
  };
  auto stopAll = [&]() {
    c.stopping = true;
    solver.Stop();
    for (int w = 1; w < ranks; ++w)
      if (!c.told[static_cast<size_t>(w)]) {
        out.Send(w, kTagStop, {});
        c.told[static_cast<size_t>(w)] = true;
      }
  };
  auto giveNext = [&](int w) {
    if (!c.stopping && c.next < c.units.size()) {
      out.Send(w, kTagUnit, MoveWire(static_cast<int>(c.next), c.units[c.next]));
      c.rankProgress[static_cast<size_t>(w)] = {{"unit", static_cast<int>(c.next)}};
      ++c.next;
    } else {
      out.Send(w, kTagNone, {});
      c.told[static_cast<size_t>(w)] = true;
    }
  };
  auto allDone = [&]() {
    for (int w = 1; w < ranks; ++w)
      if (!c.done[static_cast<size_t>(w)]) return false;
    return !solver.Busy() && (c.stopping || c.next >= c.units.size());
  };

  while (!allDone()) {
    bool active = false;
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (!c.stopping && (g_stop.load() || (o.timeLimit > 0 && elapsed >= o.timeLimit))) stopAll();
    if (c.stopping) solver.Stop();
    if (o.progress > 0 &&
        std::chrono::steady_clock::now() - lastProgress >= std::chrono::duration<double>(o.progress)) {
      lastProgress = std::chrono::steady_clock::now();
      printProgress();
    }
    // Rank 0's own share of the work.
    if (solver.Ended()) {
      const TUnitOutcome u = solver.Finish();
      c.Note(u, 0);
      if (c.stopping) stopAll();
      shareToOthers(solver.NewBounds(), 0);
      active = true;
    }
    if (!solver.Busy() && !c.stopping && c.next < c.units.size()) {
      solver.Start(static_cast<int>(c.next), c.units[c.next]);
      ++c.next;
      active = true;
    }
    int flag = 0;
    MPI_Status st;
    MPI_Iprobe(MPI_ANY_SOURCE, MPI_ANY_TAG, MPI_COMM_WORLD, &flag, &st);
    if (flag) {
      active = true;
      const int w = st.MPI_SOURCE;
      const std::string data = Receive(st);
      switch (st.MPI_TAG) {
        case kTagError:
          std::fflush(stdout);
          std::fprintf(stderr, "ostravel-mpi: rank %d failed: %s\n", w, data.c_str());
          std::fprintf(stderr, "ostravel-mpi: the run ends without a result\n");
          solver.Stop();
          MPI_Abort(MPI_COMM_WORLD, kExitFailure);
          return kExitFailure;
        case kTagReady:
          if (!c.told[static_cast<size_t>(w)]) giveNext(w);
          break;
        case kTagResult:
          c.Note(TUnitOutcome::FromWire(data), w);
          c.rankProgress[static_cast<size_t>(w)] = nlohmann::json();
          if (c.stopping) stopAll();
          if (!c.told[static_cast<size_t>(w)]) giveNext(w);
          break;
        case kTagProgress:
          c.rankProgress[static_cast<size_t>(w)] = nlohmann::json::parse(data);
          break;
        case kTagBounds:
          solver.MergeBounds(data);
          c.boundsIn += data.size() / sizeof(TRegisterRecord);
          shareToOthers(data, w);
          break;
        case kTagDone: {
          c.done[static_cast<size_t>(w)] = true;
          const nlohmann::json j = nlohmann::json::parse(data);
          for (const auto& r : j.value("reports", std::vector<std::string>{})) c.reports.push_back(r);
          if (j.contains("saveError")) {
            std::fprintf(stderr, "ostravel-mpi: rank %d: %s\n", w, j["saveError"].get<std::string>().c_str());
            c.saveFailed = true;
          }
          break;
        }
        default:
          break;
      }
    }
    out.Progress();
    if (!active) Pause();
  }
  out.Drain();
  if (!o.savePrefix.empty()) {
    try {
      c.reports.push_back(solver.Save(o.savePrefix));
    } catch (const std::exception& e) {
      std::fprintf(stderr, "ostravel-mpi: rank 0: %s\n", e.what());
      c.saveFailed = true;
    }
  }

  // The run's result as one run would report it.
  size_t completed = 0;
  std::vector<std::vector<TSolution>> keys;
  for (const auto& u : c.outcomes)
    if (u) {
      ++completed;
      keys.push_back(u->solutions);
    }
  TSolveResult res;
  res.solutions = MergeUnitSolutions(request, keys);
  res.solutionCount = static_cast<int>(res.solutions.size());
  res.status = completed == c.units.size() ? TRunStatus::kCompleted : TRunStatus::kStopped;
  res.stoppedByUser = res.status == TRunStatus::kStopped;
  res.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  res.nodes = c.nodes;
  res.mode = request.mode;
  const std::string endText = EndText(request, res);
  if (!o.quiet && !o.json)
    std::fprintf(stderr, "shared bounds: %llu record(s) from the workers, %llu sent on by rank 0\n",
                 static_cast<unsigned long long>(c.boundsIn), static_cast<unsigned long long>(c.boundsOut));
  if (o.json) {
    nlohmann::json j;
    j["fen"] = o.fen;
    j["stipulation"] = "#" + std::to_string(request.moves);
    j["status"] = res.status == TRunStatus::kCompleted ? "completed" : "stopped";
    j["seconds"] = res.seconds;
    j["nodes"] = res.nodes;
    j["ranks"] = ranks;
    j["units"] = c.units.size();
    j["units_completed"] = completed;
    j["solutions"] = nlohmann::json::array();
    for (const auto& s : res.solutions)
      j["solutions"].push_back({{"key", s.keyText},
                                {"uci", MoveToUci(s.key)},
                                {"mate_in", s.mateIn},
                                {"check", s.keyChecks},
                                {"threat", s.threat},
                                {"threat_mate_in", s.threatIn}});
    j["text"] = SolutionsText(res.solutions, request.languageId);
    j["end_text"] = endText;
    j["registers"] = c.reports;
    j["shared_bounds_in"] = c.boundsIn;
    j["shared_bounds_out"] = c.boundsOut;
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    for (const auto& r : c.reports) std::printf("%s\n", r.c_str());
    std::printf("%s", SolutionsText(res.solutions, request.languageId).c_str());
    if (res.status == TRunStatus::kStopped)
      std::printf("Units completed: %zu of %zu (a resume with --load-register goes on)\n", completed,
                  c.units.size());
    std::printf("%s\n", endText.c_str());
  }
  std::fflush(stdout);
  if (c.saveFailed) return kExitFailure;
  return res.status == TRunStatus::kStopped ? kExitStopped : kExitOk;
}

// Every rank builds the same request from the same arguments.
// localRanks: the ranks on this machine, which share its memory.
std::string MakeRequest(const TOptions& o, int localRanks, TSolveRequest& r) {
  if (!r.SetFen(o.fen)) return "invalid FEN: " + o.fen;
  if (!r.whiteToMove) return "a directmate needs White to move";
  ApplySettings(r, Settings());
  r.moves = o.moves;
  r.title = o.fen;
  r.problemId = 1;
  r.threads = static_cast<uint8_t>(o.threads);
  if (o.levels) r.levels = static_cast<uint8_t>(o.levels);
  // The ranks of one machine split its register budget between them.
  const uint64_t budget = r.registerLimitMB ? r.registerLimitMB : DefaultRegisterLimitMB();
  r.registerLimitMB = std::max<uint64_t>(16, budget / static_cast<uint64_t>(std::max(1, localRanks)));
  // Each rank keeps one register over its units and saves it itself.
  r.autoSave.enabled = false;
  // Every key is looked for: a unit cannot know how many the others found.
  r.mode = SolutionMode::kAll;
  r.registerFiles = {};
  r.clearRegisterOnStart = false;
  // A root that cannot be made is refused with its reason.
  TChessboard root;
  TTaskContext ctx;
  try {
    ProblemOfRequest(r).MakeRoot(root, ctx, true);
  } catch (const std::exception& e) {
    return e.what();
  }
  return {};
}

int Main(int argc, char** argv) {
  int provided = 0;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
  int rank = 0, ranks = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &ranks);
  for (int i = 1; i < argc; ++i)
    if (std::string(argv[i]) == "--help" || std::string(argv[i]) == "-h") {
      if (rank == 0) Help();
      MPI_Finalize();
      return kExitOk;
    }
  TOptions o;
  std::string error = ParseArgs(argc, argv, o);
  if (error.empty()) {
    for (const std::string& w : LoadSettings())
      if (rank == 0) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  }
  MPI_Comm node;
  MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, rank, MPI_INFO_NULL, &node);
  int localRanks = 1;
  MPI_Comm_size(node, &localRanks);
  MPI_Comm_free(&node);
  TSolveRequest request;
  if (error.empty()) error = MakeRequest(o, localRanks, request);
  if (!error.empty()) {
    if (rank == 0) std::fprintf(stderr, "ostravel-mpi: %s\n", error.c_str());
    MPI_Finalize();
    return kExitBadInput;
  }
  struct sigaction sa {};
  sa.sa_handler = OnStopSignal;
  sigemptyset(&sa.sa_mask);
  for (int s : {SIGINT, SIGTERM, SIGUSR1}) sigaction(s, &sa, nullptr);

  int code = kExitOk;
  try {
    TRankSolver solver(request, o, rank);
    if (rank == 0) {
      code = RunCoordinator(solver, request, o, ranks);
    } else {
      RunWorker(solver, o);
    }
  } catch (const std::exception& e) {
    if (rank == 0) {
      std::fflush(stdout);
      std::fprintf(stderr, "ostravel-mpi: rank 0 failed: %s\n", e.what());
      std::fprintf(stderr, "ostravel-mpi: the run ends without a result\n");
      MPI_Abort(MPI_COMM_WORLD, kExitFailure);
    }
    // Rank 0 names the failure and ends the job; wait for it.
    const std::string text = e.what();
    MPI_Send(text.data(), static_cast<int>(text.size()), MPI_CHAR, 0, kTagError, MPI_COMM_WORLD);
    for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  MPI_Finalize();
  return code;
}

}  // namespace
}  // namespace ostravel::mpi

int main(int argc, char** argv) {
  return ostravel::mpi::Main(argc, argv);
}

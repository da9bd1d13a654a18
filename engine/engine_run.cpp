#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

#include "chess/chessboard_id.h"
#include "chess/notation.h"
#include "engine/crash_info.h"
#include "engine/heuristic_policy.h"
#include "engine/heuristics.h"
#include "engine/mate_search.h"
#include "engine/pass_plan.h"
#include "engine/run_internal.h"
#include "engine/run_register.h"
#include "engine/run_registry.h"
#include "engine/threads.h"
#include "engine/work_units.h"
#include "precalc/position_type.h"
#include "problems/problem.h"
#include "registers/temporary_register.h"

namespace ostravel {

// ---------------------------------------------------------------- the run's shared state

bool TRunShared::StopWanted() const {
  return control.stop.load(std::memory_order_relaxed) || IsProblemBeingStopped(req.problemId);
}

void TRunShared::Message(TEngineMessage::Kind kind, const std::string& text, const std::string& title) {
  if (kind == TEngineMessage::kStatus) {
    std::lock_guard<std::mutex> lk(lock);
    progress.status = text;
  }
  if (cb.onMessage) cb.onMessage(TEngineMessage{kind, title, text});
}

void TRunShared::Notice(TEngineMessage::Kind kind, const std::string& text, const std::string& title) {
  Message(kind, text, title);
  TEngineEvent e;
  e.kind = TEngineEvent::kNotice;
  e.title = title;
  e.text = text;
  Event(e);
}

bool TRunShared::WaitWhilePaused() {
  while (control.paused.load() && !StopWanted()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return !StopWanted();
}

TProgressSnapshot TRunShared::Snapshot() const {
  TProgressSnapshot s;
  std::lock_guard<std::mutex> lk(lock);
  const TRunProgress& p = progress;
  s.state = p.state;
  s.task = task;
  s.pass = p.pass;
  s.passSuffix = p.passSuffix;
  s.heuristics = p.heuristics;
  s.bruteForce = p.bruteForce;
  s.hybridPhase = p.hybridPhase;
  s.stipulation = req.moves;
  s.lowerBound = p.lowerBound;
  s.status = p.status;
  s.paused = control.paused.load();
  s.nodes = p.nodesDone;
  for (const TMateSearch* m : searches) s.nodes += m->Nodes();
  s.solutions = solutionsSoFar.load();
  s.seconds = control.finished.load() ? result.seconds : Seconds();
  if (search) {
    TSearchProgress& sp = search->Progress();
    if (task == TEngineTask::kDefence) {
      s.depthMoves = req.moves;
      s.percent = p.repliesTotal ? 100.0 * p.repliesDone / p.repliesTotal : 0.0;
      s.currentLine = p.defenceLine;
    } else {
      s.depthMoves = sp.depthMoves.load();
      const int total = sp.rootTotal.load();
      s.percent = total ? 100.0 * sp.rootDone.load() / total : 0.0;
      std::lock_guard<std::mutex> lineLock(sp.lineLock);
      s.currentLine = sp.currentLine;
    }
  }
  if (reg) {
    s.registerEntries = reg->ElementCount();
    const uint32_t exact = reg->PartElementCount(0);
    s.registerHeuristicEntries = s.registerEntries > exact ? s.registerEntries - exact : 0;
    s.registerMB = reg->MemoryBytes() >> 20;
  }
  return s;
}

TSearchesRelease::~TSearchesRelease() {
  std::lock_guard<std::mutex> lk(st_.lock);
  for (TMateSearch* s : st_.searches) st_.progress.nodesDone += s->Nodes();
  st_.searches.clear();
  st_.search = nullptr;
}

// ---------------------------------------------------------------- register and checks

std::shared_ptr<TAggregatedTemporaryChessboardRegister> RegisterFor(const TSolveRequest& r) {
  if (!r.reg) return MakeRunRegister(r.moves, r.whiteToMove, r.registerLimitMB);
  // Before the first move is searched: nothing of an earlier run or a loaded
  // file may answer. A run of a hybrid's second phase only continues the
  // analysis of its first phase, whose results it keeps.
  if (r.clearRegisterOnStart && r.hybridPhase != 2) r.reg->Clear();
  return r.reg;
}

void TypeCheck(TRunShared& st, const TChessboard& root) {
  st.Message(TEngineMessage::kStatus, EngineText(TEngineText::kTypeCheck, st.req.languageId));
  st.result.positionType = PositionType(root);
  try {
    const std::filesystem::path folder = st.req.precalcFolder.empty()
                                             ? GlobalRegisterFolder(std::string())
                                             : std::filesystem::path(st.req.precalcFolder);
    st.result.globalRegister = HasGlobalRegisterData(st.result.positionType, folder);
  } catch (const std::exception&) {
    st.result.globalRegister = false;
  }
  // Without precalculated data the search goes on; it only loses the lookups.
  if (!st.result.globalRegister)
    st.Message(TEngineMessage::kInfo,
               EngineFormat(EngineText(TEngineText::kNoGlobalRegister, st.req.languageId),
                            st.result.positionType.c_str()));
}

namespace {

// Forwards a stop (from TEngine, or through the global flag and the id set) to
// the running search, again and again: a search clears its flag when a call
// starts, so a stop that arrives between two calls is not lost. It also
// pushes the progress at the rate the callbacks ask for.
class TStopWatcher {
 public:
  explicit TStopWatcher(TRunShared& st) : st_(st), thread_([this] { Loop(); }) {}
  ~TStopWatcher() {
    quit_.store(true);
    thread_.join();
  }

 private:
  void Loop() {
    auto lastPush = std::chrono::steady_clock::now();
    while (!quit_.load()) {
      if (st_.StopWanted()) {
        st_.control.stop.store(true);
        std::lock_guard<std::mutex> lk(st_.lock);
        if (st_.search) st_.search->RequestStop();
      }
      {
        // A search made after the pause request pauses as well.
        const bool paused = st_.control.paused.load() && !st_.control.stop.load();
        std::lock_guard<std::mutex> lk(st_.lock);
        if (st_.search && st_.search->Paused() != paused) st_.search->SetPaused(paused);
      }
      if (st_.cb.onProgress) {
        const auto now = std::chrono::steady_clock::now();
        if (now - lastPush >= st_.cb.progressInterval) {
          lastPush = now;
          const TProgressSnapshot s = st_.Snapshot();
          if (s.state == TRunState::kRunning) st_.cb.onProgress(s);
        }
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  TRunShared& st_;
  std::atomic<bool> quit_{false};
  std::thread thread_;
};

bool Storable(const TChessboard& b) {
  return CastlingRights(b) == 0 && EnPassantTarget(b) < 0;
}

bool SameSearchSettings(const TSearchSettings& a, const TSearchSettings& b) {
  return a.mode == b.mode && a.bruteForce == b.bruteForce && a.threads == b.threads && a.levels == b.levels &&
         a.lookForQuickerMateDepth == b.lookForQuickerMateDepth && a.verifyHeuristics == b.verifyHeuristics &&
         a.allowExceptions == b.allowExceptions && a.customShortMateDepth == b.customShortMateDepth &&
         a.cutRepetitions == b.cutRepetitions && a.letTwoThreadsShareAMove == b.letTwoThreadsShareAMove &&
         a.computeVariations == b.computeVariations && a.showDuals == b.showDuals &&
         a.rootPieces == b.rootPieces && a.rootMoves.size() == b.rootMoves.size() &&
         (a.heuristics ? *a.heuristics : THeuristicState{}) ==
             (b.heuristics ? *b.heuristics : THeuristicState{}) &&
         std::equal(a.rootMoves.begin(), a.rootMoves.end(), b.rootMoves.begin(),
                    [](const TMove& x, const TMove& y) { return x.SameAs(y); });
}

// Builds and checks the root. Returns the refusal text, empty when fine.
std::string MakeCheckedRoot(const TSolveRequest& r, TEngineTask task, TChessboard& root, TTaskContext& ctx) {
  const int lang = r.languageId;
  // The one limit of every front end and file: the search's line holds 2n plies.
  if (r.moves < 1 || r.moves > kMaxStipulationMoves)
    return "Stipulation #" + std::to_string(r.moves) + " is out of range: #1 to #" +
           std::to_string(kMaxStipulationMoves);
  const TProblem p = ProblemOfRequest(r);
  try {
    p.MakeRoot(root, ctx, true);
  } catch (const ChessException& e) {
    return e.what();
  }
  if (task == TEngineTask::kDefence) {
    if (r.whiteToMove) return EngineText(TEngineText::kDefenceTaskNeedsBlack, lang);
    if (root.whiteKingCheck >= 0) return EngineText(TEngineText::kWhiteKingChecked, lang);
  } else {
    if (!r.whiteToMove) return EngineText(TEngineText::kMateTaskNeedsWhite, lang);
    if (root.blackKingCheck >= 0) return EngineText(TEngineText::kBlackKingChecked, lang);
    // A restriction that leaves White nothing to move would report "no solution".
    if (r.restriction < 0 && !(r.markedSquares & root.occupied[0]))
      return "The restricted root search needs a marked White man";
  }
  return {};
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string s;
  for (const auto& l : lines) {
    if (!s.empty()) s += '\n';
    s += l;
  }
  return s;
}

void AppendUnique(std::vector<TMove>& out, const std::vector<TMove>& moves) {
  for (const TMove& m : moves)
    if (std::none_of(out.begin(), out.end(), [&](const TMove& o) { return o.SameAs(m); })) out.push_back(m);
}

// Adds the keys of a pass that are new, naming the pass that found them; a
// candidate of an earlier pass gives way to the same key proved.
void MergeKeys(std::vector<TSolution>& into, const std::vector<TSolution>& from,
               const std::string& pass = {}) {
  for (const auto& s : from) {
    auto it = std::find_if(into.begin(), into.end(), [&](const TSolution& o) { return o.key.SameAs(s.key); });
    if (it == into.end()) {
      into.push_back(s);
      if (into.back().foundInPass.empty()) into.back().foundInPass = pass;
    } else if (!it->confirmed && s.confirmed) {
      const std::string first = it->foundInPass;
      *it = s;
      it->foundInPass = first.empty() ? pass : first;
    }
  }
}

// Threats and variations: the last search explains its keys, earlier ones
// only the keys it does not hold.
void ExplainKeys(TRunShared& st, const std::vector<std::unique_ptr<TMateSearch>>& searches,
                 const TChessboard& root, std::vector<TSolution>& keys) {
  std::vector<TSolution> explained;
  for (auto it = searches.rbegin(); it != searches.rend() && !st.StopWanted(); ++it) {
    TMateSearch& s = **it;
    const bool needed = std::any_of(s.Solutions().begin(), s.Solutions().end(), [&](const TSolution& k) {
      return std::none_of(explained.begin(), explained.end(),
                          [&](const TSolution& e) { return e.key.SameAs(k.key); });
    });
    if (!needed) continue;
    {
      std::lock_guard<std::mutex> lk(st.lock);
      st.search = &s;
    }
    s.Explain(root, st.req.moves);
    MergeKeys(explained, s.Solutions());
  }
  for (auto& k : keys)
    for (const auto& e : explained)
      if (e.key.SameAs(k.key)) {
        const std::string pass = k.foundInPass;
        const bool confirmed = k.confirmed;
        k = e;
        k.foundInPass = pass;
        k.confirmed = confirmed;
        break;
      }
}

}  // namespace

// ---------------------------------------------------------------- the passes

// The passes of a mate run (and the single search of the auxiliary one).
void RunMatePasses(TRunShared& st, const TChessboard& root, bool aux) {
  const TSolveRequest& r = st.req;
  const int lang = r.languageId;
  TSolveResult& res = st.result;
  const int d = 2 * r.moves - 1;

  if (!aux) {
    TypeCheck(st, root);
    // A sort indication that is no move of the position is left out; say why.
    if (!r.sortIndicationError.empty())
      st.Message(TEngineMessage::kInfo, "Sort indications: " + r.sortIndicationError);
    for (const std::string& note : r.indicationNotes) st.Message(TEngineMessage::kInfo, note);
    res.summary = SettingsSummary(r, r.hybridPhase, ProcessorCount(true));
    st.Message(TEngineMessage::kInfo, Joined(res.summary));
    st.Message(TEngineMessage::kStatus, ModeStatusLine(r));
  }
  {
    auto reg = RegisterFor(r);
    std::lock_guard<std::mutex> lk(st.lock);
    st.reg = std::move(reg);
    st.progress.state = TRunState::kRunning;
  }

  // A register kept from an earlier search may already hold the answer.
  const uint32_t rootHash = RegisterHash(root.board);
  if (Storable(root)) {
    uint16_t first = 0, second = 0;
    if (st.reg->Probe(root.board, rootHash, first, second)) {
      if (second >= d) {
        res.fromRegister = true;
        res.mode = r.mode;
        st.Message(TEngineMessage::kInfo, EngineText(TEngineText::kFromTemporaryRegister, lang));
        return;
      }
      if (second > 0) {
        std::lock_guard<std::mutex> lk(st.lock);
        st.progress.lowerBound = (second + 1) / 2 + 1;
      }
    }
  }

  std::vector<TPassPlan> plans;
  if (aux) {
    TPassPlan p;
    p.safeMode = true;
    p.mode = r.mode;
    plans.push_back(p);
  } else {
    plans = PlanPasses(r, &res.notes);
  }

  std::vector<std::unique_ptr<TMateSearch>> searches;
  TSearchesRelease release(st);  // before the objects go, also when a search throws
  std::vector<TSolution> keys;   // found so far, in order
  std::atomic<int> forced{r.forcedThreads};
  std::atomic<bool> proposalAsked{false};
  bool repetitionShown = false, exactCompleted = false;
  int passCounter = 0;
  int announcedMore = 1;
  res.mode = r.mode;

  int skipRelaxations = 0;  // passes relaxed past by the time-dependent step
  for (size_t planIndex = 0; planIndex < plans.size(); ++planIndex) {
    const TPassPlan& plan = plans[planIndex];
    if (skipRelaxations > 0 && plan.kind == TPassKind::kWithHeuristics && !plan.suffix.empty()) {
      --skipRelaxations;
      continue;
    }
    if (!st.WaitWhilePaused()) break;
    if (plan.kind == TPassKind::kProofNumbers) {
      // A restricted root is no question of the whole position.
      const bool restricted = !r.rootMoves.empty() || (r.restriction < 0 && r.markedSquares != 0);
      if (root.WhiteToMove() && !restricted) {
        res.passes.push_back(RunProofPass(st, root, plan, keys));
        if (st.StopWanted()) break;
      }
      continue;
    }
    const int limit = SolutionLimit(plan.mode);
    if (plan.onlyAfterSolution && keys.empty()) {
      res.notes.push_back(EngineText(
          r.heuristics == 0 ? TEngineText::kNoteHybridNoPhase2Exact : TEngineText::kNoteHybridNoPhase2,
          lang));
      continue;
    }
    res.mode = plan.mode;
    if (limit && static_cast<int>(keys.size()) >= limit) continue;
    if (plan.kind == TPassKind::kHybridPhase2 && r.hybridPhase == 1) {
      res.summary = SettingsSummary(r, 2, ProcessorCount(true));
      st.Message(TEngineMessage::kInfo, Joined(res.summary));
    }

    TSearchSettings ss;
    ss.mode = plan.mode;
    ss.lookForQuickerMateDepth = r.lookForQuickerMateDepth;
    ss.rootPieces = r.restriction < 0 ? r.markedSquares : 0;
    ss.rootMoves = r.rootMoves;
    ss.verifyHeuristics = r.verifyHeuristics;
    ss.allowExceptions = r.allowExceptions;
    ss.customShortMateDepth = r.customShortMateDepth;
    ss.tempRegLimitMB = r.registerLimitMB;
    ss.tempRegLimitMB = r.registerLimitMB;
    ss.bruteForce = plan.bruteForce || plan.heuristics == 0;
    ss.threads = std::max<int>({1, r.threads, forced.load()});
    ss.levels = r.levels;
    ss.letTwoThreadsShareAMove = r.letTwoThreadsShareAMove;
    if (!ss.bruteForce) {
      ss.heuristics = std::make_shared<const THeuristicState>(plan.state);
      // The split nodes of further levels search without the rules, so a
      // heuristic pass threads the root's candidates only.
      ss.levels = 1;
    }
    // Quick mode's implicit heuristic: a line that repeats a position ends
    // there. That keeps its failures out of the register, so only the passes
    // with heuristics outside safe mode do it.
    ss.cutRepetitions = plan.heuristics != 0 && !plan.safeMode;
    ss.computeVariations = r.computeVariations;
    ss.showDuals = r.showDuals;
    ss.probe = r.probe;
    ss.logMoves = r.logMoves;
    ss.logPath = r.logMoves && r.logPath.empty() ? SearchLogPath(r) : r.logPath;
    ss.logAppend = !searches.empty();
    ss.collectStats = r.collectStats;
    // Keys of earlier passes come first, so that a new search object finds
    // them again at once and counts them against its limit.
    for (const auto& k : keys) ss.sortIndications.push_back(k.key);
    AppendUnique(ss.sortIndications, r.sortIndications);

    TMateSearch* search = searches.empty() ? nullptr : searches.back().get();
    if (!search || !SameSearchSettings(search->Settings(), ss)) {
      auto fresh = std::make_unique<TMateSearch>(ss, st.reg);
      // The proposal comes from the run's thread while the pass starts; an
      // accepted count holds for the rest of the run.
      fresh->onThreadProposal = [&st, &forced, &proposalAsked, aux](int proposal) {
        if (aux || proposalAsked.exchange(true) || !st.cb.onThreadProposal) return false;
        const std::string question =
            EngineFormat(EngineText(TEngineText::kThreadProposal, st.req.languageId), proposal);
        TEngineEvent e;
        e.kind = TEngineEvent::kThreadQuestion;
        e.text = question;
        e.number = proposal;
        st.Event(e);
        const bool accepted = st.cb.onThreadProposal(proposal, question);
        if (accepted) forced.store(proposal);
        return accepted;
      };
      fresh->onSolution = [&st](const TSolution& s) { AnnounceKey(st, s); };
      std::lock_guard<std::mutex> lk(st.lock);
      searches.push_back(std::move(fresh));
      search = searches.back().get();
      st.searches.push_back(search);
    }
    {
      std::lock_guard<std::mutex> lk(st.lock);
      st.search = search;
      // A pause asked for before the pass holds from its first node on.
      search->SetPaused(st.control.paused.load() && !st.control.stop.load());
      st.progress.EnterPass(plan);
    }
    if (st.StopWanted()) break;

    TPassReport report;
    report.plan = plan;
    report.plan.dlfuDynamicUsable = !(plan.state.set & SH_DONTLETFIGUREUNBLOCK) || !plan.state.dlfuDynamic ||
                                    !THeuristicPolicy::BlockedBlackFigures(root).empty();
    report.ran = true;
    st.PassEvent(TEngineEvent::kPassStarted, report);
    // The pass's heading in the search log: its counter letter, heuristics
    // (set, parameters, names: none yet), then mode, safety and pass name.
    if (r.logMoves) {
      // The run's first lines name the position by its identifier.
      if (passCounter == 0) {
        try {
          search->LogLine("Position id " + TChessboardId(root).ToAlphanum6());
        } catch (const ChessException&) {
        }
      }
      char head[64];
      std::snprintf(head, sizeof head, "1%c Heur=%d HeurParams=%d ", 'a' + passCounter++ % 26,
                    static_cast<int>(plan.heuristics),
                    static_cast<int>(plan.heuristics ? HeuristicParameterDigest(plan.state) : 0));
      search->LogLine(head + report.plan.SetText());
      search->LogLine(std::string(RunTitle(r)) + " " + (plan.safeMode ? "safe mode" : "quick mode") +
                      " Pass " + plan.Name());
    }
    const auto t = std::chrono::steady_clock::now();
    const uint64_t nodes0 = search->Nodes();
    uint8_t code;
    {
      TBruteForceFlag flag(plan.bruteForce);
      code = DispatchFindMateFFM(*search, root, r.moves);
    }
    search->FlushLog();
    // A search thread that ran out of memory has stopped the search.
    if (search->OutOfMemory()) throw std::bad_alloc();
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
    report.nodes = search->Nodes() - nodes0;
    report.completed = code != kResEndOfDepth && !st.StopWanted();
    MergeKeys(keys, search->Solutions(), plan.Name());
    report.solutionsAfter = static_cast<int>(keys.size());
    res.passes.push_back(report);
    st.PassEvent(TEngineEvent::kPassEnded, report);
    if (report.completed && ss.bruteForce) exactCompleted = true;

    if (search->RepetitionSeen() && !repetitionShown) {
      repetitionShown = true;
      res.repetitionDetected = true;
      st.Notice(TEngineMessage::kWarning, EngineText(TEngineText::kRepetition, lang),
                EngineText(TEngineText::kRepetitionTitle, lang));
    }
    if (static_cast<int>(keys.size()) > announcedMore) {
      announcedMore = static_cast<int>(keys.size());
      st.Notice(TEngineMessage::kInfo,
                EngineFormat(EngineText(TEngineText::kMoreThanOneSolution, lang), announcedMore));
    }
    if (forced.load() > r.forcedThreads) res.forcedThreads = forced.load();
    if (!report.completed) break;

    // Relaxation after a completed pass with heuristics: the next pass's set
    // is logged, and a pass that ended within a second earns one step more.
    if (!ss.bruteForce && plan.kind == TPassKind::kWithHeuristics) {
      const TPassPlan* next = nullptr;
      for (size_t j = planIndex + 1; j < plans.size() && !next; ++j)
        if (plans[j].kind == TPassKind::kWithHeuristics) next = &plans[j];
      if (next) {
        const long long ms = static_cast<long long>(report.seconds * 1000.0);
        if (!TimeRelaxationSkipped(root)) {
          std::string line;
          if (TimeDependentRelaxation(ms, &line)) skipRelaxations = 1;
          if (!line.empty()) st.Message(TEngineMessage::kInfo, line);
        }
        if (r.relaxationLog) {
          // The set the next pass that runs will search with.
          const TPassPlan* after = next;
          int left = skipRelaxations;
          for (size_t j = static_cast<size_t>(next - plans.data()) + 1; left > 0 && j < plans.size(); ++j)
            if (plans[j].kind == TPassKind::kWithHeuristics) {
              after = &plans[j];
              --left;
            }
          LogRelaxation(plan.state, after->state);
        }
      }
    }
  }

  if (!st.StopWanted() && !keys.empty()) ExplainKeys(st, searches, root, keys);

  const int limit = SolutionLimit(res.mode);
  if (limit && static_cast<int>(keys.size()) > limit) keys.resize(static_cast<size_t>(limit));
  // Shown in the root's move order, not in the order threads happened to
  // find them, so that the same problem always prints the same text.
  SortKeysInRootOrder(root, keys);
  res.solutions = std::move(keys);
  res.solutionCount = static_cast<int>(res.solutions.size());
  res.stoppedBySolutionLimit = limit && res.solutionCount >= limit;

  for (const auto& s : searches) res.nodes += s->Nodes();
  if (r.collectStats)
    for (const auto& s : searches) res.stats.Add(s->Stats());
  // A complete exact search without a key is a proof worth keeping: a later
  // run sharing the register answers at once.
  // A root whose moves were restricted proves nothing about the position.
  if (exactCompleted && res.solutions.empty() && !st.StopWanted() && Storable(root) && r.restriction >= 0 &&
      r.rootMoves.empty())
    st.reg->Insert(static_cast<uint16_t>(d), root.board, rootHash, false);
}

// ---------------------------------------------------------------- the end

namespace {

// The final status, before the register's files are concluded by it.
void FinishStatus(TRunShared& st) {
  TSolveResult& res = st.result;
  res.seconds = st.Seconds();
  if (res.status != TRunStatus::kRefused && res.status != TRunStatus::kFailed) {
    res.stoppedByUser = st.StopWanted() && !res.outOfMemory;
    if (res.stoppedByUser || res.outOfMemory) res.status = TRunStatus::kStopped;
  }
}

void Finish(TRunShared& st) {
  TSolveResult& res = st.result;
  if (res.stoppedByUser) res.stoppedBySolutionLimit = false;
  if (res.message.empty()) {
    if (res.outOfMemory)
      res.message = EngineText(TEngineText::kOutOfMemory, st.req.languageId);
    else if (res.stoppedByUser)
      res.message = EngineText(TEngineText::kAnalysisStopped, st.req.languageId);
  }
  st.endText = EndText(st.req, res);
  if (res.message.empty()) {
    // The run's last word: the result line of the end text.
    const size_t at = st.endText.find(">> #");
    res.message =
        at == std::string::npos ? st.endText : st.endText.substr(at, st.endText.find('\n', at) - at);
  }
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.progress.state = res.status == TRunStatus::kStopped ? TRunState::kStopped : TRunState::kCompleted;
  }
  LeaveRunningProblem(st.req.problemId);
  if (st.cb.onEnd) st.cb.onEnd(res, st.endText);
  {
    std::lock_guard<std::mutex> lk(st.control.doneLock);
    st.control.finished.store(true);
  }
  st.control.doneCv.notify_all();
}

void RunBody(TRunShared& st) {
  TSolveResult& res = st.result;
  res.task = st.task;
  TTaskContext ctx;
  TChessboard root;
  TRunRegisterLife files(st);
  try {
    TStopWatcher watcher(st);
    st.SetState(TRunState::kChecking);
    std::string refusal = MakeCheckedRoot(st.req, st.task, root, ctx);
    if (refusal.empty()) refusal = files.Prepare();
    if (!refusal.empty()) {
      res.status = TRunStatus::kRefused;
      res.message = refusal;
    } else if (st.task == TEngineTask::kDefence) {
      RunDefence(st, root);
    } else {
      RunMatePasses(st, root, st.task == TEngineTask::kAuxMate);
    }
  } catch (const std::bad_alloc&) {
    res.outOfMemory = true;
    st.Message(TEngineMessage::kError, EngineText(TEngineText::kOutOfMemory, st.req.languageId));
  } catch (const std::exception& e) {
    res.status = TRunStatus::kFailed;
    res.message = e.what();
  }
  FinishStatus(st);
  try {
    files.Conclude();
  } catch (const std::exception& e) {
    res.registerSaved = false;
    res.registerError = e.what();
  }
  Finish(st);
}

}  // namespace

void EngineThreadProc(std::shared_ptr<TRunShared> run) {
  EngineThreadStarted();
  TEngineThreadProcFlag flag;
  RunBody(*run);
}

void EngineThreadProc_BlackMoves(std::shared_ptr<TRunShared> run) {
  EngineThreadStarted();
  RunBody(*run);
  --g_nEngineThreadProcBlackMovesPending;
}

void EngineThreadProc_AuxMate(std::shared_ptr<TRunShared> run) {
  EngineThreadStarted();
  RunBody(*run);
  --g_nEngineThreadProcAuxMatePending;
}

}  // namespace ostravel

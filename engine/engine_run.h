#pragma once
// The engine run: one problem solved on its own thread, from the start-of-run
// checks through the passes to the result record and the end text, and the
// defence task (Black's best reply). TEngine is the facade the shells use: it
// prints nothing; texts reach the shell through callbacks and the progress is
// polled as a snapshot.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/engine_texts.h"
#include "engine/search_types.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;
struct TProblem;
struct TSettings;

// ---------------------------------------------------------------- global state

// Problem type of a directmate; the only one solved.
constexpr uint8_t kMateProblemType = 1;

// Upper bound of the set of running problems. Each run may size its temporary
// register up to the whole MaxMemRatioForTempReg budget, so the bound keeps
// the worst case at four budgets (80% of physical memory with the default
// ratio of 20%); a fifth request is refused with "Too many problems being
// solved at the same time.".
constexpr size_t kMaxProblemsSolvedAtOnce = 4;

// Plain flags polled by the runs and printed by the crash handler.
extern std::atomic<bool> g_bStopPending;              // some run is asked to stop (see the ids below)
extern std::atomic<bool> g_bBruteForce;               // a brute-force pass is running
extern std::atomic<bool> g_bEngineThreadProcRunning;  // an EngineThreadProc is running
// Ids of the running problems and of those asked to stop; change and read them
// under EngineIdsLock().
extern std::set<uint32_t> setRunningProblemsIds;
extern std::set<uint32_t> setProblemsBeingStoppedIds;
std::mutex& EngineIdsLock();
// Calls of the defence task and of the auxiliary mate search now pending.
extern std::atomic<int> g_nEngineThreadProcBlackMovesPending;
extern std::atomic<int> g_nEngineThreadProcAuxMatePending;

// The stop path shared by every shell: raises g_bStopPending and puts the id
// into setProblemsBeingStoppedIds. The run with that id notices it, its search
// threads return and it ends as stopped.
void RequestStopOfProblem(uint32_t problemId);
bool IsProblemBeingStopped(uint32_t problemId);

// ---------------------------------------------------------------- the request

enum class TEngineTask : uint8_t {
  kMate,     // EngineThreadProc: the keys of "#n"
  kDefence,  // EngineThreadProc_BlackMoves: Black to move, his best defence against "#n"
  kAuxMate,  // EngineThreadProc_AuxMate: one plain search, no summary or passes
};

struct TSolveRequest {
  uint32_t problemId = 0;
  uint8_t problemType = kMateProblemType;
  std::string title;  // the problem's title in the end texts

  TTaskContext position{};  // initial board, root castling rights and e.p. square
  bool whiteToMove = true;
  int moves = 2;  // n of "#n"

  SolutionMode mode = SolutionMode::kAll;
  bool bruteForce = false;
  uint8_t hybridPhase = 0;  // 0 no hybrid run; 1 a hybrid run from its first phase; 2 its second phase only
  bool safeMode = false;    // the user chose safe mode (QuickMode off)
  bool safeModeForcedByEngine = false;
  int16_t customShortMateDepth = 0;  // plies; below 1 the default
  uint8_t threads = 1;
  uint8_t forcedThreads = 0;  // effective when greater than threads
  uint8_t levels = 1;
  bool letTwoThreadsShareAMove = true;  // LetAnalyzeTheSameMoveInTwoThreads
  uint8_t schedulerLevels = 0;  // 0 = scheduler off
  bool customScheduler = false;
  uint32_t heuristics = 0;  // initial set of special heuristics
  bool relaxation = false;  // further passes with relaxed heuristics
  bool passWithoutHeuristics = true;
  std::vector<TMove> sortIndications;  // root moves to try first, in order

  // Template-family parameters of the search.
  int lookForQuickerMateDepth = 0;
  uint8_t verifyHeuristics = 0;
  uint8_t allowExceptions = 0;

  bool computeVariations = true;
  int languageId = 1;
  bool logMoves = false;
  std::string logPath;
  // A register shared with earlier runs (a resumed search, a loaded or pinned
  // file, one that is saved afterwards); null: the run makes its own.
  // MakeRunRegister sizes one as the run would.
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg;
  // ClearRegisterOnStartSolving: the shared register's contents are dropped
  // when the analysis starts, so a loaded file only serves a later run.
  bool clearRegisterOnStart = false;

  // Sets the position from a FEN (side to move included); false for text that
  // is not a FEN.
  bool SetFen(const std::string& fen);
};

// The settings that shape a request: safe mode (QuickMode), the
// multithreading levels and LetAnalyzeTheSameMoveInTwoThreads, the scheduler,
// the language, move logging and ClearRegisterOnStartSolving.
void ApplySettings(TSolveRequest& r, const TSettings& s);

// A register for a request's reg: bucket count by the root's plies (2n - 1,
// or 2n with Black to move) and the settings' memory, element limit from the
// settings, and results below 4 plies kept, as the search's own would be.
std::shared_ptr<TAggregatedTemporaryChessboardRegister> MakeRunRegister(int moves, bool whiteToMove = true);

// A request for a problem of a collection: its position, stipulation and
// sort indications (the record's own, then the first moves of the main
// variant or of all variants when UseMainVariantAsSortIndications is 1 or 2),
// and the mode its tags name ("AllSolutions", "StopOnDual", "StopOn3Sol",
// "StopOn4Sol", "SingleSolution", "BruteForce", "HybridBruteForce").
TSolveRequest RequestFromProblem(const TProblem& p, const TSettings& s, uint32_t problemId);

// The run's title: the request's title marked "(HybridBruteForce)",
// "(BruteForce)" or "(AllSolutions)".
std::string RunTitle(const TSolveRequest& r);
// Path of the search log (LogMoves) of a run: the problem's name with ".log".
std::string SearchLogPath(const TSolveRequest& r);

// ---------------------------------------------------------------- passes

enum class TPassKind : uint8_t {
  kWithHeuristics,     // the initial set (or a relaxed one)
  kWithoutHeuristics,  // the pass without heuristics, in safe mode
  kBruteForce,         // a brute-force run
  kHybridPhase1,       // heuristical search for a single solution
  kHybridPhase2,       // brute force for duals, only after a solution was found
};

struct TPassPlan {
  int number = 1;      // shown in the progress line
  std::string suffix;  // "b", "c", ... for relaxation passes
  TPassKind kind = TPassKind::kWithHeuristics;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  bool safeMode = false;
  SolutionMode mode = SolutionMode::kAll;
  bool onlyAfterSolution = false;

  std::string Name() const { return std::to_string(number) + suffix; }
};

// The whole sequence of passes of a mate run, decided before it starts.
// Relaxation passes (1b, 1c, ...) go between the first pass and the pass
// without heuristics. A pass with heuristics whose set is empty is already an
// exact search, so the pass without heuristics is then left out; the notes
// returned say what was left out and why.
std::vector<TPassPlan> PlanPasses(const TSolveRequest& r, std::vector<std::string>* notes = nullptr);

// Mode of the second phase of a hybrid run: the request's, but at least two
// solutions, since the phase looks for duals.
SolutionMode HybridPhase2Mode(SolutionMode requested);

// ---------------------------------------------------------------- the result

enum class TRunStatus : uint8_t {
  kCompleted,
  kStopped,  // by the user (or out of memory); the results are partial
  kRefused,  // a start-of-run check failed; message holds its text
  kFailed,   // the search reported an error; message holds its text
};

struct TPassReport {
  TPassPlan plan;
  bool ran = false;
  bool completed = false;
  int solutionsAfter = 0;
  double seconds = 0;
  uint64_t nodes = 0;
};

// One reply of Black in the defence task.
struct TDefenceReply {
  TMove move{};
  std::string text;
  bool searched = false;
  int mateIn = 0;  // White's shortest mate after the reply, in moves; 0: none within n
};

struct TDefenceResult {
  std::vector<TDefenceReply> replies;  // every legal reply, in generation order
  int shortMateMoves = 0;              // a mate in at most this many moves counts as short
  TEngineText headline = TEngineText::kDefenceNoValidMove;
  std::vector<size_t> best;        // the reply (or replies) named under the headline
  std::vector<size_t> equivalent;  // further replies as good as the best
};

// Chooses the headline and the named replies from the replies' values:
// "No valid move found" without replies; "The only reply..." forms for a
// single legal reply or a single reply that is not mated within the short-mate
// depth; otherwise the refutations ("Mate in the requested stipulation was
// refuted with:") or, when every reply is mated, the longest resistance ("Not
// found any defence against mate. The best looks:"). Unsearched replies are
// left out.
void ClassifyDefence(TDefenceResult& d);

struct TSolveResult {
  TEngineTask task = TEngineTask::kMate;
  TRunStatus status = TRunStatus::kCompleted;
  std::string message;  // the refusal or failure text, or the run's last word
  std::vector<TSolution> solutions;
  int solutionCount = 0;
  SolutionMode mode = SolutionMode::kAll;  // the mode whose limit applied last
  bool stoppedByUser = false;
  bool stoppedBySolutionLimit = false;
  bool repetitionDetected = false;  // a line ended on a position repetition
  bool outOfMemory = false;
  bool fromRegister = false;  // answered by the register without a search
  double seconds = 0;
  uint64_t nodes = 0;
  std::string positionType;
  bool globalRegister = false;
  std::vector<std::string> summary;  // the settings summary lines (title first)
  std::vector<TPassReport> passes;
  std::vector<std::string> notes;  // completion notes ("\t* ...\n")
  TDefenceResult defence;
  int forcedThreads = 0;
};

// The end text of a run (several lines, no final line end) and the title of
// the box that shows it ("Mate search result" or "Result of analysis").
std::string EndText(const TSolveRequest& r, const TSolveResult& res);
std::string ResultTitle(const TSolveRequest& r, const TSolveResult& res);

// The settings summary: "Main settings of current analysis" and one line per
// item. Phase is the hybrid phase shown (0 none).
std::vector<std::string> SettingsSummary(const TSolveRequest& r, int hybridPhase);
// "> Quick Mode implicit heuristics ON (see Options)" and its safe-mode forms.
std::string ModeStatusLine(const TSolveRequest& r);
// The short-mate item ("#" and plies / 2 + 1 for a custom depth).
std::string ShortMateDepthLine(int16_t customPlies, int languageId);
// The first-level count (forced when greater) times, per further level, the
// thread count or 2 in a brute-force run.
uint64_t EffectiveMainThreads(int threads, int forcedThreads, int levels, bool bruteForce);
// T + T^2 + ... + T^L within 32767.
bool ThreadsAndLevelsAllowed(int threads, int levels);

// ---------------------------------------------------------------- progress

enum class TRunState : uint8_t { kIdle, kCheckPending, kChecking, kRunning, kCompleted, kStopped };

struct TProgressSnapshot {
  TRunState state = TRunState::kIdle;
  TEngineTask task = TEngineTask::kMate;
  int pass = 0;
  std::string passSuffix;
  uint32_t heuristics = 0;
  bool bruteForce = false;
  int hybridPhase = 0;
  int stipulation = 0;  // n of "#n"
  int depthMoves = 0;   // mate length being searched now
  int lowerBound = 0;   // mate length known to be at least this (0: unknown)
  double percent = 0;
  uint64_t nodes = 0;   // the run's progress counter
  std::string currentLine;
  uint32_t registerEntries = 0;
  uint32_t registerHeuristicEntries = 0;  // entries of the heuristic sub-registers
  uint64_t registerMB = 0;
  int solutions = 0;
  double seconds = 0;
  std::string status;
};

// "Pass %d%s, %s%0.1f%% %I64d" (the counter printed as a 64-bit integer) with
// "SH:%xh" and ",TR:%d(%d)", padded and ended with '\r'.
std::string ProgressLine(const TProgressSnapshot& s);
// "Searching for #%d%s: %0.2f%%" or "Searching for #%d%s (of at least #%d) : %0.2f%%".
std::string DepthReportLine(const TProgressSnapshot& s);
// The per-thread console line "%d%s... %d sec(s)...     \r".
std::string ThreadConsoleLine(int depth, bool bruteForce, int seconds);

// ---------------------------------------------------------------- the facade

struct TEngineMessage {
  enum Kind : uint8_t {
    kStatus,   // for the status line ("initial position check pending...")
    kInfo,     // summary, notes, position type
    kWarning,  // shown once in a box with its title ("Position repetition")
    kError,    // "Out of memory."
  };
  Kind kind = kInfo;
  std::string title;
  std::string text;
};

struct TEngineCallbacks {
  // Texts of the run as they arise, one at a time: the first status text
  // from Start itself, the others on the run's thread.
  std::function<void(const TEngineMessage&)> onMessage;
  // Each key as it is found (from a search thread, under the search's lock).
  std::function<void(const TSolution&)> onSolution;
  // The engine's thread-count proposal, asked at most once per run (from a
  // search thread, while the search waits); true accepts it: the search goes
  // on with that many first-level threads, and so do the later passes.
  std::function<bool(int proposedThreads, const std::string& question)> onThreadProposal;
  // The end of the run: the result record and the end text (on the run's thread).
  std::function<void(const TSolveResult&, const std::string& endText)> onEnd;
};

struct TRunShared;

class TEngine {
 public:
  TEngine();
  ~TEngine();  // stops a run still going and waits for it
  TEngine(const TEngine&) = delete;
  TEngine& operator=(const TEngine&) = delete;

  // Starts a run of the task. Returns an empty string, or the refusal text
  // ("Only mate problems (type=1) supported currently.", "Too many problems
  // being solved at the same time.", "Too many threads and/or multithreading
  // levels.") when the run did not start; onEnd is not called then. One
  // engine carries one run at a time.
  std::string Start(const TSolveRequest& r, TEngineCallbacks cb, TEngineTask task = TEngineTask::kMate);
  std::string StartDefence(const TSolveRequest& r, TEngineCallbacks cb) {
    return Start(r, std::move(cb), TEngineTask::kDefence);
  }

  // The stop path: the run ends as stopped with its partial results.
  void RequestStop();
  // Pauses the search threads (and the run between passes and between the
  // replies of the defence task); a stop ends a pause.
  void SetPaused(bool paused);

  bool Running() const;
  // Blocks until the run has ended (its onEnd has returned). Not to be
  // called from the callbacks.
  void Wait();
  // Waits at most that long; true when the run has ended (not joined yet).
  bool WaitFor(std::chrono::milliseconds timeout);
  TProgressSnapshot Snapshot() const;
  // The result of the last run (valid once it has ended).
  const TSolveResult& Result() const;
  const std::string& EndTextOfRun() const;

 private:
  std::shared_ptr<TRunShared> run_;
};

// The thread procedures carrying a run (started by TEngine::Start).
void EngineThreadProc(std::shared_ptr<TRunShared> run);
void EngineThreadProc_BlackMoves(std::shared_ptr<TRunShared> run);
void EngineThreadProc_AuxMate(std::shared_ptr<TRunShared> run);

}  // namespace ostravel

#pragma once
// The forced-mate search (FindForcedMate): every key of a directmate, with
// threats and variations, using the temporary register for proved results.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/search_log.h"
#include "engine/search_stats.h"
#include "engine/search_types.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;
class TLevelQueue;
class TSearcherBase;
class TWorkerPool;
struct TWorkerSlot;
template <class Policy>
class TSearcher;

// Search threads of the whole process busy with search work (parked pool
// workers and one-thread runs, which search on the caller's thread, are not
// counted).
int RunningSearchThreads();

// Manual engine control on the first multithreading level (the root's
// candidates). A skipped move is never searched, so a solution in it is lost.
enum class TManualControl {
  kSkipCurrent,   // "Skip analysis of current move and go to the &next one"
  kSkipNext,      // "Skip to analysis of next move"
  kSkip5,         // "Skip 5 moves of analysis"
  kSkipTo,        // "Skip to..."
  kSwapWithNext,  // "Swap order of analysis with the next move"
  kShiftToLast,   // "Shift current move to be analyzed as the last one"
};
extern const char* const kManualControlWarning;

// Live figures of a running search, safe to read from another thread.
struct TSearchProgress {
  std::atomic<uint64_t> nodes{0};
  std::atomic<int> rootDone{0};  // root candidates finished in the current stage
  std::atomic<int> rootTotal{0};
  std::atomic<int> depthMoves{0};  // mate length (moves) being searched at the root
  std::atomic<int> shortestKnown{0};
  std::mutex lineLock;
  std::string currentLine;  // root move under analysis, in full notation
};

// The root's candidate keys in the order a search tries them: the legal
// moves (only of the men on rootPieces when not 0, only rootMoves when not
// empty), the sort indications first.
std::vector<TMove> RootCandidates(const TChessboard& root, uint64_t rootPieces,
                                  const std::vector<TMove>& rootMoves,
                                  const std::vector<TMove>& sortIndications);

class TMateSearch {
 public:
  // The register is shared and outlives the search; when null the search
  // makes one of its own, sized for the run.
  explicit TMateSearch(const TSearchSettings& settings,
                       std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg = nullptr);
  ~TMateSearch();
  TMateSearch(const TMateSearch&) = delete;
  TMateSearch& operator=(const TMateSearch&) = delete;

  // Searches for mate in nMoves from root (White to move, validated; its
  // context gives the task's castling rights and e.p. square). Returns
  // kResMate when a key was found, kResNoMate when none exists, and
  // kResEndOfDepth when stopped. Solutions found stay in Solutions() across
  // calls (a run's passes share them).
  uint8_t FindForcedMate(const TChessboard& root, int nMoves);
  // The same with the node search of a policy (search_policy.h); the run's
  // dispatcher picks it from the settings.
  template <class Policy>
  uint8_t FindForcedMateWith(const TChessboard& root, int nMoves);

  // Shortest mate of White (to move in pos) within maxMoves moves: its length
  // in moves (0 when there is none, or when stopped) and its first move.
  int ShortestMate(const TChessboard& pos, int maxMoves, TMove* firstMove = nullptr);

  // Fills threats and variations of the solutions found (after a search).
  void Explain(const TChessboard& root, int nMoves);

  const std::vector<TSolution>& Solutions() const { return solutions_; }
  void ClearSolutions() { solutions_.clear(); }

  // Also wakes the threads of a paused search, which then end.
  void RequestStop();
  bool StopRequested() const { return stop_.load(std::memory_order_relaxed); }
  bool RepetitionSeen() const { return repetitionSeen_.load(); }
  // A search thread ran out of memory; the search then stopped ("Out of memory.").
  bool OutOfMemory() const { return outOfMemory_.load(); }

  // The counters of the searches run with settings.collectStats, summed over
  // their threads (empty otherwise).
  TSearchStats Stats() const;
  void AddStats(const TSearchStats& s);

  TSearchProgress& Progress() { return progress_; }
  uint64_t Nodes() const { return progress_.nodes.load(std::memory_order_relaxed); }
  TAggregatedTemporaryChessboardRegister& Register() { return *reg_; }
  const TSearchSettings& Settings() const { return settings_; }
  // A line of the search log (nothing when there is none).
  void LogLine(const std::string& text) { log_.Line(text); }
  // Writes out what the log holds, before a later pass's search appends.
  void FlushLog() { log_.Flush(); }

  // Called (under a lock) each time a key is found.
  std::function<void(const TSolution&)> onSolution;

  // Thread-count proposal made at the root (0 when none). When the callback is
  // set it is asked (with the proposed count) and a true answer makes the
  // search use that many first-level threads.
  int ThreadProposal() const { return threadProposal_; }
  std::function<bool(int)> onThreadProposal;

  // Manual control (see TManualControl); false when there is nothing to act on.
  bool Control(TManualControl c, const TMove* target = nullptr);
  // "&Pause (right click)": every search thread waits at its next node.
  void SetPaused(bool paused);
  bool Paused() const { return pause_.load(); }
  // "&Pause one thread (right click + ctrl)": index among RunningThreads().
  bool PauseThread(int index, bool paused);
  int RunningThreads() const;

 private:
  template <class Policy>
  friend class TSearcher;

 public:
  // The pieces below are for the search's own threads (searcher.cpp,
  // split_levels.cpp), not for callers.
  template <class Policy>
  uint8_t SplitNode(TSearcher<Policy>& parent, int p, int d, int level);
  void RegisterThread(TSearcherBase* s);
  void UnregisterThread(TSearcherBase* s);
  void WaitWhilePaused(const std::atomic<bool>& self);
  void OutOfMemoryInThread();

 private:
  bool AddSolution(const TChessboard& root, const TMove& m, int mateInPlies, bool confirmed = true);
  // An exact search of the root move m with bound `plies`: is it a key?
  bool ConfirmKey(const TChessboard& root, const TMove& m, int plies);
  // Runs fn on min(wanted, work) threads (at least one) and waits for them.
  void RunStage(int wanted, int work, const std::function<void(TWorkerSlot&)>& fn);
  int PoolSizeFor(int wanted, int seats) const;
  bool LimitReached() const;
  void EnsureRegister(int plies);
  uint32_t ElementLimit(uint32_t buckets) const;

  TSearchSettings settings_;
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg_;
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> rightsReg_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> repetitionSeen_{false};
  std::mutex solutionsLock_;
  std::vector<TSolution> solutions_;
  TSearchProgress progress_;
  TSearchLog log_;
  int threadProposal_ = 0;
  std::atomic<bool> pause_{false};
  std::mutex pauseLock_;  // pause_, stop_ and the threads' own pause flags change under it
  std::condition_variable pauseCv_;
  std::atomic<bool> outOfMemory_{false};
  mutable std::mutex controlLock_;
  std::shared_ptr<TLevelQueue> rootQueue_;
  std::vector<TSearcherBase*> searchers_;
  mutable std::mutex statsLock_;
  TSearchStats stats_;
  std::unique_ptr<TWorkerSlot> inlineSlot_;  // the searcher of a one-thread run
  std::unique_ptr<TWorkerPool> pool_;        // last: its workers use everything above
};

// The run's entry to the search: checks the three values that once chose a
// compiled variant of the search (look-for-quicker-mate depth 0..9, verify
// heuristics 0, 1 or 255, exceptions allowed 0 or 1), picks the node-search
// policy for the settings and runs FindForcedMateWith. A value outside those
// sets throws std::runtime_error with "Error: no implementation in
// FindMateMultithreadingLevelThreadProcFFM for ..." naming the value.
uint8_t DispatchFindMateFFM(TMateSearch& search, const TChessboard& root, int nMoves);

}  // namespace ostravel

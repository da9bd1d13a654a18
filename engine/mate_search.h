#pragma once
// The forced-mate search (FindForcedMate): every key of a directmate, with
// threats and variations, using the temporary register for proved results.
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/search_log.h"
#include "engine/search_types.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;
class TLevelQueue;
class TSearcher;

// Number of search threads running in the whole process.
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

// Bucket count of the temporary register for a run with a root bound of
// `plies`, given the memory allowed to the register.
uint32_t RegisterBucketsForRun(int plies, bool smallRegister, uint64_t tempRegLimitMB);

// Live figures of a running search, safe to read from another thread.
struct TSearchProgress {
  std::atomic<uint64_t> nodes{0};
  std::atomic<int> rootDone{0};     // root candidates finished in the current stage
  std::atomic<int> rootTotal{0};
  std::atomic<int> depthMoves{0};   // mate length (moves) being searched at the root
  std::atomic<int> shortestKnown{0};
  std::mutex lineLock;
  std::string currentLine;          // root move under analysis, in full notation
};

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

  // Shortest mate of White (to move in pos) within maxMoves moves: its length
  // in moves (0 when there is none, or when stopped) and its first move.
  int ShortestMate(const TChessboard& pos, int maxMoves, TMove* firstMove = nullptr);

  // Fills threats and variations of the solutions found (after a search).
  void Explain(const TChessboard& root, int nMoves);

  const std::vector<TSolution>& Solutions() const { return solutions_; }
  void ClearSolutions() { solutions_.clear(); }

  void RequestStop() { stop_.store(true, std::memory_order_relaxed); }
  bool StopRequested() const { return stop_.load(std::memory_order_relaxed); }
  std::atomic<bool>& StopFlag() { return stop_; }
  bool RepetitionSeen() const { return repetitionSeen_.load(); }
  // A search thread ran out of memory; the search then stopped ("Out of memory.").
  bool OutOfMemory() const { return outOfMemory_.load(); }

  TSearchProgress& Progress() { return progress_; }
  uint64_t Nodes() const { return progress_.nodes.load(std::memory_order_relaxed); }
  TAggregatedTemporaryChessboardRegister& Register() { return *reg_; }
  const TSearchSettings& Settings() const { return settings_; }

  // Called (under a lock) each time a key is found.
  std::function<void(const TSolution&)> onSolution;

  // Thread-count proposal made at the root (0 when none). When the callback is
  // set it is asked (with the proposed count) and a true answer makes the
  // search use that many first-level threads.
  int ThreadProposal() const { return threadProposal_; }
  std::function<bool(int)> onThreadProposal;

  // Manual control (see TManualControl); false when there is nothing to act on.
  bool Control(TManualControl c, const TMove* target = nullptr);
  // "&Pause (right click)": every search thread idles in 1 ms steps.
  void SetPaused(bool paused) { pause_.store(paused); }
  bool Paused() const { return pause_.load(); }
  // "&Pause one thread (right click + ctrl)": index among RunningThreads().
  bool PauseThread(int index, bool paused);
  int RunningThreads() const;

 private:
  friend class TSearcher;
  bool AddSolution(const TChessboard& root, const TMove& m, int mateInPlies);
  void RunThreads(int wanted, int work, const std::function<void()>& fn);
  uint8_t SplitNode(TSearcher& parent, int p, int d, int level);
  void RegisterThread(TSearcher* s);
  void UnregisterThread(TSearcher* s);
  bool LimitReached() const;
  void EnsureRegister(int plies);

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
  std::atomic<bool> outOfMemory_{false};
  mutable std::mutex controlLock_;
  std::shared_ptr<TLevelQueue> rootQueue_;
  std::vector<TSearcher*> searchers_;
};

// The thread procedure of one multithreading level, instantiated per setting;
// the dispatcher picks the instantiation from the run's settings. Returns the
// search result code, or throws with "Error: no implementation in
// FindMateMultithreadingLevelThreadProcFFM for ..." for a value outside the
// instantiated sets.
uint8_t DispatchFindMateFFM(TMateSearch& search, const TChessboard& root, int nMoves);

}  // namespace ostravel

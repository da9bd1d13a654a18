#pragma once
// One search thread's node search: its own position stack and move-ordering
// memory; the register, the solution list and the controls are shared
// through the TMateSearch. A template on the search policy (search_policy.h).
#include <atomic>
#include <cstdint>
#include <vector>

#include "chess/board.h"
#include "engine/heuristic_policy.h"
#include "engine/search_log.h"
#include "engine/search_policy.h"
#include "engine/search_stats.h"
#include "engine/search_types.h"
#include "problems/problem.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;
class IPositionProbe;
class TMateSearch;

constexpr int kMaxSearchPly = 250;
static_assert(2 * kMaxStipulationMoves <= kMaxSearchPly, "a stipulation that loads must fit the search");
// Cancel flags a searcher can watch at once (one per split level and more).
constexpr int kMaxSearchCancels = 72;

// What a worker of the pool keeps between jobs: the searcher it reuses, of
// whichever policy the run uses.
class TSearcherBase {
 public:
  virtual ~TSearcherBase() = default;
  // Raised by "Pause one thread"; read at every White node.
  std::atomic<bool> pausedSelf{false};
};

template <class Policy>
class TSearcher final : public TSearcherBase {
 public:
  explicit TSearcher(TMateSearch& s);
  TSearcher(TMateSearch& s, const TChessboard& root) : TSearcher(s) { Reset(&root, 0); }
  ~TSearcher() override { Flush(); }
  TSearcher(const TSearcher&) = delete;
  TSearcher& operator=(const TSearcher&) = delete;

  // Continues a line: line[0..p] are copied (line[0] the root); the move
  // memory and the cancel flags start afresh.
  void Reset(const TChessboard* line, int p);

  // Adds the nodes (and with the stats policy, the counters) counted so far
  // to the search's figures.
  void Flush();

  bool Stopped() const {
    if (stop_.load(std::memory_order_relaxed) || (limitFlag_ && limitFlag_->load(std::memory_order_relaxed)))
      return true;
    for (int i = 0; i < nCancels_; ++i)
      if (cancels_[i]->load(std::memory_order_relaxed)) return true;
    return false;
  }
  // Flags that end this searcher's current work (a skipped move, a split node
  // already decided by another thread); innermost last.
  static constexpr int kMaxCancels = kMaxSearchCancels;
  void PushCancel(const std::atomic<bool>* f) {
    if (nCancels_ < kMaxCancels) cancels_[nCancels_++] = f;
  }
  void PopCancel() { --nCancels_; }
  int CancelCount() const { return nCancels_; }
  const std::atomic<bool>* const* Cancels() const { return cancels_; }
  const std::atomic<bool>* LimitFlag() const { return limitFlag_; }
  // A flag raised when the solution limit is reached: the other threads stop.
  void SetLimitFlag(const std::atomic<bool>* f) { limitFlag_ = f; }

  TChessboard* Stack() { return stack_; }
  // A thread that joins a move another thread is analysing takes the moves of
  // the first plies below it in reverse order, so that the two cover
  // different ground and meet through the register.
  void SetHelper(bool on, int belowPly) {
    helper_ = on;
    helperUntil_ = belowPly + 3;
  }

  // Node searches on stack_[p] with bound d plies.
  uint8_t WhiteAt(int p, int d) { return White(p, d); }
  uint8_t BlackAt(int p, int d);
  // The Black node at stack_[p] up to the first reply that holds, when it is
  // among the first `tries` replies (the killers first). Returns kResMate
  // when none of them holds; the rest are not searched.
  uint8_t FirstRepliesHold(int p, int d, int tries, TMove* moves, int n);
  // Result of the root candidate m searched with bound d plies.
  uint8_t RootMove(const TMove& m, int d);

  // Shortest mate of White in stack_[p] within d plies: its length in plies
  // (0 when none) and the first move found at that length, or, with `all`,
  // every first move of that length.
  int ShortestMates(int p, int d, TMove* first, std::vector<TMove>* all = nullptr);
  // Threat and variations of a key (bound d plies at the root).
  void Explain(TSolution& sol, int d);

  uint64_t nodes_ = 0;

 private:
  static bool IsMate(const TChessboard& b);
  struct TKey {
    TAggregatedTemporaryChessboardRegister* reg;
    const uint8_t* board;
    uint32_t hash;
    uint8_t marked[64];
  };
  void KeyOf(const TChessboard& b, TKey& k);
  void Store(int p, TKey& k, uint16_t plies, bool mate) {
    k.reg->Insert(plies, k.board, k.hash, mate);
    if constexpr (Policy::kStats) ++At(p).regStores;
  }
  bool IsRepetition(int p) const;
  static void PutFirst(TMove* m, int n, const TMove* killers);
  static void Remember(TMove* killers, const TMove& m);
  static int ShortMateDepth(const TChessboard& b);
  bool ProbeAllowed(const TChessboard& b) const;
  void CountNode(int ply) {
    ++nodes_;
    if constexpr (Policy::kStats) ++stats_.plies[static_cast<size_t>(ply)].nodes;
  }
  // The counters of ply p; only the stats policy may call it.
  TSearchPlyStats& At(int p) { return stats_.plies[static_cast<size_t>(p)]; }

  bool MateInOne(int p);
  // White has just played into stack_[p + 1]: would White, were it to move
  // again, mate within `plies`? (The threat test of FindForcedMate, searched
  // exactly.)
  bool Threatens(int p, int plies);
  // The position of stack_[p] without White's least valuable man is one the
  // probe knows to have no mate within d plies.
  bool ReducedHasNoMate(int p, int d);
  uint8_t White(int p, int d);
  uint8_t WhiteProbed(int p, int d, bool storable, TKey& key, int lo);
  uint8_t Deepen(int p, int d, int lo, bool storable, TKey& key, const TMove* skip, int nSkip);
  uint8_t WhiteMoves(int p, int k, const TMove* skip, int nSkip);
  uint8_t Black(int p, int d);
  void Variations(int p, int d, std::vector<TVariation>& out, int& budget, bool& truncated);

  TMateSearch& s_;
  TAggregatedTemporaryChessboardRegister& reg_;
  TAggregatedTemporaryChessboardRegister& rightsReg_;
  std::atomic<bool>& stop_;
  TSearchLog* log_;
  int registerPlies_ = -1;  // bound the register gave the last White node (log only)
  IPositionProbe* probe_;
  int probeMaxMen_ = 0;
  const std::atomic<bool>* limitFlag_ = nullptr;
  const std::atomic<bool>* cancels_[kMaxCancels];
  int nCancels_ = 0;
  int minStore_ = 4;
  bool etc_ = true;
  bool helper_ = false;
  int helperUntil_ = 0;
  bool cutRepetitions_ = false;
  int shortMatePlies_ = 0;
  TChessboard stack_[kMaxSearchPly + 4];
  TMove killerW_[kMaxSearchPly + 4][2];
  TMove killerB_[kMaxSearchPly + 4][2];
  TSearchStats stats_;  // empty unless Policy::kStats
  Policy policy_;
  int bypass_ = 0;  // > 0: inside an exact probe of a heuristic search (threat test)
};

extern template class TSearcher<TExactPolicy>;
extern template class TSearcher<TExactStatsPolicy>;
extern template class TSearcher<THeuristicPolicy>;

}  // namespace ostravel

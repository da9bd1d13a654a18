#pragma once
// The threads of a search: a pool of parked workers that takes the root's
// candidates (the first multithreading level) and helps at the split nodes of
// the further levels. Workers are made once per search object and sleep on a
// condition variable between jobs, so a split node creates no thread and
// allocates nothing: its job lives on the stack of the thread that owns it.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "chess/board.h"
#include "engine/searcher.h"

namespace ostravel {

class TMateSearch;

// What a worker keeps between jobs.
struct TWorkerSlot {
  std::unique_ptr<TSearcherBase> searcher;
};

// The worker's searcher for the policy P, made on first use.
template <class P>
TSearcher<P>& SearcherOf(TWorkerSlot& slot, TMateSearch& search) {
  auto* s = dynamic_cast<TSearcher<P>*>(slot.searcher.get());
  if (!s) {
    slot.searcher = std::make_unique<TSearcher<P>>(search);
    s = static_cast<TSearcher<P>*>(slot.searcher.get());
  }
  return *s;
}

// One split node: its moves, handed out in order, and how they decide it.
// The owner searches it too; idle workers join while it is offered.
struct TSplitJob {
  void (*help)(TSplitJob&, TWorkerSlot&, TMateSearch&) = nullptr;
  const TChessboard* line = nullptr;  // the owner's stack; line[0..p] stay put while offered
  int p = 0, d = 0, level = 0;
  bool white = false;
  TMove moves[kMaxMoves];
  int n = 0;
  std::atomic<int> next{0};
  std::atomic<bool> decided{false};
  std::atomic<uint8_t> result{kResNoMate};
  std::atomic<bool> repetition{false};
  std::atomic<bool> doubtful{false};
  // The owner's cancel flags at the split, inherited by every helper.
  const std::atomic<bool>* cancels[kMaxSearchCancels];
  int nCancels = 0;
  const std::atomic<bool>* limitFlag = nullptr;
  // Under the pool's lock.
  int helpers = 0;
  int maxHelpers = 0;
  TSplitJob* nextOffered = nullptr;
};

class TWorkerPool {
 public:
  explicit TWorkerPool(TMateSearch& search) : search_(search) {}
  ~TWorkerPool();
  TWorkerPool(const TWorkerPool&) = delete;
  TWorkerPool& operator=(const TWorkerPool&) = delete;

  // Runs fn once on each of `seats` workers, with at least `size` workers in
  // the pool, and returns when every seat has returned. Workers without a
  // seat, and seats that are done early, help at split nodes meanwhile.
  void RunStage(int seats, int size, const std::function<void(TWorkerSlot&)>& fn);
  // Lets idle workers join a split node; Withdraw closes it to newcomers and
  // waits until its helpers are gone.
  void Offer(TSplitJob& job);
  void Withdraw(TSplitJob& job);
  int Size() const { return static_cast<int>(threads_.size()); }
  // Some worker is parked: a split node made now would get help. A node that
  // would not is searched whole by its own thread, which keeps the move
  // memory and the register look-ahead of the plain node search.
  bool HasIdle() const { return idle_.load(std::memory_order_relaxed) > 0; }

 private:
  void Loop(TWorkerSlot& slot);
  TSplitJob* OpenJobLocked() const;
  void Run(const std::function<void()>& fn);

  TMateSearch& search_;
  std::mutex lock_;
  std::condition_variable wake_;  // parked workers
  std::condition_variable done_;  // a stage caller or a split node's owner
  std::vector<std::unique_ptr<TWorkerSlot>> slots_;
  std::vector<std::thread> threads_;
  const std::function<void(TWorkerSlot&)>* stage_ = nullptr;
  int seatsLeft_ = 0;
  int seatsBusy_ = 0;
  TSplitJob* offered_ = nullptr;
  bool quit_ = false;
  std::atomic<int> idle_{0};  // parked workers; changes under lock_
};

}  // namespace ostravel

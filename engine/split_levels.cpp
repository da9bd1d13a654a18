// Multithreading levels: the worker pool, the split nodes of the levels below
// the root, the thread registry and the manual controls.
#include "engine/split_levels.h"

#include <algorithm>

#include "engine/crash_info.h"
#include "engine/level_queue.h"
#include "engine/mate_search.h"
#include "engine/threads.h"

namespace ostravel {

namespace {
// Workers of every search of the process that are busy with search work.
std::atomic<int> g_runningSearchThreads{0};
}  // namespace

int RunningSearchThreads() {
  return g_runningSearchThreads.load();
}

// ---------------------------------------------------------------- pool

TWorkerPool::~TWorkerPool() {
  {
    std::lock_guard<std::mutex> lk(lock_);
    quit_ = true;
  }
  wake_.notify_all();
  for (auto& t : threads_) t.join();
}

void TWorkerPool::Run(const std::function<void()>& fn) {
  ++g_runningSearchThreads;
  try {
    fn();
  } catch (const std::bad_alloc&) {
    search_.OutOfMemoryInThread();
  }
  --g_runningSearchThreads;
}

TSplitJob* TWorkerPool::OpenJobLocked() const {
  for (TSplitJob* j = offered_; j; j = j->nextOffered)
    if (j->helpers < j->maxHelpers && j->next.load(std::memory_order_relaxed) < j->n) return j;
  return nullptr;
}

void TWorkerPool::Loop(TWorkerSlot& slot) {
  EngineThreadStarted();
  std::unique_lock<std::mutex> lk(lock_);
  // Counted idle from parking until it takes work, wake-ups without work
  // included, so that a split node never misses a free worker.
  bool parked = false;
  auto unpark = [&] {
    if (parked) --idle_;
    parked = false;
  };
  for (;;) {
    if (quit_) return;
    if (seatsLeft_ > 0) {
      unpark();
      --seatsLeft_;
      ++seatsBusy_;
      const auto* fn = stage_;
      lk.unlock();
      Run([&] { (*fn)(slot); });
      lk.lock();
      if (--seatsBusy_ == 0 && seatsLeft_ == 0) done_.notify_all();
      continue;
    }
    if (TSplitJob* job = OpenJobLocked()) {
      unpark();
      ++job->helpers;
      lk.unlock();
      Run([&] { job->help(*job, slot, search_); });
      lk.lock();
      if (--job->helpers == 0) done_.notify_all();
      continue;
    }
    if (!parked) {
      parked = true;
      ++idle_;
      done_.notify_all();  // a new pool waits for its workers to park
    }
    wake_.wait(lk);
  }
}

void TWorkerPool::RunStage(int seats, int size, const std::function<void(TWorkerSlot&)>& fn) {
  std::unique_lock<std::mutex> lk(lock_);
  if (static_cast<int>(threads_.size()) < std::max(seats, size)) {
    while (static_cast<int>(threads_.size()) < std::max(seats, size)) {
      slots_.push_back(std::make_unique<TWorkerSlot>());
      TWorkerSlot* slot = slots_.back().get();
      threads_.emplace_back([this, slot] { Loop(*slot); });
    }
    // Once, when workers are added: every one parked before the seats go out,
    // so that the first split nodes already see who is free.
    done_.wait(lk, [&] { return idle_.load() == static_cast<int>(threads_.size()); });
  }
  stage_ = &fn;
  seatsLeft_ = seats;
  wake_.notify_all();
  done_.wait(lk, [&] { return seatsLeft_ == 0 && seatsBusy_ == 0; });
  stage_ = nullptr;
}

void TWorkerPool::Offer(TSplitJob& job) {
  {
    std::lock_guard<std::mutex> lk(lock_);
    job.nextOffered = offered_;
    offered_ = &job;
  }
  for (int i = 0; i < job.maxHelpers; ++i) wake_.notify_one();
}

void TWorkerPool::Withdraw(TSplitJob& job) {
  std::unique_lock<std::mutex> lk(lock_);
  for (TSplitJob** at = &offered_; *at; at = &(*at)->nextOffered)
    if (*at == &job) {
      *at = job.nextOffered;
      break;
    }
  done_.wait(lk, [&] { return job.helpers == 0; });
}

// ---------------------------------------------------------------- split nodes

namespace {

// Takes the job's moves one by one until none is left or the node is
// decided: one mating White move decides a White node, one Black reply that
// holds decides a Black node.
template <class P>
void WorkSplit(TSearcher<P>& s, TSplitJob& job, TMateSearch& search) {
  TChessboard* stack = s.Stack();
  for (;;) {
    if (s.Stopped()) break;
    const int i = job.next.fetch_add(1, std::memory_order_relaxed);
    if (i >= job.n) break;
    PlayMove(stack[job.p], stack[job.p + 1], job.moves[i]);
    const uint8_t r = search.SplitNode(s, job.p + 1, job.d - 1, job.level + 1);
    if (s.Stopped()) break;
    if (job.white && r == kResMate) {
      job.result = kResMate;
      job.decided = true;
    } else if (!job.white && r != kResMate) {
      job.result = r;
      job.decided = true;
    } else if (r == kResRepetition) {
      job.repetition = true;
    } else if (r == kResDoubtful) {
      job.doubtful = true;
    }
  }
}

template <class P>
void HelpSplit(TSplitJob& job, TWorkerSlot& slot, TMateSearch& search) {
  TSearcher<P>& s = SearcherOf<P>(slot, search);
  s.Reset(job.line, job.p);
  s.SetLimitFlag(job.limitFlag);
  for (int i = 0; i < job.nCancels; ++i) s.PushCancel(job.cancels[i]);
  s.PushCancel(&job.decided);
  search.RegisterThread(&s);
  WorkSplit(s, job, search);
  search.UnregisterThread(&s);
  s.Flush();
}

}  // namespace

template <class P>
uint8_t TMateSearch::SplitNode(TSearcher<P>& parent, int p, int d, int level) {
  TChessboard* line = parent.Stack();
  const TChessboard& node = line[p];
  const bool white = node.WhiteToMove();
  if (level > settings_.levels || d < 2 || !pool_ || !pool_->HasIdle())
    return white ? parent.WhiteAt(p, d) : parent.BlackAt(p, d);
  TSplitJob job;
  int n = GenerateLegalMoves(node, job.moves);
  if (!white && n == 0) return IsKingAttacked(node, kBlack) ? kResMate : kResNoMate;
  if (!white) {
    // One reply usually holds: the likeliest one is searched alone first, and
    // the node is split only when it does not.
    const uint8_t r = parent.FirstRepliesHold(p, d, 1, job.moves, n);
    if (r != kResMate || parent.Stopped()) return parent.Stopped() ? kResEndOfDepth : r;
    std::copy(job.moves + 1, job.moves + n, job.moves);
    if (--n == 0) return kResMate;
  }
  if (log_.IsOpen()) log_.NextLevel();
  job.help = &HelpSplit<P>;
  job.line = line;
  job.p = p;
  job.d = d;
  job.level = level;
  job.white = white;
  job.n = n;
  job.result = white ? kResNoMate : kResMate;
  job.limitFlag = parent.LimitFlag();
  job.nCancels = parent.CancelCount();
  std::copy(parent.Cancels(), parent.Cancels() + job.nCancels, job.cancels);
  // The owner counts as one of the node's threads; below the first level a
  // brute-force run gives each node two.
  const int threads = settings_.bruteForce && level > 1 ? std::min(2, settings_.threads) : settings_.threads;
  job.maxHelpers = n > 1 ? std::max(0, threads - 1) : 0;
  if (job.maxHelpers) pool_->Offer(job);
  parent.PushCancel(&job.decided);
  WorkSplit(parent, job, *this);
  parent.PopCancel();
  if (job.maxHelpers) pool_->Withdraw(job);
  if (parent.Stopped()) return kResEndOfDepth;
  uint8_t r = job.result.load();
  if (white && r == kResNoMate && job.doubtful.load()) r = kResDoubtful;
  if (white && r == kResNoMate && job.repetition.load()) r = kResRepetition;
  return r;
}

template uint8_t TMateSearch::SplitNode(TSearcher<TExactPolicy>&, int, int, int);
template uint8_t TMateSearch::SplitNode(TSearcher<TExactStatsPolicy>&, int, int, int);
template uint8_t TMateSearch::SplitNode(TSearcher<THeuristicPolicy>&, int, int, int);

// ---------------------------------------------------------------- stages

int TMateSearch::PoolSizeFor(int wanted, int seats) const {
  if (settings_.levels < 2) return seats;
  // The first level's count even when it has fewer candidates (the rest
  // help at split nodes), and more workers only while processors are free
  // for them: more threads than processors would only slice the same time.
  const int base = std::max(wanted, seats);
  const long long all = EffectiveThreadCount(base, 0, settings_.levels, settings_.bruteForce);
  const int free = std::max(0, ProcessorCount(true) - base);
  return base + static_cast<int>(std::min<long long>(std::max<long long>(0, all - base), free));
}

void TMateSearch::RunStage(int wanted, int work, const std::function<void(TWorkerSlot&)>& fn) {
  const int seats = std::max(1, std::min(wanted, work));
  if (settings_.threads <= 1 && seats == 1) {
    if (!inlineSlot_) inlineSlot_ = std::make_unique<TWorkerSlot>();
    try {
      fn(*inlineSlot_);
    } catch (const std::bad_alloc&) {
      OutOfMemoryInThread();
    }
    return;
  }
  if (!pool_) pool_ = std::make_unique<TWorkerPool>(*this);
  pool_->RunStage(seats, PoolSizeFor(wanted, seats), fn);
}

void TMateSearch::OutOfMemoryInThread() {
  outOfMemory_ = true;
  RequestStop();
}

// ---------------------------------------------------------------- controls

void TMateSearch::RequestStop() {
  {
    std::lock_guard<std::mutex> lk(pauseLock_);
    stop_.store(true, std::memory_order_relaxed);
  }
  pauseCv_.notify_all();
}

void TMateSearch::SetPaused(bool paused) {
  {
    std::lock_guard<std::mutex> lk(pauseLock_);
    pause_.store(paused);
  }
  pauseCv_.notify_all();
}

void TMateSearch::WaitWhilePaused(const std::atomic<bool>& self) {
  std::unique_lock<std::mutex> lk(pauseLock_);
  pauseCv_.wait(lk, [&] { return (!pause_.load() && !self.load()) || stop_.load(); });
}

void TMateSearch::RegisterThread(TSearcherBase* s) {
  std::lock_guard<std::mutex> lk(controlLock_);
  searchers_.push_back(s);
}

void TMateSearch::UnregisterThread(TSearcherBase* s) {
  std::lock_guard<std::mutex> lk(controlLock_);
  searchers_.erase(std::remove(searchers_.begin(), searchers_.end(), s), searchers_.end());
}

int TMateSearch::RunningThreads() const {
  std::lock_guard<std::mutex> lk(controlLock_);
  return static_cast<int>(searchers_.size());
}

bool TMateSearch::PauseThread(int index, bool paused) {
  {
    std::lock_guard<std::mutex> lk(controlLock_);
    if (index < 0 || index >= static_cast<int>(searchers_.size())) return false;
    std::lock_guard<std::mutex> pl(pauseLock_);
    searchers_[static_cast<size_t>(index)]->pausedSelf = paused;
  }
  pauseCv_.notify_all();
  return true;
}

bool TMateSearch::Control(TManualControl c, const TMove* target) {
  std::shared_ptr<TLevelQueue> q;
  {
    std::lock_guard<std::mutex> lk(controlLock_);
    q = rootQueue_;
  }
  if (!q) return false;
  switch (c) {
    case TManualControl::kSkipCurrent:
      return q->SkipCurrent();
    case TManualControl::kSkipNext:
      return q->SkipNext(1) > 0;
    case TManualControl::kSkip5:
      return q->SkipNext(5) > 0;
    case TManualControl::kSkipTo:
      return target && q->SkipTo(*target) > 0;
    case TManualControl::kSwapWithNext:
      return q->SwapNext();
    case TManualControl::kShiftToLast:
      return q->ShiftCurrentToLast();
  }
  return false;
}

}  // namespace ostravel

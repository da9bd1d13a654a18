#include "engine/level_queue.h"

#include <algorithm>

namespace ostravel {

TLevelQueue::TLevelQueue(std::vector<TMove> moves, bool letTwoThreadsShareAMove)
    : moves_(std::move(moves)),
      state_(moves_.size(), State::kFree),
      runners_(moves_.size(), 0),
      result_(moves_.size(), 0),
      share_(letTwoThreadsShareAMove) {
  for (size_t i = 0; i < moves_.size(); ++i) {
    cancel_.push_back(std::make_unique<std::atomic<bool>>(false));
    order_.push_back(static_cast<int>(i));
  }
}

int TLevelQueue::Take(bool* joined) {
  std::lock_guard<std::mutex> lk(lock_);
  if (joined) *joined = false;
  for (int i : order_)
    if (state_[static_cast<size_t>(i)] == State::kFree) {
      state_[static_cast<size_t>(i)] = State::kRunning;
      ++runners_[static_cast<size_t>(i)];
      return i;
    }
  if (share_)
    for (int i : order_)
      if (state_[static_cast<size_t>(i)] == State::kRunning && runners_[static_cast<size_t>(i)] == 1) {
        ++runners_[static_cast<size_t>(i)];
        if (joined) *joined = true;
        return i;
      }
  return -1;
}

bool TLevelQueue::Finish(int i, uint8_t r) {
  std::lock_guard<std::mutex> lk(lock_);
  const size_t k = static_cast<size_t>(i);
  --runners_[k];
  if (state_[k] != State::kRunning) return false;
  state_[k] = State::kDone;
  result_[k] = r;
  // A second thread still on this move has nothing left to find.
  if (runners_[k] > 0) cancel_[k]->store(true);
  return true;
}

const std::atomic<bool>* TLevelQueue::CancelFlag(int i) const {
  std::lock_guard<std::mutex> lk(lock_);
  return cancel_[static_cast<size_t>(i)].get();
}

TMove TLevelQueue::MoveAt(int i) const {
  std::lock_guard<std::mutex> lk(lock_);
  return moves_[static_cast<size_t>(i)];
}

uint8_t TLevelQueue::ResultOf(int i) const {
  std::lock_guard<std::mutex> lk(lock_);
  return result_[static_cast<size_t>(i)];
}

size_t TLevelQueue::Size() const {
  std::lock_guard<std::mutex> lk(lock_);
  return moves_.size();
}

TLevelQueue::State TLevelQueue::StateOf(int i) const {
  std::lock_guard<std::mutex> lk(lock_);
  return state_[static_cast<size_t>(i)];
}

int TLevelQueue::CurrentLocked() const {
  for (int i : order_)
    if (state_[static_cast<size_t>(i)] == State::kRunning) return i;
  return -1;
}

bool TLevelQueue::SkipCurrent() {
  std::lock_guard<std::mutex> lk(lock_);
  const int c = CurrentLocked();
  if (c < 0) return false;
  state_[static_cast<size_t>(c)] = State::kSkipped;
  cancel_[static_cast<size_t>(c)]->store(true);
  return true;
}

int TLevelQueue::SkipNext(int count) {
  std::lock_guard<std::mutex> lk(lock_);
  int n = 0;
  for (int i : order_) {
    if (n >= count) break;
    if (state_[static_cast<size_t>(i)] == State::kFree) {
      state_[static_cast<size_t>(i)] = State::kSkipped;
      ++n;
    }
  }
  return n;
}

int TLevelQueue::SkipTo(const TMove& m) {
  std::lock_guard<std::mutex> lk(lock_);
  int n = 0;
  for (int i : order_) {
    if (moves_[static_cast<size_t>(i)].SameAs(m)) return n;
    if (state_[static_cast<size_t>(i)] == State::kFree) {
      state_[static_cast<size_t>(i)] = State::kSkipped;
      ++n;
    }
  }
  return n;
}

bool TLevelQueue::SwapNext() {
  std::lock_guard<std::mutex> lk(lock_);
  int a = -1;
  for (size_t k = 0; k < order_.size(); ++k) {
    if (state_[static_cast<size_t>(order_[k])] != State::kFree) continue;
    if (a < 0) {
      a = static_cast<int>(k);
      continue;
    }
    std::swap(order_[static_cast<size_t>(a)], order_[k]);
    return true;
  }
  return false;
}

bool TLevelQueue::ShiftCurrentToLast() {
  std::lock_guard<std::mutex> lk(lock_);
  const int c = CurrentLocked();
  if (c < 0) return false;
  const size_t k = static_cast<size_t>(c);
  // The running analysis is abandoned; a fresh entry takes the move up again
  // after every other one.
  cancel_[k]->store(true);
  moves_.push_back(moves_[k]);
  state_.push_back(State::kFree);
  runners_.push_back(0);
  result_.push_back(0);
  cancel_.push_back(std::make_unique<std::atomic<bool>>(false));
  state_[k] = State::kSkipped;
  order_.push_back(static_cast<int>(moves_.size() - 1));
  return true;
}

int TLevelQueue::Skipped() const {
  std::lock_guard<std::mutex> lk(lock_);
  return static_cast<int>(std::count(state_.begin(), state_.end(), State::kSkipped));
}

}  // namespace ostravel

namespace ostravel {

extern const char* const kManualControlWarning;
const char* const kManualControlWarning =
    "Note that manual engine control (reachable from context menu in progress info area) should be used very "
    "carefully, otherwise can result in skipping solutions or false positives.";

}  // namespace ostravel

#pragma once
// The moves of one split node, handed to the node's threads in search order:
// each thread takes the next free move. Also the manual controls that act on
// a running level (skip, swap, shift) and each move's cancel flag.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "chess/board.h"

namespace ostravel {

class TLevelQueue {
 public:
  enum class State : uint8_t { kFree, kRunning, kDone, kSkipped };

  TLevelQueue(std::vector<TMove> moves, bool letTwoThreadsShareAMove);

  // Index (into Moves()) of the next move to analyse, or -1 when none is left.
  // With sharing allowed, a thread that finds no free move joins a running
  // move that only one thread analyses; the register lets the two cooperate.
  int Take(bool* joined = nullptr);
  // The thread that took index i has finished it with result r (ignored when
  // the move was skipped meanwhile). Returns true for the finisher whose
  // result counts.
  bool Finish(int i, uint8_t r);
  // The cancel flag of a move: raised when the move is skipped while running.
  const std::atomic<bool>* CancelFlag(int i) const;

  TMove MoveAt(int i) const;
  State StateOf(int i) const;
  uint8_t ResultOf(int i) const;
  size_t Size() const;

  // Manual control. "Current" is the earliest move in search order that is
  // running; "next" moves are the free ones in search order.
  bool SkipCurrent();          // stop the current move and go on with the next one
  int SkipNext(int count);     // the next `count` free moves are never analysed
  int SkipTo(const TMove& m);  // every free move before m is never analysed
  bool SwapNext();             // the next two free moves change places
  bool ShiftCurrentToLast();   // stop the current move and analyse it again last
  int Skipped() const;

 private:
  int CurrentLocked() const;
  mutable std::mutex lock_;
  std::vector<TMove> moves_;
  std::vector<State> state_;
  std::vector<int> runners_;
  std::vector<uint8_t> result_;
  std::vector<std::unique_ptr<std::atomic<bool>>> cancel_;
  std::vector<int> order_;  // search order: indices into moves_
  bool share_;
};

}  // namespace ostravel

#pragma once
// The shared/exclusive gate of a register. Every insert and look-up passes the
// shared side (one atomic increment and decrement when no writer is about);
// operations that restructure the whole table (clear, clean-up, resize) take
// the exclusive side. The exclusive holder may enter either side again.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace ostravel {

class TRegisterGate {
 public:
  TRegisterGate() = default;
  TRegisterGate(const TRegisterGate&) = delete;
  TRegisterGate& operator=(const TRegisterGate&) = delete;

  void EnterShared() {
    // Fast path: no writer holds or waits. The reader count is raised before
    // the writer fields are read again, so a writer that arrives in between
    // either sees this reader or is seen by it.
    std::atomic<uint32_t>& mine = MySlot();
    if (writersWaiting_.load() == 0 && exclusiveDepth_.load() == 0) {
      mine.fetch_add(1);
      if (writersWaiting_.load() == 0 && exclusiveDepth_.load() == 0) return;
      mine.fetch_sub(1);
    }
    EnterSharedSlow();
  }
  void LeaveShared() { MySlot().fetch_sub(1, std::memory_order_release); }

  void EnterExclusive();
  void LeaveExclusive();

  // True when the calling thread holds the exclusive side.
  bool HeldExclusivelyByMe() const {
    return exclusiveDepth_.load(std::memory_order_acquire) != 0 &&
           owner_.load(std::memory_order_acquire) == std::this_thread::get_id();
  }
  uint32_t Readers() const;

 private:
  void EnterSharedSlow();

  // The reader count is kept in slots, one per thread (threads share a slot
  // only beyond kSlots), each on a cache line of its own: every look-up
  // enters the gate, and a single counter would make the cores fight over
  // its line. The count is the sum of the slots.
  static constexpr int kSlots = 32;
  struct alignas(64) TSlot {
    std::atomic<uint32_t> n{0};
  };
  static int MySlotIndex();
  std::atomic<uint32_t>& MySlot() { return slots_[MySlotIndex()].n; }
  TSlot slots_[kSlots];

  alignas(64) std::atomic<uint32_t> writersWaiting_{0};
  std::atomic<uint32_t> exclusiveDepth_{0};  // re-entry depth of the exclusive holder
  std::atomic<std::thread::id> owner_{};
  std::mutex mutex_;
  std::condition_variable released_;
};

class TSharedGateGuard {
 public:
  explicit TSharedGateGuard(TRegisterGate& g) : gate_(g) { gate_.EnterShared(); }
  ~TSharedGateGuard() { gate_.LeaveShared(); }
  TSharedGateGuard(const TSharedGateGuard&) = delete;
  TSharedGateGuard& operator=(const TSharedGateGuard&) = delete;

 private:
  TRegisterGate& gate_;
};

class TExclusiveGateGuard {
 public:
  explicit TExclusiveGateGuard(TRegisterGate& g) : gate_(g) { gate_.EnterExclusive(); }
  ~TExclusiveGateGuard() { gate_.LeaveExclusive(); }
  TExclusiveGateGuard(const TExclusiveGateGuard&) = delete;
  TExclusiveGateGuard& operator=(const TExclusiveGateGuard&) = delete;

 private:
  TRegisterGate& gate_;
};

}  // namespace ostravel

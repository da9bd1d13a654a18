#include "registers/register_gate.h"

#include <chrono>

namespace ostravel {

int TRegisterGate::MySlotIndex() {
  static std::atomic<int> next{0};
  thread_local const int index = next.fetch_add(1) % kSlots;
  return index;
}

uint32_t TRegisterGate::Readers() const {
  uint32_t sum = 0;
  for (const auto& s : slots_) sum += s.n.load();
  return sum;
}

void TRegisterGate::EnterSharedSlow() {
  // Only the exclusive holder can find its own identifier here.
  if (owner_.load(std::memory_order_acquire) == std::this_thread::get_id()) {
    MySlot().fetch_add(1);
    return;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  // Writers change their fields only under the mutex, so once the predicate
  // holds here no writer can slip in before the count is raised.
  released_.wait(lock, [this] { return writersWaiting_.load() == 0 && exclusiveDepth_.load() == 0; });
  MySlot().fetch_add(1);
}

void TRegisterGate::EnterExclusive() {
  const std::thread::id me = std::this_thread::get_id();
  if (exclusiveDepth_.load() != 0 && owner_.load() == me) {
    exclusiveDepth_.fetch_add(1);
    return;
  }
  {
    std::unique_lock<std::mutex> lock(mutex_);
    writersWaiting_.fetch_add(1);  // new readers now queue behind this writer
    released_.wait(lock, [this] { return exclusiveDepth_.load() == 0; });
    owner_.store(me);
    exclusiveDepth_.store(1);  // set before the waiting count drops, so readers always see a writer
    writersWaiting_.fetch_sub(1);
  }
  // Readers stay inside for one bucket operation only, except a long visit of
  // every record (saving); spin briefly, then back off.
  for (uint32_t spins = 0; Readers() != 0; ++spins) {
    if (spins < 64) {
#if defined(__x86_64__) || defined(__i386__)
      __builtin_ia32_pause();
#endif
    } else if (spins < 2048) {
      std::this_thread::yield();
    } else {
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }
}

void TRegisterGate::LeaveExclusive() {
  if (exclusiveDepth_.load() > 1) {
    exclusiveDepth_.fetch_sub(1);
    return;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    owner_.store(std::thread::id());
    exclusiveDepth_.store(0);
  }
  released_.notify_all();
}

}  // namespace ostravel

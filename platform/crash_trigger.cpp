#include "platform/crash_trigger.h"

#include <cstdlib>

namespace ostravel {

namespace {

// Not derived from std::exception: nothing catches it by accident.
struct TTestCrashException {
  int code;
};

// The pointer is read from volatile memory, so the compiler cannot see that
// it is null and replace the store by a trap instruction.
[[gnu::noinline]] void CrashTestNullWrite() {
  volatile int* volatile target = nullptr;
  *target = 1;
}

[[gnu::noinline]] int CrashTestDivZero(int numerator) {
  volatile int divisor = 0;  // really divided at run time
  return numerator / divisor;
}

[[gnu::noinline]] void CrashTestAbort() {
  std::abort();
}

[[gnu::noinline]] void CrashTestThrow() {
  throw TTestCrashException{42};
}

[[gnu::noinline]] void CrashTestThrowThroughNoexcept() noexcept {
  CrashTestThrow();
}

// Each frame keeps a buffer alive across the call, so the recursion is
// neither a tail call nor folded into a loop.
[[gnu::noinline]] int CrashTestRecurse(volatile char* previous, int depth) {
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  frame[511] = previous ? previous[0] : 0;
  if (depth < 0) return frame[0];
  return CrashTestRecurse(frame, depth + 1) + frame[511];
}

}  // namespace

const char* CrashKindName(TCrashKind kind) {
  switch (kind) {
    case TCrashKind::kNullWrite:
      return "null-write";
    case TCrashKind::kDivZero:
      return "div-zero";
    case TCrashKind::kAbort:
      return "abort";
    case TCrashKind::kThrow:
      return "throw";
    case TCrashKind::kStackOverflow:
      return "stack-overflow";
  }
  return "?";
}

std::optional<TCrashKind> ParseCrashKind(const std::string& name) {
  for (TCrashKind k : {TCrashKind::kNullWrite, TCrashKind::kDivZero, TCrashKind::kAbort, TCrashKind::kThrow,
                       TCrashKind::kStackOverflow})
    if (name == CrashKindName(k)) return k;
  return std::nullopt;
}

void TriggerCrash(TCrashKind kind) {
  switch (kind) {
    case TCrashKind::kNullWrite:
      CrashTestNullWrite();
      break;
    case TCrashKind::kDivZero: {
      volatile int sink = CrashTestDivZero(7);
      (void)sink;
      break;
    }
    case TCrashKind::kAbort:
      CrashTestAbort();
      break;
    case TCrashKind::kThrow:
      CrashTestThrowThroughNoexcept();
      break;
    case TCrashKind::kStackOverflow: {
      volatile int sink = CrashTestRecurse(nullptr, 0);
      (void)sink;
      break;
    }
  }
  // A crash that did not happen (a sanitizer or a debugger took the signal).
  std::abort();
}

}  // namespace ostravel

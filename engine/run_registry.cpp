#include "engine/run_registry.h"

namespace ostravel {

std::atomic<bool> g_bStopPending{false};
std::atomic<bool> g_bBruteForce{false};
std::atomic<bool> g_bEngineThreadProcRunning{false};
std::set<uint32_t> setRunningProblemsIds;
std::set<uint32_t> setProblemsBeingStoppedIds;
std::atomic<int> g_nEngineThreadProcBlackMovesPending{0};
std::atomic<int> g_nEngineThreadProcAuxMatePending{0};

namespace {
// Several runs may be on at once: the flags stay raised while any run needs them.
std::atomic<int> g_bruteForcePasses{0};
std::atomic<int> g_engineThreadProcs{0};
}  // namespace

std::mutex& EngineIdsLock() {
  static std::mutex m;
  return m;
}

void RequestStopOfProblem(uint32_t problemId) {
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  if (!setRunningProblemsIds.count(problemId)) return;
  setProblemsBeingStoppedIds.insert(problemId);
  g_bStopPending.store(true);
}

bool IsProblemBeingStopped(uint32_t problemId) {
  if (!g_bStopPending.load(std::memory_order_relaxed)) return false;
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  return setProblemsBeingStoppedIds.count(problemId) != 0;
}

bool EnterRunningProblem(uint32_t problemId) {
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  // A problem already being solved takes no second slot.
  if (setRunningProblemsIds.size() >= kMaxProblemsSolvedAtOnce || setRunningProblemsIds.count(problemId))
    return false;
  setRunningProblemsIds.insert(problemId);
  return true;
}

void LeaveRunningProblem(uint32_t problemId) {
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  setRunningProblemsIds.erase(problemId);
  setProblemsBeingStoppedIds.erase(problemId);
  if (setProblemsBeingStoppedIds.empty()) g_bStopPending.store(false);
}

TBruteForceFlag::TBruteForceFlag(bool on) : on_(on) {
  if (on_ && g_bruteForcePasses.fetch_add(1) == 0) g_bBruteForce.store(true);
}

TBruteForceFlag::~TBruteForceFlag() {
  if (on_ && g_bruteForcePasses.fetch_sub(1) == 1) g_bBruteForce.store(false);
}

TEngineThreadProcFlag::TEngineThreadProcFlag() {
  if (g_engineThreadProcs.fetch_add(1) == 0) g_bEngineThreadProcRunning.store(true);
}

TEngineThreadProcFlag::~TEngineThreadProcFlag() {
  if (g_engineThreadProcs.fetch_sub(1) == 1) g_bEngineThreadProcRunning.store(false);
}

}  // namespace ostravel

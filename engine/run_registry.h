#pragma once
// The process-wide record of the runs: which problems are being solved, which
// are asked to stop, and the plain flags the crash handler prints. The set is
// bounded so that the runs' registers stay within a known share of memory.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

namespace ostravel {

// Upper bound of the set of running problems. Each run may size its temporary
// register up to the whole MaxMemRatioForTempReg budget, so the bound keeps
// the worst case at four budgets (80% of physical memory with the default
// ratio of 20%); a fifth request is refused with "Too many problems being
// solved at the same time.".
constexpr size_t kMaxProblemsSolvedAtOnce = 4;

// Plain flags polled by the runs and printed by the crash handler.
extern std::atomic<bool> g_bStopPending;              // some run is asked to stop (see the ids below)
extern std::atomic<bool> g_bBruteForce;               // a brute-force pass is running
extern std::atomic<bool> g_bEngineThreadProcRunning;  // an EngineThreadProc is running
// Ids of the running problems and of those asked to stop; change and read them
// under EngineIdsLock().
extern std::set<uint32_t> setRunningProblemsIds;
extern std::set<uint32_t> setProblemsBeingStoppedIds;
std::mutex& EngineIdsLock();
// Calls of the defence task and of the auxiliary mate search now pending.
extern std::atomic<int> g_nEngineThreadProcBlackMovesPending;
extern std::atomic<int> g_nEngineThreadProcAuxMatePending;

// The stop path shared by every shell: raises g_bStopPending and puts the id
// into setProblemsBeingStoppedIds. The run with that id notices it, its search
// threads return and it ends as stopped.
void RequestStopOfProblem(uint32_t problemId);
bool IsProblemBeingStopped(uint32_t problemId);

// Takes a slot for the problem; false when the set is full or the problem is
// already being solved.
bool EnterRunningProblem(uint32_t problemId);
// Gives the slot back and forgets a stop request for it.
void LeaveRunningProblem(uint32_t problemId);

// Raises g_bBruteForce for the life of a brute-force pass; several runs may
// hold it at once.
class TBruteForceFlag {
 public:
  explicit TBruteForceFlag(bool on);
  ~TBruteForceFlag();
  TBruteForceFlag(const TBruteForceFlag&) = delete;
  TBruteForceFlag& operator=(const TBruteForceFlag&) = delete;

 private:
  bool on_;
};

// Keeps g_bEngineThreadProcRunning raised while any EngineThreadProc runs.
class TEngineThreadProcFlag {
 public:
  TEngineThreadProcFlag();
  ~TEngineThreadProcFlag();
  TEngineThreadProcFlag(const TEngineThreadProcFlag&) = delete;
  TEngineThreadProcFlag& operator=(const TEngineThreadProcFlag&) = delete;
};

}  // namespace ostravel

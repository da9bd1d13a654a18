#pragma once
// The engine's side of the crash handler, shared by every front end: its
// flags for a crash log and the hook its search threads call when they start.
// The engine needs no header of the crash handler: the record it fills is the
// handler's extended info, whose field names are given (a template), and the
// hook is set by the front end. Filling runs inside the crash handler: plain
// reads only, the ids' lock is not taken.
#include <atomic>

#include "engine/run_registry.h"
#include "registers/temporary_register.h"

namespace ostravel {

// Each search thread the engine starts (a run's own thread and the workers of
// the split levels) calls the hook first: a stack overflow can be reported
// only from an alternate signal stack, and each thread needs its own. The
// front end sets it at start, before any run; none by default.
using TEngineThreadStartHook = void (*)();
inline std::atomic<TEngineThreadStartHook> g_engineThreadStartHook{nullptr};

inline void SetEngineThreadStartHook(TEngineThreadStartHook hook) {
  g_engineThreadStartHook.store(hook);
}

inline void EngineThreadStarted() {
  if (const TEngineThreadStartHook hook = g_engineThreadStartHook.load()) hook();
}

template <class TExtendedInfo>
void FillEngineCrashInfo(TExtendedInfo& info) {
  info.g_bStopPending = g_bStopPending.load(std::memory_order_relaxed);
  info.g_bBruteForce = g_bBruteForce.load(std::memory_order_relaxed);
  info.g_bEngineThreadProcRunning = g_bEngineThreadProcRunning.load(std::memory_order_relaxed);
  info.EngineThreadProc_AuxMate_pending =
      static_cast<unsigned long long>(g_nEngineThreadProcAuxMatePending.load(std::memory_order_relaxed));
  info.EngineThreadProc_BlackMoves_pending =
      static_cast<unsigned long long>(g_nEngineThreadProcBlackMovesPending.load(std::memory_order_relaxed));
  info.setRunningProblemsIds_size = setRunningProblemsIds.size();
  info.setProblemsBeingStoppedIds_size = setProblemsBeingStoppedIds.size();
  info.bRunning = info.setRunningProblemsIds_size != 0;
  info.g_bIsCurrentProblemRunningOrFinalizing = info.bRunning;
  info.g_bCleaningTempReg = g_nCleaningTempReg.load(std::memory_order_relaxed) != 0 ? 1 : 0;
}

}  // namespace ostravel

#pragma once
// The engine's flags for a crash log, shared by every front end. A template
// so that the engine needs no header of the crash handler: the record it
// fills is the handler's extended info, whose field names are given. Runs
// inside the crash handler: plain reads only, the ids' lock is not taken.
#include <atomic>

#include "engine/run_registry.h"

namespace ostravel {

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
}

}  // namespace ostravel

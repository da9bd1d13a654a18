// The run's entry to the search: the three values that once chose a
// compiled variant of the thread procedure are checked here, and the node
// search is instantiated per policy rather than per value.
#include <stdexcept>

#include "engine/heuristic_policy.h"
#include "engine/mate_search.h"
#include "engine/search_policy.h"

namespace ostravel {

uint8_t DispatchFindMateFFM(TMateSearch& search, const TChessboard& root, int nMoves) {
  const TSearchSettings& s = search.Settings();
  if (s.lookForQuickerMateDepth < 0 || s.lookForQuickerMateDepth > 9)
    throw std::runtime_error(
        "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for "
        "m_shLookForQuickerMateDepth");
  if (s.verifyHeuristics != 0 && s.verifyHeuristics != 1 && s.verifyHeuristics != 255)
    throw std::runtime_error(
        "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for VerifyHeuristics");
  if (s.allowExceptions > 1)
    throw std::runtime_error(
        "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for bAllowExceptions");
  // A pass with a set of special heuristics searches under their policy;
  // its keys are confirmed by the exact one.
  if (!s.bruteForce && s.heuristics && s.heuristics->set != 0)
    return search.FindForcedMateWith<THeuristicPolicy>(root, nMoves);
  if (s.collectStats) return search.FindForcedMateWith<TExactStatsPolicy>(root, nMoves);
  return search.FindForcedMateWith<TExactPolicy>(root, nMoves);
}

}  // namespace ostravel

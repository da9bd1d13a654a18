#pragma once
// What a node search may leave out. The node searcher is a template on one of
// these policies, so that the exact search carries no test of a heuristic in
// its inner loops: every hook of TExactPolicy is a constant the compiler folds
// away.
//
// A heuristic policy (a set of special heuristics, and a verification mode
// that re-searches what the heuristics cut) provides the same members:
//
//  - CutWhiteMove: a White move the heuristic judges hopeless is not searched.
//    A White node that fails after a cut has not proved "no mate": it returns
//    kResDoubtful (code 255) instead of kResNoMate, and that result is never
//    stored in the register as a proof.
//  - CutBlackDefence: a Black defence the heuristic judges harmless is not
//    searched. A Black node where every searched defence is answered by mate
//    then returns MateAfterDefenceCut() instead of kResMate: a policy that
//    must prove its keys answers kResDoubtful there, so that a verification
//    pass searches the node again without the cut.
//  - kMayCut: false when neither hook can ever cut (the exact search), which
//    lets the register take every failure as a proof. A policy that may cut
//    also provides Violated (a line that breaks a rule is doubtful) and
//    WhiteMove (heuristic_policy.h), tested only under `if constexpr`.
#include <cstdint>

#include "chess/board.h"
#include "engine/search_types.h"

namespace ostravel {

struct TExactPolicy {
  TExactPolicy() = default;
  explicit TExactPolicy(const TSearchSettings&) {}
  void Prepare(const TChessboard&) {}
  static constexpr bool kMayCut = false;
  // Counts where the nodes go (search_stats.h); off in the normal search.
  static constexpr bool kStats = false;
  // White to move in b with d plies left: may m be left out?
  static constexpr bool CutWhiteMove(const TChessboard&, const TMove&, int) { return false; }
  // Black to move in b with d plies left: may the defence m be left out?
  static constexpr bool CutBlackDefence(const TChessboard&, const TMove&, int) { return false; }
  // Result of a Black node whose searched defences were all answered by mate
  // after at least one defence was cut.
  static constexpr uint8_t MateAfterDefenceCut() { return kResMate; }
};

// The exact search with its counters on: the same nodes in the same order.
struct TExactStatsPolicy : TExactPolicy {
  using TExactPolicy::TExactPolicy;
  static constexpr bool kStats = true;
};

}  // namespace ostravel

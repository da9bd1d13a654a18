#include "engine/heuristic_auto.h"

#include "engine/solve_request.h"

namespace ostravel {

namespace {

// The two outer rings of the board: where the ext.edge rule keeps the king.
bool WithinExtEdge(int sq) {
  const int f = sq & 7, r = sq >> 3;
  return f <= 1 || f >= 6 || r <= 1 || r >= 6;
}

}  // namespace

// The rule: every position starts with FindForcedMate, whose passes go from
// checks only (crowded positions: checks and mate-in-one threats) through
// threats of mate in one and two; a Black king that stands within the two
// outer rings (of a problem of four moves or more) is also kept there
// (ext.edge), during the forcing passes and one pass after them. The
// relaxation then drops the rules one by one before pass 2.
THeuristicState AutoHeuristics(const TSolveRequest& r) {
  THeuristicState s;
  int men = 0, blackKing = -1;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = r.position.initialBoard[sq];
    men += c != 0;
    if (c == BK) blackKing = sq;
  }
  s.set = SH_FINDFORCEDMATE;
  const bool crowded = men >= 12;
  s.ffmLevel = s.ffmInitialLevel = crowded ? kFfmMate1 : kFfmCheckOnly;
  s.ffmRelaxations = crowded ? 2 : 3;
  if (blackKing >= 0 && WithinExtEdge(blackKing) && r.moves >= 4) s.set |= SH_KEEPKINGWITHINEXTEDGE;
  return s;
}

double AutoProofSearchSeconds(int moves) {
  if (moves >= kAutoProofSearchDeepMoves) return kAutoProofSearchDeepSeconds;
  return moves >= kAutoProofSearchMinMoves ? kAutoProofSearchSeconds : 0;
}

bool ApplyHeuristicsOption(TSolveRequest& r, const std::string& text, std::string* error) {
  if (text == "auto") {
    r.heuristicState = AutoHeuristics(r);
    if (r.proofSearchSeconds == 0) r.proofSearchSeconds = AutoProofSearchSeconds(r.moves);
  } else if (!ApplyHeuristicText(text, r.heuristicState, error)) {
    return false;
  }
  r.heuristics = r.heuristicState.set;
  r.relaxation = true;
  r.bruteForce = false;
  return true;
}

}  // namespace ostravel

#pragma once
// Checks of stored results against the rules of chess, independent of the
// generator: a plain mate search over the position records of chess/.
#include <cstdint>
#include <string>
#include <vector>

#include "chess/board.h"
#include "precalc/position_index.h"
#include "precalc/precalc_store.h"

namespace ostravel {

// Whether White (to move in `pos`) forces mate within `moves` moves, by full
// search. `pos` needs no links; exponential in `moves`, so keep it small.
bool PrecalcSearchMateWithin(const TChessboard& pos, int moves);

struct TPrecalcVerifyReport {
  uint64_t checked = 0;               // legal positions sampled
  uint64_t searched = 0;              // of them, also re-proved by full search
  std::vector<std::string> failures;  // one line per disagreement (FEN and values)
};

// Checks single entries of a stored type as VerifyPrecalcType does.
class CPrecalcEntryChecker {
 public:
  CPrecalcEntryChecker(const CPositionTypeIndex& index, CPrecalcStore& store, int searchMoves);
  // False (nothing counted) when entry `i` is not a legal White-to-move position.
  bool Check(uint64_t i, TPrecalcVerifyReport& rep);

 private:
  const CPositionTypeIndex& index_;
  CPrecalcStore& store_;
  int searchMoves_;
  std::vector<TChessboard> stack_;
};

// Samples `samples` legal White-to-move positions of a stored type (seeded,
// so a run can be repeated) and checks each: its value must follow from the
// values after every White move and Black reply (looked up in the store, or
// a checkmate or stalemate on the board), and values up to `searchMoves` (and
// "no mate", up to that depth) are re-proved by full search.
TPrecalcVerifyReport VerifyPrecalcType(const std::string& type, CPrecalcStore& store, uint64_t samples,
                                       uint64_t seed, int searchMoves = 3);

}  // namespace ostravel

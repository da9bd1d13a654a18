#pragma once
// A source of exact knowledge about positions below the root: precalculated
// data (the global register) or an endgame tablebase. The search asks it at
// White nodes before it searches them itself. A probe never answers the root,
// because every key of the root is wanted, not just its value.
#include <cstdint>

#include "chess/board.h"

namespace ostravel {

enum class TProbeStatus : uint8_t {
  kUnknown,  // the source does not know this position
  kMate,     // White mates by force; mateInMoves is the exact shortest length
  kNoMate,   // White can never force mate from here, at any length
};

struct TProbeAnswer {
  TProbeStatus status = TProbeStatus::kUnknown;
  int mateInMoves = 0;  // with kMate: moves of the shortest forced mate (>= 1)
};

// Given to the search through its settings; shared by every search thread, so
// an implementation is thread-safe and must not block on slow I/O while it
// holds a lock another thread needs.
class IPositionProbe {
 public:
  virtual ~IPositionProbe() = default;
  // `pos` has White to move and no castling right (the caller checks it; the
  // e.p. square, when there is one, is pos's last move). `plyFromRoot` is the
  // depth of the node (0 is the root, never asked), so a source can limit
  // itself to the upper levels.
  virtual TProbeAnswer Probe(const TChessboard& pos, int plyFromRoot) = 0;
  // White moves from `pos` after which White can never force mate (the source
  // knows the position after them is a draw or a loss for White); the search
  // may skip them. Writes at most `capacity` moves to `out` and returns their
  // count; 0 when the source knows nothing.
  virtual int MovesWithoutMate(const TChessboard& pos, int plyFromRoot, TMove* out, int capacity) {
    (void)pos, (void)plyFromRoot, (void)out, (void)capacity;
    return 0;
  }
  // More men than this and the probe is never asked (a cheap filter in the node).
  virtual int MaxMen() const = 0;
};

}  // namespace ostravel

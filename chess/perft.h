#pragma once
// Perft: counts the leaf nodes of the legal move tree, the proof of the move
// generator.
#include <cstdint>
#include <utility>
#include <vector>

#include "chess/board.h"

namespace ostravel {

enum class PerftMode {
  kMakeLeaves,  // every leaf move is made
  kBulk,        // the last ply's legal moves are counted without making them
};

// Root must be a validated position; its plies are ignored (any parity-keeping
// count is used internally).
uint64_t Perft(const TChessboard& root, int depth, PerftMode mode = PerftMode::kBulk);

// Node counts below each legal root move, in generation order.
std::vector<std::pair<TMove, uint64_t>> PerftDivide(const TChessboard& root, int depth,
                                                    PerftMode mode = PerftMode::kBulk);

}  // namespace ostravel

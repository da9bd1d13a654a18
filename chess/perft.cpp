#include "chess/perft.h"

#include <vector>

namespace ostravel {

namespace {

uint64_t PerftRec(TChessboard* stack, int ply, int depth, PerftMode mode) {
  const TChessboard& b = stack[ply];
  if (depth == 1 && mode == PerftMode::kBulk) return static_cast<uint64_t>(CountLegalMoves(b));
  TMove moves[kMaxMoves];
  const int n = GenerateLegalMoves(b, moves);
  if (depth == 1) {
    uint64_t leaves = 0;
    for (int i = 0; i < n; ++i) leaves += PlayMove(b, stack[ply + 1], moves[i]) >= 1;
    return leaves;
  }
  uint64_t total = 0;
  for (int i = 0; i < n; ++i) {
    PlayMove(b, stack[ply + 1], moves[i]);
    total += PerftRec(stack, ply + 1, depth - 1, mode);
  }
  return total;
}

// A stack whose root keeps the side to move but has plies to spare.
std::vector<TChessboard> MakeStack(const TChessboard& root, int depth) {
  std::vector<TChessboard> stack(static_cast<size_t>(depth) + 2);
  stack[0] = root;
  const uint16_t plies = static_cast<uint16_t>(root.WhiteToMove() ? 1001 : 1000);
  stack[0].remainingPlies = plies;
  stack[0].initialPlies = plies;
  stack[0].previous = nullptr;
  return stack;
}

}  // namespace

uint64_t Perft(const TChessboard& root, int depth, PerftMode mode) {
  if (depth <= 0) return 1;
  auto stack = MakeStack(root, depth);
  return PerftRec(stack.data(), 0, depth, mode);
}

std::vector<std::pair<TMove, uint64_t>> PerftDivide(const TChessboard& root, int depth, PerftMode mode) {
  std::vector<std::pair<TMove, uint64_t>> out;
  if (depth <= 0) return out;
  auto stack = MakeStack(root, depth);
  TMove moves[kMaxMoves];
  const int n = GenerateLegalMoves(stack[0], moves);
  for (int i = 0; i < n; ++i) {
    PlayMove(stack[0], stack[1], moves[i]);
    out.emplace_back(moves[i], depth == 1 ? 1 : PerftRec(stack.data(), 1, depth - 1, mode));
  }
  return out;
}

}  // namespace ostravel

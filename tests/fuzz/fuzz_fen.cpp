// Fuzzes the FEN reader, and on success the writer, the validator and the
// legal move generator of whatever position was read.
#include <cstddef>
#include <cstdint>
#include <string>

#include "chess/fen.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  ostravel::TTaskContext ctx;
  ostravel::TChessboard b;
  if (!ostravel::FenToBoard(text, b, ctx)) return 0;
  (void)ostravel::BoardToFen(b);
  try {
    ostravel::ValidateAndRecount(b);
  } catch (const ostravel::ChessException&) {
    return 0;
  }
  ostravel::TMove moves[ostravel::kMaxMoves];
  const int n = ostravel::GenerateLegalMoves(b, moves);
  if (n != ostravel::CountLegalMoves(b)) __builtin_trap();
  return 0;
}

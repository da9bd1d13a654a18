// Fuzzes the text move maker on a few fixed positions.
#include <cstddef>
#include <cstdint>
#include <string>

#include "chess/fen.h"
#include "chess/notation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 64) return 0;
  static const char* kFens[] = {
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "r3k2r/1P6/8/3pP3/8/8/6p1/R3K2R b KQkq - 0 1",
      "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1",
  };
  ostravel::TTaskContext ctx;
  ostravel::TChessboard b, slot;
  ostravel::FenToBoard(kFens[data[0] % 3], b, ctx);
  ostravel::ValidateAndRecount(b);
  ostravel::SetRootPlies(b, static_cast<uint16_t>((data[0] >> 2) % 2 == 0 ? (b.WhiteToMove() ? 3 : 2) : 0));
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    ostravel::MakeMoveFromText(b, text.c_str(), slot);
  } catch (const ostravel::ChessException&) {
  }
  try {
    ostravel::CheckFullMoveSyntax(text);
  } catch (const ostravel::ChessException&) {
  }
  return 0;
}
